// Property: the events of a stream do not depend on how its bytes are split into reads, and a parser
// never holds much more than one capped line, however long the lines it is fed.
//
// Input: a header byte (low four bits: how many cut points; top two bits both set: add a line near
// the cap), then two bytes that set that line's length when adding one, then two bytes per cut point,
// then the stream itself. Long lines are slow to scan, so only one header in four asks for one.
#include "protocol/EventLineParser.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sanitizer/allocator_interface.h>
#include <vector>

namespace {

// QByteArray grows geometrically, so a line just under the cap may occupy twice its size.
constexpr std::size_t heldLimit = 2 * EventLineParser::maxLineBytes + 64 * 1024;
// Long lines end within this distance of the cap, on either side.
constexpr qsizetype longLineSpread = 32 * 1024;
constexpr qsizetype socketReadSize = 4096;

class Input
{
public:
    Input(const std::uint8_t* data, std::size_t size) : m_p(data), m_end(data + size) {}

    unsigned byte() { return m_p == m_end ? 0 : *m_p++; }
    unsigned word() { return byte() << 8 | byte(); }
    QByteArrayView rest() const { return {m_p, m_end - m_p}; }

private:
    const std::uint8_t* m_p;
    const std::uint8_t* m_end;
};

[[noreturn]] void fail(const char* what, std::size_t detail)
{
    std::fprintf(stderr, "fuzz-event-lines: %s (%zu)\n", what, detail);
    std::abort();
}

QList<AskEvent> parseInPieces(const std::vector<QByteArrayView>& pieces)
{
    EventLineParser parser;
    QList<AskEvent> events;
    for (const QByteArrayView piece : pieces)
        parser.feed(piece, events);
    parser.finish(events);
    return events;
}

std::vector<QByteArrayView> cutAt(QByteArrayView stream, std::vector<qsizetype> cuts)
{
    std::sort(cuts.begin(), cuts.end());
    std::vector<QByteArrayView> pieces;
    qsizetype from = 0;
    for (const qsizetype cut : cuts) {
        pieces.push_back(stream.sliced(from, cut - from));
        from = cut;
    }
    pieces.push_back(stream.sliced(from));
    return pieces;
}

std::vector<QByteArrayView> reads(QByteArrayView stream, qsizetype readSize)
{
    std::vector<QByteArrayView> pieces;
    for (qsizetype at = 0; at < stream.size(); at += readSize)
        pieces.push_back(stream.sliced(at, std::min(readSize, stream.size() - at)));
    return pieces;
}

void checkSplits(QByteArrayView stream, const std::vector<qsizetype>& cuts)
{
    const QList<AskEvent> whole = parseInPieces({stream});
    if (parseInPieces(cutAt(stream, cuts)) != whole)
        fail("cut reads give other events than one read", cuts.size());
    if (parseInPieces(reads(stream, 1)) != whole)
        fail("byte-by-byte reads give other events than one read", static_cast<std::size_t>(stream.size()));
}

// The stream, its last byte repeated `fillBytes` times, and the stream again: the stream's last line and
// its first one join around the filler into one line near the cap. A stream such as
// `"}\nevent: delta\ndata: {"t":"x` so makes a delta of about a megabyte.
QByteArray withLongLine(QByteArrayView stream, qsizetype fillBytes)
{
    QByteArray result = stream.toByteArray();
    if (stream.isEmpty() || stream.back() == '\n' || stream.back() == '\r')
        return result;
    result.reserve(2 * stream.size() + fillBytes);
    result.append(fillBytes, stream.back());
    result += stream;
    return result;
}

// Reads the stream in socket-sized pieces, matching each read's events against one whole read and
// dropping them, so that what stays allocated after a read is what the parser holds.
void checkLongLine(QByteArrayView stream, qsizetype fillBytes)
{
    const QByteArray longer = withLongLine(stream, fillBytes);
    const QList<AskEvent> whole = parseInPieces({longer});
    const std::vector<QByteArrayView> pieces = reads(longer, socketReadSize);
    qsizetype matched = 0;
    const auto match = [&](QList<AskEvent>& events) {
        for (const AskEvent& event : events) {
            if (matched == whole.size() || event != whole[matched++])
                fail("a long line gives other events in reads than in one",
                     static_cast<std::size_t>(matched));
        }
        events = {};
    };
    EventLineParser parser;
    const std::size_t baseline = __sanitizer_get_current_allocated_bytes();
    for (const QByteArrayView piece : pieces) {
        QList<AskEvent> events;
        parser.feed(piece, events);
        match(events);
        const std::size_t held = __sanitizer_get_current_allocated_bytes() - baseline;
        if (held > heldLimit)
            fail("the parser holds more than the line cap allows", held);
    }
    QList<AskEvent> events;
    parser.finish(events);
    match(events);
    if (matched != whole.size())
        fail("a long line gives fewer events in reads than in one", static_cast<std::size_t>(matched));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const unsigned header = input.byte();
    const bool addLongLine = (header & 0xC0) == 0xC0;
    const qsizetype fillBytes =
        addLongLine ? EventLineParser::maxLineBytes - longLineSpread + input.word() : 0;
    std::vector<unsigned> rawCuts(header & 0x0F);
    for (unsigned& cut : rawCuts)
        cut = input.word();
    const QByteArrayView stream = input.rest();

    std::vector<qsizetype> cuts;
    for (const unsigned cut : rawCuts)
        cuts.push_back(static_cast<qsizetype>(cut) % (stream.size() + 1));
    checkSplits(stream, cuts);
    if (addLongLine)
        checkLongLine(stream, fillBytes);
    return 0;
}

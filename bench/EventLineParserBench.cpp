#include "SampleStream.h"
#include "protocol/EventLineParser.h"

#include <QByteArray>
#include <benchmark/benchmark.h>

namespace {

constexpr int deltaCount = 100'000;

const QByteArray& stream()
{
    static const QByteArray bytes = QByteArray::fromStdString(SampleStream::make(deltaCount));
    return bytes;
}

// Feeds the stream in reads of one size, with a fresh event list per read as the ask stream does.
void parseInReads(benchmark::State& state)
{
    const QByteArrayView bytes = stream();
    const auto readSize = static_cast<qsizetype>(state.range(0));
    qsizetype eventCount = 0;
    for (auto _ : state) {
        EventLineParser parser;
        eventCount = 0;
        for (qsizetype at = 0; at < bytes.size(); at += readSize) {
            QList<AskEvent> events;
            parser.feed(bytes.sliced(at, std::min(readSize, bytes.size() - at)), events);
            eventCount += events.size();
            benchmark::DoNotOptimize(events.data());
        }
        QList<AskEvent> events;
        parser.finish(events);
        eventCount += events.size();
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
    state.counters["events"] = static_cast<double>(eventCount);
    state.counters["events/s"] =
        benchmark::Counter(static_cast<double>(eventCount) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

} // namespace

BENCHMARK(parseInReads)->Arg(16 * 1024)->Arg(1024)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();

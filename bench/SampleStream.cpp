#include "SampleStream.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace SampleStream {
namespace {

// JSON string contents, already escaped as a service would send them.
constexpr std::array<std::string_view, 24> words = {"the ",
                                                    "answer ",
                                                    "is ",
                                                    "that ",
                                                    "a ",
                                                    "of ",
                                                    "Lima ",
                                                    "capital ",
                                                    "and ",
                                                    "it ",
                                                    "was ",
                                                    "founded ",
                                                    "naïve ",
                                                    "Grüße ",
                                                    "café ",
                                                    "東京 ",
                                                    "добро ",
                                                    "🙂 ",
                                                    "\\\"quoted\\\" ",
                                                    "C:\\\\path ",
                                                    "line\\n",
                                                    "\\u00e9t\\u00e9 ",
                                                    "tab\\t",
                                                    "\\ud83d\\ude00 "};

// One delta in this many is a paragraph instead of a word.
constexpr int longDeltaEvery = 500;

// A fixed generator so that every build serves the same stream.
class Lcg
{
public:
    std::uint32_t next()
    {
        m_state = m_state * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<std::uint32_t>(m_state >> 33);
    }

private:
    std::uint64_t m_state = 0x5eed;
};

void appendEvent(std::string& out, std::string_view name, std::string_view data)
{
    out += "event: ";
    out += name;
    out += "\ndata: ";
    out += data;
    out += "\n\n";
}

} // namespace

std::string make(int deltaCount)
{
    Lcg random;
    std::string out;
    out.reserve(static_cast<std::size_t>(deltaCount) * 32);
    appendEvent(out, "route", R"({"route":"fast","source":"classifier"})");
    std::string data;
    for (int i = 0; i < deltaCount; ++i) {
        data = R"({"t":")";
        if (i % longDeltaEvery == longDeltaEvery - 1) {
            for (int w = 0; w < 300; ++w)
                data += words[random.next() % words.size()];
        } else {
            data += words[random.next() % words.size()];
        }
        data += "\"}";
        appendEvent(out, "delta", data);
    }
    appendEvent(out, "done", R"({"ms":1520,"route":"fast"})");
    return out;
}

} // namespace SampleStream

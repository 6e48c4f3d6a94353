#pragma once

#include <string>

// A realistic answer stream, the same bytes every time: a route event, word-sized deltas (some
// non-ASCII, some with escapes, now and then a long paragraph) and a done event.
namespace SampleStream {

std::string make(int deltaCount);

} // namespace SampleStream

#pragma once

#include <cstdlib>
#include <memory>

// A reply or event from xcb, which the caller owns and frees with free().
struct XcbFree
{
    void operator()(void* reply) const { std::free(reply); }
};

template <typename T> using XcbReply = std::unique_ptr<T, XcbFree>;

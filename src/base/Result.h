#pragma once

#include "base/Error.h"

#include <utility>
#include <variant>

// The outcome of an operation that can fail: a value, or the error that says why not.
template <typename T> class Result
{
public:
    Result(T value) : m_outcome(std::move(value)) {}
    Result(Error error) : m_outcome(std::move(error)) {}

    bool ok() const { return std::holds_alternative<T>(m_outcome); }
    const T& value() const { return std::get<T>(m_outcome); }
    const Error& error() const { return std::get<Error>(m_outcome); }

private:
    std::variant<T, Error> m_outcome;
};

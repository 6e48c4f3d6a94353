#pragma once

#include "base/Error.h"

#include <optional>
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
    T& value() { return std::get<T>(m_outcome); }
    const Error& error() const { return std::get<Error>(m_outcome); }

private:
    std::variant<T, Error> m_outcome;
};

// The outcome of an operation that gives nothing back: success (the default), or the error.
template <> class Result<void>
{
public:
    Result() = default;
    Result(Error error) : m_error(std::move(error)) {}

    bool ok() const { return !m_error; }
    const Error& error() const { return *m_error; }

    bool operator==(const Result&) const = default;

private:
    std::optional<Error> m_error;
};

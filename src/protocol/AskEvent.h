#pragma once

#include <QMetaType>
#include <QString>
#include <QUrl>
#include <cstdint>
#include <variant>

// One event of an answer stream.
namespace AskEvents {

struct Route
{
    QString route;
    QString source;
    bool operator==(const Route&) const = default;
};
struct Delta
{
    QString text;
    bool operator==(const Delta&) const = default;
};
struct Link
{
    QUrl url;
    QString message;
    bool operator==(const Link&) const = default;
};
struct Done
{
    std::int64_t ms = 0;
    QString route;
    bool operator==(const Done&) const = default;
};
struct Failure
{
    QString message;
    bool operator==(const Failure&) const = default;
};
struct Reset
{
    bool operator==(const Reset&) const = default;
};

} // namespace AskEvents

using AskEvent = std::variant<AskEvents::Route, AskEvents::Delta, AskEvents::Link, AskEvents::Done,
                              AskEvents::Failure, AskEvents::Reset>;

Q_DECLARE_METATYPE(AskEvent)

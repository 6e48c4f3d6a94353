#pragma once

#include <QByteArrayView>
#include <QString>
#include <cstdint>
#include <functional>
#include <optional>

// A strict JSON reader for the one shape the event stream carries: an object whose members are read
// one level deep. Nested values are validated and skipped. Much faster than building a QJsonDocument
// for every line, and it decodes invalid UTF-8 inside strings to replacement characters instead of
// rejecting the whole line.
namespace FlatJson {

struct Member
{
    enum class Kind { String, Number, Other };
    Kind kind = Kind::Other;
    QString string;                      // Kind::String: the decoded text
    std::optional<std::int64_t> integer; // Kind::Number: set when the number has an exact integer value
};

// Calls onMember for each top-level member in order, with the key decoded; returns false (having
// possibly called onMember already) when the text is not exactly one JSON object.
bool readObject(QByteArrayView json, const std::function<void(QStringView key, Member&& value)>& onMember);

} // namespace FlatJson

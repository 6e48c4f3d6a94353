#include "protocol/FlatJson.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string>

namespace FlatJson {
namespace {

constexpr int maxDepth = 512;

class Reader
{
public:
    explicit Reader(QByteArrayView text) : m_p(text.data()), m_end(text.data() + text.size()) {}

    bool atEnd() const { return m_p == m_end; }

    void skipSpace()
    {
        while (m_p != m_end && (*m_p == ' ' || *m_p == '\t' || *m_p == '\n' || *m_p == '\r'))
            ++m_p;
    }

    bool consume(char c)
    {
        if (m_p != m_end && *m_p == c) {
            ++m_p;
            return true;
        }
        return false;
    }

    char peek() const { return m_p == m_end ? '\0' : *m_p; }

    // Reads a member's key. Keys are short plain ASCII in practice: those are widened into `shortKey`
    // without allocating; any other key is decoded into `otherKey`. The view points into one of them.
    bool key(std::array<char16_t, 32>& shortKey, QString& otherKey, QStringView* out)
    {
        if (m_p == m_end || *m_p != '"')
            return false;
        const char* const start = m_p + 1;
        const char* p = start;
        while (p != m_end && p - start < qsizetype(shortKey.size()) && *p != '"' && *p != '\\' &&
               static_cast<unsigned char>(*p) >= 0x20 && static_cast<unsigned char>(*p) < 0x80)
            ++p;
        if (p == m_end || *p != '"') {
            if (!string(&otherKey))
                return false;
            *out = otherKey;
            return true;
        }
        std::copy(start, p, shortKey.begin());
        *out = QStringView(shortKey.data(), p - start);
        m_p = p + 1;
        return true;
    }

    // Reads a string; raw bytes are gathered and decoded once, so invalid UTF-8 becomes U+FFFD.
    bool string(QString* out)
    {
        if (!consume('"'))
            return false;
        const char* runStart = m_p;
        // Fast path: no escapes, decode straight from the input.
        while (m_p != m_end && *m_p != '"' && *m_p != '\\' && static_cast<unsigned char>(*m_p) >= 0x20)
            ++m_p;
        if (m_p == m_end)
            return false;
        if (*m_p == '"') {
            if (out)
                *out = QString::fromUtf8(runStart, m_p - runStart);
            ++m_p;
            return true;
        }
        std::string bytes(runStart, m_p);
        while (m_p != m_end) {
            const auto c = static_cast<unsigned char>(*m_p++);
            if (c == '"') {
                if (out)
                    *out = QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
                return true;
            }
            if (c < 0x20)
                return false;
            if (c != '\\') {
                bytes += static_cast<char>(c);
                continue;
            }
            if (m_p == m_end)
                return false;
            switch (*m_p++) {
            case '"':
                bytes += '"';
                break;
            case '\\':
                bytes += '\\';
                break;
            case '/':
                bytes += '/';
                break;
            case 'b':
                bytes += '\b';
                break;
            case 'f':
                bytes += '\f';
                break;
            case 'n':
                bytes += '\n';
                break;
            case 'r':
                bytes += '\r';
                break;
            case 't':
                bytes += '\t';
                break;
            case 'u':
                if (!unicodeEscape(bytes))
                    return false;
                break;
            default:
                return false;
            }
        }
        return false;
    }

    bool number(std::optional<std::int64_t>* integer)
    {
        const char* start = m_p;
        consume('-');
        if (consume('0')) {
        } else if (digits() == 0) {
            return false;
        }
        bool integral = true;
        if (consume('.')) {
            integral = false;
            if (digits() == 0)
                return false;
        }
        if (peek() == 'e' || peek() == 'E') {
            ++m_p;
            integral = false;
            if (!consume('+'))
                consume('-');
            if (digits() == 0)
                return false;
        }
        if (integer)
            *integer = exactInteger(start, m_p, integral);
        return true;
    }

    // Validates any value; members one level down are not reported.
    bool skipValue(int depth)
    {
        if (depth > maxDepth)
            return false;
        skipSpace();
        switch (peek()) {
        case '"':
            return string(nullptr);
        case '{':
            return container('}', depth, true);
        case '[':
            return container(']', depth, false);
        case 't':
            return literal("true");
        case 'f':
            return literal("false");
        case 'n':
            return literal("null");
        default:
            return number(nullptr);
        }
    }

    bool literal(std::string_view word)
    {
        if (static_cast<std::size_t>(m_end - m_p) < word.size() || std::string_view(m_p, word.size()) != word)
            return false;
        m_p += word.size();
        return true;
    }

private:
    int digits()
    {
        int count = 0;
        while (m_p != m_end && *m_p >= '0' && *m_p <= '9') {
            ++m_p;
            ++count;
        }
        return count;
    }

    static std::optional<std::int64_t> exactInteger(const char* start, const char* end, bool integral)
    {
        if (integral) {
            std::int64_t value = 0;
            const auto result = std::from_chars(start, end, value);
            if (result.ec == std::errc() && result.ptr == end)
                return value;
        }
        double value = 0;
        const auto result = std::from_chars(start, end, value);
        if (result.ec != std::errc() || !std::isfinite(value) || std::trunc(value) != value)
            return std::nullopt;
        // 2^63 is exactly representable as a double, so this keeps the cast in range.
        if (value < -9223372036854775808.0 || value >= 9223372036854775808.0)
            return std::nullopt;
        return static_cast<std::int64_t>(value);
    }

    bool hex4(unsigned* out)
    {
        if (m_end - m_p < 4)
            return false;
        unsigned value = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = *m_p++;
            value <<= 4;
            if (c >= '0' && c <= '9')
                value |= static_cast<unsigned>(c - '0');
            else if (c >= 'a' && c <= 'f')
                value |= static_cast<unsigned>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                value |= static_cast<unsigned>(c - 'A' + 10);
            else
                return false;
        }
        *out = value;
        return true;
    }

    bool unicodeEscape(std::string& bytes)
    {
        unsigned unit = 0;
        if (!hex4(&unit))
            return false;
        char32_t codePoint = unit;
        if (unit >= 0xD800 && unit <= 0xDBFF && m_end - m_p >= 6 && m_p[0] == '\\' && m_p[1] == 'u') {
            const char* save = m_p;
            m_p += 2;
            unsigned low = 0;
            if (!hex4(&low))
                return false;
            if (low >= 0xDC00 && low <= 0xDFFF)
                codePoint = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
            else
                m_p = save; // a lone high surrogate; the next escape is read on its own
        }
        if (codePoint >= 0xD800 && codePoint <= 0xDFFF)
            codePoint = 0xFFFD;
        appendUtf8(bytes, codePoint);
        return true;
    }

    static void appendUtf8(std::string& bytes, char32_t c)
    {
        if (c < 0x80) {
            bytes += static_cast<char>(c);
        } else if (c < 0x800) {
            bytes += static_cast<char>(0xC0 | (c >> 6));
            bytes += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            bytes += static_cast<char>(0xE0 | (c >> 12));
            bytes += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            bytes += static_cast<char>(0xF0 | (c >> 18));
            bytes += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            bytes += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            bytes += static_cast<char>(0x80 | (c & 0x3F));
        }
    }

    bool container(char close, int depth, bool isObject)
    {
        ++m_p;
        skipSpace();
        if (consume(close))
            return true;
        for (;;) {
            if (isObject) {
                skipSpace();
                if (!string(nullptr))
                    return false;
                skipSpace();
                if (!consume(':'))
                    return false;
            }
            if (!skipValue(depth + 1))
                return false;
            skipSpace();
            if (consume(close))
                return true;
            if (!consume(','))
                return false;
        }
    }

    const char* m_p;
    const char* m_end;
};

} // namespace

bool readObject(QByteArrayView json, const std::function<void(QStringView key, Member&& value)>& onMember)
{
    Reader reader(json);
    reader.skipSpace();
    if (!reader.consume('{'))
        return false;
    reader.skipSpace();
    if (!reader.consume('}')) {
        std::array<char16_t, 32> shortKey;
        QString otherKey;
        for (;;) {
            reader.skipSpace();
            QStringView key;
            if (!reader.key(shortKey, otherKey, &key))
                return false;
            reader.skipSpace();
            if (!reader.consume(':'))
                return false;
            reader.skipSpace();
            Member member;
            if (reader.peek() == '"') {
                member.kind = Member::Kind::String;
                if (!reader.string(&member.string))
                    return false;
            } else if (reader.peek() == '-' || (reader.peek() >= '0' && reader.peek() <= '9')) {
                member.kind = Member::Kind::Number;
                if (!reader.number(&member.integer))
                    return false;
            } else if (!reader.skipValue(1)) {
                return false;
            }
            onMember(key, std::move(member));
            reader.skipSpace();
            if (reader.consume('}'))
                break;
            if (!reader.consume(','))
                return false;
        }
    }
    reader.skipSpace();
    return reader.atEnd();
}

} // namespace FlatJson

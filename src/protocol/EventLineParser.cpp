#include "protocol/EventLineParser.h"

#include "protocol/FlatJson.h"

namespace {

// Length of the horizontal blank (tab or Unicode space separator) that ends at `end`, or 0.
qsizetype blankBefore(const char* begin, const char* end)
{
    const auto n = end - begin;
    const auto b = [end](qsizetype back) { return static_cast<unsigned char>(end[-back]); };
    if (n >= 1 && (b(1) == ' ' || b(1) == '\t'))
        return 1;
    if (n >= 2 && b(2) == 0xC2 && b(1) == 0xA0)
        return 2;
    if (n >= 3) {
        const unsigned lead = b(3), mid = b(2), last = b(1);
        if (lead == 0xE1 && mid == 0x9A && last == 0x80)
            return 3;
        if (lead == 0xE2 && mid == 0x80 && ((last >= 0x80 && last <= 0x8A) || last == 0xAF))
            return 3;
        if (lead == 0xE2 && mid == 0x81 && last == 0x9F)
            return 3;
        if (lead == 0xE3 && mid == 0x80 && last == 0x80)
            return 3;
    }
    return 0;
}

// Length of the horizontal blank that starts at `begin`, or 0.
qsizetype blankAfter(const char* begin, const char* end)
{
    const auto n = end - begin;
    const auto b = [begin](qsizetype i) { return static_cast<unsigned char>(begin[i]); };
    if (n >= 1 && (b(0) == ' ' || b(0) == '\t'))
        return 1;
    if (n >= 2 && b(0) == 0xC2 && b(1) == 0xA0)
        return 2;
    if (n >= 3 && blankBefore(begin, begin + 3) == 3)
        return 3;
    return 0;
}

// Bytes that can start or end a blank: space, tab, or part of a multi-byte space separator.
bool mayBeBlank(char c)
{
    return c == ' ' || c == '\t' || static_cast<unsigned char>(c) >= 0x80;
}

QByteArrayView trimBlanks(QByteArrayView text)
{
    const char* begin = text.data();
    const char* end = begin + text.size();
    // Most lines have one blank after the colon and none at the end: skip the general search for them.
    if (begin != end && *begin == ' ' && end - begin > 1 && !mayBeBlank(begin[1]) && !mayBeBlank(end[-1]))
        return {begin + 1, end - begin - 1};
    while (const auto n = blankAfter(begin, end))
        begin += n;
    while (const auto n = blankBefore(begin, end))
        end -= n;
    return {begin, end - begin};
}

const QString fallbackLinkMessage = QStringLiteral("My Tavrin is working on it. Follow the progress here: ");

} // namespace

void EventLineParser::feed(QByteArrayView bytes, QList<AskEvent>& out)
{
    m_lines.feed(bytes, [this, &out](QByteArrayView line) { takeLine(line, out); });
}

void EventLineParser::finish(QList<AskEvent>& out)
{
    m_lines.finish([this, &out](QByteArrayView line) { takeLine(line, out); });
}

void EventLineParser::takeLine(QByteArrayView line, QList<AskEvent>& out)
{
    if (line.startsWith("event:")) {
        const QByteArrayView name = trimBlanks(line.sliced(6));
        static const std::pair<QByteArrayView, Name> known[] = {
            {"delta", Name::Delta}, {"route", Name::Route}, {"done", Name::Done},
            {"reset", Name::Reset}, {"link", Name::Link},   {"error", Name::Error}};
        m_name = Name::Other;
        for (const auto& [text, value] : known) {
            if (name == text) {
                m_name = value;
                break;
            }
        }
    } else if (line.startsWith("data:") && m_name != Name::Other) {
        // Unknown names produce nothing whatever their data, so their JSON is never parsed.
        takeData(trimBlanks(line.sliced(5)), out);
    }
}

void EventLineParser::takeData(QByteArrayView json, QList<AskEvent>& out) const
{
    using FlatJson::Member;
    // The last member of a name wins, as in any JSON object.
    struct Fields
    {
        std::optional<Member> t, route, source, url, message, ms;
    } fields;
    // One captured pointer keeps the callback inside std::function's own storage: no allocation per line.
    const bool isObject = FlatJson::readObject(json, [fields = &fields](QStringView key, Member&& member) {
        for (auto [name, slot] : {std::pair{u"t", &fields->t},
                                  {u"route", &fields->route},
                                  {u"source", &fields->source},
                                  {u"url", &fields->url},
                                  {u"message", &fields->message},
                                  {u"ms", &fields->ms}}) {
            if (key == name) {
                *slot = std::move(member);
                return;
            }
        }
    });
    if (!isObject)
        return;
    auto& [t, route, source, url, message, ms] = fields;
    const auto text = [](const std::optional<Member>& member) -> std::optional<QString> {
        if (member && member->kind == Member::Kind::String)
            return member->string;
        return std::nullopt;
    };
    const QString unknown = QStringLiteral("?");
    switch (m_name) {
    case Name::Route:
        out.append(AskEvents::Route{text(route).value_or(unknown), text(source).value_or(unknown)});
        break;
    case Name::Delta:
        out.append(AskEvents::Delta{text(t).value_or(QString())});
        break;
    case Name::Reset:
        out.append(AskEvents::Reset{});
        break;
    case Name::Link: {
        const std::optional<QString> address = text(url);
        const QUrl parsed(address.value_or(QString()), QUrl::StrictMode);
        if (!address || address->isEmpty() || !parsed.isValid())
            return;
        out.append(AskEvents::Link{parsed, text(message).value_or(fallbackLinkMessage + *address)});
        break;
    }
    case Name::Done: {
        const std::int64_t milliseconds =
            ms && ms->kind == Member::Kind::Number ? ms->integer.value_or(0) : 0;
        out.append(AskEvents::Done{milliseconds, text(route).value_or(QString())});
        break;
    }
    case Name::Error:
        out.append(AskEvents::Failure{text(message).value_or(QStringLiteral("unknown error"))});
        break;
    case Name::Other:
        break;
    }
}

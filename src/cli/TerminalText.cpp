#include "cli/TerminalText.h"

namespace TerminalText {

QString printable(const QString& text)
{
    QString kept;
    kept.reserve(text.size());
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        const bool control = u < 0x20 || (u >= 0x7f && u < 0xa0);
        if (!control || u == u'\n' || u == u'\t')
            kept += c;
    }
    return kept;
}

} // namespace TerminalText

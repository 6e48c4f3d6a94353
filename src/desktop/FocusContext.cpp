#include "desktop/FocusContext.h"

#include "desktop/FocusReader.h"
#include "desktop/TextCut.h"

#include <algorithm>

namespace {

struct Cut
{
    qsizetype start = 0;
    qsizetype end = 0;
};

// Positions come from another process: a negative location or length counts as zero and a range past
// the end stops at the end, without ever adding two untrusted numbers.
Cut cutFor(const TextRange& range, qsizetype length)
{
    const qsizetype start = std::clamp<qint64>(range.location, 0, length);
    const qsizetype selected = std::clamp<qint64>(range.length, 0, length - start);
    return {start, start + selected};
}

} // namespace

FocusContext FocusContext::readText(FocusReader& reader, const std::optional<RunningApp>& app,
                                    QDeadlineTimer deadline)
{
    FocusContext context;
    context.app = app;
    if (!reader.isTrusted(deadline)) {
        return context;
    }
    bool needsFallback = true;
    if (const std::optional<FocusedElement> element = reader.focusedElement(app, deadline)) {
        if (element->selectedText && !element->selectedText->isEmpty()) {
            context.selection = element->selectedText;
            needsFallback = false;
        }
        if (element->value && element->selectedRange) {
            const QStringView value(*element->value);
            const Cut cut = cutFor(*element->selectedRange, value.size());
            context.before = TextCut::lastCharacters(value.first(cut.start), maxBefore);
            context.after = TextCut::firstCharacters(value.sliced(cut.end), maxAfter);
        }
    }
    if (needsFallback) {
        const std::optional<QString> selection = reader.fallbackSelection(app, deadline);
        if (selection && !selection->isEmpty()) {
            context.selection = selection;
        }
    }
    return context;
}

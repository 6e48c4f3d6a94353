#include "desktop/TextCut.h"

#include <QTextBoundaryFinder>

namespace TextCut {

QString lastCharacters(QStringView text, int count)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text.data(), int(text.size()));
    finder.toEnd();
    qsizetype position = text.size();
    for (int i = 0; i < count && position > 0; ++i) {
        position = finder.toPreviousBoundary();
    }
    return text.sliced(qMax<qsizetype>(position, 0)).toString();
}

QString firstCharacters(QStringView text, int count)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text.data(), int(text.size()));
    qsizetype position = 0;
    for (int i = 0; i < count && position >= 0 && position < text.size(); ++i) {
        position = finder.toNextBoundary();
    }
    return text.first(position < 0 ? text.size() : position).toString();
}

} // namespace TextCut

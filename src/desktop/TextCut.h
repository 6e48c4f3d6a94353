#pragma once

#include <QString>
#include <QStringView>

// Cuts counted in user-perceived characters, so that an emoji or a combined accent is never split.
namespace TextCut {

QString lastCharacters(QStringView text, int count);
QString firstCharacters(QStringView text, int count);

} // namespace TextCut

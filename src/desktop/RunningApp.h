#pragma once

#include <QString>
#include <QtGlobal>

// The application that had focus: enough to name it in a request and to bring it back to the front.
struct RunningApp
{
    QString name;
    qint64 processId = 0;
    quint64 window = 0;
    QString windowClass;

    bool operator==(const RunningApp&) const = default;
};

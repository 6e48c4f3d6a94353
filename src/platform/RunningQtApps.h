#pragma once

#include <QString>
#include <QStringList>

// The current user's running Qt applications: they decide whether to expose themselves to assistive
// technology only when they start. Reads /proc; slow enough to belong on a worker thread.
namespace RunningQtApps {

// Names of the processes under `procRoot` that load Qt's GUI library, sorted, without duplicates and
// without the process `exceptPid`.
QStringList list(const QString& procRoot, qint64 exceptPid);

} // namespace RunningQtApps

#include "app/ConfigWatcher.h"

#include "config/AgentConfig.h"
#include "session/Session.h"

#include <QDir>
#include <QFileInfo>

ConfigWatcher::ConfigWatcher(Session& session, QObject* parent) : QObject(parent), m_session(session)
{
    m_timer.setInterval(intervalMs);
    connect(&m_timer, &QTimer::timeout, this, &ConfigWatcher::check);
    m_timer.start();
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, &ConfigWatcher::check);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, &ConfigWatcher::check);
    watchPaths();
}

void ConfigWatcher::check()
{
    // An atomic replacement is a new file: the watch on the old one ends with it.
    watchPaths();
    std::optional<AgentConfig> fresh = AgentConfig::load();
    if (fresh == m_session.config())
        return;
    m_session.setConfig(fresh);
    emit configReplaced();
}

void ConfigWatcher::watchPaths()
{
    const QFileInfo file(AgentConfig::fileURL());
    QStringList paths;
    if (file.exists())
        paths.append(file.filePath());
    // The folder may not exist before the first sign-in; the timer covers that case.
    if (file.dir().exists())
        paths.append(file.dir().path());
    const QStringList watched = m_watcher.files() + m_watcher.directories();
    for (const QString& path : paths) {
        if (!watched.contains(path))
            m_watcher.addPath(path);
    }
}

#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QTimer>

class Session;

// Keeps the session's configuration in step with the file, so that a sign-in or sign-out made from a
// terminal shows in the running application: a look every five seconds, and at once when the file or
// its folder changes. Content identical to what the session holds changes nothing.
class ConfigWatcher : public QObject
{
    Q_OBJECT
public:
    static constexpr int intervalMs = 5000;

    explicit ConfigWatcher(Session& session, QObject* parent = nullptr);

    // Reads the file afresh; replaces the session's copy and announces it only when they differ.
    void check();

signals:
    void configReplaced();

private:
    void watchPaths();

    Session& m_session;
    QTimer m_timer;
    QFileSystemWatcher m_watcher;
};

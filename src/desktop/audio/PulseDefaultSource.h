#pragma once

#include <QByteArray>
#include <QDeadlineTimer>
#include <QObject>
#include <QThread>
#include <chrono>
#include <memory>

// The name of the sound server's default input. Qt lists the server's inputs but does not mark its
// default as such, so the name is asked from the server itself: on a thread of its own and within a
// deadline, so that opening the microphone never waits for the sound server.
class PulseDefaultSource : public QObject
{
    Q_OBJECT

public:
    static constexpr std::chrono::milliseconds lookupDeadline{500};

    // Starts the first lookup at once.
    explicit PulseDefaultSource(QObject* parent = nullptr);
    // Waits for a lookup under way, which ends by its deadline.
    ~PulseDefaultSource() override;

    // Whether a lookup has answered yet (its answer may still be empty).
    bool hasAnswered() const { return m_answered; }
    // The name the last lookup found, empty before it answered; starts another lookup for next time,
    // so that a change of the default is seen.
    QByteArray name();

    // Asks the server; empty when it cannot be reached or does not answer by the deadline.
    static QByteArray lookUp(QDeadlineTimer deadline);

signals:
    void answered();

private:
    void refresh();

    QByteArray m_name;
    bool m_answered = false;
    std::unique_ptr<QThread> m_lookup;
};

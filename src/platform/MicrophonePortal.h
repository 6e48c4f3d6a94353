#pragma once

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <QVariantMap>
#include <functional>
#include <memory>

// Inside a sandbox the desktop grants the microphone per application, through the device portal. This
// asks for it; outside a sandbox there is nothing to ask.
class MicrophonePortal : public QObject
{
    Q_OBJECT
public:
    // The person may take a while to answer the desktop's question; after this long it counts as no.
    static constexpr int answerTimeoutMs = 120'000;

    explicit MicrophonePortal(QDBusConnection bus = QDBusConnection::sessionBus(), QObject* parent = nullptr);

    // A portal when this process runs in a sandbox that has one, else none.
    static std::unique_ptr<MicrophonePortal> forThisProcess();

    // `onAnswered` runs once the question is settled: answered, refused, or timed out. Asking while a
    // question is open waits for the same answer.
    void ask(QObject* context, std::function<void()> onAnswered);

private:
    // Named by signature: QDBusConnection::connect takes no function pointers.
    Q_SLOT void answered(uint response, const QVariantMap& results);
    void settle();

    struct Waiting
    {
        QPointer<QObject> context;
        std::function<void()> onAnswered;
    };

    QDBusConnection m_bus;
    QString m_requestPath;
    QTimer m_timeout;
    QList<Waiting> m_waiting;
    int m_questions = 0;
};

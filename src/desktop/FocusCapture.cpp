#include "desktop/FocusCapture.h"

#include "desktop/FocusReader.h"

#include <QTimer>

FocusCapture::FocusCapture(FocusReader& reader, std::chrono::milliseconds textDeadline, QObject* parent)
    : QObject(parent), m_reader(reader), m_textDeadline(textDeadline), m_workerContext(new QObject)
{
    m_worker.setObjectName(QStringLiteral("FocusCapture"));
    m_workerContext->moveToThread(&m_worker);
    connect(&m_worker, &QThread::finished, m_workerContext, &QObject::deleteLater);
    m_worker.start();
}

FocusCapture::~FocusCapture()
{
    m_worker.quit();
    m_worker.wait();
}

FocusContext FocusCapture::start(QObject* context, Handler onComplete)
{
    const quint64 capture = ++m_capture;
    FocusContext immediate;
    immediate.app = m_reader.frontmostApp();
    m_context = context;
    m_onComplete = std::move(onComplete);

    const QDeadlineTimer deadline(m_textDeadline);
    QTimer::singleShot(m_textDeadline, this, [this, capture, immediate] { complete(capture, immediate); });
    QMetaObject::invokeMethod(
        m_workerContext,
        [this, capture, app = immediate.app, deadline] {
            // A capture queued behind a silent application is stale before it starts: skip it.
            if (deadline.hasExpired())
                return;
            const FocusContext read = FocusContext::readText(m_reader, app, deadline);
            QMetaObject::invokeMethod(
                this, [this, capture, read] { complete(capture, read); }, Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
    return immediate;
}

void FocusCapture::readClipboard(QObject* context, TextHandler onRead)
{
    const QDeadlineTimer deadline(clipboardDeadline);
    QMetaObject::invokeMethod(
        m_workerContext,
        [this, deadline, context = QPointer<QObject>(context), onRead = std::move(onRead)] {
            // Queued behind a silent application, the read is not worth making any more.
            const std::optional<QString> text =
                deadline.hasExpired() ? std::nullopt : m_reader.clipboardText(deadline);
            QMetaObject::invokeMethod(
                this,
                [context, onRead, text] {
                    if (context)
                        onRead(text);
                },
                Qt::QueuedConnection);
        },
        Qt::QueuedConnection);
}

void FocusCapture::complete(quint64 capture, const FocusContext& result)
{
    if (capture != m_capture || !m_onComplete)
        return;
    const Handler onComplete = std::exchange(m_onComplete, nullptr);
    if (m_context)
        onComplete(result);
}

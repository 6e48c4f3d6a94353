#pragma once

#include "desktop/FocusContext.h"

#include <QObject>
#include <QPointer>
#include <QThread>
#include <chrono>
#include <functional>
#include <optional>

class FocusReader;

// Captures what the user was looking at without the main thread ever waiting on another application:
// the frontmost application at once, the text around its focus from a worker thread within a deadline.
// An application that does not answer in time is described without its text.
class FocusCapture : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<void(const FocusContext&)>;
    using TextHandler = std::function<void(const std::optional<QString>&)>;

    // A capture takes 3 to 15 ms when the application answers; far longer means it will not answer,
    // and by then the user has barely started typing the request that the text goes with.
    static constexpr std::chrono::milliseconds defaultTextDeadline{250};
    // A clipboard owner answers in milliseconds too; a long text takes a little longer to come.
    static constexpr std::chrono::milliseconds clipboardDeadline{1000};

    explicit FocusCapture(FocusReader& reader, std::chrono::milliseconds textDeadline = defaultTextDeadline,
                          QObject* parent = nullptr);
    // Waits for the worker, which gives up on a silent application soon after the deadline.
    ~FocusCapture() override;

    // Returns the context with the application only. onComplete receives the whole context later, on
    // this thread and by the deadline: with the text when the application answered in time, else as
    // returned here. Not called once context is gone or when a newer capture started meanwhile.
    FocusContext start(QObject* context, Handler onComplete);
    // Reads the clipboard's text on the worker. onRead receives it on this thread: the text, or nothing
    // when there is none or its owner did not answer by clipboardDeadline. Not called once context is gone.
    void readClipboard(QObject* context, TextHandler onRead);

private:
    void complete(quint64 capture, const FocusContext& result);

    FocusReader& m_reader;
    std::chrono::milliseconds m_textDeadline;
    QThread m_worker;
    QObject* m_workerContext;
    quint64 m_capture = 0;
    QPointer<QObject> m_context;
    Handler m_onComplete;
};

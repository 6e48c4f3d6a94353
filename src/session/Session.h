#pragma once

#include "config/AgentConfig.h"
#include "desktop/FocusCapture.h"
#include "desktop/FocusContext.h"
#include "protocol/AskEvent.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

class AskStream;
class DesktopPlatform;
class Dictation;
struct AskRequest;

// One request at a time, from summoning the agent to pasting or copying the answer. The panel binds
// to the properties and calls the operations; everything happens on the main thread.
class Session : public QObject
{
    Q_OBJECT
    Q_PROPERTY(Session::Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(QString request READ request WRITE setRequest NOTIFY requestChanged)
    Q_PROPERTY(QString answer READ answer NOTIFY answerChanged)
    Q_PROPERTY(QString routeLabel READ routeLabel NOTIFY routeLabelChanged)
    Q_PROPERTY(QUrl link READ linkURL NOTIFY linkChanged)
    Q_PROPERTY(FocusContext context READ context NOTIFY contextChanged)
    Q_PROPERTY(QString copied READ copiedText NOTIFY copiedChanged)
    Q_PROPERTY(QString adjustText READ adjustText WRITE setAdjustText NOTIFY adjustTextChanged)

public:
    struct Phase
    {
        enum Kind { Idle, Typing, Listening, Thinking, Answer, Error };
        Kind kind = Idle;
        QString message; // the error's, shown to the user

        bool operator==(const Phase&) const = default;
    };

    static inline const QString replyRequest = QStringLiteral("Write my reply to this message");
    static inline const QString notSignedIn = QStringLiteral("Not signed in. Open Tavrin and sign in.");
    static inline const QString emptyAnswer =
        QStringLiteral("The service ended the answer without sending any of it. Try again.");

    // Whether the user wants every answer inserted as soon as it is complete; asked at that moment.
    using AutoInsertPreference = std::function<bool()>;

    Session(DesktopPlatform& desktop, std::unique_ptr<Dictation> dictation,
            AutoInsertPreference autoInsertPreferred, QObject* parent = nullptr);
    ~Session() override;

    Phase phase() const { return m_phase; }
    QString request() const { return m_request; }
    void setRequest(const QString& request);
    QString answer() const { return m_answer; }
    QString routeLabel() const { return m_routeLabel; }
    const std::optional<QUrl>& link() const { return m_link; }
    QUrl linkURL() const { return m_link.value_or(QUrl()); }
    FocusContext context() const { return m_context; }
    const std::optional<QString>& copied() const { return m_copied; }
    QString copiedText() const { return m_copied.value_or(QString()); }
    // The panel sets the message to reply to, or drops it.
    void setCopied(const std::optional<QString>& copied);
    QString adjustText() const { return m_adjustText; }
    void setAdjustText(const QString& text);

    const std::optional<AgentConfig>& config() const { return m_config; }
    void setConfig(const std::optional<AgentConfig>& config) { m_config = config; }
    void setOnClose(std::function<void()> onClose) { m_onClose = std::move(onClose); }
    bool autoInsert() const { return m_autoInsert; }
    Dictation& dictation() { return *m_dictation; }

    void begin(bool listening, bool replyToClipboard);
    void finishListening();
    void send(const std::optional<QString>& draft = std::nullopt,
              const std::optional<QString>& adjust = std::nullopt);
    void refine(const QString& instruction);
    void insert();
    void copy();
    void close();

    // Reads the clipboard's plain text off the main thread, since its owner may not answer. onText
    // receives it without surrounding white space, or nothing when there is none. Not called once
    // context is gone.
    void readClipboard(QObject* context, std::function<void(const std::optional<QString>&)> onText);

signals:
    void phaseChanged();
    void requestChanged();
    void answerChanged();
    // Emitted with exactly what a delta appended, before answerChanged, so that a view can grow the
    // answer without comparing whole texts.
    void answerAppended(const QString& appended);
    void routeLabelChanged();
    void linkChanged();
    void contextChanged();
    void copiedChanged();
    void adjustTextChanged();

private:
    AskRequest buildRequest(const QString& text, const std::optional<QString>& draft,
                            const std::optional<QString>& adjust) const;
    void startStream(const AskRequest& request);
    void cancelStream();
    void apply(const AskEvent& event);
    void streamEnded(const Result<void>& outcome);
    void autoInsertIfWanted();
    // Stores a property and announces it, only when it really changed.
    template <typename T> void assign(T& member, const T& value, void (Session::*changed)());
    void setPhase(const Phase& phase);
    void setAnswer(const QString& answer);
    void appendToAnswer(const QString& appended);
    void setRouteLabel(const QString& label);
    void setLink(const std::optional<QUrl>& link);

    DesktopPlatform& m_desktop;
    std::unique_ptr<Dictation> m_dictation;
    AutoInsertPreference m_autoInsertPreferred;
    FocusCapture m_capture;
    Phase m_phase;
    QString m_request;
    QString m_answer;
    QString m_routeLabel;
    std::optional<QUrl> m_link;
    FocusContext m_context;
    std::optional<QString> m_copied;
    QString m_adjustText;
    std::optional<AgentConfig> m_config;
    std::function<void()> m_onClose;
    bool m_autoInsert = false;
    QPointer<AskStream> m_stream;
    bool m_streamAnswered = false;
    quint64 m_requestNumber = 0;
};

Q_DECLARE_METATYPE(Session::Phase)
Q_DECLARE_METATYPE(FocusContext)

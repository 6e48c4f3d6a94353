#include "session/Session.h"

#include "desktop/Clipboard.h"
#include "desktop/DesktopPlatform.h"
#include "desktop/Dictation.h"
#include "desktop/Keystroke.h"
#include "service/AgentClient.h"

namespace {

const QString routeSeparator = QStringLiteral(" · ");
const QString warningSign = QStringLiteral("\u26A0\uFE0F");

} // namespace

Session::Session(DesktopPlatform& desktop, std::unique_ptr<Dictation> dictation,
                 AutoInsertPreference autoInsertPreferred, QObject* parent)
    : QObject(parent), m_desktop(desktop), m_dictation(std::move(dictation)),
      m_autoInsertPreferred(std::move(autoInsertPreferred)), m_capture(desktop.focusReader())
{
    // The speech model failed to load while the person was speaking: say so now, not at the next hold.
    connect(m_dictation.get(), &Dictation::recognitionUnavailable, this, [this] {
        if (m_phase.kind != Phase::Listening)
            return;
        setPhase({Phase::Error, Dictation::unavailableError().message});
        m_dictation->cancel();
    });
}

template <typename T> void Session::assign(T& member, const T& value, void (Session::*changed)())
{
    if (member == value)
        return;
    member = value;
    emit(this->*changed)();
}

Session::~Session()
{
    cancelStream();
}

void Session::setRequest(const QString& request)
{
    assign(m_request, request, &Session::requestChanged);
}

void Session::setAdjustText(const QString& text)
{
    assign(m_adjustText, text, &Session::adjustTextChanged);
}

void Session::readClipboard(QObject* context, std::function<void(const std::optional<QString>&)> onText)
{
    m_capture.readClipboard(context, [onText = std::move(onText)](const std::optional<QString>& text) {
        const QString trimmed = text.value_or(QString()).trimmed();
        onText(trimmed.isEmpty() ? std::nullopt : std::optional<QString>(trimmed));
    });
}

void Session::setCopied(const std::optional<QString>& copied)
{
    assign(m_copied, copied, &Session::copiedChanged);
}

void Session::begin(bool listening, bool replyToClipboard)
{
    ++m_requestNumber;
    cancelStream();
    // The application is known at once; its text follows when it answers, within the capture's deadline.
    m_context = m_capture.start(this, [this](const FocusContext& context) {
        m_context = context;
        emit contextChanged();
    });
    emit contextChanged();
    m_copied = std::nullopt;
    emit copiedChanged();
    // The message to reply to follows when the clipboard's owner answers, unless the user moved on.
    if (replyToClipboard) {
        readClipboard(this, [this, request = m_requestNumber](const std::optional<QString>& text) {
            if (request == m_requestNumber && m_phase.kind == Phase::Typing)
                setCopied(text);
        });
    }
    setRequest(QString());
    setAdjustText(QString());
    setAnswer(QString());
    setRouteLabel(QString());
    setLink(std::nullopt);
    m_autoInsert = listening;
    setPhase({listening ? Phase::Listening : Phase::Typing, {}});
    if (!listening)
        return;
    const Result<void> started =
        m_dictation->start(this, [this](const QString& partial) { setRequest(partial); });
    if (!started.ok())
        setPhase({Phase::Error, started.error().message});
}

void Session::finishListening()
{
    // A close or a new request while the transcript is on its way makes it stale.
    m_dictation->stop(this, [this, request = m_requestNumber](const QString& transcript) {
        if (request != m_requestNumber || m_phase.kind != Phase::Listening)
            return;
        if (!transcript.isEmpty())
            setRequest(transcript);
        if (m_request.isEmpty()) {
            m_autoInsert = false;
            setPhase({Phase::Typing, {}});
            return;
        }
        send();
    });
}

void Session::send(const std::optional<QString>& draft, const std::optional<QString>& adjust)
{
    QString text = m_request.trimmed();
    if (text.isEmpty() && m_copied)
        text = replyRequest;
    if (text.isEmpty())
        return;
    if (m_request.isEmpty())
        setRequest(text);
    if (!m_config) {
        setPhase({Phase::Error, notSignedIn});
        return;
    }
    setPhase({Phase::Thinking, {}});
    setAnswer(QString());
    if (adjust)
        m_autoInsert = false;
    startStream(buildRequest(text, draft, adjust));
}

AskRequest Session::buildRequest(const QString& text, const std::optional<QString>& draft,
                                 const std::optional<QString>& adjust) const
{
    AskRequest request;
    request.text = text;
    request.selection = m_context.selection;
    request.before = m_context.before;
    request.after = m_context.after;
    if (m_context.app && !m_context.app->name.isEmpty())
        request.app = m_context.app->name;
    request.copied = m_copied;
    request.draft = draft;
    request.adjust = adjust;
    return request;
}

void Session::startStream(const AskRequest& request)
{
    // A new answer replaces the one still streaming, so that two answers never mix.
    cancelStream();
    m_streamAnswered = false;
    m_stream = AgentClient::ask(request, *m_config);
    connect(m_stream, &AskStream::event, this, &Session::apply);
    connect(m_stream, &AskStream::finished, this, &Session::streamEnded);
}

void Session::cancelStream()
{
    if (m_stream)
        m_stream->cancel();
    m_stream = nullptr;
}

void Session::apply(const AskEvent& event)
{
    if (!std::holds_alternative<AskEvents::Route>(event) && !std::holds_alternative<AskEvents::Reset>(event))
        m_streamAnswered = true;
    if (const auto* route = std::get_if<AskEvents::Route>(&event)) {
        setRouteLabel(route->route + routeSeparator + route->source);
    } else if (const auto* delta = std::get_if<AskEvents::Delta>(&event)) {
        appendToAnswer(delta->text);
        setPhase({Phase::Answer, {}});
    } else if (const auto* link = std::get_if<AskEvents::Link>(&event)) {
        setLink(link->url);
        setAnswer(link->message);
        setPhase({Phase::Answer, {}});
    } else if (const auto* done = std::get_if<AskEvents::Done>(&event)) {
        setRouteLabel(done->route + routeSeparator + QString::asprintf("%.1f", double(done->ms) / 1000.0) +
                      u's');
        setPhase({Phase::Answer, {}});
        autoInsertIfWanted();
    } else if (const auto* failure = std::get_if<AskEvents::Failure>(&event)) {
        setPhase({Phase::Error, failure->message});
    } else {
        setAnswer(QString());
    }
}

void Session::streamEnded(const Result<void>& outcome)
{
    m_stream = nullptr;
    if (!outcome.ok())
        setPhase({Phase::Error, outcome.error().message});
    else if (!m_streamAnswered)
        setPhase({Phase::Error, emptyAnswer});
}

void Session::autoInsertIfWanted()
{
    if (!(m_autoInsert || (m_autoInsertPreferred && m_autoInsertPreferred())))
        return;
    if (m_answer.isEmpty() || m_answer.startsWith(warningSign))
        return;
    close();
    Keystroke::insert(m_desktop, m_answer, m_context.app);
}

void Session::refine(const QString& instruction)
{
    const QString trimmed = instruction.trimmed();
    if (trimmed.isEmpty() || m_answer.isEmpty() || m_link)
        return;
    setAdjustText(QString());
    send(m_answer, trimmed);
}

void Session::insert()
{
    if (m_answer.isEmpty())
        return;
    close();
    Keystroke::insert(m_desktop, m_answer, m_context.app);
}

void Session::copy()
{
    m_desktop.clipboard().setText(m_answer);
}

void Session::close()
{
    ++m_requestNumber;
    cancelStream();
    m_dictation->cancel();
    setPhase({Phase::Idle, {}});
    if (m_onClose)
        m_onClose();
}

void Session::setPhase(const Phase& phase)
{
    assign(m_phase, phase, &Session::phaseChanged);
}

void Session::setAnswer(const QString& answer)
{
    assign(m_answer, answer, &Session::answerChanged);
}

void Session::appendToAnswer(const QString& appended)
{
    if (appended.isEmpty())
        return;
    m_answer += appended;
    emit answerAppended(appended);
    emit answerChanged();
}

void Session::setRouteLabel(const QString& label)
{
    assign(m_routeLabel, label, &Session::routeLabelChanged);
}

void Session::setLink(const std::optional<QUrl>& link)
{
    assign(m_link, link, &Session::linkChanged);
}

#include "FakeDesktopPlatform.h"
#include "FakeSpeechRecognizer.h"
#include "MakeTestSession.h"
#include "ScriptedServer.h"
#include "config/Preferences.h"
#include "session/Session.h"
#include "views/AnswerText.h"
#include "views/PanelView.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QTextEdit>

using Kind = Session::Phase::Kind;

namespace {

QByteArray events(std::initializer_list<std::pair<const char*, QByteArray>> list)
{
    QByteArray bytes;
    for (const auto& [name, data] : list)
        bytes += QByteArray("event: ") + name + "\ndata: " + data + "\n\n";
    return bytes;
}

QByteArray delta(const QString& text)
{
    return QJsonDocument(QJsonObject{{QStringLiteral("t"), text}}).toJson(QJsonDocument::Compact);
}

const QByteArray done = "{\"ms\":1520,\"route\":\"fast\"}";

// A whole answer of one piece.
QByteArray answerOf(const char* text)
{
    return events({{"delta", delta(QString::fromUtf8(text))}, {"done", done}});
}

} // namespace

class TestPanelView : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settings;
    std::unique_ptr<FakeDesktopPlatform> m_desktop;
    std::unique_ptr<ScriptedServer> m_server;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<PanelView> m_view;
    FakeSpeechRecognizer* m_recognizer = nullptr;

    // The visible widgets of a kind in reading order: top to bottom, then left to right.
    template <typename T> QList<T*> shown() const
    {
        QList<T*> visible;
        for (T* widget : m_view->findChildren<T*>())
            if (widget->isVisible())
                visible.append(widget);
        std::stable_sort(visible.begin(), visible.end(), [this](T* a, T* b) {
            const QPoint pa = a->mapTo(m_view.get(), QPoint());
            const QPoint pb = b->mapTo(m_view.get(), QPoint());
            return pa.y() != pb.y() ? pa.y() < pb.y() : pa.x() < pb.x();
        });
        return visible;
    }
    QStringList labels() const
    {
        QStringList texts;
        for (QLabel* label : shown<QLabel>())
            if (!label->text().isEmpty())
                texts.append(label->text());
        return texts;
    }
    // The buttons by their texts, or their accessible names where they show a symbol.
    QStringList buttons() const
    {
        QStringList names;
        for (QAbstractButton* button : shown<QAbstractButton>())
            if (!qobject_cast<QCheckBox*>(button))
                names.append(button->text().isEmpty() ? button->accessibleName() : button->text());
        return names;
    }
    template <typename T = QAbstractButton> T* button(const QString& name) const
    {
        for (T* candidate : m_view->findChildren<T*>())
            if (candidate->text() == name || candidate->accessibleName() == name)
                return candidate;
        return nullptr;
    }
    QWidget* named(const QString& name) const
    {
        for (QWidget* candidate : m_view->findChildren<QWidget*>())
            if (candidate->accessibleName() == name)
                return candidate;
        return nullptr;
    }
    QTextEdit* requestField() const { return qobject_cast<QTextEdit*>(named(QStringLiteral("Request"))); }
    QLineEdit* adjustField() const { return m_view->findChild<QLineEdit*>(); }
    AnswerText* answerText() const { return m_view->findChild<AnswerText*>(); }
    QString title() const { return labels().value(0); }
    void typeAndSend(const QString& request, const QByteArray& stream)
    {
        m_server->enqueue(ScriptedResponse().part(stream));
        m_session->begin(false, false);
        QTest::keyClicks(requestField(), request);
        QTest::keyClick(requestField(), Qt::Key_Return);
    }
    void answered(const QByteArray& stream)
    {
        typeAndSend(QStringLiteral("greet"), stream);
        QTRY_COMPARE(m_session->phase().kind, Kind::Answer);
    }

private slots:
    void initTestCase()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
    }

    void init()
    {
        Preferences::setAutoInsert(false);
        m_desktop = std::make_unique<FakeDesktopPlatform>();
        m_desktop->reader.app = RunningApp{QStringLiteral("Mousepad"), 42, 7, QStringLiteral("mousepad")};
        m_server = std::make_unique<ScriptedServer>();
        SessionDictationFakes fakes;
        m_session = makeTestSession(*m_desktop, &fakes);
        m_recognizer = fakes.recognizer;
        m_session->setConfig(AgentConfig{m_server->url().toString(), QStringLiteral("tok"), std::nullopt});
        m_view = std::make_unique<PanelView>(*m_session);
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    }

    void cleanup()
    {
        m_view.reset();
        m_session.reset();
        m_server.reset();
        m_desktop.reset();
    }

    // With text on the clipboard the panel offers to reply to it; typing turns the reply into a request.
    void typingOffersAskOrReply()
    {
        m_desktop->board.copyByUser(FakeClipboard::textContents(QStringLiteral("Lunch?")));
        m_session->begin(false, false);
        QCOMPARE(title(), QStringLiteral("Tavrin"));
        QVERIFY(labels().contains(QStringLiteral("Mousepad")));
        QCOMPARE(requestField()->placeholderText(),
                 QStringLiteral("Ask anything — e.g. “reply yes, Thursday 3pm works”"));
        QTRY_COMPARE(buttons(), (QStringList{"Ask ⏎", "Reply to copied", "Close"}));
        QVERIFY(!button("Ask ⏎")->isEnabled());
        QCOMPARE(
            button("Reply to copied")->toolTip(),
            QStringLiteral("Use the text on your clipboard as the message to reply to (Alt+Shift+Space)"));

        button("Reply to copied")->click();
        QTRY_VERIFY(labels().contains(QStringLiteral("Replying to: Lunch?")));
        QCOMPARE(requestField()->placeholderText(),
                 QStringLiteral("How should I reply? ⏎ for a standard reply"));
        QCOMPARE(buttons(), (QStringList{"Don't use the clipboard", "Reply ⏎", "Close"}));
        QVERIFY(button("Reply ⏎")->isEnabled());
        QTest::keyClicks(requestField(), QStringLiteral("no"));
        QCOMPARE(m_session->request(), QStringLiteral("no"));
        QCOMPARE(buttons(), (QStringList{"Don't use the clipboard", "Ask ⏎", "Close"}));
        QVERIFY(button("Ask ⏎")->isEnabled());
    }

    // Each preview is cut at its limit with "…"; the replying line is at most three lines, and the letters
    // run together, so it is broken inside that word and may be cut sooner in its third line.
    void previewsAreCut()
    {
        const QString copied = QString(160, u'c');
        const QString selection = QString(140, u's');
        m_desktop->board.copyByUser(FakeClipboard::textContents(copied + u'C'));
        m_desktop->reader.element = FocusedElement{};
        m_desktop->reader.element->selectedText = selection + u'S';
        m_session->begin(false, true);
        // The clipboard and the selection are read off the main thread, each arriving in its own time.
        const QString replying = QStringLiteral("Replying to: ");
        QTRY_VERIFY2(labels().contains("Selected: " + selection + u'…') &&
                         !labels().filter(replying).isEmpty(),
                     qPrintable(labels().join(u'|')));
        const QString lines = labels().filter(replying).value(0);
        QCOMPARE(lines.count(u'\n'), 2);
        const QString shown = QString(lines).remove(u'\n');
        QVERIFY2(shown.endsWith(u'…') && (replying + copied).startsWith(shown.chopped(1)), qPrintable(shown));
    }

    void streamedAnswerFillsThePanel()
    {
        m_server->enqueue(
            ScriptedResponse()
                .part(events({{"route", "{\"route\":\"fast\",\"source\":\"auto\"}"}}))
                .heldPart(events({{"delta", delta("Hel")}, {"delta", delta("lo")}, {"done", done}})));
        m_session->begin(false, false);
        QTest::keyClicks(requestField(), QStringLiteral("greet"));
        QTest::keyClick(requestField(), Qt::Key_Return);
        QCOMPARE(title(), QStringLiteral("Thinking"));
        QVERIFY(named("Working")->isVisible());
        QTRY_VERIFY(labels().contains(QStringLiteral("fast · auto")));
        QCOMPARE(labels(), (QStringList{"Thinking", "Mousepad", "“greet”", "fast · auto"}));
        QCOMPARE(buttons(), QStringList{"Close"});
        m_server->release();
        QTRY_COMPARE(title(), QStringLiteral("Ready"));
        QTRY_VERIFY(labels().contains(QStringLiteral("fast · 1.5s")));
        QVERIFY(!named("Working")->isVisible());
        QTRY_COMPARE(answerText()->toPlainText(), QStringLiteral("Hello"));
        QCOMPARE(buttons(), (QStringList{"Shorter", "Longer", "Insert ⏎", "Copy", "Try again", "Close"}));
        QCOMPARE(button("Shorter")->toolTip(), QStringLiteral("Make it shorter (Ctrl+−)"));
        QCOMPARE(button("Longer")->toolTip(), QStringLiteral("Make it longer (Ctrl+=)"));
        QCOMPARE(adjustField()->placeholderText(), QStringLiteral("Adjust… e.g. more formal, in Cantonese"));
    }

    void linkAnswerHasNoRework()
    {
        answered(
            events({{"link", "{\"url\":\"https://example.org/live\",\"message\":\"Opened a live link\"}"}}));
        QCOMPARE(title(), QStringLiteral("Live link"));
        QTRY_COMPARE(answerText()->toPlainText(), QStringLiteral("Opened a live link"));
        QCOMPARE(buttons(), (QStringList{"Insert ⏎", "Copy", "Open", "Try again", "Close"}));
        QVERIFY(!adjustField()->isVisible());
    }

    // The adjust field has the keys: a typed instruction and the shortcut both rework the answer, neither
    // inserts, and Escape closes the panel.
    void reworkingFromTheKeyboard()
    {
        m_view->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
        answered(answerOf("Hello"));
        m_server->enqueue(ScriptedResponse().part(answerOf("Good day")));
        m_server->enqueue(ScriptedResponse().part(answerOf("Hi")));
        QTRY_VERIFY(adjustField()->hasFocus());
        QTest::keyClicks(static_cast<QWidget*>(nullptr), QStringLiteral("more formal"));
        QTest::keyClick(static_cast<QWidget*>(nullptr), Qt::Key_Return);
        QTRY_COMPARE(answerText()->toPlainText(), QStringLiteral("Good day"));
        QCOMPARE(adjustField()->text(), QString());
        QTRY_VERIFY(adjustField()->hasFocus());
        QTest::keyClick(static_cast<QWidget*>(nullptr), Qt::Key_Minus, Qt::ControlModifier);
        QTRY_COMPARE(answerText()->toPlainText(), QStringLiteral("Hi"));
        QStringList instructions;
        for (const RecordedRequest& request : m_server->requests().mid(1))
            instructions << QJsonDocument::fromJson(request.body).object().value("adjust").toString();
        QCOMPARE(instructions, (QStringList{"more formal", "make it shorter"}));
        QVERIFY(m_desktop->keys.sent.isEmpty());
        QTest::keyClick(static_cast<QWidget*>(nullptr), Qt::Key_Escape);
        QCOMPARE(m_session->phase().kind, Kind::Idle);
    }

    void errorsShowTheMessageAndKeepTheAnswer()
    {
        typeAndSend(QStringLiteral("greet"), events({{"delta", delta("Half an ans")},
                                                     {"error", "{\"message\":\"The model went away\"}"}}));
        QTRY_COMPARE(title(), QStringLiteral("Error"));
        QVERIFY(labels().contains(QStringLiteral("The model went away")));
        QTRY_COMPARE(answerText()->toPlainText(), QStringLiteral("Half an ans"));
        QVERIFY(answerText()->isVisible());
        QCOMPARE(buttons(), QStringList{"Close"});
    }

    void listeningShowsTheTranscript()
    {
        m_session->begin(true, false);
        QCOMPARE(title(), QStringLiteral("Listening"));
        QVERIFY(labels().contains(QStringLiteral("Listening… release Alt+Space to send")));
        Preferences::setAskShortcut(QStringLiteral("Ctrl+Alt+J"));
        QVERIFY(labels().contains(QStringLiteral("Listening… release Ctrl+Alt+J to send")));
        Preferences::setAskShortcut(Preferences::defaultAskShortcut);
        m_recognizer->hear(QStringLiteral("make it shorter"));
        QTRY_VERIFY(labels().contains(QStringLiteral("“make it shorter”")));
        QVERIFY(named("Working")->isVisible());
        QCOMPARE(buttons(), QStringList{"Close"});
    }
};

QTEST_MAIN(TestPanelView)
#include "tst_panelview.moc"

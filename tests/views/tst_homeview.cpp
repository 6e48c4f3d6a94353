#include "ViewChecks.h"
#include "WindowFakes.h"
#include "WindowReplies.h"
#include "config/Preferences.h"
#include "views/HomeModel.h"
#include "views/HomeView.h"

#include <QLabel>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

// The title and detail texts of one status row.
QStringList rowTexts(QWidget* view, const char* row)
{
    QStringList texts;
    for (QLabel* label : view->findChild<QWidget*>(QLatin1String(row))->findChildren<QLabel*>()) {
        if (!label->text().isEmpty())
            texts << label->text();
    }
    return texts;
}

} // namespace

class HomeViewTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_home.isValid());
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(m_home.filePath(QStringLiteral("config.json"))));
    }
    void init()
    {
        AgentConfig::remove();
        Preferences::setAutoInsert(false);
        Preferences::setAskShortcut(Preferences::defaultAskShortcut);
    }

    void signedOut()
    {
        HomeModel model(m_accessibility, m_voice);
        HomeView view(model);
        view.show();
        QTRY_COMPARE(rowTexts(&view, "accountRow"), (QStringList{"Account", "Not signed in"}));
        QSignalSpy signIn(&view, &HomeView::signInRequested);
        QAbstractButton* button = visibleButton(&view, QStringLiteral("Sign in…"));
        QVERIFY(button);
        button->click();
        QCOMPARE(signIn.size(), 1);
        QVERIFY(!visibleButton(&view, QStringLiteral("Sign out")));
        QVERIFY(!visibleButton(&view, QStringLiteral("Add iPhone…"))->isEnabled());
        QVERIFY2(unnamedControls(&view).isEmpty(), qPrintable(unnamedControls(&view).join(", ")));
    }

    void signedInAndEverythingInPlace()
    {
        ScriptedServer service;
        service.enqueue(WindowReplies::user("ada@example.com"));
        QVERIFY(AgentConfig({service.url().toString(), QStringLiteral("tok"), std::nullopt}).save().ok());
        FakeAccessibilitySwitch accessibility;
        accessibility.enabled = true;
        FakeVoiceCheck voice;
        voice.status = {true, true, {}, {}};
        HomeModel model(accessibility, voice);
        HomeView view(model);
        view.show();
        QTRY_COMPARE(rowTexts(&view, "accountRow"), (QStringList{"Account", "ada@example.com"}));
        QTRY_COMPARE(rowTexts(&view, "voiceRow"),
                     (QStringList{"Microphone & Speech", "Hold Alt+Space and speak"}));
        QCOMPARE(rowTexts(&view, "hotKeyRow"),
                 (QStringList{"Hotkey Alt+Space", "Tap to type · hold to talk"}));
        QCOMPARE(rowTexts(&view, "accessibilityRow"),
                 (QStringList{"Accessibility", "Can read your selection and paste"}));
        for (const char* fix : {"Sign in…", "Grant…", "Allow…"})
            QVERIFY2(!visibleButton(&view, QString::fromUtf8(fix)), fix);
        QSignalSpy signOut(&view, &HomeView::signOutRequested);
        visibleButton(&view, QStringLiteral("Sign out"))->click();
        QCOMPARE(signOut.size(), 1);
        QSignalSpy change(&view, &HomeView::changeShortcutRequested);
        visibleButton(&view, QStringLiteral("Change…"))->click();
        QCOMPARE(change.size(), 1);
        QVERIFY(visibleButton(&view, QStringLiteral("Add iPhone…"))->isEnabled());
    }

    void theFixingButtons()
    {
        m_voice.status = {false, false, QStringLiteral("No microphone found."),
                          QStringLiteral("No speech model.")};
        m_accessibility.enableOutcome = QStringList{QStringLiteral("kate")};
        HomeModel model(m_accessibility, m_voice);
        HomeView view(model);
        view.show();
        QTRY_VERIFY(visibleButton(&view, QStringLiteral("Allow…")));
        QTRY_COMPARE(rowTexts(&view, "voiceRow").last(),
                     QStringLiteral("No microphone found. No speech model."));
        visibleButton(&view, QStringLiteral("Grant…"))->click();
        QTRY_VERIFY(!visibleButton(&view, QStringLiteral("Grant…")));
        QCOMPARE(
            rowTexts(&view, "accessibilityRow").last(),
            QStringLiteral("Can read your selection and paste\nTurned on. Restart kate so that the agent can "
                           "read them too."));
        m_voice.status = {true, true, {}, {}};
        visibleButton(&view, QStringLiteral("Allow…"))->click();
        QTRY_VERIFY(!visibleButton(&view, QStringLiteral("Allow…")));
        m_accessibility.enabled = false;
    }

    void textsFollowTheShortcutInForce()
    {
        model().setHotKeyOK(false);
        QCOMPARE(rowTexts(m_view.get(), "hotKeyRow"),
                 (QStringList{"Hotkey Alt+Space", "Taken by another app — quit it or change the shortcut"}));
        Preferences::setAskShortcut(QStringLiteral("Ctrl+Space"));
        QCOMPARE(rowTexts(m_view.get(), "hotKeyRow").first(), QStringLiteral("Hotkey Ctrl+Space"));
        QVERIFY(visibleButton(m_view.get(), QStringLiteral("Open AI panel (Ctrl+Space)")));
    }

    void theAutoInsertSwitchIsThePreference()
    {
        model();
        auto* toggle = m_view->findChild<QAbstractButton*>();
        for (QAbstractButton* button : m_view->findChildren<QAbstractButton*>()) {
            if (accessibleName(button) == QLatin1String("Auto-insert answers"))
                toggle = button;
        }
        QVERIFY(!toggle->isChecked());
        toggle->click();
        QVERIFY(Preferences::autoInsert());
        Preferences::setAutoInsert(false);
        QVERIFY(!toggle->isChecked());
    }

    void theSelfTestButton()
    {
        ScriptedServer service;
        // The account check of the window's first showing comes first.
        service.enqueue(ScriptedResponse(401).part("{\"error\":\"unauthorized\"}"));
        service.enqueue(ScriptedResponse()
                            .header("Content-Type", "text/event-stream")
                            .heldPart("event: delta\ndata: {\"t\":\"Polite.\"}\nevent: done\ndata: "
                                      "{\"ms\":800,\"route\":\"rewrite\"}\n"));
        QVERIFY(AgentConfig({service.url().toString(), QStringLiteral("tok"), std::nullopt}).save().ok());
        model();
        QTRY_COMPARE(service.requests().size(), 1);
        QAbstractButton* ask = visibleButton(m_view.get(), QStringLiteral("Ask"));
        QVERIFY(!ask->isEnabled());
        auto* field = m_view->findChild<QLineEdit*>();
        QTest::keyClicks(field, QStringLiteral("be nice"));
        QCOMPARE(m_model->testInput(), QStringLiteral("be nice"));
        QVERIFY(ask->isEnabled());
        QTest::keyClick(field, Qt::Key_Return);
        QCOMPARE(ask->text(), QStringLiteral("…"));
        QVERIFY(!ask->isEnabled());
        QTRY_VERIFY(service.isHolding());
        service.release();
        auto* output = m_view->findChild<QLabel*>(QStringLiteral("testOutput"));
        QTRY_COMPARE(output->text(), QStringLiteral("Polite.\n\n— rewrite · 0.8s"));
        QVERIFY(output->isVisibleTo(m_view.get()));
        QCOMPARE(ask->text(), QStringLiteral("Ask"));
    }

    void cleanup()
    {
        m_view.reset();
        m_model.reset();
    }

private:
    HomeModel& model()
    {
        m_model = std::make_unique<HomeModel>(m_accessibility, m_voice);
        m_view = std::make_unique<HomeView>(*m_model);
        m_view->show();
        return *m_model;
    }

    QTemporaryDir m_home;
    FakeAccessibilitySwitch m_accessibility;
    FakeVoiceCheck m_voice;
    std::unique_ptr<HomeModel> m_model;
    std::unique_ptr<HomeView> m_view;
};

QTEST_MAIN(HomeViewTest)
#include "tst_homeview.moc"

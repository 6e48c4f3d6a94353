#include "ViewChecks.h"
#include "WindowFakes.h"
#include "WindowReplies.h"
#include "config/Preferences.h"
#include "views/HomeModel.h"
#include "views/HomeView.h"

#include <QLabel>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

void signIn(const QString& serverURL)
{
    QVERIFY(AgentConfig({serverURL, QStringLiteral("tok"), std::nullopt}).save().ok());
}

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

// The home window: its model over fakes of the desktop and the scripted service, and its view.
class HomeWindowTest : public QObject
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
        Preferences::setAskShortcut(Preferences::defaultAskShortcut);
        m_accessibility = std::make_unique<FakeAccessibilitySwitch>();
        m_voice = std::make_unique<FakeVoiceCheck>();
    }
    void cleanup()
    {
        m_view.reset();
        m_model.reset();
    }

    void theAccountRow_data()
    {
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("server");
        QTest::addColumn<bool>("ok");

        QTest::newRow("signed out") << false << 0 << QByteArray() << "Not signed in" << false;
        QTest::newRow("ok") << true << 200 << QByteArray("ada@example.com") << "ada@example.com" << true;
        QTest::newRow("revoked") << true << 401 << QByteArray(R"({"error":"unauthorized"})")
                                 << "Signed out on the server. Sign in again." << false;
    }
    void theAccountRow()
    {
        QFETCH(bool, signedIn);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QString, server);
        QFETCH(bool, ok);

        ScriptedServer service;
        if (status == 200)
            service.enqueue(WindowReplies::user(body));
        else if (status)
            service.enqueue(WindowReplies::json(body, status));
        if (signedIn)
            signIn(service.url().toString());

        showWindow();
        QTRY_VERIFY(m_model->server() != QStringLiteral("Checking…"));
        QVERIFY2(m_model->server().startsWith(server), qPrintable(m_model->server()));
        QCOMPARE(m_model->serverOK(), ok);
        QCOMPARE(m_model->account().has_value(), ok);
        QCOMPARE(rowTexts(m_view.get(), "accountRow"), (QStringList{"Account", m_model->server()}));
        QCOMPARE(bool(visibleButton(m_view.get(), QStringLiteral("Sign in…"))), !ok);
        QCOMPARE(bool(visibleButton(m_view.get(), QStringLiteral("Sign out"))), signedIn);
        QCOMPARE(visibleButton(m_view.get(), QStringLiteral("Add iPhone…"))->isEnabled(), signedIn);
        QVERIFY2(unnamedControls(m_view.get()).isEmpty(),
                 qPrintable(unnamedControls(m_view.get()).join(", ")));
    }

    // The status rows name what is missing, their buttons fix it, and their texts follow the shortcut.
    void theStatusRowsAndTheirFixes()
    {
        m_voice->status = {false, false, QStringLiteral("connect a microphone"),
                           QStringLiteral("install the model")};
        m_accessibility->enableOutcome = QStringList{"kate", "konsole"};
        showWindow();
        QTRY_COMPARE(rowTexts(m_view.get(), "voiceRow"),
                     (QStringList{"Microphone & Speech", "connect a microphone install the model"}));
        QCOMPARE(rowTexts(m_view.get(), "accessibilityRow").last(),
                 QStringLiteral("Needed to read selected text and paste the answer"));
        m_voice->status = {true, true, {}, {}};
        visibleButton(m_view.get(), QStringLiteral("Allow…"))->click();
        QTRY_COMPARE(rowTexts(m_view.get(), "voiceRow").last(), QStringLiteral("Hold Alt+Space and speak"));
        QVERIFY(!visibleButton(m_view.get(), QStringLiteral("Allow…")));
        QCOMPARE(m_voice->accessRequests, 1);

        visibleButton(m_view.get(), QStringLiteral("Grant…"))->click();
        QTRY_VERIFY(!visibleButton(m_view.get(), QStringLiteral("Grant…")));
        QCOMPARE(rowTexts(m_view.get(), "accessibilityRow").last(),
                 QStringLiteral("Can read your selection and paste\nTurned on. Restart kate, konsole so that "
                                "the agent can read them too."));

        QCOMPARE(rowTexts(m_view.get(), "hotKeyRow"),
                 (QStringList{"Hotkey Alt+Space", "Tap to type · hold to talk"}));
        m_model->setHotKeyOK(false);
        QCOMPARE(rowTexts(m_view.get(), "hotKeyRow").last(),
                 QStringLiteral("Taken by another app — quit it or change the shortcut"));
        Preferences::setAskShortcut(QStringLiteral("Ctrl+Space"));
        QCOMPARE(rowTexts(m_view.get(), "hotKeyRow").first(), QStringLiteral("Hotkey Ctrl+Space"));
        QVERIFY(visibleButton(m_view.get(), QStringLiteral("Open AI panel (Ctrl+Space)")));
    }

private:
    void showWindow()
    {
        m_model = std::make_unique<HomeModel>(*m_accessibility, *m_voice);
        m_view = std::make_unique<HomeView>(*m_model);
        m_view->show();
    }

    QTemporaryDir m_home;
    std::unique_ptr<FakeAccessibilitySwitch> m_accessibility;
    std::unique_ptr<FakeVoiceCheck> m_voice;
    std::unique_ptr<HomeModel> m_model;
    std::unique_ptr<HomeView> m_view;
};

QTEST_MAIN(HomeWindowTest)
#include "tst_homewindow.moc"

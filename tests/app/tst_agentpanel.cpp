#include "FakeDesktopPlatform.h"
#include "FakeFloatingWindows.h"
#include "MakeTestSession.h"
#include "ScriptedServer.h"
#include "app/AgentPanel.h"
#include "session/Session.h"

#include <QApplication>
#include <QCursor>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

namespace {

std::unique_ptr<Session> makeSession(DesktopPlatform& desktop, const QUrl& server)
{
    auto session = makeTestSession(desktop);
    session->setConfig(AgentConfig{server.toString(), QStringLiteral("tok"), std::nullopt});
    return session;
}

QByteArray deltaEvent(const QString& text)
{
    return "event: delta\ndata: {\"t\":\"" + text.toUtf8() + "\"}\n\n";
}

} // namespace

// Placement on two screens of the offscreen platform (the test's screens file); the desktop test
// covers the window manager's side.
class TestAgentPanel : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settings;
    FakeDesktopPlatform m_desktop;
    FakeFloatingWindows m_windowManager;
    ScriptedServer m_server;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<AgentPanel> m_panel;

private slots:
    void initTestCase()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
        QCOMPARE(QGuiApplication::screens().size(), 2);
        m_session = makeSession(m_desktop, m_server.url());
        m_panel = std::make_unique<AgentPanel>(*m_session, m_windowManager);
    }

    void opensOnTheScreenUnderThePointer_data()
    {
        QTest::addColumn<int>("screen");
        QTest::addColumn<QPoint>("topLeft");
        // 18 % of the height below the top, centred for 420 pixels.
        QTest::newRow("left screen") << 0 << QPoint(640 - 210, 144);
        QTest::newRow("right screen") << 1 << QPoint(1280 + 960 - 210, 194);
    }
    void opensOnTheScreenUnderThePointer()
    {
        QFETCH(int, screen);
        QFETCH(QPoint, topLeft);
        QCursor::setPos(QGuiApplication::screens().at(screen)->geometry().center());
        m_session->begin(false, false);
        m_panel->showPanel(true);
        QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
        QCOMPARE(m_panel->pos(), topLeft);
        QCOMPARE(m_panel->anchorTop(), topLeft.y());
        QCOMPARE(m_panel->width(), 420);
        QCOMPARE(m_windowManager.activated.last(), m_panel->winId());
        m_panel->hide();
    }

    void growsDownwardsFromItsTopEdge()
    {
        QCursor::setPos(QGuiApplication::screens().at(1)->geometry().center());
        m_server.enqueue(
            ScriptedResponse().part(deltaEvent("One")).heldPart(deltaEvent("\\nTwo\\nThree\\nFour\\nFive")));
        const qsizetype activations = m_windowManager.activated.size();
        m_session->begin(false, false);
        m_panel->showPanel(false);
        QVERIFY(QTest::qWaitForWindowExposed(m_panel.get()));
        QCOMPARE(m_windowManager.activated.size(), activations);
        const QRect opened = m_panel->geometry();
        m_session->setRequest(QStringLiteral("count"));
        m_session->send();
        QTRY_COMPARE(m_session->answer(), QStringLiteral("One"));
        QTRY_VERIFY(m_panel->height() != opened.height());
        const QRect oneLine = m_panel->geometry();
        m_server.release();
        QTRY_VERIFY(m_panel->height() > oneLine.height());
        QCOMPARE(m_panel->y(), opened.y());
        QCOMPARE(m_panel->x(), opened.x());
        QCOMPARE(m_panel->y(), 194);
    }
};

QTEST_MAIN(TestAgentPanel)
#include "tst_agentpanel.moc"

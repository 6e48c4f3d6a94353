#include "FakeDesktopPlatform.h"
#include "MakeTestSession.h"
#include "app/AgentPanel.h"
#include "desktop/FloatingWindowPlatform.h"
#include "session/Session.h"

#include <QCursor>
#include <QScreen>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Remembers the windows it was asked to activate; the offscreen platform composites.
class FakeFloatingWindows : public FloatingWindowPlatform
{
public:
    void keepOnEveryWorkspace(WId) override {}
    void activate(WId window) override { activated.append(window); }
    bool hasCompositor() override { return true; }

    QList<WId> activated;
};

} // namespace

// Placement on two screens of the offscreen platform (the test's screens file); the desktop test
// covers the window manager's side and the top edge while an answer streams.
class TestAgentPanel : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settings;
    FakeDesktopPlatform m_desktop;
    FakeFloatingWindows m_windowManager;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<AgentPanel> m_panel;

private slots:
    void initTestCase()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
        QCOMPARE(QGuiApplication::screens().size(), 2);
        m_session = makeTestSession(m_desktop);
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
};

QTEST_MAIN(TestAgentPanel)
#include "tst_agentpanel.moc"

#include "DesktopSession.h"
#include "EditorDriver.h"
#include "desktop/FocusContext.h"

#include <QGuiApplication>
#include <QTest>

namespace {

const QString emoji = QStringLiteral("\U0001F600");

struct Editor
{
    quint64 window = DesktopSession::windowOfClass(QStringLiteral("mousepad"));
    qint64 processId = DesktopSession::processOfWindow(window);
    EditorDriver driver{processId};
};

} // namespace

class TestX11Capture : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void editorSelection_data();
    void editorSelection();
    void terminalSelectionFromPrimary();
    void staleSelectionOfAnotherAppIsIgnored();

private:
    std::unique_ptr<Editor> m_editor;
};

void TestX11Capture::initTestCase()
{
    // The editor shows up on the accessibility bus a little after its window.
    QTRY_VERIFY_WITH_TIMEOUT((m_editor = std::make_unique<Editor>())->driver.isReady(), 10000);
}

void TestX11Capture::editorSelection_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("start");
    QTest::addColumn<int>("end");
    QTest::addColumn<std::optional<QString>>("selection");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");

    QTest::newRow("selection with its surroundings")
        << "alpha beta gamma" << 6 << 10 << std::optional<QString>("beta") << "alpha "
        << " gamma";
    // Offsets here count code points: the emoji is one.
    const QString before = emoji + QString(2999, 'a');
    const QString after = QString(999, 'b') + emoji;
    QTest::newRow("limits with an emoji at each cut")
        << "xy" + before + "SEL" + after + "tail" << 3002 << 3005 << std::optional<QString>("SEL") << before
        << after;
    QTest::newRow("caret without selection") << "hello world" << 5 << 5 << std::optional<QString>() << "hello"
                                             << " world";
    QTest::newRow("caret at the start") << "hello world" << 0 << 0 << std::optional<QString>() << ""
                                        << "hello world";
}

void TestX11Capture::editorSelection()
{
    QFETCH(QString, text);
    QFETCH(int, start);
    QFETCH(int, end);
    QFETCH(std::optional<QString>, selection);
    QFETCH(QString, before);
    QFETCH(QString, after);
    QVERIFY(DesktopSession::activate(m_editor->window));
    QVERIFY(m_editor->driver.setText(text));
    QVERIFY(m_editor->driver.select(start, end));

    FocusContext context;
    QTRY_VERIFY((context = FocusContext::capture()).before == before);
    QVERIFY(context.app);
    QCOMPARE(context.app->name, QStringLiteral("Mousepad"));
    QCOMPARE(context.app->processId, m_editor->processId);
    QCOMPARE(context.app->window, m_editor->window);
    QCOMPARE(context.selection, selection);
    QCOMPARE(context.after, after);
}

void TestX11Capture::terminalSelectionFromPrimary()
{
    const quint64 terminal = DesktopSession::windowOfClass(QStringLiteral("xterm"));
    QVERIFY(DesktopSession::activate(terminal));
    // A double click on the word the terminal printed first selects it, and xterm takes PRIMARY.
    QVERIFY(DesktopSession::run(QStringLiteral("xdotool"),
                                {"mousemove", "--window", QString::number(terminal), "14", "9", "click",
                                 "--repeat", "2", "--delay", "60", "1"})
                .exitCode == 0);

    FocusContext context;
    QTRY_COMPARE((context = FocusContext::capture()).selection, QStringLiteral("SELECTME"));
    QCOMPARE(context.app->windowClass, QStringLiteral("XTerm"));
    QVERIFY(!context.before);
}

void TestX11Capture::staleSelectionOfAnotherAppIsIgnored()
{
    // The terminal still owns PRIMARY from the previous test; the editor has only a caret.
    QVERIFY(DesktopSession::activate(m_editor->window));
    QVERIFY(m_editor->driver.setText(QStringLiteral("no selection here")));
    QVERIFY(m_editor->driver.select(3, 3));

    FocusContext context;
    QTRY_COMPARE((context = FocusContext::capture()).before, QStringLiteral("no "));
    QCOMPARE(context.app->name, QStringLiteral("Mousepad"));
    QCOMPARE(context.selection, std::nullopt);
}

TAVRIN_DESKTOP_TEST_MAIN(TestX11Capture)
#include "tst_x11capture.moc"

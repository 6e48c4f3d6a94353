#include "DesktopSession.h"
#include "EditorDriver.h"
#include "desktop/FocusContext.h"
#include "desktop/Keystroke.h"
#include "desktop/PendingInsertion.h"

#include <QBuffer>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QTest>

namespace {

QByteArray pngBytes()
{
    QImage image(24, 16, QImage::Format_ARGB32);
    image.fill(QColor(200, 40, 90, 180));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

bool insertionsSettled()
{
    return QCoreApplication::instance()->findChildren<PendingInsertion*>().isEmpty();
}

QByteArray terminalOutput()
{
    QFile output(DesktopSession::filesDir() + QStringLiteral("/xterm.out"));
    return output.open(QIODevice::ReadOnly) ? output.readAll() : QByteArray();
}

} // namespace

class TestX11Insertion : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void replacesEditorSelectionAndRestoresClipboard_data();
    void replacesEditorSelectionAndRestoresClipboard();
    void pastesIntoTerminal();

private:
    quint64 m_editorWindow = 0;
    quint64 m_terminalWindow = 0;
    std::unique_ptr<EditorDriver> m_editor;
};

void TestX11Insertion::initTestCase()
{
    m_editorWindow = DesktopSession::windowOfClass(QStringLiteral("mousepad"));
    m_terminalWindow = DesktopSession::windowOfClass(QStringLiteral("xterm"));
    const qint64 editorProcess = DesktopSession::processOfWindow(m_editorWindow);
    QTRY_VERIFY_WITH_TIMEOUT((m_editor = std::make_unique<EditorDriver>(editorProcess))->isReady(), 10000);
}

void TestX11Insertion::replacesEditorSelectionAndRestoresClipboard_data()
{
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("plain text") << "text/plain" << QStringLiteral("na\u00efve \U0001F600 text").toUtf8();
    QTest::newRow("image") << "image/png" << pngBytes();
}

void TestX11Insertion::replacesEditorSelectionAndRestoresClipboard()
{
    QFETCH(QString, mimeType);
    QFETCH(QByteArray, data);
    QVERIFY(DesktopSession::setClipboard(data, mimeType));
    QVERIFY(DesktopSession::activate(m_editorWindow));
    QVERIFY(m_editor->setText(QStringLiteral("keep REPLACE keep")));
    QVERIFY(m_editor->select(5, 12));
    const FocusContext context = FocusContext::capture();
    QCOMPARE(context.selection, QStringLiteral("REPLACE"));
    // Another window in front: the insertion has to bring the editor back.
    QVERIFY(DesktopSession::activate(m_terminalWindow));

    Keystroke::insert(QStringLiteral("answer \u00e9"), context.app);

    QTRY_COMPARE_WITH_TIMEOUT(m_editor->text(), QStringLiteral("keep answer \u00e9 keep"), 5000);
    QTRY_VERIFY_WITH_TIMEOUT(insertionsSettled(), 5000);
    QCOMPARE(DesktopSession::clipboard(mimeType), data);
}

void TestX11Insertion::pastesIntoTerminal()
{
    QVERIFY(DesktopSession::activate(m_terminalWindow));
    const FocusContext context = FocusContext::capture();
    QCOMPARE(context.app->windowClass, QStringLiteral("XTerm"));
    QVERIFY(DesktopSession::activate(m_editorWindow));

    Keystroke::insert(QStringLiteral("inserted-into-xterm"), context.app);
    QTRY_VERIFY_WITH_TIMEOUT(insertionsSettled(), 5000);
    // The terminal runs cat into a file: Return ends the line so that it gets written.
    QVERIFY(DesktopSession::key(QStringLiteral("key"), QStringLiteral("Return")));

    QTRY_VERIFY_WITH_TIMEOUT(terminalOutput().contains("inserted-into-xterm"), 5000);
}

TAVRIN_DESKTOP_TEST_MAIN(TestX11Insertion)
#include "tst_x11insertion.moc"

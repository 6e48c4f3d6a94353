// Capture time through AT-SPI (a GTK and a Qt editor) and the delay from Keystroke::insert to the
// text appearing in the editor, as p50 and p95 over repeated runs in the benchmark's desktop session.
#include "DesktopSession.h"
#include "EditorDriver.h"
#include "desktop/DesktopPlatform.h"
#include "desktop/FocusContext.h"
#include "desktop/Keystroke.h"
#include "desktop/PendingInsertion.h"
#include "platform/Platform.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QProcess>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

namespace {

struct Figures
{
    double p50 = 0;
    double p95 = 0;
};

Figures percentiles(QList<double> samples)
{
    std::sort(samples.begin(), samples.end());
    const auto at = [&](double fraction) {
        return samples.at(qsizetype(fraction * double(samples.size() - 1)));
    };
    return {at(0.5), at(0.95)};
}

void report(const char* what, const QList<double>& samples)
{
    const Figures figures = percentiles(samples);
    std::printf("%-34s n=%-3lld p50 %8.2f ms   p95 %8.2f ms\n", what, static_cast<long long>(samples.size()),
                figures.p50, figures.p95);
}

bool waitFor(const std::function<bool()>& condition, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 2);
    }
    return true;
}

QList<double> captureTimes(DesktopPlatform& desktop, quint64 window, int runs)
{
    QList<double> samples;
    if (!DesktopSession::activate(window)) {
        return samples;
    }
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer clock;
        clock.start();
        const FocusContext context = FocusContext::capture(desktop.focusReader());
        const double ms = double(clock.nsecsElapsed()) / 1e6;
        if (context.selection) {
            samples << ms;
        }
    }
    return samples;
}

QList<double> insertDelays(DesktopPlatform& desktop, quint64 editorWindow, quint64 otherWindow,
                           EditorDriver& editor, int runs)
{
    QList<double> samples;
    for (int i = 0; i < runs; ++i) {
        DesktopSession::activate(editorWindow);
        editor.setText(QStringLiteral("start "));
        editor.select(6, 6);
        const FocusContext context = FocusContext::capture(desktop.focusReader());
        DesktopSession::activate(otherWindow);
        const QString marker = QStringLiteral("inserted-%1").arg(i);
        QElapsedTimer clock;
        clock.start();
        Keystroke::insert(desktop, marker, context.app);
        if (waitFor([&] { return editor.text().contains(marker); }, 5000)) {
            samples << double(clock.nsecsElapsed()) / 1e6;
        }
        waitFor([] { return QCoreApplication::instance()->findChildren<PendingInsertion*>().isEmpty(); },
                5000);
    }
    return samples;
}

} // namespace

int main(int argc, char** argv)
{
    if (!DesktopSession::enter()) {
        return 1;
    }
    QGuiApplication app(argc, argv);
    const int runs = argc > 1 ? QByteArray(argv[1]).toInt() : 50;
    const std::unique_ptr<DesktopPlatform> desktop = Platform::createDesktop();

    const quint64 mousepad = DesktopSession::windowOfClass(QStringLiteral("mousepad"));
    const quint64 xterm = DesktopSession::windowOfClass(QStringLiteral("xterm"));
    std::unique_ptr<EditorDriver> gtkEditor;
    if (!waitFor(
            [&] {
                return (gtkEditor = std::make_unique<EditorDriver>(DesktopSession::processOfWindow(mousepad)))
                    ->isReady();
            },
            10000)) {
        std::fprintf(stderr, "mousepad is not on the accessibility bus\n");
        return 1;
    }
    QString document;
    for (int line = 0; line < 200; ++line) {
        document +=
            QStringLiteral("Line %1 of the GTK benchmark document, with some words to select.\n").arg(line);
    }
    gtkEditor->setText(document);
    gtkEditor->select(int(document.size() / 2), int(document.size() / 2) + 40);
    report("capture, GTK editor (mousepad)", captureTimes(*desktop, mousepad, runs));

    QProcess qtEditor;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_LINUX_ACCESSIBILITY_ALWAYS_ON"), QStringLiteral("1"));
    qtEditor.setProcessEnvironment(environment);
    qtEditor.start(QCoreApplication::applicationDirPath() + QStringLiteral("/bench-qt-editor"), {});
    quint64 qtWindow = 0;
    waitFor(
        [&] { return (qtWindow = DesktopSession::windowOfClass(QStringLiteral("bench-qt-editor"))) != 0; },
        10000);
    // The Qt editor joins the accessibility bus a moment after its window appears.
    waitFor([&] { return !captureTimes(*desktop, qtWindow, 1).isEmpty(); }, 10000);
    report("capture, Qt editor", captureTimes(*desktop, qtWindow, runs));
    qtEditor.kill();
    qtEditor.waitForFinished();

    report("insert call to text in mousepad",
           insertDelays(*desktop, mousepad, xterm, *gtkEditor, qMax(runs / 2, 5)));
    return 0;
}

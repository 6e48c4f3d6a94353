// Key press to panel on screen: the time from the synthetic Alt+Space press (XTest) to the panel's
// window being exposed, over many taps, with the whole application running in this process.
#include "DesktopSession.h"
#include "KeycodeOf.h"
#include "app/AppDelegate.h"
#include "session/Session.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <xcb/xcb.h>
#include <xcb/xtest.h>

namespace {

// Notes the moment the watched window becomes exposed.
class ExposeClock : public QObject
{
public:
    explicit ExposeClock(const QElapsedTimer& clock) : m_clock(clock) {}
    qint64 exposedAt = -1;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Expose && static_cast<QWindow*>(watched)->isExposed() && exposedAt < 0)
            exposedAt = m_clock.nsecsElapsed();
        return false;
    }

private:
    const QElapsedTimer& m_clock;
};

bool waitFor(const std::function<bool()>& done, int timeoutMs)
{
    QElapsedTimer waited;
    waited.start();
    while (!done()) {
        if (waited.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    return true;
}

double percentile(QList<double> values, double p)
{
    std::sort(values.begin(), values.end());
    return values.at(std::min<qsizetype>(values.size() - 1, qsizetype(p * double(values.size()))));
}

} // namespace

int main(int argc, char** argv)
{
    if (!DesktopSession::enter())
        return 1;
    QApplication app(argc, argv);
    const int taps = argc > 1 ? std::atoi(argv[1]) : 50;

    AppDelegate delegate;
    delegate.launch();
    QWidget* panel = delegate.panel();
    QElapsedTimer clock;
    clock.start();
    ExposeClock exposed(clock);
    panel->windowHandle()->installEventFilter(&exposed);

    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    constexpr xcb_keysym_t altKey = 0xffe9;
    constexpr xcb_keysym_t spaceKey = 0x20;
    const uint8_t alt = keycodeOf(connection, altKey);
    const uint8_t space = keycodeOf(connection, spaceKey);
    const auto fake = [&](uint8_t type, uint8_t code) {
        xcb_test_fake_input(connection, type, code, XCB_CURRENT_TIME, root, 0, 0, 0);
    };
    DesktopSession::activate(DesktopSession::windowOfClass(QStringLiteral("mousepad")));
    // Everything the first tap may still be loading is loaded before the first measured tap.
    waitFor([] { return false; }, 1000);

    QList<double> millis;
    for (int tap = 0; tap < taps; ++tap) {
        exposed.exposedAt = -1;
        const qint64 pressedAt = clock.nsecsElapsed();
        fake(XCB_KEY_PRESS, alt);
        fake(XCB_KEY_PRESS, space);
        fake(XCB_KEY_RELEASE, space);
        fake(XCB_KEY_RELEASE, alt);
        xcb_flush(connection);
        if (!waitFor([&] { return exposed.exposedAt >= 0; }, 5000)) {
            std::fprintf(stderr, "tap %d: the panel did not appear\n", tap);
            return 1;
        }
        millis << double(exposed.exposedAt - pressedAt) / 1e6;
        delegate.session().close();
        waitFor([&] { return !panel->isVisible(); }, 5000);
        waitFor([] { return false; }, 100);
    }
    xcb_disconnect(connection);
    std::printf("key press to panel exposed over %d taps: p50 %.1f ms, p95 %.1f ms, max %.1f ms\n", taps,
                percentile(millis, 0.5), percentile(millis, 0.95), percentile(millis, 1.0));
    return 0;
}

#include "config/Preferences.h"
#include "views/ButtonStyles.h"
#include "views/PlatformWords.h"
#include "views/Theme.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QImage>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

using Theme::Appearance;

// Stands in for the desktop's settings portal on a connection of its own, so that every call and
// signal crosses the bus as it would from a real portal.
class FakePortal : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")
public:
    static inline const QString path = QStringLiteral("/org/freedesktop/portal/desktop");

    explicit FakePortal(uint scheme)
        : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-portal"))),
          m_scheme(scheme)
    {
        m_bus.registerObject(path, this, QDBusConnection::ExportAllSlots);
        m_bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
    }

    void announce(uint scheme)
    {
        m_scheme = scheme;
        QDBusMessage signal = QDBusMessage::createSignal(
            path, QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("SettingChanged"));
        signal << QStringLiteral("org.freedesktop.appearance") << QStringLiteral("color-scheme")
               << QVariant::fromValue(QDBusVariant(m_scheme));
        m_bus.send(signal);
    }

public slots:
    // The older method answers with the value wrapped in one more variant.
    QDBusVariant Read(const QString& group, const QString& key)
    {
        if (group != QLatin1String("org.freedesktop.appearance") || key != QLatin1String("color-scheme"))
            return QDBusVariant(QVariant::fromValue(QDBusVariant(QString())));
        return QDBusVariant(QVariant::fromValue(QDBusVariant(m_scheme)));
    }

private:
    QDBusConnection m_bus;
    uint m_scheme;
};

namespace {

QImage render(QWidget& widget)
{
    QImage image(widget.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    widget.render(&image, {}, {}, QWidget::DrawChildren);
    return image;
}

QPalette paletteWithWindow(const QColor& window)
{
    QPalette palette = QApplication::palette();
    palette.setColor(QPalette::Window, window);
    return palette;
}

} // namespace

class TestPanelTheme : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_settings;
    std::unique_ptr<FakePortal> m_portal;

private slots:
    void initTestCase()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_settings.path());
        QVERIFY2(QDBusConnection::sessionBus().isConnected(),
                 "the theme test runs on a session bus of its own");
        m_portal = std::make_unique<FakePortal>(1);
    }

    void followsThePortalThenThePalette()
    {
        // The first reading comes from the portal's Read.
        QTRY_COMPARE(Theme::appearance(), Appearance::Dark);
        QWidget window;
        Theme::follow(&window);
        auto* button = new PrimaryButtonStyle(QStringLiteral("Insert"), &window);
        window.resize(200, 80);
        QCOMPARE(render(*button).pixelColor(4, 15), QColor(250, 250, 250));

        // A stated preference wins over the palette; "no preference" hands back to the palette.
        QApplication::setPalette(paletteWithWindow(Qt::black));
        m_portal->announce(2);
        QTRY_COMPARE(Theme::appearance(), Appearance::Light);
        QCOMPARE(window.palette().color(QPalette::WindowText), QColor(10, 10, 10));
        QCOMPARE(render(*button).pixelColor(4, 15), QColor(10, 10, 10));
        m_portal->announce(0);
        QTRY_COMPARE(Theme::appearance(), Appearance::Dark);
        QApplication::setPalette(paletteWithWindow(Qt::white));
        QCOMPARE(Theme::appearance(), Appearance::Light);
    }

    // A pressed face shrinks, a disabled one fades.
    void buttonsDrawTheirStates_data()
    {
        QTest::addColumn<bool>("primary");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("pressed");
        QTest::addColumn<int>("alpha");
        QTest::newRow("primary") << true << true << false << 255;
        QTest::newRow("primary pressed") << true << true << true << 216;
        QTest::newRow("primary disabled") << true << false << false << 102;
        QTest::newRow("outline pressed") << false << true << true << 255;
    }
    void buttonsDrawTheirStates()
    {
        QFETCH(bool, primary);
        QFETCH(bool, enabled);
        QFETCH(bool, pressed);
        QFETCH(int, alpha);
        QApplication::setPalette(paletteWithWindow(Qt::white));
        std::unique_ptr<StyledButton> button;
        if (primary)
            button = std::make_unique<PrimaryButtonStyle>(QStringLiteral("Ask"));
        else
            button = std::make_unique<OutlineButtonStyle>(QStringLiteral("Copy"));
        button->resize(button->sizeHint());
        button->setEnabled(enabled);
        if (pressed) {
            button->setDown(true);
            emit button->pressed();
            QTRY_COMPARE(button->pressedAmount(), 1.0);
        }
        const QImage image = render(*button);
        QCOMPARE(image.pixelColor(6, 15).alpha(), alpha);
        // At 96 % the face leaves about 0.6 pixels of the top edge's middle empty.
        QCOMPARE(image.pixelColor(image.width() / 2, 0).alpha() < alpha / 2, pressed);
    }

    void springSettlesWithinItsResponse()
    {
        const QEasingCurve spring = Theme::spring();
        QCOMPARE(spring.valueForProgress(0.0), 0.0);
        QCOMPARE(spring.valueForProgress(1.0), 1.0);
        const qreal atResponse = 400.0 / Theme::springDurationMs;
        QVERIFY(spring.valueForProgress(atResponse) > 0.99);
        qreal highest = 0;
        for (int step = 0; step <= 100; ++step)
            highest = qMax(highest, spring.valueForProgress(step / 100.0));
        QVERIFY(highest > 1.0 && highest < 1.01);
    }

    void platformWordsNameTheShortcutsInForce_data()
    {
        QTest::addColumn<QString>("askShortcut");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const QString standard = QStringLiteral("Alt+Space");
        QTest::newRow("ask") << standard << QStringLiteral("Listening… release ⌥Space to send")
                             << QStringLiteral("Listening… release Alt+Space to send");
        QTest::newRow("reply") << standard << QStringLiteral("the message to reply to (⌥⇧Space)")
                               << QStringLiteral("the message to reply to (Alt+Shift+Space)");
        QTest::newRow("command") << standard << QStringLiteral("Make it shorter (⌘−)")
                                 << QStringLiteral("Make it shorter (Ctrl+−)");
        QTest::newRow("word Mac only") << standard << QStringLiteral("Use your Mac, not a Macintosh")
                                       << QStringLiteral("Use your computer, not a Macintosh");
        QTest::newRow("changed shortcut") << QStringLiteral("Ctrl+Alt+K") << QStringLiteral("⌥Space, ⌥⇧Space")
                                          << QStringLiteral("Ctrl+Alt+K, Ctrl+Alt+Shift+K");
        QTest::newRow("unreadable shortcut")
            << QStringLiteral("Hyper+Nothing") << QStringLiteral("⌥Space") << QStringLiteral("Alt+Space");
    }
    void platformWordsNameTheShortcutsInForce()
    {
        QFETCH(QString, askShortcut);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        Preferences::setAskShortcut(askShortcut);
        QCOMPARE(PlatformWords::localize(text), expected);
    }
};

QTEST_MAIN(TestPanelTheme)
#include "tst_paneltheme.moc"

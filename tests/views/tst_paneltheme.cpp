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

    void platformWordsNameTheShortcutsInForce_data()
    {
        QTest::addColumn<QString>("askShortcut");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const QString standard = QStringLiteral("Alt+Space");
        QTest::newRow("word Mac only") << standard << QStringLiteral("Use your Mac, not a Macintosh")
                                       << QStringLiteral("Use your computer, not a Macintosh");
        QTest::newRow("changed shortcut") << QStringLiteral("Ctrl+Alt+K") << QStringLiteral("⌥Space, ⌥⇧Space")
                                          << QStringLiteral("Ctrl+Alt+K, Ctrl+Alt+Shift+K");
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

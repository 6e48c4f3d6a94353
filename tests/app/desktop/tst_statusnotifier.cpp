#include "DesktopSession.h"
#include "config/AgentConfig.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QImage>
#include <QProcess>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString menuInterface = QStringLiteral("com.canonical.dbusmenu");

// The watcher half of a status-notifier host, as a desktop panel runs it: items register here and
// the host then reads them and draws them.
class StatusNotifierWatcher : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)

public:
    QStringList items() const { return m_items; }
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }

public slots:
    void RegisterStatusNotifierItem(const QString& service)
    {
        m_items << service;
        emit StatusNotifierItemRegistered(service);
    }
    void RegisterStatusNotifierHost(const QString&) {}

signals:
    void StatusNotifierItemRegistered(const QString& service);

private:
    QStringList m_items;
};

// One entry of the exported menu as a host reads it: "label", "---" for a separator, then "(off)"
// when disabled and "[x]" or "[ ]" for a checkmark.
struct MenuEntry
{
    int id = 0;
    QString text;
    QStringList shortcut;
};

QString describe(const QVariantMap& properties)
{
    if (properties.value(QStringLiteral("type")).toString() == QStringLiteral("separator"))
        return QStringLiteral("---");
    QString text = properties.value(QStringLiteral("label")).toString();
    if (!properties.value(QStringLiteral("enabled"), true).toBool())
        text += QStringLiteral(" (off)");
    if (properties.value(QStringLiteral("toggle-type")).toString() == QStringLiteral("checkmark"))
        text += properties.value(QStringLiteral("toggle-state")).toInt() == 1 ? QStringLiteral(" [x]")
                                                                              : QStringLiteral(" [ ]");
    return text;
}

QList<MenuEntry> readChildren(const QDBusArgument& layout)
{
    int id = 0;
    QVariantMap properties;
    layout.beginStructure();
    layout >> id >> properties;
    QList<MenuEntry> entries;
    layout.beginArray();
    while (!layout.atEnd()) {
        QDBusVariant child;
        layout >> child;
        const QDBusArgument item = child.variant().value<QDBusArgument>();
        int childId = 0;
        QVariantMap childProperties;
        item.beginStructure();
        item >> childId >> childProperties;
        item.endStructure();
        QStringList shortcut;
        if (const QVariant keys = childProperties.value(QStringLiteral("shortcut")); keys.isValid()) {
            for (const QStringList& chord : qdbus_cast<QList<QStringList>>(keys))
                shortcut << chord.join(QLatin1Char('+'));
        }
        entries << MenuEntry{childId, describe(childProperties), shortcut};
    }
    layout.endArray();
    layout.endStructure();
    return entries;
}

QImage largestImage(const QDBusArgument& pixmaps)
{
    QImage largest;
    pixmaps.beginArray();
    while (!pixmaps.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray argb;
        pixmaps.beginStructure();
        pixmaps >> width >> height >> argb;
        pixmaps.endStructure();
        if (width <= 0 || height <= 0 || argb.size() != qsizetype(width) * height * 4 ||
            width < largest.width())
            continue;
        // Network byte order: A, R, G, B per pixel.
        QImage image(width, height, QImage::Format_ARGB32);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const auto* p =
                    reinterpret_cast<const uchar*>(argb.constData()) + (qsizetype(y) * width + x) * 4;
                image.setPixel(x, y, qRgba(p[1], p[2], p[3], p[0]));
            }
        }
        largest = image;
    }
    pixmaps.endArray();
    return largest;
}

} // namespace

// The application's status item under a status-notifier host: a watcher of our own on a private
// session bus, which reads the item and drives its exported menu as a desktop panel does.
class TestStatusNotifier : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QProcess m_bus;
    QProcess m_app;
    QDBusConnection m_host{QString()};
    StatusNotifierWatcher m_watcher;

    QString configPath() const { return m_dir.filePath(QStringLiteral("config.json")); }
    QString item() const { return m_watcher.items().value(0); }

    QDBusMessage call(const QString& path, const QString& interface, const QString& method,
                      const QVariantList& arguments = {})
    {
        QDBusMessage message = QDBusMessage::createMethodCall(item(), path, interface, method);
        message.setArguments(arguments);
        return m_host.call(message, QDBus::BlockWithGui, 5000);
    }
    QVariant itemProperty(const QString& name)
    {
        const QDBusMessage reply =
            call(QStringLiteral("/StatusNotifierItem"), QStringLiteral("org.freedesktop.DBus.Properties"),
                 QStringLiteral("Get"), {itemInterface, name});
        return reply.arguments().isEmpty() ? QVariant()
                                           : reply.arguments().first().value<QDBusVariant>().variant();
    }
    QList<MenuEntry> menu()
    {
        const QDBusMessage reply = call(QStringLiteral("/MenuBar"), menuInterface,
                                        QStringLiteral("GetLayout"), {0, -1, QStringList()});
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 2)
            return {};
        return readChildren(reply.arguments().at(1).value<QDBusArgument>());
    }
    QStringList menuTexts()
    {
        QStringList texts;
        for (const MenuEntry& entry : menu())
            texts << entry.text;
        return texts;
    }
    bool click(const QString& text)
    {
        for (const MenuEntry& entry : menu()) {
            if (entry.text.startsWith(text)) {
                const QDBusMessage reply =
                    call(QStringLiteral("/MenuBar"), menuInterface, QStringLiteral("Event"),
                         {entry.id, QStringLiteral("clicked"), QVariant::fromValue(QDBusVariant(0)), 0u});
                return reply.type() == QDBusMessage::ReplyMessage;
            }
        }
        return false;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        // A bus that starts no services, so that nothing the application asks of the desktop (the
        // accessibility bus, the settings portal) answers but our watcher.
        const QString busPath = m_dir.filePath(QStringLiteral("bus"));
        const QString address = "unix:path=" + busPath;
        QFile config(m_dir.filePath(QStringLiteral("bus.conf")));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write("<busconfig><type>session</type><listen>" + address.toUtf8() +
                     "</listen><policy context=\"default\"><allow send_destination=\"*\"/><allow "
                     "receive_sender=\"*\"/><allow own=\"*\"/>"
                     "</policy></busconfig>");
        config.close();
        m_bus.start(QStringLiteral("dbus-daemon"), {"--nofork", "--config-file=" + config.fileName()});
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(busPath), 10000);
        m_host = QDBusConnection::connectToBus(address, QStringLiteral("host"));
        QVERIFY(m_host.isConnected());
        QVERIFY(m_host.registerObject(QStringLiteral("/StatusNotifierWatcher"), &m_watcher,
                                      QDBusConnection::ExportAllContents));
        QVERIFY(m_host.registerService(watcherName));

        // Signed in without an e-mail, so the account line names the server.
        qputenv("MORVIK_CONFIG_PATH", QFile::encodeName(configPath()));
        const AgentConfig withoutEmail{QStringLiteral("https://tavrin.example"), QStringLiteral("tok"),
                                       std::nullopt};
        QVERIFY(withoutEmail.save().ok());
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), address);
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.filePath(QStringLiteral("settings")));
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_dir.path());
        environment.remove(QStringLiteral("AT_SPI_BUS_ADDRESS"));
        m_app.setProcessEnvironment(environment);
        m_app.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_app.start(QStringLiteral(TAVRIN_EXE), QStringList());
        QTRY_VERIFY_WITH_TIMEOUT(!item().isEmpty(), 30000);
    }

    void cleanupTestCase()
    {
        if (m_app.state() != QProcess::NotRunning) {
            m_app.kill();
            m_app.waitForFinished();
        }
        m_host.unregisterService(watcherName);
        QDBusConnection::disconnectFromBus(QStringLiteral("host"));
        m_bus.terminate();
        m_bus.waitForFinished();
    }

    void itemShowsTheMarkAndNamesTheApplication()
    {
        QCOMPARE(itemProperty(QStringLiteral("Status")).toString(), QStringLiteral("Active"));
        QCOMPARE(itemProperty(QStringLiteral("Menu")).value<QDBusObjectPath>().path(),
                 QStringLiteral("/MenuBar"));

        const QDBusArgument toolTip = itemProperty(QStringLiteral("ToolTip")).value<QDBusArgument>();
        QString iconName;
        QString title;
        toolTip.beginStructure();
        toolTip >> iconName;
        largestImage(toolTip);
        toolTip >> title;
        toolTip.endStructure();
        QCOMPARE(title, QStringLiteral("Tavrin"));

        // The mark itself travels as pixels, some of them opaque.
        const QImage icon = largestImage(itemProperty(QStringLiteral("IconPixmap")).value<QDBusArgument>());
        QVERIFY(icon.width() >= 16);
        QCOMPARE(icon.height(), icon.width());
        QSet<QRgb> opaque;
        for (int y = 0; y < icon.height(); ++y) {
            for (int x = 0; x < icon.width(); ++x) {
                if (qAlpha(icon.pixel(x, y)) == 255)
                    opaque.insert(icon.pixel(x, y));
            }
        }
        QVERIFY(!opaque.isEmpty());
    }

    void hostReadsAndDrivesTheMenu()
    {
        QTRY_COMPARE(
            menuTexts(),
            QStringList({"Ask (tap Alt+Space · hold to talk)", "Reply to copied text (Alt+Shift+Space)",
                         "Auto-insert answers [ ]", "Open Tavrin…", "Web settings (Connected Accounts)…",
                         "Search Tavrin history…", "---", "Signed in: tavrin.example (off)", "Add iPhone…",
                         "Sign out", "Grant Accessibility…", "---", "Quit Tavrin"}));
        QCOMPARE(menu().constLast().shortcut, QStringList(QStringLiteral("Control+Q")));

        // Each change rebuilds the menu; the host must see the new one, not a stale export.
        QVERIFY(click(QStringLiteral("Auto-insert answers")));
        QTRY_VERIFY(menuTexts().contains(QStringLiteral("Auto-insert answers [x]")));
        AgentConfig::remove();
        QTRY_VERIFY_WITH_TIMEOUT(menuTexts().contains(QStringLiteral("Sign in…")), 10000);
        QVERIFY(!menuTexts().contains(QStringLiteral("Search Tavrin history…")));
    }

    void quitFromTheHostEndsTheApplication()
    {
        QVERIFY(click(QStringLiteral("Quit Tavrin")));
        QTRY_COMPARE_WITH_TIMEOUT(m_app.state(), QProcess::NotRunning, 15000);
        QCOMPARE(m_app.exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_app.exitCode(), 0);
    }
};

int main(int argc, char** argv)
{
    if (!DesktopSession::enter())
        return 1;
    QCoreApplication app(argc, argv);
    TestStatusNotifier test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_statusnotifier.moc"

#include "DesktopSession.h"
#include "config/AgentConfig.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString watcherName = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString menuInterface = QStringLiteral("com.canonical.dbusmenu");

// The watcher half of a status-notifier host, as a desktop panel runs it: items register here, and
// the host then reads them and draws them.
class StatusNotifierWatcher : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)

public:
    QStringList items;
    bool hostRegistered() const { return true; }

public slots:
    void RegisterStatusNotifierItem(const QString& service) { items << service; }
};

// The items of the exported menu as a host shows them, one line each: the label, or "---" for a
// separator, then "(off)" when disabled, "[x]" or "[ ]" for a checkmark, and the shortcut.
struct MenuEntry
{
    int id = 0;
    QString text;
};

MenuEntry readEntry(const QDBusArgument& item)
{
    MenuEntry entry;
    QVariantMap properties;
    item.beginStructure();
    item >> entry.id >> properties;
    item.endStructure();
    const auto value = [&properties](const char* key) { return properties.value(QLatin1String(key)); };
    if (value("type").toString() == QStringLiteral("separator")) {
        entry.text = QStringLiteral("---");
        return entry;
    }
    entry.text = value("label").toString();
    if (properties.contains(QStringLiteral("enabled")) && !value("enabled").toBool())
        entry.text += QStringLiteral(" (off)");
    if (value("toggle-type").toString() == QStringLiteral("checkmark"))
        entry.text += value("toggle-state").toInt() == 1 ? QStringLiteral(" [x]") : QStringLiteral(" [ ]");
    for (const QStringList& chord : qdbus_cast<QList<QStringList>>(value("shortcut")))
        entry.text += " (" + chord.join(QLatin1Char('+')) + ')';
    return entry;
}

QList<MenuEntry> readChildren(const QDBusArgument& layout)
{
    int id = 0;
    QVariantMap properties;
    QList<MenuEntry> entries;
    layout.beginStructure();
    layout >> id >> properties;
    layout.beginArray();
    while (!layout.atEnd()) {
        QDBusVariant child;
        layout >> child;
        entries << readEntry(child.variant().value<QDBusArgument>());
    }
    layout.endArray();
    layout.endStructure();
    return entries;
}

// Reads a list of (width, height, ARGB bytes) images: true when one of them is a square of at least
// 16 pixels with some opaque pixels, which a tray draws as it is.
bool hasVisibleSquareImage(const QDBusArgument& images)
{
    bool visible = false;
    images.beginArray();
    while (!images.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray argb;
        images.beginStructure();
        images >> width >> height >> argb;
        images.endStructure();
        bool opaque = false;
        for (qsizetype alpha = 0; alpha < argb.size(); alpha += 4)
            opaque = opaque || uchar(argb[alpha]) == 255;
        visible = visible ||
                  (width >= 16 && width == height && argb.size() == qsizetype(width) * height * 4 && opaque);
    }
    images.endArray();
    return visible;
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
    QString item() const { return m_watcher.items.value(0); }

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
        config.write("<busconfig><type>session</type><listen>" + address.toUtf8() + "</listen>" +
                     "<policy context='default'><allow send_destination='*'/><allow receive_sender='*'/>"
                     "<allow own='*'/></policy></busconfig>");
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

        // The tooltip is (icon name, images, title, text).
        const QDBusArgument toolTip = itemProperty(QStringLiteral("ToolTip")).value<QDBusArgument>();
        QString iconName;
        QString title;
        toolTip.beginStructure();
        toolTip >> iconName;
        hasVisibleSquareImage(toolTip);
        toolTip >> title;
        toolTip.endStructure();
        QCOMPARE(title, QStringLiteral("Tavrin"));
        QVERIFY(hasVisibleSquareImage(itemProperty(QStringLiteral("IconPixmap")).value<QDBusArgument>()));
    }

    void hostReadsAndDrivesTheMenu()
    {
        QTRY_COMPARE(
            menuTexts(),
            QStringList({"Ask (tap Alt+Space · hold to talk)", "Reply to copied text (Alt+Shift+Space)",
                         "Auto-insert answers [ ]", "Open Tavrin…", "Web settings (Connected Accounts)…",
                         "Search Tavrin history…", "---", "Signed in: tavrin.example (off)", "Add iPhone…",
                         "Sign out", "Grant Accessibility…", "---", "Quit Tavrin (Control+Q)"}));

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

#include "app/InstanceChannel.h"

#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using Kind = InstanceMessage::Kind;

Q_DECLARE_METATYPE(InstanceMessage)

class TestInstanceChannel : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_runtime;

private slots:
    void initTestCase()
    {
        qRegisterMetaType<InstanceMessage>();
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtime.path()));
    }

    void messagesSurviveTheWire_data()
    {
        QTest::addColumn<InstanceMessage>("message");
        QTest::newRow("show") << InstanceMessage{Kind::ShowHome, {}};
        QTest::newRow("callback") << InstanceMessage{
            Kind::OpenUrl, QUrl(QStringLiteral("morvik://auth?token=a%20b&state=x"))};
    }
    void messagesSurviveTheWire()
    {
        QFETCH(InstanceMessage, message);
        QCOMPARE(InstanceMessage::decode(message.encode()), message);
    }

    void foreignLinesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("unknown word") << QByteArray("quit\n");
        QTest::newRow("no line end") << QByteArray("show");
        QTest::newRow("another scheme") << QByteArray("url https://example.com/\n");
        QTest::newRow("not a url") << QByteArray("url morvik://a b\n");
        QTest::newRow("two lines") << QByteArray("show\nshow\n");
    }
    void foreignLinesAreRefused()
    {
        QFETCH(QByteArray, line);
        QCOMPARE(InstanceMessage::decode(line), std::nullopt);
    }

    // The hand-over itself is the desktop test's, between real processes.
    void oneListenerInAPrivateFolder()
    {
        InstanceChannel first;
        QVERIFY(first.listen().ok());
        InstanceChannel second;
        QVERIFY(!second.listen().ok());

        struct stat folder
        {
        };
        QCOMPARE(::stat(QFile::encodeName(m_runtime.filePath(QStringLiteral("tavrin"))).constData(), &folder),
                 0);
        QCOMPARE(folder.st_mode & 0777, 0700u);
    }

    void aSocketLeftByACrashIsReplaced()
    {
        const QString path = InstanceChannel::socketPath().value();
        // A socket file bound and never removed is what a killed process leaves behind.
        const int crashed = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, QFile::encodeName(path).constData(), sizeof address.sun_path);
        QCOMPARE(::bind(crashed, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ::close(crashed);
        QVERIFY(QFile::exists(path));
        InstanceChannel channel;
        QVERIFY(channel.listen().ok());
    }

    void oversizedOrSilentClientsAreDropped()
    {
        InstanceChannel channel;
        QVERIFY(channel.listen().ok());
        QSignalSpy received(&channel, &InstanceChannel::received);

        QLocalSocket flood;
        flood.connectToServer(InstanceChannel::socketPath().value());
        QVERIFY(flood.waitForConnected(1000));
        flood.write(QByteArray(InstanceChannel::maxMessageBytes * 2, 'x'));
        QTRY_COMPARE(flood.state(), QLocalSocket::UnconnectedState);

        QLocalSocket silent;
        silent.connectToServer(InstanceChannel::socketPath().value());
        QVERIFY(silent.waitForConnected(1000));
        silent.write("sho");
        QTRY_COMPARE_WITH_TIMEOUT(silent.state(), QLocalSocket::UnconnectedState,
                                  InstanceChannel::clientTimeoutMs + 2000);
        QCOMPARE(received.count(), 0);
    }

    void aFolderOpenToOthersIsRefused()
    {
        QTemporaryDir shared;
        const QString folder = shared.filePath(QStringLiteral("tavrin"));
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                  QFileDevice::ExeOwner | QFileDevice::ReadOther |
                                                  QFileDevice::ExeOther));
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(shared.path()));
        const Result<QString> path = InstanceChannel::socketPath();
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(m_runtime.path()));
        QVERIFY(!path.ok());
        QVERIFY(path.error().message.contains(QStringLiteral("not a private folder")));
    }
};

QTEST_MAIN(TestInstanceChannel)
#include "tst_instancechannel.moc"

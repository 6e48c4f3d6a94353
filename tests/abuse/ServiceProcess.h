#pragma once

#include <QByteArray>
#include <QFileDevice>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

// The real tavrin-service on a free loopback port, stopped when the object goes.
class ServiceProcess
{
public:
    explicit ServiceProcess(const QStringList& arguments,
                            const QList<std::pair<QString, QString>>& environment = {});
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    bool started() const { return !m_url.isEmpty(); }
    QString url() const { return m_url; }
    quint16 port() const;
    // Everything logged so far.
    QByteArray log();
    // Ends the process the hard way (SIGKILL), as a power cut or the OOM killer would.
    void crash();
    // The highest resident memory of the process so far, in KiB (VmHWM).
    qint64 peakMemoryKiB() const;

private:
    QProcess m_process;
    QString m_url;
    QByteArray m_log;
};

// A file with the given content and permissions: its path, or empty when it could not be written.
QString writeFile(const QString& path, const QByteArray& content, QFileDevice::Permissions permissions);

// One answer read off a raw connection.
struct RawReply
{
    int status = 0; // 0: no answer before the connection closed or the deadline
    QByteArray body;
    QJsonObject json() const;
};

// Requests written byte for byte, the way an attacker would, each on its own connection to 127.0.0.1.
namespace Raw {

RawReply exchange(quint16 port, const QByteArray& request, int deadlineMs = 10000);
QByteArray post(const QString& path, const QJsonObject& body, const QByteArray& extraHeaders = {});
QByteArray get(const QString& path, const QByteArray& extraHeaders = {});

} // namespace Raw

#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <utility>

// One run of the `tavrin` executable, as a user would start it in a terminal without a display.
class TavrinProcess
{
public:
    using Environment = QList<std::pair<QString, QString>>;

    TavrinProcess(const QStringList& arguments, const Environment& environment);
    ~TavrinProcess();
    TavrinProcess(const TavrinProcess&) = delete;
    TavrinProcess& operator=(const TavrinProcess&) = delete;

    // Both wait with a deadline; false means the deadline passed.
    bool waitForOutput(const QByteArray& text);
    bool finish();

    int status() const { return m_process.exitCode(); }
    const QByteArray& out() const { return m_out; }
    const QByteArray& err() const { return m_err; }

private:
    QProcess m_process;
    QByteArray m_out;
    QByteArray m_err;
};

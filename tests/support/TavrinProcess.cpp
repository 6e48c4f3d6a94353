#include "TavrinProcess.h"

#include <QTest>

namespace {

constexpr int deadlineMs = 20000;

} // namespace

TavrinProcess::TavrinProcess(const QStringList& arguments, const Environment& environment)
{
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    variables.remove(QStringLiteral("DISPLAY"));
    variables.remove(QStringLiteral("WAYLAND_DISPLAY"));
    for (const auto& [name, value] : environment)
        variables.insert(name, value);
    // Qt 6.4 tears down its network thread racily when a process exits right after a reply, and
    // LeakSanitizer then reports the thread's connection in a few percent of runs (a bare
    // QNetworkAccessManager program does the same). The in-process client tests still check for leaks.
    const QString sanitizer = variables.value(QStringLiteral("ASAN_OPTIONS"));
    variables.insert(QStringLiteral("ASAN_OPTIONS"),
                     (sanitizer.isEmpty() ? QString() : sanitizer + QLatin1Char(':')) +
                         QStringLiteral("detect_leaks=0"));
    m_process.setProcessEnvironment(variables);
    m_process.start(QStringLiteral(TAVRIN_EXE), arguments);
}

TavrinProcess::~TavrinProcess()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished();
    }
}

bool TavrinProcess::waitForOutput(const QByteArray& text)
{
    return QTest::qWaitFor(
        [this, &text] {
            m_out += m_process.readAllStandardOutput();
            return m_out.contains(text);
        },
        deadlineMs);
}

bool TavrinProcess::finish()
{
    const bool ended =
        QTest::qWaitFor([this] { return m_process.state() == QProcess::NotRunning; }, deadlineMs);
    m_out += m_process.readAllStandardOutput();
    m_err += m_process.readAllStandardError();
    return ended && m_process.exitStatus() == QProcess::NormalExit;
}

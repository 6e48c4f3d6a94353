#include "AskHistory.h"
#include "HistoryRecorder.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString ana = QStringLiteral("ana@example.com");

// The agent's end of an answer, which takes everything.
class AgentSink : public EventSink
{
public:
    bool send(const QString&, const QJsonObject&) override { return true; }
};

} // namespace

// The history file and what the ask route keeps in it.
class TestAskHistory : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString path() const { return m_dir.filePath(QStringLiteral("%1.db").arg(QTest::currentTestFunction())); }

private slots:
    void keptOwnerOnlyAcrossRestarts()
    {
        {
            AskHistory history(path(), std::chrono::days(30), systemClock());
            QCOMPARE(history.open(), std::nullopt);
            QCOMPARE(history.record(ana, {0, {}, "Mousepad", "make it shorter", "Shorter.", "offline"}),
                     std::nullopt);
        }
        QCOMPARE(QFile::permissions(path()) & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteOther),
                 QFile::Permissions());
        AskHistory reopened(path(), std::chrono::days(30), systemClock());
        QCOMPARE(reopened.open(), std::nullopt);
        const QList<AskHistory::Entry> entries = reopened.entries(ana, QStringLiteral("shorter")).value();
        QCOMPARE(entries.size(), 1);
        QCOMPARE(entries.constFirst().app, QStringLiteral("Mousepad"));
        QCOMPARE(entries.constFirst().answer, QStringLiteral("Shorter."));
    }

    void aHugeAnswerIsKeptBounded()
    {
        AskHistory history(path(), std::chrono::days(30), systemClock());
        QCOMPARE(history.open(), std::nullopt);
        AgentSink agent;
        AskInput input;
        input.text = QStringLiteral("write a novel");
        HistoryRecorder recorder(agent, history, ana, input);
        const QString chunk(64 * 1024, QLatin1Char('x'));
        for (int i = 0; i < 64; ++i)
            recorder.send(QStringLiteral("delta"), {{"t", chunk}});
        recorder.send(QStringLiteral("done"), {});
        QCOMPARE(history.entries(ana, {}).value().constFirst().answer.size(), 256 * 1024);
    }
};

QTEST_GUILESS_MAIN(TestAskHistory)
#include "tst_askhistory.moc"

#include "AskHistory.h"
#include "HistoryRecorder.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString ana = QStringLiteral("ana@example.com");

// The agent's end of an answer: takes events until it "hangs up".
class AgentSink : public EventSink
{
public:
    bool send(const QString& event, const QJsonObject&) override
    {
        events.append(event);
        return !hungUp;
    }
    QStringList events;
    bool hungUp = false;
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

    void onlyCompleteAnswersAreKept_data()
    {
        QTest::addColumn<QStringList>("events");
        QTest::addColumn<bool>("hangUp");
        QTest::addColumn<bool>("kept");
        QTest::newRow("complete") << QStringList{"route", "delta", "delta", "done"} << false << true;
        QTest::newRow("failed") << QStringList{"route", "delta", "error"} << false << false;
        QTest::newRow("agent hung up") << QStringList{"route", "delta", "done"} << true << false;
    }
    void onlyCompleteAnswersAreKept()
    {
        QFETCH(QStringList, events);
        QFETCH(bool, hangUp);
        QFETCH(bool, kept);
        AskHistory history(path() + QString::fromLatin1(QTest::currentDataTag()), std::chrono::days(30),
                           systemClock());
        QCOMPARE(history.open(), std::nullopt);
        AgentSink agent;
        agent.hungUp = hangUp;
        AskInput input;
        input.text = QStringLiteral("make it shorter");
        input.app = QStringLiteral("Mousepad");
        HistoryRecorder recorder(agent, history, ana, input);
        for (const QString& event : events) {
            const QJsonObject data = event == QLatin1String("route")   ? QJsonObject{{"route", "offline"}}
                                     : event == QLatin1String("delta") ? QJsonObject{{"t", "Short. "}}
                                                                       : QJsonObject{};
            recorder.send(event, data);
        }
        QCOMPARE(agent.events, events);
        const QList<AskHistory::Entry> entries = history.entries(ana, {}).value();
        QCOMPARE(entries.size(), kept ? 1 : 0);
        if (kept) {
            QCOMPARE(entries.constFirst().answer, QStringLiteral("Short. Short. "));
            QCOMPARE(entries.constFirst().route, QStringLiteral("offline"));
        }
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

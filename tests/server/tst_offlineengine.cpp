#include "OfflineEngine.h"

#include <QTest>

namespace {

// Takes a fixed number of events, then behaves like an agent that has hung up.
class RefusingSink : public EventSink
{
public:
    explicit RefusingSink(int accepted) : m_accepted(accepted) {}

    bool send(const QString& event, const QJsonObject&) override
    {
        ++attempts;
        names << event;
        return attempts <= m_accepted;
    }

    int attempts = 0;
    QStringList names;

private:
    int m_accepted;
};

} // namespace

class TestOfflineEngine : public QObject
{
    Q_OBJECT

private slots:
    void wordsKeepEveryCharacter_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("words");
        QTest::newRow("empty") << QString() << QStringList();
        QTest::newRow("one word") << QStringLiteral("hi") << QStringList{"hi"};
        QTest::newRow("blanks stay with the word before")
            << QStringLiteral("a  b\nc ") << QStringList{"a  ", "b\n", "c "};
        QTest::newRow("leading blanks form a piece")
            << QStringLiteral("  a b") << QStringList{"  ", "a ", "b"};
        QTest::newRow("outside the BMP") << QStringLiteral("😀 x") << QStringList{"😀 ", "x"};
    }
    void wordsKeepEveryCharacter()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, words);
        QCOMPARE(OfflineEngine::words(text), words);
        QCOMPARE(words.join(QString()), text);
    }

    void stopsAtTheFirstRefusedEvent_data()
    {
        QTest::addColumn<int>("accepted");
        QTest::newRow("refuses the route") << 0;
        QTest::newRow("refuses the first delta") << 1;
        QTest::newRow("refuses a later delta") << 5;
    }
    void stopsAtTheFirstRefusedEvent()
    {
        QFETCH(int, accepted);
        OfflineEngine engine(std::chrono::milliseconds(0));
        RefusingSink sink(accepted);
        engine.answer(AskInput{QStringLiteral("a question with several words in it"),
                               {},
                               {},
                               {},
                               {},
                               {},
                               {},
                               {},
                               QStringLiteral("mac")},
                      sink);
        QCOMPARE(sink.attempts, accepted + 1);
        QVERIFY(!sink.names.contains(QStringLiteral("done")));
    }

    void answerIsTheSameEveryTime()
    {
        const AskInput input{QStringLiteral("why?"),  QStringLiteral("sel"),         {}, {},
                             QStringLiteral("xterm"), QStringLiteral("copied text"), {}, {},
                             QStringLiteral("mac")};
        const QString answer = OfflineEngine::compose(input);
        QCOMPARE(OfflineEngine::compose(input), answer);
        QVERIFY(answer.contains(QStringLiteral("3 characters in xterm")));
        QVERIFY(answer.contains(QStringLiteral("replying to 11 characters")));
    }

    void longRequestsAreShortenedInTheEcho()
    {
        const QString longText(1000, QLatin1Char('x'));
        const QString answer = OfflineEngine::compose(AskInput{longText, {}, {}, {}, {}, {}, {}, {}, {}});
        QVERIFY(answer.size() < 500);
        QVERIFY(answer.contains(QStringLiteral("x…”")));
    }
};

QTEST_GUILESS_MAIN(TestOfflineEngine)
#include "tst_offlineengine.moc"

#include "protocol/EventLineParser.h"

#include <QTest>

using namespace AskEvents;

namespace {

QList<AskEvent> parseWhole(const QByteArray& bytes)
{
    EventLineParser parser;
    QList<AskEvent> events;
    parser.feed(bytes, events);
    parser.finish(events);
    return events;
}

QList<AskEvent> parseInPieces(const QByteArray& bytes, qsizetype pieceSize)
{
    EventLineParser parser;
    QList<AskEvent> events;
    for (qsizetype at = 0; at < bytes.size(); at += pieceSize)
        parser.feed(QByteArrayView(bytes).sliced(at, std::min(pieceSize, bytes.size() - at)), events);
    parser.finish(events);
    return events;
}

const QString linkSentence = QStringLiteral("My Tavrin is working on it. Follow the progress here: ");

} // namespace

Q_DECLARE_METATYPE(QList<AskEvent>)

class TestEventLineParser : public QObject
{
    Q_OBJECT

private slots:
    void producesEvents_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<QList<AskEvent>>("expected");
        const auto row = [](const char* name, const char* stream, QList<AskEvent> events) {
            QTest::newRow(name) << QByteArray(stream) << events;
        };
        row("route with defaults", "event: route\ndata: {\"route\":\"fast\"}\n", {Route{"fast", "?"}});
        row("route wrong types", "event: route\ndata: {\"route\":1,\"source\":null}\n", {Route{"?", "?"}});
        row("delta reads only t", "event: delta\ndata: {\"text\":\"x\"}\n", {Delta{""}});
        row("two data lines after one event line", "event: delta\ndata: {\"t\":\"a\"}\ndata: {\"t\":\"b\"}\n",
            {Delta{"a"}, Delta{"b"}});
        row("name survives blank lines", "event: delta\n\n\ndata: {\"t\":\"a\"}\n", {Delta{"a"}});
        row("data before any event line", "data: {\"t\":\"a\"}\n", {});
        row("unknown event name", "event: ping\ndata: {\"t\":\"a\"}\n", {});
        row("no blank after colon", "event:delta\ndata:{\"t\":\"a\"}\n", {Delta{"a"}});
        row("blanks and tabs trimmed", "event: \tdelta \t\ndata: \t{\"t\":\"a\"} \n", {Delta{"a"}});
        row("unicode blanks trimmed", "event:\u00a0delta\u2003\ndata: {\"t\":\"a\"}\u3000\n", {Delta{"a"}});
        row("leading blank on data line", "event: delta\n data: {\"t\":\"a\"}\n", {});
        row("case-sensitive field names", "Event: delta\nevent: delta\nDATA: {\"t\":\"a\"}\n", {});
        row("array, number, broken JSON ignored; later lines parsed",
            "event: delta\ndata: [1]\ndata: 5\ndata: {\"t\":\ndata: {\"t\":\"ok\"}\n", {Delta{"ok"}});
        row("trailing garbage after the object", "event: delta\ndata: {\"t\":\"a\"} x\n", {});
        row("comments, ids and retries ignored", ": hi\nid: 4\nretry: 10\nevent: reset\ndata: {}\n",
            {Reset{}});
        row("reset needs a JSON object", "event: reset\ndata: nope\n", {});
        row("done exact integer", "event: done\ndata: {\"ms\":1520}\n", {Done{1520, ""}});
        row("done integral float", "event: done\ndata: {\"ms\":1520.0,\"route\":\"r\"}\n", {Done{1520, "r"}});
        row("done fraction gives 0", "event: done\ndata: {\"ms\":15.5,\"route\":\"r\"}\n", {Done{0, "r"}});
        row("done string ms gives 0", "event: done\ndata: {\"ms\":\"9\"}\n", {Done{0, ""}});
        row("error default", "event: error\ndata: {}\n", {Failure{"unknown error"}});
        row("error message", "event: error\ndata: {\"message\":\"boom\"}\n", {Failure{"boom"}});
        row("link default message", "event: link\ndata: {\"url\":\"https://t.example/j/1\"}\n",
            {Link{QUrl("https://t.example/j/1"), linkSentence + "https://t.example/j/1"}});
        row("link without url", "event: link\ndata: {\"message\":\"m\"}\n", {});
        row("link url not a string", "event: link\ndata: {\"url\":5}\n", {});
        row("link url not a URL", "event: link\ndata: {\"url\":\"http://a b\"}\n", {});
        row("escapes and surrogates", "event: delta\ndata: {\"t\":\"\\u00e9\\ud83d\\ude00\\n\\\"\"}\n",
            {Delta{QString::fromUtf8("é😀\n\"")}});
        row("escaped key", "event: delta\ndata: {\"\\u0074\":\"k\"}\n", {Delta{"k"}});
        row("last member of a name wins", "event: delta\ndata: {\"t\":\"a\",\"t\":\"b\"}\n", {Delta{"b"}});
        row("done does not end the stream", "event: done\ndata: {}\nevent: delta\ndata: {\"t\":\"x\"}\n",
            {Done{0, ""}, Delta{"x"}});
        row("last line without a line end", "event: delta\ndata: {\"t\":\"end\"}", {Delta{"end"}});
        row("CR, LF and CR LF all end lines", "event: delta\rdata: {\"t\":\"a\"}\r\ndata: {\"t\":\"b\"}\n",
            {Delta{"a"}, Delta{"b"}});
    }
    void producesEvents()
    {
        QFETCH(QByteArray, stream);
        QFETCH(QList<AskEvent>, expected);
        QCOMPARE(parseWhole(stream), expected);
    }

    void invalidUtf8BecomesReplacementCharacters()
    {
        const QByteArray stream = "event: delta\ndata: {\"t\":\"a\xff"
                                  "b\"}\n";
        QCOMPARE(parseWhole(stream), (QList<AskEvent>{Delta{QStringLiteral("a\uFFFDb")}}));
    }

    void anySplitGivesTheSameEvents()
    {
        const QByteArray stream = "event: route\r\ndata: {\"route\":\"r\",\"source\":\"s\"}\r\n\r\n"
                                  "event: delta\r\ndata: {\"t\":\"h\xc3\xa9llo \xf0\x9f\x98\x80\"}\r\r\n"
                                  "event: reset\ndata: {}\n"
                                  "event: done\ndata: {\"ms\":3}";
        const QList<AskEvent> whole = parseWhole(stream);
        QCOMPARE(whole.size(), 4);
        for (qsizetype size = 1; size <= 7; ++size)
            QCOMPARE(parseInPieces(stream, size), whole);
        for (qsizetype cut = 0; cut <= stream.size(); ++cut) {
            EventLineParser parser;
            QList<AskEvent> events;
            parser.feed(stream.first(cut), events);
            parser.feed(stream.sliced(cut), events);
            parser.finish(events);
            QCOMPARE(events, whole);
        }
    }

    void crAtTheEndOfAReadIsNotALineOfItsOwn()
    {
        EventLineParser parser;
        QList<AskEvent> events;
        parser.feed("event: delta\r", events);
        parser.feed("", events);
        parser.feed("\ndata: {\"t\":\"a\"}\r", events);
        parser.feed("\n", events);
        parser.feed("data: {\"t\":\"b\"}\n", events);
        QCOMPARE(events, (QList<AskEvent>{Delta{"a"}, Delta{"b"}}));
    }

    void overlongLineIsDroppedAndTheStreamGoesOn_data()
    {
        QTest::addColumn<qsizetype>("pieceSize");
        QTest::newRow("one read") << EventLineParser::maxLineBytes * 3;
        QTest::newRow("many reads") << qsizetype(64 * 1024);
    }
    void overlongLineIsDroppedAndTheStreamGoesOn()
    {
        QFETCH(qsizetype, pieceSize);
        const QByteArray huge = "data: {\"t\":\"" + QByteArray(EventLineParser::maxLineBytes, 'x') + "\"}\n";
        const QByteArray atLimit =
            "data: {\"t\":\"" + QByteArray(EventLineParser::maxLineBytes - 14, 'y') + "\"}\n";
        const QByteArray stream = "event: delta\n" + huge + atLimit + "data: {\"t\":\"after\"}\n";
        const QList<AskEvent> events = parseInPieces(stream, pieceSize);
        QCOMPARE(events.size(), 2);
        QCOMPARE(std::get<Delta>(events.at(0)).text.size(), EventLineParser::maxLineBytes - 14);
        QCOMPARE(events.at(1), AskEvent(Delta{"after"}));
    }

    void thousandsOfLinesInOneRead()
    {
        QByteArray stream = "event: delta\n";
        for (int i = 0; i < 5000; ++i)
            stream += "data: {\"t\":\"" + QByteArray::number(i) + "\"}\n";
        const QList<AskEvent> events = parseWhole(stream);
        QCOMPARE(events.size(), 5000);
        QCOMPARE(events.last(), AskEvent(Delta{"4999"}));
    }
};

QTEST_GUILESS_MAIN(TestEventLineParser)
#include "tst_eventlineparser.moc"

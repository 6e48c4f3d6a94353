#include "protocol/EventLineParser.h"

#include <QTest>

using namespace AskEvents;

namespace {

QList<AskEvent> parseInPieces(const QByteArray& bytes, qsizetype pieceSize)
{
    EventLineParser parser;
    QList<AskEvent> events;
    for (qsizetype at = 0; at < bytes.size(); at += pieceSize)
        parser.feed(QByteArrayView(bytes).sliced(at, std::min(pieceSize, bytes.size() - at)), events);
    parser.finish(events);
    return events;
}

QList<AskEvent> parseWhole(const QByteArray& bytes)
{
    return parseInPieces(bytes, std::max<qsizetype>(bytes.size(), 1));
}

} // namespace

Q_DECLARE_METATYPE(QList<AskEvent>)

// The answer stream against hostile and split input.
class TestProtocol : public QObject
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
        row("route: wrong types and missing fields", "event: route\ndata: {\"route\":1}\n",
            {Route{"?", "?"}});
        row("name lasts over blank lines and data lines",
            "event: delta\n\ndata: {\"t\":\"a\"}\ndata: {\"t\":\"b\"}\n", {Delta{"a"}, Delta{"b"}});
        row("unknown name replaces the known one", "event: delta\nevent: ping\ndata: {\"t\":\"a\"}\n", {});
        row("no blank after colon", "event:delta\ndata:{\"t\":\"a\"}\n", {Delta{"a"}});
        row("array, number, broken JSON ignored; later lines parsed",
            "event: delta\ndata: [1]\ndata: 5\ndata: {\"t\":\ndata: {\"t\":\"ok\"}\n", {Delta{"ok"}});
        row("comments, ids and retries ignored", ": hi\nid: 4\nretry: 10\nevent: reset\ndata: {}\n",
            {Reset{}});
        row("error with and without message", "event: error\ndata: {}\ndata: {\"message\":\"boom\"}\n",
            {Failure{"unknown error"}, Failure{"boom"}});
        row("link default message", "event: link\ndata: {\"url\":\"https://t.example/j/1\"}\n",
            {Link{QUrl("https://t.example/j/1"),
                  "My Tavrin is working on it. Follow the progress here: https://t.example/j/1"}});
        row("link: no url, not a string, not a URL",
            "event: link\ndata: {\"message\":\"m\"}\ndata: {\"url\":5}\ndata: {\"url\":\"http://a b\"}\n",
            {});
        row("escapes, surrogates and an escaped key",
            "event: delta\ndata: {\"t\":\"\\u00e9\\ud83d\\ude00\\n\\\"\"}\ndata: {\"\\u0074\":\"k\"}\n",
            {Delta{QString::fromUtf8("é😀\n\"")}, Delta{"k"}});
        row("invalid UTF-8 becomes replacement characters",
            "event: delta\ndata: {\"t\":\"a\xff"
            "b\"}\n",
            {Delta{QStringLiteral("a\uFFFDb")}});
    }
    void producesEvents()
    {
        QFETCH(QByteArray, stream);
        QFETCH(QList<AskEvent>, expected);
        QCOMPARE(parseWhole(stream), expected);
    }

    void anySplitGivesTheSameEvents()
    {
        // CR, CR LF and LF line ends, a character split anywhere, and a last line without a line end.
        const QByteArray stream = "event: route\r\ndata: {\"route\":\"r\",\"source\":\"s\"}\r\n\r\n"
                                  "event: delta\r\ndata: {\"t\":\"h\xc3\xa9llo \xf0\x9f\x98\x80\"}\r\r\n"
                                  "event: reset\ndata: {}\n"
                                  "event: done\ndata: {\"ms\":3}";
        const QList<AskEvent> whole = parseWhole(stream);
        QCOMPARE(whole, (QList<AskEvent>{Route{"r", "s"}, Delta{QString::fromUtf8("héllo 😀")}, Reset{},
                                         Done{3, ""}}));
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
};

QTEST_GUILESS_MAIN(TestProtocol)
#include "tst_protocol.moc"

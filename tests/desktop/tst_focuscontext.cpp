#include "FakeFocusReader.h"
#include "desktop/FocusContext.h"

#include <QTest>

namespace {

const RunningApp editor{QStringLiteral("Mousepad"), 4242, 0x1200007, QStringLiteral("Mousepad")};
const QString emoji = QStringLiteral("\U0001F600");

FocusedElement element(const QString& value, qint64 location, qint64 length)
{
    const QString selected = value.mid(qBound<qint64>(0, location, value.size()), qMax<qint64>(length, 0));
    return {selected, value, TextRange{location, length}};
}

} // namespace

class TestFocusContext : public QObject
{
    Q_OBJECT

private slots:
    void cuts_data();
    void cuts();
    void untrustedGivesOnlyTheApp();
    void fallback_data();
    void fallback();
};

void TestFocusContext::cuts_data()
{
    QTest::addColumn<FocusedElement>("focused");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");

    QTest::newRow("selection in the middle") << element("one two three", 4, 3) << "one "
                                             << " three";
    QTest::newRow("caret at the start") << element("hello", 0, 0) << ""
                                        << "hello";
    QTest::newRow("range past the end") << element("hello", 3, 50) << "hel"
                                        << "";
    QTest::newRow("location past the end") << element("hello", 99, 1) << "hello"
                                           << "";
    QTest::newRow("negative location") << element("hello", -4, 2) << ""
                                       << "llo";
    QTest::newRow("negative length") << element("hello", 2, -1) << "he"
                                     << "llo";
    QTest::newRow("overflowing length") << element("hello", 1, std::numeric_limits<qint64>::max()) << "h"
                                        << "";
    QTest::newRow("overflowing location")
        << element("hello", std::numeric_limits<qint64>::max(), 5) << "hello"
        << "";

    const QString longBefore = QString(3000, 'a');
    QTest::newRow("exactly the last 3000 before")
        << element("xyz" + longBefore + "S" + QString(1000, 'b') + "tail", 3003, 1) << longBefore
        << QString(1000, 'b');
    // An emoji is two UTF-16 units but one character: it counts once and is never split at a cut.
    const QString emojiBefore = emoji + QString(2999, 'a');
    QTest::newRow("emoji at the before cut")
        << element("x" + emojiBefore + "S" + QString(999, 'b') + emoji + "c", 2 + 2999 + 1, 1) << emojiBefore
        << QString(999, 'b') + emoji;
    const QString accent = QStringLiteral("e\u0301");
    QTest::newRow("combining accent at the after cut")
        << element("S" + QString(999, 'b') + accent + "z", 0, 1) << "" << QString(999, 'b') + accent;
}

void TestFocusContext::cuts()
{
    QFETCH(FocusedElement, focused);
    FakeFocusReader reader;
    reader.app = editor;
    reader.element = focused;

    const FocusContext context = FocusContext::capture(reader);

    QCOMPARE(context.app, editor);
    QFETCH(QString, before);
    QFETCH(QString, after);
    QCOMPARE(context.before, before);
    QCOMPARE(context.after, after);
}

void TestFocusContext::untrustedGivesOnlyTheApp()
{
    FakeFocusReader reader;
    reader.app = editor;
    reader.trusted = false;
    reader.element = element("hello", 0, 2);
    reader.fallback = QStringLiteral("he");

    const FocusContext expected{editor, {}, {}, {}};
    QCOMPARE(FocusContext::capture(reader), expected);
    QCOMPARE(reader.fallbackReads, 0);
}

void TestFocusContext::fallback_data()
{
    QTest::addColumn<std::optional<FocusedElement>>("focused");
    QTest::addColumn<std::optional<QString>>("fallback");
    QTest::addColumn<FocusContext>("expected");
    QTest::addColumn<int>("fallbackReads");

    const std::optional<QString> none;
    const QString primary = QStringLiteral("from primary");
    QTest::newRow("no focused element") << std::optional<FocusedElement>() << std::optional(primary)
                                        << FocusContext{editor, primary, none, none} << 1;
    QTest::newRow("caret without selection keeps the surrounding text")
        << std::optional(element("hello", 2, 0)) << none << FocusContext{editor, none, "he", "llo"} << 1;
    QTest::newRow("empty fallback is absent") << std::optional<FocusedElement>() << std::optional(QString())
                                              << FocusContext{editor, {}, {}, {}} << 1;
    QTest::newRow("selection without value needs no fallback")
        << std::optional(FocusedElement{QStringLiteral("sel"), none, TextRange{0, 3}})
        << std::optional(primary) << FocusContext{editor, "sel", none, none} << 0;
    QTest::newRow("selection without range needs no fallback")
        << std::optional(FocusedElement{QStringLiteral("sel"), QStringLiteral("a sel"), std::nullopt})
        << std::optional(primary) << FocusContext{editor, "sel", none, none} << 0;
}

void TestFocusContext::fallback()
{
    FakeFocusReader reader;
    reader.app = editor;
    QFETCH(std::optional<FocusedElement>, focused);
    QFETCH(std::optional<QString>, fallback);
    QFETCH(FocusContext, expected);
    QFETCH(int, fallbackReads);
    reader.element = focused;
    reader.fallback = fallback;

    QCOMPARE(FocusContext::capture(reader), expected);
    QCOMPARE(reader.fallbackReads, fallbackReads);
}

QTEST_GUILESS_MAIN(TestFocusContext)
#include "tst_focuscontext.moc"

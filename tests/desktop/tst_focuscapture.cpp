#include "FakeDesktopPlatform.h"
#include "desktop/FocusCapture.h"
#include "desktop/FocusContext.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;

namespace {

const RunningApp editor{"Mousepad", 4242, 0x1200007, "Mousepad"};
const std::optional<QString> none;
const QString primary = QStringLiteral("from primary");
constexpr qint64 huge = std::numeric_limits<qint64>::max();

std::optional<FocusedElement> element(const QString& value, qint64 location, qint64 length)
{
    const QString selected = value.mid(qBound<qint64>(0, location, value.size()), qMax<qint64>(length, 0));
    return FocusedElement{selected, value, TextRange{location, length}};
}

FocusContext seen(const std::optional<QString>& selection, const std::optional<QString>& before = {},
                  const std::optional<QString>& after = {})
{
    return {editor, selection, before, after};
}

// An application that keeps the worker waiting until the test lets it answer.
class SilentReader : public FakeFocusReader
{
public:
    QSemaphore answer;

    std::optional<FocusedElement> focusedElement(const std::optional<RunningApp>& focused,
                                                 QDeadlineTimer deadline) override
    {
        answer.acquire();
        return FakeFocusReader::focusedElement(focused, deadline);
    }
};

} // namespace

// What is read from the focused application, and when.
class TestFocusCapture : public QObject
{
    Q_OBJECT

private slots:
    void readText_data();
    void readText();
    void silentApplicationIsDescribedWithoutText();
    void newerCaptureReplacesOlder();
};

void TestFocusCapture::silentApplicationIsDescribedWithoutText()
{
    SilentReader reader;
    reader.app = editor;
    reader.element = FocusedElement{"two", "one two", TextRange{4, 3}};
    FocusCapture capture(reader, 50ms);
    QList<FocusContext> completed;

    capture.start(this, [&](const FocusContext& context) { completed << context; });
    QTRY_COMPARE(completed.size(), 1);
    QCOMPARE(completed.first(), (FocusContext{editor, {}, {}, {}}));

    // The answer that comes too late changes nothing; the next capture queues behind it.
    reader.answer.release(2);
    std::optional<FocusContext> next;
    capture.start(this, [&](const FocusContext& context) { next = context; });
    QTRY_VERIFY(next);
    QCOMPARE(completed.size(), 1);
}

void TestFocusCapture::newerCaptureReplacesOlder()
{
    SilentReader reader;
    reader.app = editor;
    FocusCapture capture(reader, 5s);
    int older = 0;
    std::optional<FocusContext> newer;

    capture.start(this, [&](const FocusContext&) { ++older; });
    reader.app = RunningApp{"xterm", 77, 0x400001, "XTerm"};
    capture.start(this, [&](const FocusContext& context) { newer = context; });
    reader.answer.release(2);

    QTRY_VERIFY(newer);
    QCOMPARE(newer->app->name, "xterm");
    QCOMPARE(older, 0);
}

void TestFocusCapture::readText_data()
{
    QTest::addColumn<std::optional<FocusedElement>>("focused");
    QTest::addColumn<std::optional<QString>>("fallback");
    QTest::addColumn<bool>("trusted");
    QTest::addColumn<FocusContext>("expected");
    QTest::addColumn<int>("fallbackReads");
    const auto row = [](const char* name, const std::optional<FocusedElement>& focused,
                        const FocusContext& expected, int fallbackReads,
                        const std::optional<QString>& fallback = primary, bool trusted = true) {
        QTest::newRow(name) << focused << fallback << trusted << expected << fallbackReads;
    };

    // Positions come from another process: every clamp, and no overflow when they are added.
    row("selection in the middle", element("one two three", 4, 3), seen("two", "one ", " three"), 0);
    row("caret at the start", element("hello", 0, 0), seen(none, "", "hello"), 1, none);
    row("negative location", element("hello", -4, 2), seen("he", "", "llo"), 0);
    row("negative length", element("hello", 2, -1), seen(primary, "he", "llo"), 1);
    row("overflowing length", element("hello", 1, huge), seen("ello", "h", ""), 0);
    row("overflowing location", element("hello", huge, 5), seen(primary, "hello", ""), 1);

    const QString a3000(3000, 'a'), b1000(1000, 'b'), b999(999, 'b');
    row("exactly the last 3000 before", element("xyz" + a3000 + "S" + b1000 + "tail", 3003, 1),
        seen("S", a3000, b1000), 0);
    // An emoji is two UTF-16 units but one character: it counts once and is never split at a cut.
    const QString emoji = QStringLiteral("\U0001F600"), accent = QStringLiteral("e\u0301");
    const QString emojiBefore = emoji + QString(2999, 'a');
    row("emoji at the before cut", element("x" + emojiBefore + "S" + b999 + emoji + "c", 2 + 2999 + 1, 1),
        seen("S", emojiBefore, b999 + emoji), 0);
    row("combining accent at the after cut", element("S" + b999 + accent + "z", 0, 1),
        seen("S", "", b999 + accent), 0);

    row("no focused element", std::nullopt, seen(primary), 1);
    row("empty fallback is absent", std::nullopt, seen(none), 1, QString());
    row("selection without value needs no fallback", FocusedElement{"sel", none, TextRange{0, 3}},
        seen("sel"), 0);
    row("selection without range needs no fallback", FocusedElement{"sel", "a sel", std::nullopt},
        seen("sel"), 0);
    row("untrusted gives only the app", element("hello", 0, 2), seen(none), 0, primary, false);
}

void TestFocusCapture::readText()
{
    QFETCH(std::optional<FocusedElement>, focused);
    QFETCH(std::optional<QString>, fallback);
    QFETCH(bool, trusted);
    QFETCH(FocusContext, expected);
    QFETCH(int, fallbackReads);
    FakeFocusReader reader;
    reader.app = editor;
    reader.element = focused;
    reader.fallback = fallback;
    reader.trusted = trusted;

    QCOMPARE(FocusContext::readText(reader, editor, QDeadlineTimer(1000)), expected);
    QCOMPARE(reader.fallbackReads, fallbackReads);
}

QTEST_GUILESS_MAIN(TestFocusCapture)
#include "tst_focuscapture.moc"

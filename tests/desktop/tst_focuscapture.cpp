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
    QTest::addColumn<bool>("trusted");
    QTest::addColumn<FocusContext>("expected");
    QTest::addColumn<int>("fallbackReads");
    const auto row = [](const char* name, const std::optional<FocusedElement>& focused,
                        const FocusContext& expected, int fallbackReads, bool trusted = true) {
        QTest::newRow(name) << focused << trusted << expected << fallbackReads;
    };

    // Positions come from another process: every clamp, and no overflow when they are added.
    row("negative location", element("hello", -4, 2), seen("he", "", "llo"), 0);
    row("negative length", element("hello", 2, -1), seen(primary, "he", "llo"), 1);
    row("overflowing length", element("hello", 1, huge), seen("ello", "h", ""), 0);
    row("overflowing location", element("hello", huge, 5), seen(primary, "hello", ""), 1);
    row("untrusted gives only the app", element("hello", 0, 2), seen(none), 0, false);
}

void TestFocusCapture::readText()
{
    QFETCH(std::optional<FocusedElement>, focused);
    QFETCH(bool, trusted);
    QFETCH(FocusContext, expected);
    QFETCH(int, fallbackReads);
    FakeFocusReader reader;
    reader.app = editor;
    reader.element = focused;
    reader.fallback = primary;
    reader.trusted = trusted;

    QCOMPARE(FocusContext::readText(reader, editor, QDeadlineTimer(1000)), expected);
    QCOMPARE(reader.fallbackReads, fallbackReads);
}

QTEST_GUILESS_MAIN(TestFocusCapture)
#include "tst_focuscapture.moc"

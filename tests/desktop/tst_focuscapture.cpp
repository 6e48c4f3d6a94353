#include "FakeDesktopPlatform.h"
#include "desktop/FocusCapture.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;

namespace {

const RunningApp editor{"Mousepad", 4242, 0x1200007, "Mousepad"};

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

class TestFocusCapture : public QObject
{
    Q_OBJECT

private slots:
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

QTEST_GUILESS_MAIN(TestFocusCapture)
#include "tst_focuscapture.moc"

// The answer panel's speed: the cost of one streamed delta and of the frame that lays it out as the
// answer grows (both should stay flat), and the time from showPanel to the panel exposed on screen.

#include "DesktopSession.h"
#include "FakeAudioInput.h"
#include "FakeSpeechRecognizer.h"
#include "app/AgentPanel.h"
#include "desktop/DesktopPlatform.h"
#include "desktop/Dictation.h"
#include "desktop/FloatingWindowPlatform.h"
#include "platform/Platform.h"
#include "session/Session.h"
#include "views/AnswerText.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QWindow>
#include <benchmark/benchmark.h>
#include <chrono>

namespace {

// A plausible answer: sentences in paragraphs of about 400 characters.
QString answerOf(int length)
{
    const QString sentence =
        QStringLiteral("The meeting moves to Thursday at three, and the draft goes out on Friday. ");
    QString text;
    text.reserve(length);
    while (text.size() < length) {
        text += sentence;
        if (text.size() % 400 < sentence.size())
            text += QStringLiteral("\n\n");
    }
    text.truncate(length);
    return text;
}

// An answer on screen, started at the given length.
struct ShownAnswer
{
    explicit ShownAnswer(const QString& text) : start(text)
    {
        answer.resize(388, 320);
        answer.show();
        answer.replace(start);
        QCoreApplication::processEvents();
    }
    // Keeps the answer near its starting length, off the clock.
    void keepLength(benchmark::State& state)
    {
        if (++appended < 200)
            return;
        state.PauseTiming();
        answer.replace(start);
        appended = 0;
        state.ResumeTiming();
    }

    QString start;
    AnswerText answer;
    int appended = 0;
};

const QString delta = QStringLiteral("more words ");

// What a delta costs when it arrives: it joins the text of the current frame.
void BM_Delta(benchmark::State& state)
{
    ShownAnswer shown(answerOf(int(state.range(0))));
    for (auto _ : state)
        shown.answer.append(delta);
}
// A fixed count keeps the frame's pending text to about a megabyte.
BENCHMARK(BM_Delta)
    ->ArgName("length")
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(20000)
    ->Arg(50000)
    ->Iterations(100000)
    ->Unit(benchmark::kMicrosecond);

// What a frame with new text costs: the last paragraph laid out again, the height refitted and, with
// the second argument, the visible part painted.
void frame(benchmark::State& state, const QString& text)
{
    const bool paint = state.range(1) != 0;
    ShownAnswer shown(text);
    for (auto _ : state) {
        shown.answer.append(delta);
        shown.answer.flush();
        if (paint)
            shown.answer.viewport()->repaint();
        shown.keepLength(state);
    }
}

void BM_Frame(benchmark::State& state)
{
    frame(state, answerOf(int(state.range(0))));
}
BENCHMARK(BM_Frame)
    ->ArgNames({"length", "paint"})
    ->ArgsProduct({{1000, 10000, 20000, 50000}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);

// The same when the whole answer is one paragraph, which Qt lays out again as a whole.
void BM_FrameOneParagraph(benchmark::State& state)
{
    frame(state, answerOf(int(state.range(0))).replace(QStringLiteral("\n\n"), QStringLiteral("  ")));
}
BENCHMARK(BM_FrameOneParagraph)
    ->ArgNames({"length", "paint"})
    ->ArgsProduct({{1000, 10000, 20000, 50000}, {0}})
    ->Unit(benchmark::kMicrosecond);

std::unique_ptr<Session> makeSession(DesktopPlatform& desktop)
{
    return std::make_unique<Session>(desktop,
                                     std::make_unique<Dictation>(std::make_unique<FakeAudioInput>(),
                                                                 std::make_unique<FakeSpeechRecognizer>()),
                                     [] { return false; });
}

// Milliseconds from showPanel to the panel's window exposed.
double showToExposed(AgentPanel& panel, bool makeKey)
{
    QElapsedTimer clock;
    clock.start();
    panel.showPanel(makeKey);
    while (!panel.windowHandle()->isExposed())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
    return double(clock.nsecsElapsed()) / 1e6;
}

void hideAndSettle(AgentPanel& panel)
{
    panel.hide();
    while (panel.windowHandle()->isExposed())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
}

void BM_ShowPanel(benchmark::State& state)
{
    const bool makeKey = state.range(0) != 0;
    const auto desktop = Platform::createDesktop();
    const auto windows = Platform::createFloatingWindows();
    auto session = makeSession(*desktop);
    session->begin(false, false);
    QElapsedTimer creation;
    creation.start();
    AgentPanel panel(*session, *windows);
    const double created = double(creation.nsecsElapsed()) / 1e6;
    const double first = showToExposed(panel, makeKey);
    hideAndSettle(panel);
    for (auto _ : state) {
        const double shown = showToExposed(panel, makeKey);
        state.SetIterationTime(shown / 1000.0);
        state.PauseTiming();
        hideAndSettle(panel);
        state.ResumeTiming();
    }
    state.counters["created_ms"] = created;
    state.counters["first_show_ms"] = first;
}
BENCHMARK(BM_ShowPanel)
    ->ArgName("makeKey")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(40)
    ->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    if (!DesktopSession::enter())
        return 1;
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

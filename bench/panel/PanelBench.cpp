// The answer panel's speed: the cost of one streamed delta as the answer grows (it should stay flat),
// and the time from showPanel to the panel exposed on screen, first and later shows.

#include "DesktopSession.h"
#include "FakeAudioInput.h"
#include "FakeSpeechRecognizer.h"
#include "app/AgentPanel.h"
#include "desktop/Dictation.h"
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

// One delta of a few words appended to an answer of the given length, with the height refitted.
void appendDelta(benchmark::State& state, bool oneParagraph)
{
    const int length = int(state.range(0));
    QString start = answerOf(length);
    if (oneParagraph)
        start.replace(QStringLiteral("\n\n"), QStringLiteral("  "));
    AnswerText answer;
    answer.resize(388, 320);
    answer.show();
    answer.replace(start);
    QCoreApplication::processEvents();
    int appended = 0;
    for (auto _ : state) {
        answer.append(QStringLiteral("more words "));
        // Keep the answer near the measured length.
        if (++appended == 200) {
            state.PauseTiming();
            answer.replace(start);
            appended = 0;
            state.ResumeTiming();
        }
    }
}

void BM_AppendDelta(benchmark::State& state)
{
    appendDelta(state, false);
}
BENCHMARK(BM_AppendDelta)->Arg(1000)->Arg(10000)->Arg(20000)->Arg(50000)->Unit(benchmark::kMicrosecond);

void BM_AppendDeltaOneParagraph(benchmark::State& state)
{
    appendDelta(state, true);
}
BENCHMARK(BM_AppendDeltaOneParagraph)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(20000)
    ->Arg(50000)
    ->Unit(benchmark::kMicrosecond);

// The same with the repaint that follows each delta on screen.
void BM_AppendDeltaAndPaint(benchmark::State& state)
{
    AnswerText answer;
    answer.resize(388, 320);
    answer.show();
    const QString start = answerOf(int(state.range(0)));
    answer.replace(start);
    QCoreApplication::processEvents();
    int appended = 0;
    for (auto _ : state) {
        answer.append(QStringLiteral("more words "));
        answer.viewport()->repaint();
        if (++appended == 200) {
            state.PauseTiming();
            answer.replace(start);
            appended = 0;
            state.ResumeTiming();
        }
    }
}
BENCHMARK(BM_AppendDeltaAndPaint)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(20000)
    ->Arg(50000)
    ->Unit(benchmark::kMicrosecond);

std::unique_ptr<Session> makeSession()
{
    return std::make_unique<Session>(std::make_unique<Dictation>(std::make_unique<FakeAudioInput>(),
                                                                 std::make_unique<FakeSpeechRecognizer>()));
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
    auto session = makeSession();
    session->begin(false, false);
    QElapsedTimer creation;
    creation.start();
    AgentPanel panel(*session);
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

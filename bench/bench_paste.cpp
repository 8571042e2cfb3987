// Pasting a megabyte of Markdown into an empty note: the editor against a plain QTextEdit (the floor), each measured
// until the pasted text is styled and laid out. Target: at most 1.5 times the floor's CPU time. Qt inserts and lays
// out a paste in one go, so the longest wait of the event loop (a counter) is most of that time in both.
#include "editor/MarkdownHighlighter.h"
#include "editor/MarkdownTextView.h"

#include "BenchmarkRun.h"
#include "GeneratedMarkdown.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QClipboard>
#include <QElapsedTimer>
#include <QMimeData>
#include <QTextEdit>

#include <benchmark/benchmark.h>

#include <ctime>
#include <memory>

namespace {

const QString &megabyte()
{
    static const QString text = [] {
        QString out = GeneratedMarkdown::note(21000);
        out.truncate(1 << 20);
        return out;
    }();
    return text;
}

double cpuMilliseconds()
{
    timespec now {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

// Pastes the megabyte into a fresh, shown editor and waits until nothing is left to style; reports CPU time as the
// iteration's time and the longest stretch the event loop was kept waiting.
template<typename View, typename Pending> void paste(benchmark::State &state, Pending pending, bool fixedWidth = false)
{
    auto *mime = new QMimeData;
    mime->setText(megabyte());
    QGuiApplication::clipboard()->setMimeData(mime);
    double longest = 0;
    for (auto _ : state) {
        auto view = std::make_unique<View>();
        view->resize(400, 600);
        if (fixedWidth)
            view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
        view->show();
        QCoreApplication::processEvents();
        const double cpu = cpuMilliseconds();
        QElapsedTimer block;
        block.start();
        view->paste();
        longest = std::max(longest, block.nsecsElapsed() / 1e6);
        while (pending(view.get())) {
            block.start();
            QCoreApplication::processEvents();
            longest = std::max(longest, block.nsecsElapsed() / 1e6);
        }
        block.start();
        benchmark::DoNotOptimize(view->document()->documentLayout()->documentSize());
        longest = std::max(longest, block.nsecsElapsed() / 1e6);
        state.SetIterationTime((cpuMilliseconds() - cpu) / 1e3);
        if (view->document()->characterCount() < megabyte().size())
            state.SkipWithError("the paste did not reach the text");
    }
    state.counters["longest_block_ms"] = benchmark::Counter(longest);
}

void pasteMegabyte(benchmark::State &state)
{
    paste<MarkdownTextView>(state, [](MarkdownTextView *view) { return view->highlighter()->hasPendingRestyle(); });
}

void pasteMegabyteFloor(benchmark::State &state)
{
    paste<QTextEdit>(state, [](QTextEdit *) { return false; });
}

// A plain QTextEdit whose scroll bar is always there: the text is wrapped once, as in the editor, whose scroll bar
// lies over the text. The default QTextEdit lays everything out a second time when its scroll bar appears.
void pasteMegabyteFloorFixedWidth(benchmark::State &state)
{
    paste<QTextEdit>(
        state, [](QTextEdit *) { return false; }, true);
}

} // namespace

BENCHMARK(pasteMegabyteFloor)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(pasteMegabyteFloorFixedWidth)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);
BENCHMARK(pasteMegabyte)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    return runBenchmarks(argc, argv);
}

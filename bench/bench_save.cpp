// Saving a note, as typing feels it. The event loop runs from the moment the save is due until its text is on disk;
// the longest single turn of it (busy from waking to sleeping) is how long a keystroke could have waited.
//   SaveToDisk           an ordinary save of a 4 KB note: time from due to on disk (written, synced, renamed);
//                        counter longest_turn_ms
//   SaveWhileDiskStalls  the same while every write stalls for 2 s (a USB stick, a network folder): the longest turn
//                        of the event loop, i.e. the main-thread time of the save; counter to_disk_s

#include "BenchmarkRun.h"
#include "GeneratedMarkdown.h"
#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "store/NoteController.h"
#include "store/NoteSaver.h"
#include "store/NoteStore.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <chrono>
#include <thread>

namespace {

QTemporaryDir *workspace = nullptr;
const QString noteName = QStringLiteral("Note.md");

QString notesFolder()
{
    return workspace->path() + QLatin1String("/notes");
}

QString noteBody()
{
    return GeneratedMarkdown::loremNote();
}

void writeNote()
{
    QDir().mkpath(notesFolder());
    QFile file(notesFolder() + QLatin1Char('/') + noteName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        qFatal("cannot write the benchmark folder");
    file.write(Frontmatter::serialize(NoteMetadata {}, {}, noteBody()).toUtf8());
}

struct SaveTiming {
    double longestTurn = 0; // seconds
    double toDisk = 0; // seconds
    bool written = false;
};

// Edits the note, then runs the event loop until the store has written it (or 30 s have passed). A turn is the time
// from the dispatcher waking up to it going to sleep again: the time the thread was busy and could not take a key.
SaveTiming saveOnce(NoteStore &store, NoteController *note, int round)
{
    note->note().body = QStringLiteral("Saved in round %1\n").arg(round) + noteBody();
    SaveTiming timing;
    QEventLoop loop;
    QElapsedTimer turn;
    turn.start();
    QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
    const auto endTurn = [&] { timing.longestTurn = std::max(timing.longestTurn, double(turn.nsecsElapsed()) / 1e9); };
    const QMetaObject::Connection awake
        = QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, &loop, [&turn] { turn.restart(); });
    const QMetaObject::Connection asleep
        = QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &loop, endTurn);
    QObject::connect(&store, &NoteStore::noteWritten, &loop, [&] {
        timing.written = true;
        loop.quit();
    });
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    QElapsedTimer sinceDue;
    sinceDue.start();
    store.noteReplaced(note); // due on the next turn
    loop.exec();
    endTurn();
    timing.toDisk = double(sinceDue.nsecsElapsed()) / 1e9;
    QObject::disconnect(awake);
    QObject::disconnect(asleep);
    return timing;
}

void SaveToDisk(benchmark::State &state)
{
    writeNote();
    NoteStore store(notesFolder(), Settings(workspace->path() + QLatin1String("/settings.ini")));
    store.rescan();
    NoteController *note = store.controller(noteName);
    int round = 0;
    double longest = 0;
    for (auto _ : state) {
        const SaveTiming timing = saveOnce(store, note, ++round);
        state.SetIterationTime(timing.toDisk);
        longest += timing.longestTurn;
        if (!timing.written)
            state.SkipWithError("the save did not reach the disk");
    }
    state.counters["longest_turn_ms"] = 1000 * longest / double(state.iterations());
}

void SaveWhileDiskStalls(benchmark::State &state)
{
    writeNote();
    NoteStore store(notesFolder(), Settings(workspace->path() + QLatin1String("/settings.ini")));
    store.rescan();
    NoteController *note = store.controller(noteName);
    NoteSaver::setWriteHookForTesting(
        [](const QString &, const QByteArray &) { std::this_thread::sleep_for(std::chrono::seconds(2)); });
    int round = 0;
    double toDisk = 0;
    for (auto _ : state) {
        const SaveTiming timing = saveOnce(store, note, ++round);
        state.SetIterationTime(timing.longestTurn);
        toDisk += timing.toDisk;
        if (!timing.written)
            state.SkipWithError("the save did not reach the disk");
    }
    NoteSaver::setWriteHookForTesting({});
    state.counters["to_disk_s"] = toDisk / double(state.iterations());
}

} // namespace

BENCHMARK(SaveToDisk)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(50);
BENCHMARK(SaveWhileDiskStalls)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir temporary;
    workspace = &temporary;
    const int status = runBenchmarks(argc, argv);
    workspace = nullptr;
    return status;
}

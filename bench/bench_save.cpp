// Saving a note, as typing feels it. The event loop is turned as a note window's would be, from the moment the
// save is due until its text is on disk; the longest single turn is how long a keystroke could have waited.
//   SaveToDisk           an ordinary save of a 4 KB note: time from due to on disk (written, synced, renamed);
//                        counter longest_turn_ms
//   SaveWhileDiskStalls  the same while every write stalls for 2 s (a USB stick, a network folder): the longest turn
//                        of the event loop, i.e. the main-thread time of the save; counter to_disk_s

#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "store/NoteController.h"
#include "store/NoteSaver.h"
#include "store/NoteStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

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
    const QString paragraph = QStringLiteral(
        "Lorem ipsum dolor sit amet, **consectetur** adipiscing elit, sed do eiusmod tempor incididunt ut labore "
        "et dolore magna aliqua. Ut enim ad minim veniam, quis nostrud [exercitation](https://example.org) ullamco "
        "laboris nisi ut aliquip ex ea commodo consequat.\n\n- [ ] a task\n- [x] a done task\n\n");
    QString body = QStringLiteral("# A note\n\n");
    while (body.size() < 3900)
        body += paragraph;
    return body;
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

// Edits the note, then turns the event loop until the store has written it (or 30 s have passed).
SaveTiming saveOnce(NoteStore &store, NoteController *note, int round)
{
    note->note().body = QStringLiteral("Saved in round %1\n").arg(round) + noteBody();
    SaveTiming timing;
    const QMetaObject::Connection connection
        = QObject::connect(&store, &NoteStore::noteWritten, &store, [&timing] { timing.written = true; });
    QElapsedTimer sinceDue;
    sinceDue.start();
    store.noteReplaced(note); // due on the next turn
    while (!timing.written && sinceDue.elapsed() < 30000) {
        QElapsedTimer turn;
        turn.start();
        QCoreApplication::processEvents();
        timing.longestTurn = std::max(timing.longestTurn, double(turn.nsecsElapsed()) / 1e9);
    }
    timing.toDisk = double(sinceDue.nsecsElapsed()) / 1e9;
    QObject::disconnect(connection);
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
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    workspace = nullptr;
    return 0;
}

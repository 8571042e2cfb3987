// The note store on a folder of 10,000 notes of about 4 KB:
//   FullRescan            a fresh store's first scan (list, read and parse every file, make every controller)
//   FullRescanUnchanged   a later full rescan of the same store when nothing changed (after a lost event queue)
//   SaveToRescan          main-thread time of one save: the write, its file events and the rescan they cause
//   ExternalEditToRescan  main-thread time of one edit by another program, from its events to the finished rescan
//   ListStatReadFloor     the floor: list the folder, stat and read every file, nothing else
// The event-driven cases count the main thread's CPU time, not the 0.2 s debounce during which it sleeps.

#include "BenchmarkRun.h"
#include "GeneratedMarkdown.h"
#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "store/NoteController.h"
#include "store/NoteStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr int noteCount = 10000;

QTemporaryDir *workspace = nullptr;

QString notesFolder()
{
    return workspace->path() + QLatin1String("/notes");
}

Settings benchSettings()
{
    return Settings(workspace->path() + QLatin1String("/settings.ini"));
}

QString noteName(int i)
{
    return QStringLiteral("Note %1.md").arg(i, 5, 10, QLatin1Char('0'));
}

void generateNotes()
{
    QDir().mkpath(notesFolder());
    const QString body = GeneratedMarkdown::loremNote();
    for (int i = 0; i < noteCount; ++i) {
        NoteMetadata meta;
        meta.x = 100 + i % 400;
        meta.y = 100 + i % 300;
        meta.z = i;
        QFile file(notesFolder() + QLatin1Char('/') + noteName(i));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write the benchmark folder");
        file.write(Frontmatter::serialize(meta, {}, body).toUtf8());
    }
}

double threadCpuSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// Runs the event loop until the store has finished a rescan (or five seconds have passed).
bool waitForRescan(NoteStore &store)
{
    QEventLoop loop;
    bool rescanned = false;
    QObject::connect(&store, &NoteStore::rescanned, &loop, [&] {
        rescanned = true;
        loop.quit();
    });
    QTimer::singleShot(5000, &loop, &QEventLoop::quit);
    loop.exec();
    return rescanned;
}

void FullRescan(benchmark::State &state)
{
    for (auto _ : state) {
        state.PauseTiming();
        auto store = std::make_unique<NoteStore>(notesFolder(), benchSettings());
        state.ResumeTiming();
        store->rescan();
        state.PauseTiming();
        if (store->controllerCount() != noteCount)
            state.SkipWithError("not every note was found");
        store.reset();
        state.ResumeTiming();
    }
    state.counters["notes"] = noteCount;
}

void FullRescanUnchanged(benchmark::State &state)
{
    NoteStore store(notesFolder(), benchSettings());
    store.rescan();
    for (auto _ : state)
        store.rescan();
}

void SaveToRescan(benchmark::State &state)
{
    NoteStore store(notesFolder(), benchSettings());
    store.rescan();
    store.startWatching();
    NoteController *note = store.controller(noteName(noteCount / 2));
    int round = 0;
    for (auto _ : state) {
        note->note().body = QStringLiteral("Saved in round %1\n").arg(++round) + note->note().body;
        const double start = threadCpuSeconds();
        store.noteReplaced(note);
        const bool done = waitForRescan(store);
        state.SetIterationTime(threadCpuSeconds() - start);
        if (!done)
            state.SkipWithError("no rescan followed the save");
    }
}

void ExternalEditToRescan(benchmark::State &state)
{
    NoteStore store(notesFolder(), benchSettings());
    store.rescan();
    store.startWatching();
    const QString name = noteName(noteCount / 3);
    const QString path = notesFolder() + QLatin1Char('/') + name;
    int round = 0;
    for (auto _ : state) {
        const QString text
            = store.controller(name)->lastDiskContent() + QStringLiteral("Edited elsewhere %1\n").arg(++round);
        {
            // The other program's work is not the store's: the clock starts once the file is written.
            QFile file(path);
            file.open(QIODevice::WriteOnly | QIODevice::Truncate);
            file.write(text.toUtf8());
        }
        const double start = threadCpuSeconds();
        const bool done = waitForRescan(store);
        state.SetIterationTime(threadCpuSeconds() - start);
        if (!done || store.controller(name)->lastDiskContent() != text)
            state.SkipWithError("the edit did not reach the note");
    }
}

void ListStatReadFloor(benchmark::State &state)
{
    const QByteArray folder = QFile::encodeName(notesFolder());
    std::vector<char> buffer(1 << 20);
    for (auto _ : state) {
        DIR *dir = opendir(folder.constData());
        const int dirFd = dirfd(dir);
        size_t bytes = 0;
        while (const dirent *entry = readdir(dir)) {
            if (entry->d_name[0] == '.')
                continue;
            struct stat st;
            if (fstatat(dirFd, entry->d_name, &st, 0) != 0 || !S_ISREG(st.st_mode))
                continue;
            const int fd = openat(dirFd, entry->d_name, O_RDONLY | O_CLOEXEC);
            ssize_t n;
            while ((n = read(fd, buffer.data(), buffer.size())) > 0)
                bytes += size_t(n);
            close(fd);
        }
        closedir(dir);
        benchmark::DoNotOptimize(bytes);
    }
}

} // namespace

BENCHMARK(FullRescan)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(FullRescanUnchanged)->Unit(benchmark::kMillisecond);
BENCHMARK(SaveToRescan)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(20);
BENCHMARK(ExternalEditToRescan)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(20);
BENCHMARK(ListStatReadFloor)->Unit(benchmark::kMillisecond);

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir temporary;
    workspace = &temporary;
    generateNotes();
    const int status = runBenchmarks(argc, argv);
    workspace = nullptr;
    return status;
}

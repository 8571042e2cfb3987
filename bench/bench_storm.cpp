// A storm of outside changes: a workspace of 10,000 notes of about 4 KB, loaded in a store that watches it, while
// another program rewrites all 10,000 files and adds 1,000 hidden notes, each written to a temporary file and
// renamed into place as a checkout does. Measured until the store has caught up (every note holds the new text):
//   longest_stall_ms      the longest time the store's event loop did not turn (a 1 ms timer probes it)
//   longest_stall_cpu_ms  the same in the thread's CPU time, which other programs on a busy machine do not inflate
//   cpu_s                 the CPU time of the store's process from the first write until it has caught up
//   catch_up_s            wall time from the checkout's end until the store has caught up
//   rss_ratio             resident memory after the storm against a fresh start on the same (changed) folder
// The store runs in a process of its own (offscreen) so that its resident memory is its own, and the checkout in
// another one, as it would. The store uses the console's window-less controllers: the window side of a note (its
// editor and styling) is measured by the editor and start-up benchmarks.

#include "GeneratedMarkdown.h"

#include "BenchmarkRun.h"
#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "store/NoteController.h"
#include "store/NoteStore.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>

#include <sys/resource.h>
#include <time.h>

namespace {

constexpr int noteCount = 10000;
constexpr int hiddenCount = 1000;

QString noteName(int i)
{
    return QStringLiteral("Note %1.md").arg(i, 5, 10, QLatin1Char('0'));
}

QString hiddenName(int i)
{
    return QStringLiteral("Hidden %1.md").arg(i, 4, 10, QLatin1Char('0'));
}

// Every revision of a note starts with a line that says which it is, so that catching up is cheap to check.
QString marker(int revision)
{
    return QStringLiteral("# Revision %1\n").arg(revision);
}

QByteArray noteText(int index, int revision, bool hidden)
{
    QRandomGenerator random(quint32(index * 7919 + revision * 104729 + (hidden ? 1 : 0)));
    NoteMetadata meta;
    meta.x = 100 + index % 400;
    meta.y = 100 + index % 300;
    meta.z = index;
    meta.hidden = hidden;
    const QString body = marker(revision) + GeneratedMarkdown::body(random, 3900, 60);
    return Frontmatter::serialize(meta, {}, body).toUtf8();
}

void writeFile(const QString &path, const QByteArray &data)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(data) != data.size())
        qFatal("cannot write %s", qPrintable(path));
}

// The checkout: every file is written beside its name and renamed into place.
void checkout(const QString &folder, int revision)
{
    const auto replace = [&folder](const QString &name, const QByteArray &data) {
        const QString temporary = folder + QStringLiteral("/.") + name + QStringLiteral(".lock");
        writeFile(temporary, data);
        if (::rename(QFile::encodeName(temporary).constData(), QFile::encodeName(folder + u'/' + name).constData()))
            qFatal("cannot rename %s", qPrintable(temporary));
    };
    for (int i = 0; i < noteCount; ++i)
        replace(noteName(i), noteText(i, revision, false));
    for (int i = 0; i < hiddenCount; ++i)
        replace(hiddenName(i), noteText(i, revision, true));
}

// The workspace before the checkout: revision 0 of every note, no hidden ones.
void resetFolder(const QString &folder)
{
    QDir().mkpath(folder);
    for (int i = 0; i < hiddenCount; ++i)
        QFile::remove(folder + u'/' + hiddenName(i));
    for (int i = 0; i < noteCount; ++i)
        writeFile(folder + u'/' + noteName(i), noteText(i, 0, false));
}

qint64 residentKb()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    }
    return 0;
}

double processCpuSeconds()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double threadCpuSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// Runs the event loop for `ms`, as an idle application would.
void idle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

bool caughtUp(const NoteStore &store, int revision)
{
    if (store.controllerCount() != noteCount + hiddenCount)
        return false;
    const QString expected = marker(revision);
    for (int i = 0; i < noteCount + hiddenCount; ++i) {
        const NoteController *note = store.controller(i < noteCount ? noteName(i) : hiddenName(i - noteCount));
        if (!note || !note->note().body.startsWith(expected))
            return false;
    }
    return true;
}

std::unique_ptr<NoteStore> openStore(const QString &folder, const QString &settingsPath)
{
    auto store = std::make_unique<NoteStore>(folder, Settings(settingsPath));
    store->setVisibleAreaProvider([] { return std::optional<ScreenCoordinates::VisibleArea>(); });
    store->rescan();
    store->startWatching();
    return store;
}

// Child process: a fresh start on the folder; prints the resident memory once idle.
int freshStart(const QString &folder, const QString &settingsPath)
{
    const auto store = openStore(folder, settingsPath);
    idle(500);
    std::printf("controllers %d rss_kb %lld\n", store->controllerCount(), residentKb());
    return 0;
}

// Child process: the store, the checkout started beside it, and the probe of its event loop.
int storm(const QString &folder, const QString &settingsPath, int revision)
{
    const auto store = openStore(folder, settingsPath);
    idle(500);
    const qint64 freshKb = residentKb();

    QElapsedTimer clock;
    qint64 lastTurn = 0;
    qint64 longestStall = 0;
    // The same in the thread's CPU time: on a busy machine the wall-clock stall also counts time the scheduler gave
    // to other programs.
    double lastTurnCpu = threadCpuSeconds();
    double longestStallCpu = 0;
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    probe.setInterval(1);
    QObject::connect(&probe, &QTimer::timeout, &probe, [&] {
        const qint64 now = clock.nsecsElapsed();
        longestStall = std::max(longestStall, now - lastTurn);
        lastTurn = now;
        const double cpuNow = threadCpuSeconds();
        longestStallCpu = std::max(longestStallCpu, cpuNow - lastTurnCpu);
        lastTurnCpu = cpuNow;
    });

    QEventLoop loop;
    bool checkoutDone = false;
    qint64 checkoutEnd = 0;
    // The check is the benchmark's work, not the store's: its time is taken out of the stall it falls into.
    const auto check = [&] {
        const qint64 start = clock.nsecsElapsed();
        if (checkoutDone && caughtUp(*store, revision))
            loop.quit();
        lastTurn += clock.nsecsElapsed() - start;
        lastTurnCpu += double(clock.nsecsElapsed() - start) / 1e9;
    };
    QProcess writer;
    QObject::connect(&writer, &QProcess::finished, &loop, [&] {
        checkoutDone = true;
        checkoutEnd = clock.nsecsElapsed();
        check();
    });
    QObject::connect(store.get(), &NoteStore::rescanned, &loop, check);
    QTimer::singleShot(180000, &loop, &QEventLoop::quit);

    // Starting the checkout forks this process, which is the benchmark's cost: the clocks start after it.
    writer.start(
        QCoreApplication::applicationFilePath(), {QStringLiteral("--checkout"), folder, QString::number(revision)});
    const double cpuStart = processCpuSeconds();
    clock.start();
    lastTurnCpu = threadCpuSeconds();
    probe.start();
    loop.exec();
    const qint64 end = clock.nsecsElapsed();
    const double cpu = processCpuSeconds() - cpuStart;
    probe.stop();
    const bool done = caughtUp(*store, revision);
    idle(500);
    std::printf("caught_up %d longest_stall_ms %.1f longest_stall_cpu_ms %.1f cpu_s %.3f catch_up_s %.3f fresh_kb %lld "
                "after_kb %lld\n",
        int(done), double(longestStall) / 1e6, longestStallCpu * 1e3, cpu, double(end - checkoutEnd) / 1e9, freshKb,
        residentKb());
    return 0;
}

// Runs this program in one of its child roles and returns the numbers it printed, by name.
QHash<QString, double> runChild(const QStringList &arguments)
{
    QProcess child;
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(), arguments);
    child.waitForFinished(-1);
    const QStringList words = QString::fromUtf8(child.readAllStandardOutput()).simplified().split(u' ');
    QHash<QString, double> values;
    for (qsizetype i = 0; i + 1 < words.size(); i += 2)
        values.insert(words.at(i), words.at(i + 1).toDouble());
    return values;
}

QTemporaryDir *workspace = nullptr;

void Storm(benchmark::State &state)
{
    const QString folder = workspace->path() + QStringLiteral("/notes");
    const QString settings = workspace->path() + QStringLiteral("/settings.ini");
    int revision = 0;
    for (auto _ : state) {
        resetFolder(folder);
        ++revision;
        const QHash<QString, double> storm
            = runChild({QStringLiteral("--storm"), folder, settings, QString::number(revision)});
        const QHash<QString, double> fresh = runChild({QStringLiteral("--fresh"), folder, settings});
        if (storm.value(QStringLiteral("caught_up")) != 1)
            state.SkipWithError("the store did not catch up with the checkout");
        state.SetIterationTime(storm.value(QStringLiteral("cpu_s")));
        state.counters["longest_stall_ms"] = storm.value(QStringLiteral("longest_stall_ms"));
        state.counters["longest_stall_cpu_ms"] = storm.value(QStringLiteral("longest_stall_cpu_ms"));
        state.counters["catch_up_s"] = storm.value(QStringLiteral("catch_up_s"));
        state.counters["rss_before_storm_MB"] = storm.value(QStringLiteral("fresh_kb")) / 1024;
        state.counters["rss_after_storm_MB"] = storm.value(QStringLiteral("after_kb")) / 1024;
        state.counters["rss_fresh_MB"] = fresh.value(QStringLiteral("rss_kb")) / 1024;
        state.counters["rss_ratio"]
            = storm.value(QStringLiteral("after_kb")) / std::max(1.0, fresh.value(QStringLiteral("rss_kb")));
    }
}

} // namespace

BENCHMARK(Storm)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(1);

int main(int argc, char **argv)
{
    // The child roles come first: they are this program started again by the benchmark.
    if (argc >= 4 && std::strcmp(argv[1], "--checkout") == 0) {
        checkout(QString::fromLocal8Bit(argv[2]), std::atoi(argv[3]));
        return 0;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc >= 4 && std::strcmp(argv[1], "--fresh") == 0)
        return freshStart(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]));
    if (argc >= 5 && std::strcmp(argv[1], "--storm") == 0)
        return storm(QString::fromLocal8Bit(argv[2]), QString::fromLocal8Bit(argv[3]), std::atoi(argv[4]));

    QTemporaryDir temporary;
    workspace = &temporary;
    const int status = runBenchmarks(argc, argv);
    workspace = nullptr;
    return status;
}

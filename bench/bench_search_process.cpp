// `tackpad search QUERY` as a user runs it: a whole process, start-up and reading the workspace included, over
// 10,000 notes of about 4 KB. Target: at most 1.5 times the CPU and the elapsed time of `rg -i -F QUERY` on the
// same folder. BM_Ripgrep and BM_GrepList are those programs alone; BM_TackpadSearch runs ripgrep beside each of
// its own runs and reports the ratios (vs_rg_cpu, vs_rg_elapsed) from the same iterations. Programs that are not
// installed are skipped with a message.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include "GeneratedMarkdown.h"
#include "SpawnQuietly.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

extern char **environ;

namespace {

constexpr int noteCount = 10000;
constexpr qsizetype bodyLength = 4096;
const QByteArray query = "quokka"; // planted, in varied letter case, in every hundredth note

// Markdown-like notes (headings, list items, paragraphs) behind the property line, from a fixed seed.
QByteArray generatedNote(QRandomGenerator &random, int index)
{
    QString body = GeneratedMarkdown::body(random, bodyLength, 19);
    if (index % 100 == 0)
        body.insert(random.bounded(int(body.size())),
            index % 200 == 0 ? QStringLiteral(" Quokka ") : QStringLiteral(" QUOKKA "));
    const QString properties = QStringLiteral("---\ntackpad: \"x%1 y%2 w270 h260 z%3 #FBF4A6 s12%4\"\n---\n")
                                   .arg(index % 1000)
                                   .arg(index / 10)
                                   .arg(index)
                                   .arg(index % 7 == 0 ? QStringLiteral(" hidden") : QString());
    return (properties + body).toUtf8();
}

// The workspace, written once for the whole program.
const QString &workspace()
{
    static const std::unique_ptr<QTemporaryDir> folder = [] {
        auto dir = std::make_unique<QTemporaryDir>();
        QRandomGenerator random(20240611);
        for (int i = 0; i < noteCount; ++i) {
            QFile file(dir->filePath(QStringLiteral("Note %1.md").arg(i)));
            if (!file.open(QIODevice::WriteOnly) || file.write(generatedNote(random, i)) < 0)
                qFatal("cannot write the workspace");
        }
        return dir;
    }();
    static const QString path = folder->path();
    return path;
}

struct Cost {
    double elapsed = 0; // seconds
    double cpu = 0; // user and system seconds
    long maxResidentKb = 0;
};

// Runs the program to completion with its output thrown away, as `> /dev/null 2>&1` would.
Cost runProcess(const std::vector<std::string> &command)
{
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = spawnQuietly(command);
    if (pid < 0)
        qFatal("cannot start %s", command.front().c_str());
    int status = 0;
    rusage usage {};
    wait4(pid, &status, 0, &usage);
    Cost cost;
    cost.elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    const auto seconds = [](const timeval &t) { return double(t.tv_sec) + double(t.tv_usec) / 1e6; };
    cost.cpu = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    cost.maxResidentKb = usage.ru_maxrss;
    // grep and ripgrep exit with 1 when nothing is found, tackpad too; anything else is a broken run.
    if (!WIFEXITED(status) || WEXITSTATUS(status) > 1)
        qFatal("%s failed", command.front().c_str());
    return cost;
}

std::optional<std::string> installed(const char *program)
{
    const QString path = QStandardPaths::findExecutable(QString::fromLatin1(program));
    if (path.isEmpty())
        return std::nullopt;
    return path.toStdString();
}

std::optional<std::vector<std::string>> ripgrepCommand()
{
    const std::optional<std::string> rg = installed("rg");
    if (!rg)
        return std::nullopt;
    return std::vector<std::string> {*rg, "-i", "-F", query.toStdString(), workspace().toStdString()};
}

void report(benchmark::State &state, const std::vector<Cost> &costs, const char *prefix = "")
{
    double cpu = 0;
    long resident = 0;
    for (const Cost &cost : costs) {
        cpu += cost.cpu;
        resident = std::max(resident, cost.maxResidentKb);
    }
    const std::string name(prefix);
    state.counters[name + "cpu_ms"] = 1000 * cpu / double(costs.size());
    state.counters[name + "max_rss_MB"] = double(resident) / 1024;
}

void runAlone(benchmark::State &state, const std::optional<std::vector<std::string>> &command, const char *missing)
{
    if (!command) {
        state.SkipWithError(missing);
        return;
    }
    workspace();
    std::vector<Cost> costs;
    for (auto _ : state) {
        costs.push_back(runProcess(*command));
        state.SetIterationTime(costs.back().elapsed);
    }
    report(state, costs);
}

void BM_TackpadSearch(benchmark::State &state)
{
    // TACKPAD_BINARY in the environment measures another build, such as the one before a change.
    const std::string binary = qEnvironmentVariable("TACKPAD_BINARY", QStringLiteral(TACKPAD_BINARY)).toStdString();
    const std::vector<std::string> command {
        binary, "search", "--workspace", workspace().toStdString(), query.toStdString()};
    const std::optional<std::vector<std::string>> rg = ripgrepCommand();
    std::vector<Cost> costs;
    std::vector<Cost> rgCosts;
    for (auto _ : state) {
        costs.push_back(runProcess(command));
        state.SetIterationTime(costs.back().elapsed);
        if (rg) {
            state.PauseTiming();
            rgCosts.push_back(runProcess(*rg));
            state.ResumeTiming();
        }
    }
    report(state, costs);
    if (rgCosts.empty()) {
        state.SetLabel("rg not installed: no ratio");
        return;
    }
    report(state, rgCosts, "rg_");
    double cpu = 0, rgCpu = 0, elapsed = 0, rgElapsed = 0;
    for (size_t i = 0; i < costs.size(); ++i) {
        cpu += costs[i].cpu;
        rgCpu += rgCosts[i].cpu;
        elapsed += costs[i].elapsed;
        rgElapsed += rgCosts[i].elapsed;
    }
    state.counters["vs_rg_cpu"] = cpu / rgCpu;
    state.counters["vs_rg_elapsed"] = elapsed / rgElapsed;
}

void BM_Ripgrep(benchmark::State &state)
{
    runAlone(state, ripgrepCommand(), "rg (ripgrep) is not installed");
}

void BM_GrepList(benchmark::State &state)
{
    const std::optional<std::string> grep = installed("grep");
    std::optional<std::vector<std::string>> command;
    if (grep)
        command = std::vector<std::string> {*grep, "-ril", query.toStdString(), workspace().toStdString()};
    runAlone(state, command, "grep is not installed");
}

} // namespace

BENCHMARK(BM_TackpadSearch)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Ripgrep)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GrepList)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();

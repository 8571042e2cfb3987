// Start-up of the whole application as a user starts it: the real `tackpad` binary on a folder of 100 or 1,000
// visible notes, from exec until every note window is mapped and the process has gone idle, beside the floor
// program (startup_floor: one frameless QTextEdit per note with the same text). Target: at most 1.3 times the
// floor's CPU and 1.2 times its resident memory. Each iteration starts both programs once; the counters are
// their CPU (user and system), resident memory once ready (and the peak), the time until ready, and the ratios.
//
// The programs need a real X server (xcb), not the offscreen platform. Under `make bench` there is no $DISPLAY and
// the benchmark starts its own Xvfb, without a window manager; `scripts/headless --x11 -- build/bench/bench_startup`
// runs it under Xvfb with openbox, as a desktop would (there the floor also pays for the window manager focusing
// each of its windows, which the notes, shown without activation, do not). TACKPAD_BINARY in the environment
// measures another build, such as the one before a change.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QStringList>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include "GeneratedMarkdown.h"
#include "SpawnQuietly.h"

#include <xcb/xcb.h>

#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

extern char **environ;

namespace {

using Clock = std::chrono::steady_clock;

// An X server for the programs: $DISPLAY's, or a private Xvfb kept for the whole run.
class XServer {
public:
    XServer()
    {
        if (!qEnvironmentVariableIsEmpty("DISPLAY"))
            return;
        int fds[2];
        if (pipe(fds) != 0)
            qFatal("cannot make a pipe");
        const std::string fd = std::to_string(fds[1]);
        std::vector<std::string> command {"Xvfb", "-displayfd", fd, "-screen", "0", "1920x1080x24", "-nolisten", "tcp"};
        std::vector<char *> argv;
        for (std::string &each : command)
            argv.push_back(each.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        if (posix_spawnp(&m_pid, "Xvfb", &actions, nullptr, argv.data(), environ) != 0)
            qFatal("no X server: set DISPLAY or install Xvfb");
        posix_spawn_file_actions_destroy(&actions);
        close(fds[1]);
        std::string display;
        char c = 0;
        while (read(fds[0], &c, 1) == 1 && c != '\n')
            display += c;
        close(fds[0]);
        if (display.empty())
            qFatal("Xvfb did not start");
        qputenv("DISPLAY", QByteArray(":") + QByteArray::fromStdString(display));
    }
    ~XServer()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            waitpid(m_pid, nullptr, 0);
        }
    }

private:
    pid_t m_pid = 0;
};

// Top-level windows of one process that are mapped, found through _NET_WM_PID (a window manager's frame holds the
// window one level down).
class MappedWindows {
public:
    MappedWindows()
        : m_connection(xcb_connect(nullptr, nullptr))
    {
        if (xcb_connection_has_error(m_connection))
            qFatal("cannot connect to the X server");
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
        const char name[] = "_NET_WM_PID";
        xcb_intern_atom_reply_t *atom
            = xcb_intern_atom_reply(m_connection, xcb_intern_atom(m_connection, 0, sizeof name - 1, name), nullptr);
        m_pidAtom = atom ? atom->atom : XCB_NONE;
        free(atom);
    }
    ~MappedWindows() { xcb_disconnect(m_connection); }

    int count(pid_t pid) { return countUnder(m_root, pid, 2); }

private:
    std::vector<xcb_window_t> children(xcb_window_t parent)
    {
        xcb_query_tree_reply_t *tree
            = xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, parent), nullptr);
        if (!tree)
            return {};
        const xcb_window_t *first = xcb_query_tree_children(tree);
        std::vector<xcb_window_t> result(first, first + xcb_query_tree_children_length(tree));
        free(tree);
        return result;
    }

    int countUnder(xcb_window_t parent, pid_t pid, int depth)
    {
        const std::vector<xcb_window_t> windows = children(parent);
        // All requests first, then the replies: one round trip for the lot.
        std::vector<xcb_get_window_attributes_cookie_t> attributes;
        std::vector<xcb_get_property_cookie_t> pids;
        for (xcb_window_t window : windows) {
            attributes.push_back(xcb_get_window_attributes(m_connection, window));
            pids.push_back(xcb_get_property(m_connection, 0, window, m_pidAtom, XCB_ATOM_CARDINAL, 0, 1));
        }
        int mapped = 0;
        std::vector<xcb_window_t> frames;
        for (size_t i = 0; i < windows.size(); ++i) {
            xcb_get_window_attributes_reply_t *a
                = xcb_get_window_attributes_reply(m_connection, attributes[i], nullptr);
            xcb_get_property_reply_t *p = xcb_get_property_reply(m_connection, pids[i], nullptr);
            const bool viewable = a && a->map_state == XCB_MAP_STATE_VIEWABLE;
            const bool hasPid = p && xcb_get_property_value_length(p) == 4;
            if (viewable && hasPid && *static_cast<const uint32_t *>(xcb_get_property_value(p)) == uint32_t(pid))
                ++mapped;
            else if (viewable && !hasPid)
                frames.push_back(windows[i]);
            free(a);
            free(p);
        }
        if (depth > 1) {
            for (xcb_window_t frame : frames)
                mapped += countUnder(frame, pid, depth - 1);
        }
        return mapped;
    }

    xcb_connection_t *m_connection;
    xcb_window_t m_root = 0;
    xcb_atom_t m_pidAtom = XCB_NONE;
};

// Notes of 200 to 2,500 characters of Markdown-like text, each at its own place on a 1920×1080 screen.
std::unique_ptr<QTemporaryDir> writeWorkspace(int count)
{
    auto dir = std::make_unique<QTemporaryDir>();
    QRandomGenerator random(20240612);
    for (int i = 0; i < count; ++i) {
        const QString body = GeneratedMarkdown::body(random, 200 + random.bounded(2300), 40);
        const QString properties = QStringLiteral("---\ntackpad: \"x%1 y%2 w270 h260 z%3 #FBF4A6 s12\"\n---\n")
                                       .arg(20 + (i * 53) % 1500)
                                       .arg(100 + (i * 31) % 600)
                                       .arg(i + 1);
        QFile file(dir->filePath(QStringLiteral("Note %1.md").arg(i)));
        if (!file.open(QIODevice::WriteOnly) || file.write((properties + body).toUtf8()) < 0)
            qFatal("cannot write the workspace");
    }
    return dir;
}

// A fresh home whose settings point at the folder, the terms accepted: the application goes straight to the notes.
std::unique_ptr<QTemporaryDir> writeHome(const QString &folder)
{
    auto home = std::make_unique<QTemporaryDir>();
    for (const char *sub : {".config/Tackpad", ".local/share", ".cache", "runtime"})
        QDir(home->path()).mkpath(QString::fromLatin1(sub));
    QFile::setPermissions(
        home->filePath(QStringLiteral("runtime")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile conf(home->filePath(QStringLiteral(".config/Tackpad/Tackpad.conf")));
    if (!conf.open(QIODevice::WriteOnly))
        qFatal("cannot write the settings");
    conf.write(QStringLiteral("[General]\nonboardingAccepted=true\nworkspaceTipShown=true\nnotesFolder=%1\n")
                   .arg(folder)
                   .toUtf8());
    return home;
}

struct Cost {
    double ready = 0; // seconds from exec until every window is mapped and the process idle
    double cpu = 0; // user and system seconds until then
    double residentMb = 0;
    double peakResidentMb = 0;
};

long long cpuTicks(pid_t pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray text = stat.readAll();
    // The fields after the command's closing parenthesis; utime and stime are the 14th and 15th of the line.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 12 ? fields.at(11).toLongLong() + fields.at(12).toLongLong() : -1;
}

double statusMb(pid_t pid, const QByteArray &key)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(key))
            return line.mid(key.size()).trimmed().split(' ').value(0).toDouble() / 1024;
    }
    return 0;
}

// Starts the program with this environment added, waits until it shows `windows` windows and its CPU time stands
// still for a second, reads its costs and kills it. (On a loaded machine a program waiting for the X server or the
// disk can stand still for 300 ms well before it is done.) It was ready when its CPU time last moved.
Cost measure(const std::vector<std::string> &command, const QStringList &environment, int windows)
{
    std::vector<std::string> env;
    for (char **each = environ; *each; ++each) {
        const QString entry = QString::fromLocal8Bit(*each);
        const QString key = entry.section(QLatin1Char('='), 0, 0) + QLatin1Char('=');
        bool replaced = false;
        for (const QString &mine : environment)
            replaced = replaced || mine.startsWith(key);
        if (!replaced)
            env.push_back(*each);
    }
    for (const QString &mine : environment)
        env.push_back(mine.toStdString());
    std::vector<char *> envp;
    for (std::string &each : env)
        envp.push_back(each.data());
    envp.push_back(nullptr);
    static MappedWindows mapped;
    const Clock::time_point start = Clock::now();
    const pid_t pid = spawnQuietly(command, envp.data());
    if (pid < 0)
        qFatal("cannot start %s", command.front().c_str());

    using namespace std::chrono_literals;
    bool allShown = false;
    long long ticks = -1;
    Clock::time_point lastChange = start;
    while (Clock::now() - start < 300s) {
        std::this_thread::sleep_for(20ms);
        if (waitpid(pid, nullptr, WNOHANG) == pid)
            qFatal("%s exited before it was ready", command.front().c_str());
        const long long now = cpuTicks(pid);
        if (now != ticks) {
            ticks = now;
            lastChange = Clock::now();
        }
        if (!allShown)
            allShown = mapped.count(pid) >= windows;
        if (allShown && Clock::now() - lastChange >= 1s)
            break;
    }
    Cost cost;
    cost.ready = std::chrono::duration<double>(lastChange - start).count();
    cost.cpu = double(ticks) / double(sysconf(_SC_CLK_TCK));
    cost.residentMb = statusMb(pid, "VmRSS:");
    cost.peakResidentMb = statusMb(pid, "VmHWM:");
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
    if (!allShown)
        qFatal("%s did not show its windows", command.front().c_str());
    return cost;
}

void BM_Startup(benchmark::State &state)
{
    static XServer server;
    const int notes = int(state.range(0));
    const std::unique_ptr<QTemporaryDir> folder = writeWorkspace(notes);
    const std::string binary = qEnvironmentVariable("TACKPAD_BINARY", QStringLiteral(TACKPAD_BINARY)).toStdString();
    std::vector<Cost> app;
    std::vector<Cost> floor;
    for (auto _ : state) {
        const std::unique_ptr<QTemporaryDir> home = writeHome(folder->path());
        const QString h = home->path();
        const QStringList environment {QStringLiteral("HOME=") + h, QStringLiteral("XDG_CONFIG_HOME=%1/.config").arg(h),
            QStringLiteral("XDG_DATA_HOME=%1/.local/share").arg(h), QStringLiteral("XDG_CACHE_HOME=%1/.cache").arg(h),
            QStringLiteral("XDG_RUNTIME_DIR=%1/runtime").arg(h), QStringLiteral("QT_QPA_PLATFORM=xcb")};
        app.push_back(measure({binary}, environment, notes));
        state.SetIterationTime(app.back().ready);
        state.PauseTiming();
        floor.push_back(measure({STARTUP_FLOOR_BINARY, folder->path().toStdString()}, environment, notes));
        state.ResumeTiming();
    }
    const auto mean = [](const std::vector<Cost> &costs, double Cost::*field) {
        double sum = 0;
        for (const Cost &cost : costs)
            sum += cost.*field;
        return sum / double(costs.size());
    };
    state.counters["cpu_s"] = mean(app, &Cost::cpu);
    state.counters["rss_MB"] = mean(app, &Cost::residentMb);
    state.counters["peak_rss_MB"] = mean(app, &Cost::peakResidentMb);
    state.counters["floor_ready_s"] = mean(floor, &Cost::ready);
    state.counters["floor_cpu_s"] = mean(floor, &Cost::cpu);
    state.counters["floor_rss_MB"] = mean(floor, &Cost::residentMb);
    state.counters["floor_peak_rss_MB"] = mean(floor, &Cost::peakResidentMb);
    state.counters["vs_floor_cpu"] = mean(app, &Cost::cpu) / mean(floor, &Cost::cpu);
    state.counters["vs_floor_rss"] = mean(app, &Cost::residentMb) / mean(floor, &Cost::residentMb);
}

} // namespace

BENCHMARK(BM_Startup)->Arg(100)->Arg(1000)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);

BENCHMARK_MAIN();

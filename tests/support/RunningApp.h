#pragma once

#include "support/XdoTool.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// The real `tackpad` binary as a user meets it, under Xvfb with openbox (scripts/headless --x11), with a home
// folder of its own: its settings file, its output (the store's and the shell's debug lines included, which say
// what the user was shown), and every process started, killed at the end if still running.
class RunningApp {
public:
    // Generous: under the sanitizers the application starts several times slower than usual.
    static constexpr int patienceMs = 60000;

    RunningApp()
    {
        for (const char *folder : {".config/Tackpad", ".local/share", ".cache", "runtime"})
            QDir(m_home.path()).mkpath(QString::fromLatin1(folder));
        QFile::setPermissions(path(u"runtime"_qs), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    ~RunningApp()
    {
        for (const auto &process : m_processes) {
            if (process->state() != QProcess::NotRunning) {
                process->kill();
                process->waitForFinished(5000);
            }
        }
    }

    QString path(const QString &relative) const { return m_home.filePath(relative); }
    QString makeFolder(const QString &name) const
    {
        QDir().mkpath(path(name));
        return path(name);
    }
    // Where QSettings keeps the application's settings under this home.
    QString settingsFile() const { return path(u".config/Tackpad/Tackpad.conf"_qs); }
    void writeSettings(const QString &ini) const { writeFile(settingsFile(), ini); }
    QString settingsText() const { return readFile(settingsFile()); }

    QProcess *start(const QStringList &arguments = {})
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(environment());
        process->setProcessChannelMode(QProcess::MergedChannels);
        QProcess *started = process.get();
        QObject::connect(started, &QProcess::readyRead, started,
            [this, started] { m_log += QString::fromUtf8(started->readAll()); });
        started->start(QStringLiteral(TACKPAD_BINARY), arguments);
        m_processes.push_back(std::move(process));
        return started;
    }

    // Waits until the application's output holds `text` (the event loop runs meanwhile, reading the output).
    bool waitForLog(const QString &text, int timeoutMs = patienceMs) const
    {
        return QTest::qWaitFor([&] { return m_log.contains(text); }, timeoutMs);
    }
    const QString &log() const { return m_log; }

    static void writeFile(const QString &path, const QString &text)
    {
        QFile file(path);
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
            file.write(text.toUtf8());
    }

    static QString readFile(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

private:
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(u"HOME"_qs, m_home.path());
        env.insert(u"XDG_CONFIG_HOME"_qs, path(u".config"_qs));
        env.insert(u"XDG_DATA_HOME"_qs, path(u".local/share"_qs));
        env.insert(u"XDG_CACHE_HOME"_qs, path(u".cache"_qs));
        env.insert(u"XDG_RUNTIME_DIR"_qs, path(u"runtime"_qs));
        env.insert(u"QT_QPA_PLATFORM"_qs, u"xcb"_qs);
        // The store says when it has taken in another program's change, the shell what it showed the user.
        env.insert(u"QT_LOGGING_RULES"_qs, u"tackpad.store.debug=true\ntackpad.app.debug=true"_qs);
        return env;
    }

    QTemporaryDir m_home;
    // Before the processes: a process's last output may still arrive while it is being stopped.
    QString m_log;
    std::vector<std::unique_ptr<QProcess>> m_processes;
};

// Whether a mapped window with exactly this title shows within the time given.
inline bool windowShows(const QString &title, int timeoutMs = RunningApp::patienceMs)
{
    const QStringList arguments {
        u"search"_qs, u"--onlyvisible"_qs, u"--name"_qs, u"^"_qs + QRegularExpression::escape(title) + u"$"_qs};
    return QTest::qWaitFor([&] { return xdotool(arguments, 10000); }, timeoutMs);
}

// Waits for a mapped window with exactly this title, activates it and waits until it has the focus. A window
// found a moment before it is mapped cannot be activated yet, so this tries again until it can. Activating goes
// through the window manager, as a user's click does; on a display without one the X server gives the focus.
inline bool activateWindow(const QString &title)
{
    const QString focus = windowManagerRunning() ? u"windowactivate"_qs : u"windowfocus"_qs;
    const QStringList arguments {u"search"_qs, u"--sync"_qs, u"--onlyvisible"_qs, u"--name"_qs,
        u"^"_qs + QRegularExpression::escape(title) + u"$"_qs, focus, u"--sync"_qs};
    return QTest::qWaitFor([&] { return xdotool(arguments); }, RunningApp::patienceMs);
}

// The title of the window that has the focus, as the window manager says.
inline QString activeWindowTitle()
{
    QProcess process;
    process.start(u"xdotool"_qs, {u"getactivewindow"_qs, u"getwindowname"_qs});
    return process.waitForFinished(10000) ? QString::fromUtf8(process.readAllStandardOutput()).trimmed() : QString();
}

// Where a process that hangs is stuck, for the failure message (gdb is on every machine this runs on).
inline QString backtraceOf(qint64 pid)
{
    QProcess gdb;
    gdb.start(u"gdb"_qs, {u"-p"_qs, QString::number(pid), u"-batch"_qs, u"-ex"_qs, u"thread apply all bt 20"_qs});
    if (!gdb.waitForFinished(60000))
        return u"(gdb did not answer)"_qs;
    return QString::fromUtf8(gdb.readAllStandardOutput());
}

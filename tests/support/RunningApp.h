#pragma once

#include "support/TextFiles.h"
#include "support/XdoTool.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

// The real `tackpad` binary as a user meets it, under Xvfb with openbox (scripts/headless --x11), with a home
// folder of its own: its output (the store's and the shell's debug lines included, which say
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

    // Empty when the process quit by itself with status 0; otherwise what went wrong.
    QString quitProblem(QProcess *process) const
    {
        if (!process->waitForFinished(patienceMs) && process->state() != QProcess::NotRunning)
            return u"Tackpad did not quit; its output:\n"_qs + m_log.right(2000);
        if (process->exitStatus() != QProcess::NormalExit || process->exitCode() != 0)
            return u"Tackpad ended with status %1; its output:\n"_qs.arg(process->exitCode()) + m_log.right(2000);
        return {};
    }

private:
    QProcessEnvironment environment() const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        const std::pair<const char *, QString> variables[]
            = {{"HOME", m_home.path()}, {"XDG_CONFIG_HOME", path(u".config"_qs)},
                {"XDG_DATA_HOME", path(u".local/share"_qs)}, {"XDG_CACHE_HOME", path(u".cache"_qs)},
                {"XDG_RUNTIME_DIR", path(u"runtime"_qs)}, {"QT_QPA_PLATFORM", u"xcb"_qs}};
        for (const auto &[name, value] : variables)
            env.insert(QString::fromLatin1(name), value);
        // The store says when it has taken in another program's change, the shell what it showed the user.
        env.insert(u"QT_LOGGING_RULES"_qs, u"tackpad.store.debug=true\ntackpad.app.debug=true"_qs);
        return env;
    }

    QTemporaryDir m_home;
    // Before the processes: a process's last output may still arrive while it is being stopped.
    QString m_log;
    std::vector<std::unique_ptr<QProcess>> m_processes;
};

// xdotool's arguments that find the mapped window of exactly this title.
inline QStringList searchWindow(const QString &title)
{
    return {u"search"_qs, u"--onlyvisible"_qs, u"--name"_qs, u"^"_qs + QRegularExpression::escape(title) + u"$"_qs};
}

// Whether a mapped window with exactly this title shows within the time given.
inline bool windowShows(const QString &title, int timeoutMs = RunningApp::patienceMs)
{
    return QTest::qWaitFor([&] { return xdotool(searchWindow(title), 10000); }, timeoutMs);
}

// Waits for a mapped window with exactly this title, activates it and waits until it has the focus. A window
// found a moment before it is mapped cannot be activated yet, so this tries again until it can. Activating goes
// through the window manager, as a user's click does; on a display without one the X server gives the focus.
inline bool activateWindow(const QString &title)
{
    const QString focus = windowManagerRunning() ? u"windowactivate"_qs : u"windowfocus"_qs;
    const QStringList arguments = searchWindow(title) << focus << u"--sync"_qs;
    return QTest::qWaitFor([&] { return xdotool(arguments); }, RunningApp::patienceMs);
}

// Types the folder into the open folder panel and waits for the file that choosing it makes. The typed path may
// first only open the folder in the panel; Return again then chooses it, only while the panel is still open (the
// key would otherwise land in a note).
inline bool chooseFolderInPanel(const QString &folder, const QString &expectedFile)
{
    const QString panel = u"Select folder for TackPad"_qs;
    if (!activateWindow(panel) || !typeText(folder) || !pressKeys(u"Return"_qs))
        return false;
    if (!QTest::qWaitFor([&] { return QFile::exists(expectedFile); }, 3000) && windowShows(panel, 0))
        pressKeys(u"Return"_qs);
    return QTest::qWaitFor([&] { return QFile::exists(expectedFile); }, RunningApp::patienceMs);
}

// The real `tackpad` binary as a user meets it, under Xvfb with openbox (scripts/headless --x11), with a home
// folder of its own: first start, new notes, typing, edits made by other programs, quitting, a second launch.
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "support/XdoTool.h"

namespace {

QString readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Generous limits: under the sanitizers the application starts several times slower than usual.
constexpr int patienceMs = 60000;

// Waits for a mapped window with exactly this title, activates it and waits until it has the focus. A window
// found a moment before it is mapped cannot be activated yet, so this tries again until it can. Activating goes
// through the window manager, as a user's click does; on a display without one the X server gives the focus.
bool activateWindow(const QString &title)
{
    const QString focus = windowManagerRunning() ? u"windowactivate"_qs : u"windowfocus"_qs;
    const QStringList arguments {u"search"_qs, u"--sync"_qs, u"--onlyvisible"_qs, u"--name"_qs,
        u"^"_qs + QRegularExpression::escape(title) + u"$"_qs, focus, u"--sync"_qs};
    return QTest::qWaitFor([&] { return xdotool(arguments); }, patienceMs);
}

// Where a process that hangs is stuck, for the failure message (gdb is on every machine this runs on).
QString backtraceOf(qint64 pid)
{
    QProcess gdb;
    gdb.start(u"gdb"_qs, {u"-p"_qs, QString::number(pid), u"-batch"_qs, u"-ex"_qs, u"thread apply all bt 20"_qs});
    if (!gdb.waitForFinished(60000))
        return u"(gdb did not answer)"_qs;
    return QString::fromUtf8(gdb.readAllStandardOutput());
}

} // namespace

class TestEndToEnd : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void firstStartTypingExternalEditsAndQuit();

private:
    QProcessEnvironment environment() const;
    QProcess *start(const QStringList &arguments);
    bool waitForLog(const QString &text, int timeoutMs = patienceMs);
    QString notes() const { return m_home->filePath(u"Notes"_qs); }
    QStringList noteFiles() const { return QDir(notes()).entryList({u"*.md"_qs}, QDir::Files, QDir::Name); }

    std::unique_ptr<QTemporaryDir> m_home;
    QList<QProcess *> m_processes;
    QString m_log;
};

void TestEndToEnd::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    for (const char *folder : {".config", ".local/share", ".cache", "runtime", "Notes"})
        QVERIFY(QDir(m_home->path()).mkpath(QString::fromLatin1(folder)));
    QFile::setPermissions(m_home->filePath(u"runtime"_qs), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    m_log.clear();
}

void TestEndToEnd::cleanup()
{
    for (QProcess *process : std::as_const(m_processes)) {
        if (process->state() != QProcess::NotRunning) {
            process->kill();
            process->waitForFinished(5000);
        }
        delete process;
    }
    m_processes.clear();
}

QProcessEnvironment TestEndToEnd::environment() const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(u"HOME"_qs, m_home->path());
    env.insert(u"XDG_CONFIG_HOME"_qs, m_home->filePath(u".config"_qs));
    env.insert(u"XDG_DATA_HOME"_qs, m_home->filePath(u".local/share"_qs));
    env.insert(u"XDG_CACHE_HOME"_qs, m_home->filePath(u".cache"_qs));
    env.insert(u"XDG_RUNTIME_DIR"_qs, m_home->filePath(u"runtime"_qs));
    env.insert(u"QT_QPA_PLATFORM"_qs, u"xcb"_qs);
    // The store says when it has taken in another program's change: the test's cue to go on typing.
    env.insert(u"QT_LOGGING_RULES"_qs, u"tackpad.store.debug=true"_qs);
    return env;
}

QProcess *TestEndToEnd::start(const QStringList &arguments)
{
    auto *process = new QProcess;
    process->setProcessEnvironment(environment());
    process->setProcessChannelMode(QProcess::MergedChannels);
    connect(process, &QProcess::readyRead, this, [this, process] { m_log += QString::fromUtf8(process->readAll()); });
    process->start(QStringLiteral(TACKPAD_BINARY), arguments);
    m_processes.append(process);
    return process;
}

bool TestEndToEnd::waitForLog(const QString &text, int timeoutMs)
{
    QDeadlineTimer deadline(timeoutMs);
    while (!m_log.contains(text) && !deadline.hasExpired())
        QTest::qWait(20); // runs the event loop, which reads the application's output
    return m_log.contains(text);
}

void TestEndToEnd::firstStartTypingExternalEditsAndQuit()
{
    QProcess *app = start({});
    QVERIFY(app->waitForStarted());

    // First start: the welcome dialog, then the folder panel.
    QVERIFY(activateWindow(u"Welcome to Tackpad"_qs));
    QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
    QVERIFY(activateWindow(u"Select folder for TackPad"_qs));
    QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, notes()}));
    QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
    // The typed folder path may first only open the folder in the panel; Return again then chooses it. Only while
    // the panel is still open: otherwise the key would land in the Welcome note.
    const QStringList panelOpen {u"search"_qs, u"--onlyvisible"_qs, u"--name"_qs, u"^Select folder for TackPad$"_qs};
    if (!QTest::qWaitFor([&] { return !noteFiles().isEmpty(); }, 3000) && xdotool(panelOpen))
        QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
    QTRY_COMPARE_WITH_TIMEOUT(noteFiles(), QStringList {u"Welcome.md"_qs}, patienceMs);
    QVERIFY(readFile(notes() + u"/Welcome.md"_qs).startsWith(u"---\ntackpad: \""_qs));
    QVERIFY(readFile(notes() + u"/Welcome.md"_qs).contains(u" w365 h365 "_qs));

    // Ctrl+N in a note makes a new note with the keyboard focus; typing reaches its file.
    QVERIFY(activateWindow(u"Welcome"_qs));
    QVERIFY(xdotool({u"key"_qs, u"ctrl+n"_qs}));
    QTRY_COMPARE_WITH_TIMEOUT(noteFiles(), (QStringList {u"New note.md"_qs, u"Welcome.md"_qs}), patienceMs);
    const QString newNote = notes() + u"/New note.md"_qs;
    QVERIFY(activateWindow(u"New note"_qs));
    QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, u"first line"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(readFile(newNote).endsWith(u"\n---\nfirst line"_qs), patienceMs);

    // Another program appends to the file; the window takes it in, and the next edit keeps both.
    {
        QFile file(newNote);
        QVERIFY(file.open(QIODevice::Append));
        file.write("\nappended elsewhere");
    }
    QVERIFY(waitForLog(u"applying an external change to New note.md"_qs));
    QVERIFY(xdotool({u"key"_qs, u"ctrl+End"_qs}));
    QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, u" and more"_qs}));
    QTRY_VERIFY_WITH_TIMEOUT(
        readFile(newNote).endsWith(u"\n---\nfirst line\nappended elsewhere and more"_qs), patienceMs);

    // A second launch asks the running instance for a new note and leaves.
    QProcess *second = start({u"--new-note"_qs});
    QVERIFY(second->waitForFinished(patienceMs));
    QCOMPARE(second->exitCode(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(noteFiles().size(), 3, patienceMs);
    // That note takes the focus when it appears; let it have it before going back to the first one.
    QVERIFY(activateWindow(u"New note (1)"_qs));

    // Quitting right after typing writes the edit that was still waiting for its save.
    QVERIFY(activateWindow(u"New note"_qs));
    QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, u"!"_qs}));
    QVERIFY(xdotool({u"key"_qs, u"ctrl+q"_qs}));
    QVERIFY2(app->waitForFinished(patienceMs) || app->state() == QProcess::NotRunning,
        qPrintable(u"Tackpad did not quit; its output:\n"_qs + m_log.right(2000) + u"\nwhere it is:\n"_qs
            + backtraceOf(app->processId())));
    QCOMPARE(app->exitStatus(), QProcess::NormalExit);
    QVERIFY2(readFile(newNote).endsWith(u"appended elsewhere and more!"_qs), qPrintable(readFile(newNote)));
}

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return 77; // needs the X server of scripts/headless --x11
    QCoreApplication app(argc, argv);
    TestEndToEnd test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_endtoend_x11.moc"

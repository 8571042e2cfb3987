// Every way a launch, a workspace switch or a recovery can go, with the real `tackpad` binary under Xvfb and openbox
// (scripts/headless --x11): the application is still running afterwards and shows what the user needs next (a note,
// a toast, an alert, the hidden-notes panel); it is reachable, takes the keyboard, and quits cleanly on a signal.
#include "support/RunningApp.h"

#include <QTest>

#include <csignal>

namespace {

const QString emptyToast = u"toast: \"This TackPad workspace contains no notes (yet)\""_qs;
const QString folderNotFound = u"alert: \"Notes folder not found\""_qs;

QString note(const QString &properties, const QString &body)
{
    return u"---\ntackpad: \"%1\"\n---\n%2"_qs.arg(properties, body);
}

// A settings file of an earlier run: the terms agreed, `open` opened last, `listed` in the Workspaces menu.
QString settingsOf(const QString &open, const QStringList &listed)
{
    return u"[General]\nonboardingAccepted=true\nworkspaceTipShown=true\nnotesFolder=%1\nworkspaces=%2\n"_qs.arg(
        QUrl::fromLocalFile(open).toString(QUrl::FullyEncoded), listed.join(u", "_qs));
}

} // namespace

class TestLaunchPaths : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_app = std::make_unique<RunningApp>();
        m_process = nullptr;
    }

    void cleanup()
    {
        if (QTest::currentTestFailed() && m_process)
            qWarning().noquote() << "Its output:\n" << m_app->log().right(3000);
        m_app.reset();
    }

    void listedWorkspaceThatIsGoneIsDroppedAtLaunch()
    {
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        RunningApp::writeFile(notes + u"/a.md"_qs, note(u"x100 y300"_qs, u"a"_qs));
        m_app->writeSettings(settingsOf(notes, {notes, m_app->path(u"Gone"_qs)}));
        launch();
        QVERIFY(windowShows(u"a"_qs));
        // Written at once, so that a launch that failed later would not meet the folder again.
        QTRY_VERIFY_WITH_TIMEOUT(!m_app->settingsText().contains(u"Gone"_qs), RunningApp::patienceMs);
        expectRunning();
    }

    void emptyWorkspaceSaysSoAndShowsAWayIn()
    {
        const QString empty = m_app->makeFolder(u"Empty"_qs);
        m_app->writeSettings(settingsOf(empty, {empty}));
        launch();
        QVERIFY(m_app->waitForLog(emptyToast));
        // No tray on this display: with no note, the hidden-notes panel (with the menus) is what the user can use.
        QVERIFY(windowShows(u"Hidden Notes"_qs));
        expectRunning();
    }

    // A settings file edited by hand or left by another version: wrong kinds of values, numbers that are none, more
    // workspaces than there are keys for. What can be used is; the rest reads as unset.
    void handWrittenSettingsFile()
    {
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        RunningApp::writeFile(notes + u"/a.md"_qs, note(u"x100 y300"_qs, u"a"_qs));
        QStringList listed {u"relative/folder"_qs, notes};
        for (int i = 1; i <= 10; ++i)
            listed << m_app->makeFolder(u"W%1"_qs.arg(i));
        m_app->writeSettings(u"[General]\nonboardingAccepted=yes\nnotesFolder=%1\nworkspaces=%2\n"
                             "usePreviousNoteSettings=0\nfixedNoteWidth=1e999\nfixedNoteHeight=tall\n"
                             "fixedNoteFontSize=nan\nfixedNoteColor=@Rect(1 2 3 4)\nreopenLastWorkspace=a, b\n"
                             "darkMode=@Variant(\\0\\0\\0\\x7f\\0\\0\\0\\x1bgarbage)\nmenuBarMode=perhaps\n"_qs.arg(
                                 notes, listed.join(u", "_qs)));
        launch();
        QVERIFY(activateWindow(u"a"_qs));
        QVERIFY(xdotool({u"key"_qs, u"ctrl+n"_qs}));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(notes + u"/New note.md"_qs), RunningApp::patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(
            RunningApp::readFile(notes + u"/New note.md"_qs).contains(u" w270 h260 "_qs), RunningApp::patienceMs);
        // Ten workspaces kept, the relative one dropped: Ctrl+0 is the ninth folder made above.
        QVERIFY(activateWindow(u"New note"_qs));
        QVERIFY(xdotool({u"key"_qs, u"ctrl+0"_qs}));
        QTRY_VERIFY_WITH_TIMEOUT(
            m_app->settingsText().contains(u"notesFolder=file://%1\n"_qs.arg(m_app->path(u"W9"_qs))),
            RunningApp::patienceMs);
        expectRunning();
    }

    void switchingToAnEmptyFolder()
    {
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        const QString empty = m_app->makeFolder(u"Empty"_qs);
        RunningApp::writeFile(notes + u"/a.md"_qs, note(u"x100 y300"_qs, u"a"_qs));
        m_app->writeSettings(settingsOf(notes, {notes, empty}));
        launch();
        QVERIFY(activateWindow(u"a"_qs));
        QVERIFY(xdotool({u"key"_qs, u"ctrl+2"_qs}));
        QVERIFY(m_app->waitForLog(emptyToast));
        QVERIFY(windowShows(u"Hidden Notes"_qs));
        expectRunning();
    }

    // The open folder goes; another listed one takes over, and its own message waits until the alert is answered.
    void openFolderDeletedSwitchesToTheNextWorkspace()
    {
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        const QString empty = m_app->makeFolder(u"Empty"_qs);
        RunningApp::writeFile(notes + u"/a.md"_qs, note(u"x100 y300"_qs, u"a"_qs));
        m_app->writeSettings(settingsOf(notes, {notes, empty}));
        launch();
        QVERIFY(windowShows(u"a"_qs));
        QVERIFY(QDir(notes).removeRecursively());
        QVERIFY(m_app->waitForLog(folderNotFound));
        QVERIFY(windowShows(u"Tackpad"_qs));
        QVERIFY(!m_app->log().contains(emptyToast));
        QVERIFY(activateWindow(u"Tackpad"_qs));
        QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
        QVERIFY(m_app->waitForLog(emptyToast));
        QTRY_VERIFY_WITH_TIMEOUT(
            m_app->settingsText().contains(u"notesFolder=file://"_qs + empty + u"\n"_qs), RunningApp::patienceMs);
        expectRunning();
    }

    void openFolderDeletedAndAnotherChosen()
    {
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        const QString fresh = m_app->makeFolder(u"Fresh"_qs);
        RunningApp::writeFile(notes + u"/a.md"_qs, note(u"x100 y300"_qs, u"a"_qs));
        m_app->writeSettings(settingsOf(notes, {notes}));
        launch();
        QVERIFY(windowShows(u"a"_qs));
        QVERIFY(QDir(notes).removeRecursively());
        QVERIFY(m_app->waitForLog(folderNotFound));
        // "Choose Folder…" is the default button.
        QVERIFY(activateWindow(u"Tackpad"_qs));
        QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
        chooseFolderInPanel(fresh, fresh + u"/Welcome.md"_qs);
        QVERIFY(windowShows(u"Welcome"_qs));
        expectRunning();
    }

    void quitSignalWhileAnAlertIsOpenKeepsTheFolder()
    {
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        RunningApp::writeFile(notes + u"/a.md"_qs, note(u"x100 y300"_qs, u"a"_qs));
        m_app->writeSettings(settingsOf(notes, {notes}));
        launch();
        QVERIFY(windowShows(u"a"_qs));
        QVERIFY(QDir(notes).removeRecursively());
        QVERIFY(m_app->waitForLog(folderNotFound));
        QVERIFY(windowShows(u"Tackpad"_qs));
        m_process->terminate();
        expectCleanExit();
        // The alert was not answered: the folder is still the one to look for next time.
        QVERIFY(m_app->settingsText().contains(u"notesFolder="_qs));
    }

    void quitSignalsWriteEditsAlsoFromADialog_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGINT") << SIGINT;
        QTest::newRow("SIGHUP") << SIGHUP;
    }

    void quitSignalsWriteEditsAlsoFromADialog()
    {
        QFETCH(int, signal);
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        RunningApp::writeFile(notes + u"/a.md"_qs, note(u"x100 y300"_qs, u"a"_qs));
        m_app->writeSettings(settingsOf(notes, {notes}));
        launch();
        QVERIFY(activateWindow(u"a"_qs));
        QVERIFY(xdotool({u"key"_qs, u"ctrl+End"_qs}));
        QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, u" typed"_qs}));
        // The import panel is modal; the edit is still waiting for its save.
        QVERIFY(xdotool({u"key"_qs, u"ctrl+o"_qs}));
        QVERIFY(windowShows(u"Import Markdown Files"_qs));
        QCOMPARE(::kill(pid_t(m_process->processId()), signal), 0);
        expectCleanExit();
        QVERIFY2(RunningApp::readFile(notes + u"/a.md"_qs).endsWith(u"a typed"_qs),
            qPrintable(RunningApp::readFile(notes + u"/a.md"_qs)));
    }

    // Until the terms are agreed nothing is created and nothing written, whatever asks for a note.
    void nothingHappensBeforeTheTermsAreAgreed()
    {
        launch();
        QVERIFY(activateWindow(u"Welcome to Tackpad"_qs));
        QVERIFY(xdotool({u"key"_qs, u"ctrl+alt+bracketleft"_qs}));
        QProcess *second = m_app->start({u"--new-note"_qs});
        QVERIFY(second->waitForFinished(RunningApp::patienceMs));
        QVERIFY(!windowShows(u"Select folder for TackPad"_qs, 2000));
        // Quit is the dialog's Escape; were a folder panel open over it, Escape would close that instead.
        QVERIFY(activateWindow(u"Welcome to Tackpad"_qs));
        QVERIFY(xdotool({u"key"_qs, u"Escape"_qs}));
        expectCleanExit();
        const QString settings = m_app->settingsText();
        for (const QString &key : {u"notesFolder"_qs, u"workspaces"_qs, u"onboardingAccepted"_qs})
            QVERIFY2(!settings.contains(key), qPrintable(settings));
    }

    // With every note hidden, launching Tackpad again opens the hidden-notes panel, which does what a note does.
    void launchingAgainWithEveryNoteHidden()
    {
        const QString notes = m_app->makeFolder(u"Notes"_qs);
        RunningApp::writeFile(notes + u"/a.md"_qs, note(u"x100 y300 hidden"_qs, u"a"_qs));
        m_app->writeSettings(settingsOf(notes, {notes}));
        launch();
        QVERIFY(m_app->waitForLog(u"toast: \"All notes in this workspace are hidden"_qs));
        QVERIFY(activateWindow(u"Hidden Notes"_qs));
        QVERIFY(xdotool({u"key"_qs, u"Escape"_qs}));
        QTRY_VERIFY_WITH_TIMEOUT(!windowShows(u"Hidden Notes"_qs, 0), RunningApp::patienceMs);

        QProcess *second = m_app->start();
        QVERIFY(second->waitForFinished(RunningApp::patienceMs));
        QVERIFY(activateWindow(u"Hidden Notes"_qs));
        QVERIFY(xdotool({u"key"_qs, u"ctrl+n"_qs}));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(notes + u"/New note.md"_qs), RunningApp::patienceMs);
        expectRunning();
    }

    // The front note has the keyboard after a launch and after each switch, without a click.
    void keyboardWorksAtOnce()
    {
        const QString one = m_app->makeFolder(u"One"_qs);
        const QString two = m_app->makeFolder(u"Two"_qs);
        RunningApp::writeFile(one + u"/a.md"_qs, note(u"x100 y300 z1"_qs, u"a"_qs));
        RunningApp::writeFile(one + u"/front.md"_qs, note(u"x200 y300 z5"_qs, u"front"_qs));
        RunningApp::writeFile(two + u"/b.md"_qs, note(u"x400 y300"_qs, u"b"_qs));
        m_app->writeSettings(settingsOf(one, {one, two}));
        launch();
        QTRY_COMPARE_WITH_TIMEOUT(activeWindowTitle(), u"front"_qs, RunningApp::patienceMs);
        QVERIFY(xdotool({u"key"_qs, u"ctrl+2"_qs}));
        QTRY_COMPARE_WITH_TIMEOUT(activeWindowTitle(), u"b"_qs, RunningApp::patienceMs);
        QVERIFY(xdotool({u"key"_qs, u"ctrl+1"_qs}));
        QTRY_COMPARE_WITH_TIMEOUT(activeWindowTitle(), u"front"_qs, RunningApp::patienceMs);
        QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, u"!"_qs}));
        QTRY_VERIFY_WITH_TIMEOUT(RunningApp::readFile(one + u"/front.md"_qs).contains(u"!"_qs), RunningApp::patienceMs);
    }

private:
    void launch()
    {
        m_process = m_app->start();
        QVERIFY(m_process->waitForStarted());
    }

    void expectRunning()
    {
        QVERIFY2(m_process->state() == QProcess::Running,
            qPrintable(u"Tackpad ended with status %1"_qs.arg(m_process->exitCode())));
    }

    void expectCleanExit()
    {
        QVERIFY2(m_process->waitForFinished(RunningApp::patienceMs) || m_process->state() == QProcess::NotRunning,
            qPrintable(u"Tackpad did not quit; where it is:\n"_qs + backtraceOf(m_process->processId())));
        QCOMPARE(m_process->exitStatus(), QProcess::NormalExit);
        QCOMPARE(m_process->exitCode(), 0);
    }

    // Types the folder into the open panel and waits for the file that choosing it makes. The typed path may first
    // only open the folder in the panel; Return again then chooses it, only while the panel is still open (the key
    // would otherwise land in a note).
    void chooseFolderInPanel(const QString &folder, const QString &expectedFile)
    {
        QVERIFY(activateWindow(u"Select folder for TackPad"_qs));
        QVERIFY(xdotool({u"type"_qs, u"--delay"_qs, u"20"_qs, folder}));
        QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
        if (!QTest::qWaitFor([&] { return QFile::exists(expectedFile); }, 3000)
            && windowShows(u"Select folder for TackPad"_qs, 0))
            QVERIFY(xdotool({u"key"_qs, u"Return"_qs}));
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(expectedFile), RunningApp::patienceMs);
    }

    std::unique_ptr<RunningApp> m_app;
    QProcess *m_process = nullptr;
};

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        return 77; // needs the X server of scripts/headless --x11
    QCoreApplication app(argc, argv);
    TestLaunchPaths test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_launchpaths_x11.moc"

#include "app/AppMenus.h"
#include "app/WorkspaceSession.h"
#include "store/NoteFiles.h"
#include "support/StoreTestSupport.h"

#include <QApplication>
#include <QKeySequence>
#include <QStandardPaths>

using namespace StoreTest;

namespace {

// Answers every dialog of the application from a script and records what the user would have seen.
struct Script : ScriptedAlertPresenter {
    QStringList folders; // answers of the folder panel, in order; cancel when empty
    bool agreeToOnboarding = true;
    int onboardingShown = 0;
    int folderPanels = 0;
    int quits = 0;
    QStringList toasts;
    // Runs while the folder panel is open, as a hot key press or a second launch would.
    std::function<void()> whileChoosingFolder;

    WorkspaceSession::Services services()
    {
        WorkspaceSession::Services s;
        s.alerts = this;
        s.chooseFolder = [this]() -> std::optional<QString> {
            ++folderPanels;
            if (whileChoosingFolder)
                whileChoosingFolder();
            return folders.isEmpty() ? std::nullopt : std::optional(folders.takeFirst());
        };
        s.runOnboarding = [this] { return ++onboardingShown, agreeToOnboarding; };
        s.quit = [this] { ++quits; };
        s.toast = [this](const QString &text, double) { toasts.append(text); };
        return s;
    }
};

const QString emptyToast = u"This TackPad workspace contains no notes (yet)"_qs;
const QString twoWorkspacesTip = u"You now have two workspaces"_qs;

} // namespace

class TestWorkspaceSession : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init()
    {
        m_root = std::make_unique<QTemporaryDir>();
        m_script = {};
        settings().setValue(SettingsKey::globalNewNoteHotKey, false);
    }

    void cleanup()
    {
        m_menus.reset();
        m_app.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void refusedFirstStartQuits_data()
    {
        QTest::addColumn<bool>("agree");
        QTest::addColumn<int>("folderPanels");
        QTest::newRow("onboarding refused: no folder asked") << false << 0;
        QTest::newRow("first folder prompt cancelled") << true << 1;
    }

    void refusedFirstStartQuits()
    {
        QFETCH(bool, agree);
        QFETCH(int, folderPanels);
        m_script.agreeToOnboarding = agree;
        QVERIFY(!launch());
        QCOMPARE(m_script.onboardingShown, 1);
        QCOMPARE(m_script.folderPanels, folderPanels);
        QCOMPARE(m_script.quits, 1);
        QCOMPARE(settings().boolValue(SettingsKey::onboardingAccepted), agree);
    }

    void firstStartInAnEmptyFolderMakesOneWelcomeNote()
    {
        const QString folder = makeFolder(u"Notes"_qs);
        m_script.folders = {folder};
        QVERIFY(launch());
        QTRY_COMPARE(m_app->store()->controllerCount(), 1);
        QCOMPARE(QDir(folder).entryList(QDir::Files), QStringList {u"Welcome.md"_qs});
        // The shortcuts it names are this platform's.
        const QString newKey = QKeySequence(Qt::CTRL | Qt::Key_N).toString(QKeySequence::NativeText);
        QVERIFY(readFile(folder + u"/Welcome.md"_qs).contains(u"- %1 makes a new note"_qs.arg(newKey)));
        QVERIFY(m_script.toasts.isEmpty());
        QCOMPARE(settings().urlValue(SettingsKey::notesFolder)->toLocalFile(), folder);
        QCOMPARE(m_app->workspaces().paths(), QStringList {folder});
    }

    void allHiddenNotesGetTheHiddenToastOnly()
    {
        const QString folder = makeFolder(u"Hidden"_qs);
        writeInPlace(folder + u"/a.md"_qs, noteText(u"hidden"_qs, u"a"_qs));
        writeInPlace(folder + u"/plain.md"_qs, "just markdown");
        m_script.folders = {folder};
        QVERIFY(launch());
        QTRY_COMPARE(m_script.toasts.size(), 1);
        QVERIFY(m_script.toasts[0].startsWith(u"All notes in this workspace are hidden – press "_qs));
        QVERIFY(m_script.shown.isEmpty()); // no import offer
        QCOMPARE(m_app->store()->controllerCount(), 1);
    }

    void filesThatCannotBeShownAreToldOnce()
    {
        const QString folder = makeFolder(u"Skipped"_qs);
        writeInPlace(folder + u"/a.md"_qs, noteText(u"x1"_qs, u"a"_qs));
        writeInPlace(folder + u"/Big.md"_qs, noteText(u"x2"_qs, {}) + QByteArray(NoteFiles::maxNoteFileSize, 'x'));
        writeInPlace(folder + u"/Bad.md"_qs, noteText(u"x3"_qs, {}) + "bad \xff bytes");
        m_script.folders = {folder};
        QVERIFY(launch());
        QTRY_COMPARE(m_script.toasts,
            QStringList {
                u"2 files are not shown (unreadable, not UTF-8 text, or larger than 4 MB): “Bad.md”, “Big.md”"_qs});
        QCOMPARE(m_app->store()->controllerCount(), 1);

        // Still unusable: nothing new to tell. Usable again and then broken once more: told again.
        m_app->store()->rescan();
        writeInPlace(folder + u"/Bad.md"_qs, noteText(u"x3"_qs, u"fixed"_qs));
        QTRY_COMPARE(m_app->store()->controllerCount(), 2);
        QCOMPARE(m_script.toasts.size(), 1);
        writeInPlace(folder + u"/Bad.md"_qs, noteText(u"x3"_qs, {}) + "broken \xc3");
        QTRY_COMPARE(m_script.toasts.size(), 2);
        QCOMPARE(m_script.toasts.last(), u"“Bad.md” is not shown: not valid UTF-8 text"_qs);
        QCOMPARE(m_app->store()->controllerCount(), 2); // the note keeps its window, as for any unreadable file
    }

    void importOffer_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<int>("notesAfter");
        QTest::newRow("declined: remembered, then the empty toast") << 0 << 0;
        QTest::newRow("accepted: every file adopted") << 1 << 2;
    }

    void importOffer()
    {
        QFETCH(int, answer);
        QFETCH(int, notesAfter);
        const QString folder = makeFolder(u"Docs"_qs);
        writeInPlace(folder + u"/one.md"_qs, "# One\n");
        writeInPlace(folder + u"/two.md"_qs, "# Two\n");
        alreadyUsing(folder);
        m_script.answers = {answer};
        QVERIFY(launch());
        QTRY_COMPARE(m_script.shown.size(), 1);
        QCOMPARE(m_script.shown[0].message, u"Import existing Markdown files?"_qs);
        QCOMPARE(m_script.shown[0].buttons, (QStringList {u"Don't Import"_qs, u"Import"_qs}));
        QTRY_COMPARE(m_app->store()->controllerCount(), notesAfter);
        if (answer == 1) {
            QVERIFY(readFile(folder + u"/one.md"_qs).contains(u" adopt\"\n---\n# One\n"_qs));
            return;
        }
        // Declined: the folder stays without notes, which the toast says; no welcome note outside a first start.
        QCOMPARE(m_script.toasts, QStringList {emptyToast});
        QVERIFY(m_app->workspaces().importOfferDeclined(folder));
        // Outside a first start an empty folder only gets the toast: no welcome note, no import offer.
        m_app->switchToWorkspacePath(makeFolder(u"Empty"_qs));
        QTRY_COMPARE(m_script.toasts, (QStringList {emptyToast, emptyToast}));
        QCOMPARE(m_app->store()->controllerCount(), 0);
        // Coming back makes no second offer; a second and a third workspace bring the tip, once.
        m_app->switchToWorkspacePath(folder);
        m_app->switchToWorkspacePath(makeFolder(u"Third"_qs));
        QCoreApplication::processEvents();
        QCOMPARE(m_script.shown.size(), 1 + 1);
        QCOMPARE(m_script.shown[1].message, twoWorkspacesTip);
        QVERIFY(settings().boolValue(SettingsKey::workspaceTipShown));
    }

    void startupWorkspaceThatIsGoneFallsBackToTheLastFolder()
    {
        const QString last = makeFolder(u"Last"_qs, true);
        alreadyUsing(last);
        settings().setValue(SettingsKey::reopenLastWorkspace, false);
        settings().setValue(SettingsKey::startupWorkspace, m_root->filePath(u"Deleted"_qs));
        QVERIFY(launch());
        QCOMPARE(m_app->store()->folder(), last);
        QCOMPARE(m_script.folderPanels, 0);
    }

    void vanishedFolderSwitchesToAnotherWorkspace()
    {
        const QString a = makeFolder(u"Alpha"_qs);
        const QString b = makeFolder(u"Beta"_qs, true);
        alreadyUsing(a);
        settings().setValue(SettingsKey::workspaceTipShown, true);
        settings().setValue(SettingsKey::workspaces, QStringList {a, b});
        QVERIFY(launch());
        vanish(a);
        QTRY_VERIFY(m_app->store() && m_app->store()->folder() == b);
        QCOMPARE(m_script.shown.size(), 1);
        QCOMPARE(m_script.shown[0].message, u"Notes folder not found"_qs);
        QCOMPARE(m_script.shown[0].informativeText,
            u"The folder TackPad was using has been moved or deleted, so I've switched to your “Beta” workspace."_qs);
        QCOMPARE(m_app->workspaces().paths(), QStringList {b});
        QCOMPARE(settings().urlValue(SettingsKey::notesFolder)->toLocalFile(), b);
    }

    void vanishedFolderWithoutAlternativeAsksOrQuits_data()
    {
        QTest::addColumn<int>("answer");
        QTest::newRow("Choose Folder… opens the chosen folder") << 0;
        QTest::newRow("Quit TackPad forgets the folder and quits") << 1;
    }

    void vanishedFolderWithoutAlternativeAsksOrQuits()
    {
        QFETCH(int, answer);
        const QString only = makeFolder(u"Only"_qs);
        const QString fresh = makeFolder(u"Fresh"_qs);
        alreadyUsing(only);
        QVERIFY(launch());
        m_script.answers = {answer};
        m_script.folders = {fresh};
        vanish(only);
        QTRY_COMPARE(m_script.shown.size(), 1);
        QCOMPARE(m_script.shown[0].buttons, (QStringList {u"Choose Folder…"_qs, u"Quit TackPad"_qs}));
        QCOMPARE(m_script.quits, answer);
        if (answer == 0) {
            QCOMPARE(m_app->store()->folder(), fresh);
            QTRY_VERIFY(m_app->store()->controller(u"Welcome.md"_qs)); // chosen from here, the welcome note may come
        } else {
            QVERIFY(!m_app->store());
            QVERIFY(!settings().contains(SettingsKey::notesFolder));
        }
    }

    void switchingToADeletedWorkspaceRemovesIt()
    {
        const QString a = makeFolder(u"A"_qs, true);
        const QString gone = m_root->filePath(u"Gone"_qs);
        alreadyUsing(a);
        QVERIFY(launch());
        m_app->workspaces().setPaths({a, gone});
        m_app->switchToWorkspacePath(a); // the open one: nothing happens
        QVERIFY(m_script.shown.isEmpty());
        m_app->switchToWorkspacePath(gone);
        QCOMPARE(m_script.shown.size(), 1);
        QCOMPARE(m_script.shown[0].message, u"Workspace removed"_qs);
        QCOMPARE(m_app->workspaces().paths(), QStringList {a});
        QCOMPARE(m_app->store()->folder(), a);
    }

    // A hot key press or another launch while the first folder panel is open: no second panel over it.
    void nothingElseAsksWhileTheFolderPanelIsOpen()
    {
        m_script.folders = {makeFolder(u"Notes"_qs)};
        m_script.whileChoosingFolder = [this] {
            m_app->newNote();
            QVERIFY(!m_app->reopen());
        };
        QVERIFY(launch());
        QCOMPARE(m_script.folderPanels, 1);
        QTRY_VERIFY(m_app->store()->controller(u"Welcome.md"_qs));
        QCOMPARE(m_app->store()->controllerCount(), 1);
    }

private:
    QString makeFolder(const QString &name, bool withNote = false)
    {
        const QString path = m_root->filePath(name);
        QDir().mkpath(path);
        if (withNote)
            writeInPlace(path + u"/n.md"_qs, noteText(u"x1"_qs, u"old"_qs));
        return path;
    }

    // Onboarding done and this folder chosen on an earlier run.
    void alreadyUsing(const QString &folder)
    {
        settings().setValue(SettingsKey::onboardingAccepted, true);
        settings().setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(folder));
    }

    // The open folder disappears after the checks that follow its opening; the watcher would rescan, and the store
    // reports the missing folder on a later turn.
    void vanish(const QString &folder)
    {
        QCoreApplication::processEvents();
        QVERIFY(QDir(folder).removeRecursively());
        m_app->store()->rescan();
    }

    bool launch()
    {
        m_menus.reset(); // like a real restart, the previous run is gone before the next starts
        m_app.reset();
        m_app = std::make_unique<WorkspaceSession>(settings(), m_script.services());
        // The menus follow every opening, switch and recovery, as in the application.
        m_menus = std::make_unique<AppMenus>(*m_app);
        return m_app->launch();
    }
    Settings settings() const { return Settings(m_root->filePath(u"s.ini"_qs)); }

    std::unique_ptr<QTemporaryDir> m_root;
    Script m_script;
    std::unique_ptr<WorkspaceSession> m_app;
    std::unique_ptr<AppMenus> m_menus;
};

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    TestWorkspaceSession test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_workspacesession.moc"

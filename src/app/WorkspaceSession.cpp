#include "app/WorkspaceSession.h"

#include "core/Alerts.h"
#include "platform/GlobalHotKey.h"
#include "store/NoteController.h"
#include "store/NoteFiles.h"
#include "store/NoteStore.h"
#include "store/RecoveryFolder.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QKeySequence>
#include <QTimer>
#include <QUrl>

#include <algorithm>

// Counts the questions the session is waiting on; when the last one is answered, what waited for it runs.
class WorkspaceSession::AskingScope {
public:
    explicit AskingScope(WorkspaceSession &app)
        : m_app(app)
    {
        ++m_app.m_askingDepth;
    }
    ~AskingScope()
    {
        if (--m_app.m_askingDepth == 0 && !m_app.m_afterAsking.empty())
            QTimer::singleShot(0, &m_app, &WorkspaceSession::runAfterAsking);
    }
    AskingScope(const AskingScope &) = delete;
    AskingScope &operator=(const AskingScope &) = delete;

private:
    WorkspaceSession &m_app;
};

WorkspaceSession::WorkspaceSession(Settings settings, Services services, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_services(std::move(services))
    , m_workspaces(settings)
{
    connect(&m_workspaces, &WorkspaceList::changed, this, [this] {
        restartWorkspaceWatcher();
        Q_EMIT workspacesChanged();
    });
    connect(
        &m_workspaceWatcher, &WorkspaceWatcher::pruneRequested, this, [this] { m_workspaces.pruneDeadWorkspaces(); });
    m_noteWindows.environment().alerts = m_services.alerts;
}

WorkspaceSession::~WorkspaceSession()
{
    prepareToQuit();
}

QString WorkspaceSession::skippedFilesToastText(const QList<std::pair<QString, QString>> &skipped)
{
    if (skipped.size() == 1)
        return QCoreApplication::translate("WorkspaceSession", "“%1” is not shown: %2")
            .arg(skipped.front().first, skipped.front().second);
    // The quotes are the translation's, as in the one-file sentence above: they follow the language of the text
    // round them, which the locale's own quotes would not when the two differ (LANGUAGE=de with LANG=en_US).
    QStringList names;
    for (qsizetype i = 0; i < std::min<qsizetype>(skipped.size(), 3); ++i)
        names << QCoreApplication::translate("WorkspaceSession", "“%1”", "a file name in a list")
                     .arg(skipped.at(i).first);
    if (skipped.size() > 3)
        names << QStringLiteral("…");
    return QCoreApplication::translate("WorkspaceSession",
        "%n files are not shown (unreadable, not UTF-8 text, or larger than %1 MB): %2", nullptr, int(skipped.size()))
        .arg(NoteFiles::maxNoteFileSize / (1024 * 1024))
        .arg(names.join(QStringLiteral(", ")));
}

QString WorkspaceSession::saveFailedToastText(const QString &filename, const QString &error)
{
    return QCoreApplication::translate(
        "WorkspaceSession", "Could not save “%1”: %2 – the text stays in the note and is saved with your next change")
        .arg(filename, error);
}

int WorkspaceSession::ask(const Alert &alert)
{
    if (m_quitRequested || !m_services.alerts)
        return -1;
    AskingScope asking(*this);
    return m_services.alerts->show(alert);
}

std::optional<QString> WorkspaceSession::chooseFolder()
{
    if (m_quitRequested || !m_services.chooseFolder)
        return std::nullopt;
    AskingScope asking(*this);
    std::optional<QString> chosen = m_services.chooseFolder();
    // A panel closed by a quit signal answers like a cancelled one; neither is a choice.
    if (m_quitRequested || !chosen || chosen->isEmpty())
        return std::nullopt;
    return chosen;
}

bool WorkspaceSession::runOnboarding()
{
    if (!m_services.runOnboarding)
        return false;
    AskingScope asking(*this);
    const bool agreed = m_services.runOnboarding();
    return agreed && !m_quitRequested;
}

void WorkspaceSession::toast(const QString &text, double seconds)
{
    if (m_services.toast)
        m_services.toast(text, seconds);
}

void WorkspaceSession::requestQuit()
{
    m_quitRequested = true;
    if (m_services.quit)
        m_services.quit();
}

bool WorkspaceSession::launch()
{
    Settings::registerDefaults();
    applyGlobalHotKey();

    if (!m_settings.boolValue(SettingsKey::onboardingAccepted)) {
        if (!runOnboarding()) {
            requestQuit();
            return false;
        }
        m_settings.setValue(SettingsKey::onboardingAccepted, true);
    }

    // Written at once: whatever goes wrong later in this launch, the next one starts from a list without the
    // folders that are gone.
    m_workspaces.pruneDeadWorkspaces();
    m_settings.sync();
    restartWorkspaceWatcher();
    RecoveryFolder::takeOverOldFolder();

    std::optional<QString> candidate;
    if (const auto url = m_settings.urlValue(SettingsKey::notesFolder); url && url->isLocalFile())
        candidate = url->toLocalFile();
    if (!m_settings.boolValue(SettingsKey::reopenLastWorkspace)) {
        if (const auto startup = m_settings.stringValue(SettingsKey::startupWorkspace);
            startup && !startup->isEmpty() && QFileInfo(*startup).isDir())
            candidate = *startup;
    }
    if (candidate && QFileInfo(*candidate).isDir())
        startStore(*candidate, false);
    else
        promptForFolder(true, true);
    return !m_quitRequested;
}

void WorkspaceSession::prepareToQuit()
{
    if (m_store) {
        m_store->flushAllSaves();
        m_store->keepUnsavedCopies();
    }
    m_workspaceWatcher.stop();
}

void WorkspaceSession::terminate()
{
    m_quitRequested = true;
    prepareToQuit();
    m_settings.sync();
}

void WorkspaceSession::applyGlobalHotKey()
{
    if (!m_settings.boolValue(SettingsKey::globalNewNoteHotKey)) {
        if (m_hotKey)
            m_hotKey->unregisterHotKey();
        return;
    }
    if (GlobalHotKey *key = hotKey())
        key->registerHotKey();
}

GlobalHotKey *WorkspaceSession::hotKey()
{
    // Made at the first need, also while the option is off: the settings dialog asks it what it would do.
    if (!m_hotKey) {
        m_hotKey = GlobalHotKey::create(this);
        if (!m_hotKey)
            return nullptr;
        // The press is queued by the hot key itself, so the note is made outside the native event handler.
        connect(m_hotKey.get(), &GlobalHotKey::pressed, this, &WorkspaceSession::newNote);
    }
    return m_hotKey.get();
}

void WorkspaceSession::refreshNoteAppearance()
{
    if (!m_store)
        return;
    for (NoteController *controller : m_store->controllers())
        controller->applyAppearance();
}

void WorkspaceSession::restartWorkspaceWatcher()
{
    m_workspaceWatcher.restart(m_workspaces.paths());
}

// --- Opening a workspace

void WorkspaceSession::startStore(const QString &folder, bool welcomeCapable)
{
    if (m_store) {
        m_store->shutdown();
        // Deleting it later lets a caller that is inside one of its callbacks return safely.
        m_store.release()->deleteLater();
    }
    const QString path = WorkspaceList::standardisedPath(folder);
    m_store = std::make_unique<NoteStore>(path, m_settings);
    NoteStore *store = m_store.get();
    store->setAlertPresenter(m_services.alerts);
    m_noteWindows.attach(*store);
    connect(store, &NoteStore::folderMissing, this, &WorkspaceSession::handleMissingFolder);
    connect(store, &NoteStore::notesChanged, this, &WorkspaceSession::notesChanged);
    connect(store, &NoteStore::saveFailed, this, [this](const QString &filename, const QString &error) {
        toast(saveFailedToastText(filename, error), skippedFilesToastSeconds);
    });
    connect(store, &NoteStore::fileSkipped, this,
        [this, store](const QString &filename, const QString &reason) { fileSkipped(store, filename, reason); });
    connect(store, &NoteStore::conflictKept, this, [this](const QString &filename, const QString &conflict) {
        toast(QCoreApplication::translate(
                  "WorkspaceSession", "“%1” was also changed elsewhere; that version is kept as the note “%2”")
                  .arg(QFileInfo(filename).completeBaseName(), QFileInfo(conflict).completeBaseName()),
            skippedFilesToastSeconds);
    });
    connect(
        store, &NoteStore::textRecovered, this, [this](const QString &filename, const QString &, const QString &why) {
            toast(QCoreApplication::translate("WorkspaceSession",
                      "“%1” %2; its text is kept in Recovered Notes (Window → Show Recovered Notes)")
                      .arg(QFileInfo(filename).completeBaseName(), why),
                skippedFilesToastSeconds);
        });

    store->rescan();
    store->startWatching();
    orderWindowsByZ();
    activateTopNote();
    Q_EMIT storeChanged(store);
    Q_EMIT notesChanged(store);

    if (m_workspaces.noteWorkspaceOpened(path) == WorkspaceList::Opened::AddedSecond)
        showWorkspaceTipOnce();

    // The checks wait for an open question too (the alert that says why this folder was opened, say): their
    // toast and alerts belong after it, not over it.
    QPointer<NoteStore> weakStore(store);
    QTimer::singleShot(0, this, [this, weakStore, welcomeCapable] {
        whenNotAsking([this, weakStore, welcomeCapable] {
            if (weakStore && weakStore == m_store.get())
                postOpenChecks(weakStore, welcomeCapable);
        });
    });
}

void WorkspaceSession::whenNotAsking(std::function<void()> work)
{
    if (isAsking())
        m_afterAsking.push_back(std::move(work));
    else
        work();
}

void WorkspaceSession::runAfterAsking()
{
    if (isAsking())
        return; // another question opened meanwhile; its end runs them
    const std::vector<std::function<void()>> waiting = std::exchange(m_afterAsking, {});
    for (const auto &work : waiting)
        whenNotAsking(work);
}

void WorkspaceSession::fileSkipped(NoteStore *store, const QString &filename, const QString &reason)
{
    // A note the user expects and does not see needs a word; the files of one scan are told together, after it.
    if (m_skippedFiles.isEmpty()) {
        QPointer<NoteStore> weakStore(store);
        QTimer::singleShot(0, this, [this, weakStore] {
            if (weakStore && weakStore == m_store.get())
                toast(skippedFilesToastText(m_skippedFiles), skippedFilesToastSeconds);
            m_skippedFiles.clear();
        });
    }
    m_skippedFiles.append({filename, reason});
}

void WorkspaceSession::orderWindowsByZ()
{
    if (!m_store)
        return;
    for (NoteController *controller : m_store->controllers()) {
        if (controller->note().meta.hidden)
            controller->hideWindow();
        else
            controller->showWindow(false);
    }
}

void WorkspaceSession::activateTopNote()
{
    if (!m_store)
        return;
    const auto controllers = m_store->controllers(); // lowest first
    const auto top = std::find_if(controllers.rbegin(), controllers.rend(),
        [](NoteController *controller) { return !controller->note().meta.hidden; });
    if (top != controllers.rend())
        (*top)->showWindow(true);
}

bool WorkspaceSession::anyNoteVisible() const
{
    if (!m_store)
        return false;
    const auto controllers = m_store->controllers();
    return std::any_of(controllers.begin(), controllers.end(),
        [](NoteController *controller) { return !controller->note().meta.hidden; });
}

void WorkspaceSession::postOpenChecks(NoteStore *store, bool welcomeCapable)
{
    if (m_quitRequested)
        return;
    QPointer<NoteStore> checked(store);
    runOpenChecks(store, welcomeCapable);
    // Whatever the checks said, a workspace with no note on screen leaves the user nothing to click unless
    // something else is shown; the application decides what.
    if (checked && checked == m_store.get() && !m_quitRequested && !anyNoteVisible())
        Q_EMIT noNoteVisible(false);
}

void WorkspaceSession::runOpenChecks(NoteStore *store, bool welcomeCapable)
{
    QPointer<NoteStore> checked(store);
    if (store->controllerCount() > 0) {
        const auto controllers = store->controllers();
        const bool allHidden = std::all_of(
            controllers.begin(), controllers.end(), [](NoteController *c) { return c->note().meta.hidden; });
        if (allHidden)
            toast(allHiddenToastText());
        return;
    }
    // A folder that vanished in the meantime is not "unreadable": the store reports it as missing instead.
    if (!QFileInfo(store->folder()).isDir())
        return;
    const std::optional<int> ordinary = store->ordinaryMarkdownCount();
    if (!ordinary) {
        showUnreadableFolderAlert(store->folder());
        return;
    }
    if (*ordinary >= 1 && !m_workspaces.importOfferDeclined(store->folder())) {
        const bool accepted = offerBulkImport(*ordinary);
        // While the question was open the folder may have gone, or the application been told to quit.
        if (!checked || checked != m_store.get() || m_quitRequested)
            return;
        if (accepted) {
            store->adoptAllOrdinaryMarkdown();
            return;
        }
        m_workspaces.recordImportOfferDeclined(store->folder());
    }
    if (welcomeCapable && store->controllerCount() == 0)
        store->create(welcomeText(), QStringLiteral("Welcome"), 365.0, 365.0, QStringLiteral("#FBF4A6"));
    if (store->controllerCount() == 0)
        toast(QCoreApplication::translate("WorkspaceSession", "This TackPad workspace contains no notes (yet)"));
}

void WorkspaceSession::showUnreadableFolderAlert(const QString &folder)
{
    Alert alert;
    alert.style = Alert::Warning;
    alert.message = QCoreApplication::translate("WorkspaceSession", "TackPad can't read this folder");
#ifdef Q_OS_MACOS
    alert.informativeText = QCoreApplication::translate("WorkspaceSession",
        "macOS may be blocking access to “%1”.\n\nCheck System Settings → Privacy & "
        "Security → Files and Folders, then reopen the folder.")
                                .arg(QFileInfo(folder).fileName());
#else
    alert.informativeText = QCoreApplication::translate("WorkspaceSession",
        "You don't have permission to read “%1” (%2).\n\nAsk its owner for access, "
        "or change its permissions, then reopen the folder.")
                                .arg(QFileInfo(folder).fileName(), folder);
#endif
    alert.buttons = {QCoreApplication::translate("Alert", "OK")};
    ask(alert);
}

bool WorkspaceSession::offerBulkImport(int count)
{
    Alert alert;
    alert.style = Alert::Informational;
    alert.message = QCoreApplication::translate("WorkspaceSession", "Import existing Markdown files?");
    alert.informativeText = WorkspaceList::bulkImportOfferText(count);
    alert.buttons = {QCoreApplication::translate("Alert", "Don't Import"),
        QCoreApplication::translate("WorkspaceSession", "Import")};
    return ask(alert) == 1;
}

bool WorkspaceSession::promptForFolder(bool quitOnCancel, bool createWelcomeIfNoNotes)
{
    const std::optional<QString> chosen = chooseFolder();
    if (chosen) {
        m_settings.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(WorkspaceList::standardisedPath(*chosen)));
        startStore(*chosen, createWelcomeIfNoNotes);
        return true;
    }
    if (quitOnCancel && !m_store)
        requestQuit();
    return false;
}

void WorkspaceSession::changeFolder()
{
    promptForFolder(false, false);
}

// --- The folder that vanished, and the guard before acting on the store

void WorkspaceSession::handleMissingFolder()
{
    QString remembered;
    if (m_store) {
        remembered = m_store->folder();
        m_store->shutdown();
        m_store.release()->deleteLater();
        Q_EMIT storeChanged(nullptr);
        Q_EMIT notesChanged(nullptr);
    }
    m_workspaces.pruneDeadWorkspaces();

    QString fallback;
    for (const QString &path : m_workspaces.paths()) {
        if (path != remembered && QFileInfo(path).isDir()) {
            fallback = path;
            break;
        }
    }
    Alert alert;
    alert.message = QCoreApplication::translate("WorkspaceSession", "Notes folder not found");
    if (!fallback.isEmpty()) {
        m_settings.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(fallback));
        startStore(fallback, false);
        alert.style = Alert::Informational;
        alert.informativeText = QCoreApplication::translate("WorkspaceSession",
            "The folder TackPad was using has been moved or deleted, so I've "
            "switched to your “%1” workspace.")
                                    .arg(QFileInfo(fallback).fileName());
        alert.buttons = {QCoreApplication::translate("Alert", "OK")};
        ask(alert);
        return;
    }
    alert.style = Alert::Warning;
    alert.informativeText = QCoreApplication::translate(
        "WorkspaceSession", "The folder TackPad was using has been moved or deleted. Choose a folder for your notes.");
    alert.buttons = {QCoreApplication::translate("WorkspaceSession", "Choose Folder…"),
        QCoreApplication::translate("WorkspaceSession", "Quit TackPad")};
    answerFolderQuestion(ask(alert));
}

void WorkspaceSession::answerFolderQuestion(int answer)
{
    // Closed by a quit signal: that is no answer, and the folder the user had stays remembered.
    if (m_quitRequested)
        return;
    if (answer == 0) {
        promptForFolder(false, true);
        return;
    }
    m_settings.remove(SettingsKey::notesFolder);
    requestQuit();
}

void WorkspaceSession::handleLastWorkspaceRemoved()
{
    if (m_store) {
        m_store->shutdown();
        m_store.release()->deleteLater();
        Q_EMIT storeChanged(nullptr);
        Q_EMIT notesChanged(nullptr);
    }
    Alert alert;
    alert.style = Alert::Warning;
    alert.message = QCoreApplication::translate("WorkspaceSession", "You removed the last workspace");
    alert.informativeText = QCoreApplication::translate(
        "WorkspaceSession", "TackPad needs a notes folder to work with. Choose a folder, or quit.");
    alert.buttons = {QCoreApplication::translate("WorkspaceSession", "Choose Folder…"),
        QCoreApplication::translate("WorkspaceSession", "Quit TackPad")};
    answerFolderQuestion(ask(alert));
}

bool WorkspaceSession::ensureStore(bool createWelcomeIfNoNotes)
{
    if (isAsking() || m_quitRequested)
        return false;
    if (m_store && !QFileInfo(m_store->folder()).isDir())
        handleMissingFolder();
    else if (!m_store)
        promptForFolder(false, createWelcomeIfNoNotes);
    return m_store != nullptr;
}

void WorkspaceSession::newNote()
{
    if (!ensureStore(true))
        return;
    m_store->create(QString(), NoteStore::tr("New note"));
}

void WorkspaceSession::importMarkdownFile()
{
    if (!ensureStore(false) || !m_services.chooseMarkdownFiles)
        return;
    QStringList files;
    {
        AskingScope asking(*this);
        files = m_services.chooseMarkdownFiles();
    }
    importFiles(files);
}

void WorkspaceSession::importFiles(const QStringList &files)
{
    if (!ensureStore(false))
        return;
    for (const QString &file : files) {
        if (!m_store || m_quitRequested)
            return;
        if (NoteController *imported = m_store->importFile(file, false))
            imported->showWindow(true);
    }
}

bool WorkspaceSession::reopen()
{
    const NoteStore *before = m_store.get();
    if (!ensureStore(true))
        return false;
    // A folder chosen just now gets its opening checks, which say themselves when nothing is on screen.
    if (m_store.get() != before)
        return true;
    orderWindowsByZ();
    activateTopNote();
    if (!anyNoteVisible())
        Q_EMIT noNoteVisible(true);
    return true;
}

void WorkspaceSession::showAllNotes()
{
    if (!m_store)
        return;
    for (NoteController *controller : m_store->controllers()) {
        if (controller->note().meta.hidden)
            controller->unhide(false);
        else
            controller->showWindow(false);
    }
}

// --- Workspaces

void WorkspaceSession::switchToWorkspacePath(const QString &path)
{
    if (m_store && m_store->folder() == path)
        return;
    if (QFileInfo(path).isDir()) {
        m_settings.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(path));
        startStore(path, false);
        return;
    }
    Alert alert;
    alert.style = Alert::Warning;
    if (m_workspaces.isOfflineVolume(path)) {
        alert.message = QCoreApplication::translate("WorkspaceSession", "Workspace unavailable");
        alert.informativeText = QCoreApplication::translate("WorkspaceSession",
            "“%1” is on a disk that isn't connected right now. Connect it and try "
            "again.")
                                    .arg(QFileInfo(path).fileName());
        ask(alert);
        return;
    }
    QStringList list = m_workspaces.paths();
    list.removeAll(path);
    m_workspaces.setPaths(list);
    alert.message = QCoreApplication::translate("WorkspaceSession", "Workspace removed");
    alert.informativeText = QCoreApplication::translate(
        "WorkspaceSession", "The folder “%1” no longer exists, so it was removed from your workspaces.")
                                .arg(path);
    ask(alert);
}

void WorkspaceSession::switchToWorkspaceIndex(int index)
{
    const QStringList list = m_workspaces.paths();
    if (index >= 0 && index < list.size())
        switchToWorkspacePath(list[index]);
}

void WorkspaceSession::toggleAutoWorkspaces()
{
    m_workspaces.setAutoAddEnabled(!m_workspaces.autoAddEnabled());
}

void WorkspaceSession::showWorkspaceTipOnce()
{
    if (m_settings.boolValue(SettingsKey::workspaceTipShown))
        return;
    m_settings.setValue(SettingsKey::workspaceTipShown, true);
    Alert alert;
    alert.style = Alert::Informational;
    alert.message = QCoreApplication::translate("WorkspaceSession", "You now have two workspaces");
    alert.informativeText
        = QCoreApplication::translate("WorkspaceSession",
            "Every folder you open is added to the Workspaces menu automatically.\n\nSwitch between "
            "workspaces with %1–%2, and use Workspaces → Edit Workspaces… to remove or rearrange them.")
              .arg(keyText(QKeySequence(Qt::CTRL | Qt::Key_1)), keyText(QKeySequence(Qt::CTRL | Qt::Key_0)));
    alert.buttons = {QCoreApplication::translate("Alert", "OK")};
    ask(alert);
}

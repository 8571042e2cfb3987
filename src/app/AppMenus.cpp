#include "app/AppMenus.h"

#include "app/WorkspaceSession.h"
#include "store/NoteStore.h"
#include "store/RecoveryFolder.h"
#include "windows/NoteMenu.h"
#include "windows/NoteWindow.h"
#include "windows/NoteWindowController.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QIcon>
#include <QKeySequence>
#include <QLayout>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QSystemTrayIcon>
#include <QTextEdit>
#include <QUrl>
#include <QWindow>

namespace {

// The standard text commands go to whichever text field has the focus. In the panels, which carry the menus as a
// menu bar, the Edit menu's keys reach the menu before a list sees them: Select All there selects every row.
void sendToFocusedText(const char *method)
{
    QWidget *focus = QApplication::focusWidget();
    if (qobject_cast<QTextEdit *>(focus) || qobject_cast<QLineEdit *>(focus))
        QMetaObject::invokeMethod(focus, method);
    else if (qobject_cast<QAbstractItemView *>(focus) && qstrcmp(method, "selectAll") == 0)
        QMetaObject::invokeMethod(focus, method);
}

} // namespace

AppMenus::AppMenus(WorkspaceSession &session, QObject *parent)
    : QObject(parent)
    , m_session(session)
    , m_file(std::make_unique<QMenu>(tr("File")))
    , m_edit(std::make_unique<QMenu>(tr("Edit")))
    , m_prompts(std::make_unique<QMenu>(tr("Prompts")))
    , m_workspaces(std::make_unique<QMenu>(tr("Workspaces")))
    , m_window(std::make_unique<QMenu>(tr("Window")))
    , m_help(std::make_unique<QMenu>(tr("Help")))
    , m_trayMenu(std::make_unique<QMenu>())
{
    buildFileMenu();
    buildEditMenu();
    buildWindowMenu();
    buildHelpMenu();
    rebuildWorkspacesMenu();
    rebuildPromptsMenu();
    connect(&m_session, &WorkspaceSession::workspacesChanged, this, &AppMenus::rebuildWorkspacesMenu);
    connect(&m_session, &WorkspaceSession::storeChanged, this, &AppMenus::rebuildWorkspacesMenu);
    connect(&m_session, &WorkspaceSession::notesChanged, this, &AppMenus::rebuildPromptsMenu);
    connect(&m_session.noteWindows(), &NoteWindows::windowCreated, this, &AppMenus::addShortcutsTo);
    connect(qApp, &QApplication::focusWindowChanged, this, [this] {
        if (NoteWindowController *note = keyNote())
            m_lastKeyNote = note;
    });
    buildTrayMenu();
}

AppMenus::~AppMenus() = default;

QAction *AppMenus::addItem(QMenu *menu, const QString &title)
{
    // Owned here, not by the menu: QMenu::clear() deletes the actions it owns, which would pull items out from
    // under windows that carry them as shortcuts, or out from under the item whose click caused the rebuild.
    auto *item = new QAction(title, this);
    menu->addAction(item);
    return item;
}

void AppMenus::discardItems(QMenu *menu, QList<QAction *> &items)
{
    menu->clear();
    for (QAction *item : std::as_const(items)) {
        m_shortcuts.removeAll(item);
        // Gone from every window at once, so that the new items' shortcuts are never ambiguous with the old ones;
        // deleted later, because the item whose click rebuilt the menu is still delivering that click.
        const auto holders = item->associatedObjects();
        for (QObject *holder : holders) {
            if (auto *widget = qobject_cast<QWidget *>(holder))
                widget->removeAction(item);
        }
        item->deleteLater();
    }
    items.clear();
}

QAction *AppMenus::addShortcutAction(
    QMenu *menu, const QString &title, const QKeySequence &keys, std::function<void()> action)
{
    QAction *item = addItem(menu, title);
    item->setShortcut(keys);
    item->setShortcutContext(Qt::WindowShortcut);
    connect(item, &QAction::triggered, this, std::move(action));
    m_shortcuts.append(item);
    return item;
}

void AppMenus::buildFileMenu()
{
    addShortcutAction(
        m_file.get(), tr("New Note"), QKeySequence(Qt::CTRL | Qt::Key_N), [this] { m_session.newNote(); });
    addShortcutAction(m_file.get(), tr("Import Markdown Files…"), QKeySequence(Qt::CTRL | Qt::Key_O),
        [this] { m_session.importMarkdownFile(); });
    QAction *change = addItem(m_file.get(), tr("Change Folder…"));
    connect(change, &QAction::triggered, this, [this] { m_session.changeFolder(); });
    m_file->addSeparator();
    addShortcutAction(
        m_file.get(), tr("Settings…"), QKeySequence(Qt::CTRL | Qt::Key_Comma), [this] { Q_EMIT settingsRequested(); });
    m_file->addSeparator();
    addShortcutAction(
        m_file.get(), tr("Quit Tackpad"), QKeySequence(Qt::CTRL | Qt::Key_Q), [this] { Q_EMIT quitRequested(); });
}

void AppMenus::buildEditMenu()
{
    // These keys are the text fields' own; the items only show them and act on the focused field.
    const struct {
        const char *title;
        QKeySequence::StandardKey keys;
        const char *method;
    } commands[] = {
        {QT_TR_NOOP("Undo"), QKeySequence::Undo, "undo"},
        {QT_TR_NOOP("Redo"), QKeySequence::Redo, "redo"},
        {QT_TR_NOOP("Cut"), QKeySequence::Cut, "cut"},
        {QT_TR_NOOP("Copy"), QKeySequence::Copy, "copy"},
        {QT_TR_NOOP("Paste"), QKeySequence::Paste, "paste"},
        {QT_TR_NOOP("Select All"), QKeySequence::SelectAll, "selectAll"},
    };
    for (const auto &command : commands) {
        QAction *item = addItem(m_edit.get(), tr(command.title));
        item->setShortcut(QKeySequence(command.keys));
        item->setShortcutVisibleInContextMenu(true);
        const char *method = command.method;
        connect(item, &QAction::triggered, this, [method] { sendToFocusedText(method); });
        if (qstrcmp(command.method, "redo") == 0 || qstrcmp(command.method, "copy") == 0)
            m_edit->addSeparator();
    }
}

void AppMenus::buildWindowMenu()
{
    addShortcutAction(m_window.get(), tr("Search Notes…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_F),
        [this] { Q_EMIT searchRequested(); });
    addShortcutAction(m_window.get(), tr("Hidden Notes…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_BracketLeft),
        [this] { Q_EMIT hiddenNotesRequested(); });
    QAction *all = addItem(m_window.get(), tr("Show All Notes"));
    connect(all, &QAction::triggered, this, [this] { m_session.showAllNotes(); });
    // Text that could not stay in its note file (see RecoveryFolder) must be easy to find.
    QAction *recovered = m_window->addAction(tr("Show Recovered Notes"));
    connect(recovered, &QAction::triggered, this, [] {
        QDir().mkpath(RecoveryFolder::path());
        QDesktopServices::openUrl(QUrl::fromLocalFile(RecoveryFolder::path()));
    });
    // Deleting the note that has the focus: its confirmation comes from the note itself.
    QAction *deleteNote = new QAction(tr("Delete Note"), this);
    deleteNote->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_W));
    deleteNote->setShortcutContext(Qt::WindowShortcut);
    connect(deleteNote, &QAction::triggered, this, [this] {
        if (NoteWindowController *note = keyNote())
            note->deleteNote();
    });
    m_shortcuts.append(deleteNote);
}

void AppMenus::buildHelpMenu()
{
    QAction *about = addItem(m_help.get(), tr("About Tackpad"));
    connect(about, &QAction::triggered, this, [this] { Q_EMIT aboutRequested(); });
}

NoteWindowController *AppMenus::keyNote() const
{
    return m_session.noteWindows().active();
}

void AppMenus::rebuildPromptsMenu()
{
    discardItems(m_prompts.get(), m_promptItems);
    NoteStore *store = m_session.store();
    const auto prompts = store ? store->promptControllers() : std::vector<NoteController *>();
    if (prompts.empty()) {
        m_promptItems.append(addItem(m_prompts.get(), tr("No prompt notes – mark one with Use as AI Prompt")));
        m_promptItems.last()->setEnabled(false);
        return;
    }
    for (NoteController *prompt : prompts) {
        const QString filename = prompt->note().filename;
        QAction *item = addItem(m_prompts.get(), prompt->note().title());
        m_promptItems.append(item);
        connect(item, &QAction::triggered, this, [this, filename] {
            NoteWindowController *target = keyNote() ? keyNote() : m_lastKeyNote.data();
            if (target)
                target->applyPrompt(filename);
        });
    }
}

void AppMenus::rebuildWorkspacesMenu()
{
    discardItems(m_workspaces.get(), m_workspaceItems);

    const QStringList paths = m_session.workspaces().paths();
    const QString open = m_session.store() ? m_session.store()->folder() : QString();
    static const Qt::Key digits[] = {
        Qt::Key_1, Qt::Key_2, Qt::Key_3, Qt::Key_4, Qt::Key_5, Qt::Key_6, Qt::Key_7, Qt::Key_8, Qt::Key_9, Qt::Key_0};
    for (qsizetype i = 0; i < paths.size(); ++i) {
        const QString path = paths[i];
        QAction *item = addItem(m_workspaces.get(), QFileInfo(path).fileName());
        m_workspaceItems.append(item);
        item->setToolTip(path);
        item->setData(path);
        item->setCheckable(true);
        item->setChecked(path == open);
        connect(item, &QAction::triggered, this, [this, path] { m_session.switchToWorkspacePath(path); });
        // The list is capped at ten when it is read; the menu does not count on it for its ten keys.
        if (i < qsizetype(std::size(digits))) {
            item->setShortcut(QKeySequence(Qt::CTRL | digits[i]));
            item->setShortcutContext(Qt::WindowShortcut);
            m_shortcuts.append(item);
        }
    }
    if (!paths.isEmpty())
        m_workspaces->addSeparator();
    QAction *autoAdd = addItem(m_workspaces.get(), tr("Add Opened Folders Automatically"));
    m_workspaceItems.append(autoAdd);
    autoAdd->setCheckable(true);
    autoAdd->setChecked(m_session.workspaces().autoAddEnabled());
    connect(autoAdd, &QAction::triggered, this, [this] { m_session.toggleAutoWorkspaces(); });
    QAction *edit = addItem(m_workspaces.get(), tr("Edit Workspaces…"));
    m_workspaceItems.append(edit);
    connect(edit, &QAction::triggered, this, &AppMenus::workspacesEditRequested);

    // Windows that already exist get the new workspace shortcuts too.
    for (NoteWindowController *note : m_session.noteWindows().all())
        addShortcutsTo(note);
    for (const QPointer<QWidget> &window : std::as_const(m_otherWindows)) {
        if (window)
            addShortcutsToWindow(window);
    }
}

QList<QMenu *> AppMenus::menusForNoteContext()
{
    return {m_file.get(), m_edit.get(), m_prompts.get(), m_workspaces.get(), m_window.get(), m_help.get()};
}

void AppMenus::addShortcutsTo(NoteWindowController *note)
{
    // A note that has not been shown yet has no window: it gets the shortcuts when it is made.
    if (!note->window())
        return;
    addShortcutsToWindow(note->window());
    note->window()->setToolWindow(trayShown());
}

void AppMenus::addShortcutsToWindow(QWidget *window)
{
    const QList<QAction *> present = window->actions();
    for (QAction *action : std::as_const(m_shortcuts)) {
        if (!present.contains(action))
            window->addAction(action);
    }
}

void AppMenus::carryMenusIn(QWidget *window)
{
    if (!window || m_otherWindows.contains(window))
        return;
    m_otherWindows.append(window);
    auto *bar = new QMenuBar(window);
    bar->setObjectName(QStringLiteral("applicationMenus"));
    for (QMenu *menu : menusForNoteContext())
        bar->addMenu(menu);
    if (window->layout())
        window->layout()->setMenuBar(bar);
    addShortcutsToWindow(window);
}

void AppMenus::buildTrayMenu()
{
    QAction *newNote = addItem(m_trayMenu.get(), tr("New Note"));
    connect(newNote, &QAction::triggered, this, [this] { m_session.newNote(); });
    QAction *all = addItem(m_trayMenu.get(), tr("Show All Notes"));
    connect(all, &QAction::triggered, this, [this] { m_session.showAllNotes(); });
    m_trayMenu->addSeparator();
    for (QMenu *menu : {m_file.get(), m_prompts.get(), m_workspaces.get(), m_window.get(), m_help.get()})
        m_trayMenu->addMenu(menu);
}

bool AppMenus::trayShown() const
{
    return m_tray && m_tray->isVisible();
}

void AppMenus::applyActivationMode()
{
    const bool wanted = m_session.settings().boolValue(SettingsKey::menuBarMode);
    const bool useTray = wanted && QSystemTrayIcon::isSystemTrayAvailable();
    if (useTray && !m_tray) {
        m_tray = std::make_unique<QSystemTrayIcon>(QApplication::windowIcon());
        m_tray->setToolTip(tr("Tackpad"));
        m_tray->setContextMenu(m_trayMenu.get());
        connect(m_tray.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                m_session.reopen();
        });
    }
    if (m_tray)
        m_tray->setVisible(useTray);
    for (NoteWindowController *note : m_session.noteWindows().all()) {
        if (note->window())
            note->window()->setToolWindow(useTray);
    }
}

#include "app/AppMenus.h"

#include "app/AppDelegate.h"
#include "store/NoteStore.h"
#include "windows/NoteMenu.h"
#include "store/RecoveryFolder.h"
#include "windows/NoteWindow.h"
#include "windows/NoteWindowController.h"

#include <QAbstractItemView>
#include <QAction>
#include <QApplication>
#include <QFileInfo>
#include <QIcon>
#include <QKeySequence>
#include <QLayout>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QSystemTrayIcon>
#include <QTextEdit>
#include <QDesktopServices>
#include <QDir>
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

AppMenus::AppMenus(AppDelegate &app, QObject *parent)
    : QObject(parent)
    , m_app(app)
    , m_file(new QMenu(tr("File")))
    , m_edit(new QMenu(tr("Edit")))
    , m_note(new QMenu(tr("Note")))
    , m_prompts(new QMenu(tr("Prompts")))
    , m_workspaces(new QMenu(tr("Workspaces")))
    , m_window(new QMenu(tr("Window")))
    , m_help(new QMenu(tr("Help")))
    , m_trayMenu(new QMenu())
{
    buildFileMenu();
    buildEditMenu();
    buildWindowMenu();
    buildHelpMenu();
    rebuildWorkspacesMenu();
    rebuildPromptsMenu();
    connect(m_note, &QMenu::aboutToShow, this, &AppMenus::rebuildNoteMenu);
    connect(&m_app, &AppDelegate::workspacesChanged, this, &AppMenus::rebuildWorkspacesMenu);
    connect(&m_app, &AppDelegate::storeChanged, this, &AppMenus::rebuildWorkspacesMenu);
    connect(&m_app, &AppDelegate::notesChanged, this, &AppMenus::rebuildPromptsMenu);
    connect(qApp, &QApplication::focusWindowChanged, this, [this] {
        if (NoteWindowController *note = keyNote())
            m_lastKeyNote = note;
    });
    buildTrayMenu();
}

AppMenus::~AppMenus()
{
    // The tray icon (a child) points at its menu: it goes first.
    delete m_tray;
    for (QMenu *menu : {m_file, m_edit, m_note, m_prompts, m_workspaces, m_window, m_help, m_trayMenu})
        delete menu;
}

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

QAction *AppMenus::addShortcutAction(QMenu *menu, const QString &title, const QKeySequence &keys,
                                     std::function<void()> action)
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
    addShortcutAction(m_file, tr("New Note"), QKeySequence(Qt::CTRL | Qt::Key_N), [this] { m_app.newNote(); });
    addShortcutAction(m_file, tr("Import Markdown Files…"), QKeySequence(Qt::CTRL | Qt::Key_O),
                      [this] { m_app.importMarkdownFile(); });
    QAction *change = addItem(m_file, tr("Change Folder…"));
    connect(change, &QAction::triggered, this, [this] { m_app.changeFolder(); });
    m_file->addSeparator();
    addShortcutAction(m_file, tr("Settings…"), QKeySequence(Qt::CTRL | Qt::Key_Comma), [this] {
        if (showSettings)
            showSettings();
    });
    m_file->addSeparator();
    addShortcutAction(m_file, tr("Quit Tackpad"), QKeySequence(Qt::CTRL | Qt::Key_Q), [this] {
        if (quit)
            quit();
    });
}

void AppMenus::buildEditMenu()
{
    // These keys are the text fields' own; the items only show them and act on the focused field.
    const struct
    {
        const char *title;
        QKeySequence::StandardKey keys;
        const char *method;
    } commands[] = {
        {"Undo", QKeySequence::Undo, "undo"},          {"Redo", QKeySequence::Redo, "redo"},
        {"Cut", QKeySequence::Cut, "cut"},             {"Copy", QKeySequence::Copy, "copy"},
        {"Paste", QKeySequence::Paste, "paste"},       {"Select All", QKeySequence::SelectAll, "selectAll"},
    };
    for (const auto &command : commands) {
        QAction *item = addItem(m_edit, tr(command.title));
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
    addShortcutAction(m_window, tr("Search Notes…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_F), [this] {
        if (showSearch)
            showSearch();
    });
    addShortcutAction(m_window, tr("Hidden Notes…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_BracketLeft),
                      [this] {
                          if (showHiddenNotes)
                              showHiddenNotes();
                      });
    QAction *all = addItem(m_window, tr("Show All Notes"));
    connect(all, &QAction::triggered, this, [this] { m_app.showAllNotes(); });
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
    QAction *about = addItem(m_help, tr("About Tackpad"));
    connect(about, &QAction::triggered, this, [this] {
        if (showAbout)
            showAbout();
    });
}

NoteWindowController *AppMenus::keyNote() const
{
    NoteStore *store = m_app.store();
    QWidget *active = QApplication::activeWindow();
    if (store && active) {
        for (NoteController *controller : store->controllers()) {
            auto *windowed = qobject_cast<NoteWindowController *>(controller);
            if (windowed && windowed->window() == active)
                return windowed;
        }
    }
    return nullptr;
}

void AppMenus::rebuildNoteMenu()
{
    m_note->clear();
    NoteWindowController *note = keyNote() ? keyNote() : m_lastKeyNote.data();
    if (!note || !m_app.store() || note->store().folder() != m_app.store()->folder()) {
        m_note->addAction(tr("No note selected"))->setEnabled(false);
        return;
    }
    NoteMenu::addNoteItems(m_note, *note, m_app.noteEnvironment().revealTitle);
}

void AppMenus::rebuildPromptsMenu()
{
    discardItems(m_prompts, m_promptItems);
    NoteStore *store = m_app.store();
    const auto prompts = store ? store->promptControllers() : std::vector<NoteController *>();
    if (prompts.empty()) {
        m_promptItems.append(addItem(m_prompts, tr("No prompt notes – mark one with Use as AI Prompt")));
        m_promptItems.last()->setEnabled(false);
        return;
    }
    for (NoteController *prompt : prompts) {
        const QString filename = prompt->note().filename;
        QAction *item = addItem(m_prompts, prompt->note().title());
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
    discardItems(m_workspaces, m_workspaceItems);

    const QStringList paths = m_app.workspaces().paths();
    const QString open = m_app.store() ? m_app.store()->folder() : QString();
    static const Qt::Key digits[] = {Qt::Key_1, Qt::Key_2, Qt::Key_3, Qt::Key_4, Qt::Key_5,
                                     Qt::Key_6, Qt::Key_7, Qt::Key_8, Qt::Key_9, Qt::Key_0};
    for (qsizetype i = 0; i < paths.size(); ++i) {
        const QString path = paths[i];
        QAction *item = addItem(m_workspaces, QFileInfo(path).fileName());
        m_workspaceItems.append(item);
        item->setToolTip(path);
        item->setData(path);
        item->setCheckable(true);
        item->setChecked(path == open);
        connect(item, &QAction::triggered, this, [this, path] { m_app.switchToWorkspacePath(path); });
        // The list is capped at ten when it is read; the menu does not count on it for its ten keys.
        if (i < qsizetype(std::size(digits))) {
            item->setShortcut(QKeySequence(Qt::CTRL | digits[i]));
            item->setShortcutContext(Qt::WindowShortcut);
            m_shortcuts.append(item);
        }
    }
    if (!paths.isEmpty())
        m_workspaces->addSeparator();
    QAction *autoAdd = addItem(m_workspaces, tr("Add Opened Folders Automatically"));
    m_workspaceItems.append(autoAdd);
    autoAdd->setCheckable(true);
    autoAdd->setChecked(m_app.workspaces().autoAddEnabled());
    connect(autoAdd, &QAction::triggered, this, [this] { m_app.toggleAutoWorkspaces(); });
    QAction *edit = addItem(m_workspaces, tr("Edit Workspaces…"));
    m_workspaceItems.append(edit);
    connect(edit, &QAction::triggered, this, [this] { Q_EMIT m_app.workspacesEditRequested(); });

    // Windows that already exist get the new workspace shortcuts too.
    if (NoteStore *store = m_app.store()) {
        for (NoteController *controller : store->controllers())
            addShortcutsTo(controller);
    }
    for (const QPointer<QWidget> &window : std::as_const(m_otherWindows)) {
        if (window)
            addShortcutsToWindow(window);
    }
}

QList<QMenu *> AppMenus::menusForNoteContext()
{
    return {m_file, m_edit, m_prompts, m_workspaces, m_window, m_help};
}

void AppMenus::addShortcutsTo(NoteController *controller)
{
    auto *windowed = qobject_cast<NoteWindowController *>(controller);
    if (!windowed)
        return;
    addShortcutsToWindow(windowed->window());
    windowed->window()->setToolWindow(trayShown());
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
    QAction *newNote = addItem(m_trayMenu, tr("New Note"));
    connect(newNote, &QAction::triggered, this, [this] { m_app.newNote(); });
    QAction *all = addItem(m_trayMenu, tr("Show All Notes"));
    connect(all, &QAction::triggered, this, [this] { m_app.showAllNotes(); });
    m_trayMenu->addSeparator();
    for (QMenu *menu : {m_file, m_prompts, m_workspaces, m_window, m_help})
        m_trayMenu->addMenu(menu);
}

bool AppMenus::trayShown() const
{
    return m_tray && m_tray->isVisible();
}

void AppMenus::applyActivationMode()
{
    const bool wanted = m_app.settings().boolValue(SettingsKey::menuBarMode);
    const bool useTray = wanted && QSystemTrayIcon::isSystemTrayAvailable();
    if (useTray && !m_tray) {
        m_tray = new QSystemTrayIcon(QIcon(QStringLiteral(":/icons/app.tackpad.Tackpad.svg")), this);
        m_tray->setToolTip(tr("Tackpad"));
        m_tray->setContextMenu(m_trayMenu);
        connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick)
                m_app.reopen();
        });
    }
    if (m_tray)
        m_tray->setVisible(useTray);
    if (NoteStore *store = m_app.store()) {
        for (NoteController *controller : store->controllers()) {
            if (auto *windowed = qobject_cast<NoteWindowController *>(controller))
                windowed->window()->setToolWindow(useTray);
        }
    }
}

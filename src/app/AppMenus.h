#pragma once

#include <QList>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QSystemTrayIcon>

#include <functional>
#include <memory>

class WorkspaceSession;
class NoteController;
class NoteStore;
class NoteWindowController;
class QAction;
class QWidget;

// The application's menus and shortcuts. Linux desktops mostly have no global menu bar, so every note's context
// menu carries these menus as submenus, the tray icon carries them too, and every shortcut is added to every note
// window so that it works from whichever note has the focus.
class AppMenus : public QObject {
    Q_OBJECT

public:
    explicit AppMenus(WorkspaceSession &session, QObject *parent = nullptr);
    ~AppMenus() override;

    // The menus a note's context menu carries after its own items.
    QList<QMenu *> menusForNoteContext();
    // Gives a note's window every application shortcut.
    void addShortcutsTo(NoteWindowController *note);
    // Gives another window of the application (the search and hidden-notes panels) the menus, as a menu bar, and
    // every shortcut, kept up to date as the menus change: with no note on screen, it is the way in.
    void carryMenusIn(QWidget *window);

    // Tray ("menu bar") mode when asked for and when the desktop has a tray; otherwise notes are ordinary windows
    // in the taskbar, so the application never hides its only way in.
    void applyActivationMode();
    bool trayShown() const;
    QSystemTrayIcon *trayIcon() const { return m_tray.get(); }

    // The note whose window is active, if any.
    NoteWindowController *keyNote() const;

    QMenu *fileMenu() const { return m_file.get(); }
    QMenu *editMenu() const { return m_edit.get(); }
    QMenu *promptsMenu() const { return m_prompts.get(); }
    QMenu *workspacesMenu() const { return m_workspaces.get(); }
    QMenu *windowMenu() const { return m_window.get(); }
    QMenu *helpMenu() const { return m_help.get(); }
    QList<QAction *> shortcutActions() const { return m_shortcuts; }

Q_SIGNALS:
    // Items whose windows and dialogs the application owns.
    void settingsRequested();
    void searchRequested();
    void hiddenNotesRequested();
    void aboutRequested();
    void workspacesEditRequested();
    void quitRequested();

private:
    void buildFileMenu();
    void buildEditMenu();
    void buildWindowMenu();
    void buildHelpMenu();
    void rebuildPromptsMenu();
    void rebuildWorkspacesMenu();
    void buildTrayMenu();
    QAction *addShortcutAction(
        QMenu *menu, const QString &title, const QKeySequence &keys, std::function<void()> action);
    // A menu item owned by this object.
    QAction *addItem(QMenu *menu, const QString &title);
    // Empties a rebuilt menu and lets go of its old items.
    void discardItems(QMenu *menu, QList<QAction *> &items);
    void addShortcutsToWindow(QWidget *window);

    WorkspaceSession &m_session;
    // The menus have no parent widget (each is shown by many windows and by the tray): they are owned here. The
    // tray icon is declared after them so that it goes first, as it points at its menu.
    const std::unique_ptr<QMenu> m_file;
    const std::unique_ptr<QMenu> m_edit;
    const std::unique_ptr<QMenu> m_prompts;
    const std::unique_ptr<QMenu> m_workspaces;
    const std::unique_ptr<QMenu> m_window;
    const std::unique_ptr<QMenu> m_help;
    const std::unique_ptr<QMenu> m_trayMenu;
    std::unique_ptr<QSystemTrayIcon> m_tray;
    QList<QAction *> m_shortcuts;
    // The items of the menus that are rebuilt, which this object deletes when it replaces them.
    QList<QAction *> m_workspaceItems;
    QList<QAction *> m_promptItems;
    QList<QPointer<QWidget>> m_otherWindows;
    // The note that was active before a menu or the tray took the focus.
    QPointer<NoteWindowController> m_lastKeyNote;
};

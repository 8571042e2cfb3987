#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>

class AppDelegate;
class NoteController;
class NoteStore;
class NoteWindowController;
class QAction;
class QMenu;
class QSystemTrayIcon;
class QWidget;

// The application's menus and shortcuts. Linux desktops mostly have no global menu bar, so every note's context
// menu carries these menus as submenus, the tray icon carries them too, and every shortcut is added to every note
// window so that it works from whichever note has the focus.
class AppMenus : public QObject
{
    Q_OBJECT

public:
    explicit AppMenus(AppDelegate &app, QObject *parent = nullptr);
    ~AppMenus() override;

    // Actions whose dialogs live elsewhere; the application wires them.
    std::function<void()> showSettings;
    std::function<void()> showSearch;
    std::function<void()> showHiddenNotes;
    std::function<void()> showAbout;
    std::function<void()> quit;

    // The menus a note's context menu carries after its own items.
    QList<QMenu *> menusForNoteContext();
    // Gives a note's window every application shortcut.
    void addShortcutsTo(NoteController *controller);
    // Gives another window of the application (the search and hidden-notes panels) the menus, as a menu bar, and
    // every shortcut, kept up to date as the menus change: with no note on screen, it is the way in.
    void carryMenusIn(QWidget *window);

    // Tray ("menu bar") mode when asked for and when the desktop has a tray; otherwise notes are ordinary windows
    // in the taskbar, so the application never hides its only way in.
    void applyActivationMode();
    bool trayShown() const;
    QSystemTrayIcon *trayIcon() const { return m_tray; }

    // The note whose window is active, if any.
    NoteWindowController *keyNote() const;

    QMenu *fileMenu() const { return m_file; }
    QMenu *editMenu() const { return m_edit; }
    QMenu *noteMenu() const { return m_note; }
    QMenu *promptsMenu() const { return m_prompts; }
    QMenu *workspacesMenu() const { return m_workspaces; }
    QMenu *windowMenu() const { return m_window; }
    QMenu *helpMenu() const { return m_help; }
    QList<QAction *> shortcutActions() const { return m_shortcuts; }

private:
    void buildFileMenu();
    void buildEditMenu();
    void buildWindowMenu();
    void buildHelpMenu();
    void rebuildNoteMenu();
    void rebuildPromptsMenu();
    void rebuildWorkspacesMenu();
    void buildTrayMenu();
    QAction *addShortcutAction(QMenu *menu, const QString &title, const QKeySequence &keys,
                               std::function<void()> action);
    // A menu item owned by this object.
    QAction *addItem(QMenu *menu, const QString &title);
    // Empties a rebuilt menu and lets go of its old items.
    void discardItems(QMenu *menu, QList<QAction *> &items);
    void addShortcutsToWindow(QWidget *window);

    AppDelegate &m_app;
    // The menus have no parent widget (each is shown by many windows); this object deletes them.
    QMenu *m_file;
    QMenu *m_edit;
    QMenu *m_note;
    QMenu *m_prompts;
    QMenu *m_workspaces;
    QMenu *m_window;
    QMenu *m_help;
    QMenu *m_trayMenu;
    QSystemTrayIcon *m_tray = nullptr;
    QList<QAction *> m_shortcuts;
    // The items of the menus that are rebuilt, which this object deletes when it replaces them.
    QList<QAction *> m_workspaceItems;
    QList<QAction *> m_promptItems;
    QList<QPointer<QWidget>> m_otherWindows;
    // The note that was active before a menu or the tray took the focus.
    QPointer<NoteWindowController> m_lastKeyNote;
};

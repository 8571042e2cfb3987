#pragma once

#include "core/Settings.h"
#include "core/WorkspaceList.h"
#include "core/WorkspaceWatcher.h"
#include "windows/NoteWindows.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

class AlertPresenter;
class GlobalHotKey;
class NoteStore;
class NoteController;

// The open workspace, from launch to quit: owns the workspace's store, decides at launch which folder to open,
// replaces the store when the user switches workspaces or the folder vanishes, runs the checks that follow every
// opening (welcome note, import offer, empty and all-hidden messages) and makes sure pending saves reach the disk at
// quit. TackpadApplication owns it; the user-facing dialogs come in through `Services`, so that tests can answer.
class WorkspaceSession : public QObject {
    Q_OBJECT

public:
    // Everything that talks to the user or ends the process, so that tests can answer instead.
    struct Services {
        AlertPresenter *alerts = nullptr;
        // The folder chosen in an open panel ("Select folder for TackPad"); nothing when cancelled.
        std::function<std::optional<QString>()> chooseFolder;
        // Markdown files chosen for import; empty when cancelled.
        std::function<QStringList()> chooseMarkdownFiles;
        // The first-run dialog; true when the user agreed.
        std::function<bool()> runOnboarding;
        // Ends the application (after the current event).
        std::function<void()> quit;
        // A short message over a note or the screen, for the given seconds.
        std::function<void(const QString &text, double seconds)> toast;
    };

    static constexpr double checksToastSeconds = 3.5;
    // Long enough to read a file name or three, and a problem.
    static constexpr double skippedFilesToastSeconds = 6;

    WorkspaceSession(Settings settings, Services services, QObject *parent = nullptr);
    ~WorkspaceSession() override;

    // The launch sequence. False when the application must quit (onboarding refused, first folder prompt cancelled).
    bool launch();
    // Writes every pending save and stops watching; called when the application is about to quit.
    void prepareToQuit();
    // Quitting from outside (a signal, a logout), whatever is on screen: pending saves are written at once and
    // from here on nothing more is asked, opened or written, also by code that a closing dialog returns to.
    void terminate();
    bool isTerminating() const { return m_quitRequested; }
    // True while the session waits for the user's answer (onboarding, an alert, a folder or file panel). A hot key
    // or another launch must not act meanwhile: nothing may happen before the terms are agreed, and a second
    // folder panel must not open over the first.
    bool isAsking() const { return m_askingDepth > 0; }
    // A second launch (or the tray icon): show every note in stacking order, asking for a folder first if needed.
    // When no note is visible afterwards, `noNoteVisible` asks for another way in.
    bool reopen();

    // --- Actions of the menus, the hot key and the command line
    void newNote();
    void importMarkdownFile();
    // Imports files as the Import menu item does (those given on the command line, "Open with" included) and
    // brings each new note to the front; asks for a workspace first when none is open.
    void importFiles(const QStringList &files);
    void changeFolder();
    void showAllNotes();
    void switchToWorkspacePath(const QString &path);
    void switchToWorkspaceIndex(int index);
    void toggleAutoWorkspaces();
    void handleMissingFolder();
    void handleLastWorkspaceRemoved();
    void applyGlobalHotKey();
    // Dark mode and the editor font changed: every open note repaints and restyles at once.
    void refreshNoteAppearance();

    NoteStore *store() const { return m_store.get(); }
    Settings &settings() { return m_settings; }
    WorkspaceList &workspaces() { return m_workspaces; }
    AlertPresenter *alerts() const { return m_services.alerts; }
    // The new-note shortcut, made on first use.
    GlobalHotKey *hotKey();
    bool quitRequested() const { return m_quitRequested; }

    // The windows of the open workspace's notes.
    NoteWindows &noteWindows() { return m_noteWindows; }
    // What note windows are given (menus, file manager, links); the application fills in the menus.
    NoteWindowEnvironment &noteEnvironment() { return m_noteWindows.environment(); }

    // The welcome note's text, with key combinations in the platform's notation.
    static QString welcomeText();
    // The all-hidden message, likewise.
    static QString allHiddenToastText();
    static QString keyText(const QKeySequence &keys);
    // What the user is told about note files the store could not show: each entry is a file name and the reason.
    static QString skippedFilesToastText(const QList<std::pair<QString, QString>> &skipped);
    static QString saveFailedToastText(const QString &filename, const QString &error);

    void startStore(const QString &folder, bool welcomeCapable);
    void postOpenChecks(NoteStore *store, bool welcomeCapable);
    bool promptForFolder(bool quitOnCancel, bool createWelcomeIfNoNotes);

Q_SIGNALS:
    // The set of notes (or their hidden state) of the open store changed; also sent when the store is replaced.
    void notesChanged(NoteStore *store);
    void storeChanged(NoteStore *store);
    void workspacesChanged();
    // A workspace opened, or the user asked to see the application, and no note window is on screen (all hidden,
    // none at all, or the folder unreadable). `userAsked` is true for a reopen, false after the opening checks.
    void noNoteVisible(bool userAsked);

private:
    bool ensureStore(bool createWelcomeIfNoNotes);
    void runOpenChecks(NoteStore *store, bool welcomeCapable);
    // "Choose Folder…" (0) or "Quit TackPad" (anything else) of the alerts that leave the user without a folder.
    void answerFolderQuestion(int answer);
    void orderWindowsByZ();
    // Gives the keyboard to the front note, so that typing and the shortcuts work without a click first.
    void activateTopNote();
    bool anyNoteVisible() const;
    std::optional<QString> chooseFolder();
    bool runOnboarding();
    class AskingScope;
    // Runs `work` now, or once no question is open any more.
    void whenNotAsking(std::function<void()> work);
    void runAfterAsking();
    void requestQuit();
    void toast(const QString &text, double seconds = checksToastSeconds);
    int ask(const struct Alert &alert);
    void showWorkspaceTipOnce();
    bool offerBulkImport(int count);
    void showUnreadableFolderAlert(const QString &folder);
    void restartWorkspaceWatcher();
    void fileSkipped(NoteStore *store, const QString &filename, const QString &reason);

    Settings m_settings;
    Services m_services;
    WorkspaceList m_workspaces;
    WorkspaceWatcher m_workspaceWatcher;
    // Before the store: the store's controllers are the windows made here.
    NoteWindows m_noteWindows;
    std::unique_ptr<NoteStore> m_store;
    std::unique_ptr<GlobalHotKey> m_hotKey;
    bool m_quitRequested = false;
    int m_askingDepth = 0;
    std::vector<std::function<void()>> m_afterAsking;
    // Files skipped by the store's current scan, told in one toast once the scan is over.
    QList<std::pair<QString, QString>> m_skippedFiles;
};

#pragma once

#include "app/WorkspaceSession.h"
#include "app/MessageBoxAlertPresenter.h"

#include <QObject>
#include <QPointer>

#include <memory>

class AIClient;
class AppMenus;
class ApplyServer;
class FileManagerReveal;
class KeyStore;
class HiddenNotesWindow;
class SearchWindow;
class QDialog;

// Puts the running application together: the application object with real dialogs, the menus and tray, the
// panels and the dialogs of the menus. main() makes one and hands it the commands of later launches.
class TackpadApplication : public QObject
{
    Q_OBJECT

public:
    explicit TackpadApplication(QObject *parent = nullptr);
    ~TackpadApplication() override;

    // The launch sequence; false when the application should quit at once.
    bool launch();
    // A command from a later launch of `tackpad` ("reopen", "new-note").
    void handleCommand(const QStringList &command);
    // Quits at once from whatever state, open dialogs included, after writing every pending save (SIGTERM, a
    // logout). launch() then returns false, or the running event loop ends.
    void terminate();

    WorkspaceSession &session() { return *m_session; }
    AppMenus &menus() { return *m_menus; }

private:
    WorkspaceSession::Services makeServices();
    void showSearch();
    void showHiddenNotes();
    void showSettings();
    void applySettings();
    void showWorkspaceEditor();
    void showAbout();
    void quit();

    MessageBoxAlertPresenter m_alerts;
    std::unique_ptr<WorkspaceSession> m_session;
    std::unique_ptr<AppMenus> m_menus;
    std::unique_ptr<FileManagerReveal> m_reveal;
    std::unique_ptr<KeyStore> m_keyStore;
    std::unique_ptr<AIClient> m_aiClient;
    std::unique_ptr<ApplyServer> m_applyServer;
    std::unique_ptr<SearchWindow> m_search;
    std::unique_ptr<HiddenNotesWindow> m_hidden;
    QPointer<QDialog> m_settingsDialog;
};

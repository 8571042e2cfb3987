#pragma once

#include "ai/AIClient.h"
#include "app/AppMenus.h"
#include "app/ApplyServer.h"
#include "app/MessageBoxAlertPresenter.h"
#include "app/WorkspaceSession.h"
#include "platform/FileManagerReveal.h"
#include "platform/KeyStore.h"

#include <QObject>
#include <QPointer>

#include <memory>

class HiddenNotesWindow;
class SearchWindow;
class QDialog;

// The application object: owns every service of the running application and wires them together. The services are
// value members, made in the order they are declared and destroyed in reverse, so that nothing outlives what it
// uses: the alert presenter, the file manager, the keyring and the AI client first, then the open workspace's
// session (which uses them), the menus (which act on the session) and the apply server (which runs prompts in the
// session's windows). The panels and dialogs are made when first asked for. main() makes one and hands it the
// commands of later launches.
class TackpadApplication : public QObject {
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

    WorkspaceSession &session() { return m_session; }
    AppMenus &menus() { return m_menus; }

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
    FileManagerReveal m_reveal;
    KeyStore m_keyStore;
    AIClient m_aiClient;
    WorkspaceSession m_session;
    AppMenus m_menus;
    ApplyServer m_applyServer;
    std::unique_ptr<SearchWindow> m_search;
    std::unique_ptr<HiddenNotesWindow> m_hidden;
    QPointer<QDialog> m_settingsDialog;
};

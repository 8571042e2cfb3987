#pragma once

#include <QList>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <functional>

class AIClient;
class AlertPresenter;
class KeyStore;
class NoteColorPanel;
class QMenu;

// What a note window needs from the application around it. The application fills it in once; tests hand their
// own functions so that no browser, file manager or modal dialog ever opens.
struct NoteWindowEnvironment {
    // Answers the delete confirmation and similar questions; without one, destructive questions answer "Cancel".
    AlertPresenter *alerts = nullptr;
    // Shows a file selected in the file manager.
    std::function<void(const QString &filePath)> revealFile;
    // The title of the reveal item: "Reveal in File Manager" on Linux, "Reveal in Finder" on macOS.
    QString revealTitle = QStringLiteral("Reveal in File Manager");
    // Opens a web address, mail address or file with its application.
    std::function<void(const QUrl &url)> openUrl;
    // The application's menus, appended as submenus to every note's context menu (there is no global menu bar
    // on most Linux desktops). Called each time a context menu opens.
    std::function<QList<QMenu *>()> applicationMenus;
    // Applying a prompt note to a note: the AI service and the keyring that holds its key. Without a client,
    // prompts are not applied.
    AIClient *aiClient = nullptr;
    KeyStore *keyStore = nullptr;
    // The colour picker all notes share for "Custom…"; without one, the item does nothing. Guarded: the panel's
    // owner may go before the last window does.
    QPointer<NoteColorPanel> colorPanel;
};

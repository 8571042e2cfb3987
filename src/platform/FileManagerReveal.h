#pragma once

#include <QObject>
#include <QString>

#include <functional>

class QUrl;

// Shows a note's file selected in the system's file manager ("Reveal in File Manager" on Linux, "Reveal in
// Finder" on macOS). Where the file manager cannot be asked to select a file, the containing folder is opened.
class FileManagerReveal : public QObject {
    Q_OBJECT

public:
    // Opens a folder with the desktop's default application; answers whether one was started.
    using FolderOpener = std::function<bool(const QUrl &folder)>;

    explicit FileManagerReveal(QObject *parent = nullptr);

    // The text of the menu item that calls `reveal`.
    static QString menuTitle();

    // Replaces how the fallback opens the folder (tests, so that no real file manager starts).
    void setFolderOpener(FolderOpener opener);

    // Asks the file manager to show `filePath` selected. Never waits for the file manager; `finished` tells how
    // it went (where nothing needs waiting for, before `reveal` returns).
    void reveal(const QString &filePath);

Q_SIGNALS:
    // `selected`: the file manager took the request. Otherwise the folder was opened instead (`opened`: whether
    // that at least worked).
    void finished(bool selected, bool opened);

private:
    // The platform's own way of selecting a file; calls `selectedInFileManager` or `openContainingFolder`.
    void revealWithSystem(const QString &absolutePath);
    void selectedInFileManager();
    void openContainingFolder(const QString &absolutePath);

    FolderOpener m_openFolder;
};

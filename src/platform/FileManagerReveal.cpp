#include "platform/FileManagerReveal.h"

#include "platform/PlatformLog.h"

#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

FileManagerReveal::FileManagerReveal(QObject *parent)
    : QObject(parent)
    , m_openFolder([](const QUrl &folder) { return QDesktopServices::openUrl(folder); })
{
}

void FileManagerReveal::setFolderOpener(FolderOpener opener)
{
    m_openFolder = std::move(opener);
}

void FileManagerReveal::reveal(const QString &filePath)
{
    revealWithSystem(QFileInfo(filePath).absoluteFilePath());
}

void FileManagerReveal::selectedInFileManager()
{
    Q_EMIT finished(true, true);
}

void FileManagerReveal::openContainingFolder(const QString &absolutePath)
{
    const QUrl folder = QUrl::fromLocalFile(QFileInfo(absolutePath).absolutePath());
    const bool opened = m_openFolder && m_openFolder(folder);
    if (!opened)
        qCWarning(lcPlatform) << "TackPad: could not open the folder" << folder.toLocalFile();
    Q_EMIT finished(false, opened);
}

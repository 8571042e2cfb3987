// The macOS side of FileManagerReveal: Finder selects the file when asked through `open -R`.
#include "platform/FileManagerReveal.h"

#include <QProcess>

QString FileManagerReveal::menuTitle()
{
    return tr("Reveal in Finder");
}

void FileManagerReveal::revealWithSystem(const QString &absolutePath)
{
    if (QProcess::startDetached(QStringLiteral("/usr/bin/open"), {QStringLiteral("-R"), absolutePath}))
        selectedInFileManager();
    else
        openContainingFolder(absolutePath);
}

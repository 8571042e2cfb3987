// Link clicks in a note's editor: wiki links, attachments in the workspace, and web and mail addresses.

#include "windows/NoteWindowController.h"

#include "editor/MarkdownStyler.h"
#include "store/NoteStore.h"
#include "windows/NoteWindow.h"
#include "windows/Toast.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

bool NoteWindowController::handleLink(const QString &link)
{
    const QUrl url(link);
    if (const auto target = MarkdownStyler::wikiTarget(url)) {
        store().followWikiLink(*target, this);
        return true;
    }
    const QString decoded = QUrl::fromPercentEncoding(link.toUtf8());
    if (decoded.startsWith(QLatin1String("attachments/")))
        return openAttachmentLink(decoded);
    const QUrl external = url.isValid() ? url : QUrl::fromUserInput(link);
    const QString scheme = external.scheme().toLower();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https") || scheme == QLatin1String("mailto")) {
        if (m_environment.openUrl)
            m_environment.openUrl(external);
        return true;
    }
    return false;
}

bool NoteWindowController::openAttachmentLink(const QString &decodedLink)
{
    const QString attachments = QDir::cleanPath(store().folder()) + QLatin1String("/attachments/");
    const QString path = QDir::cleanPath(QDir::cleanPath(store().folder()) + QLatin1Char('/') + decodedLink);
    // A link opens only what lies in the attachments folder: one that climbs out of it ("attachments/../notes.md",
    // "attachments/../../secret") is refused silently, whatever it would reach.
    if (!path.startsWith(attachments))
        return false;
    if (QFileInfo::exists(path)) {
        if (m_environment.openUrl)
            m_environment.openUrl(QUrl::fromLocalFile(path));
    } else {
        Toast::show(
            QCoreApplication::translate("NoteWindowController", "Attachment not found: ") + QFileInfo(path).fileName(),
            Toast::defaultSeconds, m_window.get());
    }
    return true;
}

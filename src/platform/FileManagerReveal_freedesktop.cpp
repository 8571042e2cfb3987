// The freedesktop side of FileManagerReveal: the FileManager1 D-Bus interface that Nautilus, Dolphin, Nemo, Caja
// and Thunar implement.
#include "platform/FileManagerReveal.h"

#include "platform/PlatformLog.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QUrl>

QString FileManagerReveal::menuTitle()
{
    return tr("Reveal in File Manager");
}

void FileManagerReveal::revealWithSystem(const QString &absolutePath)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openContainingFolder(absolutePath);
        return;
    }
    QDBusMessage showItems = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"), QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("ShowItems"));
    // File managers expect real URIs: spaces and non-ASCII characters percent-encoded.
    const QString uri = QString::fromLatin1(QUrl::fromLocalFile(absolutePath).toEncoded());
    showItems << QStringList {uri} << QString();

    // Asynchronous: a file manager that is started by the call may take a while, and the user is not kept waiting.
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(showItems), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, absolutePath](QDBusPendingCallWatcher *w) {
        w->deleteLater();
        const QDBusPendingReply<> reply = *w;
        if (!reply.isError()) {
            selectedInFileManager();
            return;
        }
        // Without a file manager on the bus the answer is ServiceUnknown; opening the folder still gets the user
        // close to the file.
        qCInfo(lcPlatform).noquote() << "TackPad: the file manager could not select the file:"
                                     << reply.error().message();
        openContainingFolder(absolutePath);
    });
}

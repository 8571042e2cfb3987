// Secret Service (gnome-keyring, KeePassXC, KDE's secret service): find QtKeychain's item by the attributes of its
// schema and set the item's Label property.
#include "platform/KeyringLabel.h"

#include "platform/PlatformLog.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>

namespace {

const QString secretsService = QStringLiteral("org.freedesktop.secrets");

using Attributes = QMap<QString, QString>;

void setLabels(const QList<QDBusObjectPath> &items, const QString &label, QObject *context, std::function<void()> done)
{
    if (items.isEmpty()) {
        done();
        return;
    }
    QDBusMessage set = QDBusMessage::createMethodCall(
        secretsService, items.first().path(), QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"));
    set << QStringLiteral("org.freedesktop.Secret.Item") << QStringLiteral("Label")
        << QVariant::fromValue(QDBusVariant(label));
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(set), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
        [items, label, context, done = std::move(done)](QDBusPendingCallWatcher *w) {
            w->deleteLater();
            if (w->isError())
                qCInfo(lcPlatform).noquote() << "TackPad: could not label the keyring item:" << w->error().message();
            setLabels(items.mid(1), label, context, done);
        });
}

} // namespace

namespace KeyringLabel {

void apply(
    const QString &service, const QString &account, const QString &label, QObject *context, std::function<void()> done)
{
    qDBusRegisterMetaType<Attributes>();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        done();
        return;
    }
    // QtKeychain's schema keeps the account as "user" and the service as "server".
    const Attributes attributes {{QStringLiteral("user"), account}, {QStringLiteral("server"), service}};
    QDBusMessage search = QDBusMessage::createMethodCall(secretsService, QStringLiteral("/org/freedesktop/secrets"),
        QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("SearchItems"));
    search << QVariant::fromValue(attributes);
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(search), context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context,
        [label, context, done = std::move(done)](QDBusPendingCallWatcher *w) {
            w->deleteLater();
            const QDBusPendingReply<QList<QDBusObjectPath>, QList<QDBusObjectPath>> reply = *w;
            if (reply.isError()) {
                // KWallet without a Secret Service front end, for one: the item keeps its name.
                qCInfo(lcPlatform).noquote()
                    << "TackPad: could not find the keyring item to label:" << reply.error().message();
                done();
                return;
            }
            // Only unlocked items: the item was written a moment ago, so it is unlocked.
            setLabels(reply.argumentAt<0>(), label, context, done);
        });
}

} // namespace KeyringLabel

#include "FakePortal.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>

Q_DECLARE_METATYPE(FakePortal::BoundShortcut)

QDBusArgument &operator<<(QDBusArgument &argument, const FakePortal::BoundShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, FakePortal::BoundShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

namespace {

const QString connectionName = QStringLiteral("fake-portal");
const QString serviceName = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

// "<portal>/<kind>/<caller's unique name without ':' and with '_' for '.'>/<token>", as the interface defines. A token
// that is not fit for an object path makes the reply unsendable, so the caller's request then fails.
QString objectPath(const QDBusMessage &message, const QString &kind, const QVariantMap &options, const QString &key)
{
    return portalPath + u'/' + kind + u'/' + message.service().mid(1).replace(u'.', u'_') + u'/'
        + options.value(key).toString();
}

} // namespace

void FakePortal::setBehaviour(const Behaviour &behaviour)
{
    QMutexLocker lock(&m_mutex);
    m_behaviour = behaviour;
}

FakePortal::Record FakePortal::record() const
{
    QMutexLocker lock(&m_mutex);
    return m_record;
}

void FakePortal::activate(const QString &session, const QString &shortcutId) const
{
    QDBusMessage signal = QDBusMessage::createSignal(portalPath, shortcutsInterface, QStringLiteral("Activated"));
    signal << QVariant::fromValue(QDBusObjectPath(session)) << shortcutId << qulonglong(12345) << QVariantMap();
    QDBusConnection(connectionName).send(signal);
}

void FakePortal::closeSessionFromDesktop(const QString &session) const
{
    QDBusMessage signal = QDBusMessage::createSignal(
        session, QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Closed"));
    signal << QVariantMap();
    QDBusConnection(connectionName).send(signal);
}

bool FakePortal::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QString call = message.interface() + u'.' + message.member();
    if (call == QLatin1String("org.freedesktop.DBus.Properties.Get")
        && message.arguments() == QVariantList {shortcutsInterface, QStringLiteral("version")}) {
        connection.send(message.createReply(QVariant::fromValue(QDBusVariant(uint(1)))));
    } else if (call == shortcutsInterface + QStringLiteral(".CreateSession")) {
        createSession(message, connection);
    } else if (call == shortcutsInterface + QStringLiteral(".BindShortcuts")) {
        bindShortcuts(message, connection);
    } else if (call == QLatin1String("org.freedesktop.portal.Session.Close")) {
        QMutexLocker lock(&m_mutex);
        m_record.closedSessions.append(message.path());
        connection.send(message.createReply());
    } else {
        connection.send(message.createErrorReply(QDBusError::UnknownMethod, call));
    }
    return true;
}

void FakePortal::createSession(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QVariantMap options = qdbus_cast<QVariantMap>(message.arguments().value(0));
    const QString session
        = objectPath(message, QStringLiteral("session"), options, QStringLiteral("session_handle_token"));
    QMutexLocker lock(&m_mutex);
    m_record.sessions.append(session);
    const uint code = m_behaviour.createResponse;
    // Real portals send the handle as a string here.
    answer(connection, message, objectPath(message, QStringLiteral("request"), options, QStringLiteral("handle_token")),
        code, code == 0 ? QVariantMap {{QStringLiteral("session_handle"), session}} : QVariantMap());
}

void FakePortal::bindShortcuts(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QList<QVariant> arguments = message.arguments();
    const auto shortcuts = qdbus_cast<QList<BoundShortcut>>(arguments.value(1));
    QMutexLocker lock(&m_mutex);
    ++m_record.binds;
    m_record.bindSession = arguments.value(0).value<QDBusObjectPath>().path();
    QList<BoundShortcut> bound;
    for (const BoundShortcut &shortcut : shortcuts) {
        if (m_behaviour.bindListsShortcut)
            bound.append({shortcut.id,
                {{QStringLiteral("description"), shortcut.properties.value(QStringLiteral("description"))},
                    {QStringLiteral("trigger_description"), QStringLiteral("Super+N")}}});
    }
    answer(connection, message,
        objectPath(message, QStringLiteral("request"), qdbus_cast<QVariantMap>(arguments.value(3)),
            QStringLiteral("handle_token")),
        m_behaviour.bindResponse,
        m_behaviour.bindResponse == 0 ? QVariantMap {{QStringLiteral("shortcuts"), QVariant::fromValue(bound)}}
                                      : QVariantMap());
}

// Called with m_mutex held.
void FakePortal::answer(const QDBusConnection &connection, const QDBusMessage &call, const QString &requestPath,
    uint code, const QVariantMap &results) const
{
    QDBusMessage response = QDBusMessage::createSignal(
        requestPath, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
    response << code << results;
    const QDBusMessage reply = call.createReply(QVariant::fromValue(QDBusObjectPath(requestPath)));
    connection.send(m_behaviour.responseBeforeReply ? response : reply);
    connection.send(m_behaviour.responseBeforeReply ? reply : response);
}

FakePortalService::FakePortalService()
{
    qDBusRegisterMetaType<FakePortal::BoundShortcut>();
    qDBusRegisterMetaType<QList<FakePortal::BoundShortcut>>();
    m_thread.start();
    m_portal = new FakePortal;
    m_portal->moveToThread(&m_thread);
    // Registered from the portal's own thread: registration gives the object helpers that must live there too.
    QMetaObject::invokeMethod(
        m_portal,
        [this] {
            QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName);
            m_running = bus.isConnected() && bus.registerVirtualObject(portalPath, m_portal, QDBusConnection::SubPath)
                && bus.registerService(serviceName);
        },
        Qt::BlockingQueuedConnection);
}

FakePortalService::~FakePortalService()
{
    QMetaObject::invokeMethod(
        m_portal,
        [this] {
            {
                QDBusConnection bus(connectionName);
                bus.unregisterService(serviceName);
                bus.unregisterObject(portalPath, QDBusConnection::UnregisterTree);
            }
            QDBusConnection::disconnectFromBus(connectionName);
            delete m_portal;
        },
        Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

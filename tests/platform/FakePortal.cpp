#include "FakePortal.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QMetaObject>

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
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

QString senderPart(const QDBusMessage &message)
{
    QString sender = message.service().mid(1);
    return sender.replace(u'.', u'_');
}

QDBusMessage response(const QString &requestPath, uint code, const QVariantMap &results)
{
    QDBusMessage signal = QDBusMessage::createSignal(
        requestPath, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
    signal << code << results;
    return signal;
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

QString FakePortal::introspect(const QString &) const
{
    return QString();
}

bool FakePortal::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    {
        QMutexLocker lock(&m_mutex);
        m_record.calls.append(message.interface() + u'.' + message.member());
    }
    const QString call = message.interface() + u'.' + message.member();
    if (call == QLatin1String("org.freedesktop.DBus.Properties.Get")
        && message.arguments().value(0) == shortcutsInterface
        && message.arguments().value(1) == QLatin1String("version")) {
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
    const QString requestPath = portalPath + QStringLiteral("/request/") + senderPart(message) + u'/'
        + options.value(QStringLiteral("handle_token")).toString();
    const QString session = portalPath + QStringLiteral("/session/") + senderPart(message) + u'/'
        + options.value(QStringLiteral("session_handle_token")).toString();
    uint code;
    {
        QMutexLocker lock(&m_mutex);
        m_record.createOptions = options;
        m_record.sessions.append(session);
        code = m_behaviour.createResponse;
    }
    // Real portals send the handle as a string here.
    answer(connection, message.createReply(QVariant::fromValue(QDBusObjectPath(requestPath))),
        response(
            requestPath, code, code == 0 ? QVariantMap {{QStringLiteral("session_handle"), session}} : QVariantMap()));
}

void FakePortal::bindShortcuts(const QDBusMessage &message, const QDBusConnection &connection)
{
    const QList<QVariant> arguments = message.arguments();
    const QString session = arguments.value(0).value<QDBusObjectPath>().path();
    const auto shortcuts = qdbus_cast<QList<BoundShortcut>>(arguments.value(1));
    const QVariantMap options = qdbus_cast<QVariantMap>(arguments.value(3));
    const QString requestPath = portalPath + QStringLiteral("/request/") + senderPart(message) + u'/'
        + options.value(QStringLiteral("handle_token")).toString();
    Behaviour behaviour;
    {
        QMutexLocker lock(&m_mutex);
        m_record.bindSession = session;
        m_record.boundShortcuts = shortcuts;
        m_record.bindParentWindow = arguments.value(2).toString();
        behaviour = m_behaviour;
    }
    QList<BoundShortcut> bound;
    if (behaviour.bindListsShortcut) {
        for (const BoundShortcut &shortcut : shortcuts) {
            bound.append({shortcut.id,
                {{QStringLiteral("description"), shortcut.properties.value(QStringLiteral("description"))},
                    {QStringLiteral("trigger_description"), behaviour.trigger}}});
        }
    }
    const QVariantMap results = behaviour.bindResponse == 0
        ? QVariantMap {{QStringLiteral("shortcuts"), QVariant::fromValue(bound)}}
        : QVariantMap();
    answer(connection, message.createReply(QVariant::fromValue(QDBusObjectPath(requestPath))),
        response(requestPath, behaviour.bindResponse, results));
}

void FakePortal::answer(
    const QDBusConnection &connection, const QDBusMessage &reply, const QDBusMessage &response) const
{
    bool responseFirst;
    {
        QMutexLocker lock(&m_mutex);
        responseFirst = m_behaviour.responseBeforeReply;
    }
    connection.send(responseFirst ? response : reply);
    connection.send(responseFirst ? reply : response);
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
                && bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop"));
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
                bus.unregisterService(QStringLiteral("org.freedesktop.portal.Desktop"));
                bus.unregisterObject(portalPath, QDBusConnection::UnregisterTree);
            }
            QDBusConnection::disconnectFromBus(connectionName);
            delete m_portal;
        },
        Qt::BlockingQueuedConnection);
    m_thread.quit();
    m_thread.wait();
}

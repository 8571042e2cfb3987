#include "platform/PortalGlobalHotKey.h"

#include "core/AppInfo.h"
#include "platform/PlatformLog.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QRandomGenerator>

// One entry of the portal's shortcut list, D-Bus type (sa{sv}): an id and its properties.
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};
Q_DECLARE_METATYPE(PortalShortcut)

QDBusArgument &operator<<(QDBusArgument &argument, const PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, PortalShortcut &shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

namespace {

const QString portalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString sessionInterface = QStringLiteral("org.freedesktop.portal.Session");

// What the user sees in the desktop's shortcut dialog, and the combination proposed there.
const QString shortcutDescription = QStringLiteral("Create a new note");
const QString preferredTrigger = QStringLiteral("CTRL+ALT+bracketleft");

QString objectPathText(const QVariant &value)
{
    // The session handle is an object path, but some portal versions send it as a plain string.
    if (value.metaType() == QMetaType::fromType<QDBusObjectPath>())
        return value.value<QDBusObjectPath>().path();
    return value.toString();
}

} // namespace

bool PortalGlobalHotKey::isOffered(const QDBusConnection &bus)
{
    if (!bus.isConnected())
        return false;
    QDBusMessage get = QDBusMessage::createMethodCall(
        portalService, portalPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << shortcutsInterface << QStringLiteral("version");
    // A plain blocking call, not an event loop: nothing else runs meanwhile. Without a portal the bus answers
    // ServiceUnknown at once; a portal that is being activated gets a few seconds.
    return bus.call(get, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

PortalGlobalHotKey::PortalGlobalHotKey(const QDBusConnection &bus, QObject *parent)
    : GlobalHotKey(parent)
    , m_bus(bus)
{
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
}

PortalGlobalHotKey::~PortalGlobalHotKey()
{
    unregisterHotKey();
}

void PortalGlobalHotKey::registerHotKey()
{
    if (m_state != State::Off)
        return;
    ++m_attempt;
    m_failed = false;
    announceApplication();
    createSession();
}

void PortalGlobalHotKey::unregisterHotKey()
{
    ++m_attempt;
    stopWatchingRequest();
    closeSession();
    m_state = State::Off;
    m_trigger.clear();
    setRegistered(false);
}

QString PortalGlobalHotKey::description() const
{
    if (m_state == State::Bound) {
        if (m_trigger.isEmpty())
            return tr("No key is assigned to “%1” yet: choose one in the desktop's shortcut settings.")
                .arg(shortcutDescription);
        return activeDescription(m_trigger) + u' '
            + tr("The desktop's global shortcuts deliver it; change the key in the desktop's shortcut settings.");
    }
    if (m_failed)
        return tr("The desktop did not set up the shortcut.") + u' ' + commandLineAdvice();
    return tr("The desktop asks which key creates a new note; %1 is proposed.").arg(keyText());
}

void PortalGlobalHotKey::announceApplication()
{
    // Applications outside a sandbox tell the portal who they are, so that the desktop files the shortcut under
    // this application. Older portals lack the registry; that is fine, their shortcuts work without it.
    if (m_announced)
        return;
    m_announced = true;
    QDBusMessage registration = QDBusMessage::createMethodCall(
        portalService, portalPath, QStringLiteral("org.freedesktop.host.portal.Registry"), QStringLiteral("Register"));
    registration << QString::fromLatin1(AppInfo::reverseDomainId) << QVariantMap();
    m_bus.send(registration);
}

void PortalGlobalHotKey::createSession()
{
    m_state = State::CreatingSession;
    const QString token = newToken();
    const QVariantMap options {
        {QStringLiteral("handle_token"), token}, {QStringLiteral("session_handle_token"), newToken()}};
    callPortal(QStringLiteral("CreateSession"), {options}, token);
}

void PortalGlobalHotKey::sessionCreated(const QVariantMap &results)
{
    m_sessionHandle = objectPathText(results.value(QStringLiteral("session_handle")));
    if (m_sessionHandle.isEmpty()) {
        fail(QStringLiteral("the portal created no session"));
        return;
    }
    watchSession(true);
    bindShortcut();
}

void PortalGlobalHotKey::bindShortcut()
{
    m_state = State::Binding;
    const QString token = newToken();
    const QList<PortalShortcut> shortcuts {{QString::fromLatin1(shortcutId),
        {{QStringLiteral("description"), shortcutDescription},
            {QStringLiteral("preferred_trigger"), preferredTrigger}}}};
    callPortal(QStringLiteral("BindShortcuts"),
        {QVariant::fromValue(QDBusObjectPath(m_sessionHandle)), QVariant::fromValue(shortcuts), QString(),
            QVariantMap {{QStringLiteral("handle_token"), token}}},
        token);
}

void PortalGlobalHotKey::shortcutBound(const QVariantMap &results)
{
    const auto listed = results.find(QStringLiteral("shortcuts"));
    if (listed != results.end()) {
        const auto shortcuts = qdbus_cast<QList<PortalShortcut>>(*listed);
        const auto ours = std::find_if(shortcuts.begin(), shortcuts.end(),
            [](const PortalShortcut &shortcut) { return shortcut.id == QLatin1String(shortcutId); });
        if (ours == shortcuts.end()) {
            fail(QStringLiteral("the desktop did not bind the shortcut"));
            return;
        }
        m_trigger = ours->properties.value(QStringLiteral("trigger_description")).toString();
    }
    m_state = State::Bound;
    setRegistered(true);
}

void PortalGlobalHotKey::callPortal(const QString &method, const QVariantList &arguments, const QString &handleToken)
{
    // The answer comes as a Response signal of a request object whose path follows from our bus name and the
    // token. Subscribe before calling, or a quick portal answers before anyone listens.
    QString sender = m_bus.baseService().mid(1);
    sender.replace(u'.', u'_');
    const QString requestPath = portalPath + QStringLiteral("/request/") + sender + u'/' + handleToken;
    watchRequest(requestPath);

    QDBusMessage call = QDBusMessage::createMethodCall(portalService, portalPath, shortcutsInterface, method);
    call.setArguments(arguments);
    auto *watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call), this);
    const quint64 attempt = m_attempt;
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
        [this, attempt, method, requestPath](QDBusPendingCallWatcher *w) {
            w->deleteLater();
            // An abandoned attempt, or a request whose Response overtook this reply and moved things on.
            if (attempt != m_attempt || m_requestPath != requestPath)
                return;
            const QDBusPendingReply<QDBusObjectPath> reply = *w;
            if (reply.isError()) {
                fail(method + QStringLiteral(" failed: ") + reply.error().message());
                return;
            }
            // Old portals choose the request path themselves: follow the one they name.
            if (reply.value().path() != requestPath)
                watchRequest(reply.value().path());
        });
}

void PortalGlobalHotKey::watchRequest(const QString &requestPath)
{
    stopWatchingRequest();
    m_requestPath = requestPath;
    m_bus.connect(portalService, m_requestPath, requestInterface, QStringLiteral("Response"), this,
        SLOT(handleResponse(uint, QVariantMap)));
}

void PortalGlobalHotKey::stopWatchingRequest()
{
    if (m_requestPath.isEmpty())
        return;
    m_bus.disconnect(portalService, m_requestPath, requestInterface, QStringLiteral("Response"), this,
        SLOT(handleResponse(uint, QVariantMap)));
    m_requestPath.clear();
}

void PortalGlobalHotKey::handleResponse(uint response, const QVariantMap &results)
{
    stopWatchingRequest();
    if (response != 0) {
        // 1: the user dismissed the desktop's dialog; 2: the portal gave up.
        fail(response == 1 ? QStringLiteral("the user cancelled")
                           : QStringLiteral("the portal answered with code %1").arg(response));
        return;
    }
    if (m_state == State::CreatingSession)
        sessionCreated(results);
    else if (m_state == State::Binding)
        shortcutBound(results);
}

void PortalGlobalHotKey::handleActivated(
    const QDBusObjectPath &session, const QString &shortcut, qulonglong, const QVariantMap &)
{
    if (m_state == State::Bound && session.path() == m_sessionHandle && shortcut == QLatin1String(shortcutId))
        notifyPressed();
}

void PortalGlobalHotKey::handleSessionClosed()
{
    // The desktop ended the session (for example its portal restarted): the shortcut is gone.
    qCInfo(lcPlatform) << "TackPad: the desktop closed the global shortcut session";
    watchSession(false);
    m_sessionHandle.clear();
    m_state = State::Off;
    m_trigger.clear();
    setRegistered(false);
}

void PortalGlobalHotKey::watchSession(bool watch)
{
    const QString activated = QStringLiteral("Activated");
    const QString closed = QStringLiteral("Closed");
    if (watch) {
        m_bus.connect(portalService, portalPath, shortcutsInterface, activated, this,
            SLOT(handleActivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
        m_bus.connect(portalService, m_sessionHandle, sessionInterface, closed, this, SLOT(handleSessionClosed()));
    } else {
        m_bus.disconnect(portalService, portalPath, shortcutsInterface, activated, this,
            SLOT(handleActivated(QDBusObjectPath, QString, qulonglong, QVariantMap)));
        m_bus.disconnect(portalService, m_sessionHandle, sessionInterface, closed, this, SLOT(handleSessionClosed()));
    }
}

void PortalGlobalHotKey::closeSession()
{
    if (m_sessionHandle.isEmpty())
        return;
    watchSession(false);
    m_bus.send(
        QDBusMessage::createMethodCall(portalService, m_sessionHandle, sessionInterface, QStringLiteral("Close")));
    m_sessionHandle.clear();
}

void PortalGlobalHotKey::fail(const QString &why)
{
    qCWarning(lcPlatform).noquote() << "TackPad: the desktop portal did not set up the global shortcut:" << why;
    stopWatchingRequest();
    closeSession();
    m_state = State::Off;
    m_failed = true;
    m_trigger.clear();
    reportFailure();
}

QString PortalGlobalHotKey::newToken()
{
    // Tokens become parts of object paths: letters, digits and underscores only.
    return QStringLiteral("tackpad%1_%2").arg(++m_tokenCounter).arg(QRandomGenerator::global()->generate());
}

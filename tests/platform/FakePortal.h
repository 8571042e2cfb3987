#pragma once

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QMutex>
#include <QStringList>
#include <QThread>
#include <QVariantMap>

// A desktop portal with the global-shortcuts interface, on the test's private session bus. It follows the
// interface as published (CreateSession and BindShortcuts answer through Response signals of request objects whose
// paths derive from the caller's bus name and handle token) and records what it is asked. It runs on a thread
// and bus connection of its own, so it can answer a blocking call of the code under test.
class FakePortal : public QDBusVirtualObject {
public:
    struct Behaviour {
        uint createResponse = 0; // 0 success, 1 cancelled by the user, 2 other failure
        uint bindResponse = 0;
        bool bindListsShortcut = true; // whether the bind result names the shortcut
        bool responseBeforeReply = false; // the Response signal overtakes the method's reply
    };
    struct Record {
        int binds = 0;
        QStringList sessions; // handles handed out, in order
        QString bindSession;
        QStringList closedSessions;
    };
    // One entry of a shortcut list, D-Bus type (sa{sv}): an id and its properties.
    using Shortcuts = QList<std::pair<QString, QVariantMap>>;
    static inline const QString connectionName = QStringLiteral("fake-portal");
    static inline const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
    static inline const QString interface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

    void setBehaviour(const Behaviour &behaviour)
    {
        QMutexLocker lock(&m_mutex);
        m_behaviour = behaviour;
    }
    Record record() const
    {
        QMutexLocker lock(&m_mutex);
        return m_record;
    }

    // Signals as the desktop sends them.
    void activate(const QString &session, const QString &shortcutId) const
    {
        QDBusMessage signal = QDBusMessage::createSignal(path, interface, QStringLiteral("Activated"));
        signal << QVariant::fromValue(QDBusObjectPath(session)) << shortcutId << qulonglong(12345) << QVariantMap();
        QDBusConnection(connectionName).send(signal);
    }
    void closeSessionFromDesktop(const QString &session) const
    {
        QDBusMessage signal = QDBusMessage::createSignal(
            session, QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Closed"));
        QDBusConnection(connectionName).send(signal << QVariantMap());
    }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        const QString call = message.interface() + u'.' + message.member();
        const QVariantList arguments = message.arguments();
        QMutexLocker lock(&m_mutex);
        if (call == QLatin1String("org.freedesktop.DBus.Properties.Get")
            && arguments == QVariantList {interface, QStringLiteral("version")}) {
            connection.send(message.createReply(QVariant::fromValue(QDBusVariant(uint(1)))));
        } else if (call == interface + QStringLiteral(".CreateSession")) {
            const QVariantMap options = qdbus_cast<QVariantMap>(arguments.value(0));
            const QString session = objectPath(message, u"session"_qs, options.value(u"session_handle_token"_qs));
            m_record.sessions.append(session);
            // Real portals send the handle as a string here.
            answer(connection, message, options, m_behaviour.createResponse, {{u"session_handle"_qs, session}});
        } else if (call == interface + QStringLiteral(".BindShortcuts")) {
            ++m_record.binds;
            m_record.bindSession = arguments.value(0).value<QDBusObjectPath>().path();
            Shortcuts bound;
            for (const auto &[id, properties] : qdbus_cast<Shortcuts>(arguments.value(1))) {
                if (m_behaviour.bindListsShortcut)
                    bound.append({id, {{u"trigger_description"_qs, u"Super+N"_qs}}});
            }
            answer(connection, message, qdbus_cast<QVariantMap>(arguments.value(3)), m_behaviour.bindResponse,
                {{u"shortcuts"_qs, QVariant::fromValue(bound)}});
        } else if (call == QLatin1String("org.freedesktop.portal.Session.Close")) {
            m_record.closedSessions.append(message.path());
            connection.send(message.createReply());
        } else {
            connection.send(message.createErrorReply(QDBusError::UnknownMethod, call));
        }
        return true;
    }
    QString introspect(const QString &) const override { return QString(); }

private:
    // "<portal>/<kind>/<caller's unique name without ':' and with '_' for '.'>/<token>", as the interface defines. A
    // token that is not fit for an object path makes the reply unsendable, so the caller's request then fails.
    static QString objectPath(const QDBusMessage &message, const QString &kind, const QVariant &token)
    {
        return path + u'/' + kind + u'/' + message.service().mid(1).replace(u'.', u'_') + u'/' + token.toString();
    }

    // Replies with the request object's path and sends its Response signal: the results only on success.
    void answer(const QDBusConnection &connection, const QDBusMessage &call, const QVariantMap &options, uint code,
        const QVariantMap &results) const
    {
        const QString request = objectPath(call, u"request"_qs, options.value(u"handle_token"_qs));
        QDBusMessage response = QDBusMessage::createSignal(
            request, QStringLiteral("org.freedesktop.portal.Request"), QStringLiteral("Response"));
        response << code << (code == 0 ? results : QVariantMap());
        const QDBusMessage reply = call.createReply(QVariant::fromValue(QDBusObjectPath(request)));
        connection.send(m_behaviour.responseBeforeReply ? response : reply);
        connection.send(m_behaviour.responseBeforeReply ? reply : response);
    }

    mutable QMutex m_mutex;
    Behaviour m_behaviour;
    Record m_record;
};

// Owns the portal's thread and bus connection; the service name is taken while the object lives.
class FakePortalService {
public:
    FakePortalService()
    {
        qDBusRegisterMetaType<FakePortal::Shortcuts::value_type>();
        qDBusRegisterMetaType<FakePortal::Shortcuts>();
        m_thread.start();
        m_portal->moveToThread(&m_thread);
        // Registered from the portal's own thread: registration gives the object helpers that must live there too.
        onPortalThread([this] {
            QDBusConnection bus
                = QDBusConnection::connectToBus(QDBusConnection::SessionBus, FakePortal::connectionName);
            bus.registerVirtualObject(FakePortal::path, m_portal, QDBusConnection::SubPath);
            bus.registerService(service);
        });
    }
    ~FakePortalService()
    {
        onPortalThread([this] {
            QDBusConnection(FakePortal::connectionName).unregisterService(service);
            QDBusConnection(FakePortal::connectionName)
                .unregisterObject(FakePortal::path, QDBusConnection::UnregisterTree);
            QDBusConnection::disconnectFromBus(FakePortal::connectionName);
            delete m_portal;
        });
        m_thread.quit();
        m_thread.wait();
    }
    FakePortal &portal() { return *m_portal; }

private:
    static inline const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
    void onPortalThread(const std::function<void()> &work)
    {
        QMetaObject::invokeMethod(m_portal, work, Qt::BlockingQueuedConnection);
    }

    QThread m_thread;
    FakePortal *m_portal = new FakePortal;
};

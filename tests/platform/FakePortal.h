#pragma once

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
    Q_OBJECT

public:
    struct Behaviour {
        uint createResponse = 0; // 0 success, 1 cancelled by the user, 2 other failure
        uint bindResponse = 0;
        bool bindListsShortcut = true; // whether the bind result names the shortcut
        bool responseBeforeReply = false; // the Response signal overtakes the method's reply
    };
    struct BoundShortcut {
        QString id;
        QVariantMap properties;
    };
    struct Record {
        int binds = 0;
        QStringList sessions; // handles handed out, in order
        QString bindSession;
        QStringList closedSessions;
    };

    void setBehaviour(const Behaviour &behaviour);
    Record record() const;
    // Signals as the desktop sends them.
    void activate(const QString &session, const QString &shortcutId) const;
    void closeSessionFromDesktop(const QString &session) const;

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;
    QString introspect(const QString &) const override { return QString(); }

private:
    void createSession(const QDBusMessage &message, const QDBusConnection &connection);
    void bindShortcuts(const QDBusMessage &message, const QDBusConnection &connection);
    void answer(const QDBusConnection &connection, const QDBusMessage &call, const QString &requestPath, uint code,
        const QVariantMap &results) const;

    mutable QMutex m_mutex;
    Behaviour m_behaviour;
    Record m_record;
};

// Owns the portal's thread and bus connection; the service name is taken while the object lives.
class FakePortalService {
public:
    FakePortalService();
    ~FakePortalService();
    bool isRunning() const { return m_running; }
    FakePortal &portal() { return *m_portal; }

private:
    QThread m_thread;
    FakePortal *m_portal = nullptr;
    bool m_running = false;
};

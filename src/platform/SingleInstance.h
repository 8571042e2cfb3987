#pragma once

#include <QDeadlineTimer>
#include <QObject>
#include <QStringList>
#include <QTimer>

#include <memory>
#include <optional>

class QLocalServer;
class QLocalSocket;
class QLockFile;

// Keeps one running instance per user. A lock file elects the primary instance, which then listens on a local
// socket; a later launch finds the lock taken, hands its command ("reopen", "new-note", ...) to the primary and
// exits. The lock decides, not the socket: two launches at the same moment could otherwise both find no server
// and both start listening.
//
// Commands travel as frames: a 32-bit big-endian length, then the UTF-8 arguments, each followed by a NUL byte (an
// argument of a command line cannot contain one). The primary answers each frame with one byte, so that the
// sender knows the command arrived.
class SingleInstance : public QObject {
    Q_OBJECT

public:
    static constexpr int defaultForwardTimeoutMs = 2000;
    static constexpr qsizetype maxFrameBytes = 64 * 1024;

    // `name` identifies the application (tests pass a name of their own). Lock file and socket live in the user's
    // runtime folder; the socket name carries the user id.
    explicit SingleInstance(const QString &name, QObject *parent = nullptr);
    ~SingleInstance() override;

    // Takes the lock if no live instance holds it (a lock left behind by a crashed instance is taken over) and
    // starts listening. Returns whether this process is now the primary instance; asking again is harmless.
    bool tryBecomePrimary();
    bool isPrimary() const;

    // From a later launch: sends `command` to the primary, retrying while the primary is still starting up, for at
    // most the forward time-out. Ends with `forwardFinished`. One forward at a time: a second call while one is
    // under way is refused (logged, no signal).
    void forward(const QStringList &command);
    void setForwardTimeoutMs(int milliseconds) { m_forwardTimeoutMs = milliseconds; }

    QString lockFilePath() const { return m_lockPath; }
    QString serverName() const { return m_serverName; }

    // The wire format of one command, and back (nothing when `payload` is not one).
    static QByteArray encodeCommand(const QStringList &command);
    static std::optional<QStringList> decodePayload(const QByteArray &payload);

Q_SIGNALS:
    // On the primary: a later launch sent `command`.
    void commandReceived(const QStringList &command);
    // On a later launch: whether the primary confirmed the command. Without a confirmation the primary may still
    // carry it out later (it was busy for seconds); it may also never have seen it.
    void forwardFinished(bool delivered);

private:
    void acceptConnections();
    void readCommands(QLocalSocket *socket);
    void connectToPrimary();
    void retryOrGiveUp();
    void finishForward(bool delivered);

    QString m_lockPath;
    QString m_serverName;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer *m_server = nullptr;
    bool m_primary = false;

    // The forward under way, if any.
    QLocalSocket *m_client = nullptr;
    QByteArray m_pendingFrame;
    QDeadlineTimer m_forwardDeadline;
    QTimer m_answerTimer;
    int m_forwardTimeoutMs = defaultForwardTimeoutMs;
    bool m_forwarding = false;
};

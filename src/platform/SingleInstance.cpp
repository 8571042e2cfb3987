#include "platform/SingleInstance.h"

#include "platform/PlatformLog.h"

#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QStandardPaths>
#include <QTimer>
#include <QtEndian>

#include <unistd.h>

namespace {

constexpr char acknowledgement = 'k';
constexpr int retryIntervalMs = 50;
// Once connected, how long the primary has to confirm. It confirms as soon as its event loop reads the command, so
// only a primary that hangs takes this long; the launch then gives up instead of hanging too.
constexpr int answerTimeoutMs = 5000;
constexpr qsizetype headerBytes = 4;
// Longest socket path that fits the address structure everywhere (104 bytes on macOS, with the terminator).
constexpr qsizetype maxSocketPathBytes = 100;

QString runtimeFolder()
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    QDir().mkpath(folder);
    return folder;
}

} // namespace

SingleInstance::SingleInstance(const QString &name, QObject *parent)
    : QObject(parent)
{
    const QString folder = runtimeFolder();
    m_lockPath = folder + u'/' + name + QStringLiteral(".lock");
    // The user id keeps users of one machine apart where the socket falls back to the shared temporary folder.
    const QString socketName = name + u'-' + QString::number(::getuid());
    const QString socketPath = folder + u'/' + socketName + QStringLiteral(".socket");
    m_serverName = QFile::encodeName(socketPath).size() < maxSocketPathBytes ? socketPath : socketName;

    m_answerTimer.setSingleShot(true);
    connect(&m_answerTimer, &QTimer::timeout, this, [this] { finishForward(false); });
}

SingleInstance::~SingleInstance()
{
    // Stop listening before the lock goes: closing the server deletes its socket file, which by then could belong
    // to a new primary that took the released lock.
    delete m_server;
    m_server = nullptr;
}

bool SingleInstance::isPrimary() const
{
    return m_primary;
}

bool SingleInstance::tryBecomePrimary()
{
    if (m_primary)
        return true;
    auto lock = std::make_unique<QLockFile>(m_lockPath);
    // Stale time 0: a lock is never stale because of its age, only because the process that holds it is gone.
    lock->setStaleLockTime(0);
    if (!lock->tryLock(0)) {
        if (lock->error() == QLockFile::LockFailedError)
            return false;
        // A runtime folder that cannot hold the lock must not keep the application from starting at all: run
        // without the single-instance guarantee.
        qCWarning(lcPlatform) << "TackPad: could not create the instance lock" << m_lockPath;
    }
    m_lock = std::move(lock);
    m_primary = true;

    // A primary that crashed left its socket file behind, and listening fails on an existing one.
    QLocalServer::removeServer(m_serverName);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections);
    if (!m_server->listen(m_serverName)) {
        qCWarning(lcPlatform).noquote() << "TackPad: later launches cannot reach this instance:"
                                        << m_server->errorString();
    }
    return true;
}

void SingleInstance::acceptConnections()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readCommands(socket); });
        readCommands(socket);
    }
}

void SingleInstance::readCommands(QLocalSocket *socket)
{
    while (socket->bytesAvailable() >= headerBytes) {
        const QByteArray header = socket->peek(headerBytes);
        const quint32 length = qFromBigEndian<quint32>(header.constData());
        if (length > quint32(maxFrameBytes)) {
            qCWarning(lcPlatform) << "TackPad: ignored an oversized command from another launch";
            socket->abort();
            return;
        }
        if (socket->bytesAvailable() < headerBytes + qint64(length))
            return;
        socket->skip(headerBytes);
        const std::optional<QStringList> command = decodePayload(socket->read(length));
        if (!command) {
            qCWarning(lcPlatform) << "TackPad: ignored a malformed command from another launch";
            socket->abort();
            return;
        }
        // Confirm before acting: what the command starts may take long (a folder dialog), and the other launch
        // should not wait for it.
        socket->write(&acknowledgement, 1);
        socket->flush();
        Q_EMIT commandReceived(*command);
    }
}

QByteArray SingleInstance::encodeCommand(const QStringList &command)
{
    QByteArray payload;
    for (const QString &argument : command) {
        payload += argument.toUtf8();
        payload += '\0';
    }
    QByteArray frame(headerBytes, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(payload.size()), frame.data());
    return frame + payload;
}

std::optional<QStringList> SingleInstance::decodePayload(const QByteArray &payload)
{
    if (payload.isEmpty())
        return QStringList();
    if (!payload.endsWith('\0'))
        return std::nullopt;
    QStringList command;
    const QList<QByteArray> parts = payload.chopped(1).split('\0');
    for (const QByteArray &part : parts)
        command.append(QString::fromUtf8(part));
    return command;
}

void SingleInstance::forward(const QStringList &command)
{
    if (m_forwarding) {
        qCWarning(lcPlatform) << "TackPad: a command is already being handed to the running instance";
        return;
    }
    m_forwarding = true;
    m_pendingFrame = encodeCommand(command);
    m_forwardDeadline = QDeadlineTimer(m_forwardTimeoutMs);
    connectToPrimary();
}

void SingleInstance::connectToPrimary()
{
    m_client = new QLocalSocket(this);
    connect(m_client, &QLocalSocket::connected, this, [this] {
        m_client->write(m_pendingFrame);
        m_answerTimer.start(answerTimeoutMs);
    });
    connect(m_client, &QLocalSocket::readyRead, this, [this] {
        if (m_client->read(1) == QByteArray(1, acknowledgement))
            finishForward(true);
    });
    // Not listening yet (still starting), or gone before it answered: both end here, and both are worth another
    // try while time is left. A closing peer reports an error and a disconnection; the error alone counts.
    connect(m_client, &QLocalSocket::errorOccurred, this, &SingleInstance::retryOrGiveUp);
    m_client->connectToServer(m_serverName);
}

void SingleInstance::retryOrGiveUp()
{
    m_answerTimer.stop();
    if (m_client) {
        m_client->disconnect(this);
        m_client->abort();
        m_client->deleteLater();
        m_client = nullptr;
    }
    if (m_forwardDeadline.hasExpired()) {
        finishForward(false);
        return;
    }
    const int wait = int(qMin<qint64>(retryIntervalMs, m_forwardDeadline.remainingTime()));
    QTimer::singleShot(wait, this, &SingleInstance::connectToPrimary);
}

void SingleInstance::finishForward(bool delivered)
{
    m_answerTimer.stop();
    if (m_client) {
        m_client->disconnect(this);
        m_client->disconnectFromServer();
        m_client->deleteLater();
        m_client = nullptr;
    }
    m_forwarding = false;
    m_pendingFrame.clear();
    if (!delivered)
        qCWarning(lcPlatform) << "TackPad: the running instance did not answer";
    Q_EMIT forwardFinished(delivered);
}

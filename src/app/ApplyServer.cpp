#include "app/ApplyServer.h"

#include "cli/ApplyCommand.h"
#include "platform/PlatformLog.h"
#include "store/NoteStore.h"
#include "windows/NoteWindowController.h"
#include "windows/NoteWindows.h"

#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>

namespace {

// The request's words: "apply", the folder, the prompt's and the note's names, the fallback key.
enum RequestField { Verb, Folder, PromptName, NoteName, FallbackKey, FieldCount };

bool sameFolder(const QString &a, const QString &b)
{
    const QString canonicalA = QFileInfo(a).canonicalFilePath();
    return !canonicalA.isEmpty() && canonicalA == QFileInfo(b).canonicalFilePath();
}

void answer(QLocalSocket *socket, const QByteArray &frame)
{
    socket->write(frame);
    socket->flush();
}

void answerFailure(QLocalSocket *socket, const QString &message)
{
    answer(socket, ApplyCommand::encodeOutcome(ApplyCommand::failed, {}, QStringLiteral("tackpad: %1\n").arg(message)));
}

} // namespace

ApplyServer::ApplyServer(StoreProvider store, const NoteWindows &windows, const QString &name, QObject *parent)
    : QObject(parent)
    , m_store(std::move(store))
    , m_windows(windows)
    , m_name(name)
    , m_server(new QLocalServer(this))
{
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &ApplyServer::accept);
}

ApplyServer::~ApplyServer() = default;

bool ApplyServer::listen()
{
    // Only one Tackpad runs per user; a socket file left by one that crashed would make listening fail.
    QLocalServer::removeServer(m_name);
    if (m_server->listen(m_name))
        return true;
    qCWarning(lcPlatform).noquote() << "TackPad: `tackpad apply` cannot reach this instance:"
                                    << m_server->errorString();
    return false;
}

void ApplyServer::accept()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { read(socket); });
        read(socket);
    }
}

void ApplyServer::read(QLocalSocket *socket)
{
    bool broken = false;
    const std::optional<QStringList> request = ApplyCommand::takeFrame(*socket, &broken);
    if (broken || (request && (request->size() != FieldCount || request->at(Verb) != QLatin1String("apply")))) {
        qCWarning(lcPlatform) << "TackPad: ignored a malformed apply command";
        socket->abort();
        return;
    }
    if (request) {
        // One command per connection.
        socket->disconnect(this);
        carryOut(socket, *request);
    }
}

void ApplyServer::carryOut(QLocalSocket *socket, const QStringList &request)
{
    NoteStore *store = m_store ? m_store() : nullptr;
    if (!store || !sameFolder(store->folder(), request.at(Folder))) {
        answer(socket, ApplyCommand::encodeNotOpen());
        return;
    }
    const ApplyCommand::Resolved found = ApplyCommand::resolve(*store, request.at(PromptName), request.at(NoteName));
    NoteWindowController *target = m_windows.windowOf(found.note);
    if (!found.error.isEmpty() || !target) {
        answerFailure(socket, found.error);
        return;
    }
    if (target->aiRequestInFlight()) {
        answerFailure(socket, tr("an AI request for “%1” is already running").arg(target->note().title()));
        return;
    }
    // The socket is the context: a command that gave up waiting does not stop the run, it just hears nothing.
    auto answered = std::make_shared<bool>(false);
    auto connection = std::make_shared<QMetaObject::Connection>();
    *connection = connect(target, &NoteWindowController::aiRequestFinished, socket,
        [socket, connection, answered](NoteWindowController::PromptOutcome outcome, const QString &message) {
            QObject::disconnect(*connection);
            *answered = true;
            if (outcome == NoteWindowController::PromptOutcome::Applied)
                answer(socket, ApplyCommand::encodeOutcome(ApplyCommand::applied, message + QLatin1Char('\n'), {}));
            else
                answerFailure(socket, message);
        });
    target->runPrompt(found.prompt->note().body, found.prompt->note().title(), request.at(FallbackKey));
    // A window without an AI client starts nothing and would never report.
    if (!*answered && !target->aiRequestInFlight()) {
        QObject::disconnect(*connection);
        answerFailure(socket, tr("this Tackpad cannot apply prompts"));
    }
}

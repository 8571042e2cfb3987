#pragma once

#include <QObject>
#include <QString>

#include <functional>

class NoteStore;
class NoteWindows;
class QLocalServer;
class QLocalSocket;

// The running Tackpad's side of `tackpad apply`: when the command names the workspace open here, the note's window
// applies the prompt (toasts, one undo step, the backup) and the outcome goes back to the command; for any other
// workspace the command is told to change the files itself.
class ApplyServer : public QObject {
    Q_OBJECT

public:
    using StoreProvider = std::function<NoteStore *()>;

    // `name` is the local socket to listen on (ApplyCommand::serverName() in the application); the prompt runs in
    // the note's window, found among `windows`.
    ApplyServer(StoreProvider store, const NoteWindows &windows, const QString &name, QObject *parent = nullptr);
    ~ApplyServer() override;

    // False (and logged) when the socket cannot be set up; commands then work on the files.
    bool listen();

private:
    void accept();
    void read(QLocalSocket *socket);
    void carryOut(QLocalSocket *socket, const QStringList &request);

    StoreProvider m_store;
    const NoteWindows &m_windows;
    QString m_name;
    QLocalServer *m_server;
};

#include "platform/QuitSignalHandler.h"

#include "platform/PlatformLog.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// The one pipe of the process: a signal handler may do almost nothing, so it only writes the signal's number here
// and the event loop does the rest.
int s_pipe[2] = {-1, -1};

void onSignal(int signalNumber)
{
    const int savedErrno = errno;
    const unsigned char byte = static_cast<unsigned char>(signalNumber);
    [[maybe_unused]] const ssize_t written = ::write(s_pipe[0], &byte, 1);
    errno = savedErrno;
}

} // namespace

QuitSignalHandler::QuitSignalHandler(QObject *parent)
    : QObject(parent)
{
    if (s_pipe[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, s_pipe) != 0) {
        qCWarning(lcPlatform) << "TackPad: cannot watch for quit signals";
        return;
    }
    m_notifier = new QSocketNotifier(s_pipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &QuitSignalHandler::readSignal);

    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signalNumber : {SIGTERM, SIGINT, SIGHUP})
        sigaction(signalNumber, &action, nullptr);
}

QuitSignalHandler::~QuitSignalHandler()
{
    if (!m_notifier)
        return;
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    for (int signalNumber : {SIGTERM, SIGINT, SIGHUP})
        sigaction(signalNumber, &action, nullptr);
    delete m_notifier;
    ::close(s_pipe[0]);
    ::close(s_pipe[1]);
    s_pipe[0] = s_pipe[1] = -1;
}

void QuitSignalHandler::readSignal()
{
    unsigned char byte = 0;
    if (::read(s_pipe[1], &byte, 1) == 1)
        Q_EMIT quitRequested(byte);
}

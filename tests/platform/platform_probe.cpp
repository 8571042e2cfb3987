// A separate process for the single-instance test: the guard only shows what it does across processes (another
// launch, a crashed primary).
//
//   platform_probe instance <name> launch|crash [command...]
//       Becomes the primary instance if it can and prints "primary"; then prints "received <arguments joined by
//       spaces>" for every command that arrives ("crash": dies at once by SIGKILL instead, leaving its lock
//       behind). When another instance is primary, forwards the command and prints "forwarded" or "failed".
#include "platform/SingleInstance.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

namespace {

void say(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

int runInstance(const QString &name, const QString &mode, const QStringList &command)
{
    auto *instance = new SingleInstance(name, qApp);
    if (instance->tryBecomePrimary()) {
        say(QStringLiteral("primary"));
        if (mode == QLatin1String("crash"))
            std::raise(SIGKILL);
        QObject::connect(instance, &SingleInstance::commandReceived, qApp,
            [](const QStringList &received) { say(QStringLiteral("received ") + received.join(u' ')); });
    } else {
        QObject::connect(instance, &SingleInstance::forwardFinished, qApp, [](bool delivered) {
            say(delivered ? QStringLiteral("forwarded") : QStringLiteral("failed"));
            QCoreApplication::exit(delivered ? 0 : 1);
        });
        instance->forward(command);
    }
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.size() >= 3 && arguments[0] == QLatin1String("instance"))
        return runInstance(arguments[1], arguments[2], arguments.mid(3));
    std::fputs("usage: platform_probe instance <name> launch|crash [command...]\n", stderr);
    return 2;
}

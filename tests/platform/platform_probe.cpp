// A separate process for the single-instance test: a primary that crashes, leaving its lock and socket behind.
//
//   platform_probe <name>
//       Becomes the primary instance of <name>, prints "primary" and dies at once by SIGKILL.
#include "platform/SingleInstance.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.size() != 1) {
        std::fputs("usage: platform_probe <name>\n", stderr);
        return 2;
    }
    SingleInstance instance(arguments[0]);
    if (!instance.tryBecomePrimary())
        return 1;
    std::puts("primary");
    std::fflush(stdout);
    std::raise(SIGKILL);
    return 0;
}

#include "app/AppInfo.h"
#include "app/CommandLine.h"

#include <QCoreApplication>
#include <QTextStream>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QString::fromLatin1(AppInfo::name));
    QCoreApplication::setOrganizationName(QString::fromLatin1(AppInfo::organization));
    QCoreApplication::setOrganizationDomain(QString::fromLatin1(AppInfo::organizationDomain));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(AppInfo::version));

    QTextStream out(stdout);
    QTextStream err(stderr);
    return CommandLine::run(QCoreApplication::arguments(), out, err).value_or(0);
}

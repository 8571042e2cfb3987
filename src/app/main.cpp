#include "app/TackpadApplication.h"
#include "cli/CommandLine.h"
#include "cli/ConsoleArguments.h"
#include "core/AppInfo.h"
#include "platform/QuitSignalHandler.h"
#include "platform/SingleInstance.h"

#include <QApplication>
#include <QIcon>
#include <QImageReader>
#include <QLibraryInfo>
#include <QLocale>
#include <QTextStream>
#include <QTranslator>

namespace {

void setApplicationNames()
{
    QCoreApplication::setApplicationName(QString::fromLatin1(AppInfo::name));
    QCoreApplication::setOrganizationName(QString::fromLatin1(AppInfo::organization));
    QCoreApplication::setOrganizationDomain(QString::fromLatin1(AppInfo::organizationDomain));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(AppInfo::version));
}

// Wayland compositors do not let a client place its windows, so notes would not open where they were left. Where
// XWayland is at hand, go through it, unless the user chose a platform plugin.
void preferXWayland()
{
    if (qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        return;
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && !qEnvironmentVariableIsEmpty("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "xcb");
}

// The icon every window carries, at the sizes taskbars and window switchers show. X11 wants the pixels of every size
// in every window, twice as Qt makes a window, so they are ready-made pictures (the packaging's own, rendered from
// its SVG): drawing the SVG per note was a good part of start-up, and loading the SVG renderer at all costs every
// start a few megabytes. They are read as what they are, PNG: QIcon::addFile asks every image plugin (the SVG one
// among them) whether it knows the file, which loads them all.
QIcon applicationIcon()
{
    QIcon icon;
    for (const int size : {16, 32, 48, 64}) {
        QImageReader reader(QStringLiteral(":/icons/app.tackpad.Tackpad-%1.png").arg(size), "png");
        reader.setAutoDetectImageFormat(false);
        icon.addPixmap(QPixmap::fromImage(reader.read()));
    }
    return icon;
}

std::optional<int> runConsoleCommand(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    setApplicationNames();
    return CommandLine::runOnStandardStreams(QCoreApplication::arguments());
}

// What the running Tackpad is asked to do: show the notes, open a new note, or import files.
QStringList applicationCommand(const ConsoleArguments &arguments)
{
    if (!arguments.files.isEmpty())
        return QStringList {QStringLiteral("import")} + arguments.files;
    return {arguments.newNote ? QStringLiteral("new-note") : QStringLiteral("reopen")};
}

// Qt's own texts (the buttons of standard dialogs, the editor's context menu) and the app's, for the user's
// language; installed before any window exists, so every text is looked up translated from the start. A language
// without a translation keeps the English texts.
void installTranslations(QApplication &app)
{
    const QLocale locale;
    auto *qtTexts = new QTranslator(&app);
    if (qtTexts->load(
            locale, QStringLiteral("qtbase"), QStringLiteral("_"), QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(qtTexts);
    auto *appTexts = new QTranslator(&app);
    if (appTexts->load(locale, QStringLiteral("tackpad"), QStringLiteral("_"), QStringLiteral(":/i18n")))
        QCoreApplication::installTranslator(appTexts);
}

} // namespace

int main(int argc, char *argv[])
{
    // The icon lives in a static library, whose resources are only linked in when asked for by name.
    Q_INIT_RESOURCE(app);

    // Console commands (list, new, search, --help, --version) need no display; everything else is the app.
    if (const std::optional<int> status = runConsoleCommand(argc, argv))
        return *status;

    preferXWayland();
    QApplication app(argc, argv);
    setApplicationNames();
    installTranslations(app);
    QApplication::setDesktopFileName(QString::fromLatin1(AppInfo::reverseDomainId));
    QApplication::setWindowIcon(applicationIcon());
    // Notes come and go; the application lives until the user quits it.
    QApplication::setQuitOnLastWindowClosed(false);

    const QStringList command = applicationCommand(ConsoleArguments::ofCommandLine(QCoreApplication::arguments()));

    SingleInstance instance(QStringLiteral("tackpad"));
    if (!instance.tryBecomePrimary()) {
        // Another Tackpad runs: hand it the command and leave.
        QObject::connect(&instance, &SingleInstance::forwardFinished, &app,
            [](bool delivered) { QCoreApplication::exit(delivered ? 0 : 1); });
        instance.forward(command);
        return app.exec();
    }

    TackpadApplication tackpad;
    // A logout, `kill` or Ctrl+C writes pending saves and quits, also while a dialog is open.
    QuitSignalHandler quitSignals;
    QObject::connect(&quitSignals, &QuitSignalHandler::quitRequested, &tackpad, &TackpadApplication::terminate);
    QObject::connect(&instance, &SingleInstance::commandReceived, &tackpad, &TackpadApplication::handleCommand);
    if (!tackpad.launch())
        return 0;
    if (command.first() != QLatin1String("reopen"))
        tackpad.handleCommand(command);
    return app.exec();
}

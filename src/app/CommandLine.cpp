#include "app/CommandLine.h"

#include "app/AppInfo.h"

#include <QTextStream>

namespace CommandLine {

QString usage()
{
    return QStringLiteral(
        "Usage: tackpad [--help] [--version]\n"
        "\n"
        "Tackpad keeps sticky notes as plain Markdown files in a folder you choose.\n"
        "\n"
        "Options:\n"
        "  -h, --help     Show this help and exit.\n"
        "  -v, --version  Show the version and exit.\n");
}

std::optional<int> run(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    const QStringList args = arguments.mid(1);
    if (args.isEmpty() || args.contains(QLatin1String("--help")) || args.contains(QLatin1String("-h"))) {
        out << usage();
        return 0;
    }
    if (args.first() == QLatin1String("--version") || args.first() == QLatin1String("-v")) {
        out << AppInfo::name << ' ' << AppInfo::version << '\n';
        return 0;
    }
    err << "tackpad: unknown command or option '" << args.first() << "'\n\n" << usage();
    return 2;
}

} // namespace CommandLine

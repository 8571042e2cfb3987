#pragma once

#include <QStringList>

#include <optional>

class QTextStream;

// What the words of a `tackpad` command line ask for, read alike for every console command with QCommandLineParser.
//
// Every option of the console commands is long, so a word with a single dash ("-", "- milk", "-5") is text, and
// "--" ends the options. Qt's own options (-session, -platform, -style, -display, …) ask for the application: the
// session manager restores it with "-session <id>". They stay in argv, for QApplication to read. Words that name
// existing files (and no command) ask for the application to import those files.
struct ConsoleArguments {
    enum class Request { Application, Help, Version, Command, UsageError };

    // The whole command line, program name first: the request, and for a command its name and its words unread.
    static ConsoleArguments ofCommandLine(const QStringList &arguments);
    // The words after a command's name ("list", "new", "search", "apply"): its options and its positional
    // arguments, checked in number.
    static ConsoleArguments ofCommand(const QString &command, const QStringList &words);
    static QString helpText();

    // Help, the version or a usage error, printed, with the exit status; nothing when there is a command to run or
    // the application to start.
    std::optional<int> answer(QTextStream &out, QTextStream &err) const;

    static constexpr int usageErrorStatus = 2;

    Request request = Request::Command;
    QString command;
    QStringList words; // the command's words after ofCommandLine; its positional arguments after ofCommand
    std::optional<QString> workspace;
    std::optional<QString> title;
    bool json = false;
    bool newNote = false;
    // Files to import into the open workspace, as absolute paths: `tackpad FILE.md…`, which is also how the
    // desktop's "Open with" starts the application.
    QStringList files;
    QString error; // the usage error, without the "tackpad: " in front
};

#pragma once

#include "store/NoteFiles.h"

#include <QString>

#include <optional>
#include <vector>

class QTextStream;
class Settings;

// The workspace a console command works on: the folder given with --workspace, else the one Tackpad opened last.
namespace ConsoleWorkspace {

// The folder as an absolute clean path, checked to exist and to be a folder; otherwise one line on `err`
// ("tackpad: …") and nothing.
std::optional<QString> location(const std::optional<QString> &requested, const Settings &settings, QTextStream &err);

// The line that says the folder cannot be listed, and why.
QString unreadableMessage(const QString &folder, const QString &error);

// The location, also checked to be listable; otherwise one line on `err`
// ("tackpad: …") and nothing. The listing made for the check is handed out through `entries` and `skipped` when
// given (see NoteFiles::listNoteFiles), so that a command that reads every note need not list the folder again.
std::optional<QString> folder(const std::optional<QString> &requested, const Settings &settings, QTextStream &err,
    std::vector<NoteFiles::Entry> *entries = nullptr, std::vector<NoteFiles::Skipped> *skipped = nullptr);

} // namespace ConsoleWorkspace

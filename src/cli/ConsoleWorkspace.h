#pragma once

#include <QString>

#include <optional>

class QTextStream;
class Settings;

// The workspace a console command works on: the folder given with --workspace, else the one Tackpad opened last.
namespace ConsoleWorkspace {

// The folder as an absolute clean path, checked to exist and to be listable; otherwise one line on `err`
// ("tackpad: …") and nothing.
std::optional<QString> folder(const std::optional<QString> &requested, const Settings &settings, QTextStream &err);

} // namespace ConsoleWorkspace

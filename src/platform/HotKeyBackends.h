#pragma once

#include <QString>

#include <memory>

class GlobalHotKey;
class QObject;

// Which global hot-key backend serves a platform plugin. Each operating system builds its own implementation of
// this function (chosen in CMake), so no backend is compiled where it cannot work.
namespace HotKeyBackends {

std::unique_ptr<GlobalHotKey> create(const QString &platformName, QObject *parent);

} // namespace HotKeyBackends

#pragma once

#include <QString>

// The copy of a note's previous content that applying a prompt leaves in the Trash, so that a reply the user did
// not want can be undone even after the window is gone.
namespace PromptBackup {

// "<title> (before AI).md".
QString fileName(const QString &noteTitle);

// Writes `content` to a file of that name in a private temporary folder and moves it to the Trash. On failure the
// reason is logged ("TackPad: pre-AI backup failed: …"), given in `error`, and false returned.
bool moveToTrash(const QString &noteTitle, const QString &content, QString *error = nullptr);

} // namespace PromptBackup

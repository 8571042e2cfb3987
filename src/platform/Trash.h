#pragma once

#include <QString>

// The desktop's wastebasket, where deleted notes and the copies kept before an AI reply go so that the user can
// still get them back.
namespace Trash {

// Moves a file to the Trash. The call either trashes the file or leaves it where it was: a file that Qt 6.4 put
// elsewhere (it reports success but leaves the file under the working directory when the Trash cannot be made)
// is put back.
bool moveToTrash(const QString &path, QString *error);

// Makes the Trash folders where the desktop expects them, when they are missing (freedesktop systems only; macOS
// always has one). False, with the reason, when they cannot be made.
bool prepareFolders(QString *error);

// Puts right what the platform's move left wrong in the Trash's record of a file moved from `originalPath` to
// `trashedPath`; false, with the reason, when that fails (the file stays trashed either way).
bool repairRecord(const QString &originalPath, const QString &trashedPath, QString *error);

} // namespace Trash

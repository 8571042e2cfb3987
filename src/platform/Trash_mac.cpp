// The macOS side of Trash: every account has one, and the Finder makes it.
#include "platform/Trash.h"

bool Trash::prepareFolders(QString *)
{
    return true;
}

bool Trash::repairRecord(const QString &, const QString &, QString *)
{
    return true;
}

#include "notes/Note.h"

QString Note::title() const
{
    return titleOf(filename);
}

QString Note::titleOf(const QString &filename)
{
    const qsizetype dot = filename.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? filename.left(dot) : filename;
}

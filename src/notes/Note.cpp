#include "notes/Note.h"

QString Note::title() const
{
    const qsizetype dot = filename.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? filename.left(dot) : filename;
}

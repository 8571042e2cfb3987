#include "editor/FormatWindow.h"

#include <QtGlobal>

FormatWindow FormatWindow::around(int length, int from, int to)
{
    if (length < longParagraph)
        return whole();
    const int shownFrom = qBound(0, from, length);
    const int shownTo = qBound(shownFrom, to, length);
    return {qMax(0, shownFrom - margin), qMin(length, shownTo + margin)};
}

bool FormatWindow::covers(int length, int from, int to) const
{
    const int shownFrom = qBound(0, from, length);
    const int shownTo = qBound(shownFrom, to, length);
    return start <= shownFrom && end >= shownTo;
}

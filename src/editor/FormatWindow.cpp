#include "editor/FormatWindow.h"

#include <QtGlobal>

#include <utility>

namespace {

// The shown characters from..to, clamped to a paragraph of length characters.
std::pair<int, int> clampedShown(int length, int from, int to)
{
    const int shownFrom = qBound(0, from, length);
    return {shownFrom, qBound(shownFrom, to, length)};
}

} // namespace

FormatWindow FormatWindow::around(int length, int from, int to)
{
    if (length < longParagraph)
        return whole();
    const auto [shownFrom, shownTo] = clampedShown(length, from, to);
    return {qMax(0, shownFrom - margin), qMin(length, shownTo + margin)};
}

bool FormatWindow::covers(int length, int from, int to) const
{
    const auto [shownFrom, shownTo] = clampedShown(length, from, to);
    return start <= shownFrom && end >= shownTo;
}

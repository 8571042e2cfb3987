#include "store/StackingOrder.h"

#include "store/NoteController.h"
#include "store/NoteFiles.h"

#include <algorithm>
#include <limits>

bool StackingOrder::less(const NoteController *a, const NoteController *b)
{
    if (a->note().meta.z != b->note().meta.z)
        return a->note().meta.z < b->note().meta.z;
    return NoteFiles::nameCollator().compare(a->note().filename, b->note().filename) < 0;
}

void StackingOrder::include(qint64 z)
{
    m_maxZ = std::max(m_maxZ, z);
}

qint64 StackingOrder::raisedMaxZ()
{
    if (m_maxZ == std::numeric_limits<qint64>::max())
        return m_maxZ; // only a hand-made z of 2^63 - 1 gets here; that note simply stays where it is
    return ++m_maxZ;
}

bool StackingOrder::bringToFront(NoteController *controller, const std::vector<NoteController *> &all)
{
    if (m_top == controller)
        return false;
    m_top = controller;
    // Already alone on top (the front note activated at launch or after a switch): its place in the stack is
    // right as it is, and rewriting its file at every launch would be a write the user never asked for.
    const qint64 z = controller->note().meta.z;
    const bool aloneOnTop = z == m_maxZ && std::none_of(all.begin(), all.end(), [&](const NoteController *other) {
        return other != controller && other->note().meta.z == z;
    });
    if (aloneOnTop)
        return false;
    controller->note().meta.z = raisedMaxZ();
    return true;
}

#pragma once

#include <QPointer>
#include <QtGlobal>

#include <vector>

class NoteController;

// The stacking order of a workspace's notes: a higher z is nearer the front, and notes of equal z are ordered by
// name. Keeps the highest z in use, so that a note raised or made goes above all the others.
class StackingOrder {
public:
    // Lower first: `z`, then name order.
    static bool less(const NoteController *a, const NoteController *b);

    qint64 maxZ() const { return m_maxZ; }
    // A note of this z joined the workspace.
    void include(qint64 z);
    // A z above every note's, to give to a note that goes on top.
    qint64 raisedMaxZ();
    // Gives `controller` a z above every other note of `all` (which holds it); false when it keeps its place.
    bool bringToFront(NoteController *controller, const std::vector<NoteController *> &all);

private:
    qint64 m_maxZ = 0;
    // The note raised last: activating it again changes nothing.
    QPointer<NoteController> m_top;
};

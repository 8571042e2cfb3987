#include "windows/DialogStacking.h"

#include <QWidget>

namespace DialogStacking {

void keepAboveFloatingNotes(QWidget *dialog)
{
    // Set before the native window exists, so that it is made with the hint and never re-created for it.
    dialog->setWindowFlag(Qt::WindowStaysOnTopHint, true);
}

} // namespace DialogStacking

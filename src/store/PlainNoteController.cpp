#include "store/PlainNoteController.h"

void PlainNoteController::orderFront(bool) { }
void PlainNoteController::orderOut() { }
void PlainNoteController::closeWindow() { }
void PlainNoteController::applyFrame() { }
void PlainNoteController::applyAppearance() { }
void PlainNoteController::applyRolledState(bool) { }
void PlainNoteController::setEditorText(const QString &) { }
void PlainNoteController::focusEditor() { }

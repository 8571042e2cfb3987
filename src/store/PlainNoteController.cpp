#include "store/PlainNoteController.h"

void PlainNoteController::showWindow(bool) { }
void PlainNoteController::hideWindow() { }
void PlainNoteController::closeWindow() { }
void PlainNoteController::applyFrame() { }
void PlainNoteController::applyAppearance() { }
void PlainNoteController::applyRolledState(bool) { }
void PlainNoteController::setEditorText(const QString &) { }
void PlainNoteController::focusEditor() { }

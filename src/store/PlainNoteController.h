#pragma once

#include "store/NoteController.h"

// A note without a window: the command line and the store's own tests use it. Window requests are accepted and
// ignored; everything that concerns the note itself (merging, unhiding, saving) works as for a windowed note.
class PlainNoteController : public NoteController {
    Q_OBJECT
public:
    using NoteController::NoteController;

    void showWindow(bool activate) override;
    void hideWindow() override;
    void closeWindow() override;
    void applyFrame() override;
    void applyAppearance() override;
    void applyRolledState(bool animated) override;
    void setEditorText(const QString &markdown) override;
    void focusEditor() override;
};

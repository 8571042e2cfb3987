#pragma once

#include <QString>

class NoteWindowController;
class QMenu;

// The note menu: what a note's context menu and the application's Note menu offer for one note. Items are built
// each time the menu opens, so their titles, check marks and enabled states always match the note.
namespace NoteMenu {

void addNoteItems(QMenu *menu, NoteWindowController &controller, const QString &revealTitle);

} // namespace NoteMenu

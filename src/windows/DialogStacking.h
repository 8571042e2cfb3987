#pragma once

class QWidget;

// Where the application's own dialogs stand among the notes.
namespace DialogStacking {

// Makes `dialog` open above the notes that float on top. Those sit in the window manager's upper layer, which an
// ordinary window never reaches: a dialog left in the normal layer (Settings, the colour panel, an alert) would
// open hidden behind them. Call before the dialog is first shown.
void keepAboveFloatingNotes(QWidget *dialog);

} // namespace DialogStacking

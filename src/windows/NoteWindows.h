#pragma once

#include "windows/NoteColorPanel.h"
#include "windows/NoteWindowEnvironment.h"

#include <QHash>
#include <QObject>

#include <vector>

class NoteController;
class NoteStore;
class NoteWindowController;

// The note windows of the open workspace. The store knows its notes only as controllers; the windows are made here,
// through the store's controller factory, and remembered by their notes, so that the menus, the search panel and the
// apply server reach a note's window by asking for it rather than by casting the store's type.
class NoteWindows : public QObject {
    Q_OBJECT

public:
    explicit NoteWindows(QObject *parent = nullptr);
    ~NoteWindows() override;

    // What every window made from now on is given.
    NoteWindowEnvironment &environment() { return m_environment; }
    // The store's notes are shown as windows from now on (also after a rescan or a new note).
    void attach(NoteStore &store);

    // The note's controller, whose window() is null until the note is first shown.
    NoteWindowController *windowOf(const NoteController *note) const;
    // Every note's controller, in no particular order.
    std::vector<NoteWindowController *> all() const;
    // The note whose window is the active window, if any.
    NoteWindowController *active() const;

Q_SIGNALS:
    // A note's window was made, e.g. to add the application's shortcuts to it.
    void windowCreated(NoteWindowController *window);

private:
    void forget(QObject *controller);

    NoteColorPanel m_colorPanel;
    NoteWindowEnvironment m_environment;
    QHash<const QObject *, NoteWindowController *> m_windows;
};

#pragma once

#include "notes/Frontmatter.h"
#include "notes/Note.h"

#include <QObject>
#include <QPointF>
#include <QString>

#include <memory>

class NoteStore;

// One open note as the store sees it: the note, the text last read from or written to its file, and the window
// operations the store needs. The store owns its controllers; a windowed subclass does the window work, the plain
// holder does none. The merging of external changes lives here so that every subclass gets the same rules.
class NoteController : public QObject {
    Q_OBJECT
public:
    NoteController(std::unique_ptr<Note> note, NoteStore &store, const QString &lastDiskContent);
    ~NoteController() override;

    Note &note() { return *m_note; }
    const Note &note() const { return *m_note; }
    NoteStore &store() const { return m_store; }

    // The exact file text (line ends normalised) last read from or written to the note's file; the store compares
    // the file with it to tell its own writes from other programs' changes.
    const QString &lastDiskContent() const { return m_lastDiskContent; }
    void setLastDiskContent(const QString &text) { m_lastDiskContent = text; }

    // Merges a change another program made to the file: properties first (frame, appearance, hidden state), then
    // the body. The parse result must carry properties; a file that lost them is closed by the store instead.
    void applyExternal(const Frontmatter::Parsed &parsed, const QString &raw);

    // Shows a hidden note again: clears the flag, brings the window to the front (key when `focus`), saves.
    void unhide(bool focus);

    // A wiki link led here: show the note unrolled, in front, with the keyboard focus in its editor.
    virtual void revealFromLink();

    // Window operations. Each is a request the note's window carries out; none changes the note.
    virtual void showWindow(bool activate) = 0;
    virtual void hideWindow() = 0;
    // Closes the window for good (without saving); the store releases the controller soon after.
    virtual void closeWindow() = 0;
    // Moves and resizes the window to the note's frame, kept on a visible screen.
    virtual void applyFrame() = 0;
    // Colour, title, font size and float level from the note's properties.
    virtual void applyAppearance() = 0;
    virtual void applyRolledState(bool animated) = 0;
    // Replaces the editor's text with the note's body, keeping the selection where it can.
    virtual void setEditorText(const QString &markdown) = 0;
    virtual void focusEditor() = 0;

    // Where the window stands relative to the note's stored position, in points (x right, y up). A note that
    // appears exactly on top of another one (a sync tool's conflict copy) is shown moved aside so that both can be
    // seen, without changing its file; the user's first move of the window ends the offset.
    QPointF displayOffset() const { return m_displayOffset; }
    virtual void setDisplayOffset(QPointF offset) { m_displayOffset = offset; }

private:
    std::unique_ptr<Note> m_note;
    NoteStore &m_store;
    QString m_lastDiskContent;

protected:
    QPointF m_displayOffset;
};

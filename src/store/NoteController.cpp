#include "store/NoteController.h"

#include "store/NoteStore.h"
#include "store/StoreLog.h"

NoteController::NoteController(std::unique_ptr<Note> note, NoteStore &store, const QString &lastDiskContent)
    : m_note(std::move(note))
    , m_store(store)
    , m_lastDiskContent(lastDiskContent)
{
}

NoteController::~NoteController() = default;

void NoteController::applyExternal(const Frontmatter::Parsed &parsed, const QString &raw)
{
    m_lastDiskContent = raw;
    Note &note = *m_note;
    qCDebug(lcStore).noquote() << "applying an external change to" << note.filename;
    if (parsed.hadMeta && parsed.meta != note.meta) {
        const NoteMetadata old = note.meta;
        note.meta = parsed.meta;
        if (old.x != note.meta.x || old.y != note.meta.y || old.width != note.meta.width
            || old.height != note.meta.height)
            applyFrame();
        applyAppearance();
        applyRolledState(false);
        if (old.hidden != note.meta.hidden) {
            if (note.meta.hidden)
                hideWindow();
            else
                showWindow(false);
            m_store.postNotesChanged();
        }
    }
    note.hadMetadata = parsed.hadMeta;
    note.foreignFrontmatter = parsed.foreign;
    if (parsed.body != note.body) {
        note.body = parsed.body;
        setEditorText(note.body);
    }
}

void NoteController::unhide(bool focus)
{
    if (!m_note->meta.hidden)
        return;
    m_note->meta.hidden = false;
    showWindow(focus);
    m_store.noteEdited(this);
    m_store.postNotesChanged();
}

void NoteController::revealFromLink()
{
    if (m_note->meta.hidden)
        unhide(false);
    if (m_note->meta.rolledUp) {
        m_note->meta.rolledUp = false;
        applyRolledState(true);
        applyAppearance();
        m_store.noteEdited(this);
    }
    showWindow(true);
    focusEditor();
}

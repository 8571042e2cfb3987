// Saving notes, and the rules that keep every byte: an outside change is merged with unsaved text, never
// overwritten; text that cannot be written stays in the note and, when its note goes, in the recovery folder.
// Apart from scanning (NoteStore.cpp) because these are the rules a save and a rescan share.

#include "store/NoteStore.h"

#include "store/AtomicFile.h"
#include "store/NoteController.h"
#include "store/NoteNaming.h"
#include "store/RecoveryFolder.h"
#include "store/StoreLog.h"
#include "store/TextMerge.h"

#include <QFileInfo>

namespace {

QString serialized(const Note &note)
{
    return Frontmatter::serialize(note.meta, note.foreignFrontmatter, note.body);
}

constexpr double conflictOffset = 24;

} // namespace

void NoteStore::noteEdited(NoteController *controller)
{
    scheduleSave(controller, editSaveDelay);
}

void NoteStore::noteRaised(NoteController *controller)
{
    scheduleSave(controller, raiseSaveDelay);
}

void NoteStore::noteReplaced(NoteController *controller)
{
    scheduleSave(controller, 0);
}

void NoteStore::scheduleSave(NoteController *controller, double delaySeconds)
{
    if (!controller || m_shutDown)
        return;
    const QString key = controller->note().filename;
    std::unique_ptr<QTimer> &timer = m_pendingSaves[key];
    if (!timer) {
        timer = std::make_unique<QTimer>();
        timer->setSingleShot(true);
        connect(timer.get(), &QTimer::timeout, this, [this, key] {
            if (NoteController *target = this->controller(key))
                performSave(target);
        });
    }
    // Restarting the timer is the cancel-and-reschedule: the write happens once, after the last change.
    timer->start(delayMs(delaySeconds));
}

bool NoteStore::hasPendingSave(const QString &filename) const
{
    const auto it = m_pendingSaves.find(filename);
    return it != m_pendingSaves.end() && it->second->isActive();
}

// Compared as the file would be written: a file in another tool's layout ("tackpad-x: 10", quotes left out) that
// says the same as the note is no unsaved change.
bool NoteStore::hasUnsavedChanges(const NoteController *controller) const
{
    if (!controller)
        return false;
    const QString text = serialized(controller->note());
    if (text == controller->lastDiskContent())
        return false;
    const Frontmatter::Parsed onDisk = Frontmatter::parse(controller->lastDiskContent());
    return text != Frontmatter::serialize(onDisk.meta, onDisk.foreign, onDisk.body);
}

// Text (body or other tools' front matter) that the file does not hold: what a recovery copy is for. A position or
// stacking order that could not be written is not worth a copy.
bool NoteStore::hasUnsavedText(const NoteController *controller) const
{
    if (!controller)
        return false;
    const Note &note = controller->note();
    const Frontmatter::Parsed onDisk = Frontmatter::parse(controller->lastDiskContent());
    return note.body != onDisk.body || note.foreignFrontmatter != onDisk.foreign;
}

bool NoteStore::cancelPendingSave(const QString &filename)
{
    const bool pending = hasPendingSave(filename);
    if (pending)
        m_pendingSaves.at(filename)->stop();
    return pending;
}

void NoteStore::flushAllSaves()
{
    QSet<QString> due = m_unsaved;
    for (const auto &[name, timer] : m_pendingSaves) {
        if (timer->isActive())
            due.insert(name);
    }
    for (const QString &name : std::as_const(due)) {
        cancelPendingSave(name);
        if (NoteController *target = controller(name))
            performSave(target);
    }
}

void NoteStore::keepUnsavedCopies()
{
    QStringList names(m_unsaved.begin(), m_unsaved.end());
    for (auto it = m_detached.cbegin(); it != m_detached.cend(); ++it)
        names << it.key();
    for (const QString &name : std::as_const(names)) {
        NoteController *target = controller(name);
        if (target && hasUnsavedText(target))
            keepUnsavedCopy(name);
    }
}

std::optional<QString> NoteStore::keepUnsavedCopy(const QString &name, const QString &why)
{
    NoteController *target = controller(name);
    if (!target)
        return std::nullopt;
    const Note &note = target->note();
    const QString text = serialized(note);
    // Quitting flushes more than once; one copy of the same text is enough.
    if (m_keptCopies.value(name) == text)
        return std::nullopt;
    QString error;
    const std::optional<QString> copy
        = RecoveryFolder::keep(m_folder, name, NoteFiles::encodeText(text, note.byteOrderMark), m_clock(), &error);
    if (!copy) {
        qCCritical(lcStore).noquote()
            << QStringLiteral("TackPad: failed to save %1 and to keep a copy of it: %2").arg(name, error);
        return std::nullopt;
    }
    qCWarning(lcStore).noquote() << (why.isEmpty()
            ? QStringLiteral("TackPad: failed to save %1; its text is kept in %2").arg(name, *copy)
            : QStringLiteral("TackPad: %1 %2; its unsaved text is kept in %3").arg(name, why, *copy));
    m_keptCopies.insert(name, text);
    return copy;
}

void NoteStore::detach(const QString &name, const QString &reason)
{
    if (m_detached.contains(name))
        return;
    m_detached.insert(name, reason);
    cancelPendingSave(name);
    // What the note holds that the file does not is kept now; later changes are kept as they are saved.
    if (NoteController *target = controller(name); target && hasUnsavedText(target)) {
        if (const std::optional<QString> copy = keepUnsavedCopy(name))
            Q_EMIT textRecovered(name, *copy, QStringLiteral("can no longer be read as a note (%1)").arg(reason));
    }
}

bool NoteStore::performSave(NoteController *controller)
{
    const QString name = controller->note().filename;
    if (m_detached.contains(name)) {
        // The file is no longer a note file Tackpad can read back; writing the note over it could destroy what
        // another program put there. The text goes to the recovery folder instead.
        if (hasUnsavedText(controller)) {
            if (const std::optional<QString> copy = keepUnsavedCopy(name))
                Q_EMIT textRecovered(
                    name, *copy, QStringLiteral("can no longer be read as a note (%1)").arg(m_detached.value(name)));
        }
        return false;
    }
    if (serialized(controller->note()) == controller->lastDiskContent())
        return true;
    // Look before writing: a change another program made since the file was last read is merged first.
    const NoteFiles::ReadResult current = NoteFiles::readText(filePath(name));
    if (current.status == NoteFiles::ReadStatus::Ok) {
        if (current.text != controller->lastDiskContent()) {
            mergeOutsideChange(controller, current.text, controller->lastDiskContent());
            if (serialized(controller->note()) == controller->lastDiskContent())
                return true;
        }
    } else if (!QFileInfo(filePath(name)).exists() && !QFileInfo(filePath(name)).isSymLink()) {
        // Deleted or renamed elsewhere since the last rescan. The rescan finds out which: a renamed file takes
        // the note along (and this save follows it), a deleted one leaves its unsaved text in the recovery folder.
        rescan();
        return false;
    } else if (current.status != NoteFiles::ReadStatus::Unreadable) {
        detach(name, current.error);
        return false;
    }
    return writeNote(controller);
}

bool NoteStore::writeNote(NoteController *controller)
{
    const Note &note = controller->note();
    const QString name = note.filename;
    const QString text = serialized(note);
    const QString expected = controller->lastDiskContent();
    const AtomicFile::Outcome outcome
        = AtomicFile::write(filePath(name), NoteFiles::encodeText(text, note.byteOrderMark), AtomicFile::Mode::Replace);
    if (!outcome.ok) {
        // The note keeps its text in memory and its old lastDiskContent; the next edit and every flush try again.
        qCWarning(lcStore).noquote() << QStringLiteral("TackPad: failed to save %1: %2").arg(name, outcome.error);
        if (!m_unsaved.contains(name)) {
            m_unsaved.insert(name);
            Q_EMIT saveFailed(name, outcome.error);
        }
        return false;
    }
    m_unsaved.remove(name);
    m_keptCopies.remove(name);
    controller->setLastDiskContent(text);
    m_known.remove(name);
    Q_EMIT noteWritten(name);
    if (outcome.displaced)
        takeDisplacedText(controller, *outcome.displaced, expected);
    return true;
}

// The file that the save just replaced held something other than what the note was last merged with: another
// program wrote in the instant between the last look and the write. Its change is merged in like any other.
void NoteStore::takeDisplacedText(NoteController *controller, const QByteArray &displaced, const QString &expected)
{
    const NoteFiles::ReadResult read = NoteFiles::decodeText(displaced);
    if (read.status == NoteFiles::ReadStatus::Ok && read.text == expected)
        return;
    if (read.status != NoteFiles::ReadStatus::Ok) {
        QString error;
        if (const auto kept = RecoveryFolder::keep(m_folder, controller->note().filename, displaced, m_clock(), &error))
            Q_EMIT textRecovered(
                controller->note().filename, *kept, QStringLiteral("was replaced while it was being saved"));
        return;
    }
    // Merge against what was expected on disk; the disk now holds the note's own text.
    const QString written = controller->lastDiskContent();
    mergeOutsideChange(controller, read.text, expected);
    controller->setLastDiskContent(written);
    if (hasUnsavedChanges(controller))
        scheduleSave(controller, 0);
}

// `raw` is what another program left in the note's file; `base` what the note was last read from or written to.
// The note's properties win; the other tools' front-matter lines come from the file; the bodies are merged.
void NoteStore::mergeOutsideChange(NoteController *controller, const QString &raw, const QString &base)
{
    Note &note = controller->note();
    const Frontmatter::Parsed theirs = Frontmatter::parse(raw);
    const QString baseBody = Frontmatter::parse(base).body;
    note.foreignFrontmatter = theirs.foreign;
    if (note.body == baseBody) {
        // Only properties are waiting (a move, a raise): the outside text is simply taken.
        if (theirs.body != note.body) {
            note.body = theirs.body;
            controller->setEditorText(note.body);
        }
    } else if (const std::optional<QString> merged = TextMerge::merge(baseBody, note.body, theirs.body)) {
        if (*merged != note.body) {
            note.body = *merged;
            controller->setEditorText(note.body);
        }
    } else {
        keepConflictCopy(controller, theirs, raw);
    }
    controller->setLastDiskContent(raw);
    if (hasUnsavedChanges(controller) && !hasPendingSave(note.filename))
        noteEdited(controller);
}

QString NoteStore::conflictTitle(const QString &title) const
{
    const QString suffix = QStringLiteral(" (conflict %1)").arg(m_clock().toString(QLatin1String(conflictTimeFormat)));
    // The suffix must survive the name-length limit; the title gives way.
    QString shortened = title;
    while (!shortened.isEmpty() && (shortened + suffix).toUtf8().size() > NoteNaming::maxTitleBytes) {
        shortened.chop(1);
        if (!shortened.isEmpty() && shortened.back().isHighSurrogate())
            shortened.chop(1);
    }
    return shortened + suffix;
}

// The two versions cannot be merged: the note keeps the user's text (and writes it), and the other program's
// version is kept in full as a note of its own next to it.
void NoteStore::keepConflictCopy(NoteController *controller, const Frontmatter::Parsed &theirs, const QString &raw)
{
    const Note &note = controller->note();
    const QString base = NoteNaming::sanitizeTitle(conflictTitle(note.title())).value_or(QStringLiteral("Conflict"));
    const QString name = availableFilename(base, 2);
    NoteMetadata meta = theirs.hadMeta ? theirs.meta : note.meta;
    meta.x = note.meta.x + conflictOffset;
    meta.y = note.meta.y - conflictOffset;
    meta.z = m_stacking.raisedMaxZ();
    meta.hidden = false;
    meta.adopt = false;
    if (writeNewNote(name, meta, theirs.foreign, theirs.body, QStringLiteral("Could not create note"), false, true)) {
        qCWarning(lcStore).noquote()
            << QStringLiteral("TackPad: %1 changed elsewhere; that version is kept as %2").arg(note.filename, name);
        Q_EMIT conflictKept(note.filename, name);
        return;
    }
    QString error;
    if (const auto kept = RecoveryFolder::keep(m_folder, note.filename, raw.toUtf8(), m_clock(), &error))
        Q_EMIT textRecovered(note.filename, *kept, QStringLiteral("was changed elsewhere"));
}

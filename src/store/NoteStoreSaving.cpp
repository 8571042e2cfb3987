// Saving notes, and the rules that keep every byte: an outside change is merged with unsaved text, never
// overwritten; text that cannot be written stays in the note and, when its note goes, in the recovery folder.
// Apart from scanning (NoteStore.cpp) because these are the rules a save and a rescan share.
//
// The file work of a save (reading the file back, writing, syncing, renaming) runs on the store's saver thread
// (NoteSaver), so that a stalled disk never stalls typing; this thread serialises the note, hands it over and takes
// the outcome in. One save per file is under way at a time: an edit whose wait ends meanwhile is saved after it,
// with the newest text. Whatever needs the file current (flushing, shutting down, the file operations, an AI
// rewrite) waits for the saver first.

#include "store/NoteStore.h"

#include "store/NoteController.h"
#include "store/NoteNaming.h"
#include "store/RecoveryFolder.h"
#include "store/StoreLog.h"
#include "store/TextMerge.h"

#include <QFileInfo>

#include <algorithm>

namespace {

QString serialized(const Note &note)
{
    return Frontmatter::serialize(note.meta, note.foreignFrontmatter, note.body);
}

constexpr double conflictOffset = 24;

// A save that must end on disk before its caller goes on: a look that merges an outside change, the write of the
// merged text, and once more for text another program's write displaced meanwhile.
constexpr int blockingSaveRounds = 4;

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
                startSave(target);
        });
    }
    // Restarting the timer is the cancel-and-reschedule: the write happens once, after the last change.
    timer->start(delayMs(delaySeconds));
}

bool NoteStore::hasPendingSave(const QString &filename) const
{
    const auto it = m_pendingSaves.find(filename);
    return (it != m_pendingSaves.end() && it->second->isActive()) || m_inFlight.count(filename) > 0;
}

// Compared as the file would be written: a file in another tool's layout ("tackpad-x: 10", quotes left out) that
// says the same as the note is no unsaved change.
bool NoteStore::hasUnsavedChanges(const NoteController *controller) const
{
    if (!controller)
        return false;
    // Until the write under way is confirmed, the file is not known to hold the note.
    if (saveInFlight(controller))
        return true;
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

// The save that waits, not the one under way: a write cannot be called back once it is handed over.
bool NoteStore::cancelPendingSave(const QString &filename)
{
    const auto timer = m_pendingSaves.find(filename);
    const bool waiting = timer != m_pendingSaves.end() && timer->second->isActive();
    if (waiting)
        timer->second->stop();
    const auto flight = m_inFlight.find(filename);
    const bool due = flight != m_inFlight.end() && std::exchange(flight->second.saveAgain, false);
    return waiting || due;
}

void NoteStore::flushAllSaves()
{
    // The writes under way first: a later edit of the same file must not overtake them.
    waitForAllSaves();
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
            //: Completes a sentence that starts with a note's title: “Shopping” <this text>.
            Q_EMIT textRecovered(name, *copy, tr("can no longer be read as a note (%1)").arg(reason));
    }
}

// The file is no longer a note file Tackpad can read back; writing the note over it could destroy what another
// program put there. The text goes to the recovery folder instead.
bool NoteStore::keptInsteadOfWritten(NoteController *controller)
{
    const QString name = controller->note().filename;
    if (!m_detached.contains(name))
        return false;
    if (hasUnsavedText(controller)) {
        if (const std::optional<QString> copy = keepUnsavedCopy(name))
            Q_EMIT textRecovered(
                //: Completes a sentence that starts with a note's title: “Shopping” <this text>.
                name, *copy, tr("can no longer be read as a note (%1)").arg(m_detached.value(name)));
    }
    return true;
}

// An edit's wait has ended: the note goes to the saver, and this thread goes back to the user.
void NoteStore::startSave(NoteController *controller)
{
    const QString name = controller->note().filename;
    if (const auto flight = m_inFlight.find(name); flight != m_inFlight.end()) {
        // One write per file at a time: this one follows the write under way, with the text the note has then.
        flight->second.saveAgain = true;
        return;
    }
    if (keptInsteadOfWritten(controller))
        return;
    const QString text = serialized(controller->note());
    if (text != controller->lastDiskContent())
        handOver(controller, text, true);
}

// Saves the note and returns once the outcome is in (for flushing and the file operations); true when the file holds
// the note afterwards.
bool NoteStore::performSave(NoteController *controller)
{
    const QString name = controller->note().filename;
    waitForSave(name);
    bool lookFirst = true;
    for (int round = 0; round < blockingSaveRounds; ++round) {
        if (this->controller(name) != controller || keptInsteadOfWritten(controller))
            return false;
        const QString text = serialized(controller->note());
        if (text == controller->lastDiskContent())
            return true;
        const NoteSaver::Id id = handOver(controller, text, lookFirst);
        const std::optional<NoteSaver::Result> result = m_saver->waitFor(id);
        // Without a result, a slot that ran during the wait took the outcome in: the loop looks at the note again.
        lookFirst = true;
        if (!result)
            continue;
        const std::optional<NoteSaver::Result::Kind> kind = finishSave(id, *result);
        if (kind == NoteSaver::Result::Kind::ChangedOnDisk)
            lookFirst = false; // merged just now; the merged text is written without looking again, as ever
        else if (kind != NoteSaver::Result::Kind::Written)
            return false;
    }
    return false;
}

NoteSaver::Id NoteStore::handOver(NoteController *controller, const QString &text, bool lookFirst)
{
    const Note &note = controller->note();
    const NoteSaver::Id id = m_saver->save({filePath(note.filename), NoteFiles::encodeText(text, note.byteOrderMark),
        controller->lastDiskContent(), lookFirst});
    m_inFlight[note.filename] = {id, controller, text, controller->lastDiskContent()};
    return id;
}

// Takes in the outcome of a write, then what waited for it. Nothing when the note closed or took another name
// meanwhile.
std::optional<NoteSaver::Result::Kind> NoteStore::finishSave(NoteSaver::Id id, const NoteSaver::Result &result)
{
    const auto it
        = std::find_if(m_inFlight.begin(), m_inFlight.end(), [id](const auto &entry) { return entry.second.id == id; });
    if (it == m_inFlight.end())
        return std::nullopt;
    const QString name = it->first;
    const SaveInFlight flight = std::move(it->second);
    m_inFlight.erase(it);
    NoteController *target = flight.controller.data();
    std::optional<NoteSaver::Result::Kind> kind;
    if (target && controller(name) == target) {
        kind = result.kind;
        takeSaveOutcome(target, flight, result);
    } else {
        takeOrphanedWrite(name, result);
    }
    if (flight.reread)
        rescanFiles({target ? target->note().filename : name});
    NoteController *current = controller(name);
    if ((flight.saveAgain || kind == NoteSaver::Result::Kind::ChangedOnDisk) && current && hasUnsavedChanges(current))
        scheduleSave(current, 0);
    return kind;
}

void NoteStore::takeSaveOutcome(NoteController *controller, const SaveInFlight &flight, const NoteSaver::Result &result)
{
    const QString name = controller->note().filename;
    switch (result.kind) {
    case NoteSaver::Result::Kind::Written:
        m_unsaved.remove(name);
        m_keptCopies.remove(name);
        controller->setLastDiskContent(flight.text);
        m_writtenOver.insert(name, {flight.expected, flight.text});
        m_known.remove(name);
        Q_EMIT noteWritten(name);
        if (result.displaced)
            takeDisplacedText(controller, *result.displaced, flight.expected);
        return;
    case NoteSaver::Result::Kind::Failed:
        // The note keeps its text in memory and its old lastDiskContent; the next edit and every flush try again.
        qCWarning(lcStore).noquote() << QStringLiteral("TackPad: failed to save %1: %2").arg(name, result.error);
        if (!m_unsaved.contains(name)) {
            m_unsaved.insert(name);
            Q_EMIT saveFailed(name, result.error);
        }
        return;
    case NoteSaver::Result::Kind::ChangedOnDisk:
        // Look before writing: a change another program made since the file was last read is merged first.
        mergeOutsideChange(controller, result.onDisk, flight.expected);
        return;
    case NoteSaver::Result::Kind::Missing:
        // Deleted or renamed elsewhere since the last rescan. The rescan finds out which: a renamed file takes the
        // note along (and its save follows it), a deleted one leaves its unsaved text in the recovery folder.
        rescan();
        return;
    case NoteSaver::Result::Kind::Unusable:
        detach(name, result.error);
        return;
    }
}

// The note closed or took another name while its file was being written (deleted, renamed or stripped of its
// properties elsewhere): its text went along (to the recovery folder, or with the note to its new name). A write that
// still happened replaced what stood at the old name, which is kept when it was not the note's own text.
void NoteStore::takeOrphanedWrite(const QString &name, const NoteSaver::Result &result)
{
    if (result.kind != NoteSaver::Result::Kind::Written)
        return;
    m_known.remove(name);
    if (!result.displaced)
        return;
    QString error;
    if (const auto kept = RecoveryFolder::keep(m_folder, name, *result.displaced, m_clock(), &error))
        //: Completes a sentence that starts with a note's title: “Shopping” <this text>.
        Q_EMIT textRecovered(name, *kept, tr("was replaced while it was being saved"));
    else
        qCCritical(lcStore).noquote() << QStringLiteral(
            "TackPad: %1 was replaced while it was being saved and could not be kept: %2")
                                             .arg(name, error);
}

bool NoteStore::saveInFlight(const NoteController *controller) const
{
    return std::any_of(m_inFlight.begin(), m_inFlight.end(),
        [controller](const auto &entry) { return entry.second.controller.data() == controller; });
}

std::map<QString, NoteStore::SaveInFlight>::iterator NoteStore::inFlight(const NoteController *controller)
{
    return std::find_if(m_inFlight.begin(), m_inFlight.end(),
        [controller](const auto &entry) { return entry.second.controller.data() == controller; });
}

void NoteStore::waitForSave(const QString &filename)
{
    const auto it = m_inFlight.find(filename);
    if (it == m_inFlight.end())
        return;
    const NoteSaver::Id id = it->second.id;
    if (const std::optional<NoteSaver::Result> result = m_saver->waitFor(id))
        finishSave(id, *result);
}

void NoteStore::waitForAllSaves()
{
    // Each round takes at least the awaited write out of m_inFlight, here or in a slot during the wait.
    while (!m_inFlight.empty())
        waitForSave(m_inFlight.begin()->first);
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
                //: Completes a sentence that starts with a note's title: “Shopping” <this text>.
                controller->note().filename, *kept, tr("was replaced while it was being saved"));
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
    // Changed while the note's own write of it is under way: what the rescan read may be that very write, and another
    // program's change must be merged against what the write left. Rare (an outside edit of this note within the
    // moment of its save), so the rescan waits for the write and then reads the file again.
    if (const auto flight = inFlight(controller); flight != m_inFlight.end()) {
        flight->second.reread = true;
        waitForSave(flight->first);
        return;
    }
    Note &note = controller->note();
    const Frontmatter::Parsed theirs = Frontmatter::parse(raw);
    const QString baseBody = mergeBase(note.filename, base, theirs.body);
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

// Against what the other program started from. One that read the file before the note's last write and wrote after
// it (a slow rewrite in place, a copy renamed over the file) leaves a version without that write: merged against the
// write, its version would undo it; merged against what the write replaced, both are kept. A version that did see
// the write merges the same either way.
QString NoteStore::mergeBase(const QString &name, const QString &base, const QString &theirsBody) const
{
    const QString written = Frontmatter::parse(base).body;
    const auto last = m_writtenOver.constFind(name);
    if (last == m_writtenOver.cend() || last->written != base)
        return written;
    const QString before = Frontmatter::parse(last->replaced).body;
    const std::optional<QString> withTheWrite = TextMerge::merge(before, written, theirsBody);
    return withTheWrite && *withTheWrite != theirsBody ? before : written;
}

QString NoteStore::conflictTitle(const QString &title) const
{
    //: Added to a note's title to name the copy of another program's version; %1 is the date and time.
    const QString suffix = tr(" (conflict %1)").arg(m_clock().toString(QLatin1String(conflictTimeFormat)));
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
    //: The title, and so the file name, of another program's version of a note that has no usable title.
    const QString base = NoteNaming::sanitizeTitle(conflictTitle(note.title())).value_or(tr("Conflict"));
    const QString name = availableFilename(base, 2);
    NoteMetadata meta = theirs.hadMeta ? theirs.meta : note.meta;
    meta.x = note.meta.x + conflictOffset;
    meta.y = note.meta.y - conflictOffset;
    meta.z = m_stacking.raisedMaxZ();
    meta.hidden = false;
    meta.adopt = false;
    if (writeNewNote(name, meta, theirs.foreign, theirs.body,
            QStringLiteral(QT_TRANSLATE_NOOP("NoteStore", "Could not create note")), false, true)) {
        qCWarning(lcStore).noquote()
            << QStringLiteral("TackPad: %1 changed elsewhere; that version is kept as %2").arg(note.filename, name);
        Q_EMIT conflictKept(note.filename, name);
        return;
    }
    QString error;
    if (const auto kept = RecoveryFolder::keep(m_folder, note.filename, raw.toUtf8(), m_clock(), &error))
        //: Completes a sentence that starts with a note's title: “Shopping” <this text>.
        Q_EMIT textRecovered(note.filename, *kept, tr("was changed elsewhere"));
}

// Scanning the folder and following it: which files are notes, the reconciliation of what other programs change,
// and the watcher that asks for it. A rescan the watcher asks for runs in slices, with the event loop turning in
// between, so that a checkout or a sync tool rewriting thousands of notes never freezes the windows; the slices
// together do exactly what one rescan would.

#include "store/NoteStore.h"

#include "store/AtomicFile.h"
#include "store/FolderWatcher.h"
#include "store/NoteController.h"
#include "store/RecoveryFolder.h"
#include "store/StoreLog.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QScopeGuard>

// --- Scan

bool NoteStore::folderPresent()
{
    if (QFileInfo(m_folder).isDir())
        return true;
    if (!m_reportedMissing) {
        m_reportedMissing = true;
        // On a later turn: the owner typically replaces this store when told, which must not happen while the
        // store is still inside a rescan or an operation.
        QMetaObject::invokeMethod(this, &NoteStore::folderMissing, Qt::QueuedConnection);
    }
    return false;
}

void NoteStore::rescan()
{
    const auto finished = qScopeGuard([this] { Q_EMIT rescanned(); });
    if (m_shutDown || !folderPresent())
        return;
    // This rescan looks at everything a sliced one under way would still look at.
    if (m_sliceDepth == 0)
        m_run.reset();
    ChangeBatch batch(*this);
    const std::unique_ptr<RescanRun> run = listFolder();
    if (!run)
        return;
    advance(*run, QDeadlineTimer(QDeadlineTimer::Forever));
    complete(*run);
}

// The same reconciliation as a full rescan, for the files the watcher named. A name that is no longer a regular
// file is what a full rescan would not list.
void NoteStore::rescanFiles(const QStringList &names)
{
    const auto finished = qScopeGuard([this] { Q_EMIT rescanned(); });
    if (m_shutDown || !folderPresent())
        return;
    ChangeBatch batch(*this);
    RescanRun run(false);
    addNamedFiles(run, names);
    advance(run, QDeadlineTimer(QDeadlineTimer::Forever));
    complete(run);
}

void NoteStore::refreshFromDisk(const QString &filename)
{
    // The file as the note last wrote it, not as it stands halfway through a write.
    waitForSave(filename);
    rescanFiles({filename});
}

std::unique_ptr<RescanRun> NoteStore::listFolder()
{
    // The path may have come to name another directory (replaced, swapped by a sync tool, restored from a
    // backup): watch that one from now on, and forget what was known of the old one's files.
    if (folderReplaced()) {
        m_known.clear();
        watchFolder();
    }
    std::vector<NoteFiles::Skipped> skipped;
    QStringList temporaries;
    const auto entries = NoteFiles::listNoteFiles(m_folder, nullptr, &skipped, &temporaries);
    if (!entries)
        return nullptr;
    QStringList names;
    QHash<QString, NoteFiles::FileStamp> stamps;
    names.reserve(qsizetype(entries->size()));
    stamps.reserve(qsizetype(entries->size()));
    for (const NoteFiles::Entry &entry : *entries) {
        names << entry.name;
        stamps.insert(entry.name, entry.stamp);
    }
    NoteFiles::sortByName(names);
    recoverAbandonedSaves(temporaries);
    reportSkippedEntries(skipped);

    auto run = std::make_unique<RescanRun>(true);
    for (const QString &name : std::as_const(names))
        run->add({name, stamps.value(name), true});
    for (const NoteFiles::Skipped &entry : skipped)
        run->markSeen(entry.name);
    // Files removed, or renamed, by another program; known before any file is looked at, so that a renamed file
    // finds its note.
    for (const auto &[name, each] : m_controllers) {
        if (!stamps.contains(name))
            run->addVanished(name, each->lastDiskContent());
    }
    return run;
}

void NoteStore::addNamedFiles(RescanRun &run, QStringList names)
{
    NoteFiles::sortByName(names);
    names.removeIf([](const QString &name) { return !NoteFiles::isNoteFileName(name); });
    run.addNamed(names);
}

bool NoteStore::advance(RescanRun &run, const QDeadlineTimer &deadline)
{
    // Within one slice the stacking positions of the other notes stand still: collected once, not once per note.
    std::optional<TakenPositions> taken;
    const auto restore = qScopeGuard([this, outer = m_takenPositions] { m_takenPositions = outer; });
    m_takenPositions = &taken;
    // A named file that is gone is known as such before any other file is reconciled.
    while (run.hasNamed()) {
        const QString name = run.takeNamed();
        if (const std::optional<NoteFiles::FileStamp> stamp = NoteFiles::stampOf(filePath(name)))
            run.add({name, *stamp, false});
        else
            fileGone(name, run);
        if (deadline.hasExpired())
            return run.atEnd();
    }
    while (!run.atEnd()) {
        const RescanRun::File file = run.takeNext();
        reconcile(file, run);
        if (deadline.hasExpired())
            break;
    }
    return run.atEnd();
}

void NoteStore::complete(RescanRun &run)
{
    for (const QString &name : run.vanished()) {
        if (!controller(name))
            continue;
        // Back while the rescan went on (some tools delete a file and write it anew): the note stays and takes in
        // what the file holds now.
        if (const std::optional<NoteFiles::FileStamp> stamp = NoteFiles::stampOf(filePath(name))) {
            reconcile({name, *stamp, false}, run);
            if (!run.isVanished(name))
                continue;
        }
        //: Completes a sentence that starts with a note's title: “Shopping” <this text>.
        removeController(name, Unsaved::Keep, tr("was deleted or moved away elsewhere"));
    }
    if (run.isFull()) {
        const QSet<QString> &seen = run.seen();
        m_known.removeIf([&seen](const auto &known) { return !seen.contains(known.key()); });
    }
}

void NoteStore::fileGone(const QString &name, RescanRun &run)
{
    m_known.remove(name);
    if (const NoteController *gone = controller(name))
        run.addVanished(name, gone->lastDiskContent());
}

// A new file whose text is exactly what a vanished note's file held is that file under a new name.
bool NoteStore::followRename(const QString &name, const QString &raw, RescanRun &run)
{
    for (const QString &candidate : run.vanishedWithText(raw)) {
        const NoteController *moved = controller(candidate);
        if (moved && moved->lastDiskContent() == raw) {
            run.removeVanished(candidate);
            rekey(candidate, name);
            return true;
        }
    }
    return false;
}

void NoteStore::reportSkippedEntries(const std::vector<NoteFiles::Skipped> &skipped)
{
    for (const NoteFiles::Skipped &entry : skipped) {
        const auto known = m_known.constFind(entry.name);
        if (known != m_known.cend() && known->outcome == KnownFile::Unusable)
            continue;
        m_known.insert(entry.name, {NoteFiles::FileStamp {}, KnownFile::Unusable});
        qCWarning(lcStore).noquote() << QStringLiteral("TackPad: skipped %1: %2").arg(entry.name, entry.reason);
        Q_EMIT fileSkipped(entry.name, entry.reason);
    }
}

// Temporary files of saves that a kill or a crash interrupted. The newest text may be in one of them: it is never
// thrown away unless the note file holds the very same text.
void NoteStore::recoverAbandonedSaves(const QStringList &temporaries)
{
    for (const QString &temporary : temporaries) {
        const QString path = filePath(temporary);
        if (!AtomicFile::isAbandoned(path))
            continue;
        const QString target = AtomicFile::targetOfTemporary(temporary);
        const NoteFiles::ReadResult leftover = NoteFiles::readText(path);
        const NoteFiles::ReadResult current = NoteFiles::readText(filePath(target));
        if (leftover.status == NoteFiles::ReadStatus::Ok && current.status == NoteFiles::ReadStatus::Ok
            && leftover.text == current.text) {
            QFile::remove(path);
            continue;
        }
        QString error;
        const std::optional<QString> kept = RecoveryFolder::moveIn(path, m_folder, target, m_clock(), &error);
        if (!kept) {
            qCWarning(lcStore).noquote() << QStringLiteral("TackPad: could not recover %1: %2").arg(temporary, error);
            continue;
        }
        qCWarning(lcStore).noquote()
            << QStringLiteral("TackPad: an interrupted save of %1 is kept in %2").arg(target, *kept);
        //: Completes a sentence that starts with a note's title: “Shopping” <this text>.
        Q_EMIT textRecovered(target, *kept, tr("was being saved when Tackpad stopped"));
    }
}

void NoteStore::reconcile(const RescanRun::File &file, RescanRun &run)
{
    const QString &name = file.name;
    const NoteFiles::FileStamp &stamp = file.stamp;
    NoteController *existing = controller(name);
    if (file.trustStamp) {
        // Unchanged since it was last read: the outcome would be the same, so skip the read. This is what keeps
        // a large ordinary file from being read again on every full rescan.
        const auto known = m_known.constFind(name);
        if (known != m_known.cend() && known->stamp == stamp
            && (known->outcome == KnownFile::Note) == (existing != nullptr)) {
            run.removeVanished(name);
            return;
        }
    }
    const NoteFiles::ReadResult read = NoteFiles::readText(filePath(name));
    if (read.status != NoteFiles::ReadStatus::Ok) {
        // Gone since it was listed or named (deleted, or renamed by a program that moves on).
        if (!NoteFiles::stampOf(filePath(name))) {
            fileGone(name, run);
            return;
        }
        run.removeVanished(name);
        reconcileUnusable(name, stamp, read);
        return;
    }
    const QString &raw = read.text;
    if (existing) {
        // Present after all: a new file with the same text is a copy, not this note moved.
        run.removeVanished(name);
        // Usable again: the note may write to its file from now on, beginning with what it could not write.
        const bool wasDetached = m_detached.remove(name) > 0;
        existing->note().byteOrderMark = read.byteOrderMark;
        if (wasDetached && hasUnsavedChanges(existing))
            noteEdited(existing);
        if (raw == existing->lastDiskContent()) {
            m_known.insert(name, {stamp, KnownFile::Note});
            return;
        }
        m_known.insert(name, {stamp, KnownFile::Note});
        // Text or properties that are not in the file yet are merged with the other program's change, never
        // dropped and never allowed to drop it.
        if (hasUnsavedChanges(existing)) {
            mergeOutsideChange(existing, raw, existing->lastDiskContent());
            return;
        }
        const Frontmatter::Parsed parsed = Frontmatter::parse(raw);
        if (!parsed.hadMeta) {
            // Another program took the property line out: the file is an ordinary file again.
            removeController(name, Unsaved::Drop);
            m_known.insert(name, {stamp, KnownFile::Ordinary});
            return;
        }
        existing->applyExternal(parsed, raw);
        return;
    }
    const Frontmatter::Parsed parsed = Frontmatter::parse(raw);
    m_known.insert(name, {stamp, parsed.hadMeta ? KnownFile::Note : KnownFile::Ordinary});
    if (!parsed.hadMeta || followRename(name, raw, run))
        return;
    addController(name, raw, parsed, read.byteOrderMark);
}

// A file that cannot be read as a note right now is neither added nor removed: its note keeps its window, but
// nothing is written to the file any more until it is usable again.
void NoteStore::reconcileUnusable(
    const QString &name, const NoteFiles::FileStamp &stamp, const NoteFiles::ReadResult &read)
{
    const auto known = m_known.constFind(name);
    const bool reported = known != m_known.cend() && known->outcome == KnownFile::Unusable;
    m_known.insert(name, {stamp, KnownFile::Unusable});
    if (controller(name))
        detach(name, read.error);
    if (!reported) {
        qCWarning(lcStore).noquote() << QStringLiteral("TackPad: skipped %1: %2").arg(name, read.error);
        Q_EMIT fileSkipped(name, read.error);
    }
}

// --- Watch

void NoteStore::startWatching()
{
    if (m_shutDown)
        return;
    watchFolder();
}

void NoteStore::watchFolder()
{
    QString error;
    m_watchedIdentity = NoteFiles::folderIdentity(m_folder);
    // Out of inotify instances (the limit is per user), QFileSystemWatcher may still find a way.
    for (const FolderWatcher::Kind kind : {FolderWatcher::Kind::Native, FolderWatcher::Kind::Portable}) {
        m_watcher = FolderWatcher::create(m_folder, kind);
        connect(m_watcher.get(), &FolderWatcher::filesChanged, this, &NoteStore::onFilesChanged);
        connect(m_watcher.get(), &FolderWatcher::fileMoved, this, &NoteStore::onFileMoved);
        connect(m_watcher.get(), &FolderWatcher::folderChanged, this, &NoteStore::onFolderChanged);
        if (m_watcher->start(&error))
            return;
    }
    m_watcher.reset();
    // The first scan has happened; the notes work, they just do not follow other programs' changes.
    qCWarning(lcStore).noquote() << QStringLiteral("TackPad: could not watch folder %1: %2").arg(m_folder, error);
}

bool NoteStore::folderReplaced() const
{
    if (!m_watchedIdentity)
        return false;
    const std::optional<NoteFiles::FolderIdentity> current = NoteFiles::folderIdentity(m_folder);
    return current && *current != *m_watchedIdentity;
}

bool NoteStore::isWatching() const
{
    return m_watcher && m_watcher->isActive();
}

void NoteStore::scheduleRescan()
{
    if (m_shutDown)
        return;
    m_fullRescanPending = true;
    m_rescanTimer.start(delayMs(rescanDelay));
}

void NoteStore::onFilesChanged(const QStringList &names)
{
    if (m_shutDown)
        return;
    // Editors' swap files and the temporary files of atomic saves change nothing the store shows.
    bool relevant = false;
    for (const QString &name : names) {
        if (NoteFiles::isNoteFileName(name)) {
            m_pendingRescanNames.insert(name);
            relevant = true;
        }
    }
    if (relevant)
        m_rescanTimer.start(delayMs(rescanDelay));
}

void NoteStore::onFileMoved(const QString &from, const QString &to)
{
    // Renamed elsewhere: the note follows at once, with whatever it has not saved yet. A name that is not a note
    // file name ("Plan.md" to "Plan.txt") is a removal, which the rescan of both names handles.
    if (m_shutDown || !controller(from) || controller(to) || !NoteFiles::isNoteFileName(to))
        return;
    const NoteFiles::ReadResult read = NoteFiles::readText(filePath(to));
    if (read.status != NoteFiles::ReadStatus::Ok || !Frontmatter::parse(read.text).hadMeta)
        return;
    rekey(from, to);
}

void NoteStore::onFolderChanged()
{
    scheduleRescan();
}

// The debounce is over: the files named since the last rescan (or the whole folder) are looked at, in slices. Names
// that arrive while a rescan is under way join it; a full rescan replaces it, as it covers everything.
void NoteStore::runPendingRescan()
{
    if (m_shutDown)
        return;
    if (m_sliceDepth > 0) {
        // Called from an event loop that something inside a slice runs: the slice must end first.
        m_rescanTimer.start(0);
        return;
    }
    const bool full = m_fullRescanPending;
    const QStringList names(m_pendingRescanNames.begin(), m_pendingRescanNames.end());
    m_fullRescanPending = false;
    m_pendingRescanNames.clear();
    if (!folderPresent()) {
        m_run.reset();
        Q_EMIT rescanned();
        return;
    }
    if (full) {
        ChangeBatch batch(*this);
        m_run = listFolder();
        if (!m_run) {
            Q_EMIT rescanned();
            return;
        }
    } else if (m_run) {
        addNamedFiles(*m_run, names);
    } else {
        m_run = std::make_unique<RescanRun>(false);
        addNamedFiles(*m_run, names);
    }
    runSlice();
}

void NoteStore::runSlice()
{
    m_sliceQueued = false;
    if (!m_run || m_shutDown) {
        m_run.reset();
        return;
    }
    if (m_sliceDepth > 0) {
        queueSlice();
        return;
    }
    if (!folderPresent()) {
        m_run.reset();
        Q_EMIT rescanned();
        return;
    }
    {
        // Each slice announces its own changes of the set of notes, so that the panels follow along.
        ChangeBatch batch(*this);
        ++m_sliceDepth;
        const auto leave = qScopeGuard([this] { --m_sliceDepth; });
        if (!advance(*m_run, QDeadlineTimer(qint64(rescanSliceMs * m_delayScale)))) {
            queueSlice();
            return;
        }
        complete(*m_run);
    }
    m_run.reset();
    Q_EMIT rescanned();
    // The folder was deleted or moved away and another one now stands at its path: watch that one.
    if (m_watcher && !m_watcher->isActive() && !m_reportedMissing && QFileInfo(m_folder).isDir()) {
        watchFolder();
        rescan();
    }
}

void NoteStore::queueSlice()
{
    if (m_sliceQueued)
        return;
    m_sliceQueued = true;
    // Posted, not run at once: input, painting and timers get their turn before the next slice.
    QMetaObject::invokeMethod(this, &NoteStore::runSlice, Qt::QueuedConnection);
}

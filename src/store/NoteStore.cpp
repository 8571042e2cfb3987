#include "store/NoteStore.h"

#include "core/Alerts.h"
#include "store/AtomicFile.h"
#include "store/FolderWatcher.h"
#include "store/NoteController.h"
#include "store/NoteNaming.h"
#include "store/PlainNoteController.h"
#include "store/RecoveryFolder.h"
#include "store/StoreLog.h"

#include <QCollator>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>
#include <QStandardPaths>

#include <algorithm>
#include <cmath>

Q_LOGGING_CATEGORY(lcStore, "tackpad.store", QtInfoMsg)

NoteStore::ChangeBatch::~ChangeBatch()
{
    if (--m_store.m_batchDepth == 0 && m_store.m_notesDirty) {
        m_store.m_notesDirty = false;
        Q_EMIT m_store.notesChanged(&m_store);
    }
}

NoteStore::NoteStore(const QString &folder, Settings settings, QObject *parent)
    : QObject(parent)
    , m_folder(QDir::cleanPath(QFileInfo(folder).absoluteFilePath()))
    , m_settings(std::move(settings))
    , m_attachments(m_folder)
    , m_factory([](std::unique_ptr<Note> note, NoteStore &store, const QString &lastDiskContent) {
        return std::make_unique<PlainNoteController>(std::move(note), store, lastDiskContent);
    })
    , m_visibleArea(&ScreenCoordinates::primaryVisibleArea)
{
    m_rescanTimer.setSingleShot(true);
    connect(&m_rescanTimer, &QTimer::timeout, this, &NoteStore::runPendingRescan);
    m_saver = std::make_unique<NoteSaver>();
    connect(m_saver.get(), &NoteSaver::finished, this,
        [this](NoteSaver::Id id, const NoteSaver::Result &result) { finishSave(id, result); });
}

NoteStore::~NoteStore()
{
    // An owner that forgets to shut down must not lose the last edits.
    shutdown();
    // Nothing is under way any more (shutting down waited for every write); the saver's thread ends here.
    m_saver.reset();
}

QString NoteStore::filePath(const QString &filename) const
{
    return m_folder + QLatin1Char('/') + filename;
}

void NoteStore::setControllerFactory(ControllerFactory factory)
{
    m_factory = std::move(factory);
}

void NoteStore::setAlertPresenter(AlertPresenter *presenter)
{
    m_alerts = presenter;
}

void NoteStore::setVisibleAreaProvider(VisibleAreaProvider provider)
{
    m_visibleArea = std::move(provider);
}

void NoteStore::setDelayScale(double scale)
{
    m_delayScale = scale;
}

void NoteStore::setClock(Clock clock)
{
    m_clock = std::move(clock);
}

int NoteStore::delayMs(double seconds) const
{
    return int(seconds * 1000 * m_delayScale);
}

// --- The notes shown

NoteController *NoteStore::controller(const QString &filename) const
{
    const auto it = m_controllers.find(filename);
    return it == m_controllers.end() ? nullptr : it->second.get();
}

std::vector<NoteController *> NoteStore::controllers() const
{
    std::vector<NoteController *> result;
    result.reserve(m_controllers.size());
    for (const auto &[name, controller] : m_controllers)
        result.push_back(controller.get());
    std::stable_sort(result.begin(), result.end(), &StackingOrder::less);
    return result;
}

std::vector<NoteController *> NoteStore::controllersByName() const
{
    QStringList names;
    for (const auto &entry : m_controllers)
        names << entry.first;
    NoteFiles::sortByName(names);
    std::vector<NoteController *> result;
    result.reserve(size_t(names.size()));
    for (const QString &name : std::as_const(names))
        result.push_back(controller(name));
    return result;
}

std::vector<NoteController *> NoteStore::promptControllers() const
{
    std::vector<NoteController *> result = controllersByName();
    std::erase_if(result, [](const NoteController *c) { return !c->note().meta.isPrompt; });
    return result;
}

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
        return;
    QStringList names;
    QHash<QString, NoteFiles::FileStamp> stamps;
    for (const NoteFiles::Entry &entry : *entries) {
        names << entry.name;
        stamps.insert(entry.name, entry.stamp);
    }
    NoteFiles::sortByName(names);

    ChangeBatch batch(*this);
    recoverAbandonedSaves(temporaries);
    reportSkippedEntries(skipped);
    // Files removed, or renamed, by another program; collected first so that a renamed file finds its note.
    Vanished vanished;
    for (const auto &entry : m_controllers) {
        if (!stamps.contains(entry.first))
            vanished << entry.first;
    }
    for (const QString &name : std::as_const(names))
        reconcile(name, stamps.value(name), true, vanished);
    removeVanished(vanished);
    QSet<QString> listed(stamps.keyBegin(), stamps.keyEnd());
    for (const NoteFiles::Skipped &entry : skipped)
        listed.insert(entry.name);
    m_known.removeIf([&listed](const auto &known) { return !listed.contains(known.key()); });
}

// The same reconciliation as a full rescan, for the files the watcher named. A name that is no longer a regular
// file is what a full rescan would not list.
void NoteStore::rescanFiles(QStringList names)
{
    const auto finished = qScopeGuard([this] { Q_EMIT rescanned(); });
    if (m_shutDown || !folderPresent())
        return;
    NoteFiles::sortByName(names);
    ChangeBatch batch(*this);
    Vanished vanished;
    QList<std::pair<QString, NoteFiles::FileStamp>> present;
    for (const QString &name : std::as_const(names)) {
        if (!NoteFiles::isNoteFileName(name))
            continue;
        const std::optional<NoteFiles::FileStamp> stamp = NoteFiles::stampOf(filePath(name));
        if (stamp) {
            present.append({name, *stamp});
            continue;
        }
        m_known.remove(name);
        if (controller(name))
            vanished << name;
    }
    for (const auto &[name, stamp] : std::as_const(present))
        reconcile(name, stamp, false, vanished);
    removeVanished(vanished);
}

void NoteStore::removeVanished(const Vanished &vanished)
{
    for (const QString &name : vanished)
        removeController(name, Unsaved::Keep, QStringLiteral("was deleted or moved away elsewhere"));
}

// A new file whose text is exactly what a vanished note's file held is that file under a new name.
bool NoteStore::followRename(const QString &name, const QString &raw, Vanished &vanished)
{
    for (qsizetype i = 0; i < vanished.size(); ++i) {
        NoteController *moved = controller(vanished.at(i));
        if (moved && moved->lastDiskContent() == raw) {
            rekey(vanished.takeAt(i), name);
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
        Q_EMIT textRecovered(target, *kept, QStringLiteral("was being saved when Tackpad stopped"));
    }
}

void NoteStore::reconcile(
    const QString &name, const NoteFiles::FileStamp &stamp, bool trustKnownStamp, Vanished &vanished)
{
    NoteController *existing = controller(name);
    if (trustKnownStamp) {
        // Unchanged since it was last read: the outcome would be the same, so skip the read. This is what keeps
        // a large ordinary file from being read again on every full rescan.
        const auto known = m_known.constFind(name);
        if (known != m_known.cend() && known->stamp == stamp
            && (known->outcome == KnownFile::Note) == (existing != nullptr))
            return;
    }
    const NoteFiles::ReadResult read = NoteFiles::readText(filePath(name));
    if (read.status != NoteFiles::ReadStatus::Ok) {
        reconcileUnusable(name, stamp, read);
        return;
    }
    const QString &raw = read.text;
    if (existing) {
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
    if (!parsed.hadMeta || followRename(name, raw, vanished))
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

NoteController *NoteStore::addController(
    const QString &name, const QString &raw, const Frontmatter::Parsed &parsed, bool byteOrderMark)
{
    m_stacking.include(parsed.meta.z);
    auto note = std::make_unique<Note>();
    note->filename = name;
    note->body = parsed.body;
    note->meta = parsed.meta;
    note->foreignFrontmatter = parsed.foreign;
    note->hadMetadata = parsed.hadMeta;
    note->byteOrderMark = byteOrderMark;
    NoteController *added = insertController(std::move(note), raw);
    moveAsideFromTwins(added);
    if (added->note().meta.hidden)
        added->hideWindow();
    else
        added->showWindow(false);
    noteSetChanged();
    return added;
}

// Sync tools make conflict copies that carry the very same position: shown as stored, one would hide the other.
void NoteStore::moveAsideFromTwins(NoteController *added)
{
    constexpr double step = 24;
    const auto standsAt = [](const NoteController *c) {
        const NoteMetadata &m = c->note().meta;
        return QPointF(std::round(m.x + c->displayOffset().x()), std::round(m.y + c->displayOffset().y()));
    };
    QSet<std::pair<qint64, qint64>> taken;
    for (const auto &[name, other] : m_controllers) {
        if (other.get() != added && !other->note().meta.hidden) {
            const QPointF at = standsAt(other.get());
            taken.insert({qint64(at.x()), qint64(at.y())});
        }
    }
    QPointF offset;
    const NoteMetadata &meta = added->note().meta;
    for (int n = 0; n < 100; ++n) {
        const std::pair<qint64, qint64> at {
            qint64(std::round(meta.x + offset.x())), qint64(std::round(meta.y + offset.y()))};
        if (!taken.contains(at))
            break;
        offset += QPointF(step, -step);
    }
    if (!offset.isNull())
        added->setDisplayOffset(offset);
}

NoteController *NoteStore::insertController(std::unique_ptr<Note> note, const QString &lastDiskContent)
{
    const QString name = note->filename;
    if (controller(name))
        removeController(name, Unsaved::Keep, QStringLiteral("was replaced by another note of the same name"));
    std::unique_ptr<NoteController> made = m_factory(std::move(note), *this, lastDiskContent);
    NoteController *added = made.get();
    m_controllers.emplace(name, std::move(made));
    return added;
}

void NoteStore::removeController(const QString &filename, Unsaved unsaved, const QString &why)
{
    const auto it = m_controllers.find(filename);
    if (it == m_controllers.end())
        return;
    // Text that never reached the file is kept elsewhere before its window goes.
    if (unsaved == Unsaved::Keep && hasUnsavedText(it->second.get())) {
        if (const std::optional<QString> copy = keepUnsavedCopy(filename, why))
            Q_EMIT textRecovered(filename, *copy, why);
    }
    m_pendingSaves.erase(filename);
    m_unsaved.remove(filename);
    m_detached.remove(filename);
    m_keptCopies.remove(filename);
    std::unique_ptr<NoteController> closing = std::move(it->second);
    m_controllers.erase(it);
    closing->closeWindow();
    // The controller may be the caller (a window's "delete" action); it is deleted once the call has returned.
    if (m_retired.empty())
        QMetaObject::invokeMethod(this, &NoteStore::purgeRetired, Qt::QueuedConnection);
    m_retired.push_back(std::move(closing));
    noteSetChanged();
}

// The note's file has a new name (renamed by the user, or by another program): the note, its pending or failed
// save and everything known of it follow, and unsaved text is written under the new name.
void NoteStore::rekey(const QString &oldName, const QString &newName)
{
    NoteController *moved = controller(oldName);
    if (!moved || oldName == newName)
        return;
    const bool savePending = cancelPendingSave(oldName);
    const bool failed = m_unsaved.remove(oldName);
    m_pendingSaves.erase(oldName);
    if (m_detached.contains(oldName))
        m_detached.insert(newName, m_detached.take(oldName));
    if (m_keptCopies.contains(oldName))
        m_keptCopies.insert(newName, m_keptCopies.take(oldName));
    auto node = m_controllers.extract(oldName);
    node.key() = newName;
    m_controllers.insert(std::move(node));
    m_known.remove(oldName);
    m_known.remove(newName);
    moved->note().filename = newName;
    moved->applyAppearance();
    if (failed)
        m_unsaved.insert(newName);
    if (savePending || failed || hasUnsavedChanges(moved))
        noteEdited(moved);
    noteSetChanged();
}

void NoteStore::purgeRetired()
{
    m_retired.clear();
}

void NoteStore::postNotesChanged()
{
    noteSetChanged();
}

void NoteStore::noteSetChanged()
{
    if (m_batchDepth > 0)
        m_notesDirty = true;
    else
        Q_EMIT notesChanged(this);
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

void NoteStore::runPendingRescan()
{
    const bool full = m_fullRescanPending;
    const QStringList names(m_pendingRescanNames.begin(), m_pendingRescanNames.end());
    m_fullRescanPending = false;
    m_pendingRescanNames.clear();
    if (full)
        rescan();
    else
        rescanFiles(names);
    // The folder was deleted or moved away and another one now stands at its path: watch that one.
    if (m_watcher && !m_watcher->isActive() && !m_reportedMissing && QFileInfo(m_folder).isDir()) {
        watchFolder();
        rescan();
    }
}

void NoteStore::shutdown()
{
    if (m_shutDown)
        return;
    flushAllSaves();
    keepUnsavedCopies();
    m_watcher.reset();
    m_rescanTimer.stop();
    m_pendingRescanNames.clear();
    m_fullRescanPending = false;
    m_shutDown = true;
    for (auto &[name, controller] : m_controllers) {
        controller->closeWindow();
        m_retired.push_back(std::move(controller));
    }
    m_controllers.clear();
}

// --- New-note defaults

NoteMetadata NoteStore::nextDefaultMetadata()
{
    const std::optional<ScreenCoordinates::VisibleArea> area = m_visibleArea ? m_visibleArea() : std::nullopt;
    const QRectF frame = area ? ScreenCoordinates::visibleFrame(*area) : NewNoteDefaults::fallbackVisibleFrame;
    const QPointF position = NewNoteDefaults::cascadePosition(frame, m_cascadeIndex++);
    NoteMetadata meta;
    meta.x = position.x();
    meta.y = position.y();
    meta.z = m_stacking.raisedMaxZ();
    return meta;
}

NewNoteDefaults::Style NoteStore::styleDefaults() const
{
    return NewNoteDefaults::rememberedStyle(m_settings);
}

void NoteStore::applyNewNoteDefaults(NoteMetadata &meta) const
{
    NewNoteDefaults::applyStyle(NewNoteDefaults::newNoteStyle(m_settings), meta);
}

void NoteStore::rememberStyleDefaults(const NoteMetadata &meta)
{
    NewNoteDefaults::rememberStyle(m_settings, meta);
}

void NoteStore::reportFailure(const QString &title, const QString &description, bool quiet)
{
    // Shown to the user when someone can show it; otherwise it goes to the log like any background failure.
    if (!quiet && m_alerts)
        m_alerts->show(Alert::failure(title, description));
    else
        qCWarning(lcStore).noquote() << QStringLiteral("TackPad: %1: %2").arg(title, description);
}

void NoteStore::refreshFromDisk(const QString &filename)
{
    // The file as the note last wrote it, not as it stands halfway through a write.
    waitForSave(filename);
    rescanFiles({filename});
}

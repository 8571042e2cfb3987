#include "store/NoteStore.h"

#include "app/Alerts.h"
#include "store/FolderWatcher.h"
#include "store/NoteController.h"
#include "store/NoteNaming.h"
#include "store/PlainNoteController.h"
#include "store/StoreLog.h"

#include <QCollator>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>
#include <QStandardPaths>

#include <algorithm>
#include <limits>

Q_LOGGING_CATEGORY(lcStore, "tackpad.store", QtInfoMsg)

NoteStore::ChangeBatch::~ChangeBatch()
{
    if (--m_store.m_batchDepth == 0 && m_store.m_notesDirty) {
        m_store.m_notesDirty = false;
        Q_EMIT m_store.notesChanged(&m_store);
    }
}

namespace {

int milliseconds(double seconds)
{
    return int(seconds * 1000);
}

} // namespace

NoteStore::NoteStore(const QString &folder, Settings settings, QObject *parent)
    : QObject(parent)
    , m_folder(QDir::cleanPath(QFileInfo(folder).absoluteFilePath()))
    , m_settings(std::move(settings))
    , m_factory([](std::unique_ptr<Note> note, NoteStore &store, const QString &lastDiskContent) {
        return std::make_unique<PlainNoteController>(std::move(note), store, lastDiskContent);
    })
    , m_visibleArea(&ScreenCoordinates::primaryVisibleArea)
{
    m_rescanTimer.setSingleShot(true);
    connect(&m_rescanTimer, &QTimer::timeout, this, &NoteStore::runPendingRescan);
}

NoteStore::~NoteStore()
{
    // An owner that forgets to shut down must not lose the last edits.
    shutdown();
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

// --- The notes shown

NoteController *NoteStore::controller(const QString &filename) const
{
    const auto it = m_controllers.find(filename);
    return it == m_controllers.end() ? nullptr : it->second.get();
}

bool NoteStore::zOrderLess(const NoteController *a, const NoteController *b) const
{
    if (a->note().meta.z != b->note().meta.z)
        return a->note().meta.z < b->note().meta.z;
    return NoteFiles::finderCollator().compare(a->note().filename, b->note().filename) < 0;
}

std::vector<NoteController *> NoteStore::controllers() const
{
    std::vector<NoteController *> result;
    result.reserve(m_controllers.size());
    for (const auto &[name, controller] : m_controllers)
        result.push_back(controller.get());
    std::stable_sort(result.begin(), result.end(),
        [this](const NoteController *a, const NoteController *b) { return zOrderLess(a, b); });
    return result;
}

std::vector<NoteController *> NoteStore::controllersInFinderOrder() const
{
    QStringList names;
    for (const auto &entry : m_controllers)
        names << entry.first;
    NoteFiles::sortInFinderOrder(names);
    std::vector<NoteController *> result;
    result.reserve(size_t(names.size()));
    for (const QString &name : std::as_const(names))
        result.push_back(controller(name));
    return result;
}

std::vector<NoteController *> NoteStore::promptControllers() const
{
    std::vector<NoteController *> result = controllersInFinderOrder();
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
        // On a later turn: the owner typically replaces this store from the callback, which must not happen
        // while the store is still inside a rescan or an operation.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (onFolderMissing)
                    onFolderMissing();
            },
            Qt::QueuedConnection);
    }
    return false;
}

void NoteStore::rescan()
{
    const auto finished = qScopeGuard([this] { Q_EMIT rescanned(); });
    if (m_shutDown || !folderPresent())
        return;
    const auto entries = NoteFiles::listNoteFiles(m_folder);
    if (!entries)
        return;
    QStringList names;
    QHash<QString, NoteFiles::FileStamp> stamps;
    for (const NoteFiles::Entry &entry : *entries) {
        names << entry.name;
        stamps.insert(entry.name, entry.stamp);
    }
    NoteFiles::sortInFinderOrder(names);

    ChangeBatch batch(*this);
    for (const QString &name : std::as_const(names))
        reconcile(name, stamps.value(name), true);
    // Files removed, or renamed, by another program.
    QStringList gone;
    for (const auto &entry : m_controllers) {
        if (!stamps.contains(entry.first))
            gone << entry.first;
    }
    for (const QString &name : std::as_const(gone))
        removeController(name);
    m_known.removeIf([&stamps](const auto &known) { return !stamps.contains(known.key()); });
}

// The same reconciliation as a full rescan, for the files the watcher named. A name that is no longer a regular
// file is what a full rescan would not list.
void NoteStore::rescanFiles(QStringList names)
{
    const auto finished = qScopeGuard([this] { Q_EMIT rescanned(); });
    if (m_shutDown || !folderPresent())
        return;
    NoteFiles::sortInFinderOrder(names);
    ChangeBatch batch(*this);
    for (const QString &name : std::as_const(names)) {
        if (!NoteFiles::isNoteFileName(name))
            continue;
        const std::optional<NoteFiles::FileStamp> stamp = NoteFiles::stampOf(filePath(name));
        if (!stamp) {
            m_known.remove(name);
            if (controller(name))
                removeController(name);
            continue;
        }
        reconcile(name, *stamp, false);
    }
}

void NoteStore::reconcile(const QString &name, const NoteFiles::FileStamp &stamp, bool trustKnownStamp)
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
        // Neither added nor removed: a note whose file cannot be read right now keeps its window.
        const auto known = m_known.constFind(name);
        const bool reported = known != m_known.cend() && known->outcome == KnownFile::Unusable;
        m_known.insert(name, {stamp, KnownFile::Unusable});
        if (!reported) {
            qCWarning(lcStore).noquote() << QStringLiteral("TackPad: skipped %1: %2").arg(name, read.error);
            Q_EMIT fileSkipped(name, read.error);
        }
        return;
    }
    const QString &raw = read.text;
    if (existing) {
        if (raw == existing->lastDiskContent()) {
            m_known.insert(name, {stamp, KnownFile::Note});
            return;
        }
        // The window's unsaved state wins; the pending save will overwrite the file.
        if (hasPendingSave(name)) {
            m_known.remove(name);
            return;
        }
        const Frontmatter::Parsed parsed = Frontmatter::parse(raw);
        if (!parsed.hadMeta) {
            // Another program took the property line out: the file is an ordinary file again.
            removeController(name);
            m_known.insert(name, {stamp, KnownFile::Ordinary});
            return;
        }
        existing->applyExternal(parsed, raw);
        m_known.insert(name, {stamp, KnownFile::Note});
        return;
    }
    const Frontmatter::Parsed parsed = Frontmatter::parse(raw);
    if (parsed.hadMeta)
        addController(name, raw, parsed);
    m_known.insert(name, {stamp, parsed.hadMeta ? KnownFile::Note : KnownFile::Ordinary});
}

NoteController *NoteStore::addController(const QString &name, const QString &raw, const Frontmatter::Parsed &parsed)
{
    m_maxZ = std::max(m_maxZ, parsed.meta.z);
    auto note = std::make_unique<Note>();
    note->filename = name;
    note->body = parsed.body;
    note->meta = parsed.meta;
    note->foreignFrontmatter = parsed.foreign;
    note->hadMetadata = parsed.hadMeta;
    NoteController *added = insertController(std::move(note), raw);
    if (added->note().meta.hidden)
        added->orderOut();
    else
        added->orderFront(false);
    noteSetChanged();
    return added;
}

NoteController *NoteStore::insertController(std::unique_ptr<Note> note, const QString &lastDiskContent)
{
    const QString name = note->filename;
    if (controller(name))
        removeController(name);
    std::unique_ptr<NoteController> made = m_factory(std::move(note), *this, lastDiskContent);
    NoteController *added = made.get();
    m_controllers.emplace(name, std::move(made));
    return added;
}

void NoteStore::removeController(const QString &filename)
{
    const auto it = m_controllers.find(filename);
    if (it == m_controllers.end())
        return;
    m_pendingSaves.erase(filename);
    // Text that never reached the file is kept elsewhere before its window goes.
    if (m_unsaved.remove(filename))
        keepUnsavedCopy(filename);
    std::unique_ptr<NoteController> closing = std::move(it->second);
    m_controllers.erase(it);
    closing->closeWindow();
    // The controller may be the caller (a window's "delete" action); it is deleted once the call has returned.
    if (m_retired.empty())
        QMetaObject::invokeMethod(this, &NoteStore::purgeRetired, Qt::QueuedConnection);
    m_retired.push_back(std::move(closing));
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
    QString error;
    // Out of inotify instances (the limit is per user), QFileSystemWatcher may still find a way.
    for (const FolderWatcher::Kind kind : {FolderWatcher::Kind::Native, FolderWatcher::Kind::Portable}) {
        m_watcher = FolderWatcher::create(m_folder, kind);
        connect(m_watcher.get(), &FolderWatcher::filesChanged, this, &NoteStore::onFilesChanged);
        connect(m_watcher.get(), &FolderWatcher::folderChanged, this, &NoteStore::onFolderChanged);
        if (m_watcher->start(&error))
            return;
    }
    m_watcher.reset();
    // The first scan has happened; the notes work, they just do not follow other programs' changes.
#ifdef Q_OS_DARWIN
    qCWarning(lcStore).noquote() << "TackPad: could not create FSEvents stream";
#else
    qCWarning(lcStore).noquote() << QStringLiteral("TackPad: could not watch folder %1: %2").arg(m_folder, error);
#endif
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
    m_rescanTimer.start(milliseconds(rescanDelay));
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
        m_rescanTimer.start(milliseconds(rescanDelay));
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
        QString error;
        if (m_watcher->start(&error))
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

// --- Saving

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
    timer->start(milliseconds(delaySeconds));
}

bool NoteStore::hasPendingSave(const QString &filename) const
{
    const auto it = m_pendingSaves.find(filename);
    return it != m_pendingSaves.end() && it->second->isActive();
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

QString NoteStore::unsavedCopiesFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) + QLatin1String("/Unsaved");
}

void NoteStore::keepUnsavedCopies()
{
    for (const QString &name : std::as_const(m_unsaved))
        keepUnsavedCopy(name);
}

void NoteStore::keepUnsavedCopy(const QString &name)
{
    NoteController *target = controller(name);
    if (!target)
        return;
    const Note &note = target->note();
    const QString text = Frontmatter::serialize(note.meta, note.foreignFrontmatter, note.body);
    // Quitting flushes more than once; one copy of the same text is enough.
    if (m_keptCopies.value(name) == text)
        return;
    // The workspace's name and the time tell copies of same-named notes apart.
    const QString copy
        = QStringLiteral("%1/%2 %3 %4")
              .arg(unsavedCopiesFolder(), QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh.mm.ss")),
                  QFileInfo(m_folder).fileName(), name);
    QString error = QStringLiteral("cannot create %1").arg(unsavedCopiesFolder());
    if (QDir().mkpath(unsavedCopiesFolder()) && NoteFiles::writeReplacing(copy, text.toUtf8(), &error)) {
        qCWarning(lcStore).noquote()
            << QStringLiteral("TackPad: failed to save %1; its text is kept in %2").arg(name, copy);
        m_keptCopies.insert(name, text);
        return;
    }
    qCCritical(lcStore).noquote()
        << QStringLiteral("TackPad: failed to save %1 and to keep a copy of it: %2").arg(name, error);
}

bool NoteStore::performSave(NoteController *controller)
{
    const Note &note = controller->note();
    const QString text = Frontmatter::serialize(note.meta, note.foreignFrontmatter, note.body);
    if (text == controller->lastDiskContent())
        return true;
    QString error;
    if (!NoteFiles::writeReplacing(filePath(note.filename), text.toUtf8(), &error)) {
        // The note keeps its text in memory and its old lastDiskContent; the next edit tries again.
        qCWarning(lcStore).noquote() << QStringLiteral("TackPad: failed to save %1: %2").arg(note.filename, error);
        if (!m_unsaved.contains(note.filename)) {
            m_unsaved.insert(note.filename);
            Q_EMIT saveFailed(note.filename, error);
        }
        return false;
    }
    m_unsaved.remove(note.filename);
    controller->setLastDiskContent(text);
    m_known.remove(note.filename);
    Q_EMIT noteWritten(note.filename);
    return true;
}

// --- New-note defaults

qint64 NoteStore::raisedMaxZ()
{
    if (m_maxZ == std::numeric_limits<qint64>::max())
        qFatal("TackPad: stacking order counter overflow");
    return ++m_maxZ;
}

NoteMetadata NoteStore::nextDefaultMetadata()
{
    const std::optional<ScreenCoordinates::VisibleArea> area = m_visibleArea ? m_visibleArea() : std::nullopt;
    const QRectF frame = area ? ScreenCoordinates::visibleFrame(*area) : NewNoteDefaults::fallbackVisibleFrame;
    const QPointF position = NewNoteDefaults::cascadePosition(frame, m_cascadeIndex++);
    NoteMetadata meta;
    meta.x = position.x();
    meta.y = position.y();
    meta.z = raisedMaxZ();
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
    rescanFiles({filename});
}

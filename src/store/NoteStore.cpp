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
#include <QCoreApplication>
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
    const auto standsAt = [](const NoteController *c, QPointF offset) {
        const NoteMetadata &m = c->note().meta;
        return std::pair<qint64, qint64> {qint64(std::round(m.x + offset.x())), qint64(std::round(m.y + offset.y()))};
    };
    // A rescan adding thousands of notes collects the positions once per slice, not once per note.
    std::optional<TakenPositions> own;
    std::optional<TakenPositions> &taken = m_takenPositions ? *m_takenPositions : own;
    if (!taken) {
        taken.emplace();
        for (const auto &[name, other] : m_controllers) {
            if (other.get() != added && !other->note().meta.hidden)
                taken->insert(standsAt(other.get(), other->displayOffset()));
        }
    }
    QPointF offset;
    for (int n = 0; n < 100; ++n) {
        if (!taken->contains(standsAt(added, offset)))
            break;
        offset += QPointF(step, -step);
    }
    if (!offset.isNull())
        added->setDisplayOffset(offset);
    if (!added->note().meta.hidden)
        taken->insert(standsAt(added, offset));
}

NoteController *NoteStore::insertController(std::unique_ptr<Note> note, const QString &lastDiskContent)
{
    const QString name = note->filename;
    if (controller(name))
        //: Completes a sentence that starts with a note's title: “Shopping” <this text>.
        removeController(name, Unsaved::Keep, tr("was replaced by another note of the same name"));
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
    // The notes leave the store before any window closes: closing one can hand the activation to another at once
    // (so a Wayland compositor does), and that window asks the store to raise it while the others are closing.
    const std::size_t first = m_retired.size();
    for (auto &[name, controller] : m_controllers)
        m_retired.push_back(std::move(controller));
    m_controllers.clear();
    for (std::size_t i = first; i < m_retired.size(); ++i)
        m_retired[i]->closeWindow();
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
        m_alerts->show(
            Alert::failure(QCoreApplication::translate("NoteStore", title.toUtf8().constData()), description));
    else
        qCWarning(lcStore).noquote() << QStringLiteral("TackPad: %1: %2").arg(title, description);
}

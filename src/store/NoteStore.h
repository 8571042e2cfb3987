#pragma once

#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "notes/NoteMetadata.h"
#include "notes/ScreenCoordinates.h"
#include "store/NewNoteDefaults.h"
#include "store/NoteAttachments.h"
#include "store/NoteFiles.h"
#include "store/NoteSaver.h"
#include "store/RescanRun.h"
#include "store/StackingOrder.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <QString>
#include <QTimer>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class AlertPresenter;
class FolderWatcher;
class NoteController;
struct Note;

// The notes of one workspace folder. Lists the folder's Markdown files, turns each file that carries the
// application's properties into a note with a controller, watches the folder and reconciles every change made by
// other programs, writes edits back after a quiet period, and carries out the file operations on notes (create,
// rename, duplicate, delete, import, revert). Everything runs on the thread that owns it.
class NoteStore : public QObject {
    Q_OBJECT
public:
    using ControllerFactory
        = std::function<std::unique_ptr<NoteController>(std::unique_ptr<Note>, NoteStore &, const QString &)>;
    using VisibleAreaProvider = std::function<std::optional<ScreenCoordinates::VisibleArea>()>;

    using Clock = std::function<QDateTime()>;

    // Seconds: a rescan follows the last file event after rescanDelay; an edit is written editSaveDelay after the
    // last change, a raise in stacking order raiseSaveDelay after it.
    static constexpr double rescanDelay = 0.2;
    static constexpr double editSaveDelay = 0.75;
    static constexpr double raiseSaveDelay = 2.0;
    // Conflict copies are named "<title> (conflict <date and time>)".
    static constexpr const char *conflictTimeFormat = "yyyy-MM-dd HHmm";

    // Reads nothing: the owner connects `folderMissing`, then calls `rescan()` once and `startWatching()`.
    NoteStore(const QString &folder, Settings settings, QObject *parent = nullptr);
    ~NoteStore() override;

    QString folder() const { return m_folder; }
    QString filePath(const QString &filename) const;
    Settings &settings() { return m_settings; }
    // The pictures pasted or dropped into this workspace's notes.
    const NoteAttachments &attachments() const { return m_attachments; }

    // Seams for the owner: how controllers are made (windows), who answers alerts (null: failures are only
    // logged), and where the screen is (tests and the console use a fixed frame).
    void setControllerFactory(ControllerFactory factory);
    void setAlertPresenter(AlertPresenter *presenter);
    void setVisibleAreaProvider(VisibleAreaProvider provider);
    // Every delay (rescan, saves) and the length of a rescan's slices is multiplied by `scale`: tests run the same
    // rules without waiting in real time (0: one file a slice).
    void setDelayScale(double scale);
    // The time used to name conflict copies and recovered text.
    void setClock(Clock clock);

    // --- The notes shown
    NoteController *controller(const QString &filename) const;
    int controllerCount() const { return int(m_controllers.size()); }
    // All controllers, lowest stacking order first (the order in which to bring windows to the front).
    std::vector<NoteController *> controllers() const;
    std::vector<NoteController *> controllersByName() const;
    // The controllers of all prompt notes, in name order.
    std::vector<NoteController *> promptControllers() const;

    // --- Scan and watch
    void rescan();
    void startWatching();
    bool isWatching() const;
    // A full rescan after the debounce delay.
    void scheduleRescan();
    NoteController *addController(
        const QString &name, const QString &raw, const Frontmatter::Parsed &parsed, bool byteOrderMark = false);
    // Writes pending saves, stops watching and closes every window. The store does nothing afterwards.
    void shutdown();
    // Announces a change of the set of notes or of their hidden state (also used by controllers).
    void postNotesChanged();

    // --- Saving. Callers say what happened; the store decides when the file is written. Each call restarts the
    // note's wait, so that a burst of changes is one write after the last of them.
    // Text or properties changed by the user (typing, a move, a new colour).
    void noteEdited(NoteController *controller);
    // Only the stacking order changed: written after a longer wait, as raising notes is frequent and unimportant.
    void noteRaised(NoteController *controller);
    // The whole note was replaced at once (an AI reply, a command from a script): written on the next turn.
    void noteReplaced(NoteController *controller);
    // A save of the file is waiting for its delay, or under way.
    bool hasPendingSave(const QString &filename) const;
    // Writes every pending save now, and tries once more each note whose last save failed. Returns once the saver's
    // thread has finished every write, so that the text is on disk.
    void flushAllSaves();
    // For each note whose file still cannot be written, keeps its whole text in the recovery folder
    // (RecoveryFolder), so that quitting or leaving the workspace loses nothing.
    void keepUnsavedCopies();
    // Whether the note holds text or properties that its file does not have yet.
    bool hasUnsavedChanges(const NoteController *controller) const;
    bool hasUnsavedText(const NoteController *controller) const;
    // Re-reads one note file now and takes in what another program changed (merged with unsaved text), so that
    // such a change reaches its note before the note is rewritten as a whole (an AI reply).
    void refreshFromDisk(const QString &filename);

    // --- Names and stacking order
    static std::optional<QString> sanitizeTitle(const QString &title);
    QString availableFilename(const QString &base, int firstSuffix) const;
    bool filenameTaken(const QString &name) const;
    void bringToFront(NoteController *controller);
    qint64 maxZ() const { return m_stacking.maxZ(); }

    // --- File operations; failures are shown as alerts with fixed titles
    NoteController *create(const QString &body, const QString &preferredName, std::optional<double> width = {},
        std::optional<double> height = {}, const std::optional<QString> &color = {},
        const NoteController *near = nullptr);
    bool rename(NoteController *controller, const QString &title);
    NoteController *duplicate(NoteController *controller);
    // Moves the note's file to the Trash and closes the note.
    bool deleteNote(NoteController *controller);
    void unhideAll();

    // --- New-note defaults
    NoteMetadata nextDefaultMetadata();
    NewNoteDefaults::Style styleDefaults() const;
    void applyNewNoteDefaults(NoteMetadata &meta) const;
    void rememberStyleDefaults(const NoteMetadata &meta);
    int cascadeIndex() const { return m_cascadeIndex; }

    // --- Import
    // Markdown files of the folder that are not notes; nothing when the folder cannot be listed.
    std::optional<int> ordinaryMarkdownCount();
    // Gives every ordinary Markdown file properties with the "adopt" flag; returns how many became notes.
    int adoptAllOrdinaryMarkdown();
    // A Markdown file of the folder gains properties ("adopt"); a file elsewhere is copied in as a new note.
    NoteController *importFile(const QString &path, bool quiet);
    // An adopted note becomes an ordinary Markdown file again and its window closes.
    bool revert(NoteController *controller);
    // Shows the note whose title matches the target (ignoring case), or creates it next to `from`.
    NoteController *followWikiLink(const QString &target, const NoteController *from);

Q_SIGNALS:
    // The folder was found gone (or replaced by a file); said once, on a later turn of the event loop, so that the
    // owner may replace the store from there.
    void folderMissing();
    // The set of notes or their hidden state changed.
    void notesChanged(NoteStore *store);
    // A rescan (full or of the files the watcher named) has finished.
    void rescanned();
    // The store wrote a note's file.
    void noteWritten(const QString &filename);
    // A note file cannot be shown: it cannot be read, is not UTF-8 text or is too large (`reason` says which, as
    // "larger than 4 MB"). Said once until the file has been usable again.
    void fileSkipped(const QString &filename, const QString &reason);
    // A note's file could not be written; the text stays in memory and every later save tries again. Said once
    // until a save of that note succeeds.
    void saveFailed(const QString &filename, const QString &error);
    // Another program changed a note that had unsaved text, and the two versions could not be merged: the note
    // keeps the user's text and the other version became the note `conflictFilename`.
    void conflictKept(const QString &filename, const QString &conflictFilename);
    // Text that could not stay in a note file was kept in the recovery folder as `copyPath`; `why` says what
    // happened, for example "was deleted elsewhere".
    void textRecovered(const QString &filename, const QString &copyPath, const QString &why);

private:
    // Groups the changes of one operation or rescan into one notesChanged signal.
    class ChangeBatch {
    public:
        explicit ChangeBatch(NoteStore &store)
            : m_store(store)
        {
            ++m_store.m_batchDepth;
        }
        ~ChangeBatch();
        ChangeBatch(const ChangeBatch &) = delete;
        ChangeBatch &operator=(const ChangeBatch &) = delete;

    private:
        NoteStore &m_store;
    };

    struct KnownFile {
        enum Outcome { Note, Ordinary, Unusable };
        NoteFiles::FileStamp stamp;
        Outcome outcome = Unusable;
    };

    bool folderPresent();
    void rescanFiles(const QStringList &names);
    void reconcile(const RescanRun::File &file, RescanRun &run);
    void reconcileUnusable(const QString &name, const NoteFiles::FileStamp &stamp, const NoteFiles::ReadResult &read);
    void fileGone(const QString &name, RescanRun &run);
    bool followRename(const QString &name, const QString &raw, RescanRun &run);
    void recoverAbandonedSaves(const QStringList &temporaries);
    void reportSkippedEntries(const std::vector<NoteFiles::Skipped> &skipped);
    void runPendingRescan();
    void onFilesChanged(const QStringList &names);
    void onFileMoved(const QString &from, const QString &to);
    void onFolderChanged();
    void noteSetChanged();
    bool folderReplaced() const;
    void watchFolder();
    int delayMs(double seconds) const;

    NoteController *insertController(std::unique_ptr<Note> note, const QString &lastDiskContent);
    void moveAsideFromTwins(NoteController *added);
    enum class Unsaved { Keep, Drop };
    void removeController(const QString &filename, Unsaved unsaved, const QString &why = {});
    void rekey(const QString &oldName, const QString &newName);
    void purgeRetired();

    void scheduleSave(NoteController *controller, double delaySeconds);
    bool performSave(NoteController *controller);
    void mergeOutsideChange(NoteController *controller, const QString &raw, const QString &base);
    void takeDisplacedText(NoteController *controller, const QByteArray &displaced, const QString &expected);
    void keepConflictCopy(NoteController *controller, const Frontmatter::Parsed &theirs, const QString &raw);
    void detach(const QString &name, const QString &reason);
    std::optional<QString> keepUnsavedCopy(const QString &name, const QString &why = {});
    bool cancelPendingSave(const QString &filename);
    QString conflictTitle(const QString &title) const;

    // --- Saving on the saver's thread (NoteStoreSaving.cpp)
    // A write handed to the saver whose outcome is not in yet; at most one per file, keyed by the file's name.
    struct SaveInFlight {
        NoteSaver::Id id = 0;
        QPointer<NoteController> controller;
        QString text; // what is being written
        QString expected; // what the file held when the note last read or wrote it
        bool saveAgain = false; // the note's wait ended meanwhile: it is saved again after this write
        bool reread = false; // a rescan found the file changed meanwhile: it is read again after this write
    };
    void startSave(NoteController *controller);
    bool keptInsteadOfWritten(NoteController *controller);
    NoteSaver::Id handOver(NoteController *controller, const QString &text, bool lookFirst);
    std::optional<NoteSaver::Result::Kind> finishSave(NoteSaver::Id id, const NoteSaver::Result &result);
    void takeSaveOutcome(NoteController *controller, const SaveInFlight &flight, const NoteSaver::Result &result);
    void takeOrphanedWrite(const QString &name, const NoteSaver::Result &result);
    bool saveInFlight(const NoteController *controller) const;
    std::map<QString, SaveInFlight>::iterator inFlight(const NoteController *controller);
    // Blocks until the write of the file under way (if any) has ended and its outcome is taken in: for whatever
    // needs the file as the note last wrote it (flushing, renaming, deleting, re-reading before an AI rewrite).
    void waitForSave(const QString &filename);
    void waitForAllSaves();
    QString mergeBase(const QString &name, const QString &base, const QString &theirsBody) const;
    // --- End of saving on the saver's thread

    QString availableFilename(const QString &base, int firstSuffix, const QString &ignoring) const;
    NoteController *writeNewNote(const QString &name, const NoteMetadata &meta, const QStringList &foreign,
        const QString &body, const QString &failureTitle, bool activate, bool quiet);
    NoteController *adoptInPlace(
        const QString &name, const Frontmatter::Parsed &parsed, bool byteOrderMark, bool quiet);
    bool insideFolder(const QString &path) const;
    void reportFailure(const QString &title, const QString &description, bool quiet = false);

    QString m_folder;
    Settings m_settings;
    NoteAttachments m_attachments;
    std::map<QString, std::unique_ptr<NoteController>> m_controllers;
    std::unique_ptr<FolderWatcher> m_watcher;
    QTimer m_rescanTimer;
    QSet<QString> m_pendingRescanNames;
    bool m_fullRescanPending = false;
    std::map<QString, std::unique_ptr<QTimer>> m_pendingSaves;
    // Notes whose last save failed: flushing tries them again even without a new edit.
    QSet<QString> m_unsaved;
    // Notes whose file another program made unusable (unreadable, too large, not UTF-8): nothing is written to it
    // until it is a readable note file again; the note's text goes to the recovery folder instead.
    QHash<QString, QString> m_detached;
    // The text last kept as a copy for each unsaved note.
    QHash<QString, QString> m_keptCopies;
    int m_cascadeIndex = 0;
    StackingOrder m_stacking;
    bool m_reportedMissing = false;
    bool m_shutDown = false;

    // What each file held when last looked at, so that a full rescan reads only files that changed since.
    QHash<QString, KnownFile> m_known;
    ControllerFactory m_factory;
    AlertPresenter *m_alerts = nullptr;
    VisibleAreaProvider m_visibleArea;
    double m_delayScale = 1.0;
    Clock m_clock = &QDateTime::currentDateTime;
    // The directory the watcher watches, to notice when the folder's path comes to name another directory.
    std::optional<NoteFiles::FolderIdentity> m_watchedIdentity;
    // Controllers closed while one of their own calls may still be on the stack; deleted on the next turn.
    std::vector<std::unique_ptr<NoteController>> m_retired;
    int m_batchDepth = 0;
    bool m_notesDirty = false;

    // --- Rescans in slices (NoteStoreScanning.cpp). A rescan the watcher asks for looks at files for about
    // rescanSliceMs at a time and lets the event loop turn in between, so that a checkout rewriting thousands of
    // notes never freezes the windows; `rescanned` follows the last slice. `rescan()` still does all at once.
    static constexpr int rescanSliceMs = 20;
    std::unique_ptr<RescanRun> listFolder();
    void addNamedFiles(RescanRun &run, QStringList names);
    // Reconciles files until the deadline; true once the run has looked at all of them.
    bool advance(RescanRun &run, const QDeadlineTimer &deadline);
    // The notes whose files stayed away lose their windows; a full run forgets files it did not see.
    void complete(RescanRun &run);
    void runSlice();
    void queueSlice();
    std::unique_ptr<RescanRun> m_run;
    bool m_sliceQueued = false;
    int m_sliceDepth = 0;
    // Where the visible notes stand, collected once per slice rather than once per note added.
    using TakenPositions = QSet<std::pair<qint64, qint64>>;
    std::optional<TakenPositions> *m_takenPositions = nullptr;
    // --- Saving on the saver's thread
    std::unique_ptr<NoteSaver> m_saver;
    std::map<QString, SaveInFlight> m_inFlight;
    // Each note's last write: the text it replaced and the text it wrote.
    struct LastWrite {
        QString replaced;
        QString written;
    };
    QHash<QString, LastWrite> m_writtenOver;
    // --- End of saving on the saver's thread
};

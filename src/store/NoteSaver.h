#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

// Writes note files on a thread of its own, so that a slow or stalled disk (a USB stick, a network folder, an
// fdatasync that takes seconds) never holds up typing. One saver per store: requests are carried out one at a time
// in the order they were handed over, and their results come back in that order, queued to the thread that owns
// the saver. The saver only looks at a file and writes it; everything the store decides from the outcome (merging
// an outside change, recovery copies, trying again) stays on the store's thread.
class NoteSaver : public QObject {
    Q_OBJECT
public:
    using Id = quint64;

    struct Request {
        QString path;
        QByteArray bytes;
        // The text the note last read from or wrote to the file; a file holding anything else was changed since.
        QString expected;
        // Look before writing: read the file back first and write only if it still holds `expected`.
        bool lookFirst = true;
    };

    struct Result {
        enum class Kind {
            Written,
            // The write failed; the file is as it was. `error` says why.
            Failed,
            // The look found another program's change: nothing was written, `onDisk` is the file's text.
            ChangedOnDisk,
            // The file is gone: deleted or renamed elsewhere (also when that happened during the write).
            Missing,
            // The file is there but cannot be read as a note (too large, not UTF-8): nothing was written.
            Unusable,
        };
        Kind kind = Kind::Failed;
        QString error;
        QString onDisk;
        // Written only: what the write replaced, when that was not `expected` - another program wrote in the instant
        // between the look and the write (see AtomicFile::Outcome::displaced).
        std::optional<QByteArray> displaced;
    };

    explicit NoteSaver(QObject *parent = nullptr);
    // Carries out what was handed over, then stops the thread; results not yet delivered are dropped.
    ~NoteSaver() override;

    // Hands a write over; returns at once.
    Id save(Request request);
    // Blocks until request `id` has been carried out and returns its result; the results of earlier requests are
    // delivered (`finished`) first. Nothing when that result has already been delivered.
    std::optional<Result> waitFor(Id id);

    // The look and the write themselves, on the calling thread.
    static Result perform(const Request &request);

    // For tests and benchmarks only: called on the saving thread just before a file is written, to stand for a disk
    // that stalls. An empty function removes it.
    using WriteHook = std::function<void(const QString &path, const QByteArray &bytes)>;
    static void setWriteHookForTesting(WriteHook hook);

Q_SIGNALS:
    // On the owner's thread, in the order the requests were handed over.
    void finished(NoteSaver::Id id, const NoteSaver::Result &result);

private:
    struct Done {
        Id id = 0;
        Result result;
    };
    void run();
    void deliver();
    bool takeDone(bool block, Done &next);

    std::mutex m_mutex;
    std::condition_variable m_wake; // the thread: work arrived, or stop
    std::condition_variable m_progress; // waiters: a result arrived
    std::deque<std::pair<Id, Request>> m_queue;
    std::deque<Done> m_done;
    Id m_lastId = 0;
    bool m_stopping = false;
    // Owner's thread only: the newest result handed to the owner.
    Id m_delivered = 0;
    // Last: started once everything it uses exists.
    std::thread m_thread;
};

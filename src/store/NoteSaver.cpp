#include "store/NoteSaver.h"

#include "store/AtomicFile.h"
#include "store/NoteFiles.h"

#include <QFileInfo>

#include <cerrno>

namespace {

std::mutex hookMutex;
NoteSaver::WriteHook hook;

NoteSaver::WriteHook writeHook()
{
    const std::lock_guard lock(hookMutex);
    return hook;
}

bool gone(const QString &path)
{
    const QFileInfo info(path);
    return !info.exists() && !info.isSymLink();
}

} // namespace

NoteSaver::NoteSaver(QObject *parent)
    : QObject(parent)
    , m_thread([this] { run(); })
{
}

NoteSaver::~NoteSaver()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

NoteSaver::Id NoteSaver::save(Request request)
{
    Id id;
    {
        const std::lock_guard lock(m_mutex);
        id = ++m_lastId;
        m_queue.emplace_back(id, std::move(request));
    }
    m_wake.notify_one();
    return id;
}

std::optional<NoteSaver::Result> NoteSaver::waitFor(Id id)
{
    Done next;
    while (m_delivered < id && takeDone(true, next)) {
        if (next.id == id)
            return std::move(next.result);
        Q_EMIT finished(next.id, next.result);
    }
    return std::nullopt;
}

// One at a time, taken out before it is announced: a receiver may wait for a later request from inside its slot.
void NoteSaver::deliver()
{
    Done next;
    while (takeDone(false, next))
        Q_EMIT finished(next.id, next.result);
}

bool NoteSaver::takeDone(bool block, Done &next)
{
    std::unique_lock lock(m_mutex);
    if (block)
        m_progress.wait(lock, [this] { return !m_done.empty(); });
    if (m_done.empty())
        return false;
    next = std::move(m_done.front());
    m_done.pop_front();
    m_delivered = next.id;
    return true;
}

void NoteSaver::run()
{
    for (;;) {
        std::pair<Id, Request> job;
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_stopping || !m_queue.empty(); });
            // Stopping still finishes what was handed over: it is text the user typed.
            if (m_queue.empty())
                return;
            job = std::move(m_queue.front());
            m_queue.pop_front();
        }
        Result result = perform(job.second);
        {
            const std::lock_guard lock(m_mutex);
            m_done.push_back({job.first, std::move(result)});
        }
        m_progress.notify_all();
        QMetaObject::invokeMethod(this, &NoteSaver::deliver, Qt::QueuedConnection);
    }
}

NoteSaver::Result NoteSaver::perform(const Request &request)
{
    Result result;
    if (request.lookFirst) {
        const NoteFiles::ReadResult current = NoteFiles::readText(request.path);
        if (current.status == NoteFiles::ReadStatus::Ok) {
            if (current.text != request.expected) {
                result.kind = Result::Kind::ChangedOnDisk;
                result.onDisk = current.text;
                return result;
            }
        } else if (gone(request.path)) {
            result.kind = Result::Kind::Missing;
            return result;
        } else if (current.status != NoteFiles::ReadStatus::Unreadable) {
            result.kind = Result::Kind::Unusable;
            result.error = current.error;
            return result;
        }
        // Unreadable (no permission, an I/O error): the write says what is wrong, or succeeds where only reading
        // failed.
    }
    if (const WriteHook stall = writeHook())
        stall(request.path, request.bytes);
    const AtomicFile::Outcome outcome = AtomicFile::write(request.path, request.bytes, AtomicFile::Mode::Replace);
    if (!outcome.ok) {
        result.kind = outcome.errorCode == ENOENT && gone(request.path) ? Result::Kind::Missing : Result::Kind::Failed;
        result.error = outcome.error;
        return result;
    }
    result.kind = Result::Kind::Written;
    // On Linux every replacing write hands back the old file; decoding it here keeps that work off the store's thread
    // in the usual case, where it is exactly what the note expected.
    if (outcome.displaced) {
        const NoteFiles::ReadResult replaced = NoteFiles::decodeText(*outcome.displaced);
        if (replaced.status != NoteFiles::ReadStatus::Ok || replaced.text != request.expected)
            result.displaced = outcome.displaced;
    }
    return result;
}

void NoteSaver::setWriteHookForTesting(WriteHook stall)
{
    const std::lock_guard lock(hookMutex);
    hook = std::move(stall);
}

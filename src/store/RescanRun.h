#pragma once

#include "store/NoteFiles.h"

#include <QHash>
#include <QMultiHash>
#include <QSet>
#include <QString>
#include <QStringList>

#include <vector>

// The work of one rescan: the files still to look at, in order, and the notes whose files went away meanwhile.
// A rescan of thousands of files is done a slice at a time, with the event loop turning in between; this is what
// carries over from one slice to the next.
class RescanRun {
public:
    struct File {
        QString name;
        // What the listing or the watcher's follow-up stat said; the file may have changed since, in which case its
        // events have asked for another look already.
        NoteFiles::FileStamp stamp;
        // Whether a stamp equal to the one last read means "unchanged". Files the watcher named are read anyway.
        bool trustStamp = false;
    };

    // A full rescan also forgets what it knew of files the listing did not show.
    explicit RescanRun(bool full)
        : m_full(full)
    {
    }

    bool isFull() const { return m_full; }

    void add(File file);
    // Names the watcher gave, to be looked at (stat) before any file is reconciled, so that every vanished note is
    // known by then; in name order.
    void addNamed(const QStringList &names);
    bool hasNamed() const { return m_nextNamed < m_named.size(); }
    QString takeNamed() { return m_named.at(m_nextNamed++); }
    bool atEnd() const { return !hasNamed() && m_next >= m_files.size(); }
    File takeNext() { return m_files[m_next++]; }
    // Every name the run has seen present, listed or named.
    const QSet<QString> &seen() const { return m_seen; }
    void markSeen(const QString &name) { m_seen.insert(name); }

    // A note whose file was not found. `text` is what the file last held: a file that turns up with the very same
    // text under another name (a rename elsewhere) takes the note along.
    void addVanished(const QString &name, const QString &text);
    bool isVanished(const QString &name) const { return m_vanishedHash.contains(name); }
    // The vanished names whose last text may equal `text` (equal hashes): the caller compares the texts.
    QStringList vanishedWithText(const QString &text) const;
    void removeVanished(const QString &name);
    // In name order.
    QStringList vanished() const;

private:
    bool m_full = false;
    std::vector<File> m_files;
    size_t m_next = 0;
    QStringList m_named;
    qsizetype m_nextNamed = 0;
    QSet<QString> m_seen;
    QHash<QString, size_t> m_vanishedHash;
    QMultiHash<size_t, QString> m_vanishedByText;
};

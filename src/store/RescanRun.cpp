#include "store/RescanRun.h"

#include <algorithm>

void RescanRun::add(File file)
{
    m_seen.insert(file.name);
    m_files.push_back(std::move(file));
}

void RescanRun::addNamed(const QStringList &names)
{
    m_named.append(names);
}

// A checkout may delete thousands of notes and add as many: looking the new files' texts up by hash keeps that
// linear, where comparing every new file with every vanished note would not be.
void RescanRun::addVanished(const QString &name, const QString &text)
{
    if (m_vanishedHash.contains(name))
        return;
    const size_t hash = qHash(text);
    m_vanishedHash.insert(name, hash);
    m_vanishedByText.insert(hash, name);
}

QStringList RescanRun::vanishedWithText(const QString &text) const
{
    if (m_vanishedByText.isEmpty())
        return {};
    QStringList names = m_vanishedByText.values(qHash(text));
    std::sort(names.begin(), names.end());
    return names;
}

void RescanRun::removeVanished(const QString &name)
{
    const auto it = m_vanishedHash.constFind(name);
    if (it == m_vanishedHash.cend())
        return;
    m_vanishedByText.remove(it.value(), name);
    m_vanishedHash.erase(it);
}

QStringList RescanRun::vanished() const
{
    QStringList names = m_vanishedHash.keys();
    NoteFiles::sortByName(names);
    return names;
}

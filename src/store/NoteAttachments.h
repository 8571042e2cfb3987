#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

// The attachments of one workspace: pictures pasted or dropped into notes are copied into "attachments/" beside the
// notes under a free name, and the note links to the copy. Needs nothing of the notes themselves, only the folder;
// failures go to the log, as the editor simply inserts nothing.
class NoteAttachments {
public:
    explicit NoteAttachments(const QString &workspaceFolder);

    QString folder() const { return m_folder; }

    // Copies a file in under a free name; returns the link to insert ("attachments/…").
    std::optional<QString> importFile(const QString &sourcePath) const;
    // Writes image data under a free name built from the preferred base name; the data decides the extension.
    std::optional<QString> importData(const QByteArray &data, const QString &preferredBaseName) const;

private:
    std::optional<QString> freePath(const QString &base, const QString &extension) const;

    QString m_folder;
};

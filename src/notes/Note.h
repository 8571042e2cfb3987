#pragma once

#include "notes/NoteMetadata.h"

#include <QString>
#include <QStringList>

// One note: its file name in the workspace, its Markdown body and its properties. Owned by the note's
// controller; the store and the window edit it in place.
struct Note {
    QString filename; // with extension, no directory part
    QString body;
    NoteMetadata meta;
    QStringList foreignFrontmatter; // other tools' front-matter lines, verbatim, in file order
    bool hadMetadata = false; // the file carried this application's properties when last read
    bool byteOrderMark = false; // the file began with a UTF-8 byte-order mark; saving keeps it

    // The title users see: the file name without its extension.
    QString title() const;
    // The same for any note file name, without a note.
    static QString titleOf(const QString &filename);
};

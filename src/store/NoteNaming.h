#pragma once

#include <QString>

#include <optional>

// Turning titles into file names and attachment names into Markdown links. Pure functions.
namespace NoteNaming {

inline constexpr int maxTitleLength = 200;
// File systems limit a name to 255 bytes. A title keeps room for ".md" and a number " (nnnnn)", so that every
// name built from it (new, numbered, duplicated) can be created.
inline constexpr qsizetype maxNameBytes = 255;
inline constexpr qsizetype maxTitleBytes = maxNameBytes - 3 - 8;

// A title made fit for a file name: trimmed, a trailing ".md" dropped, control and format characters removed,
// "/" and ":" turned into "-", leading dots removed (also after blanks), at most 200 characters and
// `maxTitleBytes` bytes of UTF-8, cut on a character boundary. Nothing if no usable title remains.
std::optional<QString> sanitizeTitle(const QString &title);

// "base.ext" for n == 0, else "base (n).ext"; `extension` without the dot, empty for none.
QString numberedName(const QString &base, int n, const QString &extension);

// A file name for an attachment: the name's directory part dropped, made safe like a title, never hidden;
// "attachment" when nothing usable remains. The extension is kept apart so that numbering goes before it.
struct SplitName {
    QString base;
    QString extension; // without the dot; may be empty
};
SplitName attachmentName(const QString &fileName);

// The link to insert into a note for a file in the attachments folder: "attachments/" followed by the name with
// every character that could end or confuse a Markdown link (spaces, brackets, parentheses, %, <, >, #, ?,
// non-ASCII...) percent-encoded.
QString attachmentLink(const QString &fileName);

} // namespace NoteNaming

#pragma once

#include "notes/NoteMetadata.h"

#include <QString>
#include <QStringList>

#include <optional>

// The note file codec: file text to properties, foreign front-matter lines and body, and back. Pure functions,
// no input or output; a malformed block is never an error, it just yields defaults.
namespace Frontmatter {

struct Parsed {
    NoteMetadata meta;
    bool hadMeta = false;
    QStringList foreign;
    QString body;

    friend bool operator==(const Parsed &, const Parsed &) = default;
};

Parsed parse(const QString &raw);
QString serialize(const NoteMetadata &meta, const QStringList &foreign, const QString &body);
QString serializeWithoutTackpad(const QStringList &foreign, const QString &body);

// The property line alone, e.g. `tackpad: "x120 y120 w270 h260 z0 #FBF4A6 s12"`.
QString propertyLine(const NoteMetadata &meta);

// The codec's inner steps, exposed so that their rules can be tested one by one.
void applyTokens(const QString &value, NoteMetadata &meta);
void apply(const QString &key, const QString &value, NoteMetadata &meta);
std::optional<double> coord(const QString &text);
std::optional<double> dimension(const QString &text, double atLeast);
std::optional<qint64> zOrder(const QString &text);
std::optional<double> fontSize(const QString &text);
// A complete C-locale floating-point number, finite, nothing else (no blanks, no trailing characters).
std::optional<double> parseCNumber(const QString &text);

} // namespace Frontmatter

#pragma once

#include <QList>
#include <QString>

#include <optional>

// The search behind the search panel: which notes of the open workspace hold the query, each with a one-line
// snippet, title matches first and then in natural title order. It keeps no state and touches no file; it runs
// on every keystroke, over every note, on the GUI thread.
//
// Lengths and positions are UTF-16 code units, as QString counts them.
namespace NoteSearch {

struct Candidate {
    QString key; // identifies the note to the caller
    QString title;
    QString body;
    bool hidden = false;
};

struct Result {
    QString key; // copied from the candidate
    QString title;
    QString snippet; // the line to show under the title; may be empty
    bool hidden = false; // copied, so that the panel can mark hidden notes and unhide them on opening
    bool titleMatch = false;

    friend bool operator==(const Result &, const Result &) = default;
};

// The maximum snippet length the search asks for.
inline constexpr qsizetype snippetLength = 90;

// The candidates whose title (case-insensitively, with the user's locale's case rules) or body (plain
// case-insensitive) holds the query, trimmed of white space; the query is one literal substring, never split into
// words, and diacritics always count. A blank query lists every candidate with its first non-blank line.
// Title matches come first, then titles in natural order ('Note 2' before 'Note 10', case ignored); titles that
// compare equal keep the candidates' order. Hidden notes are searched and ranked like any other.
QList<Result> search(const QString &query, const QList<Candidate> &candidates);

// The line of body that holds the first case-insensitive occurrence of query, trimmed. A line longer than maxLength
// is cut to maxLength units centred on the match, widened to whole user-perceived characters, with "…" on each cut
// side. Nothing when the body does not hold the query or the query is empty.
std::optional<QString> snippet(const QString &query, const QString &body, qsizetype maxLength);

// The first "\n"-separated line of body that is not empty once spaces and tabs are trimmed from its ends, trimmed
// so; "" when there is none.
QString firstLine(const QString &body);

// Whether two titles are the same to the search: equal once folded with the rules its title matches use.
bool sameTitle(const QString &a, const QString &b);

} // namespace NoteSearch

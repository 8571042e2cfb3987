#pragma once

#include <QString>

#include <optional>

// Three-way merge of a note's text: what the note was when last read from or written to its file (the base), what
// the user made of it since (ours), and what another program wrote into the file meanwhile (theirs).
//
// Lines are merged first with git's own merge. Where both sides touched the same lines - the user typing at the
// end of a line while another program appends one is the common case - the same merge runs again over words
// (one token a line), so that changes to different words of a line combine. Where both sides only inserted text at
// the very same place, both insertions are kept, the user's first: nothing is replaced, so nothing is lost. Any
// other overlap is a conflict, and the caller keeps the two versions apart.
namespace TextMerge {

// The merged text, or nothing when the two sides' changes conflict.
std::optional<QString> merge(const QString &base, const QString &ours, const QString &theirs);

} // namespace TextMerge

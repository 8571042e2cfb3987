#pragma once

#include <QList>
#include <QString>
#include <QStringView>

#include <functional>
#include <optional>

// The editing commands of the Markdown editor as pure functions: given the text around the caret they return the
// edits to make and where the selection goes, and the editor applies them as one undoable step.
namespace MarkdownEditing {

struct Edit {
    qsizetype position = 0; // in the text before any edit
    qsizetype removed = 0;
    QString inserted;
    friend bool operator==(const Edit &, const Edit &) = default;
};

// Edits in ascending order, not overlapping; the selection is given in the text after all edits.
struct EditPlan {
    QList<Edit> edits;
    qsizetype anchor = 0;
    qsizetype position = 0;
    friend bool operator==(const EditPlan &, const EditPlan &) = default;
};

struct Paragraph {
    qsizetype start = 0; // of the paragraph in the text
    QString text; // without its newline
    bool inCode = false; // a line of a fenced or indented code block: never a list item
};

// Return with the caret (no selection) in a list item at caretInLine: continues the list (the next number, an
// unchecked box) or, on an item with no text, ends it by removing the prefix. Nothing when the line is no list item
// (code included) or the caret is inside the prefix: Return then does what it always does.
std::optional<EditPlan> returnInList(const Paragraph &line, qsizetype caretInLine);

// Tab (or, with outdent, Shift+Tab) on the list items among the paragraphs a selection touches: indents each by four
// blanks, or removes one level (a tab or up to four blanks). When none of them is a list item, a selection has all
// its lines that hold text shifted the same way, as a code editor does; with only a caret there, nothing (Tab then
// types a tab).
std::optional<EditPlan> shiftListItems(
    const QList<Paragraph> &paragraphs, qsizetype anchor, qsizetype position, bool outdent);

// Is the line a line of an indented code block? It is indented by four columns or more and follows a blank line
// that separates it (and any indented lines between) from a line that is neither indented nor a list item. Lines
// indented under a list item are the item's content. previousLine gives the lines before it, nearest first, and
// nothing at the start of the text.
bool isIndentedCode(QStringView line, const std::function<std::optional<QString>()> &previousLine);

// Ctrl+B ("**") and Ctrl+I ("*"): wraps the selection in the marker, or unwraps it when the markers inside the
// selection or right around it are a real pair of that emphasis around exactly the selection. The selection's outer
// blanks stay outside the markers. An empty selection gets an empty pair with the caret inside.
EditPlan toggleWrap(QStringView text, qsizetype selectionStart, qsizetype selectionEnd, QStringView marker);

// Ctrl+K: makes the selection (its outer blanks left outside) a link's text, "[text](url)", and selects the address
// to type over.
EditPlan wrapLink(QStringView text, qsizetype selectionStart, qsizetype selectionEnd);

// A click on a checkbox "[ ]" / "[x]" starting at boxStart.
Edit toggleCheckbox(qsizetype boxStart, bool checked);

// The text inserted for an image attachment.
QString imageMarkdown(const QString &link);

// Where a position goes when the edits are made.
qsizetype mapPosition(qsizetype position, const QList<Edit> &edits);

} // namespace MarkdownEditing

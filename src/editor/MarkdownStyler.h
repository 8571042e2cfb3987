#pragma once

#include <QList>
#include <QRegularExpression>
#include <QString>
#include <QStringView>
#include <QUrl>

#include <functional>
#include <optional>

// The styling rules of the live Markdown editor, as pure functions: a paragraph's text (and the little they need of
// the whole text) goes in, style runs and a paragraph style come out. Nothing here touches a QTextDocument; the
// adapter (MarkdownHighlighter) lays the results over one. Positions are QString (UTF-16) indexes.
namespace MarkdownStyler {

struct TextRange {
    qsizetype location = 0;
    qsizetype length = 0;

    qsizetype end() const { return location + length; }
    bool contains(qsizetype index) const { return index >= location && index < end(); }
    friend bool operator==(const TextRange &, const TextRange &) = default;
};

enum class FontRole : quint8 { Body = 0, Heading1, Heading2, Heading3, Heading4, Heading5, Heading6, Code };
enum class ColorRole : quint8 { Text = 0, Marker, Accent, QuoteText, Link, Tag };
enum class BackgroundRole : quint8 { None = 0, Code, Highlight };

// Everything that decides how one character looks. Bold and italic are traits added to the role's font, so emphasis
// inside a heading keeps the heading's size.
struct CharStyle {
    FontRole font = FontRole::Body;
    ColorRole color = ColorRole::Text;
    BackgroundRole background = BackgroundRole::None;
    bool bold = false;
    bool italic = false;
    bool strike = false;
    bool underline = false;
    bool hidden = false; // the "tackpad.hidden" attribute: laid out as no glyphs at all

    // A compact, unique encoding: the key of the adapter's format cache.
    quint32 key() const;
    static CharStyle fromKey(quint32 key);
    friend bool operator==(const CharStyle &, const CharStyle &) = default;
};

struct StyleRun {
    qsizetype start = 0;
    qsizetype length = 0;
    CharStyle style;
    friend bool operator==(const StyleRun &, const StyleRun &) = default;
};

// The paragraph style: every paragraph gets the standard line spacing; headings add spacing before and after; list
// items get a hanging indent as wide as their prefix (the adapter measures the prefix in the fonts it is drawn in).
struct BlockStyle {
    int headingLevel = 0; // 1...6 for headings, else 0
    qsizetype listPrefixLength = 0; // > 0 for list items
    friend bool operator==(const BlockStyle &, const BlockStyle &) = default;
};

// A clickable range: target is the address as written (Markdown links, images, bare addresses) or the wiki URL.
struct LinkSpan {
    TextRange range;
    QString target;
    friend bool operator==(const LinkSpan &, const LinkSpan &) = default;
};

// A task-list checkbox "[ ]" or "[x]" (the three characters, the "tackpad.checkbox" attribute) that a click toggles.
struct CheckboxSpan {
    TextRange range;
    bool checked = false;
    friend bool operator==(const CheckboxSpan &, const CheckboxSpan &) = default;
};

struct ParagraphStyle {
    QList<StyleRun> runs; // cover the whole line (without its newline); neighbouring runs differ
    BlockStyle block;
    QList<LinkSpan> links;
    QList<CheckboxSpan> checkboxes;
    bool fenceLine = false;
    friend bool operator==(const ParagraphStyle &, const ParagraphStyle &) = default;
};

// What a paragraph's styling needs to know about the rest of the text.
struct ParagraphContext {
    bool inCode = false; // a fenced code block is open before this paragraph
    bool active = false; // the caret's paragraph: markers show instead of hiding
    bool fenceHidden = false; // for a fence line: it belongs to a closed block that holds no caret
};

// Styles one line (a paragraph without its newline).
ParagraphStyle styleParagraph(QStringView line, const ParagraphContext &context);

// A fence line begins with three backticks after optional blanks and tabs.
bool isFenceLine(QStringView line);

// The ranges of all closed fenced code blocks: from the opening line's start to the end of the closing line (without
// its newline). An unclosed block is not listed.
QList<TextRange> fencedBlockRanges(QStringView text);

struct StyledParagraph {
    TextRange range; // the paragraph including its newline
    ParagraphStyle style;
};

// Restyles a range of a whole text the way the editor does on a document: the paragraphs from the one holding the
// range's start up to the range's end (all of them when the range is absent). The in-code flag starts false at the
// first of them, so a range that starts inside a code block styles its lines as text. activeRange is the caret's
// paragraph. An empty range (or text) yields nothing.
QList<StyledParagraph> style(QStringView text, std::optional<TextRange> range, TextRange activeRange);

// Is a paragraph active for a given active range (see style())?
bool isParagraphActive(TextRange paragraph, TextRange activeRange);
// Is a closed fenced block active (holds the caret) for a given active range?
bool isFencedBlockActive(TextRange block, TextRange activeRange);

// ---- Inline styling ----

enum class CharClass : quint8 { Whitespace, Punctuation, Other };

// The class of the character at index; any index outside the text counts as whitespace. The first scalar of the
// composed character sequence at the index decides.
CharClass classify(QStringView text, qsizetype index);

// One run of '*' or '_' found by the emphasis matcher.
struct Delimiter {
    char16_t character = u'*';
    TextRange range; // what is left of the run
    qsizetype originalLength = 0;
    bool canOpen = false;
    bool canClose = false;
};

struct EmphasisSpan {
    TextRange openerRange;
    TextRange closerRange;
    bool strong = false;
    friend bool operator==(const EmphasisSpan &, const EmphasisSpan &) = default;
};

// Matches '*' and '_' runs within range by the flanking rules and the rule of three. isUsable rejects indexes that an
// earlier pass claimed. Spans come in the order their closers are met.
QList<EmphasisSpan> emphasisSpans(QStringView text, TextRange range, const std::function<bool(qsizetype)> &isUsable);

// Styles the text of one line after its block marker into the given per-character styles and link list. Used by
// styleParagraph; exposed for the emphasis and pass-order tests.
struct InlineCanvas {
    QList<CharStyle> styles; // one per character of the line
    QList<LinkSpan> links;
};
void styleInline(QStringView line, TextRange range, bool active, InlineCanvas &canvas);

// Wiki links: "tackpad://note/" followed by the linked note's title.
QUrl wikiUrl(const QString &title);
// The linked note's title of a wiki-link URL (scheme "tackpad", host "note", any case), or nothing.
std::optional<QString> wikiTarget(const QUrl &url);

// ---- Lists (used by the editing commands) ----

struct ListPrefix {
    QString indent; // blanks and tabs before the marker
    QString marker; // "-", "*", "+", or digits followed by "." or ")"
    QString spacing; // blanks and tabs after the marker
    std::optional<bool> checkbox; // present for task items: checked or not
    qsizetype length = 0; // where the item's text begins

    bool isOrdered() const;
    // The prefix of the item that follows this one: same indent and spacing, the next number, an unchecked box.
    QString continuation() const;
};

std::optional<ListPrefix> listPrefix(QStringView line);

// The expressions, compiled once with Unicode properties; a pattern that does not compile stops the program.
namespace Patterns {
const QRegularExpression &heading();
const QRegularExpression &quote();
const QRegularExpression &horizontalRule();
const QRegularExpression &list();
const QRegularExpression &codeSpan();
const QRegularExpression &link();
const QRegularExpression &wikiLink();
const QRegularExpression &strike();
const QRegularExpression &highlight();
const QRegularExpression &tag();
const QRegularExpression &autolink();
} // namespace Patterns

} // namespace MarkdownStyler

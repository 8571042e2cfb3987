#include "editor/MarkdownEditing.h"

#include "editor/MarkdownStyler.h"

#include <QFileInfo>
#include <QUrl>

namespace MarkdownEditing {

namespace {

const QString indentUnit = QStringLiteral("    ");

qsizetype runLength(QStringView text, qsizetype from, int step, QChar c)
{
    qsizetype count = 0;
    for (qsizetype i = from; i >= 0 && i < text.size() && text[i] == c; i += step)
        ++count;
    return count;
}

// Does one emphasis of the given strength pair a marker of the run `opening` with one of the run `closing`? Emphasis
// never spans lines, so a pair is looked for within the line that holds both.
bool isPair(QStringView text, MarkdownStyler::TextRange opening, MarkdownStyler::TextRange closing, bool strong)
{
    if (text.mid(opening.location, closing.end() - opening.location).contains(u'\n'))
        return false;
    const qsizetype lineStart = opening.location == 0 ? 0 : text.lastIndexOf(u'\n', opening.location - 1) + 1;
    qsizetype lineEnd = text.indexOf(u'\n', closing.end());
    if (lineEnd < 0)
        lineEnd = text.size();
    const auto within = [](MarkdownStyler::TextRange inner, MarkdownStyler::TextRange outer) {
        return inner.location >= outer.location && inner.end() <= outer.end();
    };
    const QList<MarkdownStyler::EmphasisSpan> spans
        = MarkdownStyler::emphasisSpans(text, {lineStart, lineEnd - lineStart}, [](qsizetype) { return true; });
    return std::any_of(spans.begin(), spans.end(), [&](const MarkdownStyler::EmphasisSpan &span) {
        return span.strong == strong && within(span.openerRange, opening) && within(span.closerRange, closing);
    });
}

// The selection without its outer blanks and line breaks, which belong outside any markers; a selection of blanks
// only becomes a caret at its start.
std::pair<qsizetype, qsizetype> trimmedSelection(QStringView text, qsizetype start, qsizetype end)
{
    qsizetype from = start;
    qsizetype to = end;
    while (from < to && text[from].isSpace())
        ++from;
    while (to > from && text[to - 1].isSpace())
        --to;
    return from < to ? std::pair {from, to} : std::pair {start, start};
}

qsizetype indentColumns(QStringView line)
{
    qsizetype columns = 0;
    for (const QChar c : line) {
        if (c == u' ')
            ++columns;
        else if (c == u'\t')
            columns = (columns / 4 + 1) * 4;
        else
            break;
    }
    return columns;
}

bool isBlank(QStringView line)
{
    return line.trimmed().isEmpty();
}

qsizetype outdentLength(QStringView line)
{
    if (line.startsWith(u'\t'))
        return 1;
    qsizetype blanks = 0;
    while (blanks < 4 && blanks < line.size() && line[blanks] == u' ')
        ++blanks;
    return blanks;
}

} // namespace

qsizetype mapPosition(qsizetype position, const QList<Edit> &edits)
{
    qsizetype delta = 0;
    for (const Edit &edit : edits) {
        if (position >= edit.position + edit.removed)
            delta += edit.inserted.size() - edit.removed;
        else if (position > edit.position)
            return edit.position + delta + edit.inserted.size();
        else
            break;
    }
    return position + delta;
}

std::optional<EditPlan> returnInList(const Paragraph &line, qsizetype caretInLine)
{
    if (line.inCode)
        return std::nullopt;
    const std::optional<MarkdownStyler::ListPrefix> prefix = MarkdownStyler::listPrefix(line.text);
    if (!prefix)
        return std::nullopt;
    const bool empty = QStringView(line.text).mid(prefix->length).trimmed().isEmpty();
    const qsizetype markerEnd = prefix->indent.size() + prefix->marker.size();
    if (caretInLine < (empty ? markerEnd : prefix->length))
        return std::nullopt;
    EditPlan plan;
    if (empty) {
        // An empty item ends the list: the prefix goes, the line stays as an empty paragraph.
        plan.edits.append(Edit {line.start, line.text.size(), QString()});
        plan.anchor = plan.position = line.start;
        return plan;
    }
    const QString inserted = u'\n' + prefix->continuation();
    plan.edits.append(Edit {line.start + caretInLine, 0, inserted});
    plan.anchor = plan.position = line.start + caretInLine + inserted.size();
    return plan;
}

std::optional<EditPlan> shiftListItems(
    const QList<Paragraph> &paragraphs, qsizetype anchor, qsizetype position, bool outdent)
{
    const auto isItem = [](const Paragraph &p) { return !p.inCode && MarkdownStyler::listPrefix(p.text).has_value(); };
    const bool anyItem = std::any_of(paragraphs.begin(), paragraphs.end(), isItem);
    // Without list items a caret is left to the key's usual meaning; a selection is never typed over with a tab.
    if (!anyItem && anchor == position)
        return std::nullopt;
    EditPlan plan;
    for (const Paragraph &paragraph : paragraphs) {
        if (anyItem ? !isItem(paragraph) : isBlank(paragraph.text))
            continue;
        if (!outdent) {
            plan.edits.append(Edit {paragraph.start, 0, indentUnit});
        } else if (const qsizetype remove = outdentLength(paragraph.text); remove > 0) {
            plan.edits.append(Edit {paragraph.start, remove, QString()});
        }
    }
    plan.anchor = mapPosition(anchor, plan.edits);
    plan.position = mapPosition(position, plan.edits);
    return plan;
}

bool isIndentedCode(QStringView line, const std::function<std::optional<QString>()> &previousLine)
{
    if (indentColumns(line) < 4 || isBlank(line))
        return false;
    // Indented lines before this one belong to the same block, whatever it is; the first line that is not indented
    // decides, with a blank line in between.
    bool blankBetween = false;
    while (const std::optional<QString> previous = previousLine()) {
        if (isBlank(*previous)) {
            blankBetween = true;
            continue;
        }
        const qsizetype columns = indentColumns(*previous);
        if (columns >= 4)
            continue;
        // A lesser indent is a list item's content, where deeper lines are the item's too.
        return blankBetween && columns == 0 && !MarkdownStyler::listPrefix(*previous);
    }
    // At the start of the text only a blank line makes it code: a first line indented by Tab is a list item.
    return blankBetween;
}

EditPlan toggleWrap(QStringView text, qsizetype selectionStart, qsizetype selectionEnd, QStringView marker)
{
    const qsizetype m = marker.size();
    const QChar c = marker.front();
    const bool strong = m >= 2;
    const auto [s, e] = trimmedSelection(text, selectionStart, selectionEnd);
    EditPlan plan;

    if (e > s) {
        // The markers are part of the selection.
        const QStringView selected = text.mid(s, e - s);
        const qsizetype lead = runLength(selected, 0, 1, c);
        const qsizetype trail = runLength(selected, e - s - 1, -1, c);
        if (lead >= m && trail >= m && lead + trail < e - s && isPair(text, {s, lead}, {e - trail, trail}, strong)) {
            plan.edits = {Edit {s, m, QString()}, Edit {e - m, m, QString()}};
            plan.anchor = s;
            plan.position = e - 2 * m;
            return plan;
        }
        // The markers are right around the selection.
        const qsizetype before = runLength(text, s - 1, -1, c);
        const qsizetype after = runLength(text, e, 1, c);
        if (before >= m && after >= m && isPair(text, {s - before, before}, {e, after}, strong)) {
            plan.edits = {Edit {s - m, m, QString()}, Edit {e, m, QString()}};
            plan.anchor = s - m;
            plan.position = e - m;
            return plan;
        }
        plan.edits = {Edit {s, 0, marker.toString()}, Edit {e, 0, marker.toString()}};
        plan.anchor = s + m;
        plan.position = e + m;
        return plan;
    }
    plan.edits = {Edit {s, 0, marker.toString() + marker.toString()}};
    plan.anchor = plan.position = s + m;
    return plan;
}

EditPlan wrapLink(QStringView text, qsizetype selectionStart, qsizetype selectionEnd)
{
    static const QString placeholder = QStringLiteral("url");
    const auto [start, end] = trimmedSelection(text, selectionStart, selectionEnd);
    EditPlan plan;
    if (end > start)
        plan.edits = {Edit {start, 0, QStringLiteral("[")}, Edit {end, 0, QStringLiteral("](") + placeholder + u')'}};
    else
        plan.edits = {Edit {start, 0, QStringLiteral("[](") + placeholder + u')'}};
    // After "[", the text and "](".
    plan.anchor = end + 3;
    plan.position = plan.anchor + placeholder.size();
    return plan;
}

Edit toggleCheckbox(qsizetype boxStart, bool checked)
{
    return Edit {boxStart + 1, 1, checked ? QStringLiteral(" ") : QStringLiteral("x")};
}

QString imageMarkdown(const QString &link)
{
    // Brackets in the name and parentheses in the address would end the link early.
    QString name = QFileInfo(QUrl::fromPercentEncoding(link.toUtf8())).completeBaseName();
    name.remove(u'[').remove(u']');
    QString address = link;
    address.replace(u'(', QStringLiteral("%28")).replace(u')', QStringLiteral("%29"));
    return QStringLiteral("![") + name + QStringLiteral("](") + address + u')';
}

} // namespace MarkdownEditing

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

// A run of n marker characters around a text reads as wrapped in marker: "**" needs two or more ("***" is bold and
// italic), "*" needs an odd count (two are bold, not italic).
bool isWrappedBy(qsizetype run, qsizetype markerLength)
{
    return markerLength >= 2 ? run >= 2 : run % 2 == 1;
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
    EditPlan plan;
    for (const Paragraph &paragraph : paragraphs) {
        if (!MarkdownStyler::listPrefix(paragraph.text))
            continue;
        if (!outdent) {
            plan.edits.append(Edit {paragraph.start, 0, indentUnit});
        } else if (const qsizetype remove = outdentLength(paragraph.text); remove > 0) {
            plan.edits.append(Edit {paragraph.start, remove, QString()});
        }
    }
    bool anyItem = false;
    for (const Paragraph &paragraph : paragraphs)
        anyItem = anyItem || MarkdownStyler::listPrefix(paragraph.text).has_value();
    if (!anyItem)
        return std::nullopt;
    plan.anchor = mapPosition(anchor, plan.edits);
    plan.position = mapPosition(position, plan.edits);
    return plan;
}

EditPlan toggleWrap(QStringView text, qsizetype selectionStart, qsizetype selectionEnd, QStringView marker)
{
    const qsizetype m = marker.size();
    const QChar c = marker.front();
    const qsizetype s = selectionStart;
    const qsizetype e = selectionEnd;
    EditPlan plan;

    if (e - s > 2 * m) {
        // The markers are part of the selection.
        const qsizetype inside
            = qMin(runLength(text.mid(s, e - s), 0, 1, c), runLength(text.mid(s, e - s), e - s - 1, -1, c));
        if (2 * inside < e - s && isWrappedBy(inside, m)) {
            plan.edits = {Edit {s, m, QString()}, Edit {e - m, m, QString()}};
            plan.anchor = s;
            plan.position = e - 2 * m;
            return plan;
        }
    }
    if (e > s) {
        // The markers are right around the selection.
        const qsizetype around = qMin(runLength(text, s - 1, -1, c), runLength(text, e, 1, c));
        if (around >= m && isWrappedBy(around, m)) {
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

EditPlan wrapLink(qsizetype selectionStart, qsizetype selectionEnd)
{
    static const QString placeholder = QStringLiteral("url");
    EditPlan plan;
    if (selectionEnd > selectionStart)
        plan.edits = {Edit {selectionStart, 0, QStringLiteral("[")},
            Edit {selectionEnd, 0, QStringLiteral("](") + placeholder + u')'}};
    else
        plan.edits = {Edit {selectionStart, 0, QStringLiteral("[](") + placeholder + u')'}};
    // After "[", the text and "](".
    plan.anchor = selectionEnd + 3;
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

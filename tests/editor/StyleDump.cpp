#include "StyleDump.h"

#include <QStringList>

using namespace MarkdownStyler;

namespace StyleDump {

namespace {

QString quoted(QStringView text)
{
    QString out = text.toString();
    out.replace(u'\\', QStringLiteral("\\\\"))
        .replace(u'"', QStringLiteral("\\\""))
        .replace(u'\t', QStringLiteral("\\t"));
    return u'"' + out + u'"';
}

QString fontName(FontRole role)
{
    if (role == FontRole::Body)
        return {};
    return role == FontRole::Code ? QStringLiteral("code") : QStringLiteral("h%1").arg(int(role));
}

QString colorName(ColorRole role)
{
    static const char *const names[] = {"", "marker", "accent", "quote", "link", "tag"};
    return QString::fromLatin1(names[int(role)]);
}

QString blockName(const ParagraphStyle &style)
{
    QStringList parts;
    if (style.fenceLine)
        parts << QStringLiteral("fence");
    if (style.block.headingLevel > 0)
        parts << QStringLiteral("heading %1").arg(style.block.headingLevel);
    if (style.block.listPrefixLength > 0)
        parts << QStringLiteral("list item, text from %1").arg(style.block.listPrefixLength);
    return parts.isEmpty() ? QStringLiteral("paragraph") : parts.join(QStringLiteral(", "));
}

QString roles(const CharStyle &style)
{
    const auto named = [](bool on, const char *name) { return on ? QString::fromLatin1(name) : QString(); };
    QStringList parts {fontName(style.font), named(style.bold, "bold"), named(style.italic, "italic"),
        colorName(style.color), named(style.background == BackgroundRole::Code, "code-background"),
        named(style.background == BackgroundRole::Highlight, "highlight"), named(style.strike, "strike"),
        named(style.underline, "underline"), named(style.hidden, "hidden")};
    parts.removeAll(QString());
    return parts.isEmpty() ? QStringLiteral("plain") : parts.join(u' ');
}

QString runs(QStringView line, const QList<StyleRun> &styleRuns)
{
    QString out;
    for (const StyleRun &run : styleRuns) {
        const QString range = QStringLiteral("[%1,%2)").arg(run.start).arg(run.start + run.length);
        out += QStringLiteral("  %1 %2 %3\n")
                   .arg(range, -9)
                   .arg(quoted(line.mid(run.start, run.length)), -24)
                   .arg(roles(run.style));
    }
    return out;
}

} // namespace

QString dump(const QString &markdown)
{
    // An active range past the end makes no paragraph active.
    const TextRange nowhere {markdown.size() + 1, 0};
    const QList<StyledParagraph> inactive = style(markdown, std::nullopt, nowhere);
    QString out;
    int number = 0;
    for (const StyledParagraph &paragraph : inactive) {
        ++number;
        const qsizetype lineLength = paragraph.range.length
            - (markdown.mid(paragraph.range.location, paragraph.range.length).endsWith(u'\n') ? 1 : 0);
        const QStringView line = QStringView(markdown).mid(paragraph.range.location, lineLength);
        out += QStringLiteral("%1: %2 - %3\n").arg(number).arg(quoted(line), blockName(paragraph.style));
        out += runs(line, paragraph.style.runs);

        const QList<StyledParagraph> withCaret = style(markdown, std::nullopt, paragraph.range);
        const ParagraphStyle &active = withCaret.at(number - 1).style;
        if (active.runs != paragraph.style.runs) {
            out += QStringLiteral("  with the caret here:\n");
            out += runs(line, active.runs);
        }
        for (const LinkSpan &link : paragraph.style.links)
            out += QStringLiteral("  link [%1,%2) -> %3\n")
                       .arg(link.range.location)
                       .arg(link.range.end())
                       .arg(quoted(link.target));
        for (const CheckboxSpan &box : paragraph.style.checkboxes)
            out += QStringLiteral("  checkbox [%1,%2) %3\n")
                       .arg(box.range.location)
                       .arg(box.range.end())
                       .arg(box.checked ? QStringLiteral("checked") : QStringLiteral("unchecked"));
    }
    return out;
}

} // namespace StyleDump

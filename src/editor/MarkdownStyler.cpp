#include "editor/MarkdownStyler.h"

#include <QtGlobal>

namespace MarkdownStyler {

namespace {

QRegularExpression compile(const char *pattern)
{
    QRegularExpression expression(QString::fromUtf8(pattern), QRegularExpression::UseUnicodePropertiesOption);
    if (!expression.isValid())
        qFatal("MarkdownStyler: the pattern %s does not compile: %s", pattern, qPrintable(expression.errorString()));
    expression.optimize();
    return expression;
}

bool isBlankOrTab(QChar c)
{
    return c == u' ' || c == u'\t';
}

QStringView trimmedBlanks(QStringView line)
{
    qsizetype first = 0;
    qsizetype last = line.size();
    while (first < last && isBlankOrTab(line[first]))
        ++first;
    while (last > first && isBlankOrTab(line[last - 1]))
        --last;
    return line.mid(first, last - first);
}

TextRange intersection(TextRange a, TextRange b)
{
    const qsizetype start = qMax(a.location, b.location);
    const qsizetype end = qMin(a.end(), b.end());
    return end > start ? TextRange {start, end - start} : TextRange {start, 0};
}

// The per-character working copy of one line's styles; attributes are set field by field, the way attributes are
// laid over a text, and turned into runs at the end.
struct LineStyles {
    QList<CharStyle> &styles;

    template<typename Change> void apply(qsizetype start, qsizetype end, Change change)
    {
        for (qsizetype i = qMax<qsizetype>(start, 0); i < qMin(end, styles.size()); ++i)
            change(styles[i]);
    }
    void setFont(qsizetype start, qsizetype end, FontRole role)
    {
        // Setting a font replaces its traits as well.
        apply(start, end, [role](CharStyle &s) {
            s.font = role;
            s.bold = false;
            s.italic = false;
        });
    }
    void setColor(qsizetype start, qsizetype end, ColorRole role)
    {
        apply(start, end, [role](CharStyle &s) { s.color = role; });
    }
};

QList<StyleRun> toRuns(const QList<CharStyle> &styles)
{
    QList<StyleRun> runs;
    for (qsizetype i = 0; i < styles.size(); ++i) {
        if (!runs.isEmpty() && runs.last().style == styles[i])
            ++runs.last().length;
        else
            runs.append(StyleRun {i, 1, styles[i]});
    }
    return runs;
}

bool mayBeHeading(QStringView line)
{
    return !line.isEmpty() && line[0] == u'#';
}

bool mayBeRule(QStringView line)
{
    const QStringView trimmed = trimmedBlanks(line);
    return trimmed.size() >= 3 && (trimmed[0] == u'-' || trimmed[0] == u'*' || trimmed[0] == u'_');
}

bool mayBeQuote(QStringView line)
{
    return !line.isEmpty() && line[0] == u'>';
}

bool mayBeList(QStringView line)
{
    for (QChar c : line) {
        if (isBlankOrTab(c))
            continue;
        return c == u'-' || c == u'*' || c == u'+' || c.isDigit();
    }
    return false;
}

void styleHeading(QStringView line, const QRegularExpressionMatch &match, const ParagraphContext &context,
    ParagraphStyle &out, InlineCanvas &canvas)
{
    const int level = int(match.capturedLength(1));
    LineStyles styles {canvas.styles};
    styles.setFont(0, line.size(), FontRole(level));
    const qsizetype markerEnd = match.capturedEnd(0);
    styles.apply(0, markerEnd, [&context](CharStyle &s) {
        s.color = ColorRole::Marker;
        s.hidden = !context.active;
    });
    out.block.headingLevel = level;
    styleInline(line, {markerEnd, line.size() - markerEnd}, context.active, canvas);
}

void styleQuote(
    QStringView line, const QRegularExpressionMatch &match, const ParagraphContext &context, InlineCanvas &canvas)
{
    LineStyles styles {canvas.styles};
    const qsizetype markerEnd = match.capturedEnd(0);
    styles.setColor(0, markerEnd, ColorRole::Accent);
    if (markerEnd < line.size()) {
        styles.setColor(markerEnd, line.size(), ColorRole::QuoteText);
        styleInline(line, {markerEnd, line.size() - markerEnd}, context.active, canvas);
    }
}

void styleListItem(QStringView line, const QRegularExpressionMatch &match, const ParagraphContext &context,
    ParagraphStyle &out, InlineCanvas &canvas)
{
    LineStyles styles {canvas.styles};
    styles.setColor(match.capturedStart(2), match.capturedEnd(2), ColorRole::Accent);
    qsizetype prefixEnd = match.capturedEnd(3);
    bool checked = false;
    if (match.hasCaptured(4)) {
        const qsizetype boxStart = match.capturedStart(4);
        const qsizetype boxEnd = match.capturedEnd(4);
        styles.setFont(boxStart, boxEnd, FontRole::Code);
        styles.setColor(boxStart, boxEnd, ColorRole::Accent);
        checked = line[boxStart + 1].toLower() == u'x';
        out.checkboxes.append(CheckboxSpan {{boxStart, boxEnd - boxStart}, checked});
        prefixEnd = match.hasCaptured(5) ? match.capturedEnd(5) : boxEnd;
    }
    out.block.listPrefixLength = prefixEnd;
    if (checked && prefixEnd < line.size()) {
        styles.apply(prefixEnd, line.size(), [](CharStyle &s) {
            s.strike = true;
            s.color = ColorRole::Marker;
        });
    }
    styleInline(line, {prefixEnd, line.size() - prefixEnd}, context.active, canvas);
}

} // namespace

quint32 CharStyle::key() const
{
    return quint32(font) | quint32(color) << 3 | quint32(background) << 6 | quint32(bold) << 8 | quint32(italic) << 9
        | quint32(strike) << 10 | quint32(underline) << 11 | quint32(hidden) << 12;
}

CharStyle CharStyle::fromKey(quint32 key)
{
    CharStyle style;
    style.font = FontRole(key & 0x7);
    style.color = ColorRole(key >> 3 & 0x7);
    style.background = BackgroundRole(key >> 6 & 0x3);
    style.bold = key >> 8 & 1;
    style.italic = key >> 9 & 1;
    style.strike = key >> 10 & 1;
    style.underline = key >> 11 & 1;
    style.hidden = key >> 12 & 1;
    return style;
}

bool isFenceLine(QStringView line)
{
    return trimmedBlanks(line).startsWith(u"```");
}

ParagraphStyle styleParagraph(QStringView line, const ParagraphContext &context)
{
    ParagraphStyle out;
    InlineCanvas canvas;
    canvas.styles.resize(line.size());
    LineStyles styles {canvas.styles};

    if (isFenceLine(line)) {
        out.fenceLine = true;
        styles.setFont(0, line.size(), FontRole::Code);
        styles.apply(0, line.size(), [&context](CharStyle &s) {
            s.color = ColorRole::Marker;
            s.hidden = context.fenceHidden;
        });
    } else if (context.inCode) {
        styles.setFont(0, line.size(), FontRole::Code);
        styles.apply(0, line.size(), [](CharStyle &s) { s.background = BackgroundRole::Code; });
    } else if (QRegularExpressionMatch m; mayBeHeading(line) && (m = Patterns::heading().match(line)).hasMatch()) {
        styleHeading(line, m, context, out, canvas);
    } else if (mayBeRule(line) && Patterns::horizontalRule().match(line).hasMatch()) {
        // A rule stays visible as a muted line of its characters; nothing inline.
        styles.setColor(0, line.size(), ColorRole::Marker);
    } else if (mayBeQuote(line) && (m = Patterns::quote().match(line)).hasMatch()) {
        styleQuote(line, m, context, canvas);
    } else if (mayBeList(line) && (m = Patterns::list().match(line)).hasMatch()) {
        styleListItem(line, m, context, out, canvas);
    } else {
        styleInline(line, {0, line.size()}, context.active, canvas);
    }
    out.runs = toRuns(canvas.styles);
    out.links = std::move(canvas.links);
    return out;
}

QList<TextRange> fencedBlockRanges(QStringView text)
{
    QList<TextRange> blocks;
    qsizetype openStart = -1;
    qsizetype position = 0;
    for (;;) {
        const qsizetype newline = text.indexOf(u'\n', position);
        const qsizetype lineEnd = newline < 0 ? text.size() : newline;
        if (isFenceLine(text.mid(position, lineEnd - position))) {
            if (openStart < 0) {
                openStart = position;
            } else {
                blocks.append(TextRange {openStart, lineEnd - openStart});
                openStart = -1;
            }
        }
        if (newline < 0)
            break;
        position = newline + 1;
    }
    return blocks;
}

bool isParagraphActive(TextRange paragraph, TextRange activeRange)
{
    if (activeRange.length > 0)
        return intersection(paragraph, activeRange).length > 0;
    return activeRange.location == paragraph.location;
}

bool isFencedBlockActive(TextRange block, TextRange activeRange)
{
    if (activeRange.length == 0)
        return activeRange.location >= block.location && activeRange.location <= block.end();
    return intersection(block, activeRange).length > 0;
}

QList<StyledParagraph> style(QStringView text, std::optional<TextRange> range, TextRange activeRange)
{
    const TextRange whole {0, text.size()};
    const TextRange r = range ? intersection(*range, whole) : whole;
    if (r.length == 0)
        return {};

    const QList<TextRange> fenced
        = text.mid(r.location, r.length).contains(u"```") ? fencedBlockRanges(text) : QList<TextRange> {};
    QList<StyledParagraph> paragraphs;
    bool inCode = false;
    qsizetype position = r.location > 0 ? text.lastIndexOf(u'\n', r.location - 1) + 1 : 0;
    while (position < r.end()) {
        const qsizetype newline = text.indexOf(u'\n', position);
        const qsizetype lineEnd = newline < 0 ? text.size() : newline;
        const TextRange paragraph {position, (newline < 0 ? text.size() : newline + 1) - position};
        const QStringView line = text.mid(position, lineEnd - position);

        ParagraphContext context;
        context.inCode = inCode;
        context.active = isParagraphActive(paragraph, activeRange);
        if (isFenceLine(line)) {
            for (const TextRange &block : fenced) {
                if (block.contains(position)) {
                    context.fenceHidden = !isFencedBlockActive(block, activeRange);
                    break;
                }
            }
        }
        StyledParagraph styled {paragraph, styleParagraph(line, context)};
        if (styled.style.fenceLine)
            inCode = !inCode;
        paragraphs.append(std::move(styled));
        position = paragraph.end();
    }
    return paragraphs;
}

QUrl wikiUrl(const QString &title)
{
    QUrl url;
    url.setScheme(QStringLiteral("tackpad"));
    url.setHost(QStringLiteral("note"));
    url.setPath(u'/' + title, QUrl::DecodedMode);
    return url;
}

std::optional<QString> wikiTarget(const QUrl &url)
{
    if (url.scheme().toLower() != u"tackpad" || url.host().toLower() != u"note")
        return std::nullopt;
    const QString path = url.path(QUrl::FullyDecoded);
    const QString title = path.mid(1);
    if (title.isEmpty())
        return std::nullopt;
    return title;
}

bool ListPrefix::isOrdered() const
{
    return !marker.isEmpty() && marker.back() != u'-' && marker.back() != u'*' && marker.back() != u'+';
}

QString ListPrefix::continuation() const
{
    QString next = indent;
    if (isOrdered()) {
        // Digits may be any decimal digits (the pattern is Unicode-aware); count up in ASCII.
        qint64 number = 0;
        for (qsizetype i = 0; i + 1 < marker.size(); ++i)
            number = number * 10 + marker[i].digitValue();
        next += QString::number(number + 1) + marker.back();
    } else {
        next += marker;
    }
    next += spacing;
    if (checkbox)
        next += QStringLiteral("[ ] ");
    return next;
}

std::optional<ListPrefix> listPrefix(QStringView line)
{
    if (!mayBeList(line) || (mayBeRule(line) && Patterns::horizontalRule().match(line).hasMatch()))
        return std::nullopt;
    const QRegularExpressionMatch m = Patterns::list().match(line);
    if (!m.hasMatch())
        return std::nullopt;
    ListPrefix prefix;
    prefix.indent = m.captured(1);
    prefix.marker = m.captured(2);
    prefix.spacing = m.captured(3);
    prefix.length = m.capturedEnd(3);
    if (m.hasCaptured(4)) {
        prefix.checkbox = line[m.capturedStart(4) + 1].toLower() == u'x';
        prefix.length = m.hasCaptured(5) ? m.capturedEnd(5) : m.capturedEnd(4);
    }
    return prefix;
}

namespace Patterns {

const QRegularExpression &heading()
{
    static const QRegularExpression expression = compile(R"(^(#{1,6})[ \t]+)");
    return expression;
}

const QRegularExpression &quote()
{
    static const QRegularExpression expression = compile(R"(^((?:>[ \t]?)+))");
    return expression;
}

const QRegularExpression &horizontalRule()
{
    static const QRegularExpression expression = compile(R"(^[ \t]{0,3}(-{3,}|\*{3,}|_{3,})[ \t]*$)");
    return expression;
}

const QRegularExpression &list()
{
    static const QRegularExpression expression
        = compile(R"(^([ \t]*)([-*+]|\d{1,9}[.)])([ \t]+)(?:(\[[ xX]\])([ \t]+|$))?)");
    return expression;
}

const QRegularExpression &codeSpan()
{
    static const QRegularExpression expression = compile(R"(`([^`\n]+)`)");
    return expression;
}

const QRegularExpression &link()
{
    static const QRegularExpression expression = compile(R"((!?)\[([^\[\]\n]*)\]\(([^()\n]*)\))");
    return expression;
}

const QRegularExpression &wikiLink()
{
    static const QRegularExpression expression = compile(R"(\[\[([^\[\]\n]+)\]\])");
    return expression;
}

const QRegularExpression &strike()
{
    static const QRegularExpression expression = compile(R"(~~([^\n]+?)~~)");
    return expression;
}

const QRegularExpression &highlight()
{
    static const QRegularExpression expression = compile(R"(==([^\n]+?)==)");
    return expression;
}

const QRegularExpression &tag()
{
    static const QRegularExpression expression = compile(R"((?<![\w#])#[\p{L}\p{N}_/-]{1,80})");
    return expression;
}

const QRegularExpression &autolink()
{
    static const QRegularExpression expression = compile(R"rx(https?://[^\s<>()"']+)rx");
    return expression;
}

} // namespace Patterns

} // namespace MarkdownStyler

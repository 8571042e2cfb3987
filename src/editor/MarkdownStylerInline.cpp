// Inline styling: the eight passes over the text of one line after its block marker, and the emphasis matcher.
#include "editor/MarkdownStyler.h"

#include <QTextBoundaryFinder>
#include <QVarLengthArray>

namespace MarkdownStyler {

namespace {

// The first scalar of the composed character sequence (grapheme) that holds index.
char32_t sequenceScalar(QStringView text, qsizetype index, QTextBoundaryFinder &graphemes)
{
    graphemes.setPosition(index);
    qsizetype start = index;
    if (!graphemes.isAtBoundary()) {
        const qsizetype previous = graphemes.toPreviousBoundary();
        if (previous >= 0)
            start = previous;
    }
    const QChar first = text[start];
    if (first.isHighSurrogate() && start + 1 < text.size() && text[start + 1].isLowSurrogate())
        return QChar::surrogateToUcs4(first, text[start + 1]);
    return first.unicode();
}

CharClass classifyWith(QStringView text, qsizetype index, QTextBoundaryFinder &graphemes)
{
    if (index < 0 || index >= text.size())
        return CharClass::Whitespace;
    const char32_t scalar = sequenceScalar(text, index, graphemes);
    if (QChar::isSpace(scalar))
        return CharClass::Whitespace;
    if (QChar::isPunct(scalar) || QChar::isSymbol(scalar))
        return CharClass::Punctuation;
    return CharClass::Other;
}

QTextBoundaryFinder graphemeFinder(QStringView text)
{
    return QTextBoundaryFinder(QTextBoundaryFinder::Grapheme, text.data(), int(text.size()));
}

QList<Delimiter> gatherDelimiters(QStringView text, TextRange range, const std::function<bool(qsizetype)> &isUsable)
{
    QList<Delimiter> delimiters;
    std::optional<QTextBoundaryFinder> graphemes;
    for (qsizetype i = range.location; i < range.end();) {
        const QChar c = text[i];
        if ((c != u'*' && c != u'_') || !isUsable(i)) {
            ++i;
            continue;
        }
        qsizetype end = i + 1;
        while (end < range.end() && text[end] == c && isUsable(end))
            ++end;
        if (!graphemes)
            graphemes = graphemeFinder(text);
        const CharClass before = classifyWith(text, i - 1, *graphemes);
        const CharClass after = classifyWith(text, end, *graphemes);
        const bool leftFlanking = after != CharClass::Whitespace
            && (after != CharClass::Punctuation || before == CharClass::Whitespace || before == CharClass::Punctuation);
        const bool rightFlanking = before != CharClass::Whitespace
            && (before != CharClass::Punctuation || after == CharClass::Whitespace || after == CharClass::Punctuation);
        Delimiter delimiter;
        delimiter.character = c.unicode();
        delimiter.range = {i, end - i};
        delimiter.originalLength = end - i;
        if (c == u'*') {
            delimiter.canOpen = leftFlanking;
            delimiter.canClose = rightFlanking;
        } else {
            delimiter.canOpen = leftFlanking && (!rightFlanking || before == CharClass::Punctuation);
            delimiter.canClose = rightFlanking && (!leftFlanking || after == CharClass::Punctuation);
        }
        if (delimiter.canOpen || delimiter.canClose)
            delimiters.append(delimiter);
        i = end;
    }
    return delimiters;
}

// The rule of three: when either side could both open and close, lengths whose sum is a multiple of three do not
// pair unless both are multiples of three.
bool ruleOfThreeForbids(const Delimiter &opener, const Delimiter &closer)
{
    if (!opener.canClose && !closer.canOpen)
        return false;
    const qsizetype sum = opener.originalLength + closer.originalLength;
    return sum % 3 == 0 && !(opener.originalLength % 3 == 0 && closer.originalLength % 3 == 0);
}

// The characters that passes have styled; later passes leave them alone.
class Claims {
public:
    explicit Claims(qsizetype size)
        : m_claimed(size, false)
    {
    }
    bool any(qsizetype start, qsizetype end) const
    {
        for (qsizetype i = start; i < end; ++i) {
            if (m_claimed[i])
                return true;
        }
        return false;
    }
    bool isClaimed(qsizetype index) const { return m_claimed[index]; }
    void claim(qsizetype start, qsizetype end)
    {
        for (qsizetype i = start; i < end; ++i)
            m_claimed[i] = true;
    }

private:
    QVarLengthArray<bool, 256> m_claimed;
};

class InlinePasses {
public:
    InlinePasses(QStringView line, TextRange range, bool active, InlineCanvas &canvas)
        : m_line(line)
        , m_range(range)
        , m_active(active)
        , m_canvas(canvas)
        , m_claims(line.size())
    {
    }

    void run()
    {
        const QStringView text = m_line.mid(m_range.location, m_range.length);
        if (text.contains(u'`'))
            codeSpans(text);
        if (text.contains(u'['))
            links(text);
        if (text.contains(u"[["))
            wikiLinks(text);
        // Before the passes that style inside ordinary text: a bare address is one link even where a "#" or a "*" in
        // it would read as a tag or emphasis.
        if (text.contains(u"http"))
            autolinks(text);
        if (text.contains(u"~~"))
            delimitedContent(text, Patterns::strike(), [](CharStyle &s) { s.strike = true; });
        if (text.contains(u"=="))
            delimitedContent(
                text, Patterns::highlight(), [](CharStyle &s) { s.background = BackgroundRole::Highlight; });
        if (text.contains(u'*') || text.contains(u'_'))
            emphasis();
        if (text.contains(u'#'))
            tags(text);
    }

private:
    // Marker characters take the marker colour, and no room at all unless the line is active.
    void hideToken(qsizetype start, qsizetype end)
    {
        for (qsizetype i = start; i < end; ++i) {
            m_canvas.styles[i].color = ColorRole::Marker;
            m_canvas.styles[i].hidden = !m_active;
        }
    }

    template<typename Change> void styleUnclaimed(qsizetype start, qsizetype end, Change change)
    {
        for (qsizetype i = start; i < end; ++i) {
            if (!m_claims.isClaimed(i))
                change(m_canvas.styles[i]);
        }
    }

    void addLink(qsizetype start, qsizetype end, QString target)
    {
        if (end <= start)
            return;
        styleUnclaimed(start, end, [](CharStyle &s) {
            s.color = ColorRole::Link;
            s.underline = true;
        });
        m_canvas.links.append(LinkSpan {{start, end - start}, std::move(target)});
    }

    template<typename Body> void forEachMatch(QStringView text, const QRegularExpression &expression, Body body)
    {
        QRegularExpressionMatchIterator it = expression.globalMatch(text);
        while (it.hasNext())
            body(it.next(), m_range.location);
    }

    void codeSpans(QStringView text)
    {
        forEachMatch(text, Patterns::codeSpan(), [this](const QRegularExpressionMatch &m, qsizetype offset) {
            const qsizetype start = offset + m.capturedStart(0);
            const qsizetype end = offset + m.capturedEnd(0);
            for (qsizetype i = start + 1; i < end - 1; ++i) {
                CharStyle &s = m_canvas.styles[i];
                s.font = FontRole::Code;
                s.bold = s.italic = false;
                s.background = BackgroundRole::Code;
            }
            hideToken(start, start + 1);
            hideToken(end - 1, end);
            m_claims.claim(start, end);
        });
    }

    void links(QStringView text)
    {
        forEachMatch(text, Patterns::link(), [this](const QRegularExpressionMatch &m, qsizetype offset) {
            const qsizetype start = offset + m.capturedStart(0);
            const qsizetype end = offset + m.capturedEnd(0);
            const qsizetype textStart = offset + m.capturedStart(2);
            const qsizetype textEnd = offset + m.capturedEnd(2);
            if (m_claims.any(start, textStart) || m_claims.any(textEnd, end))
                return;
            addLink(textStart, textEnd, m.captured(3));
            hideToken(textStart - 1, textStart);
            hideToken(textEnd, end);
            m_claims.claim(start, end);
        });
    }

    void wikiLinks(QStringView text)
    {
        forEachMatch(text, Patterns::wikiLink(), [this](const QRegularExpressionMatch &m, qsizetype offset) {
            const qsizetype start = offset + m.capturedStart(0);
            const qsizetype end = offset + m.capturedEnd(0);
            if (m_claims.any(start, start + 2) || m_claims.any(end - 2, end))
                return;
            addLink(start + 2, end - 2, wikiUrl(m.captured(1)).toString(QUrl::FullyEncoded));
            hideToken(start, start + 2);
            hideToken(end - 2, end);
            m_claims.claim(start, end);
        });
    }

    template<typename Change>
    void delimitedContent(QStringView text, const QRegularExpression &expression, Change change)
    {
        forEachMatch(text, expression, [this, change](const QRegularExpressionMatch &m, qsizetype offset) {
            const qsizetype start = offset + m.capturedStart(0);
            const qsizetype end = offset + m.capturedEnd(0);
            if (m_claims.any(start, start + 2) || m_claims.any(end - 2, end))
                return;
            styleUnclaimed(start + 2, end - 2, change);
            hideToken(start, start + 2);
            hideToken(end - 2, end);
            m_claims.claim(start, end);
        });
    }

    void emphasis()
    {
        const QList<EmphasisSpan> spans
            = emphasisSpans(m_line, m_range, [this](qsizetype index) { return !m_claims.isClaimed(index); });
        if (spans.isEmpty())
            return;
        // Traits are added over everything between the markers, so a bold link stays a link and becomes bold. Spans
        // nest as deep as the paragraph is long, so each only marks where it begins and ends, and one sweep counts
        // how many of each kind hold every character.
        QVarLengthArray<int, 256> strongDepth(m_line.size() + 1, 0);
        QVarLengthArray<int, 256> emphasisDepth(m_line.size() + 1, 0);
        for (const EmphasisSpan &span : spans) {
            auto &depth = span.strong ? strongDepth : emphasisDepth;
            ++depth[span.openerRange.end()];
            --depth[span.closerRange.location];
        }
        int strong = 0;
        int emphasized = 0;
        for (qsizetype i = m_range.location; i < m_range.end(); ++i) {
            strong += strongDepth[i];
            emphasized += emphasisDepth[i];
            if (strong > 0)
                m_canvas.styles[i].bold = true;
            if (emphasized > 0)
                m_canvas.styles[i].italic = true;
        }
        for (const EmphasisSpan &span : spans) {
            hideToken(span.openerRange.location, span.openerRange.end());
            hideToken(span.closerRange.location, span.closerRange.end());
            m_claims.claim(span.openerRange.location, span.openerRange.end());
            m_claims.claim(span.closerRange.location, span.closerRange.end());
        }
    }

    void tags(QStringView text)
    {
        forEachMatch(text, Patterns::tag(), [this](const QRegularExpressionMatch &m, qsizetype offset) {
            const qsizetype start = offset + m.capturedStart(0);
            const qsizetype end = offset + m.capturedEnd(0);
            if (m_claims.any(start, end))
                return;
            for (qsizetype i = start; i < end; ++i)
                m_canvas.styles[i].color = ColorRole::Tag;
            m_claims.claim(start, end);
        });
    }

    void autolinks(QStringView text)
    {
        forEachMatch(text, Patterns::autolink(), [this](const QRegularExpressionMatch &m, qsizetype offset) {
            const qsizetype start = offset + m.capturedStart(0);
            qsizetype end = offset + m.capturedEnd(0);
            // An address inside claimed text is a Markdown link's address: it is a link already.
            if (m_claims.any(start, end))
                return;
            // Punctuation at the end closes a sentence or an emphasis around the address; it is no part of it.
            while (end > start && QStringView(u"?!.,:;*_~").contains(m_line[end - 1]))
                --end;
            addLink(start, end, m_line.mid(start, end - start).toString());
            m_claims.claim(start, end);
        });
    }

    QStringView m_line;
    TextRange m_range;
    bool m_active;
    InlineCanvas &m_canvas;
    Claims m_claims;
};

} // namespace

CharClass classify(QStringView text, qsizetype index)
{
    if (index < 0 || index >= text.size())
        return CharClass::Whitespace;
    QTextBoundaryFinder graphemes = graphemeFinder(text);
    return classifyWith(text, index, graphemes);
}

QList<EmphasisSpan> emphasisSpans(QStringView text, TextRange range, const std::function<bool(qsizetype)> &isUsable)
{
    QList<Delimiter> delimiters = gatherDelimiters(text, range, isUsable);
    const qsizetype count = delimiters.size();
    // The stack is a list linked through indexes, so that taking delimiters out of its middle costs nothing; an index
    // keeps the run's place in the text whatever is taken out around it. count stands for "past the end".
    QList<qsizetype> previous(count);
    QList<qsizetype> next(count);
    for (qsizetype k = 0; k < count; ++k) {
        previous[k] = k - 1;
        next[k] = k + 1;
    }
    const auto unlink = [&](qsizetype k) {
        if (previous[k] >= 0)
            next[previous[k]] = next[k];
        if (next[k] < count)
            previous[next[k]] = previous[k];
    };
    // Whether a run can open for a closer depends only on the run itself and on the closer's character, whether the
    // closer can open, and its length modulo three (for the rule of three). When a closer finds no opener, every run
    // below it fails every later closer of the same kind too, and runs never return to the stack: the next search of
    // that kind stops where this one began. Without this bound, many openers of one kind before many closers of another
    // rescan the whole stack for each closer.
    qsizetype openersBottom[2][2][3] = {};
    QList<EmphasisSpan> spans;
    qsizetype i = 0;
    while (i < count) {
        Delimiter &closer = delimiters[i];
        if (!closer.canClose) {
            i = next[i];
            continue;
        }
        qsizetype &bottom = openersBottom[closer.character == u'_'][closer.canOpen][closer.originalLength % 3];
        qsizetype j = previous[i];
        for (; j >= bottom; j = previous[j]) {
            const Delimiter &candidate = delimiters[j];
            if (candidate.character == closer.character && candidate.canOpen && !ruleOfThreeForbids(candidate, closer))
                break;
        }
        if (j < bottom) {
            bottom = i;
            const qsizetype following = next[i];
            if (!closer.canOpen)
                unlink(i);
            i = following;
            continue;
        }
        Delimiter &opener = delimiters[j];
        const qsizetype use = opener.range.length >= 2 && closer.range.length >= 2 ? 2 : 1;
        spans.append(EmphasisSpan {{opener.range.end() - use, use}, {closer.range.location, use}, use == 2});
        opener.range.length -= use;
        closer.range.location += use;
        closer.range.length -= use;

        // The runs between the pair can no longer open or close anything.
        next[j] = i;
        previous[i] = j;
        if (opener.range.length == 0)
            unlink(j);
        if (closer.range.length == 0) {
            const qsizetype following = next[i];
            unlink(i);
            i = following;
        }
    }
    return spans;
}

void styleInline(QStringView line, TextRange range, bool active, InlineCanvas &canvas)
{
    if (range.length <= 0)
        return;
    if (canvas.styles.size() < line.size())
        canvas.styles.resize(line.size());
    InlinePasses(line, range, active, canvas).run();
}

} // namespace MarkdownStyler

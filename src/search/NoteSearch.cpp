#include "search/NoteSearch.h"

#include "search/CaseInsensitiveFinder.h"

#include <QCollator>
#include <QLocale>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <vector>

namespace NoteSearch {

namespace {

constexpr QChar ellipsis(0x2026);

// Qt gives the C locale no collation rules at all: titles would compare code unit by code unit and numeric mode
// would be ignored, so 'Note 10' would precede 'Note 2' for anyone running with LANG=C. English has no tailoring,
// so it stands for the plain Unicode rules.
QLocale textLocale()
{
    const QLocale locale;
    return locale.language() == QLocale::C ? QLocale(QLocale::English) : locale;
}

bool isAscii(QStringView text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; });
}

// Brings titles and the query to one form in which a case-insensitive "contains" is a plain "contains".
class TitleFolder {
public:
    explicit TitleFolder(const QLocale &locale)
        : m_locale(locale)
        // Only the Turkic languages lower an ASCII letter differently ('I' to dotless 'ı').
        , m_asciiLowersPlainly(locale.language() != QLocale::Turkish && locale.language() != QLocale::Azerbaijani)
    {
    }

    QString fold(const QString &text) const
    {
        // Most titles are ASCII; for them the locale's rules (an ICU call each) come to plain lower case.
        if (m_asciiLowersPlainly && isAscii(text))
            return text.toLower();
        // Composed first, so that 'cafe' never finds the 'e' of a decomposed 'é'. The locale lowers with its own
        // rules ('I' to 'ı' in Turkish); simple case folding then joins what lowering keeps apart (final 'ς' and
        // 'σ', 'ſ' and 's', 'µ' and 'μ'); and the German sharp s folds to "ss", as full case folding would, so that
        // 'STRASSE' finds 'Straße'.
        QString folded = m_locale.toLower(text.normalized(QString::NormalizationForm_C)).toCaseFolded();
        folded.replace(QChar(0x00DF), QStringLiteral("ss"));
        return folded;
    }

private:
    QLocale m_locale;
    bool m_asciiLowersPlainly;
};

bool isLineBreak(QChar c)
{
    switch (c.unicode()) {
    case u'\n':
    case u'\r':
    case 0x0085: // next line
    case 0x2028: // line separator
    case 0x2029: // paragraph separator
        return true;
    default:
        return false;
    }
}

// The line that holds the unit at position, without its line break.
QStringView lineAt(QStringView text, qsizetype position)
{
    // The LF of a CR LF belongs to the line that the pair ends, like the CR.
    if (position > 0 && text[position] == u'\n' && text[position - 1] == u'\r')
        --position;
    qsizetype begin = position;
    while (begin > 0 && !isLineBreak(text[begin - 1]))
        --begin;
    qsizetype end = position;
    while (end < text.size() && !isLineBreak(text[end]))
        ++end;
    return text.sliced(begin, end - begin);
}

// Below U+0300 there are no combining marks, joiners, surrogates, Hangul jamo or emoji: two such neighbours always
// have a character boundary between them within one line (CR LF, the one pair that stays together, never occurs
// inside a line). This spares building a boundary finder over every long line of every match.
bool isPlainCut(QStringView line, qsizetype position)
{
    return position == 0 || position == line.size()
        || (line[position - 1].unicode() < 0x300 && line[position].unicode() < 0x300);
}

// The part [start, end) of line, widened to whole user-perceived characters (an emoji with its skin tone, a letter
// with its combining marks), with an ellipsis on each side that cuts the line.
QString excerpt(QStringView line, qsizetype start, qsizetype end)
{
    if (!isPlainCut(line, start) || !isPlainCut(line, end)) {
        QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, line);
        graphemes.setPosition(start);
        if (!graphemes.isAtBoundary())
            start = graphemes.toPreviousBoundary();
        graphemes.setPosition(end);
        if (!graphemes.isAtBoundary())
            end = graphemes.toNextBoundary();
    }
    QString result;
    result.reserve(end - start + 2);
    if (start > 0)
        result.append(ellipsis);
    result.append(line.sliced(start, end - start));
    if (end < line.size())
        result.append(ellipsis);
    return result;
}

std::optional<QString> snippetWith(const CaseInsensitiveFinder &finder, QStringView body, qsizetype maxLength)
{
    const qsizetype match = finder.indexIn(body);
    if (match < 0)
        return std::nullopt;
    const QStringView line = lineAt(body, match).trimmed();
    if (line.size() <= maxLength)
        return line.toString();

    // A query that runs past the end of its line (it holds a line break) is no longer found in it: show the start.
    const qsizetype matchInLine = std::max<qsizetype>(finder.indexIn(line), 0);
    qsizetype start = std::max<qsizetype>(matchInLine - maxLength / 2, 0);
    const qsizetype end = std::min(start + maxLength, line.size());
    // A match near the end of the line pulls the window back, so that it stays maxLength long.
    start = std::max<qsizetype>(end - maxLength, 0);
    return excerpt(line, start, end);
}

QStringView trimBlanks(QStringView text)
{
    const auto isBlank = [](QChar c) { return c == u' ' || c == u'\t'; };
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    return text.sliced(begin, end - begin);
}

// Title matches first, then the natural title order, stable. The collator works on sort keys, made once per
// result: comparing titles directly would run the collation 130,000 times to order 10,000 notes.
void rank(QList<Result> &results, const QLocale &locale)
{
    if (results.size() < 2)
        return;
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);

    struct Entry {
        qsizetype index;
        bool titleMatch;
        QCollatorSortKey key;
    };
    std::vector<Entry> entries;
    entries.reserve(results.size());
    for (qsizetype i = 0; i < results.size(); ++i)
        entries.push_back({i, results[i].titleMatch, collator.sortKey(results[i].title)});
    std::stable_sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) {
        if (a.titleMatch != b.titleMatch)
            return a.titleMatch;
        return a.key.compare(b.key) < 0;
    });

    QList<Result> ranked;
    ranked.reserve(results.size());
    for (const Entry &entry : entries)
        ranked.append(std::move(results[entry.index]));
    results = std::move(ranked);
}

} // namespace

QList<Result> search(const QString &query, const QList<Candidate> &candidates)
{
    const QString needle = query.trimmed();
    const QLocale locale = textLocale();
    QList<Result> results;

    if (needle.isEmpty()) {
        results.reserve(candidates.size());
        for (const Candidate &candidate : candidates)
            results.append({candidate.key, candidate.title, firstLine(candidate.body), candidate.hidden, false});
    } else {
        const TitleFolder folder(locale);
        const QString foldedNeedle = folder.fold(needle);
        const CaseInsensitiveFinder finder(needle);
        for (const Candidate &candidate : candidates) {
            const bool titleMatch = folder.fold(candidate.title).contains(foldedNeedle);
            std::optional<QString> found = snippetWith(finder, candidate.body, snippetLength);
            if (!titleMatch && !found)
                continue;
            QString shown = found ? std::move(*found) : firstLine(candidate.body);
            results.append({candidate.key, candidate.title, std::move(shown), candidate.hidden, titleMatch});
        }
    }

    rank(results, locale);
    return results;
}

std::optional<QString> snippet(const QString &query, const QString &body, qsizetype maxLength)
{
    if (query.isEmpty())
        return std::nullopt;
    return snippetWith(CaseInsensitiveFinder(query), body, std::max<qsizetype>(maxLength, 0));
}

QString firstLine(const QString &body)
{
    QStringView rest(body);
    for (;;) {
        const qsizetype lineFeed = rest.indexOf(u'\n');
        const QStringView line = trimBlanks(lineFeed < 0 ? rest : rest.first(lineFeed));
        if (!line.isEmpty())
            return line.toString();
        if (lineFeed < 0)
            return QString();
        rest = rest.sliced(lineFeed + 1);
    }
}

bool sameTitle(const QString &a, const QString &b)
{
    const TitleFolder folder(textLocale());
    return folder.fold(a) == folder.fold(b);
}

} // namespace NoteSearch

#include "store/NoteNaming.h"

#include <QTextBoundaryFinder>
#include <QUrl>

namespace NoteNaming {

namespace {

bool isSpaceOrTab(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

QString trimSpacesAndTabs(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isSpaceOrTab(text.at(begin)))
        ++begin;
    while (end > begin && isSpaceOrTab(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

// Control (Cc) and format (Cf) characters: line breaks, tabs inside the title, zero-width characters and the
// bidirectional overrides that would make a file name read differently from what it is.
QString withoutControlCharacters(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char32_t c = text.at(i).isHighSurrogate() && i + 1 < text.size()
            ? QChar::surrogateToUcs4(text.at(i), text.at(i + 1))
            : char32_t(text.at(i).unicode());
        const int units = c > 0xFFFF ? 2 : 1;
        const QChar::Category category = QChar::category(c);
        if (category != QChar::Other_Control && category != QChar::Other_Format)
            result.append(text.mid(i, units));
        i += units - 1;
    }
    return result;
}

// The longest prefix of at most `count` user-perceived characters whose UTF-8 form fits `maxBytes`, never
// splitting an emoji or an accented letter.
QString firstCharacters(const QString &text, int count, qsizetype maxBytes)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int seen = 0;
    qsizetype kept = 0;
    qsizetype bytes = 0;
    qsizetype previous = 0;
    while (finder.toNextBoundary() != -1) {
        const qsizetype position = finder.position();
        bytes += QStringView(text).mid(previous, position - previous).toUtf8().size();
        if (bytes > maxBytes)
            break;
        kept = previous = position;
        if (++seen == count)
            break;
    }
    return text.left(kept);
}

void removeLeadingDotsAndBlanks(QString &text)
{
    // ". .hello" would otherwise become ".hello": a hidden file that no listing shows again.
    while (!text.isEmpty() && (text.startsWith(QLatin1Char('.')) || isSpaceOrTab(text.at(0)))) {
        while (text.startsWith(QLatin1Char('.')))
            text.remove(0, 1);
        text = trimSpacesAndTabs(text);
    }
}

// The rules shared by note titles and attachment names, after the caller's own trimming.
std::optional<QString> cleanedName(QString text, qsizetype maxBytes)
{
    text = withoutControlCharacters(text);
    text.replace(QLatin1Char('/'), QLatin1Char('-'));
    text.replace(QLatin1Char(':'), QLatin1Char('-'));
    removeLeadingDotsAndBlanks(text);
    text = trimSpacesAndTabs(text);
    if (text.isEmpty())
        return std::nullopt;
    const QString kept = firstCharacters(text, maxTitleLength, maxBytes);
    if (kept.size() == text.size())
        return text;
    text = trimSpacesAndTabs(kept);
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}

} // namespace

std::optional<QString> sanitizeTitle(const QString &title)
{
    QString text = title.trimmed();
    if (text.toLower().endsWith(QLatin1String(".md")))
        text.chop(3);
    return cleanedName(text, maxTitleBytes);
}

QString numberedName(const QString &base, int n, const QString &extension)
{
    QString name = n == 0 ? base : QStringLiteral("%1 (%2)").arg(base).arg(n);
    if (!extension.isEmpty())
        name += QLatin1Char('.') + extension;
    return name;
}

SplitName attachmentName(const QString &fileName)
{
    const QString leaf = fileName.section(QLatin1Char('/'), -1);
    const qsizetype dot = leaf.lastIndexOf(QLatin1Char('.'));
    SplitName split;
    split.base = dot > 0 ? leaf.left(dot) : leaf;
    if (dot > 0) {
        // Only a plain extension survives; anything odd after the last dot is part of the base.
        const QString extension = leaf.mid(dot + 1);
        bool plain = !extension.isEmpty() && extension.size() <= 10;
        for (QChar c : extension)
            plain = plain && c.isLetterOrNumber() && c.unicode() < 128;
        if (plain)
            split.extension = extension.toLower();
        else
            split.base = leaf;
    }
    split.base = cleanedName(split.base.trimmed(), maxTitleBytes - 8).value_or(QStringLiteral("attachment"));
    return split;
}

QString attachmentLink(const QString &fileName)
{
    // Unreserved characters stay as they are; everything else, including every non-ASCII byte, is encoded.
    return QLatin1String("attachments/") + QString::fromLatin1(QUrl::toPercentEncoding(fileName));
}

} // namespace NoteNaming

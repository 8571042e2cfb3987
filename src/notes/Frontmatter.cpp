#include "notes/Frontmatter.h"

#include "notes/NotePalette.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace Frontmatter {

namespace {

const QString delimiter = QStringLiteral("---");

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

// Spaces and tabs only: a carriage return is content here, which is why CR LF files must be normalised first.
QStringView trimBlanks(QStringView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    return text.sliced(begin, end - begin);
}

bool hasKeyBeforeColon(QStringView line)
{
    const qsizetype colon = line.indexOf(QLatin1Char(':'));
    return colon >= 0 && !trimBlanks(line.first(colon)).isEmpty();
}

QString unquoted(QStringView value)
{
    if (value.size() >= 2) {
        const QChar first = value.front();
        const QChar last = value.back();
        if ((first == QLatin1Char('"') && last == QLatin1Char('"'))
            || (first == QLatin1Char('\'') && last == QLatin1Char('\'')))
            return value.sliced(1, value.size() - 2).toString();
    }
    return value.toString();
}

Parsed withoutBlock(const QString &raw)
{
    Parsed parsed;
    parsed.body = raw;
    return parsed;
}

// One line of the block, not counting its line feed.
struct Line {
    qsizetype start;
    qsizetype length;
};

// Walks the text line by line without splitting it, so a 50 MB body costs one scan for its first lines only.
class LineWalker {
public:
    explicit LineWalker(const QString &text)
        : m_text(text)
    {
    }

    bool atEnd() const { return m_next > m_text.size(); }

    Line next()
    {
        const qsizetype start = m_next;
        qsizetype feed = m_text.indexOf(QLatin1Char('\n'), start);
        if (feed < 0)
            feed = m_text.size();
        m_next = feed + 1;
        return {start, feed - start};
    }

    // Position just after the line feed of the last line returned (past the end if it had none).
    qsizetype position() const { return m_next; }

private:
    const QString &m_text;
    qsizetype m_next = 0;
};

bool setFlag(const QString &word, NoteMetadata &meta, bool value)
{
    if (word == QLatin1String("rolled"))
        meta.rolledUp = value;
    else if (word == QLatin1String("float"))
        meta.floatOnTop = value;
    else if (word == QLatin1String("hidden"))
        meta.hidden = value;
    else if (word == QLatin1String("adopt") || word == QLatin1String("keep"))
        meta.adopt = value;
    else if (word == QLatin1String("prompt"))
        meta.isPrompt = value;
    else
        return false;
    return true;
}

bool isTrueWord(const QString &value)
{
    const QString lower = value.toLower();
    return lower == QLatin1String("true") || lower == QLatin1String("yes") || lower == QLatin1String("1");
}

bool isAcceptedColor(const QString &text)
{
    return NotePalette::colorFromHexString(text).has_value();
}

std::optional<std::string> asciiOf(const QString &text)
{
    std::string out;
    out.reserve(size_t(text.size()));
    for (QChar c : text) {
        if (c.unicode() >= 128)
            return std::nullopt;
        out.push_back(char(c.unicode()));
    }
    return out;
}

// Rounds halves away from zero. A value that cannot be a 64-bit integer never comes from a parse (those are
// clamped); one from elsewhere (a hand-edited setting, a screen that reported nonsense) is written as the nearest
// integer that can be, or as the property's default when it is no number at all: a note with an odd frame is
// better than ending the application with every other note's edits unsaved. The next read clamps it into range.
qint64 roundedForFile(double value, double fallback)
{
    constexpr double largest = 9.2e18;
    if (!std::isfinite(value))
        value = fallback;
    return qint64(std::round(std::clamp(value, -largest, largest)));
}

} // namespace

std::optional<double> parseCNumber(const QString &text)
{
    const std::optional<std::string> ascii = asciiOf(text);
    if (!ascii || ascii->empty())
        return std::nullopt;
    std::string_view digits(*ascii);
    bool negative = false;
    if (digits.front() == '+' || digits.front() == '-') {
        negative = digits.front() == '-';
        digits.remove_prefix(1);
    }
    // from_chars takes neither a sign nor the "0x" prefix of a hexadecimal float, both of which the C library's
    // number syntax allows; they are peeled off above and here.
    if (digits.empty() || digits.front() == '+' || digits.front() == '-')
        return std::nullopt;
    auto format = std::chars_format::general;
    if (digits.size() >= 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) {
        format = std::chars_format::hex;
        digits.remove_prefix(2);
        if (digits.empty() || digits.front() == '+' || digits.front() == '-')
            return std::nullopt;
    }
    double value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, format);
    if (error != std::errc() || end != digits.data() + digits.size() || !std::isfinite(value))
        return std::nullopt;
    return negative ? -value : value;
}

std::optional<double> coord(const QString &text)
{
    const auto value = parseCNumber(text);
    if (!value)
        return std::nullopt;
    return std::clamp(*value, -NoteLimits::coordinateLimit, NoteLimits::coordinateLimit);
}

std::optional<double> dimension(const QString &text, double atLeast)
{
    const auto value = parseCNumber(text);
    if (!value)
        return std::nullopt;
    return std::clamp(*value, atLeast, NoteLimits::maxDimension);
}

std::optional<double> fontSize(const QString &text)
{
    const auto value = parseCNumber(text);
    if (!value)
        return std::nullopt;
    return std::clamp(*value, NoteLimits::minFontSize, NoteLimits::maxFontSize);
}

std::optional<qint64> zOrder(const QString &text)
{
    const std::optional<std::string> ascii = asciiOf(text);
    if (!ascii || ascii->empty())
        return std::nullopt;
    std::string_view digits(*ascii);
    std::string_view signedDigits = digits;
    if (digits.front() == '+' || digits.front() == '-') {
        digits.remove_prefix(1);
        if (signedDigits.front() == '+')
            signedDigits.remove_prefix(1);
    }
    if (digits.empty())
        return std::nullopt;
    for (char c : digits) {
        if (c < '0' || c > '9')
            return std::nullopt;
    }
    long long value = 0;
    const auto [end, error] = std::from_chars(signedDigits.data(), signedDigits.data() + signedDigits.size(), value);
    if (error != std::errc() || end != signedDigits.data() + signedDigits.size())
        return std::nullopt;
    return std::clamp<qint64>(value, -NoteLimits::zLimit, NoteLimits::zLimit);
}

void applyTokens(const QString &value, NoteMetadata &meta)
{
    qsizetype i = 0;
    const qsizetype n = value.size();
    while (i < n) {
        while (i < n && isBlank(value[i]))
            ++i;
        const qsizetype start = i;
        while (i < n && !isBlank(value[i]))
            ++i;
        if (i == start)
            continue;
        const QString token = value.sliced(start, i - start);
        if (token.startsWith(QLatin1Char('#'))) {
            if (isAcceptedColor(token))
                meta.color = token;
            continue;
        }
        if (setFlag(token, meta, true) || token.size() < 2)
            continue;
        const QChar key = token.front();
        const QString rest = token.sliced(1);
        if (key == QLatin1Char('x')) {
            if (auto v = coord(rest))
                meta.x = *v;
        } else if (key == QLatin1Char('y')) {
            if (auto v = coord(rest))
                meta.y = *v;
        } else if (key == QLatin1Char('w')) {
            if (auto v = dimension(rest, NoteLimits::minWidth))
                meta.width = *v;
        } else if (key == QLatin1Char('h')) {
            if (auto v = dimension(rest, NoteLimits::minHeight))
                meta.height = *v;
        } else if (key == QLatin1Char('z')) {
            if (auto v = zOrder(rest))
                meta.z = *v;
        } else if (key == QLatin1Char('s')) {
            if (auto v = fontSize(rest))
                meta.fontSize = *v;
        }
    }
}

void apply(const QString &key, const QString &value, NoteMetadata &meta)
{
    if (key == QLatin1String("x")) {
        if (auto v = coord(value))
            meta.x = *v;
    } else if (key == QLatin1String("y")) {
        if (auto v = coord(value))
            meta.y = *v;
    } else if (key == QLatin1String("width")) {
        if (auto v = dimension(value, NoteLimits::minWidth))
            meta.width = *v;
    } else if (key == QLatin1String("height")) {
        if (auto v = dimension(value, NoteLimits::minHeight))
            meta.height = *v;
    } else if (key == QLatin1String("z")) {
        if (auto v = zOrder(value))
            meta.z = *v;
    } else if (key == QLatin1String("color")) {
        if (isAcceptedColor(value))
            meta.color = value.startsWith(QLatin1Char('#')) ? value : QLatin1Char('#') + value;
    } else if (key == QLatin1String("font-size")) {
        if (auto v = fontSize(value))
            meta.fontSize = *v;
    } else {
        setFlag(key, meta, isTrueWord(value));
    }
}

Parsed parse(const QString &raw)
{
    LineWalker walker(raw);
    const Line opening = walker.next();
    if (walker.atEnd() || trimBlanks(QStringView(raw).sliced(opening.start, opening.length)) != delimiter)
        return withoutBlock(raw);

    QList<Line> block;
    bool closed = false;
    bool anyKey = false;
    while (!walker.atEnd()) {
        const Line line = walker.next();
        const QStringView text = QStringView(raw).sliced(line.start, line.length);
        if (trimBlanks(text) == delimiter) {
            closed = true;
            break;
        }
        anyKey = anyKey || hasKeyBeforeColon(text);
        block.append(line);
    }
    // An empty block ("---" straight after "---") or one without a single "key:" is a thematic break in an
    // ordinary Markdown file, not front matter.
    if (!closed || block.isEmpty() || !anyKey)
        return withoutBlock(raw);

    Parsed parsed;
    for (const Line &line : std::as_const(block)) {
        const QStringView text = QStringView(raw).sliced(line.start, line.length);
        const qsizetype colon = text.indexOf(QLatin1Char(':'));
        const QString key = colon >= 0 ? trimBlanks(text.first(colon)).toString() : QString();
        if (key.isEmpty()) {
            parsed.foreign.append(text.toString());
            continue;
        }
        const QString value = unquoted(trimBlanks(text.sliced(colon + 1)));
        if (key == QLatin1String("tackpad")) {
            applyTokens(value, parsed.meta);
            parsed.hadMeta = true;
        } else if (key.startsWith(QLatin1String("tackpad-"))) {
            apply(key.sliced(8), value, parsed.meta);
            parsed.hadMeta = true;
        } else {
            parsed.foreign.append(text.toString());
        }
    }
    if (walker.position() <= raw.size())
        parsed.body = raw.sliced(walker.position());
    return parsed;
}

QString propertyLine(const NoteMetadata &meta)
{
    QString tokens = QStringLiteral("x%1 y%2 w%3 h%4 z%5 %6 s%7")
                         .arg(roundedForFile(meta.x, NoteMetadata().x))
                         .arg(roundedForFile(meta.y, NoteMetadata().y))
                         .arg(roundedForFile(meta.width, NoteMetadata().width))
                         .arg(roundedForFile(meta.height, NoteMetadata().height))
                         .arg(meta.z)
                         .arg(meta.color)
                         .arg(roundedForFile(meta.fontSize, NoteMetadata().fontSize));
    if (meta.rolledUp)
        tokens += QLatin1String(" rolled");
    if (meta.floatOnTop)
        tokens += QLatin1String(" float");
    if (meta.hidden)
        tokens += QLatin1String(" hidden");
    if (meta.adopt)
        tokens += QLatin1String(" adopt");
    if (meta.isPrompt)
        tokens += QLatin1String(" prompt");
    return QLatin1String("tackpad: \"") + tokens + QLatin1Char('"');
}

QString serialize(const NoteMetadata &meta, const QStringList &foreign, const QString &body)
{
    QString text;
    text.reserve(body.size() + 128);
    text += delimiter + QLatin1Char('\n');
    for (const QString &line : foreign)
        text += line + QLatin1Char('\n');
    text += propertyLine(meta) + QLatin1Char('\n');
    text += delimiter + QLatin1Char('\n');
    text += body;
    return text;
}

QString serializeWithoutTackpad(const QStringList &foreign, const QString &body)
{
    if (foreign.isEmpty())
        return body;
    return delimiter + QLatin1Char('\n') + foreign.join(QLatin1Char('\n')) + QLatin1Char('\n') + delimiter
        + QLatin1Char('\n') + body;
}

} // namespace Frontmatter

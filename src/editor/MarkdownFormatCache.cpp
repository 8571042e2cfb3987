#include "editor/MarkdownFormatCache.h"

#include "editor/HiddenFont.h"

#include <QFontDatabase>
#include <QFontInfo>
#include <QGuiApplication>
#include <QScreen>

#include <cmath>

using namespace MarkdownStyler;

namespace {

constexpr std::array<qreal, 6> headingScale = {1.6, 1.4, 1.25, 1.12, 1.05, 1.0};

// A calibrated white of level w and alpha a.
QColor white(qreal w, qreal a)
{
    return QColor::fromRgbF(float(w), float(w), float(w), float(a));
}

QColor rgb(qreal r, qreal g, qreal b, qreal a = 1.0)
{
    return QColor::fromRgbF(float(r), float(g), float(b), float(a));
}

bool familyExists(const std::optional<QString> &name)
{
    return name && !name->isEmpty() && QFontDatabase::hasFamily(*name);
}

// An installed colour-emoji family, or nothing.
QString colourEmojiFamily()
{
    static const QString family = [] {
        const QStringList families = QFontDatabase::families();
        for (const char *known : {"Noto Color Emoji", "Apple Color Emoji", "Segoe UI Emoji", "Twemoji", "JoyPixels"}) {
            if (families.contains(QLatin1String(known)))
                return QString::fromLatin1(known);
        }
        for (const QString &name : families) {
            if (name.contains(u"Color Emoji", Qt::CaseInsensitive))
                return name;
        }
        return QString();
    }();
    return family;
}

// Emoji the face lacks come from the colour-emoji font before any other: the system's fallback order may put a
// monochrome symbol font first, or none at all.
QFont withEmojiFallback(QFont font)
{
    // The family actually matched: a generic name such as "Sans Serif" is no family of its own, and in a list the
    // font database would skip it and make the emoji font the face of all text.
    const QString face = QFontInfo(font).family();
    const QString emoji = colourEmojiFamily();
    if (!emoji.isEmpty() && face != emoji)
        font.setFamilies({face, emoji});
    return font;
}

QFont bodyFont(const Theme &theme)
{
    QFont font
        = familyExists(theme.fontName) ? QFont(*theme.fontName) : QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setPointSizeF(theme.baseSize);
    font.setWeight(QFont::Normal);
    font.setItalic(false);
    return font;
}

QFont headingFont(const Theme &theme, int level)
{
    const qreal size = std::round(theme.baseSize * headingScale[level - 1]);
    QFont font;
    if (familyExists(theme.fontName)) {
        font = QFont(*theme.fontName);
        font.setWeight(QFont::Bold);
    } else {
        font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
        font.setWeight(QFont::DemiBold);
    }
    font.setPointSizeF(size);
    font.setItalic(false);
    return font;
}

QFont codeFont(const Theme &theme)
{
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSizeF(qMax(theme.baseSize - 1, 9.0));
    font.setWeight(QFont::Normal);
    font.setItalic(false);
    return font;
}

qreal screenPixelsPerPoint()
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    return (screen ? screen->logicalDotsPerInchY() : 96.0) / 72.0;
}

} // namespace

MarkdownFormatCache::MarkdownFormatCache(const Theme &theme)
    : m_theme(theme)
    , m_pixelsPerPoint(screenPixelsPerPoint())
{
    m_fonts[size_t(FontRole::Body)] = withEmojiFallback(bodyFont(theme));
    for (int level = 1; level <= 6; ++level)
        m_fonts[size_t(level)] = withEmojiFallback(headingFont(theme, level));
    m_fonts[size_t(FontRole::Code)] = withEmojiFallback(codeFont(theme));
    m_metrics.reserve(m_fonts.size());
    for (const QFont &font : m_fonts)
        m_metrics.emplace_back(font);
}

std::shared_ptr<const MarkdownFormatCache> MarkdownFormatCache::shared(const Theme &theme)
{
    static std::vector<std::weak_ptr<const MarkdownFormatCache>> caches;
    std::erase_if(caches, [](const std::weak_ptr<const MarkdownFormatCache> &cache) { return cache.expired(); });
    const qreal pixelsPerPoint = screenPixelsPerPoint();
    for (const std::weak_ptr<const MarkdownFormatCache> &each : caches) {
        std::shared_ptr<const MarkdownFormatCache> cache = each.lock();
        if (cache->theme() == theme && cache->pixelsPerPoint() == pixelsPerPoint)
            return cache;
    }
    auto made = std::make_shared<const MarkdownFormatCache>(theme);
    caches.push_back(made);
    return made;
}

QFont MarkdownFormatCache::font(FontRole role) const
{
    return m_fonts[size_t(role)];
}

QColor MarkdownFormatCache::color(ColorRole role) const
{
    const bool dark = m_theme.darkMode;
    switch (role) {
    case ColorRole::Text:
        return dark ? white(0.92, 1.0) : white(0.12, 1.0);
    case ColorRole::Marker:
        return dark ? white(0.92, 0.4) : white(0.12, 0.35);
    case ColorRole::Accent:
        return dark ? rgb(0.95, 0.74, 0.35, 0.95) : rgb(0.55, 0.35, 0.05, 0.9);
    case ColorRole::QuoteText:
        return dark ? white(0.92, 0.7) : white(0.12, 0.68);
    case ColorRole::Link:
        return dark ? rgb(0.45, 0.71, 1.0) : rgb(0.05, 0.32, 0.68);
    case ColorRole::Tag:
        // Violet: apart from the blue of links and the brown accent, and readable on every note colour.
        return dark ? rgb(0.80, 0.66, 1.0) : rgb(0.42, 0.20, 0.62);
    }
    return {};
}

QColor MarkdownFormatCache::background(BackgroundRole role) const
{
    const bool dark = m_theme.darkMode;
    switch (role) {
    case BackgroundRole::None:
        return {};
    case BackgroundRole::Code:
        return dark ? white(1.0, 0.09) : white(0.0, 0.065);
    case BackgroundRole::Highlight:
        // A translucent orange: visible on the default yellow note, where a yellow marker would vanish.
        return dark ? rgb(1.0, 0.78, 0.28, 0.32) : rgb(1.0, 0.55, 0.1, 0.33);
    }
    return {};
}

const QTextCharFormat &MarkdownFormatCache::charFormat(const CharStyle &style) const
{
    const quint32 key = style.key();
    auto it = m_charFormats.constFind(key);
    if (it != m_charFormats.constEnd())
        return *it;

    // Only what differs from the document's default font (the body font) is set: Qt merges and compares these
    // formats property by property every time it lays a paragraph out, so fewer properties lay out faster.
    QTextCharFormat format;
    const QFont &font = m_fonts[size_t(style.font)];
    if (style.hidden) {
        // Same size as the visible text so that a line of nothing but hidden markers keeps most of a line's height;
        // the hidden font's metrics are smaller than any text face's, so it never makes a line taller. Normal
        // weight and no slant: synthetic bold or italic could give its glyphs an advance.
        const QFont hidden = HiddenFont::font(font.pointSizeF());
        format.setFontFamilies(hidden.families());
        format.setFontStyleStrategy(hidden.styleStrategy());
        format.setFontPointSize(hidden.pointSizeF());
        format.setFontWeight(QFont::Normal);
        format.setFontItalic(false);
    } else {
        if (style.font == FontRole::Code)
            format.setFontFamilies(font.families());
        if (style.font != FontRole::Body) {
            format.setFontPointSize(font.pointSizeF());
            format.setFontWeight(font.weight());
        }
        if (style.bold)
            format.setFontWeight(QFont::Bold);
        if (style.italic)
            format.setFontItalic(true);
    }
    format.setForeground(color(style.color));
    if (style.background != BackgroundRole::None)
        format.setBackground(background(style.background));
    if (style.strike)
        format.setFontStrikeOut(true);
    if (style.underline)
        format.setFontUnderline(true);
    return *m_charFormats.insert(key, format);
}

QTextBlockFormat MarkdownFormatCache::blockFormat(const BlockStyle &style, qreal listIndent) const
{
    QTextBlockFormat format;
    format.setLineHeight(lineSpacingPoints * m_pixelsPerPoint, QTextBlockFormat::LineDistanceHeight);
    if (style.headingLevel > 0) {
        format.setTopMargin(m_theme.baseSize * 0.4 * m_pixelsPerPoint);
        format.setBottomMargin(m_theme.baseSize * 0.15 * m_pixelsPerPoint);
    }
    if (style.listPrefixLength > 0 && listIndent > 0) {
        format.setLeftMargin(listIndent);
        format.setTextIndent(-listIndent);
    }
    return format;
}

qreal MarkdownFormatCache::prefixWidth(QStringView line, const ParagraphStyle &style, qreal tabStop) const
{
    const qsizetype prefixEnd = qMin(style.block.listPrefixLength, line.size());
    qreal x = 0;
    for (const StyleRun &run : style.runs) {
        if (run.start >= prefixEnd)
            break;
        const QFontMetricsF &metrics = m_metrics[size_t(run.style.font)];
        const qsizetype end = qMin(run.start + run.length, prefixEnd);
        qsizetype pieceStart = run.start;
        for (qsizetype i = run.start; i <= end; ++i) {
            if (i < end && line[i] != u'\t')
                continue;
            x += metrics.horizontalAdvance(line.mid(pieceStart, i - pieceStart).toString());
            if (i < end && tabStop > 0)
                x = (std::floor(x / tabStop) + 1) * tabStop;
            pieceStart = i + 1;
        }
    }
    return x;
}

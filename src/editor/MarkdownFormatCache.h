#pragma once

#include "editor/MarkdownStyler.h"
#include "editor/Theme.h"

#include <QColor>
#include <QFont>
#include <QFontMetricsF>
#include <QHash>
#include <QTextBlockFormat>
#include <QTextCharFormat>

#include <array>
#include <memory>
#include <vector>

// The fonts, colours and formats of one theme: what the style roles of MarkdownStyler look like on screen. Character
// formats are built once per style and shared, so that paragraphs that look alike share format objects and comparing
// them is cheap.
class MarkdownFormatCache {
public:
    explicit MarkdownFormatCache(const Theme &theme = {});

    // The cache of this theme on the current screen, shared by every editor in that look: a note window's editor
    // would otherwise keep its own copy of the same fonts and formats.
    static std::shared_ptr<const MarkdownFormatCache> shared(const Theme &theme);

    const Theme &theme() const { return m_theme; }

    QFont font(MarkdownStyler::FontRole role) const;
    QColor color(MarkdownStyler::ColorRole role) const;
    QColor background(MarkdownStyler::BackgroundRole role) const;

    // The character format of a style, built on first use.
    const QTextCharFormat &charFormat(const MarkdownStyler::CharStyle &style) const;

    // The paragraph format: line spacing for all, spacing around headings, a hanging indent of listIndent pixels
    // for list items.
    QTextBlockFormat blockFormat(const MarkdownStyler::BlockStyle &style, qreal listIndent) const;

    // The width of a list item's prefix (the first listPrefixLength characters of line) in the fonts its runs are
    // drawn in; tabs advance to the next multiple of tabStop.
    qreal prefixWidth(QStringView line, const MarkdownStyler::ParagraphStyle &style, qreal tabStop) const;

    // Screen pixels per typographic point: paragraph spacing is given in points, formats take pixels.
    qreal pixelsPerPoint() const { return m_pixelsPerPoint; }

    // Extra space between lines, in points.
    static constexpr qreal lineSpacingPoints = 1.5;

private:
    Theme m_theme;
    qreal m_pixelsPerPoint = 96.0 / 72.0;
    std::array<QFont, 8> m_fonts;
    std::vector<QFontMetricsF> m_metrics; // one per font role
    mutable QHash<quint32, QTextCharFormat> m_charFormats;
};

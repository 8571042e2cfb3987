#pragma once

#include <limits>

// The stretch of one paragraph that gets its character formats.
//
// Qt lays a paragraph out as a whole after every keystroke in it, and shapes one run of glyphs per format range: a
// 100,000-character paragraph dense with Markdown markers has some 30,000 ranges, and laying them out costs five
// times what the bare text costs. Past a certain length, a paragraph therefore gets formats only around the part the
// editor shows, with a margin on either side that covers typing and a little scrolling; the editor reports what it
// shows and the window moves along before anything outside it is painted. Everything on screen is styled as usual.
// Text outside the window wraps as unstyled text, so when the window moves, lines in view can re-wrap; the editor
// keeps the first shown character where it was.
struct FormatWindow {
    // Paragraphs shorter than this are styled whole.
    static constexpr int longParagraph = 12000;
    // Characters styled beyond what is shown, on each side.
    static constexpr int margin = 2000;

    int start = 0;
    int end = std::numeric_limits<int>::max();

    // The whole paragraph.
    static FormatWindow whole() { return {}; }
    // The window for a paragraph of length characters when the editor shows its characters from..to (relative to
    // the paragraph's start; outside it when the paragraph is not shown, and then the window takes the paragraph's
    // end nearest to what is shown).
    static FormatWindow around(int length, int from, int to);

    // Does the window hold every character from..to of a paragraph of length characters (clamped to it)?
    bool covers(int length, int from, int to) const;
    bool intersects(int runStart, int runLength) const { return runStart < end && runStart + runLength > start; }

    friend bool operator==(const FormatWindow &, const FormatWindow &) = default;
};

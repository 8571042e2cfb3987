#pragma once

#include <QString>

#include <optional>

// What the note window tells its editor about the look of the text. Every editor size derives from baseSize (the
// body font size in points); darkMode picks the dark value of every editor colour.
struct Theme {
    double baseSize = 12;
    std::optional<QString> fontName; // a font family; absent means the system font
    bool darkMode = false;

    friend bool operator==(const Theme &, const Theme &) = default;
};

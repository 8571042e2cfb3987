#pragma once

#include <QString>
#include <QtGlobal>

// A note's window properties as kept in its file's property line. A plain value: copied on assignment and
// compared field by field (the colour as text, so "#fbf4a6" and "#FBF4A6" differ).
struct NoteMetadata {
    double x = 120;
    double y = 120; // bottom edge, measured upwards from the bottom of the primary screen
    double width = 270;
    double height = 260;
    qint64 z = 0;
    QString color = QStringLiteral("#FBF4A6");
    double fontSize = 12;
    bool rolledUp = false;
    bool floatOnTop = false;
    bool hidden = false;
    bool adopt = false;
    bool isPrompt = false;

    friend bool operator==(const NoteMetadata &, const NoteMetadata &) = default;
};

namespace NoteLimits {
inline constexpr double coordinateLimit = 100000;
inline constexpr double minWidth = 140;
inline constexpr double minHeight = 60;
inline constexpr double maxDimension = 20000;
inline constexpr qint64 zLimit = 1000000000;
inline constexpr double minFontSize = 8;
inline constexpr double maxFontSize = 48;
} // namespace NoteLimits

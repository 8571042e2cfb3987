#pragma once

#include "notes/NoteMetadata.h"

#include <QPointF>
#include <QRectF>
#include <QString>

class Settings;

// Where a new note goes and how it looks: the cascade of placements inside the screen's visible frame, and the
// style taken either from the last note the user styled or from the fixed values chosen in the settings.
namespace NewNoteDefaults {

struct Style {
    QString color;
    bool floatOnTop = false;
    double fontSize = 12;
    double width = 270;
    double height = 260;

    friend bool operator==(const Style &, const Style &) = default;
};

// Used when there is no screen to ask (a console, no display): the visible frame at 0, 0 of 1440 by 900.
inline constexpr QRectF fallbackVisibleFrame {0, 0, 1440, 900};

// The bottom-left corner of the index-th new note inside the visible frame, both bottom-up: ten notes step down and
// to the right, then a new diagonal starts 44 points right and 34 points lower; after forty the pattern repeats.
QPointF cascadePosition(const QRectF &visibleFrame, int index);

// The remembered style of the last styled note, each value checked and clamped.
Style rememberedStyle(const Settings &settings);
// The fixed style chosen in the settings.
Style fixedStyle(const Settings &settings);
// The style a new note gets under the current settings.
Style newNoteStyle(const Settings &settings);

void applyStyle(const Style &style, NoteMetadata &meta);
void rememberStyle(Settings &settings, const NoteMetadata &meta);

} // namespace NewNoteDefaults

#pragma once

#include <QColor>
#include <QImage>
#include <QString>
#include <QtGlobal>

#include <array>
#include <optional>

// The eight preset note colours, their dark-mode display variants, and the colour helpers every part of the
// app uses to go between "#RRGGBB" text and colours. Files always keep the light (stored) hex; the dark
// variant exists only on screen.
namespace NotePalette {

struct Entry {
    const char *name;
    const char *hex;
};

// The names are shown in menus translated; the dark set has the same names.
inline constexpr std::array<Entry, 8> colors {{
    {QT_TRANSLATE_NOOP("NotePalette", "Pink"), "#FBD9E4"},
    {QT_TRANSLATE_NOOP("NotePalette", "Orange"), "#FBE3BF"},
    {QT_TRANSLATE_NOOP("NotePalette", "Yellow"), "#FBF4A6"},
    {QT_TRANSLATE_NOOP("NotePalette", "Green"), "#D4F2C2"},
    {QT_TRANSLATE_NOOP("NotePalette", "Blue"), "#CDE8F9"},
    {QT_TRANSLATE_NOOP("NotePalette", "Purple"), "#E6DBFB"},
    {QT_TRANSLATE_NOOP("NotePalette", "Gray"), "#EBEBE7"},
    {QT_TRANSLATE_NOOP("NotePalette", "White"), "#FFFFFF"},
}};

inline constexpr std::array<Entry, 8> darkColors {{
    {"Pink", "#4A2B36"},
    {"Orange", "#4A3A24"},
    {"Yellow", "#46411F"},
    {"Green", "#2B4226"},
    {"Blue", "#21384A"},
    {"Purple", "#362F4B"},
    {"Gray", "#333333"},
    {"White", "#1C1C1E"},
}};

// Where any hex fails to parse, this is used instead.
inline constexpr const char *fallbackHex = "#FBF4A6";
// A prompt note is always painted White, whatever its stored colour.
inline constexpr const char *promptHex = "#FFFFFF";
// Below this luminance a note gets light (white) text and icons.
inline constexpr double lightForegroundBelow = 0.45;

// Trim white space and line breaks, drop one leading "#", then exactly six hex digits; anything else: nothing.
std::optional<QColor> colorFromHexString(const QString &text);
// "#RRGGBB" in upper case; "#FBF4A6" for a colour that is not a valid sRGB colour.
QString hexString(const QColor &color);
// The plain weighted sum of the gamma-encoded sRGB components (deliberately not linearised).
double relativeLuminance(const QColor &color);

QString displayHex(const QString &hex, bool darkMode);
QColor displayColor(const QString &hex, bool darkMode);
bool isPreset(const QString &hex);

// The hex a note is painted from: White for prompt notes, else its stored colour.
QString sourceHex(const QString &storedHex, bool isPrompt);
bool usesLightForeground(const QColor &displayColor);
// A linear blend of each component towards black: c × (1 − fraction).
QColor blendedTowardsBlack(const QColor &color, double fraction);

// A 14 × 14 point swatch: a rounded square (radius 3, inset 1) in the colour with a faint 0.5-point outline.
// Pass the display hex so that swatches follow dark mode.
QImage swatch(const QString &hex, qreal devicePixelRatio = 1.0);

} // namespace NotePalette

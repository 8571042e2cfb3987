#include "store/NewNoteDefaults.h"

#include "core/Settings.h"
#include "notes/NotePalette.h"

#include <algorithm>

namespace NewNoteDefaults {

namespace {

constexpr int cascadeSteps = 10;
constexpr int cascadeColumns = 4;
constexpr double stepOffset = 28;
constexpr double columnShiftX = 44;
constexpr double columnShiftY = 34;
constexpr double leftMargin = 80;
constexpr double topMargin = 110;
constexpr double cascadeHeight = 260;

double clampedOr(const Settings &settings, const char *key, double fallback, double low, double high)
{
    const std::optional<double> stored = settings.optionalDouble(key);
    return stored ? std::clamp(*stored, low, high) : fallback;
}

} // namespace

QPointF cascadePosition(const QRectF &visibleFrame, int index)
{
    const int step = index % cascadeSteps;
    const int column = (index / cascadeSteps) % cascadeColumns;
    const double offset = step * stepOffset;
    // The frame is bottom-up, so its top edge is at y + height.
    const double top = visibleFrame.y() + visibleFrame.height();
    return {visibleFrame.x() + leftMargin + offset + column * columnShiftX,
        top - topMargin - cascadeHeight - offset - column * columnShiftY};
}

Style rememberedStyle(const Settings &settings)
{
    Style style;
    const std::optional<QString> color = settings.stringValue(SettingsKey::defaultNoteColor);
    style.color
        = color && NotePalette::colorFromHexString(*color) ? *color : QString::fromLatin1(NotePalette::fallbackHex);
    style.floatOnTop = settings.boolValue(SettingsKey::defaultNoteFloat);
    style.fontSize
        = clampedOr(settings, SettingsKey::defaultNoteFontSize, 12, NoteLimits::minFontSize, NoteLimits::maxFontSize);
    style.width
        = clampedOr(settings, SettingsKey::defaultNoteWidth, 270, NoteLimits::minWidth, NoteLimits::maxDimension);
    style.height
        = clampedOr(settings, SettingsKey::defaultNoteHeight, 260, NoteLimits::minHeight, NoteLimits::maxDimension);
    return style;
}

Style fixedStyle(const Settings &settings)
{
    Style style;
    style.color = settings.fixedColor();
    style.floatOnTop = settings.boolValue(SettingsKey::fixedNoteFloat);
    // An unset or unreadable number reads as 0 and is then clamped up, as the platform's number getter would.
    style.fontSize = std::clamp(
        settings.doubleValue(SettingsKey::fixedNoteFontSize), NoteLimits::minFontSize, NoteLimits::maxFontSize);
    style.width
        = std::clamp(settings.doubleValue(SettingsKey::fixedNoteWidth), NoteLimits::minWidth, NoteLimits::maxDimension);
    style.height = std::clamp(
        settings.doubleValue(SettingsKey::fixedNoteHeight), NoteLimits::minHeight, NoteLimits::maxDimension);
    return style;
}

Style newNoteStyle(const Settings &settings)
{
    return settings.boolValue(SettingsKey::usePreviousNoteSettings) ? rememberedStyle(settings) : fixedStyle(settings);
}

void applyStyle(const Style &style, NoteMetadata &meta)
{
    meta.color = style.color;
    meta.floatOnTop = style.floatOnTop;
    meta.fontSize = style.fontSize;
    meta.width = style.width;
    meta.height = style.height;
}

void rememberStyle(Settings &settings, const NoteMetadata &meta)
{
    settings.setValue(SettingsKey::defaultNoteColor, meta.color);
    settings.setValue(SettingsKey::defaultNoteFloat, meta.floatOnTop);
    settings.setValue(SettingsKey::defaultNoteFontSize, meta.fontSize);
    settings.setValue(SettingsKey::defaultNoteWidth, meta.width);
    settings.setValue(SettingsKey::defaultNoteHeight, meta.height);
}

} // namespace NewNoteDefaults

#include "notes/NotePalette.h"

#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace NotePalette {

std::optional<QColor> colorFromHexString(const QString &text)
{
    // Spaces and tabs only: a line break or another kind of blank inside a property value is not a colour.
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && (text.at(begin) == QLatin1Char(' ') || text.at(begin) == QLatin1Char('\t')))
        ++begin;
    while (end > begin && (text.at(end - 1) == QLatin1Char(' ') || text.at(end - 1) == QLatin1Char('\t')))
        --end;
    QString digits = text.mid(begin, end - begin);
    if (digits.startsWith(QLatin1Char('#')))
        digits.remove(0, 1);
    if (digits.size() != 6)
        return std::nullopt;
    uint value = 0;
    for (QChar c : std::as_const(digits)) {
        const char16_t u = c.unicode();
        int nibble = -1;
        if (u >= u'0' && u <= u'9')
            nibble = u - u'0';
        else if (u >= u'a' && u <= u'f')
            nibble = u - u'a' + 10;
        else if (u >= u'A' && u <= u'F')
            nibble = u - u'A' + 10;
        if (nibble < 0)
            return std::nullopt;
        value = value * 16 + uint(nibble);
    }
    return QColor::fromRgbF(
        float(((value >> 16) & 255) / 255.0), float(((value >> 8) & 255) / 255.0), float((value & 255) / 255.0), 1.0f);
}

QString hexString(const QColor &color)
{
    if (!color.isValid())
        return QString::fromLatin1(fallbackHex);
    const QColor rgb = color.toRgb();
    const double components[] = {rgb.redF(), rgb.greenF(), rgb.blueF()};
    QString out = QStringLiteral("#");
    for (double c : components) {
        if (!std::isfinite(c))
            return QString::fromLatin1(fallbackHex);
        const int byte = std::clamp(int(std::lround(c * 255.0)), 0, 255);
        out += QStringLiteral("%1").arg(byte, 2, 16, QLatin1Char('0')).toUpper();
    }
    return out;
}

double relativeLuminance(const QColor &color)
{
    if (!color.isValid())
        return 1.0;
    const QColor rgb = color.toRgb();
    return 0.2126 * rgb.redF() + 0.7152 * rgb.greenF() + 0.0722 * rgb.blueF();
}

QString displayHex(const QString &hex, bool darkMode)
{
    if (!darkMode)
        return hex;
    for (size_t i = 0; i < colors.size(); ++i) {
        if (hex.compare(QLatin1String(colors[i].hex), Qt::CaseInsensitive) == 0)
            return QString::fromLatin1(darkColors[i].hex);
    }
    return hex;
}

QColor displayColor(const QString &hex, bool darkMode)
{
    if (auto color = colorFromHexString(displayHex(hex, darkMode)))
        return *color;
    return *colorFromHexString(QString::fromLatin1(fallbackHex));
}

bool isPreset(const QString &hex)
{
    for (const Entry &entry : colors) {
        if (hex.compare(QLatin1String(entry.hex), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

QString sourceHex(const QString &storedHex, bool isPrompt)
{
    return isPrompt ? QString::fromLatin1(promptHex) : storedHex;
}

bool usesLightForeground(const QColor &displayColor)
{
    return relativeLuminance(displayColor) < lightForegroundBelow;
}

QColor blendedTowardsBlack(const QColor &color, double fraction)
{
    const QColor rgb = color.toRgb();
    const double keep = 1.0 - fraction;
    return QColor::fromRgbF(float(rgb.redF() * keep), float(rgb.greenF() * keep), float(rgb.blueF() * keep), 1.0f);
}

QImage swatch(const QString &hex, qreal devicePixelRatio)
{
    const int pixels = int(std::ceil(14 * devicePixelRatio));
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    image.fill(Qt::transparent);

    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath path;
    path.addRoundedRect(QRectF(1, 1, 12, 12), 3, 3);
    const QColor fill = colorFromHexString(hex).value_or(*colorFromHexString(QString::fromLatin1(fallbackHex)));
    painter.fillPath(path, fill);
    painter.setPen(QPen(QColor::fromRgbF(0, 0, 0, 0.25f), 0.5));
    painter.drawPath(path);
    return image;
}

} // namespace NotePalette

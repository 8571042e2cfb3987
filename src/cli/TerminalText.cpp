#include "cli/TerminalText.h"

namespace TerminalText {

namespace {

bool obeyedByTerminals(char16_t c)
{
    return c < 0x20 || (c >= 0x7f && c <= 0x9f) || (c >= 0x202a && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069);
}

} // namespace

QString escaped(QStringView text)
{
    QString out;
    out.reserve(text.size());
    for (const QChar c : text) {
        const char16_t code = c.unicode();
        if (!obeyedByTerminals(code))
            out += c;
        else if (code <= 0xff)
            out += QStringLiteral("\\x%1").arg(uint(code), 2, 16, QLatin1Char('0'));
        else
            out += QStringLiteral("\\u%1").arg(uint(code), 4, 16, QLatin1Char('0'));
    }
    return out;
}

} // namespace TerminalText

#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

// Tells from the bytes of a UTF-8 file, without decoding them, that its text cannot hold a query, found as
// QStringView::indexOf(query, 0, Qt::CaseInsensitive) finds it. Decoding a note to UTF-16 and searching that costs
// several times more than looking at its bytes, and most notes of a search hold nothing.
//
// Only ASCII queries are decided on bytes: an ASCII unit of the query matches ASCII letters of either case and, for
// 'k' and 's', the two other characters that case folding brings to them (the Kelvin sign and the long s). Every
// other character of the text is several bytes none of which is ASCII, so it can never be part of a match.
class RawTextFilter {
public:
    // Nothing when the query cannot be decided on bytes: blank, with a character beyond ASCII, or with a line
    // break (CR LF becomes LF when a note is read, so the bytes and the text differ around line breaks).
    static std::optional<RawTextFilter> forQuery(QStringView query);

    // False only when the text that these bytes decode to, as valid UTF-8, surely does not hold the query.
    bool mayHold(QByteArrayView bytes) const;

private:
    explicit RawTextFilter(QByteArray folded);

    QByteArray m_folded; // the query in ASCII lower case
    bool m_kelvin = false; // the query has a 'k': the Kelvin sign folds to it
    bool m_longS = false; // the query has an 's': the long s folds to it
};

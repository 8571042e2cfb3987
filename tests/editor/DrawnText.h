#pragma once

#include <QString>

// Texts with the selection drawn in, so that an expectation reads like the editor looks: "|" for the caret, or "["
// ... "]" around a selection (the first "[" and the last "]" of the text).
namespace DrawnText {

struct Selection {
    QString text;
    qsizetype anchor = 0;
    qsizetype position = 0;
};

inline Selection read(const QString &drawn)
{
    Selection s {drawn};
    if (const qsizetype caret = s.text.indexOf(u'|'); caret >= 0) {
        s.text.remove(caret, 1);
        s.anchor = s.position = caret;
        return s;
    }
    s.anchor = s.text.indexOf(u'[');
    s.text.remove(s.anchor, 1);
    s.position = s.text.lastIndexOf(u']');
    s.text.remove(s.position, 1);
    return s;
}

inline QString draw(QString text, qsizetype anchor, qsizetype position)
{
    if (anchor == position)
        return text.insert(anchor, u'|');
    return text.insert(qMax(anchor, position), u']').insert(qMin(anchor, position), u'[');
}

} // namespace DrawnText

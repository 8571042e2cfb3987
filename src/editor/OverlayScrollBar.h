#pragma once

#include <QScrollBar>

class QAbstractScrollArea;

// A thin vertical scroll bar laid over the right edge of a scroll area instead of beside it, shown only while there is
// something to scroll. The area's own scroll bar stays off and keeps the range and position; this one mirrors it.
//
// Why: a scroll bar beside the text takes width from it, so the moment a note grows past its window every paragraph
// is wrapped and laid out again at the narrower width (pasting a megabyte paid for its whole layout twice), and the
// lines re-wrap under the caret while the user types. Over the text, the bar changes nothing of the layout.
class OverlayScrollBar : public QScrollBar {
    Q_OBJECT

public:
    // Installs itself on `area` (which owns it) and turns the area's own vertical scroll bar off.
    explicit OverlayScrollBar(QAbstractScrollArea *area);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void followRange(int minimum, int maximum);
    void place();

    QAbstractScrollArea *m_area; // the parent, which owns this bar
};

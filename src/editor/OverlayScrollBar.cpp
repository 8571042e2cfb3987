#include "editor/OverlayScrollBar.h"

#include "editor/ThinScrollBarStyle.h"

#include <QAbstractScrollArea>
#include <QEvent>
#include <QStyle>

OverlayScrollBar::OverlayScrollBar(QAbstractScrollArea *area)
    : QScrollBar(Qt::Vertical, area)
    , m_area(area)
{
    // Thin and quiet, in the note's own colours: one style shared by every note's bar (a style sheet per bar would
    // parse and keep its own rules, some 60 KB each).
    setStyle(ThinScrollBarStyle::shared());
    setCursor(Qt::ArrowCursor);

    QScrollBar *inner = area->verticalScrollBar();
    area->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(inner, &QScrollBar::rangeChanged, this, &OverlayScrollBar::followRange);
    connect(inner, &QScrollBar::valueChanged, this, &QScrollBar::setValue);
    connect(this, &QScrollBar::valueChanged, inner, &QScrollBar::setValue);
    followRange(inner->minimum(), inner->maximum());
    setValue(inner->value());
    area->installEventFilter(this);
    place();
}

bool OverlayScrollBar::eventFilter(QObject *watched, QEvent *event)
{
    // Compared as the QObject it is: the area also sends events while it is being destroyed, when it is no scroll
    // area any more.
    if (watched == parent() && (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest))
        place();
    return QScrollBar::eventFilter(watched, event);
}

void OverlayScrollBar::followRange(int minimum, int maximum)
{
    const QScrollBar *inner = m_area->verticalScrollBar();
    setPageStep(inner->pageStep());
    setSingleStep(inner->singleStep());
    setRange(minimum, maximum);
    setVisible(maximum > minimum);
}

// Over the right edge of the viewport: the frame, if any, stays visible around it.
void OverlayScrollBar::place()
{
    setPageStep(m_area->verticalScrollBar()->pageStep());
    const QRect viewport = m_area->viewport()->geometry();
    const int width = style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, this);
    setGeometry(viewport.right() + 1 - width, viewport.top(), width, viewport.height());
    raise();
}

#include "editor/OverlayScrollBar.h"

#include <QAbstractScrollArea>
#include <QEvent>

OverlayScrollBar::OverlayScrollBar(QAbstractScrollArea *area)
    : QScrollBar(Qt::Vertical, area)
    , m_area(area)
{
    // Quiet and in the note's own colours: no arrows, no trough, a translucent handle.
    setStyleSheet(QStringLiteral(
        "QScrollBar:vertical { background: transparent; width: %1px; margin: 2px 2px 2px 0; }"
        "QScrollBar::handle:vertical { background: rgba(0, 0, 0, 60); border-radius: 3px; min-height: 24px; }"
        "QScrollBar::add-line:vertical, QScrollBar::sub-line:vertical { height: 0; }"
        "QScrollBar::add-page:vertical, QScrollBar::sub-page:vertical { background: transparent; }")
                      .arg(thickness));
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
    if (watched == m_area && (event->type() == QEvent::Resize || event->type() == QEvent::LayoutRequest))
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
    setGeometry(viewport.right() + 1 - thickness, viewport.top(), thickness, viewport.height());
    raise();
}

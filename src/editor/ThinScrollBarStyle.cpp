#include "editor/ThinScrollBarStyle.h"

#include <QPainter>
#include <QStyleOptionSlider>

namespace {

constexpr int barWidth = 8;
constexpr int inset = 2; // clear of the window's top, bottom and right edges
constexpr int minimumHandle = 24;
constexpr qreal handleRadius = 3;

// Where the handle stands in the groove for the slider's range, value and page.
QRect handleRect(const QStyleOptionSlider &slider, const QRect &groove)
{
    const bool vertical = slider.orientation == Qt::Vertical;
    const int length = vertical ? groove.height() : groove.width();
    const qint64 range = qint64(slider.maximum) - slider.minimum;
    int handle = length;
    if (range > 0)
        handle = std::max(minimumHandle, int(qint64(length) * slider.pageStep / (range + slider.pageStep)));
    handle = std::min(handle, length);
    const int offset = QStyle::sliderPositionFromValue(
        slider.minimum, slider.maximum, slider.sliderPosition, length - handle, slider.upsideDown);
    return vertical ? QRect(groove.left(), groove.top() + offset, groove.width(), handle)
                    : QRect(groove.left() + offset, groove.top(), handle, groove.height());
}

} // namespace

ThinScrollBarStyle *ThinScrollBarStyle::shared()
{
    // Never deleted: a widget must not outlive its style, and nothing orders the end of the last note window
    // against the end of the application.
    static ThinScrollBarStyle *const style = new ThinScrollBarStyle;
    return style;
}

int ThinScrollBarStyle::pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const
{
    if (metric == PM_ScrollBarExtent)
        return barWidth + inset;
    if (metric == PM_ScrollBarSliderMin)
        return minimumHandle;
    return QProxyStyle::pixelMetric(metric, option, widget);
}

QRect ThinScrollBarStyle::subControlRect(
    ComplexControl control, const QStyleOptionComplex *option, SubControl subControl, const QWidget *widget) const
{
    const auto *slider = qstyleoption_cast<const QStyleOptionSlider *>(option);
    if (control != CC_ScrollBar || !slider)
        return QProxyStyle::subControlRect(control, option, subControl, widget);
    const bool vertical = slider->orientation == Qt::Vertical;
    const QRect groove
        = vertical ? option->rect.adjusted(0, inset, -inset, -inset) : option->rect.adjusted(inset, 0, -inset, -inset);
    const QRect handle = handleRect(*slider, groove);
    switch (subControl) {
    case SC_ScrollBarGroove:
        return groove;
    case SC_ScrollBarSlider:
        return handle;
    case SC_ScrollBarSubPage:
        return vertical ? QRect(groove.topLeft(), QPoint(groove.right(), handle.top() - 1))
                        : QRect(groove.topLeft(), QPoint(handle.left() - 1, groove.bottom()));
    case SC_ScrollBarAddPage:
        return vertical ? QRect(QPoint(groove.left(), handle.bottom() + 1), groove.bottomRight())
                        : QRect(QPoint(handle.right() + 1, groove.top()), groove.bottomRight());
    default:
        return {}; // no arrow buttons
    }
}

void ThinScrollBarStyle::drawComplexControl(
    ComplexControl control, const QStyleOptionComplex *option, QPainter *painter, const QWidget *widget) const
{
    const auto *slider = qstyleoption_cast<const QStyleOptionSlider *>(option);
    if (control != CC_ScrollBar || !slider) {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
        return;
    }
    if (slider->maximum <= slider->minimum)
        return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(QColor(0, 0, 0, 60));
    painter->drawRoundedRect(subControlRect(control, option, SC_ScrollBarSlider, widget), handleRadius, handleRadius);
    painter->restore();
}

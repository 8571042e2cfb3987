#pragma once

#include <QRectF>

#include <optional>

// Note files keep window frames bottom-up: `x` is the left edge and `y` the bottom edge, measured upwards from the
// bottom of the primary screen, so a workspace moves between machines and platforms unchanged. Qt measures
// downwards from the top of the primary screen. This is the one place that converts between the two.
namespace ScreenCoordinates {

// What is needed of the screens to place a new note: the primary screen's available geometry (without panels and
// docks) and the primary screen's full height, both in Qt's top-down coordinates.
struct VisibleArea {
    QRectF availableGeometry;
    qreal primaryScreenHeight = 0;
};

// Qt's top-down rectangle to the file's bottom-up one: y = primaryHeight - top - height.
QRectF toFileRect(const QRectF &qtRect, qreal primaryScreenHeight);
// The file's bottom-up rectangle to Qt's top-down one: top = primaryHeight - y - height.
QRectF toQtRect(const QRectF &fileRect, qreal primaryScreenHeight);

// The visible area's frame in the file's convention.
QRectF visibleFrame(const VisibleArea &area);

// The primary screen of a running QGuiApplication; nothing in a console process or without screens.
std::optional<VisibleArea> primaryVisibleArea();

} // namespace ScreenCoordinates

#include "notes/ScreenCoordinates.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>

namespace ScreenCoordinates {

QRectF toFileRect(const QRectF &qtRect, qreal primaryScreenHeight)
{
    return {qtRect.x(), primaryScreenHeight - qtRect.y() - qtRect.height(), qtRect.width(), qtRect.height()};
}

QRectF toQtRect(const QRectF &fileRect, qreal primaryScreenHeight)
{
    return {fileRect.x(), primaryScreenHeight - fileRect.y() - fileRect.height(), fileRect.width(), fileRect.height()};
}

QRectF visibleFrame(const VisibleArea &area)
{
    return toFileRect(area.availableGeometry, area.primaryScreenHeight);
}

std::optional<VisibleArea> primaryVisibleArea()
{
    // The command line runs on a plain QCoreApplication; asking for screens there would be meaningless.
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return std::nullopt;
    const QScreen *primary = QGuiApplication::primaryScreen();
    if (!primary)
        return std::nullopt;
    return VisibleArea {QRectF(primary->availableGeometry()), qreal(primary->geometry().height())};
}

} // namespace ScreenCoordinates

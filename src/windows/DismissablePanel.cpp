#include "windows/DismissablePanel.h"

#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QScreen>

namespace {

// The window manager's frame round a panel that has not been shown yet, whose frame is still unknown: enough for a
// title bar and thin borders on the common desktops.
const QMargins expectedFrame(4, 32, 4, 4);

} // namespace

DismissablePanel::DismissablePanel(QWidget *parent)
    : QWidget(parent, Qt::Tool | Qt::WindowStaysOnTopHint)
{
}

void DismissablePanel::present()
{
    if (QScreen *screen = originScreen())
        placeOn(*screen);
    show();
    raise();
    activateWindow();
}

QScreen *DismissablePanel::originScreen() const
{
    const QWidget *active = QApplication::activeWindow();
    if (active && active != this)
        return active->screen();
    if (QScreen *pointer = QGuiApplication::screenAt(QCursor::pos()))
        return pointer;
    return QGuiApplication::primaryScreen();
}

void DismissablePanel::placeOn(const QScreen &screen)
{
    const QRect area = screen.availableGeometry();
    const bool shownBefore = testAttribute(Qt::WA_Moved) || frameGeometry() != geometry();
    const QMargins frame = shownBefore
        ? QMargins(geometry().left() - frameGeometry().left(), geometry().top() - frameGeometry().top(),
            frameGeometry().right() - geometry().right(), frameGeometry().bottom() - geometry().bottom())
        : expectedFrame;
    const QRect outer = geometry().marginsAdded(frame);
    if (shownBefore && area.contains(outer))
        return;
    // Centred on that screen, and never larger than it.
    const QRect room = area.marginsRemoved(frame);
    resize(size().boundedTo(room.size()));
    QRect placed(QPoint(), size());
    placed.moveCenter(room.center());
    move(placed.topLeft());
}

void DismissablePanel::cancel()
{
    hide();
}

void DismissablePanel::keyPressEvent(QKeyEvent *event)
{
    // The panel's children (query field, tables, buttons) leave Escape unhandled, so it arrives here from any of
    // them.
    if (event->matches(QKeySequence::Cancel)) {
        cancel();
        event->accept();
        return;
    }
    QWidget::keyPressEvent(event);
}

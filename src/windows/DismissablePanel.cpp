#include "windows/DismissablePanel.h"

#include <QKeyEvent>

DismissablePanel::DismissablePanel(QWidget *parent)
    : QWidget(parent, Qt::Tool | Qt::WindowStaysOnTopHint)
{
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

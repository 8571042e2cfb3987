#include "windows/ReturnActivatingTableView.h"

#include <QKeyEvent>
#include <QMetaMethod>

ReturnActivatingTableView::ReturnActivatingTableView(QWidget *parent)
    : QTableView(parent)
{
    setTabKeyNavigation(false);
}

QModelIndex ReturnActivatingTableView::activationIndex() const
{
    const QItemSelectionModel *selection = selectionModel();
    if (!selection)
        return {};
    const QModelIndex current = currentIndex();
    if (current.isValid() && selection->isRowSelected(current.row(), current.parent()))
        return current.siblingAtColumn(0);
    const QModelIndexList rows = selection->selectedRows();
    return rows.isEmpty() ? QModelIndex() : rows.first();
}

void ReturnActivatingTableView::keyPressEvent(QKeyEvent *event)
{
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    // The keypad's Enter carries KeypadModifier; any other modifier makes it a different command.
    const bool plain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (isReturn && plain && isSignalConnected(QMetaMethod::fromSignal(&QAbstractItemView::doubleClicked))) {
        if (const QModelIndex index = activationIndex(); index.isValid()) {
            Q_EMIT doubleClicked(index);
            event->accept();
            return;
        }
    }
    QTableView::keyPressEvent(event);
}

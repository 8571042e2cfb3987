#pragma once

#include <QTableView>

// A table in which Return and the keypad's Enter act on the selected row exactly as a double-click on it would:
// they emit doubleClicked() for that row, provided something listens to it. Every other key, and Return with no
// row selected or no listener, takes the table's ordinary course, except Tab: it leaves the table for the next
// control rather than walking its cells, which the arrow keys already do.
class ReturnActivatingTableView : public QTableView {
    Q_OBJECT
public:
    explicit ReturnActivatingTableView(QWidget *parent = nullptr);

    // The row Return acts on: the current row when it is selected, else the first selected row; invalid when no
    // row is selected.
    QModelIndex activationIndex() const;

protected:
    void keyPressEvent(QKeyEvent *event) override;
};

#pragma once

#include <QWidget>

// A small floating panel (a tool window that stays above the notes) that Escape puts away, wherever the keyboard
// focus is inside it. Putting it away only hides it: the panel is made once and shown again as it was.
class DismissablePanel : public QWidget {
    Q_OBJECT
public:
    explicit DismissablePanel(QWidget *parent = nullptr);

    // Hides the panel, as Escape does.
    void cancel();

protected:
    void keyPressEvent(QKeyEvent *event) override;
};

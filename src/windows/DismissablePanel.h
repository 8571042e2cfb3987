#pragma once

#include <QWidget>

class QScreen;

// A small floating panel (a tool window that stays above the notes) that Escape puts away, wherever the keyboard
// focus is inside it. Putting it away only hides it: the panel is made once and shown again as it was.
class DismissablePanel : public QWidget {
    Q_OBJECT
public:
    explicit DismissablePanel(QWidget *parent = nullptr);

    // Shows the panel in front, with the keyboard, wholly on the screen of the window the user came from (the
    // active note), or else of the pointer. It stays where the user last left it if that lies wholly on that screen.
    void present();
    // Hides the panel, as Escape does.
    void cancel();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    QScreen *originScreen() const;
    void placeOn(const QScreen &screen);
};

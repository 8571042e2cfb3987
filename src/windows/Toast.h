#pragma once

#include <QLabel>
#include <QPointer>
#include <QTimer>

// A short message that appears over a note (or over the middle of the screen when there is none) and fades by
// itself. It never takes the keyboard focus, so typing carries on while it shows.
class Toast : public QLabel {
    Q_OBJECT

public:
    static constexpr double defaultSeconds = 3.5;

    // Shows `text` for `seconds` over `over`'s window, replacing a toast already showing there.
    static Toast *show(const QString &text, double seconds = defaultSeconds, QWidget *over = nullptr);
    // The toast currently on screen, if any (tests and the shell use it to know what the user was told).
    static Toast *current();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    explicit Toast(const QString &text);
    void placeOver(QWidget *over);

    QTimer m_timer;
    static QPointer<Toast> s_current;
};

#pragma once

#include <QLabel>
#include <QPixmap>
#include <QPointer>
#include <QTimer>

// A short message that appears over a note (or over the middle of the screen when there is none) and fades by
// itself. It never takes the keyboard focus, so typing carries on while it shows. Its box fits the message: a short
// one stays on one line, a long one wraps between words, and a word too long for a line (a file name) loses its
// middle, so that both its start and its extension stay readable. text() keeps the whole message.
class Toast : public QLabel {
    Q_OBJECT

public:
    static constexpr double defaultSeconds = 3.5;
    static constexpr int maximumWidth = 360;

    // Shows `text` for `seconds` over `over`'s window, replacing a toast already showing there.
    static Toast *show(const QString &text, double seconds = defaultSeconds, QWidget *over = nullptr);
    // The toast currently on screen, if any (tests and the shell use it to know what the user was told).
    static Toast *current();
    // The message as drawn: broken into lines, over-long words shortened in the middle.
    QString shownText() const { return m_shownText; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    explicit Toast(const QString &text);
    void fitToText();
    void placeOver(QWidget *over);
    void takeBackground();

    QString m_shownText;
    QRect m_textRect;
    QPixmap m_background;
    QTimer m_timer;
    static QPointer<Toast> s_current;
};

#pragma once

#include <QColor>
#include <QPoint>
#include <QWidget>

class QLineEdit;
class TitleBarButton;

// The note's own 20-pixel title bar: drag to move the window, double-click to roll it up, double-click the name to
// rename in place, and three buttons (close on the left; pin and roll on the right) that act on the first click.
class TitleBarView : public QWidget {
    Q_OBJECT

public:
    static constexpr int barHeight = 20;
    // How far the mouse must travel with the button down before a press on the bar becomes a move.
    static constexpr int moveThreshold = 3;

    explicit TitleBarView(QWidget *parent = nullptr);
    ~TitleBarView() override;

    void setTitle(const QString &title);
    QString title() const { return m_title; }
    void setBarColor(const QColor &color);
    QColor barColor() const { return m_barColor; }
    void setUsesLightForeground(bool light);
    bool usesLightForeground() const { return m_lightForeground; }
    void setRolledUp(bool rolled);
    void setPinned(bool pinned);
    void setShowsPromptBadge(bool shows);
    bool showsPromptBadge() const { return m_promptBadge; }
    void setCloseToolTip(const QString &tip);

    // Shows an editor over the name, preset to `name` and selected. Return commits, Escape or leaving cancels.
    void beginTitleEditing(const QString &name);
    bool isEditingTitle() const;

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

Q_SIGNALS:
    void rollClicked();
    void pinClicked();
    void closeClicked();
    void renameRequested();
    void renameCommitted(const QString &newTitle);
    void titleEditingEnded();
    void contextMenuRequested(const QPoint &globalPosition);
    // A press on the bar became a move of the window (by the window manager, or by hand without one).
    void moveStarted();

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QColor foregroundColor() const;
    QRect titleRect() const;
    void layoutChildren();
    void refreshButtons();
    void finishTitleEditing(bool commit);
    void styleTitleEditor();

    QString m_title;
    QColor m_barColor = QColor(0xE2, 0xDC, 0x95);
    bool m_lightForeground = false;
    bool m_rolledUp = false;
    bool m_pinned = false;
    bool m_promptBadge = false;
    TitleBarButton *m_closeButton;
    TitleBarButton *m_pinButton;
    TitleBarButton *m_rollButton;
    QLineEdit *m_titleEditor = nullptr;
    // Manual move, for when the window system cannot move the window itself (no window manager).
    bool m_dragPending = false;
    bool m_manualMove = false;
    QPoint m_pressPosition;
    QPoint m_pressOffset;
};

#pragma once

#include <QColor>
#include <QElapsedTimer>
#include <QPoint>
#include <QRect>
#include <QWidget>

class TitleBarView;

// The borderless top-level window of one note: painted in the note's colour with a faint hairline border, a title
// bar at the top and a body below. It can be resized from its left, right and bottom edges and bottom corners,
// by the window manager where there is one and by hand where there is not, and it reports moves and resizes.
class NoteWindow : public QWidget {
    Q_OBJECT

public:
    static constexpr int resizeMargin = 5;

    explicit NoteWindow(QWidget *parent = nullptr);

    TitleBarView *titleBar() const { return m_titleBar; }
    // The area below the title bar; the editor goes in here.
    QWidget *body() const { return m_body; }

    // The hairline edge round the note (the title bar draws its part).
    static QColor edgeColor();
    void setBackgroundColor(const QColor &color);
    QColor backgroundColor() const { return m_background; }
    void setFloating(bool floating);
    bool isFloating() const;
    // In tray mode notes stay out of the taskbar (a tool window); otherwise each note is an ordinary window.
    void setToolWindow(bool tool);
    bool isLiveResizing() const { return m_liveResize; }
    // Whether the window has been exposed (mapped and visible) since it was last shown: before that, the window
    // manager is still placing it, and the moves it reports are its doing, not the user's.
    bool exposedSinceShown() const { return m_exposedSinceShown; }
    // Milliseconds since the window was exposed; -1 before that.
    qint64 msSinceExposed() const { return m_exposedSinceShown ? m_sinceExposed.elapsed() : -1; }
    // The user began to move (by the title bar) or resize (by an edge) the window, and nothing else has placed it
    // since: the moves that follow are theirs, however soon they come.
    bool userIsPlacing() const { return m_userIsPlacing; }
    void clearUserPlacing() { m_userIsPlacing = false; }

Q_SIGNALS:
    void moved();
    void resized();
    void liveResizeEnded();
    void activated();
    void closing();
    // The user closed the window through the window manager (Alt+F4, a taskbar's Close): the note stays, hidden.
    void closeRequestedByUser();

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    void placeChildren();
    void changeFlags(Qt::WindowType flag, bool on);
    void recreateWithFlags(Qt::WindowFlags flags);
    Qt::Edges edgesAt(const QPoint &position) const;
    void updateCursor(Qt::Edges edges);
    void beginLiveResize();
    void endLiveResize();
    static bool windowManagerResizeEnded(const QEvent &event);

    TitleBarView *m_titleBar;
    QWidget *m_body;
    QColor m_background = QColor(0xFB, 0xF4, 0xA6);
    // Manual resize, for when the window system cannot resize the window itself.
    Qt::Edges m_resizeEdges;
    QRect m_resizeStartGeometry;
    QPoint m_resizeStartMouse;
    bool m_liveResize = false;
    bool m_exposedSinceShown = false;
    QElapsedTimer m_sinceExposed;
    bool m_userIsPlacing = false;
};

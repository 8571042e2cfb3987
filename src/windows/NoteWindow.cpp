#include "windows/NoteWindow.h"

#include "windows/TitleBarView.h"

#include <QCloseEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QVBoxLayout>
#include <QWindow>

NoteWindow::NoteWindow(QWidget *parent)
    : QWidget(parent, Qt::Window | Qt::FramelessWindowHint)
    , m_titleBar(new TitleBarView(this))
    , m_body(new QWidget(this))
{
    setAttribute(Qt::WA_QuitOnClose, false);
    // Qt shows tool tips only over the active window; the title bar's buttons explain themselves on every note.
    setAttribute(Qt::WA_AlwaysShowToolTips);
    // paintEvent covers every pixel in the note's colour: Qt need not fill the window with the palette's first.
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMouseTracking(true);
    // The title bar and the body are placed by hand (placeChildren): two nested layouts and a frame widget between
    // them cost every note a few kilobytes for what is two rectangles.
    auto *bodyLayout = new QVBoxLayout(m_body);
    bodyLayout->setContentsMargins(0, 0, 0, 0);
    bodyLayout->setSpacing(0);

    connect(m_titleBar, &TitleBarView::moveStarted, this, [this] { m_userIsPlacing = true; });
}

void NoteWindow::setBackgroundColor(const QColor &color)
{
    if (m_background == color)
        return;
    m_background = color;
    update();
}

void NoteWindow::changeFlags(Qt::WindowType flag, bool on)
{
    if (windowFlags().testFlag(flag) == on)
        return;
    Qt::WindowFlags flags = windowFlags();
    flags.setFlag(flag, on);
    // QWidget::setWindowFlags re-creates the native window: it disappears for a moment, the window manager hands the
    // keyboard to another note, and what the user types next lands there. The stacking hint is a state the window
    // system changes on a mapped window, so the native window is told directly and the widget only takes note.
    if (flag == Qt::WindowStaysOnTopHint && windowHandle()) {
        overrideWindowFlags(flags);
        windowHandle()->setFlags(flags);
        return;
    }
    recreateWithFlags(flags);
}

void NoteWindow::recreateWithFlags(Qt::WindowFlags flags)
{
    // The window type (tool window or not) is fixed when the window is mapped: it takes a new native window, shown
    // again where it was, and given the keyboard back if it had it.
    const bool wasVisible = isVisible();
    const bool wasActive = isActiveWindow();
    const bool showsWithoutActivating = testAttribute(Qt::WA_ShowWithoutActivating);
    const QRect geometry = this->geometry();
    setWindowFlags(flags);
    setGeometry(geometry);
    if (!wasVisible)
        return;
    setAttribute(Qt::WA_ShowWithoutActivating, !wasActive);
    show();
    setAttribute(Qt::WA_ShowWithoutActivating, showsWithoutActivating);
    if (wasActive)
        activateWindow();
}

void NoteWindow::setFloating(bool floating)
{
    changeFlags(Qt::WindowStaysOnTopHint, floating);
}

void NoteWindow::setToolWindow(bool tool)
{
    // Qt::Tool is a window type (it includes Qt::Window): the type is swapped as a whole, never cleared bit by bit.
    if (windowFlags().testFlag(Qt::Tool) == tool)
        return;
    recreateWithFlags((windowFlags() & ~Qt::WindowType_Mask) | (tool ? Qt::Tool : Qt::Window));
}

bool NoteWindow::isFloating() const
{
    return windowFlags().testFlag(Qt::WindowStaysOnTopHint);
}

void NoteWindow::showEvent(QShowEvent *event)
{
    m_exposedSinceShown = false;
    // The native window exists once shown; its expose event says when the window system has mapped it. (A paint
    // event would not do: a rolled-up note is covered by its title bar, and the window itself is never painted.)
    if (QWindow *native = windowHandle())
        native->installEventFilter(this);
    QWidget::showEvent(event);
}

bool NoteWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != windowHandle())
        return QWidget::eventFilter(watched, event);
    if (event->type() == QEvent::Expose && windowHandle()->isExposed() && !m_exposedSinceShown) {
        m_exposedSinceShown = true;
        m_sinceExposed.start();
    }
    if (m_liveResize && !m_resizeEdges && windowManagerResizeEnded(*event))
        endLiveResize();
    return QWidget::eventFilter(watched, event);
}

bool NoteWindow::windowManagerResizeEnded(const QEvent &event)
{
    // A window-manager resize holds the pointer until the button goes up; then Qt hands the window the release
    // (over whichever of its widgets lies under the pointer), or, when the pointer ended up outside, the next motion
    // comes with no button down. A pause with the button held ends nothing.
    if (event.type() == QEvent::MouseButtonRelease)
        return true;
    return event.type() == QEvent::MouseMove && static_cast<const QMouseEvent &>(event).buttons() == Qt::NoButton;
}

void NoteWindow::endLiveResize()
{
    m_liveResize = false;
    Q_EMIT liveResizeEnded();
}

QColor NoteWindow::edgeColor()
{
    return QColor::fromRgbF(0, 0, 0, 0.15f);
}

void NoteWindow::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.fillRect(rect(), m_background);
    // A hairline border (half a point) of black at 15 %, so that a white note on a white page still has an edge.
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(edgeColor(), 1.0));
    p.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
}

void NoteWindow::moveEvent(QMoveEvent *event)
{
    QWidget::moveEvent(event);
    Q_EMIT moved();
}

void NoteWindow::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    placeChildren();
    Q_EMIT resized();
}

void NoteWindow::placeChildren()
{
    // The title bar spans the full width. The body keeps clear of the window's side and bottom edges, so that those
    // few pixels belong to the window, which turns them into resize handles.
    m_titleBar->setGeometry(0, 0, width(), TitleBarView::barHeight);
    const int inset = resizeMargin - 1;
    m_body->setGeometry(inset, TitleBarView::barHeight, std::max(0, width() - 2 * inset),
        std::max(0, height() - TitleBarView::barHeight - inset));
}

void NoteWindow::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        Q_EMIT activated();
}

void NoteWindow::closeEvent(QCloseEvent *event)
{
    // A note has no close button of its own (its × deletes, after asking). Closing it from outside must not lose
    // track of it: the window is refused here and the note hidden instead, where the hidden-notes panel finds it.
    if (event->spontaneous()) {
        event->ignore();
        Q_EMIT closeRequestedByUser();
        return;
    }
    Q_EMIT closing();
    QWidget::closeEvent(event);
}

Qt::Edges NoteWindow::edgesAt(const QPoint &position) const
{
    Qt::Edges edges;
    if (position.y() < TitleBarView::barHeight)
        return edges;
    if (position.x() < resizeMargin)
        edges |= Qt::LeftEdge;
    if (position.x() >= width() - resizeMargin)
        edges |= Qt::RightEdge;
    if (position.y() >= height() - resizeMargin)
        edges |= Qt::BottomEdge;
    return edges;
}

void NoteWindow::updateCursor(Qt::Edges edges)
{
    if (edges == (Qt::LeftEdge | Qt::BottomEdge))
        setCursor(Qt::SizeBDiagCursor);
    else if (edges == (Qt::RightEdge | Qt::BottomEdge))
        setCursor(Qt::SizeFDiagCursor);
    else if (edges & (Qt::LeftEdge | Qt::RightEdge))
        setCursor(Qt::SizeHorCursor);
    else if (edges & Qt::BottomEdge)
        setCursor(Qt::SizeVerCursor);
    else
        unsetCursor();
}

void NoteWindow::beginLiveResize()
{
    m_userIsPlacing = true;
    m_liveResize = true;
}

void NoteWindow::mousePressEvent(QMouseEvent *event)
{
    const Qt::Edges edges = edgesAt(event->position().toPoint());
    if (event->button() != Qt::LeftButton || !edges) {
        QWidget::mousePressEvent(event);
        return;
    }
    beginLiveResize();
    QWindow *handle = windowHandle();
    if (handle && handle->startSystemResize(edges))
        return;
    m_resizeEdges = edges;
    m_resizeStartGeometry = geometry();
    m_resizeStartMouse = event->globalPosition().toPoint();
}

void NoteWindow::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_resizeEdges) {
        updateCursor(edgesAt(event->position().toPoint()));
        QWidget::mouseMoveEvent(event);
        return;
    }
    const QPoint delta = event->globalPosition().toPoint() - m_resizeStartMouse;
    QRect g = m_resizeStartGeometry;
    const QSize minimum = minimumSize().expandedTo(QSize(1, 1));
    const QSize maximum = maximumSize();
    if (m_resizeEdges & Qt::RightEdge)
        g.setWidth(std::clamp(g.width() + delta.x(), minimum.width(), maximum.width()));
    if (m_resizeEdges & Qt::LeftEdge) {
        const int w = std::clamp(g.width() - delta.x(), minimum.width(), maximum.width());
        g.setLeft(g.right() + 1 - w);
    }
    if (m_resizeEdges & Qt::BottomEdge)
        g.setHeight(std::clamp(g.height() + delta.y(), minimum.height(), maximum.height()));
    setGeometry(g);
}

void NoteWindow::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_resizeEdges) {
        m_resizeEdges = {};
        endLiveResize();
    }
    QWidget::mouseReleaseEvent(event);
}

void NoteWindow::leaveEvent(QEvent *event)
{
    if (!m_resizeEdges)
        unsetCursor();
    QWidget::leaveEvent(event);
}

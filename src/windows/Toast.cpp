#include "windows/Toast.h"

#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>

QPointer<Toast> Toast::s_current;

Toast::Toast(const QString &text)
    : QLabel(text, nullptr, Qt::ToolTip | Qt::FramelessWindowHint)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setWordWrap(true);
    setAlignment(Qt::AlignCenter);
    setMargin(10);
    QFont f = font();
    f.setPixelSize(13);
    setFont(f);
    QPalette pal = palette();
    pal.setColor(QPalette::WindowText, Qt::white);
    setPalette(pal);
    setMaximumWidth(360);
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &QWidget::close);
}

Toast *Toast::show(const QString &text, double seconds, QWidget *over)
{
    if (s_current)
        s_current->close();
    auto *toast = new Toast(text);
    toast->adjustSize();
    toast->placeOver(over);
    // Rounded by a mask, not by translucency: without a compositor translucent corners paint black.
    QPainterPath path;
    path.addRoundedRect(QRectF(toast->rect()), 8, 8);
    toast->setMask(QRegion(path.toFillPolygon().toPolygon()));
    toast->QWidget::show();
    toast->m_timer.start(int(seconds * 1000));
    s_current = toast;
    return toast;
}

Toast *Toast::current()
{
    return s_current.data();
}

void Toast::placeOver(QWidget *over)
{
    QRect area;
    if (over && over->window()->isVisible()) {
        area = over->window()->frameGeometry();
    } else if (QScreen *screen = QGuiApplication::primaryScreen()) {
        area = screen->availableGeometry();
    } else {
        area = QRect(0, 0, 1440, 900);
    }
    QRect box(QPoint(), size());
    box.moveCenter(area.center());
    if (over && over->window()->isVisible() && area.height() > box.height() * 3)
        box.moveBottom(area.bottom() - area.height() / 6); // low on the note, clear of its first lines
    move(box.topLeft());
}

void Toast::paintEvent(QPaintEvent *event)
{
    QPainter p(this);
    p.fillRect(rect(), QColor(40, 40, 40, 235));
    QLabel::paintEvent(event);
}

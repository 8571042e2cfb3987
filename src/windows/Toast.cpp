#include "windows/Toast.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

namespace {

constexpr int padding = 10;
constexpr qreal cornerRadius = 8;
constexpr int textFlags = Qt::AlignCenter;

// The message broken into lines between its words; a word wider than a line (a long file name) is cut in its
// middle and stands on a line of its own, never broken further.
QStringList wrappedLines(const QString &text, const QFontMetrics &metrics, int lineWidth)
{
    QStringList lines;
    QString line;
    for (QString word : text.split(QLatin1Char(' '))) {
        if (metrics.horizontalAdvance(word) > lineWidth)
            word = metrics.elidedText(word, Qt::ElideMiddle, lineWidth);
        const QString longer = line.isEmpty() ? word : line + QLatin1Char(' ') + word;
        if (!line.isEmpty() && metrics.horizontalAdvance(longer) > lineWidth) {
            lines.append(line);
            line = word;
        } else {
            line = longer;
        }
    }
    lines.append(line);
    return lines;
}

} // namespace

QPointer<Toast> Toast::s_current;

Toast::Toast(const QString &text)
    : QLabel(text, nullptr, Qt::ToolTip | Qt::FramelessWindowHint)
{
    setAttribute(Qt::WA_DeleteOnClose);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    QFont f = font();
    f.setPixelSize(13);
    setFont(f);
    fitToText();
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &QWidget::close);
}

void Toast::fitToText()
{
    const QFontMetrics metrics(font());
    const QStringList lines = wrappedLines(text(), metrics, maximumWidth - 2 * padding);
    m_shownText = lines.join(QLatin1Char('\n'));
    int width = 0;
    for (const QString &line : lines)
        width = std::max(width, metrics.horizontalAdvance(line));
    m_textRect = QRect(padding, padding, width + 1, int(lines.size()) * metrics.lineSpacing());
    setFixedSize(m_textRect.width() + 2 * padding, m_textRect.height() + 2 * padding);
}

Toast *Toast::show(const QString &text, double seconds, QWidget *over)
{
    if (s_current)
        s_current->close();
    auto *toast = new Toast(text);
    toast->placeOver(over);
    toast->takeBackground();
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

void Toast::takeBackground()
{
    // The corners outside the rounded box must show what lies behind the toast. Without a compositor (a plain X11
    // desktop) a translucent window paints them black, and a window mask cuts them with jagged steps: the screen
    // behind is copied instead and painted under the box. Where the screen cannot be read (Wayland), compositing
    // is always there and the window is translucent.
    QScreen *screen = QGuiApplication::screenAt(geometry().center());
    if (screen && QGuiApplication::platformName() == QLatin1String("xcb")) {
        const QRect local = geometry().translated(-screen->geometry().topLeft());
        m_background = screen->grabWindow(0, local.x(), local.y(), local.width(), local.height());
    }
    setAttribute(Qt::WA_TranslucentBackground, m_background.isNull());
}

void Toast::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    if (!m_background.isNull())
        p.drawPixmap(rect(), m_background);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(40, 40, 40, 235));
    p.drawRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
    p.setPen(Qt::white);
    p.setFont(font());
    p.drawText(m_textRect, textFlags, m_shownText);
}

#include "windows/TitleBarView.h"

#include "windows/NoteWindow.h"

#include <QAbstractButton>
#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QPainterPath>
#include <QPixmapCache>
#include <QWindow>

// A borderless button drawn as a small glyph in the bar's foreground colour. Qt delivers the first click to an
// inactive window's widgets, so these act at once even when the note is not the active window.
class TitleBarButton : public QAbstractButton {
public:
    enum class Glyph { Close, RollUp, RollDown, Pin, PinFilled };

    TitleBarButton(Glyph glyph, QWidget *parent)
        : QAbstractButton(parent)
        , m_glyph(glyph)
    {
        setFixedSize(TitleBarView::barHeight, TitleBarView::barHeight);
        setCursor(Qt::ArrowCursor);
        // Reachable from the keyboard (Ctrl+Tab from the editor, then Tab) and pressed with Space.
        setFocusPolicy(Qt::TabFocus);
    }

    // What the button does, as its tooltip and as the name screen readers say.
    void setLabel(const QString &label)
    {
        setToolTip(label);
        setAccessibleName(label);
    }

    void setGlyph(Glyph glyph)
    {
        m_glyph = glyph;
        update();
    }
    void setColor(const QColor &color)
    {
        m_color = color;
        update();
    }

protected:
    void enterEvent(QEnterEvent *) override { update(); }
    void focusInEvent(QFocusEvent *event) override
    {
        QAbstractButton::focusInEvent(event);
        update();
    }
    void focusOutEvent(QFocusEvent *event) override
    {
        QAbstractButton::focusOutEvent(event);
        update();
    }
    void leaveEvent(QEvent *) override { update(); }

    // The glyph comes from a picture drawn once for every button that looks the same. Stroking the glyphs' curves
    // straight into a note's window grows buffers that the window's paint engine keeps for its lifetime: about ten
    // kilobytes per note, for a few pictures shared by all.
    void paintEvent(QPaintEvent *) override
    {
        const bool lit = underMouse() || hasFocus();
        const qreal ratio = devicePixelRatioF();
        const QString key = QStringLiteral("tackpad-titlebar-%1-%2-%3-%4-%5x%6@%7")
                                .arg(int(m_glyph))
                                .arg(quint64(m_color.rgba64()))
                                .arg(int(lit))
                                .arg(int(hasFocus()))
                                .arg(width())
                                .arg(height())
                                .arg(ratio);
        QPixmap picture;
        if (!QPixmapCache::find(key, &picture)) {
            QImage image(size() * ratio, QImage::Format_ARGB32_Premultiplied);
            image.setDevicePixelRatio(ratio);
            image.fill(Qt::transparent);
            QPainter p(&image);
            drawGlyph(p, lit);
            p.end();
            picture = QPixmap::fromImage(image);
            QPixmapCache::insert(key, picture);
        }
        QPainter(this).drawPixmap(0, 0, picture);
    }

    void drawGlyph(QPainter &p, bool lit) const
    {
        p.setRenderHint(QPainter::Antialiasing);
        QColor color = m_color;
        color.setAlphaF(lit ? 1.0f : 0.6f);
        const QPointF c = QRectF(rect()).center();
        if (lit) {
            QColor halo = m_color;
            halo.setAlphaF(0.12f);
            // A ring marks the button that has the keyboard.
            p.setPen(hasFocus() ? QPen(color, 1.0) : QPen(Qt::NoPen));
            p.setBrush(halo);
            p.drawEllipse(c, 8, 8);
        }
        QPen pen(color, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
        p.setPen(pen);
        p.setBrush(Qt::NoBrush);
        switch (m_glyph) {
        case Glyph::Close:
            p.drawLine(c + QPointF(-3.5, -3.5), c + QPointF(3.5, 3.5));
            p.drawLine(c + QPointF(-3.5, 3.5), c + QPointF(3.5, -3.5));
            break;
        case Glyph::RollUp:
        case Glyph::RollDown: {
            const double dir = m_glyph == Glyph::RollUp ? -1 : 1;
            QPolygonF triangle {c + QPointF(-4, -2 * dir), c + QPointF(4, -2 * dir), c + QPointF(0, 3 * dir)};
            p.setBrush(color);
            p.drawPolygon(triangle);
            break;
        }
        case Glyph::Pin:
        case Glyph::PinFilled:
            drawPushPin(p, c, m_glyph == Glyph::PinFilled ? color : QColor(Qt::transparent));
            break;
        }
    }

    // A push pin seen from the side and leaning right: a flat cap, a waisted body, a wide collar and the needle.
    static void drawPushPin(QPainter &p, QPointF centre, const QColor &fill)
    {
        QPainterPath head;
        head.addPolygon(QPolygonF {{-3.5, -6.5}, {3.5, -6.5}, {3.5, -5}, {2, -5}, {2, -1.5}, {4.5, 0.5}, {-4.5, 0.5},
            {-2, -1.5}, {-2, -5}, {-3.5, -5}});
        head.closeSubpath();
        p.save();
        p.translate(centre);
        p.rotate(40);
        p.setBrush(fill);
        p.drawPath(head);
        p.drawLine(QPointF(0, 0.5), QPointF(0, 6.5));
        p.restore();
    }

private:
    Glyph m_glyph;
    QColor m_color = Qt::black;
};

TitleBarView::TitleBarView(QWidget *parent)
    : QWidget(parent)
    , m_closeButton(new TitleBarButton(TitleBarButton::Glyph::Close, this))
    , m_pinButton(new TitleBarButton(TitleBarButton::Glyph::Pin, this))
    , m_rollButton(new TitleBarButton(TitleBarButton::Glyph::RollUp, this))
{
    setFixedHeight(barHeight);
    setAttribute(Qt::WA_OpaquePaintEvent);
    m_closeButton->setLabel(tr("Delete note"));
    m_pinButton->setLabel(tr("Float on Top"));
    // Checked while the note floats: screen readers say so.
    m_pinButton->setCheckable(true);
    connect(m_closeButton, &QAbstractButton::clicked, this, &TitleBarView::closeClicked);
    connect(m_pinButton, &QAbstractButton::clicked, this, &TitleBarView::pinClicked);
    connect(m_rollButton, &QAbstractButton::clicked, this, &TitleBarView::rollClicked);
    refreshButtons();
}

TitleBarView::~TitleBarView() = default;

QSize TitleBarView::sizeHint() const
{
    return {140, barHeight};
}

QSize TitleBarView::minimumSizeHint() const
{
    return {3 * barHeight, barHeight};
}

void TitleBarView::setTitle(const QString &title)
{
    if (m_title == title)
        return;
    m_title = title;
    update();
}

void TitleBarView::setBarColor(const QColor &color)
{
    m_barColor = color;
    styleTitleEditor();
    update();
}

void TitleBarView::setUsesLightForeground(bool light)
{
    m_lightForeground = light;
    refreshButtons();
    styleTitleEditor();
    update();
}

void TitleBarView::setRolledUp(bool rolled)
{
    m_rolledUp = rolled;
    refreshButtons();
}

void TitleBarView::setPinned(bool pinned)
{
    m_pinned = pinned;
    refreshButtons();
}

void TitleBarView::setShowsPromptBadge(bool shows)
{
    m_promptBadge = shows;
    update();
}

void TitleBarView::setCloseToolTip(const QString &tip)
{
    m_closeButton->setLabel(tip);
}

QColor TitleBarView::foregroundColor() const
{
    return m_lightForeground ? QColor::fromRgbF(1, 1, 1, 0.92f) : QColor::fromRgbF(0.12f, 0.12f, 0.12f, 0.9f);
}

void TitleBarView::refreshButtons()
{
    const QColor fg = foregroundColor();
    for (TitleBarButton *button : {m_closeButton, m_pinButton, m_rollButton})
        button->setColor(fg);
    m_rollButton->setGlyph(m_rolledUp ? TitleBarButton::Glyph::RollDown : TitleBarButton::Glyph::RollUp);
    m_rollButton->setLabel(m_rolledUp ? tr("Unroll") : tr("Roll Up"));
    m_pinButton->setGlyph(m_pinned ? TitleBarButton::Glyph::PinFilled : TitleBarButton::Glyph::Pin);
    m_pinButton->setChecked(m_pinned);
}

namespace {

QColor mixed(const QColor &from, const QColor &to, float amount)
{
    return QColor::fromRgbF(from.redF() + (to.redF() - from.redF()) * amount,
        from.greenF() + (to.greenF() - from.greenF()) * amount, from.blueF() + (to.blueF() - from.blueF()) * amount);
}

QString cssColor(const QColor &color)
{
    return QStringLiteral("rgba(%1, %2, %3, %4)")
        .arg(color.red())
        .arg(color.green())
        .arg(color.blue())
        .arg(color.alphaF());
}

} // namespace

void TitleBarView::styleTitleEditor()
{
    if (!m_titleEditor)
        return;
    // The name field belongs to the note: a lighter shade of the bar (the note's body colour on light notes), the
    // bar's own text colour, and a selection in that text colour's tint, instead of the desktop's white box.
    const QColor text = foregroundColor();
    const QColor field = mixed(m_barColor, Qt::white, m_lightForeground ? 0.12f : 0.5f);
    QColor edge = text;
    edge.setAlphaF(0.35f);
    const QColor selection = mixed(field, text, 0.25f);
    m_titleEditor->setStyleSheet(QStringLiteral("QLineEdit { background: %1; color: %2; border: 1px solid %3; "
                                                "border-radius: 3px; padding: 0 3px; selection-background-color: %4; "
                                                "selection-color: %2; }")
                                     .arg(cssColor(field), cssColor(text), cssColor(edge), cssColor(selection)));
}

QRect TitleBarView::titleRect() const
{
    return rect().adjusted(barHeight + 4, 0, -(2 * barHeight + 4), 0);
}

void TitleBarView::layoutChildren()
{
    m_closeButton->move(2, 0);
    m_rollButton->move(width() - barHeight - 2, 0);
    m_pinButton->move(width() - 2 * barHeight - 2, 0);
    if (m_titleEditor)
        m_titleEditor->setGeometry(titleRect().adjusted(0, 2, 0, -2));
}

void TitleBarView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    layoutChildren();
}

void TitleBarView::paintEvent(QPaintEvent *)
{
    QPainter p(this);
    p.fillRect(rect(), m_barColor);
    p.setRenderHint(QPainter::Antialiasing);
    p.setRenderHint(QPainter::TextAntialiasing);
    // The bar covers the top of the window's hairline edge: it draws that part itself (and, rolled up, the bottom
    // too), so that the edge runs round the whole note and a rolled-up note on a light page still has one.
    p.setPen(QPen(NoteWindow::edgeColor(), 1.0));
    p.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, m_rolledUp ? -0.5 : 1.0));

    QFont font = this->font();
    font.setPixelSize(11);
    font.setWeight(QFont::DemiBold);
    p.setFont(font);
    const QColor fg = foregroundColor();

    QRect textArea = titleRect();
    QString badge;
    if (m_promptBadge) {
        // A small "AI" pill before the name marks a prompt note.
        badge = QStringLiteral("AI");
        QFont badgeFont = font;
        badgeFont.setPixelSize(9);
        const QFontMetrics bm(badgeFont);
        const int badgeWidth = bm.horizontalAdvance(badge) + 8;
        const QFontMetrics fm(font);
        // A little slack: eliding compares against the exact advance, which rounding can nudge over by a pixel.
        const int nameWidth = std::min(fm.horizontalAdvance(m_title) + 2, textArea.width() - badgeWidth - 4);
        const int total = badgeWidth + 4 + std::max(0, nameWidth);
        const QRect pill(textArea.center().x() - total / 2, 4, badgeWidth, barHeight - 8);
        QColor pillColor = fg;
        pillColor.setAlphaF(0.18f);
        p.setPen(Qt::NoPen);
        p.setBrush(pillColor);
        p.drawRoundedRect(pill, 3, 3);
        p.setPen(fg);
        p.setFont(badgeFont);
        p.drawText(pill, Qt::AlignCenter, badge);
        p.setFont(font);
        textArea.setLeft(pill.right() + 4);
        textArea.setWidth(std::max(0, nameWidth));
    }
    if (m_titleEditor)
        return;
    p.setPen(fg);
    const QString elided = QFontMetrics(font).elidedText(m_title, Qt::ElideMiddle, textArea.width());
    p.drawText(textArea, (m_promptBadge ? Qt::AlignLeft : Qt::AlignHCenter) | Qt::AlignVCenter, elided);
}

void TitleBarView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_dragPending = true;
    m_manualMove = false;
    m_pressPosition = event->globalPosition().toPoint();
    m_pressOffset = m_pressPosition - window()->frameGeometry().topLeft();
}

void TitleBarView::mouseMoveEvent(QMouseEvent *event)
{
    if (!(event->buttons() & Qt::LeftButton)) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    const QPoint global = event->globalPosition().toPoint();
    if (m_dragPending && (global - m_pressPosition).manhattanLength() >= moveThreshold) {
        m_dragPending = false;
        // The move starts only once the mouse really moves: handing the pointer to the window manager on the
        // press itself would swallow the second click of a double-click. The window manager moves the window from
        // where it takes over, so the threshold is kept to a few pixels the user cannot see. Where the window manager
        // can move the window (also on Wayland, where a client may not place its own windows) it does; otherwise the
        // window follows the mouse by hand.
        QWindow *handle = window()->windowHandle();
        m_manualMove = !(handle && handle->startSystemMove());
        Q_EMIT moveStarted();
    }
    if (m_manualMove)
        window()->move(global - m_pressOffset);
}

void TitleBarView::mouseReleaseEvent(QMouseEvent *event)
{
    m_dragPending = false;
    m_manualMove = false;
    QWidget::mouseReleaseEvent(event);
}

void TitleBarView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    m_dragPending = false;
    m_manualMove = false;
    if (titleRect().contains(event->position().toPoint()) && !m_title.isEmpty()) {
        const int textWidth = QFontMetrics(font()).horizontalAdvance(m_title) + 24;
        const QRect nameArea(titleRect().center().x() - textWidth / 2, 0, textWidth, barHeight);
        if (nameArea.contains(event->position().toPoint())) {
            Q_EMIT renameRequested();
            return;
        }
    }
    Q_EMIT rollClicked();
}

void TitleBarView::contextMenuEvent(QContextMenuEvent *event)
{
    Q_EMIT contextMenuRequested(event->globalPos());
}

void TitleBarView::beginTitleEditing(const QString &name)
{
    if (!m_titleEditor) {
        m_titleEditor = new QLineEdit(this);
        m_titleEditor->setFrame(false);
        m_titleEditor->setAlignment(Qt::AlignCenter);
        QFont font = this->font();
        font.setPixelSize(11);
        m_titleEditor->setFont(font);
        m_titleEditor->installEventFilter(this);
        connect(m_titleEditor, &QLineEdit::returnPressed, this, [this] { finishTitleEditing(true); });
        styleTitleEditor();
    }
    m_titleEditor->setText(name);
    layoutChildren();
    m_titleEditor->show();
    m_titleEditor->setFocus(Qt::OtherFocusReason);
    m_titleEditor->selectAll();
    update();
}

bool TitleBarView::isEditingTitle() const
{
    return m_titleEditor != nullptr;
}

bool TitleBarView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_titleEditor) {
        if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Escape) {
            finishTitleEditing(false);
            return true;
        }
        if (event->type() == QEvent::FocusOut) {
            // Clicking elsewhere cancels, as Escape does: a rename happens only when the user confirms it.
            QMetaObject::invokeMethod(
                this, [this] { finishTitleEditing(false); }, Qt::QueuedConnection);
        }
    }
    return QWidget::eventFilter(watched, event);
}

void TitleBarView::finishTitleEditing(bool commit)
{
    if (!m_titleEditor)
        return;
    const QString text = m_titleEditor->text();
    QLineEdit *editor = m_titleEditor;
    m_titleEditor = nullptr;
    editor->removeEventFilter(this);
    editor->hide();
    editor->deleteLater();
    update();
    if (commit && text != m_title)
        Q_EMIT renameCommitted(text);
    Q_EMIT titleEditingEnded();
}

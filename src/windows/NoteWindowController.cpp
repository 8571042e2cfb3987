#include "windows/NoteWindowController.h"

#include "core/Alerts.h"
#include "editor/MarkdownTextView.h"
#include "notes/NotePalette.h"
#include "notes/ScreenCoordinates.h"
#include "store/NoteStore.h"
#include "windows/NoteColorPanel.h"
#include "windows/NoteMenu.h"
#include "windows/NoteWindow.h"
#include "windows/TitleBarView.h"

#include <QAbstractButton>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLayout>
#include <QMenu>
#include <QPropertyAnimation>
#include <QScreen>
#include <QShortcut>

namespace {

qreal primaryScreenHeight()
{
    const auto area = ScreenCoordinates::primaryVisibleArea();
    return area ? area->primaryScreenHeight : 900;
}

QPalette lightPalette(bool lightForeground)
{
    // Notes always look the same whatever the desktop theme: the note's colour decides, not the system's.
    QPalette palette;
    const QColor text = lightForeground ? QColor::fromRgbF(0.92f, 0.92f, 0.92f) : QColor::fromRgbF(0.12f, 0.12f, 0.12f);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, Qt::transparent);
    palette.setColor(QPalette::Window, Qt::transparent);
    palette.setColor(QPalette::Highlight, lightForeground ? QColor(90, 130, 200) : QColor(170, 200, 245));
    palette.setColor(QPalette::HighlightedText, text);
    return palette;
}

} // namespace

NoteWindowController::NoteWindowController(
    std::unique_ptr<Note> note, NoteStore &store, const QString &lastDiskContent, NoteWindowEnvironment environment)
    : NoteController(std::move(note), store, lastDiskContent)
    , m_environment(std::move(environment))
{
}

NoteWindowController::~NoteWindowController()
{
    onWindowClosing();
}

TitleBarView *NoteWindowController::titleBar() const
{
    return m_window ? m_window->titleBar() : nullptr;
}

// Everything but the text, which goes in once the window is shown (see showWindow).
void NoteWindowController::buildWindow()
{
    m_window = std::make_unique<NoteWindow>();
    m_window->setMinimumSize(int(minContentWidth), int(rolledHeight));
    m_textView = new MarkdownTextView(m_window->body());
    styleEditor();
    m_window->body()->layout()->addWidget(m_textView);
    m_textView->installEventFilter(this);
    m_textView->viewport()->installEventFilter(this);
    addMenuKeys();
    setWindowFrame(displayFrame());
    // Another screen layout may show the notes where they were saved (a second monitor back), or hide them: the
    // window is placed again from the note's own frame, which nothing here changes.
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &NoteWindowController::screensChanged);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &NoteWindowController::screensChanged);
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, &NoteWindowController::screensChanged);
    for (QScreen *screen : QGuiApplication::screens())
        connect(screen, &QScreen::availableGeometryChanged, this, &NoteWindowController::screensChanged);
    connectTitleBar();
    connectEditor();
    // The theme first, so that the text is styled once, in the note's own look.
    applyAppearance();
    applyRolledState(false);
}

// Shift+F10 opens the note's menu from the keyboard, as the Menu key does, at the caret.
void NoteWindowController::addMenuKeys()
{
    auto *menuKey = new QShortcut(QKeySequence(Qt::SHIFT | Qt::Key_F10), m_window.get());
    connect(menuKey, &QShortcut::activated, this, [this] {
        const QPoint caret = m_textView->cursorRect().center();
        QContextMenuEvent event(QContextMenuEvent::Keyboard, caret, m_textView->viewport()->mapToGlobal(caret));
        QCoreApplication::sendEvent(m_textView->viewport(), &event);
    });
}

void NoteWindowController::styleEditor()
{
    m_textView->setFrameShape(QFrame::NoFrame);
    m_textView->viewport()->setAutoFillBackground(false);
    m_textView->setAutoFillBackground(false);
    m_textView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_textView->document()->setDocumentMargin(6);
}

void NoteWindowController::screensChanged()
{
    if (m_closing)
        return;
    for (QScreen *screen : QGuiApplication::screens())
        connect(screen, &QScreen::availableGeometryChanged, this, &NoteWindowController::screensChanged,
            Qt::UniqueConnection);
    applyFrame();
}

void NoteWindowController::connectTitleBar()
{
    TitleBarView *bar = m_window->titleBar();
    connect(bar, &TitleBarView::rollClicked, this, &NoteWindowController::toggleRolled);
    connect(bar, &TitleBarView::pinClicked, this, &NoteWindowController::toggleFloat);
    connect(bar, &TitleBarView::closeClicked, this, &NoteWindowController::deleteNote);
    connect(bar, &TitleBarView::renameRequested, this, &NoteWindowController::renameNote);
    connect(bar, &TitleBarView::renameCommitted, this, [this](const QString &title) { store().rename(this, title); });
    connect(bar, &TitleBarView::titleEditingEnded, this, [this] {
        applyAppearance();
        if (!note().meta.rolledUp)
            focusEditor();
    });
    connect(bar, &TitleBarView::contextMenuRequested, this, [this](const QPoint &at) {
        auto *menu = new QMenu(m_window.get());
        populateContextMenu(menu);
        showContextMenu(at, menu);
    });

    connect(m_window.get(), &NoteWindow::moved, this, &NoteWindowController::frameChanged);
    connect(m_window.get(), &NoteWindow::resized, this, &NoteWindowController::onLiveResize);
    connect(m_window.get(), &NoteWindow::liveResizeEnded, this, [this] { titleBar()->setTitle(note().title()); });
    connect(m_window.get(), &NoteWindow::activated, this, [this] { store().bringToFront(this); });
    connect(m_window.get(), &NoteWindow::closing, this, &NoteWindowController::onWindowClosing);
    connect(m_window.get(), &NoteWindow::closeRequestedByUser, this, &NoteWindowController::hideNote);
}

void NoteWindowController::connectEditor()
{
    connect(m_textView, &MarkdownTextView::textEdited, this, [this] {
        note().body = m_textView->markdown();
        store().noteEdited(this);
    });
    connect(m_textView, &MarkdownTextView::linkActivated, this, &NoteWindowController::handleLink);
    m_textView->importAttachmentFile
        = [this](const QUrl &file) { return store().attachments().importFile(file.toLocalFile()); };
    m_textView->importAttachmentData = [this](const QByteArray &data, const QString &baseName) {
        return store().attachments().importData(data, baseName);
    };
}

// --- Geometry

QRectF NoteWindowController::frameFor(const NoteMetadata &meta)
{
    QRectF frame(meta.x, meta.y, std::max(meta.width, minContentWidth), std::max(meta.height, minContentHeight));
    if (meta.rolledUp) {
        frame.moveTop(meta.y + frame.height() - rolledHeight);
        frame.setHeight(rolledHeight);
    }
    return frame;
}

QRectF NoteWindowController::clampToVisible(
    const QRectF &rect, const QList<QRectF> &visibleFrames, const std::optional<QRectF> &mainFrame)
{
    std::optional<QRectF> chosen;
    for (const QRectF &frame : visibleFrames) {
        if (frame.intersects(rect)) {
            chosen = frame;
            break;
        }
    }
    if (!chosen)
        chosen = mainFrame;
    if (!chosen)
        return rect;
    // Bottom-up rectangles: QRectF's "top" is the smaller y, which here is the bottom edge.
    const QRectF &v = *chosen;
    QRectF r = rect;
    r.setWidth(std::min(r.width(), v.width()));
    r.setHeight(std::min(r.height(), v.height()));
    if (r.right() > v.right())
        r.moveLeft(v.right() - r.width());
    if (r.left() < v.left())
        r.moveLeft(v.left());
    if (r.bottom() > v.bottom())
        r.moveTop(v.bottom() - r.height());
    if (r.top() < v.top())
        r.moveTop(v.top());
    return r;
}

QRectF NoteWindowController::clampToVisible(const QRectF &rect)
{
    const qreal height = primaryScreenHeight();
    QList<QRectF> frames;
    for (QScreen *screen : QGuiApplication::screens())
        frames.append(ScreenCoordinates::toFileRect(screen->availableGeometry(), height));
    std::optional<QRectF> main;
    if (QScreen *primary = QGuiApplication::primaryScreen())
        main = ScreenCoordinates::toFileRect(primary->availableGeometry(), height);
    return clampToVisible(rect, frames, main);
}

bool NoteWindowController::platformReportsPositions()
{
    return !QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

void NoteWindowController::setWindowFrame(const QRectF &fileRect)
{
    if (!m_window)
        return;
    finishRollAnimation();
    const QRect qtRect = ScreenCoordinates::toQtRect(fileRect, primaryScreenHeight()).toAlignedRect();
    const bool wasSuppressed = m_suppressFrameCallbacks;
    m_suppressFrameCallbacks = true;
    placed(qtRect);
    m_window->setGeometry(qtRect);
    m_suppressFrameCallbacks = wasSuppressed;
}

// The note's frame as shown: moved aside when it would cover another note exactly, and kept on a visible screen.
// Neither correction is the user's doing, so neither is ever written to the file.
QRectF NoteWindowController::displayFrame() const
{
    return clampToVisible(frameFor(note().meta).translated(displayOffset()));
}

void NoteWindowController::placed(const QRect &geometry)
{
    m_window->clearUserPlacing();
    m_placedGeometry = geometry;
    if (m_window->isVisible())
        m_sincePlacement.start();
}

// A window manager places a window when it maps it (and may still adjust it right after), and may correct a
// geometry given to a visible window (the confirmation arrives asynchronously, after the screens changed for
// instance). Reports in either case are its doing. A drag or resize the user began by the title bar or an edge is
// always theirs; one the window manager ran for them (Alt+drag, a keyboard move) comes later than its placements.
namespace {
qint64 s_placementCorrectionMs = 500;
}

void NoteWindowController::setPlacementCorrectionTime(qint64 ms)
{
    s_placementCorrectionMs = ms;
}

bool NoteWindowController::placementSettled() const
{
    const qint64 correctionMs = s_placementCorrectionMs;
    if (m_window->userIsPlacing())
        return true;
    return m_window->msSinceExposed() >= correctionMs
        && (!m_sincePlacement.isValid() || m_sincePlacement.elapsed() >= correctionMs);
}

void NoteWindowController::setDisplayOffset(QPointF offset)
{
    NoteController::setDisplayOffset(offset);
    applyFrame();
}

QRectF NoteWindowController::windowFileRect() const
{
    return ScreenCoordinates::toFileRect(QRectF(m_window->geometry()), primaryScreenHeight());
}

void NoteWindowController::frameChanged()
{
    if (m_suppressFrameCallbacks || m_closing || !m_window)
        return;
    const QRect geometry = m_window->geometry();
    if (geometry == m_placedGeometry)
        return;
    if (!placementSettled()) {
        // The window manager's placement (or its correction of ours): shown, never written.
        m_placedGeometry = geometry;
        return;
    }
    m_placedGeometry = geometry;
    // The user put the window somewhere: from now on it stands where they put it.
    m_displayOffset = QPointF();
    const QRectF frame = windowFileRect();
    NoteMetadata &meta = note().meta;
    const NoteMetadata before = meta;
    const bool positionKnown = platformReportsPositions();
    if (positionKnown)
        meta.x = frame.x();
    meta.width = frame.width();
    if (!meta.rolledUp) {
        if (positionKnown)
            meta.y = frame.y();
        meta.height = frame.height();
    } else if (positionKnown) {
        // A rolled-up strip stores where the unrolled note would stand: its top edge stays put.
        meta.y = frame.y() + rolledHeight - meta.height;
    }
    // A move that rounds to the stored frame changes nothing in the file.
    if (meta == before)
        return;
    changed(true);
}

void NoteWindowController::onLiveResize()
{
    if (m_suppressFrameCallbacks)
        return;
    if (m_window->isLiveResizing()) {
        const QSize size = m_window->size();
        titleBar()->setTitle(QStringLiteral("%1 × %2").arg(size.width()).arg(size.height()));
    }
    frameChanged();
}

void NoteWindowController::applyFrame()
{
    setWindowFrame(displayFrame());
}

// --- Appearance

void NoteWindowController::applyAppearance()
{
    if (!m_window)
        return;
    const NoteMetadata &meta = note().meta;
    const Settings &settings = store().settings();
    const QColor display
        = NotePalette::displayColor(NotePalette::sourceHex(meta.color, meta.isPrompt), settings.darkMode());
    const bool lightForeground = NotePalette::usesLightForeground(display);

    m_window->setBackgroundColor(display);
    TitleBarView *bar = titleBar();
    bar->setBarColor(meta.rolledUp ? display : NotePalette::blendedTowardsBlack(display, 0.1));
    bar->setUsesLightForeground(lightForeground);
    bar->setRolledUp(meta.rolledUp);
    bar->setPinned(meta.floatOnTop);
    bar->setShowsPromptBadge(meta.isPrompt);
    bar->setCloseToolTip(meta.adopt ? tr("Close note (file is kept)") : tr("Delete note"));
    if (!m_window->isLiveResizing())
        bar->setTitle(note().title());
    m_window->setWindowTitle(note().title());
    // Screen readers name the editor after its note.
    m_textView->setAccessibleName(note().title());
    m_window->setFloating(meta.floatOnTop);
    m_textView->setPalette(lightPalette(lightForeground));

    Theme theme = m_textView->theme();
    const Theme wanted {meta.fontSize, settings.noteFontFamily(), lightForeground};
    if (!(theme == wanted))
        m_textView->setTheme(wanted);
}

void NoteWindowController::applyRolledState(bool animated)
{
    if (!m_window)
        return;
    finishRollAnimation();
    const bool wasSuppressed = m_suppressFrameCallbacks;
    m_suppressFrameCallbacks = true;
    const NoteMetadata &meta = note().meta;
    const QRect current = m_window->geometry();
    // The height as shown: a note taller than the screen is shown as tall as the screen (its file keeps its height).
    const int height = int(std::lround(displayFrame().height()));
    // The top edge stays where it is; the window grows or shrinks downwards.
    const QRect target(current.left(), current.top(), current.width(), height);

    m_textView->setVisible(!meta.rolledUp);
    if (meta.rolledUp) {
        m_window->setMinimumSize(int(minContentWidth), int(rolledHeight));
        m_window->setMaximumSize(QWIDGETSIZE_MAX, int(rolledHeight));
    } else {
        m_window->setMinimumSize(int(minContentWidth), int(minContentHeight));
        m_window->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    }
    placed(target);
    if (animated && m_window->isVisible() && target != current) {
        m_rollAnimation = new QPropertyAnimation(m_window.get(), "geometry", this);
        m_rollAnimation->setDuration(120);
        m_rollAnimation->setEndValue(target);
        m_suppressedBeforeRoll = wasSuppressed;
        connect(m_rollAnimation, &QPropertyAnimation::finished, this, &NoteWindowController::finishRollAnimation);
        m_rollAnimation->start(QAbstractAnimation::DeleteWhenStopped);
        return;
    }
    m_window->setGeometry(target);
    m_suppressFrameCallbacks = wasSuppressed;
}

void NoteWindowController::finishRollAnimation()
{
    if (!m_rollAnimation)
        return;
    // Whatever comes next (another click on the roll button, a change from the file) starts from the frame the
    // metadata gave the window, never from one halfway through the animation.
    QPropertyAnimation *animation = m_rollAnimation;
    m_rollAnimation = nullptr;
    const QRect end = animation->endValue().toRect();
    animation->stop();
    m_window->setGeometry(end);
    m_suppressFrameCallbacks = m_suppressedBeforeRoll;
}

// --- Window operations

void NoteWindowController::showWindow(bool activate)
{
    const bool firstShown = !m_window;
    if (firstShown) {
        buildWindow();
        Q_EMIT windowBuilt();
    }
    // A window manager focuses windows as they appear; a note brought up without being asked to take the focus
    // (at launch, on reopen) must not, or every note would be raised and its file rewritten at every start.
    m_window->setAttribute(Qt::WA_ShowWithoutActivating, !activate);
    if (!m_window->isVisible())
        placed(m_window->geometry());
    m_window->show();
    if (firstShown)
        setFirstText();
    m_window->raise();
    if (activate) {
        m_window->activateWindow();
        if (!note().meta.rolledUp)
            m_textView->setFocus(Qt::OtherFocusReason);
    }
}

// Shown, the editor has its real width: the text is laid out once, not at a default width first and again when the
// window appears. It goes in before the window is first painted. (The editor's scroll bar lies over the text, so
// its appearing changes no width and lays nothing out again.)
void NoteWindowController::setFirstText()
{
    m_textView->setMarkdown(note().body);
}

void NoteWindowController::hideWindow()
{
    if (m_window)
        m_window->hide();
}

void NoteWindowController::closeWindow()
{
    m_closing = true;
    cancelAiRequest();
    onWindowClosing();
    hideWindow();
}

void NoteWindowController::setEditorText(const QString &markdown)
{
    // One undoable step that leaves the caret and the scroll position on the text they were on. A note without a
    // window has only its body, which already holds the text.
    if (m_textView)
        m_textView->takeOutsideText(markdown);
}

void NoteWindowController::focusEditor()
{
    if (note().meta.rolledUp || !m_window)
        return;
    m_window->activateWindow();
    m_textView->setFocus(Qt::OtherFocusReason);
}

void NoteWindowController::onWindowClosing()
{
    if (m_environment.colorPanel)
        m_environment.colorPanel->release(this);
}

bool NoteWindowController::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ContextMenu && m_textView
        && (watched == m_textView || watched == m_textView->viewport())) {
        auto *contextEvent = static_cast<QContextMenuEvent *>(event);
        // The editor's own text commands first, then everything the note and the application offer.
        QMenu *menu = m_textView->createStandardContextMenu(contextEvent->pos());
        menu->setParent(m_window.get(), menu->windowFlags());
        menu->addSeparator();
        populateContextMenu(menu);
        showContextMenu(contextEvent->globalPos(), menu);
        return true;
    }
    if (event->type() == QEvent::KeyPress && watched == m_textView
        && moveFocusToTitleBar(*static_cast<QKeyEvent *>(event)))
        return true;
    return NoteController::eventFilter(watched, event);
}

// Tab types a tab in the editor, so Ctrl+Tab (Ctrl+Shift+Tab backwards) leaves it for the title-bar buttons, as in
// other editors; Tab then goes on from button to button and back into the text.
bool NoteWindowController::moveFocusToTitleBar(const QKeyEvent &key)
{
    if (!(key.modifiers() & Qt::ControlModifier) || (key.key() != Qt::Key_Tab && key.key() != Qt::Key_Backtab))
        return false;
    const QList<QAbstractButton *> buttons = titleBar()->findChildren<QAbstractButton *>();
    if (buttons.isEmpty())
        return false;
    QAbstractButton *target = key.key() == Qt::Key_Tab ? buttons.first() : buttons.last();
    target->setFocus(key.key() == Qt::Key_Tab ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

void NoteWindowController::showContextMenu(const QPoint &globalPosition, QMenu *menu)
{
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(globalPosition);
}

void NoteWindowController::populateContextMenu(QMenu *menu)
{
    NoteMenu::addNoteItems(menu, *this, m_environment.revealTitle);
    if (m_environment.applicationMenus) {
        const QList<QMenu *> appMenus = m_environment.applicationMenus();
        if (!appMenus.isEmpty())
            menu->addSeparator();
        for (QMenu *appMenu : appMenus)
            menu->addMenu(appMenu);
    }
}

// --- Actions

void NoteWindowController::changed(bool rememberStyle)
{
    store().noteEdited(this);
    if (rememberStyle)
        store().rememberStyleDefaults(note().meta);
}

void NoteWindowController::toggleRolled()
{
    finishRollAnimation();
    NoteMetadata &meta = note().meta;
    if (!meta.rolledUp)
        rememberUnrolledHeight();
    meta.rolledUp = !meta.rolledUp;
    applyRolledState(true);
    applyAppearance();
    changed(false);
}

void NoteWindowController::rememberUnrolledHeight()
{
    NoteMetadata &meta = note().meta;
    // A note taller than the screen is shown cut to it: its file keeps the full height.
    if (!m_window || displayFrame().height() < frameFor(meta).height())
        return;
    const double before = meta.height;
    meta.height = std::max(double(m_window->height()), minContentHeight);
    // The note's top edge stays where it is; y is its bottom edge.
    meta.y += before - meta.height;
}

void NoteWindowController::toggleFloat()
{
    note().meta.floatOnTop = !note().meta.floatOnTop;
    applyAppearance();
    changed(true);
}

void NoteWindowController::hideNote()
{
    if (note().meta.hidden)
        return;
    note().meta.hidden = true;
    hideWindow();
    changed(false);
    store().postNotesChanged();
}

void NoteWindowController::setNoteColor(const QString &hex)
{
    note().meta.color = hex;
    applyAppearance();
    changed(true);
}

void NoteWindowController::pickCustomColor()
{
    if (!m_environment.colorPanel)
        return;
    const auto current = NotePalette::colorFromHexString(note().meta.color);
    const QColor start
        = current.value_or(*NotePalette::colorFromHexString(QString::fromLatin1(NotePalette::fallbackHex)));
    showWindow(false);
    m_environment.colorPanel->open(this, start, [this](const QColor &color) { customColorChanged(color); });
}

void NoteWindowController::customColorChanged(const QColor &color)
{
    setNoteColor(NotePalette::hexString(color));
}

void NoteWindowController::setFontSize(double size)
{
    note().meta.fontSize = std::clamp(size, NoteLimits::minFontSize, NoteLimits::maxFontSize);
    applyAppearance();
    changed(true);
}

void NoteWindowController::biggerFont()
{
    setFontSize(note().meta.fontSize + 1);
}

void NoteWindowController::smallerFont()
{
    setFontSize(note().meta.fontSize - 1);
}

void NoteWindowController::renameNote()
{
    showWindow(true);
    titleBar()->beginTitleEditing(note().title());
}

void NoteWindowController::duplicateNote()
{
    store().duplicate(this);
}

void NoteWindowController::deleteNote()
{
    if (note().meta.adopt) {
        store().revert(this);
        return;
    }
    Alert alert;
    alert.style = Alert::Warning;
    alert.message = QCoreApplication::translate("NoteWindowController", "Delete “%1”?").arg(note().title());
    alert.informativeText
        = QCoreApplication::translate("NoteWindowController", "The file %1 will be moved to the Trash.")
              .arg(note().filename);
    alert.buttons = {QCoreApplication::translate("NoteWindowController", "Move to Trash"),
        QCoreApplication::translate("Alert", "Cancel")};
    if (m_environment.alerts && m_environment.alerts->show(alert) == 0)
        store().deleteNote(this);
}

void NoteWindowController::revealInFileManager()
{
    if (m_environment.revealFile)
        m_environment.revealFile(store().filePath(note().filename));
}

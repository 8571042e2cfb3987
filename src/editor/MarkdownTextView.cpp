#include "editor/MarkdownTextView.h"

#include "editor/MarkdownHighlighter.h"
#include "editor/OverlayScrollBar.h"
#include "editor/VisibleRangeReporter.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QBuffer>
#include <QImage>
#include <QKeyEvent>
#include <QMimeData>
#include <QMimeDatabase>
#include <QScopedValueRollback>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextLayout>

using namespace MarkdownEditing;

namespace {

bool isImageFile(const QUrl &url)
{
    if (!url.isLocalFile())
        return false;
    static const QMimeDatabase database;
    return database.mimeTypeForFile(url.toLocalFile()).name().startsWith(u"image/");
}

// Other programs read U+2028 and U+2029 as odd characters on one line.
QString withLineFeeds(QString text)
{
    return text.replace(QChar::ParagraphSeparator, u'\n').replace(QChar::LineSeparator, u'\n');
}

bool allImageFiles(const QMimeData *source)
{
    if (!source->hasUrls() || source->urls().isEmpty())
        return false;
    const QList<QUrl> urls = source->urls();
    return std::all_of(urls.begin(), urls.end(), isImageFile);
}

// Image data worth importing: a pasted picture without a text of its own. Office programs put a picture of copied
// text beside the text; that paste should stay text.
bool hasImageData(const QMimeData *source)
{
    if (source->hasText())
        return false;
    if (source->hasImage())
        return true;
    const QStringList formats = source->formats();
    return std::any_of(formats.begin(), formats.end(), [](const QString &f) { return f.startsWith(u"image/"); });
}

QByteArray imageBytes(const QMimeData *source)
{
    // The original encoding when it is PNG, so that nothing is lost to a second compression.
    if (source->hasFormat(QStringLiteral("image/png")))
        return source->data(QStringLiteral("image/png"));
    QImage image = qvariant_cast<QImage>(source->imageData());
    if (image.isNull()) {
        const QStringList formats = source->formats();
        for (const QString &format : formats) {
            if (format.startsWith(u"image/") && image.loadFromData(source->data(format)))
                break;
        }
    }
    QByteArray png;
    if (!image.isNull()) {
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
    }
    return png;
}

} // namespace

MarkdownTextView::MarkdownTextView(QWidget *parent)
    : QTextEdit(parent)
{
    // Pasted HTML would otherwise bring its own formats into the document.
    setAcceptRichText(false);
    setFrameShape(QFrame::NoFrame);
    viewport()->setMouseTracking(true);
    new OverlayScrollBar(this);

    m_highlighter = new MarkdownHighlighter(document(), this);
    m_highlighter->setCaretProvider([this] { return activeCaret(); });
    m_visibleRange = new VisibleRangeReporter(this, m_highlighter);
    m_settle.setSingleShot(true);
    connect(&m_settle, &QTimer::timeout, this, &MarkdownTextView::syncActiveParagraph);

    // Restyling also emits contentsChanged; only a change with characters added or removed is an edit. It is
    // reported once the edit is complete and laid out.
    connect(document(), &QTextDocument::contentsChange, this, [this](int, int removed, int added) {
        if ((removed > 0 || added > 0) && !m_settingText)
            m_textChanged = true;
    });
    connect(document(), &QTextDocument::contentsChanged, this, [this] {
        if (std::exchange(m_textChanged, false))
            Q_EMIT textEdited();
    });
    connect(this, &QTextEdit::cursorPositionChanged, this, &MarkdownTextView::syncActiveParagraph);

    applyTheme();
}

MarkdownTextView::~MarkdownTextView() = default;

const Theme &MarkdownTextView::theme() const
{
    return m_theme;
}

void MarkdownTextView::setTheme(const Theme &theme)
{
    if (theme == m_theme)
        return;
    m_theme = theme;
    applyTheme();
}

void MarkdownTextView::applyTheme()
{
    // One layout at the end instead of one per paragraph restyled: each re-layout request walks every paragraph
    // after it.
    document()->setLayoutEnabled(false);
    m_highlighter->setTheme(m_theme);
    const MarkdownFormatCache &formats = m_highlighter->formats();
    const QFont body = formats.font(MarkdownStyler::FontRole::Body);
    // The widget's font becomes the document's default: empty paragraphs take their height from it.
    setFont(body);
    setTabStopDistance(QFontMetricsF(body).horizontalAdvance(u' ') * 4);
    QPalette colours = palette();
    colours.setColor(QPalette::Base, Qt::transparent);
    setPalette(colours);
    keepTextColour();
    document()->setLayoutEnabled(true);
    ensureLaidOut();
}

void MarkdownTextView::changeEvent(QEvent *event)
{
    QTextEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        keepTextColour();
}

void MarkdownTextView::keepTextColour()
{
    // Plain text has no format of its own and is drawn in the palette's text colour: whatever palette the owner
    // sets, that colour stays the theme's.
    if (!m_highlighter)
        return; // still being constructed
    const QColor text = m_highlighter->formats().color(MarkdownStyler::ColorRole::Text);
    if (m_settingPalette || palette().color(QPalette::Text) == text)
        return;
    QScopedValueRollback<bool> settingPalette(m_settingPalette, true);
    QPalette colours = palette();
    colours.setColor(QPalette::Text, text);
    setPalette(colours);
}

void MarkdownTextView::setMarkdown(const QString &text, bool preservingSelection)
{
    if (text == markdown())
        return;
    const int anchor = textCursor().anchor();
    const int position = textCursor().position();
    const int scroll = verticalScrollBar()->value();
    {
        QScopedValueRollback<bool> settingText(m_settingText, true);
        m_highlighter->setSuspended(true);
        document()->setLayoutEnabled(false);
        setPlainText(text);
        if (preservingSelection) {
            const int end = document()->characterCount() - 1;
            QTextCursor selection(document());
            selection.setPosition(qBound(0, anchor, end));
            selection.setPosition(qBound(0, position, end), QTextCursor::KeepAnchor);
            setTextCursor(selection);
        }
        m_highlighter->setSuspended(false);
        document()->setLayoutEnabled(true);
        ensureLaidOut();
    }
    if (preservingSelection)
        verticalScrollBar()->setValue(scroll);
    m_visibleRange->report();
}

QString MarkdownTextView::markdown() const
{
    return document()->toRawText().replace(QChar::ParagraphSeparator, u'\n');
}

void MarkdownTextView::replaceAllText(const QString &text)
{
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.select(QTextCursor::Document);
    cursor.insertText(text);
    cursor.endEditBlock();
}

void MarkdownTextView::takeOutsideText(const QString &text)
{
    const QString current = markdown();
    if (text == current)
        return;
    qsizetype prefix = 0;
    const qsizetype shorter = std::min(current.size(), text.size());
    while (prefix < shorter && current.at(prefix) == text.at(prefix))
        ++prefix;
    qsizetype suffix = 0;
    while (suffix < shorter - prefix && current.at(current.size() - 1 - suffix) == text.at(text.size() - 1 - suffix))
        ++suffix;
    // Never split a surrogate pair between the kept and the replaced part.
    if (prefix > 0 && current.at(prefix - 1).isHighSurrogate())
        --prefix;
    if (suffix > 0 && current.at(current.size() - suffix).isLowSurrogate())
        --suffix;
    const int scroll = verticalScrollBar()->value();
    QScopedValueRollback<bool> settingText(m_settingText, true);
    // A cursor of its own: the user's caret moves with the edit like it does for any change before or after it.
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    cursor.setPosition(int(prefix));
    cursor.setPosition(int(current.size() - suffix), QTextCursor::KeepAnchor);
    cursor.insertText(text.mid(prefix, text.size() - prefix - suffix));
    cursor.endEditBlock();
    verticalScrollBar()->setValue(scroll);
}

bool MarkdownTextView::selectMatch(const QString &query)
{
    if (query.isEmpty())
        return false;
    const QTextCursor match = document()->find(query);
    if (match.isNull())
        return false;
    setTextCursor(match);
    ensureCursorVisible();
    return true;
}

bool MarkdownTextView::event(QEvent *event)
{
    // Keep the editing shortcuts from window or application shortcuts that use the same keys.
    if (event->type() == QEvent::ShortcutOverride) {
        const Command command = commandFor(static_cast<QKeyEvent *>(event));
        if (command == Command::Bold || command == Command::Italic || command == Command::Link) {
            event->accept();
            return true;
        }
    }
    return QTextEdit::event(event);
}

void MarkdownTextView::keyPressEvent(QKeyEvent *event)
{
    // Typing right after a click needs no wait for the click to settle.
    if (m_settle.isActive()) {
        m_settle.stop();
        syncActiveParagraph();
    }
    const Command command = commandFor(event);
    if (command != Command::None && runCommand(command)) {
        event->accept();
        return;
    }
    QTextEdit::keyPressEvent(event);
}

MarkdownTextView::Command MarkdownTextView::commandFor(const QKeyEvent *event) const
{
    if (isReadOnly())
        return Command::None;
    // The text's only line separator is the line feed; QTextEdit would insert U+2028 here.
    if (event->matches(QKeySequence::InsertLineSeparator))
        return Command::LineBreak;
    const Qt::KeyboardModifiers modifiers = event->modifiers() & ~Qt::KeypadModifier;
    switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return modifiers == Qt::NoModifier ? Command::ListReturn : Command::None;
    case Qt::Key_Tab:
        return modifiers == Qt::NoModifier ? Command::Indent : Command::None;
    case Qt::Key_Backtab:
        return Command::Outdent;
    case Qt::Key_B:
        return modifiers == Qt::ControlModifier ? Command::Bold : Command::None;
    case Qt::Key_I:
        return modifiers == Qt::ControlModifier ? Command::Italic : Command::None;
    case Qt::Key_K:
        return modifiers == Qt::ControlModifier ? Command::Link : Command::None;
    default:
        return Command::None;
    }
}

bool MarkdownTextView::runCommand(Command command)
{
    const QTextCursor cursor = textCursor();
    const int start = cursor.selectionStart();
    const int end = cursor.selectionEnd();
    std::optional<EditPlan> plan;
    switch (command) {
    case Command::None:
        break;
    case Command::ListReturn:
        if (!cursor.hasSelection())
            plan = returnInList(paragraph(cursor.block()), cursor.positionInBlock());
        break;
    case Command::LineBreak:
        plan = EditPlan {{Edit {start, end - start, QStringLiteral("\n")}}, start + 1, start + 1};
        break;
    case Command::Indent:
    case Command::Outdent: {
        QList<Paragraph> paragraphs;
        QTextBlock block = document()->findBlock(start);
        const QTextBlock last = document()->findBlock(end > start ? end - 1 : end);
        for (; block.isValid(); block = block.next()) {
            paragraphs.append(paragraph(block));
            if (block == last)
                break;
        }
        plan = shiftListItems(paragraphs, cursor.anchor(), cursor.position(), command == Command::Outdent);
        break;
    }
    case Command::Bold:
        plan = toggleWrap(markdown(), start, end, u"**");
        break;
    case Command::Italic:
        plan = toggleWrap(markdown(), start, end, u"*");
        break;
    case Command::Link:
        plan = wrapLink(markdown(), start, end);
        break;
    }
    if (!plan)
        return false;
    applyPlan(*plan);
    return true;
}

Paragraph MarkdownTextView::paragraph(const QTextBlock &block) const
{
    return {block.position(), block.text(), isCode(block)};
}

bool MarkdownTextView::isCode(const QTextBlock &block) const
{
    if (MarkdownHighlighter::isInFencedCode(block))
        return true;
    QTextBlock previous = block;
    return isIndentedCode(block.text(), [&previous]() -> std::optional<QString> {
        previous = previous.previous();
        return previous.isValid() ? std::optional(previous.text()) : std::nullopt;
    });
}

int MarkdownTextView::activeCaret() const
{
    return m_focused ? textCursor().position() : -1;
}

void MarkdownTextView::syncActiveParagraph()
{
    if (m_pointerDown || m_settle.isActive())
        return;
    m_highlighter->setCaretPosition(activeCaret());
}

void MarkdownTextView::holdActiveParagraph()
{
    m_pointerDown = true;
    m_settle.stop();
}

void MarkdownTextView::settleActiveParagraph()
{
    // The paragraphs that change activity are restyled once no second click can follow.
    m_pointerDown = false;
    m_settle.start(QApplication::doubleClickInterval());
}

void MarkdownTextView::focusInEvent(QFocusEvent *event)
{
    QTextEdit::focusInEvent(event);
    m_focused = true;
    // Focus that comes with a click (on the editor, or on a window that was not active) arrives before the press or
    // next to it: the press, not the paragraph the caret rested in, decides what becomes active.
    if (event->reason() == Qt::MouseFocusReason || event->reason() == Qt::ActiveWindowFocusReason) {
        if (!m_pointerDown)
            m_settle.start(QApplication::doubleClickInterval());
        return;
    }
    syncActiveParagraph();
}

void MarkdownTextView::focusOutEvent(QFocusEvent *event)
{
    QTextEdit::focusOutEvent(event);
    // A context menu is still editing here.
    if (event->reason() == Qt::PopupFocusReason)
        return;
    m_focused = false;
    m_pointerDown = false;
    m_settle.stop();
    syncActiveParagraph();
}

void MarkdownTextView::applyPlan(const EditPlan &plan)
{
    QTextCursor editor(document());
    editor.beginEditBlock();
    for (auto it = plan.edits.crbegin(); it != plan.edits.crend(); ++it) {
        editor.setPosition(int(it->position));
        editor.setPosition(int(it->position + it->removed), QTextCursor::KeepAnchor);
        editor.insertText(it->inserted);
    }
    editor.endEditBlock();
    QTextCursor selection(document());
    selection.setPosition(int(plan.anchor));
    selection.setPosition(int(plan.position), QTextCursor::KeepAnchor);
    setTextCursor(selection);
    ensureCursorVisible();
}

void MarkdownTextView::mousePressEvent(QMouseEvent *event)
{
    // Links and checkboxes are hit-tested here, before the base class moves the caret: moving it restyles the
    // paragraph and shifts the text under the pointer.
    m_pressedLink.reset();
    if (event->button() == Qt::LeftButton && event->modifiers() == Qt::NoModifier) {
        const int at = characterAt(event->position().toPoint());
        if (at >= 0) {
            if (const auto box = m_highlighter->checkboxAt(at); box && !isReadOnly()) {
                const Edit edit = toggleCheckbox(box->range.location, box->checked);
                QTextCursor editor(document());
                editor.setPosition(int(edit.position));
                editor.setPosition(int(edit.position + edit.removed), QTextCursor::KeepAnchor);
                editor.insertText(edit.inserted);
                event->accept();
                return;
            }
            if (const auto link = m_highlighter->linkAt(at)) {
                m_pressedLink = link->target;
                event->accept();
                return;
            }
        }
    }
    if (event->button() == Qt::LeftButton)
        holdActiveParagraph();
    QTextEdit::mousePressEvent(event);
}

void MarkdownTextView::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        holdActiveParagraph();
    QTextEdit::mouseDoubleClickEvent(event);
}

void MarkdownTextView::mouseMoveEvent(QMouseEvent *event)
{
    QTextEdit::mouseMoveEvent(event);
    if (event->buttons() == Qt::NoButton) {
        updatePointer(event->position().toPoint());
        // A drag of the selection ends without a release here.
        if (m_pointerDown)
            settleActiveParagraph();
    }
}

void MarkdownTextView::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_pressedLink) {
        const QString target = *std::exchange(m_pressedLink, std::nullopt);
        const int at = characterAt(event->position().toPoint());
        const auto link = at >= 0 ? m_highlighter->linkAt(at) : std::nullopt;
        if (link && link->target == target)
            Q_EMIT linkActivated(target);
        event->accept();
        return;
    }
    QTextEdit::mouseReleaseEvent(event);
    if (m_pointerDown && event->button() == Qt::LeftButton)
        settleActiveParagraph();
}

void MarkdownTextView::updatePointer(const QPoint &viewportPoint)
{
    const int at = characterAt(viewportPoint);
    const bool clickable = at >= 0 && (m_highlighter->linkAt(at) || m_highlighter->checkboxAt(at));
    viewport()->setCursor(clickable ? Qt::PointingHandCursor : Qt::IBeamCursor);
}

int MarkdownTextView::characterAt(const QPoint &viewportPoint) const
{
    // The layout's own anchor lookup does not see laid-over formats, so this finds the character whose glyph is
    // under the point; a hidden character has no width and is never hit.
    const QPointF point
        = QPointF(viewportPoint) + QPointF(horizontalScrollBar()->value(), verticalScrollBar()->value());
    const int position = document()->documentLayout()->hitTest(point, Qt::FuzzyHit);
    if (position < 0)
        return -1;
    const QTextBlock block = document()->findBlock(position);
    const QTextLayout *layout = block.layout();
    if (!layout)
        return -1;
    const QPointF local = point - layout->position();
    const int inBlock = position - block.position();
    for (int i = 0; i < layout->lineCount(); ++i) {
        const QTextLine line = layout->lineAt(i);
        if (local.y() < line.y() || local.y() >= line.y() + line.height())
            continue;
        for (const int candidate : {inBlock - 1, inBlock}) {
            if (candidate < line.textStart() || candidate >= line.textStart() + line.textLength())
                continue;
            const qreal from = line.cursorToX(candidate);
            const qreal to = line.cursorToX(candidate + 1);
            if (local.x() >= qMin(from, to) && local.x() < qMax(from, to))
                return block.position() + candidate;
        }
    }
    return -1;
}

void MarkdownTextView::resizeEvent(QResizeEvent *event)
{
    QTextEdit::resizeEvent(event);
    // A new width starts a lazy full layout; finish it before anything restyles (see MarkdownHighlighter).
    ensureLaidOut();
    m_visibleRange->report();
}

bool MarkdownTextView::canInsertFromMimeData(const QMimeData *source) const
{
    if ((importAttachmentFile && allImageFiles(source)) || (importAttachmentData && hasImageData(source)))
        return true;
    return QTextEdit::canInsertFromMimeData(source);
}

void MarkdownTextView::insertFromMimeData(const QMimeData *source)
{
    if (insertImages(source))
        return;
    // Line and paragraph separators from other programs arrive as the line feeds they stand for.
    QString text = source->text();
    if (text.contains(QChar::LineSeparator) || text.contains(QChar::ParagraphSeparator)) {
        QMimeData plain;
        plain.setText(withLineFeeds(text));
        QTextEdit::insertFromMimeData(&plain);
        return;
    }
    QTextEdit::insertFromMimeData(source);
}

bool MarkdownTextView::insertImages(const QMimeData *source)
{
    QStringList inserted;
    if (importAttachmentFile && allImageFiles(source)) {
        const QList<QUrl> urls = source->urls();
        for (const QUrl &url : urls) {
            if (const std::optional<QString> link = importAttachmentFile(url))
                inserted.append(imageMarkdown(*link));
        }
    } else if (importAttachmentData && hasImageData(source)) {
        const QByteArray data = imageBytes(source);
        if (!data.isEmpty()) {
            if (const std::optional<QString> link = importAttachmentData(data, QStringLiteral("Pasted Image")))
                inserted.append(imageMarkdown(*link));
        }
    } else {
        return false;
    }
    // A failed import was reported by the importer; nothing of the image is inserted as text either.
    if (!inserted.isEmpty())
        textCursor().insertText(inserted.join(u'\n'));
    return true;
}

QMimeData *MarkdownTextView::createMimeDataFromSelection() const
{
    // Copies carry the Markdown only: the document's HTML would carry the styling's paragraph formats.
    auto *data = new QMimeData;
    data->setText(withLineFeeds(textCursor().selectedText()));
    return data;
}

void MarkdownTextView::ensureLaidOut()
{
    document()->documentLayout()->documentSize();
}

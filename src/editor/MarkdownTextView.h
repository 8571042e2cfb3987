#pragma once

#include "editor/MarkdownEditing.h"
#include "editor/MarkdownStyler.h"
#include "editor/Theme.h"

#include <QTextEdit>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <optional>

class MarkdownHighlighter;
class VisibleRangeReporter;
class QTextBlock;

// The note editor: plain Markdown text, styled live by a MarkdownHighlighter, with the editing commands of a notes
// editor (list continuation, indenting list items, bold/italic/link wrapping, checkbox clicks) and image insertion
// through its owner's attachment import. The caret's paragraph shows its markers only while the editor has the
// keyboard focus, so that a note that is not being edited reads as clean text.
//
// setMarkdown() and markdown() deliberately hide QTextEdit's rich-text conversions of the same names: this editor's
// text is the Markdown itself.
class MarkdownTextView : public QTextEdit {
    Q_OBJECT

public:
    explicit MarkdownTextView(QWidget *parent = nullptr);
    ~MarkdownTextView() override;

    const Theme &theme() const;
    // Restyles everything (layout suspended) when the theme differs from the current one.
    void setTheme(const Theme &theme);

    // Replaces the text without an undo step and without textEdited() (an external change); the selection is kept
    // where it was (clamped to the new text) when asked, else the caret goes to the start.
    void setMarkdown(const QString &text, bool preservingSelection = false);
    QString markdown() const;
    // Replaces the whole text as one undoable edit (reported by textEdited()).
    void replaceAllText(const QString &text);
    // Takes in a change made elsewhere as one undoable edit that replaces only the part that differs, so the caret,
    // the selection and the scroll position stay on the text they were on. Not reported by textEdited().
    void takeOutsideText(const QString &text);

    // Selects the first case-insensitive occurrence of query and scrolls to it; false when there is none.
    bool selectMatch(const QString &query);

    MarkdownHighlighter *highlighter() const { return m_highlighter; }

    // Attachment import: given a dropped or pasted image file, or image data with a preferred base name, returns the
    // relative link to insert as ![name](link), or nothing when the import failed.
    std::function<std::optional<QString>(const QUrl &file)> importAttachmentFile;
    std::function<std::optional<QString>(const QByteArray &data, const QString &preferredBaseName)>
        importAttachmentData;

Q_SIGNALS:
    // The text changed by an edit (typing, a command, undo, a checkbox click); never for restyling or setMarkdown().
    void textEdited();
    // A link was clicked: the address as written, or a wiki link's "tackpad://note/..." URL.
    void linkActivated(const QString &link);

protected:
    bool event(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool canInsertFromMimeData(const QMimeData *source) const override;
    void insertFromMimeData(const QMimeData *source) override;
    QMimeData *createMimeDataFromSelection() const override;

private:
    enum class Command { None, ListReturn, LineBreak, Indent, Outdent, Bold, Italic, Link };
    Command commandFor(const QKeyEvent *event) const;
    bool runCommand(Command command);
    MarkdownEditing::Paragraph paragraph(const QTextBlock &block) const;
    bool isCode(const QTextBlock &block) const;
    int activeCaret() const;
    void syncActiveParagraph();
    void holdActiveParagraph();
    void settleActiveParagraph();
    void applyPlan(const MarkdownEditing::EditPlan &plan);
    int characterAt(const QPoint &viewportPoint) const;
    void updatePointer(const QPoint &viewportPoint);
    bool insertImages(const QMimeData *source);
    void applyTheme();
    void keepTextColour();
    void ensureLaidOut();

    MarkdownHighlighter *m_highlighter = nullptr;
    VisibleRangeReporter *m_visibleRange = nullptr;
    Theme m_theme;
    bool m_settingText = false;
    bool m_textChanged = false;
    bool m_settingPalette = false;
    std::optional<QString> m_pressedLink;
    // Which paragraph shows its markers follows the caret only while the editor has the keyboard, and not while a
    // click, a double-click or a drag is under way: restyling shifts the text under the pointer.
    bool m_focused = false;
    bool m_pointerDown = false;
    QTimer m_settle;
};

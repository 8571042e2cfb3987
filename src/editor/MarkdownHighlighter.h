#pragma once

#include "editor/FormatWindow.h"
#include "editor/MarkdownFormatCache.h"
#include "editor/MarkdownStyler.h"
#include "editor/Theme.h"

#include <QObject>
#include <QPointer>
#include <QTextBlock>
#include <QTextCursor>
#include <QTimer>

#include <functional>
#include <optional>
#include <utility>

class QTextDocument;
class StyledBlockData;

// Lays the results of MarkdownStyler over a QTextDocument: character formats as the paragraphs' additional formats
// (never as document formats, so styling is no edit and leaves undo alone), paragraph formats without undo entries,
// and the links and checkboxes of each paragraph in its user data for the editor's hit-testing. Plain text gets no
// format: it is drawn in the document's default font, which the highlighter sets to the body font, and in the text
// colour of the palette it is painted with (the editor's palette carries the theme's text colour).
//
// It restyles by itself when the text changes: the edited paragraphs, the paragraphs whose code-block state an
// edited fence flips, and the fence lines whose visibility depends on the edit. A paragraph that comes out as it was
// is neither re-formatted nor laid out again. When a fence flips a long stretch of text, a budget of paragraphs is
// restyled at once and the rest a slice at a time on the event loop, so typing stays responsive.
class MarkdownHighlighter : public QObject {
    Q_OBJECT

public:
    explicit MarkdownHighlighter(QTextDocument *document, QObject *parent = nullptr);

    QTextDocument *document() const { return m_document; }

    const Theme &theme() const { return m_formats->theme(); }
    // Restyles the whole document with its layout suspended, then lays it out once.
    void setTheme(const Theme &theme);
    const MarkdownFormatCache &formats() const { return *m_formats; }

    // The styling rules' entry point over the document: restyles range (the whole text when absent) with the
    // paragraph at activeRange's start as the active paragraph. As with MarkdownStyler::style, a range that starts
    // inside a code block styles its lines as text: the document's own edits never do that, they carry the
    // code-block state over from the paragraph before.
    void style(std::optional<MarkdownStyler::TextRange> range, MarkdownStyler::TextRange activeRange);
    // Restyles everything, keeping the active paragraph, with layout suspended.
    void restyleAll();

    // The caret moved. When it entered another paragraph, the old and the new one are restyled (markers hide and
    // show), and so are the fence lines of a code block it entered or left. A negative position means no caret (an
    // editor without focus): no paragraph is active.
    void setCaretPosition(int position);
    // Lets edits restyle with the caret's new paragraph already active (the editor's cursor moves with the edit);
    // negative when no paragraph is to be active.
    void setCaretProvider(std::function<int()> provider) { m_caretProvider = std::move(provider); }
    // The active paragraph, or an invalid block when there is none.
    QTextBlock activeBlock() const;

    // Is the paragraph a line of a fenced code block (its closing fence included), as last styled?
    static bool isInFencedCode(const QTextBlock &block);

    // The paragraph's range as the styling rules see it: with its newline, except the last paragraph's.
    static MarkdownStyler::TextRange paragraphRange(const QTextBlock &block);

    // Links and checkboxes at a document position, with document-absolute ranges.
    std::optional<MarkdownStyler::LinkSpan> linkAt(int position) const;
    std::optional<MarkdownStyler::CheckboxSpan> checkboxAt(int position) const;

    // Paragraphs an edit restyles at once before leaving the rest of a flipped stretch to the event loop.
    void setSynchronousBudget(int paragraphs) { m_synchronousBudget = qMax(1, paragraphs); }
    bool hasPendingRestyle() const { return !m_frontiers.isEmpty(); }
    // Finishes a left-over restyle now.
    void finishPendingRestyle();

    // The editor shows the document's characters from..to. A very long paragraph gets character formats only
    // around what is shown (see FormatWindow); until this is first called every paragraph is styled whole. Returns
    // whether a paragraph's formats moved (its layout, and so the height of text above what is shown, may change).
    bool setVisibleRange(int from, int to);

    // While suspended, edits are not restyled; resuming restyles everything (used around replacing all text).
    void setSuspended(bool suspended);

private:
    class DirtyRange;
    struct FenceBlock {
        QTextBlock open;
        QTextBlock close; // invalid for an unclosed block
    };
    struct Propagation {
        QTextBlock stoppedAt; // where the budget ran out
        QTextBlock convergedAt; // where the stored code-block state agreed again
    };

    void onContentsChange(int position, int removed, int added);
    void onContentsChanged();
    void processPendingSlice();

    bool restyleBlock(const QTextBlock &block, bool inCodeBefore, DirtyRange *dirty);
    void restyleIsolated(const QTextBlock &block, DirtyRange *dirty);
    void restyleFencesAround(const QTextBlock &block, DirtyRange *dirty);
    Propagation propagate(QTextBlock block, bool inCode, int budget, DirtyRange *dirty);
    void noteConvergence(const Propagation &propagation);
    void runFenceFixups(DirtyRange *dirty);
    void apply(
        const QTextBlock &block, const QString &text, const MarkdownStyler::ParagraphStyle &style, DirtyRange *dirty);
    void setCharFormats(const QTextBlock &block, StyledBlockData *data) const;
    FormatWindow windowFor(const QTextBlock &block) const;
    bool windowFits(const QTextBlock &block, const FormatWindow &window) const;
    void schedulePending(const QTextBlock &from);
    void restyleWholeDocument();

    bool isActive(const QTextBlock &block) const;
    QTextBlock caretBlock(int position) const;
    bool fenceHidden(const QTextBlock &fence, bool inCodeBefore) const;
    std::optional<FenceBlock> enclosingFenceBlock(const QTextBlock &block) const;
    void ensureLaidOut() const;

    QPointer<QTextDocument> m_document;
    std::shared_ptr<const MarkdownFormatCache> m_formats = MarkdownFormatCache::shared(Theme());
    quint64 m_generation = 1;
    QTextCursor m_active; // at the start of the active paragraph; moves with edits, unlike a stored QTextBlock
    std::function<int()> m_caretProvider;
    std::optional<std::pair<int, int>> m_visible; // document positions the editor shows
    // The paragraphs where left-over restyles continue. Before the first of them every paragraph's stored
    // code-block state is right; from each of them on, the stored states agree with one another.
    QList<QTextCursor> m_frontiers;
    QTimer m_pendingTimer;
    QList<QTextCursor> m_afterEdit; // paragraphs to restyle once the current edit is laid out
    // Paragraphs whose code block's fences may have to show or hide; restyled once no left-over restyle remains,
    // since finding the fences relies on the stored states.
    QList<QTextCursor> m_fenceFixups;
    int m_synchronousBudget = 120;
    bool m_suspended = false;
    bool m_inContentsChange = false;
};

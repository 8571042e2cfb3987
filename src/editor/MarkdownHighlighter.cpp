#include "editor/MarkdownHighlighter.h"

#include "editor/BlockFormatWriter.h"
#include "editor/StyledBlockData.h"

#include <QAbstractTextDocumentLayout>
#include <QTextDocument>
#include <QTextLayout>

using namespace MarkdownStyler;

namespace {

// The code-block state of a paragraph, kept in QTextBlock::userState.
enum StateBits { Styled = 1, CodeBefore = 2, Fence = 4 };

bool isStyled(const QTextBlock &block)
{
    return block.isValid() && block.userState() >= 0 && (block.userState() & Styled);
}

bool codeBefore(const QTextBlock &block)
{
    return isStyled(block) && (block.userState() & CodeBefore);
}

bool isFence(const QTextBlock &block)
{
    return isStyled(block) && (block.userState() & Fence);
}

bool codeAfter(const QTextBlock &block)
{
    return isStyled(block) && codeBefore(block) != isFence(block);
}

// How many paragraphs one slice of a left-over restyle covers. Each slice ends with a walk over every paragraph after
// it, so few large slices cost less than many small ones; 800 restyled and laid-out paragraphs stay well under a
// frame (about 9 ms on a 5,000-line note on a slow 2-core machine).
constexpr int pendingSliceSize = 800;

// How many unchanged paragraphs the dirty range spans rather than being flushed. Each flush makes Qt walk every
// paragraph after it, while an unchanged paragraph inside the range only costs its own layout again: a restyle that
// changes most paragraphs but skips blank lines would otherwise flush at every blank line, and pay one walk over the
// rest of the note each time.
constexpr int bridgedGap = 32;

} // namespace

// Collects the paragraphs whose formats changed and asks the document to lay them out again. Qt widens one pending
// "changed" range over every paragraph whose formats are set, and lays out everything inside it; so formats are set
// in runs of nearby paragraphs (a short stretch of unchanged ones between them is laid out with them), and a run is
// flushed before a paragraph far from it gets new formats.
class MarkdownHighlighter::DirtyRange {
public:
    explicit DirtyRange(QTextDocument *document)
        : m_document(document)
    {
    }
    ~DirtyRange() { flush(); }

    void prepare(const QTextBlock &block)
    {
        if (!m_first.isValid())
            return;
        const int number = block.blockNumber();
        if (number < m_first.blockNumber() - 1 - bridgedGap || number > m_last.blockNumber() + 1 + bridgedGap)
            flush();
    }

    void add(const QTextBlock &block)
    {
        if (!m_first.isValid()) {
            m_first = m_last = block;
        } else if (block.blockNumber() < m_first.blockNumber()) {
            m_first = block;
        } else if (block.blockNumber() > m_last.blockNumber()) {
            m_last = block;
        }
    }

    void flush()
    {
        if (!m_first.isValid() || !m_document)
            return;
        const int from = m_first.position();
        const int to = m_last.position() + m_last.length();
        m_first = m_last = QTextBlock();
        m_document->markContentsDirty(from, to - from);
    }

private:
    QTextDocument *m_document;
    QTextBlock m_first;
    QTextBlock m_last;
};

MarkdownHighlighter::MarkdownHighlighter(QTextDocument *document, QObject *parent)
    : QObject(parent)
    , m_document(document)
{
    m_pendingTimer.setSingleShot(true);
    m_pendingTimer.setInterval(0);
    connect(&m_pendingTimer, &QTimer::timeout, this, &MarkdownHighlighter::processPendingSlice);
    // The document only reports changes once it has a layout.
    document->documentLayout();
    connect(document, &QTextDocument::contentsChange, this, &MarkdownHighlighter::onContentsChange);
    connect(document, &QTextDocument::contentsChanged, this, &MarkdownHighlighter::onContentsChanged);
    restyleWholeDocument();
}

void MarkdownHighlighter::setTheme(const Theme &theme)
{
    if (theme == m_formats->theme())
        return;
    m_formats = MarkdownFormatCache::shared(theme);
    ++m_generation;
    restyleWholeDocument();
}

void MarkdownHighlighter::restyleAll()
{
    restyleWholeDocument();
}

void MarkdownHighlighter::setSuspended(bool suspended)
{
    if (m_suspended == suspended)
        return;
    m_suspended = suspended;
    if (!suspended)
        restyleWholeDocument();
}

QTextBlock MarkdownHighlighter::activeBlock() const
{
    return m_active.isNull() ? QTextBlock() : m_active.block();
}

TextRange MarkdownHighlighter::paragraphRange(const QTextBlock &block)
{
    const bool last = !block.next().isValid();
    return {block.position(), block.length() - (last ? 1 : 0)};
}

void MarkdownHighlighter::style(std::optional<TextRange> range, TextRange activeRange)
{
    if (!m_document)
        return;
    m_active = QTextCursor(m_document->findBlock(int(activeRange.location)));
    if (!range) {
        restyleWholeDocument();
        return;
    }
    const QString text = m_document->toRawText().replace(QChar::ParagraphSeparator, u'\n');
    const TextRange active = paragraphRange(m_active.block());
    const QList<StyledParagraph> paragraphs = MarkdownStyler::style(text, range, active);
    DirtyRange dirty(m_document);
    bool inCode = false;
    for (const StyledParagraph &paragraph : paragraphs) {
        const QTextBlock block = m_document->findBlock(int(paragraph.range.location));
        apply(block, block.text(), paragraph.style, &dirty);
        QTextBlock(block).setUserState(Styled | (inCode ? CodeBefore : 0) | (paragraph.style.fenceLine ? Fence : 0));
        if (paragraph.style.fenceLine)
            inCode = !inCode;
    }
}

void MarkdownHighlighter::setCaretPosition(int position)
{
    if (!m_document)
        return;
    const QTextBlock block = caretBlock(position);
    const QTextBlock old = activeBlock();
    if (old == block)
        return;
    m_active = block.isValid() ? QTextCursor(block) : QTextCursor();
    if (m_suspended)
        return;
    ensureLaidOut();
    DirtyRange dirty(m_document);
    restyleIsolated(old, &dirty);
    restyleIsolated(block, &dirty);
    const std::optional<FenceBlock> oldCode = enclosingFenceBlock(old);
    const std::optional<FenceBlock> newCode = enclosingFenceBlock(block);
    const bool sameCode = oldCode && newCode && oldCode->open == newCode->open;
    if (!sameCode) {
        for (const QTextBlock &changed : {old, block}) {
            if (changed.isValid())
                m_fenceFixups.append(QTextCursor(changed));
        }
        if (!hasPendingRestyle())
            runFenceFixups(&dirty);
    }
}

QTextBlock MarkdownHighlighter::caretBlock(int position) const
{
    if (position < 0)
        return {};
    const QTextBlock block = m_document->findBlock(position);
    return block.isValid() ? block : m_document->lastBlock();
}

bool MarkdownHighlighter::isInFencedCode(const QTextBlock &block)
{
    return codeBefore(block);
}

namespace {

// The span of one kind (links or checkboxes) under a document position, with its range made document-absolute.
template<typename Span>
std::optional<Span> spanAt(const QTextDocument *document, int position, QList<Span> StyledBlockData::*spans)
{
    if (!document)
        return std::nullopt;
    const QTextBlock block = document->findBlock(position);
    const auto *data = dynamic_cast<const StyledBlockData *>(block.userData());
    if (!data)
        return std::nullopt;
    for (Span span : data->*spans) {
        if (span.range.contains(position - block.position())) {
            span.range.location += block.position();
            return span;
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<LinkSpan> MarkdownHighlighter::linkAt(int position) const
{
    return spanAt(m_document.data(), position, &StyledBlockData::links);
}

std::optional<CheckboxSpan> MarkdownHighlighter::checkboxAt(int position) const
{
    return spanAt(m_document.data(), position, &StyledBlockData::checkboxes);
}

void MarkdownHighlighter::finishPendingRestyle()
{
    while (hasPendingRestyle())
        processPendingSlice();
    m_pendingTimer.stop();
}

void MarkdownHighlighter::runFenceFixups(DirtyRange *dirty)
{
    const QList<QTextCursor> blocks = std::exchange(m_fenceFixups, {});
    for (const QTextCursor &cursor : blocks) {
        restyleIsolated(cursor.block(), dirty);
        restyleFencesAround(cursor.block(), dirty);
    }
}

void MarkdownHighlighter::noteConvergence(const Propagation &propagation)
{
    // Where the state agrees again inside a code block, that block may have a new opening fence: its closing
    // fence's visibility depends on the block's extent.
    if (propagation.convergedAt.isValid() && codeBefore(propagation.convergedAt))
        m_fenceFixups.append(QTextCursor(propagation.convergedAt));
}

void MarkdownHighlighter::onContentsChange(int position, int removed, int added)
{
    // This runs inside Qt's change notification, before the edit is laid out: formats set here widen the edit's own
    // layout instead of asking for one of their own. Only text changes matter: nothing here sets document formats,
    // and laid-over formats report no change.
    if (!m_document || m_suspended || (removed == 0 && added == 0))
        return;
    const QTextBlock first = m_document->findBlock(position);
    QTextBlock last = m_document->findBlock(position + added);
    if (!last.isValid())
        last = m_document->lastBlock();
    if (!first.isValid())
        return;

    const QTextBlock oldActive = activeBlock();
    if (m_caretProvider) {
        const QTextBlock caret = caretBlock(m_caretProvider());
        m_active = caret.isValid() ? QTextCursor(caret) : QTextCursor();
    }
    const QTextBlock newActive = activeBlock();

    m_inContentsChange = true;
    DirtyRange dirty(m_document);
    bool fenceInvolved = false;
    bool inCode = codeAfter(first.previous());
    const bool startsInCode = inCode;
    for (QTextBlock block = first; block.isValid(); block = block.next()) {
        fenceInvolved = fenceInvolved || isFence(block);
        inCode = restyleBlock(block, inCode, &dirty);
        fenceInvolved = fenceInvolved || isFence(block);
        if (block == last)
            break;
    }
    // The paragraphs after the edit: restyled while their code-block state flips, up to the budget.
    const QTextBlock next = last.next();
    const bool flips = next.isValid() && (!isStyled(next) || codeBefore(next) != inCode);
    if (flips) {
        const Propagation propagation = propagate(next, inCode, m_synchronousBudget, &dirty);
        if (propagation.stoppedAt.isValid())
            schedulePending(propagation.stoppedAt);
        noteConvergence(propagation);
    }
    dirty.flush();
    m_inContentsChange = false;

    // Paragraphs that are not part of the edit are restyled once it is laid out, so that the edit's layout does not
    // stretch over everything in between: the paragraph the caret left and, around both, the fences of a code block
    // the caret entered or left.
    if (oldActive != newActive) {
        for (const QTextBlock &changed : {oldActive, newActive}) {
            if (changed.isValid()) {
                m_afterEdit.append(QTextCursor(changed));
                m_fenceFixups.append(QTextCursor(changed));
            }
        }
    }
    if (fenceInvolved || flips) {
        // The code block around the edit may have gained or lost a fence: its fences may have to show or hide.
        if (startsInCode)
            m_fenceFixups.append(QTextCursor(first));
        if (inCode)
            m_fenceFixups.append(QTextCursor(last));
    }
}

void MarkdownHighlighter::onContentsChanged()
{
    if (m_inContentsChange || !m_document || (m_afterEdit.isEmpty() && m_fenceFixups.isEmpty()))
        return;
    DirtyRange dirty(m_document);
    const QList<QTextCursor> blocks = std::exchange(m_afterEdit, {});
    for (const QTextCursor &cursor : blocks)
        restyleIsolated(cursor.block(), &dirty);
    if (!hasPendingRestyle())
        runFenceFixups(&dirty);
}

void MarkdownHighlighter::processPendingSlice()
{
    if (m_frontiers.isEmpty() || !m_document)
        return;
    ensureLaidOut();
    std::sort(m_frontiers.begin(), m_frontiers.end(),
        [](const QTextCursor &a, const QTextCursor &b) { return a.position() < b.position(); });
    const QTextBlock block = m_frontiers.takeFirst().block();
    DirtyRange dirty(m_document);
    const Propagation propagation = propagate(block, codeAfter(block.previous()), pendingSliceSize, &dirty);
    // Frontiers the slice went past are resolved.
    const int reached = propagation.stoppedAt.isValid() ? propagation.stoppedAt.position()
        : propagation.convergedAt.isValid()             ? propagation.convergedAt.position()
                                                        : m_document->characterCount();
    m_frontiers.removeIf([reached](const QTextCursor &frontier) { return frontier.position() < reached; });
    if (propagation.stoppedAt.isValid())
        schedulePending(propagation.stoppedAt);
    noteConvergence(propagation);
    if (hasPendingRestyle())
        m_pendingTimer.start();
    else
        runFenceFixups(&dirty);
}

void MarkdownHighlighter::schedulePending(const QTextBlock &from)
{
    m_frontiers.append(QTextCursor(from));
    m_pendingTimer.start();
}

MarkdownHighlighter::Propagation MarkdownHighlighter::propagate(
    QTextBlock block, bool inCode, int budget, DirtyRange *dirty)
{
    // The first paragraph is always restyled: it is where the stored states stopped agreeing.
    for (bool first = true; block.isValid(); block = block.next(), first = false) {
        if (!first && isStyled(block) && codeBefore(block) == inCode)
            return {QTextBlock(), block};
        if (budget-- <= 0)
            return {block, QTextBlock()};
        inCode = restyleBlock(block, inCode, dirty);
    }
    return {};
}

void MarkdownHighlighter::restyleIsolated(const QTextBlock &block, DirtyRange *dirty)
{
    if (!block.isValid())
        return;
    const bool inCodeAfter = restyleBlock(block, codeAfter(block.previous()), dirty);
    // Next to a left-over restyle, the paragraph may take a state the one after it does not agree with yet: that
    // paragraph is where a left-over restyle has to continue.
    const QTextBlock next = block.next();
    if (isStyled(next) && codeBefore(next) != inCodeAfter)
        schedulePending(next);
}

void MarkdownHighlighter::restyleFencesAround(const QTextBlock &block, DirtyRange *dirty)
{
    const std::optional<FenceBlock> fences = enclosingFenceBlock(block);
    if (!fences)
        return;
    restyleIsolated(fences->open, dirty);
    if (fences->close.isValid())
        restyleIsolated(fences->close, dirty);
}

bool MarkdownHighlighter::restyleBlock(const QTextBlock &block, bool inCodeBefore, DirtyRange *dirty)
{
    const QString text = block.text();
    ParagraphContext context;
    context.inCode = inCodeBefore;
    context.active = isActive(block);
    if (isFenceLine(text))
        context.fenceHidden = fenceHidden(block, inCodeBefore);
    const ParagraphStyle style = styleParagraph(text, context);
    apply(block, text, style, dirty);
    QTextBlock(block).setUserState(Styled | (inCodeBefore ? CodeBefore : 0) | (style.fenceLine ? Fence : 0));
    return inCodeBefore != style.fenceLine;
}

void MarkdownHighlighter::apply(
    const QTextBlock &block, const QString &text, const ParagraphStyle &style, DirtyRange *dirty)
{
    const qreal indent = style.block.listPrefixLength > 0
        ? m_formats->prefixWidth(text, style, m_document->defaultTextOption().tabStopDistance())
        : 0;
    auto *data = dynamic_cast<StyledBlockData *>(block.userData());
    if (data && data->themeGeneration == m_generation && data->runs == style.runs && data->block == style.block
        && data->listIndent == indent && windowFits(block, data->window)) {
        data->links = style.links;
        data->checkboxes = style.checkboxes;
        return;
    }
    if (!data) {
        data = new StyledBlockData;
        QTextBlock(block).setUserData(data);
    }
    if (dirty)
        dirty->prepare(block);

    data->runs = style.runs;
    setCharFormats(block, data);
    BlockFormatWriter::apply(block, m_formats->blockFormat(style.block, indent));

    data->block = style.block;
    data->listIndent = indent;
    data->links = style.links;
    data->checkboxes = style.checkboxes;
    data->themeGeneration = m_generation;
    if (dirty)
        dirty->add(block);
}

void MarkdownHighlighter::setCharFormats(const QTextBlock &block, StyledBlockData *data) const
{
    // Plain text needs no format of its own: it takes the document's default font (the body font) and the text
    // colour of the palette it is drawn with. Each format range costs Qt a format merge per layout, and most
    // paragraphs are all plain.
    data->window = windowFor(block);
    QList<QTextLayout::FormatRange> ranges;
    ranges.reserve(data->runs.size());
    for (const StyleRun &run : std::as_const(data->runs)) {
        if (!(run.style == CharStyle {}) && data->window.intersects(int(run.start), int(run.length)))
            ranges.append(QTextLayout::FormatRange {int(run.start), int(run.length), m_formats->charFormat(run.style)});
    }
    block.layout()->setFormats(ranges);
}

bool MarkdownHighlighter::setVisibleRange(int from, int to)
{
    m_visible = {from, to};
    if (!m_document || m_suspended)
        return false;
    ensureLaidOut();
    bool moved = false;
    DirtyRange dirty(m_document);
    for (QTextBlock block = m_document->findBlock(from); block.isValid() && block.position() <= to;
         block = block.next()) {
        auto *data = dynamic_cast<StyledBlockData *>(block.userData());
        if (!data || windowFits(block, data->window))
            continue;
        dirty.prepare(block);
        setCharFormats(block, data);
        dirty.add(block);
        moved = true;
    }
    return moved;
}

FormatWindow MarkdownHighlighter::windowFor(const QTextBlock &block) const
{
    if (!m_visible)
        return FormatWindow::whole();
    const int start = block.position();
    return FormatWindow::around(block.length() - 1, m_visible->first - start, m_visible->second - start);
}

bool MarkdownHighlighter::windowFits(const QTextBlock &block, const FormatWindow &window) const
{
    if (!m_visible)
        return window == FormatWindow::whole();
    const int start = block.position();
    return window.covers(block.length() - 1, m_visible->first - start, m_visible->second - start);
}

void MarkdownHighlighter::restyleWholeDocument()
{
    if (!m_document)
        return;
    m_frontiers.clear();
    m_pendingTimer.stop();
    m_afterEdit.clear();
    m_fenceFixups.clear();
    if (m_document->isEmpty()) {
        // An empty text is left untouched; only the font it will be typed in is set.
        m_document->setDefaultFont(m_formats->font(FontRole::Body));
        return;
    }

    const bool layoutWasEnabled = m_document->isLayoutEnabled();
    m_document->setLayoutEnabled(false);
    const QFont body = m_formats->font(FontRole::Body);
    if (m_document->defaultFont() != body)
        m_document->setDefaultFont(body);
    bool inCode = false;
    for (QTextBlock block = m_document->firstBlock(); block.isValid(); block = block.next())
        inCode = restyleBlock(block, inCode, nullptr);
    // Consumes the change Qt recorded for the new formats, so that it is not merged into the next edit's layout.
    m_document->markContentsDirty(0, m_document->characterCount());
    m_document->setLayoutEnabled(layoutWasEnabled);
    ensureLaidOut();
}

bool MarkdownHighlighter::isActive(const QTextBlock &block) const
{
    return !m_active.isNull() && m_active.block() == block;
}

bool MarkdownHighlighter::fenceHidden(const QTextBlock &fence, bool inCodeBefore) const
{
    // Found by the paragraphs' text, not by stored state: during a pass the paragraphs after this one are not
    // styled yet.
    FenceBlock block;
    if (inCodeBefore) {
        block.close = fence;
        for (QTextBlock b = fence.previous(); b.isValid(); b = b.previous()) {
            if (isFenceLine(b.text())) {
                block.open = b;
                break;
            }
        }
    } else {
        block.open = fence;
        for (QTextBlock b = fence.next(); b.isValid(); b = b.next()) {
            if (isFenceLine(b.text())) {
                block.close = b;
                break;
            }
        }
    }
    if (!block.open.isValid() || !block.close.isValid())
        return false; // an unclosed block's fence stays visible
    const QTextBlock active = activeBlock();
    if (!active.isValid())
        return true;
    const int number = active.blockNumber();
    return number < block.open.blockNumber() || number > block.close.blockNumber();
}

std::optional<MarkdownHighlighter::FenceBlock> MarkdownHighlighter::enclosingFenceBlock(const QTextBlock &block) const
{
    if (!block.isValid() || !(codeBefore(block) || isFence(block)))
        return std::nullopt;
    FenceBlock fences;
    if (isFence(block) && !codeBefore(block)) {
        fences.open = block;
    } else {
        for (QTextBlock b = block.previous(); b.isValid(); b = b.previous()) {
            if (isFence(b)) {
                fences.open = b;
                break;
            }
        }
    }
    if (isFence(block) && codeBefore(block)) {
        fences.close = block;
    } else {
        for (QTextBlock b = block.next(); b.isValid(); b = b.next()) {
            if (isFence(b)) {
                fences.close = b;
                break;
            }
        }
    }
    if (!fences.open.isValid())
        return std::nullopt;
    return fences;
}

void MarkdownHighlighter::ensureLaidOut() const
{
    // Qt lays out long documents lazily after a full layout; a paragraph re-laid-out during that time leaves the
    // rest of the document never laid out (blank space below the first screens). Finishing the layout first avoids
    // it, and costs nothing when it is done.
    if (m_document && m_document->isLayoutEnabled() && !m_document->pageSize().isNull())
        m_document->documentLayout()->documentSize();
}

// The live Markdown editor's costs on a long (5,000 lines, ~260 KB) and a short (300 lines) note: a full restyle
// against a plain QSyntaxHighlighter floor, one keystroke, the caret moving to another paragraph, and a fence opened
// in the middle of the long note. Targets (medians): full restyle at most twice the floor; a keystroke at most 2 ms
// (long) and 0.5 ms (short); a caret move at most 3 ms; opening a fence at most 15 ms, and its restyle to completion
// at most twice a three-format highlighter's in a QTextEdit, with no slice over 16 ms. Within one long paragraph:
// styling grows linearly with its length, and a keystroke in a 100,000-character paragraph dense with markers costs
// at most twice a plain QTextEdit's.
#include "editor/MarkdownHighlighter.h"
#include "editor/MarkdownStyler.h"
#include "editor/MarkdownTextView.h"

#include "BenchmarkRun.h"
#include "GeneratedMarkdown.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QRandomGenerator>
#include <QSyntaxHighlighter>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextEdit>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>

namespace {

const QString &longNote()
{
    static const QString note = GeneratedMarkdown::note(5000);
    return note;
}

const QString &shortNote()
{
    static const QString note = GeneratedMarkdown::note(300);
    return note;
}

// The floor: a plain highlighter that sets three formats per line.
class FloorHighlighter : public QSyntaxHighlighter {
public:
    using QSyntaxHighlighter::QSyntaxHighlighter;
    void toggle() { m_alternate = !m_alternate; }

protected:
    void highlightBlock(const QString &text) override
    {
        const int third = int(text.size()) / 3;
        QTextCharFormat a;
        a.setForeground(m_alternate ? Qt::darkBlue : Qt::darkRed);
        QTextCharFormat b;
        b.setFontWeight(QFont::Bold);
        QTextCharFormat c;
        c.setFontItalic(true);
        setFormat(0, third, a);
        setFormat(third, third, b);
        setFormat(2 * third, int(text.size()) - 2 * third, c);
    }

private:
    bool m_alternate = false;
};

// A plain QTextEdit the size of the editor, shown with the text (a highlighter attached beforehand styles the text
// within its own layout: attached afterwards, its first pass lays the note out once per paragraph).
void showPlain(QTextEdit &view, const QString &text)
{
    view.setAcceptRichText(false);
    view.resize(400, 600);
    view.setPlainText(text);
    view.show();
    QCoreApplication::processEvents();
}

void fullStyleFloor(benchmark::State &state)
{
    QTextDocument document;
    document.setPlainText(longNote());
    document.setTextWidth(400);
    FloorHighlighter highlighter(&document);
    for (auto _ : state) {
        highlighter.toggle();
        document.setLayoutEnabled(false);
        highlighter.rehighlight();
        document.setLayoutEnabled(true);
        benchmark::DoNotOptimize(document.documentLayout()->documentSize());
    }
}

void fullStyle(benchmark::State &state)
{
    QTextDocument document;
    document.setPlainText(longNote());
    document.setTextWidth(400);
    MarkdownHighlighter highlighter(&document);
    bool dark = false;
    for (auto _ : state) {
        // Another theme changes every format, so nothing is skipped as unchanged.
        dark = !dark;
        highlighter.setTheme(Theme {12, std::nullopt, dark});
        benchmark::DoNotOptimize(document.documentLayout()->documentSize());
    }
}

std::unique_ptr<MarkdownTextView> editorWith(const QString &text)
{
    auto view = std::make_unique<MarkdownTextView>();
    view->resize(400, 600);
    view->setMarkdown(text);
    // Shown, so that the document gets the viewport's width and is laid out; the benchmarks never process events
    // afterwards, so nothing is painted while they measure.
    view->show();
    QCoreApplication::processEvents();
    return view;
}

// A plain paragraph in the middle of the note (one of the generated sentences).
QTextBlock middleParagraph(QTextDocument *document)
{
    QTextBlock block = document->findBlockByNumber(document->blockCount() / 2);
    while (block.isValid() && !block.text().endsWith(QStringLiteral("[[Other note]]")))
        block = block.next();
    return block;
}

void sendKey(QWidget *widget, int key, const QString &text)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(widget, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, text);
    QCoreApplication::sendEvent(widget, &release);
}

// Types a letter where the caret is and takes it back outside the timing.
void typeAndUndo(benchmark::State &state, QTextEdit *view)
{
    const int length = view->document()->characterCount();
    for (auto _ : state) {
        sendKey(view, Qt::Key_A, QStringLiteral("a"));
        state.PauseTiming();
        if (view->document()->characterCount() != length + 1)
            state.SkipWithError("the keystroke did not reach the text");
        sendKey(view, Qt::Key_Backspace, QString());
        state.ResumeTiming();
    }
}

void keystroke(benchmark::State &state, const QString &note)
{
    const auto view = editorWith(note);
    QTextCursor caret(middleParagraph(view->document()));
    caret.movePosition(QTextCursor::EndOfWord);
    view->setTextCursor(caret);
    typeAndUndo(state, view.get());
}

void keystrokeLong(benchmark::State &state)
{
    keystroke(state, longNote());
}

void keystrokeShort(benchmark::State &state)
{
    keystroke(state, shortNote());
}

void caretMoveLong(benchmark::State &state)
{
    const auto view = editorWith(longNote());
    // Only the editor with the keyboard shows the markers of the caret's paragraph.
    // Focus that comes with window activation waits for a possible click, so it is given again from the program.
    view->activateWindow();
    QCoreApplication::processEvents();
    view->clearFocus();
    view->setFocus(Qt::OtherFocusReason);
    // Two neighbouring paragraphs that both have markers to show and hide.
    QTextBlock first = middleParagraph(view->document());
    while (!first.text().contains(u'*') || !first.next().text().contains(u'*'))
        first = first.next();
    const int positions[2] = {first.position() + 3, first.next().position() + 3};
    int which = 0;
    for (auto _ : state) {
        which = 1 - which;
        QTextCursor caret(view->document());
        caret.setPosition(positions[which]);
        view->setTextCursor(caret);
    }
}

// Typing the third backtick of a fence at the start of a paragraph in the middle of the long note: every paragraph
// after it changes its code-block state. openFenceLong measures the keystroke with what is restyled at once (the
// rest follows in slices on the event loop); openFenceLongUntilComplete adds those slices, run back to back.
void openFence(benchmark::State &state, bool untilComplete)
{
    const auto view = editorWith(longNote());
    const QTextBlock target = middleParagraph(view->document());
    QTextCursor caret(target);
    view->setTextCursor(caret);
    sendKey(view.get(), Qt::Key_QuoteLeft, QStringLiteral("`"));
    sendKey(view.get(), Qt::Key_QuoteLeft, QStringLiteral("`"));
    for (auto _ : state) {
        sendKey(view.get(), Qt::Key_QuoteLeft, QStringLiteral("`"));
        if (untilComplete)
            view->highlighter()->finishPendingRestyle();
        state.PauseTiming();
        view->highlighter()->finishPendingRestyle();
        sendKey(view.get(), Qt::Key_Backspace, QString());
        view->highlighter()->finishPendingRestyle();
        state.ResumeTiming();
    }
}

// The floor for a fence flip: a minimal Markdown highlighter with three formats (headings, emphasis, code blocks) whose
// code-block state QSyntaxHighlighter carries from paragraph to paragraph, restyling everything after a flipped fence
// at once.
class FenceFloorHighlighter : public QSyntaxHighlighter {
public:
    explicit FenceFloorHighlighter(QTextDocument *document)
        : QSyntaxHighlighter(document)
    {
        m_heading.setFontWeight(QFont::Bold);
        m_heading.setFontPointSize(16);
        m_emphasis.setFontItalic(true);
        m_code.setFontFamilies({QStringLiteral("monospace")});
    }

protected:
    void highlightBlock(const QString &text) override
    {
        const bool fence = text.startsWith(QStringLiteral("```"));
        const bool inCode = previousBlockState() == 1;
        setCurrentBlockState(inCode != fence ? 1 : 0);
        if (inCode || fence) {
            setFormat(0, int(text.size()), m_code);
            return;
        }
        if (text.startsWith(u'#')) {
            setFormat(0, int(text.size()), m_heading);
            return;
        }
        for (qsizetype open = text.indexOf(u'*'); open >= 0;) {
            const qsizetype close = text.indexOf(u'*', open + 1);
            if (close < 0)
                break;
            setFormat(int(open), int(close - open + 1), m_emphasis);
            open = text.indexOf(u'*', close + 1);
        }
    }

private:
    QTextCharFormat m_heading;
    QTextCharFormat m_emphasis;
    QTextCharFormat m_code;
};

// Typing a fence's third backtick in the middle paragraph of a plain QTextEdit the size of the editor, with the floor
// highlighter: QSyntaxHighlighter restyles everything after it within the keystroke.
void openFenceLongFloor(benchmark::State &state)
{
    QTextEdit view;
    FenceFloorHighlighter highlighter(view.document());
    showPlain(view, longNote());
    view.document()->documentLayout()->documentSize();
    view.setTextCursor(QTextCursor(middleParagraph(view.document())));
    sendKey(&view, Qt::Key_QuoteLeft, QStringLiteral("`"));
    sendKey(&view, Qt::Key_QuoteLeft, QStringLiteral("`"));
    for (auto _ : state) {
        sendKey(&view, Qt::Key_QuoteLeft, QStringLiteral("`"));
        state.PauseTiming();
        sendKey(&view, Qt::Key_Backspace, QString());
        state.ResumeTiming();
    }
}

// The same fence flip finished by the event loop, as in the running app: the keystroke, then one slice per return
// to the event loop. Reports the longest time the event loop was kept waiting (the keystroke or one slice).
void openFenceLongOnEventLoop(benchmark::State &state)
{
    const auto view = editorWith(longNote());
    view->setTextCursor(QTextCursor(middleParagraph(view->document())));
    sendKey(view.get(), Qt::Key_QuoteLeft, QStringLiteral("`"));
    sendKey(view.get(), Qt::Key_QuoteLeft, QStringLiteral("`"));
    QCoreApplication::processEvents();
    double longest = 0;
    QElapsedTimer clock;
    const auto timed = [&](const auto &step) {
        clock.start();
        step();
        longest = std::max(longest, clock.nsecsElapsed() / 1e6);
    };
    for (auto _ : state) {
        timed([&] { sendKey(view.get(), Qt::Key_QuoteLeft, QStringLiteral("`")); });
        while (view->highlighter()->hasPendingRestyle())
            timed([] { QCoreApplication::processEvents(); });
        state.PauseTiming();
        sendKey(view.get(), Qt::Key_Backspace, QString());
        view->highlighter()->finishPendingRestyle();
        QCoreApplication::processEvents();
        state.ResumeTiming();
    }
    state.counters["longest_slice_ms"] = benchmark::Counter(longest);
}

void openFenceLong(benchmark::State &state)
{
    openFence(state, false);
}

void openFenceLongUntilComplete(benchmark::State &state)
{
    openFence(state, true);
}

// One paragraph of 100,000 characters dense with markers of every inline kind, some of them left unpaired.
const QString &denseParagraph()
{
    static const QString paragraph = [] {
        const QStringList pieces = {QStringLiteral("*one* "), QStringLiteral("**two** "), QStringLiteral("_three_ "),
            QStringLiteral("`code` "), QStringLiteral("[link](https://example.com/a) "), QStringLiteral("#tag "),
            QStringLiteral("~~gone~~ "), QStringLiteral("==marked== "), QStringLiteral("[[Other note]] "),
            QStringLiteral("*open "), QStringLiteral("close_ "), QStringLiteral("a**b "), QStringLiteral("snake_case "),
            QStringLiteral("https://example.com/x* "), QStringLiteral("***all*** ")};
        QRandomGenerator random(11);
        QString out;
        while (out.size() < 100000)
            out += pieces[random.bounded(pieces.size())];
        out.truncate(100000);
        return out;
    }();
    return paragraph;
}

// Many openers of one kind before many closers of the other: no opener of the right kind is ever found, and a
// matcher that searches the whole stack for each closer is quadratic in the paragraph's length.
const QString &unmatchedEmphasisParagraph()
{
    static const QString paragraph = QStringLiteral("*a ").repeated(12500) + QStringLiteral("b_ ").repeated(12500);
    return paragraph;
}

void styleWhole(benchmark::State &state, const QString &text)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(MarkdownStyler::style(text, std::nullopt, MarkdownStyler::TextRange {}));
}

void styleUnmatchedEmphasis(benchmark::State &state)
{
    styleWhole(state, unmatchedEmphasisParagraph());
}

void styleDenseParagraph(benchmark::State &state)
{
    styleWhole(state, denseParagraph());
}

// A keystroke in the middle of the dense paragraph, in the editor and (the floor) in a plain QTextEdit.
void keystrokeDenseParagraph(benchmark::State &state)
{
    const auto view = editorWith(denseParagraph());
    QTextCursor caret(view->document());
    caret.setPosition(int(denseParagraph().size() / 2));
    view->setTextCursor(caret);
    typeAndUndo(state, view.get());
}

void keystrokeDenseParagraphFloor(benchmark::State &state)
{
    QTextEdit view;
    showPlain(view, denseParagraph());
    QTextCursor caret(view.document());
    caret.setPosition(int(denseParagraph().size() / 2));
    view.setTextCursor(caret);
    typeAndUndo(state, &view);
}

// The same keystroke in a QTextEdit whose QSyntaxHighlighter lays exactly the editor's character formats over the
// paragraph: what Qt's layout costs for those formats alone, without the editor's own work.
class SameFormatsHighlighter : public QSyntaxHighlighter {
public:
    using QSyntaxHighlighter::QSyntaxHighlighter;

protected:
    void highlightBlock(const QString &text) override
    {
        const MarkdownStyler::ParagraphStyle style = MarkdownStyler::styleParagraph(text, {});
        for (const MarkdownStyler::StyleRun &run : style.runs) {
            if (!(run.style == MarkdownStyler::CharStyle {}))
                setFormat(int(run.start), int(run.length), m_formats.charFormat(run.style));
        }
    }

private:
    MarkdownFormatCache m_formats;
};

void keystrokeDenseParagraphSameFormats(benchmark::State &state)
{
    QTextEdit view;
    SameFormatsHighlighter highlighter(view.document());
    showPlain(view, denseParagraph());
    QTextCursor caret(view.document());
    caret.setPosition(int(denseParagraph().size() / 2));
    view.setTextCursor(caret);
    typeAndUndo(state, &view);
}

} // namespace

BENCHMARK(fullStyleFloor)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(fullStyle)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(keystrokeLong)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(keystrokeShort)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(caretMoveLong)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(openFenceLong)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(openFenceLongUntilComplete)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(openFenceLongFloor)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(openFenceLongOnEventLoop)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(styleUnmatchedEmphasis)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(styleDenseParagraph)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(keystrokeDenseParagraph)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(keystrokeDenseParagraphFloor)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(keystrokeDenseParagraphSameFormats)->Unit(benchmark::kMillisecond)->UseRealTime();

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    return runBenchmarks(argc, argv);
}

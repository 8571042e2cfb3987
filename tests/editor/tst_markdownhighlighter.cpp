// The adapter over a QTextDocument: formats equal to the pure rules after any edit, hidden markers that take no room,
// paragraph formats that leave undo alone, and restyling that never reports a text change.
#include "StyleDump.h"
#include "editor/HiddenFont.h"
#include "editor/MarkdownHighlighter.h"
#include "editor/StyledBlockData.h"

#include <QAbstractTextDocumentLayout>
#include <QGlyphRun>
#include <QRandomGenerator>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextLayout>

using namespace MarkdownStyler;

namespace {

struct Fixture {
    explicit Fixture(const QString &text, int width = 600)
    {
        document.setPlainText(text);
        document.setTextWidth(width);
        highlighter = std::make_unique<MarkdownHighlighter>(&document);
    }
    QTextDocument document;
    std::unique_ptr<MarkdownHighlighter> highlighter;
};

QString plainText(const QTextDocument &document)
{
    return document.toRawText().replace(QChar::ParagraphSeparator, u'\n');
}

// Every paragraph carries what the pure rules say for the whole text with the highlighter's active paragraph.
QString mismatch(const QTextDocument &document, const MarkdownHighlighter &highlighter)
{
    const QString text = plainText(document);
    const QTextBlock active = highlighter.activeBlock();
    const TextRange activeRange
        = active.isValid() ? MarkdownHighlighter::paragraphRange(active) : TextRange {text.size() + 1, 0};
    const QList<StyledParagraph> expected = style(text, std::nullopt, activeRange);
    QTextBlock block = document.firstBlock();
    for (const StyledParagraph &paragraph : expected) {
        const auto *data = dynamic_cast<const StyledBlockData *>(block.userData());
        if (!data)
            return QStringLiteral("paragraph %1 is not styled").arg(block.blockNumber());
        if (data->runs != paragraph.style.runs || data->block != paragraph.style.block)
            return QStringLiteral("paragraph %1 \"%2\" is styled wrongly").arg(block.blockNumber()).arg(block.text());
        // Plain runs take the document's defaults and have no format of their own.
        QList<StyleRun> styledRuns = paragraph.style.runs;
        styledRuns.removeIf([](const StyleRun &run) { return run.style == CharStyle {}; });
        const QList<QTextLayout::FormatRange> formats = block.layout()->formats();
        if (formats.size() != styledRuns.size())
            return QStringLiteral("paragraph %1 has %2 formats").arg(block.blockNumber()).arg(formats.size());
        for (qsizetype i = 0; i < formats.size(); ++i) {
            const StyleRun &run = styledRuns[i];
            if (formats[i].start != run.start || formats[i].length != run.length
                || formats[i].format != highlighter.formats().charFormat(run.style))
                return QStringLiteral("paragraph %1 run %2 is laid out wrongly").arg(block.blockNumber()).arg(i);
        }
        block = block.next();
    }
    return {};
}

// A paragraph whose formats changed without a new layout shows the old look: lay everything out afresh and
// compare.
QString staleLayout(QTextDocument &document)
{
    const auto geometry = [&document] {
        document.documentLayout()->documentSize();
        QList<QList<qreal>> out;
        for (QTextBlock block = document.firstBlock(); block.isValid(); block = block.next()) {
            QList<qreal> lines {block.layout()->position().y()};
            for (int i = 0; i < block.layout()->lineCount(); ++i)
                lines << block.layout()->lineAt(i).naturalTextWidth() << block.layout()->lineAt(i).height();
            out << lines;
        }
        return out;
    };
    const QList<QList<qreal>> before = geometry();
    document.markContentsDirty(0, document.characterCount());
    const QList<QList<qreal>> after = geometry();
    for (qsizetype number = 0; number < after.size(); ++number) {
        if (after[number] != before.value(number))
            return QStringLiteral("paragraph %1 \"%2\" was not laid out again")
                .arg(number)
                .arg(document.findBlockByNumber(int(number)).text());
    }
    return {};
}

void edit(QTextDocument &document, int position, int removed, const QString &inserted)
{
    QTextCursor cursor(&document);
    cursor.setPosition(position);
    cursor.setPosition(position + removed, QTextCursor::KeepAnchor);
    cursor.insertText(inserted);
}

qreal xAt(const QTextBlock &block, int index)
{
    return block.layout()->lineForTextPosition(index).cursorToX(index);
}

} // namespace

class MarkdownHighlighterTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void styleEntryPointRestylesARange()
    {
        // The rules' entry point over a range: like the pure function, a range that starts inside a code block styles
        // its lines as text, and paragraphs outside the range keep their styles.
        const QString text = QStringLiteral("```\n*x*\n```\n**y**");
        Fixture f(text);
        const QTextBlock code = f.document.findBlockByNumber(1);
        const auto runsOf
            = [](const QTextBlock &block) { return dynamic_cast<const StyledBlockData *>(block.userData())->runs; };
        const QList<StyleRun> last = runsOf(f.document.lastBlock());
        const TextRange elsewhere {text.size(), 0};
        f.highlighter->style(TextRange {4, 3}, elsewhere);
        const QList<StyledParagraph> expected = style(text, TextRange {4, 3}, elsewhere);
        QCOMPARE(runsOf(code), expected.first().style.runs);
        QCOMPARE(runsOf(f.document.lastBlock()), last);

        // The whole text again: the code block is code once more.
        f.highlighter->style(std::nullopt, elsewhere);
        QCOMPARE(mismatch(f.document, *f.highlighter), QString());
    }

    void editsKeepTheStylesExact_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("position");
        QTest::addColumn<int>("removed");
        QTest::addColumn<QString>("inserted");
        QTest::addColumn<int>("caret"); // after the edit

        const auto row = [](const char *name, const QString &text, int position, int removed, const QString &inserted,
                             int caret) { QTest::newRow(name) << text << position << removed << inserted << caret; };
        const QString blocks = QStringLiteral("a\n```\nb\n```\nc *d*\n```\ne\n```\nf");
        row("nominal: opening a fence flips everything after it", blocks, 0, 0, "```\n", 0);
        row("nominal: removing a closing fence shows the opening one", blocks, 8, 4, "", 0);
        row("nominal: closing an unclosed block", "a\n```\nb\nc", 8, 0, "```\n", 0);
        row("nominal: typing inside a code block keeps it code", blocks, 6, 0, "*x*", 6);
        row("edge: joining a fence with the next line", blocks, 5, 1, "", 0);
        row("nominal: Return splits a heading", "# Head line\nx", 6, 0, "\n", 7);
        row("nominal: the caret's new paragraph is active at once", "# a\n# b", 7, 0, "c", 8);
        row("edge: deleting everything", blocks, 0, int(blocks.size()), "", 0);
    }

    void editsKeepTheStylesExact()
    {
        QFETCH(QString, text);
        QFETCH(int, position);
        QFETCH(int, removed);
        QFETCH(QString, inserted);
        QFETCH(int, caret);

        Fixture f(text);
        f.highlighter->setCaretPosition(caret);
        int caretAfter = caret;
        f.highlighter->setCaretProvider([&caretAfter] { return caretAfter; });
        edit(f.document, position, removed, inserted);
        f.highlighter->finishPendingRestyle();
        QCOMPARE(mismatch(f.document, *f.highlighter), QString());
        QCOMPARE(staleLayout(f.document), QString());

        // The caret leaving for the last paragraph hides what it showed.
        caretAfter = f.document.characterCount() - 1;
        f.highlighter->setCaretPosition(caretAfter);
        QCOMPARE(mismatch(f.document, *f.highlighter), QString());
        QCOMPARE(staleLayout(f.document), QString());
    }

    void randomEditsKeepTheStylesExact_data()
    {
        QTest::addColumn<int>("budget");
        QTest::addColumn<bool>("overlapping");
        QTest::newRow("nominal: flips restyled at once") << 1000 << false;
        QTest::newRow("nominal: small budget, left-overs finished after each edit") << 7 << false;
        QTest::newRow("robustness: edits while left-overs are still pending") << 7 << true;
    }

    void randomEditsKeepTheStylesExact()
    {
        // Edits of Markdown pieces at random places, with the caret wandering: once all restyling is done, the document
        // must look exactly as the pure rules say for its whole text.
        QFETCH(int, budget);
        QFETCH(bool, overlapping);
        const QStringList pieces
            = {"```", "```\n", "\n", "# ", "- [ ] ", "*", "**", "`", "x", "\n```\n", "> ", "[a](b)"};
        const int seed
            = qEnvironmentVariableIsSet("TACKPAD_SEED") ? qEnvironmentVariableIntValue("TACKPAD_SEED") : 20240611;
        const int rounds
            = qEnvironmentVariableIsSet("TACKPAD_ROUNDS") ? qEnvironmentVariableIntValue("TACKPAD_ROUNDS") : 400;
        QRandomGenerator random(seed);
        Fixture f(QStringLiteral("start\n```\ncode\n```\n# head\n- item\nend"));
        f.highlighter->setSynchronousBudget(budget);
        int caret = 0;
        f.highlighter->setCaretProvider([&caret] { return caret; });
        for (int round = 0; round < rounds; ++round) {
            const int length = f.document.characterCount() - 1;
            const int position = int(random.bounded(length + 1));
            const int removed = random.bounded(4) == 0 ? int(random.bounded(qMin(8, length - position) + 1)) : 0;
            const QString inserted
                = removed > 0 && random.bounded(2) ? QString() : pieces[random.bounded(pieces.size())];
            caret = qMin(position + int(inserted.size()), length - removed + int(inserted.size()));
            edit(f.document, position, removed, inserted);
            if (round % 3 == 0) {
                caret = int(random.bounded(f.document.characterCount()));
                f.highlighter->setCaretPosition(caret);
            }
            if (overlapping && random.bounded(3) != 0)
                continue;
            f.highlighter->finishPendingRestyle();
            QString problem = mismatch(f.document, *f.highlighter);
            if (problem.isEmpty() && round % 10 == 0)
                problem = staleLayout(f.document);
            if (!problem.isEmpty())
                QFAIL(qPrintable(QStringLiteral("round %1: %2\n%3").arg(round).arg(problem, plainText(f.document))));
        }
        f.highlighter->finishPendingRestyle();
        QCOMPARE(mismatch(f.document, *f.highlighter), QString());
    }

    void longFlipsFinishOnTheEventLoop()
    {
        QString text;
        for (int i = 0; i < 60; ++i)
            text += QStringLiteral("line *%1*\n").arg(i);
        Fixture f(text);
        f.highlighter->setSynchronousBudget(5);
        edit(f.document, 0, 0, QStringLiteral("```\n"));
        QVERIFY(f.highlighter->hasPendingRestyle());
        QVERIFY(!mismatch(f.document, *f.highlighter).isEmpty());
        QTRY_VERIFY(!f.highlighter->hasPendingRestyle());
        QCOMPARE(mismatch(f.document, *f.highlighter), QString());
    }

    void hiddenMarkersTakeNoRoom_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("markerStart");
        QTest::addColumn<int>("firstVisible");

        QTest::newRow("nominal: heading marker") << "## Title" << 0 << 3;
        QTest::newRow("nominal: link address") << "a [link](https://example.com/a/long/address) b" << 7 << 44;
        QTest::newRow("nominal: strike and highlight") << "~~s~~==h==" << 3 << 7;
        QTest::newRow("nominal: non-Latin address") << "[ссылка](адрес) и" << 7 << 15;
        QTest::newRow("nominal: CJK emphasis") << "日本**語**" << 2 << 4;
    }

    void hiddenMarkersTakeNoRoom()
    {
        QFETCH(QString, line);
        QFETCH(int, markerStart);
        QFETCH(int, firstVisible);

        Fixture f(line + QStringLiteral("\nother"));
        f.highlighter->setCaretPosition(f.document.characterCount() - 1);
        const QTextBlock block = f.document.firstBlock();
        QCOMPARE(xAt(block, firstVisible), xAt(block, markerStart));

        // With the caret on it, the markers show and take their room.
        f.highlighter->setCaretPosition(0);
        QVERIFY(xAt(block, firstVisible) > xAt(block, markerStart) + 1);
    }

    void hiddenFontIsNoFallbackForVisibleText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("nominal: emoji after Latin") << QStringLiteral("Welcome 👋");
        QTest::newRow("nominal: a script the body font may lack") << QStringLiteral("ᚠᚢᚦ ꦲꦏ");
    }

    void hiddenFontIsNoFallbackForVisibleText()
    {
        // Characters the body font lacks are drawn by a real fallback font (or as a missing-glyph box), never by the
        // hidden font: they must not vanish from every text of the application.
        QFETCH(QString, text);
        Fixture f(QStringLiteral("**x** ") + text);
        QCOMPARE(f.document.lastBlock().layout()->formats().first().format.fontFamilies().toStringList(),
            QStringList {HiddenFont::family()});
        QTextLayout layout(text, f.highlighter->formats().font(FontRole::Body));
        layout.beginLayout();
        const QTextLine line = layout.createLine();
        layout.endLayout();
        for (const QGlyphRun &run : layout.glyphRuns())
            QVERIFY2(run.rawFont().familyName() != HiddenFont::family(), qPrintable(run.rawFont().familyName()));
        QVERIFY(line.naturalTextWidth() > QFontMetricsF(layout.font()).horizontalAdvance(text.section(u' ', 0, 0)));
    }

    void hiddenMarkersKeepTheLineHeight()
    {
        Fixture f(QStringLiteral("## Title\n# \ntext"));
        const QTextBlock heading = f.document.firstBlock();
        f.highlighter->setCaretPosition(0);
        const qreal shown = heading.layout()->lineAt(0).height();
        f.highlighter->setCaretPosition(f.document.characterCount() - 1);
        QCOMPARE(heading.layout()->lineAt(0).height(), shown);
        QCOMPARE(heading.layout()->boundingRect().height(), shown);

        // An inactive "# " shows nothing, but keeps most of a line's height rather than collapsing.
        const qreal hidden = heading.next().layout()->lineAt(0).height();
        const qreal text = f.document.lastBlock().layout()->lineAt(0).height();
        QVERIFY2(
            hidden > 0.6 * text && hidden <= text * 1.6, qPrintable(QStringLiteral("%1 vs %2").arg(hidden).arg(text)));
    }

    void listIndentAlignsWrappedLines()
    {
        const QString words = QStringLiteral("word ").repeated(40);
        for (const QString &prefix : {QStringLiteral("- "), QStringLiteral("12. "), QStringLiteral("- [ ] ")}) {
            Fixture f(prefix + words + QStringLiteral("\nother"), 300);
            f.highlighter->setCaretPosition(f.document.characterCount() - 1);
            const QTextBlock item = f.document.firstBlock();
            QVERIFY(item.layout()->lineCount() > 1);
            const qreal textStart = xAt(item, int(prefix.size()));
            const QTextLine second = item.layout()->lineAt(1);
            QVERIFY2(qAbs(second.cursorToX(second.textStart()) - textStart) < 0.5, qPrintable(prefix));
            QCOMPARE(item.blockFormat().leftMargin(), -item.blockFormat().textIndent());
        }
    }

    void restylingIsNoEdit()
    {
        Fixture f(QStringLiteral("# a\n**b**\n```\nc\n```"));
        f.document.setModified(false);
        const int undoSteps = f.document.availableUndoSteps();
        QSignalSpy changes(&f.document, &QTextDocument::contentsChange);
        QSignalSpy undoAdded(&f.document, &QTextDocument::undoCommandAdded);
        QSignalSpy modified(&f.document, &QTextDocument::modificationChanged);

        for (int position : {0, 5, 12, 0})
            f.highlighter->setCaretPosition(position);
        f.highlighter->setTheme(Theme {14, std::nullopt, true});
        f.highlighter->restyleAll();

        QCOMPARE(changes.count() + undoAdded.count() + modified.count(), 0);
        QCOMPARE(f.document.availableUndoSteps(), undoSteps);
    }

    void oneLayoutPerKeystroke()
    {
        Fixture f(QStringLiteral("# a\nb\nc"));
        int caret = 5;
        f.highlighter->setCaretProvider([&caret] { return caret; });
        f.highlighter->setCaretPosition(caret);
        QSignalSpy changes(&f.document, &QTextDocument::contentsChange);
        QSignalSpy layouts(f.document.documentLayout(), &QAbstractTextDocumentLayout::update);
        edit(f.document, 5, 0, QStringLiteral("x"));
        caret = 6;
        f.highlighter->setCaretPosition(caret);
        QCOMPARE(changes.count(), 1);
        QCOMPARE(layouts.count(), 1);
    }

    void undoAndRedoStayExact()
    {
        const QString original = QStringLiteral("Title\nbody - item");
        Fixture f(original);
        int caret = 0;
        f.highlighter->setCaretProvider([&caret] { return caret; });
        QTextCursor typing(&f.document);
        typing.beginEditBlock();
        for (const QString &c : {QStringLiteral("#"), QStringLiteral("#"), QStringLiteral(" ")}) {
            typing.insertText(c);
            caret = typing.position();
        }
        typing.endEditBlock();
        QVERIFY(f.document.firstBlock().blockFormat().topMargin() > 0); // heading spacing
        const int steps = f.document.availableUndoSteps();

        caret = 14;
        f.highlighter->setCaretPosition(caret); // restyles the heading: no undo step of its own
        QCOMPARE(f.document.availableUndoSteps(), steps);

        f.document.undo();
        QCOMPARE(plainText(f.document), original);
        QCOMPARE(f.document.availableUndoSteps(), 0);
        QCOMPARE(f.document.firstBlock().blockFormat().topMargin(), 0.0);
        f.document.redo();
        QCOMPARE(plainText(f.document), QStringLiteral("## Title\nbody - item"));
        QCOMPARE(mismatch(f.document, *f.highlighter), QString());
    }

    // The active paragraph is held by a cursor: text inserted above does not change which paragraph it is.
    void caretMoveSwapsMarkers()
    {
        Fixture f(QStringLiteral("**a**\n**b**"));
        f.highlighter->setCaretPosition(8);
        QCOMPARE(f.highlighter->activeBlock().blockNumber(), 1);
        edit(f.document, 0, 0, QStringLiteral("new\n"));
        QCOMPARE(f.highlighter->activeBlock().text(), QStringLiteral("**b**"));
    }

    void themeChangeRestylesEverything()
    {
        Fixture f(QStringLiteral("[a](b) #tag\n# b"));
        const auto linkColour
            = [&] { return f.document.firstBlock().layout()->formats().at(1).format.foreground().color(); };
        const QColor light = linkColour();
        f.highlighter->setTheme(Theme {16, std::nullopt, true});
        QVERIFY(linkColour() != light);
        QCOMPARE(f.document.defaultFont().pointSizeF(), 16.0);
        QVERIFY(f.document.lastBlock().layout()->formats().last().format.font().pointSizeF() > 16);
        QVERIFY(f.document.isLayoutEnabled());
        QCOMPARE(mismatch(f.document, *f.highlighter), QString());
    }

    void hitTestingRangesFollowEdits()
    {
        Fixture f(QStringLiteral("- [ ] task [a](https://x.org) [[Wiki]]"));
        QCOMPARE(f.highlighter->checkboxAt(3)->range, (TextRange {2, 3}));
        QCOMPARE(f.highlighter->linkAt(12)->target, QStringLiteral("https://x.org"));
        QCOMPARE(wikiTarget(QUrl(f.highlighter->linkAt(33)->target)), std::optional<QString>("Wiki"));
        QVERIFY(!f.highlighter->linkAt(0));

        edit(f.document, 0, 0, QStringLiteral("line\n"));
        QCOMPARE(f.highlighter->checkboxAt(8)->range, (TextRange {7, 3}));
        QVERIFY(!f.highlighter->checkboxAt(3));
        edit(f.document, 8, 1, QStringLiteral("x"));
        QVERIFY(f.highlighter->checkboxAt(8)->checked);
    }

    void emptyDocumentIsLeftAlone()
    {
        Fixture f {QString()};
        QVERIFY(!f.document.firstBlock().userData());
        QCOMPARE(f.document.firstBlock().blockFormat(), QTextBlockFormat());
    }
};

QTEST_MAIN(MarkdownHighlighterTest)
#include "tst_markdownhighlighter.moc"

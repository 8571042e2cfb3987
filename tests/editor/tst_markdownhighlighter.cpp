// The adapter over a QTextDocument: formats equal to the pure rules after any edit, hidden markers that take no room,
// paragraph formats that leave undo alone, and restyling that never reports a text change.
#include "editor/HiddenFont.h"
#include "editor/MarkdownHighlighter.h"
#include "editor/MarkdownStyler.h"
#include "editor/StyledBlockData.h"

#include <QAbstractTextDocumentLayout>
#include <QGlyphRun>
#include <QRandomGenerator>
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
            if (problem.isEmpty())
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

    void hiddenFontIsNoFallbackForVisibleText()
    {
        // Characters the body font lacks are drawn by a real fallback font (or as a missing-glyph box), never by the
        // hidden font: they must not vanish from every text of the application.
        const QString text = QStringLiteral("Welcome 👋 ᚠᚢᚦ ꦲꦏ");
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
};

QTEST_MAIN(MarkdownHighlighterTest)
#include "tst_markdownhighlighter.moc"

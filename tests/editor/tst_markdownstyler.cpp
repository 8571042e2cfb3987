// The styling rules as pure functions. Golden files hold every line rule and its edge cases, with and without the
// caret; the tables cover the helpers the rules are built on and the whole-text passes (fences, ranges).
#include "StyleDump.h"
#include "editor/MarkdownStyler.h"
#include "support/TextFiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace MarkdownStyler;

namespace {

// The runs of one paragraph as "text:roles" pieces, for compact expectations.
QStringList pieces(QStringView line, const ParagraphStyle &style)
{
    QStringList out;
    for (const StyleRun &run : style.runs)
        out << line.mid(run.start, run.length).toString() + u':' + StyleDump::roles(run.style);
    return out;
}

} // namespace

namespace MarkdownStyler {
char *toString(const TextRange &range)
{
    return QTest::toString(QStringLiteral("[%1,%2)").arg(range.location).arg(range.end()));
}
} // namespace MarkdownStyler

class MarkdownStylerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void goldenFiles_data()
    {
        QTest::addColumn<QString>("name");
        const QDir golden(QStringLiteral(TACKPAD_TEST_DATA_DIR "/golden"));
        const QStringList inputs = golden.entryList({QStringLiteral("*.md")}, QDir::Files, QDir::Name);
        QVERIFY(!inputs.isEmpty());
        for (const QString &input : inputs)
            QTest::newRow(qPrintable(input)) << QFileInfo(input).completeBaseName();
    }

    void goldenFiles()
    {
        QFETCH(QString, name);
        const QString base = QStringLiteral(TACKPAD_TEST_DATA_DIR "/golden/") + name;
        const QString actual = StyleDump::dump(readFile(base + QStringLiteral(".md")));
        const QString expectedPath = base + QStringLiteral(".styles");

        if (qEnvironmentVariableIsSet("TACKPAD_REGENERATE_GOLDEN")) {
            writeFile(expectedPath, actual);
            QSKIP("golden file rewritten");
        }

        const QString expected = readFile(expectedPath);
        if (actual == expected)
            return;
        // Show the difference the way a reviewer reads it.
        QTemporaryDir scratch;
        const QString actualPath = scratch.filePath(name + QStringLiteral(".styles"));
        writeFile(actualPath, actual);
        QProcess diff;
        diff.start(QStringLiteral("diff"), {QStringLiteral("-u"), expectedPath, actualPath});
        diff.waitForFinished();
        qWarning().noquote() << diff.readAllStandardOutput();
        QFAIL("the styles differ from the golden file (tests/editor/regenerate-golden.sh rewrites them)");
    }

    void classify_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("index");
        QTest::addColumn<CharClass>("expected");

        QTest::newRow("edge: before the text is whitespace") << "a" << -1 << CharClass::Whitespace;
        QTest::newRow("edge: after the text is whitespace") << "a" << 1 << CharClass::Whitespace;
        QTest::newRow("nominal: no-break space is whitespace")
            << QStringLiteral("\u00a0") << 0 << CharClass::Whitespace;
        QTest::newRow("nominal: symbol counts as punctuation") << "€" << 0 << CharClass::Punctuation;
        QTest::newRow("nominal: emoji counts as punctuation") << "😀" << 0 << CharClass::Punctuation;
        QTest::newRow("edge: second half of a surrogate pair") << "😀" << 1 << CharClass::Punctuation;
        QTest::newRow("edge: a combining mark belongs to its letter")
            << QStringLiteral("e\u0301") << 1 << CharClass::Other;
        QTest::newRow("nominal: CJK letter") << "字" << 0 << CharClass::Other;
    }

    void classify()
    {
        QFETCH(QString, text);
        QFETCH(int, index);
        QFETCH(CharClass, expected);
        QCOMPARE(MarkdownStyler::classify(text, index), expected);
    }

    void fencedBlockRanges_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QList<TextRange>>("expected");

        QTest::newRow("nominal: one block without the closing newline")
            << "a\n```\nx\n```\nb" << QList<TextRange> {{2, 9}};
        QTest::newRow("edge: an unclosed block is not listed") << "```\nx\n```\n```\ny" << QList<TextRange> {{0, 9}};
        QTest::newRow("edge: indented fences count") << "  ```\nx\n\t```" << QList<TextRange> {{0, 12}};
        QTest::newRow("edge: tildes open nothing") << "~~~\nx\n~~~" << QList<TextRange> {};
        QTest::newRow("robustness: empty text") << "" << QList<TextRange> {};
    }

    void fencedBlockRanges()
    {
        QFETCH(QString, text);
        QFETCH(QList<TextRange>, expected);
        QCOMPARE(MarkdownStyler::fencedBlockRanges(text), expected);
    }

    void fenceVisibilityFollowsTheCaret_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("caret");
        QTest::addColumn<QList<bool>>("fenceHidden"); // per fence line, in order

        const QString closed = QStringLiteral("a\n```\nx\n```\nb");
        QTest::newRow("nominal: caret outside hides both fences") << closed << 0 << QList<bool> {true, true};
        QTest::newRow("nominal: caret inside shows both fences") << closed << 6 << QList<bool> {false, false};
        QTest::newRow("edge: caret at the end of the closing fence shows them")
            << closed << 11 << QList<bool> {false, false};
    }

    void fenceVisibilityFollowsTheCaret()
    {
        QFETCH(QString, text);
        QFETCH(int, caret);
        QFETCH(QList<bool>, fenceHidden);
        // The caret's paragraph is the active range, as the editor computes it.
        const qsizetype start = text.lastIndexOf(u'\n', caret - 1) + 1;
        qsizetype end = text.indexOf(u'\n', caret);
        end = end < 0 ? text.size() : end + 1;
        QList<bool> hidden;
        for (const StyledParagraph &paragraph : style(text, std::nullopt, {start, end - start})) {
            if (paragraph.style.fenceLine)
                hidden << paragraph.style.runs.first().style.hidden;
        }
        QCOMPARE(hidden, fenceHidden);
    }

    void styleRange_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<TextRange>("range");
        QTest::addColumn<QStringList>("firstRuns"); // of the first paragraph styled
        QTest::addColumn<int>("paragraphs");

        QTest::newRow("edge: empty text styles nothing") << "" << TextRange {0, 0} << QStringList {} << 0;
        QTest::newRow("edge: a range past the end styles nothing") << "abc" << TextRange {5, 3} << QStringList {} << 0;
        QTest::newRow("nominal: a range styles the paragraphs it touches")
            << "# a\nb\nc" << TextRange {5, 2} << QStringList {"b:plain"} << 2;
        QTest::newRow("edge: a range inside a code block styles it as text")
            << "```\n*x*\n```" << TextRange {4, 3} << QStringList {"*:marker hidden", "x:italic", "*:marker hidden"}
            << 1;
        QTest::newRow("nominal: the whole text carries the code state")
            << "```\n*x*\n```" << TextRange {0, 11} << QStringList {"```:code marker hidden"} << 3;
    }

    void styleRange()
    {
        QFETCH(QString, text);
        QFETCH(TextRange, range);
        QFETCH(QStringList, firstRuns);
        QFETCH(int, paragraphs);
        const QList<StyledParagraph> result = style(text, range, {text.size() + 1, 0});
        QCOMPARE(result.size(), paragraphs);
        if (!result.isEmpty()) {
            const StyledParagraph &first = result.first();
            const QString line = text.mid(first.range.location, first.range.length).remove(u'\n');
            QCOMPARE(pieces(line, first.style), firstRuns);
        }
    }

    void wikiTarget_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<std::optional<QString>>("expected");

        QTest::newRow("nominal: round trip")
            << wikiUrl(QStringLiteral("Note title")) << std::optional<QString>("Note title");
        QTest::newRow("nominal: scheme and host in capitals")
            << QUrl(QStringLiteral("TACKPAD://NOTE/Note title")) << std::optional<QString>("Note title");
        QTest::newRow("edge: reserved characters survive")
            << wikiUrl(QStringLiteral("A #1? 50%")) << std::optional<QString>("A #1? 50%");
        QTest::newRow("edge: percent escapes are decoded")
            << QUrl(QStringLiteral("tackpad://note/caf%C3%A9")) << std::optional<QString>("café");
        QTest::newRow("robustness: empty title") << QUrl(QStringLiteral("tackpad://note/")) << std::optional<QString>();
        QTest::newRow("robustness: other host")
            << QUrl(QStringLiteral("tackpad://other/x")) << std::optional<QString>();
        QTest::newRow("robustness: other scheme") << QUrl(QStringLiteral("https://note/x")) << std::optional<QString>();
    }

    void wikiTarget()
    {
        QFETCH(QUrl, url);
        QFETCH(std::optional<QString>, expected);
        QCOMPARE(MarkdownStyler::wikiTarget(url), expected);
    }

    void listPrefix_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("continuation");

        QTest::newRow("nominal: bullet") << "- a" << 2 << "- ";
        QTest::newRow("nominal: parenthesis kept") << "  3)  a" << 6 << "  4)  ";
        QTest::newRow("edge: other digits count up in ASCII") << "٣. a" << 3 << "4. ";
        QTest::newRow("edge: spaced dashes are an item, not a rule") << "- - -" << 2 << "- ";
        QTest::newRow("edge: three dashes are a rule, not an item") << "---" << -1 << "";
        QTest::newRow("robustness: no blank after the marker") << "-a" << -1 << "";
    }

    void listPrefix()
    {
        QFETCH(QString, line);
        QFETCH(int, length);
        QFETCH(QString, continuation);
        const std::optional<ListPrefix> prefix = MarkdownStyler::listPrefix(line);
        QCOMPARE(prefix.has_value(), length >= 0);
        if (prefix) {
            QCOMPARE(int(prefix->length), length);
            QCOMPARE(prefix->continuation(), continuation);
        }
    }
};

QTEST_GUILESS_MAIN(MarkdownStylerTest)
#include "tst_markdownstyler.moc"

// The styling rules as pure functions: golden files for whole notes, tables for each rule and its edge cases.
#include "StyleDump.h"
#include "editor/MarkdownStyler.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace MarkdownStyler;

namespace {

QString readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll());
}

// The runs of one paragraph as "text:roles" pieces, for compact expectations.
QStringList pieces(QStringView line, const ParagraphStyle &style)
{
    QStringList out;
    for (const StyleRun &run : style.runs)
        out << line.mid(run.start, run.length).toString() + u':' + StyleDump::roles(run.style);
    return out;
}

ParagraphStyle styled(const QString &line, bool active = false, bool inCode = false)
{
    ParagraphContext context;
    context.active = active;
    context.inCode = inCode;
    return styleParagraph(line, context);
}

} // namespace

namespace MarkdownStyler {
char *toString(const TextRange &range)
{
    return QTest::toString(QStringLiteral("[%1,%2)").arg(range.location).arg(range.end()));
}
char *toString(const EmphasisSpan &span)
{
    return QTest::toString(QStringLiteral("%1 opener [%2,%3) closer [%4,%5)")
                               .arg(span.strong ? QStringLiteral("strong") : QStringLiteral("emphasis"))
                               .arg(span.openerRange.location)
                               .arg(span.openerRange.end())
                               .arg(span.closerRange.location)
                               .arg(span.closerRange.end()));
}
char *toString(const CheckboxSpan &box)
{
    return QTest::toString(QStringLiteral("[%1,%2) %3")
                               .arg(box.range.location)
                               .arg(box.range.end())
                               .arg(box.checked ? QStringLiteral("checked") : QStringLiteral("unchecked")));
}
} // namespace MarkdownStyler

class MarkdownStylerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void goldenFiles_data();
    void goldenFiles();

    void blockRules_data();
    void blockRules();
    void hiddenMarkersShowOnTheActiveLine();
    void checkedItemIsStruckAndMuted();

    void inlinePasses_data();
    void inlinePasses();

    void emphasisSpans_data();
    void emphasisSpans();
    void classify_data();
    void classify();

    void fencedBlockRanges_data();
    void fencedBlockRanges();
    void fenceVisibilityFollowsTheCaret_data();
    void fenceVisibilityFollowsTheCaret();
    void styleRange_data();
    void styleRange();

    void wikiTarget_data();
    void wikiTarget();
    void listPrefix_data();
    void listPrefix();

    void patternsAreUnicodeAware();
};

void MarkdownStylerTest::goldenFiles_data()
{
    QTest::addColumn<QString>("name");
    const QDir golden(QStringLiteral(TACKPAD_TEST_DATA_DIR "/golden"));
    const QStringList inputs = golden.entryList({QStringLiteral("*.md")}, QDir::Files, QDir::Name);
    QVERIFY(!inputs.isEmpty());
    for (const QString &input : inputs)
        QTest::newRow(qPrintable(input)) << QFileInfo(input).completeBaseName();
}

void MarkdownStylerTest::goldenFiles()
{
    QFETCH(QString, name);
    const QString base = QStringLiteral(TACKPAD_TEST_DATA_DIR "/golden/") + name;
    const QString actual = StyleDump::dump(readFile(base + QStringLiteral(".md")));
    const QString expectedPath = base + QStringLiteral(".styles");

    if (qEnvironmentVariableIsSet("TACKPAD_REGENERATE_GOLDEN")) {
        QFile out(expectedPath);
        QVERIFY(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
        out.write(actual.toUtf8());
        QSKIP("golden file rewritten");
    }

    const QString expected = readFile(expectedPath);
    if (actual == expected)
        return;
    // Show the difference the way a reviewer reads it.
    QTemporaryDir scratch;
    QFile actualFile(scratch.filePath(name + QStringLiteral(".styles")));
    QVERIFY(actualFile.open(QIODevice::WriteOnly));
    actualFile.write(actual.toUtf8());
    actualFile.close();
    QProcess diff;
    diff.start(QStringLiteral("diff"), {QStringLiteral("-u"), expectedPath, actualFile.fileName()});
    diff.waitForFinished();
    qWarning().noquote() << diff.readAllStandardOutput();
    QFAIL("the styles differ from the golden file (tests/editor/regenerate-golden.sh rewrites them)");
}

void MarkdownStylerTest::blockRules_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("headingLevel");
    QTest::addColumn<int>("listPrefix");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("nominal: level-2 heading hides its marker")
        << "## Title" << 2 << 0 << QStringList {"## :h2 marker hidden", "Title:h2"};
    QTest::newRow("edge: seven hashes are no heading") << "####### x" << 0 << 0 << QStringList {"####### x:plain"};
    QTest::newRow("edge: a hash without a blank is no heading") << "#x" << 0 << 0 << QStringList {"#x:tag"};
    QTest::newRow("edge: an empty heading hides its marker") << "# " << 1 << 0 << QStringList {"# :h1 marker hidden"};
    QTest::newRow("nominal: three dashes are a rule") << "---" << 0 << 0 << QStringList {"---:marker"};
    QTest::newRow("edge: three leading blanks still a rule") << "   ---" << 0 << 0 << QStringList {"   ---:marker"};
    QTest::newRow("edge: four leading blanks are no rule") << "    ---" << 0 << 0 << QStringList {"    ---:plain"};
    QTest::newRow("edge: spaced stars are a list item, not a rule")
        << "* * *" << 0 << 2 << QStringList {"*:accent", " * *:plain"};
    QTest::newRow("nominal: dash item") << "- item" << 0 << 2 << QStringList {"-:accent", " item:plain"};
    QTest::newRow("edge: ten digits are no list item")
        << "1234567890. x" << 0 << 0 << QStringList {"1234567890. x:plain"};
    QTest::newRow("edge: nine digits with a parenthesis are")
        << "123456789) x" << 0 << 11 << QStringList {"123456789):accent", " x:plain"};
    QTest::newRow("nominal: open task") << "- [ ] todo" << 0 << 6
                                        << QStringList {"-:accent", " :plain", "[ ]:code accent", " todo:plain"};
    QTest::newRow("edge: a bare checkbox at the line end")
        << "- [ ]" << 0 << 5 << QStringList {"-:accent", " :plain", "[ ]:code accent"};
    QTest::newRow("nominal: nested quote colours every mark")
        << "> > nested" << 0 << 0 << QStringList {"> > :accent", "nested:quote"};
    QTest::newRow("edge: a quote mark alone") << ">" << 0 << 0 << QStringList {">:accent"};
    QTest::newRow("edge: a heading wins over its other readings")
        << "# - not a list" << 1 << 0 << QStringList {"# :h1 marker hidden", "- not a list:h1"};
    QTest::newRow("robustness: empty line") << "" << 0 << 0 << QStringList {};
}

void MarkdownStylerTest::blockRules()
{
    QFETCH(QString, line);
    QFETCH(int, headingLevel);
    QFETCH(int, listPrefix);
    QFETCH(QStringList, expected);

    const ParagraphStyle style = styled(line);
    QCOMPARE(pieces(line, style), expected);
    QCOMPARE(style.block.headingLevel, headingLevel);
    QCOMPARE(int(style.block.listPrefixLength), listPrefix);
}

void MarkdownStylerTest::hiddenMarkersShowOnTheActiveLine()
{
    const QString line = QStringLiteral("## A **b** [c](d)");
    const ParagraphStyle inactive = styled(line, false);
    const ParagraphStyle active = styled(line, true);
    for (const StyleRun &run : inactive.runs) {
        if (run.style.color == ColorRole::Marker)
            QVERIFY2(run.style.hidden, qPrintable(line.mid(run.start, run.length)));
    }
    for (const StyleRun &run : active.runs)
        QVERIFY2(!run.style.hidden, qPrintable(line.mid(run.start, run.length)));
    QCOMPARE(pieces(line, active),
        (QStringList {"## :h2 marker", "A :h2", "**:h2 marker", "b:h2 bold", "**:h2 marker", " :h2", "[:h2 marker",
            "c:h2 link underline", "](d):h2 marker"}));
}

void MarkdownStylerTest::checkedItemIsStruckAndMuted()
{
    const QString line = QStringLiteral("- [X] done [x](y)");
    const ParagraphStyle style = styled(line);
    QCOMPARE(style.checkboxes, (QList<CheckboxSpan> {{{2, 3}, true}}));
    QCOMPARE(pieces(line, style),
        (QStringList {"-:accent", " :plain", "[X]:code accent", " :plain", "done :marker strike",
            "[:marker strike hidden", "x:link strike underline", "](y):marker strike hidden"}));
}

void MarkdownStylerTest::inlinePasses_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QStringList>("expected");

    QTest::newRow("nominal: code span hides its backticks")
        << "`x`" << QStringList {"`:marker hidden", "x:code code-background", "`:marker hidden"};
    QTest::newRow("edge: asterisks inside a code span stay plain")
        << "`*not emphasis*`"
        << QStringList {"`:marker hidden", "*not emphasis*:code code-background", "`:marker hidden"};
    QTest::newRow("nominal: strike") << "~~a~~" << QStringList {"~~:marker hidden", "a:strike", "~~:marker hidden"};
    QTest::newRow("edge: four tildes strike nothing") << "~~~~" << QStringList {"~~~~:plain"};
    QTest::newRow("edge: highlights are lazy")
        << "==a== and ==b=="
        << QStringList {"==:marker hidden", "a:highlight", "==:marker hidden", " and :plain", "==:marker hidden",
               "b:highlight", "==:marker hidden"};
    QTest::newRow("nominal: tag after a blank") << "a #tag" << QStringList {"a :plain", "#tag:tag"};
    QTest::newRow("edge: no tag after a word character") << "a#tag" << QStringList {"a#tag:plain"};
    QTest::newRow("edge: no tag after a hash") << "##tag" << QStringList {"##tag:plain"};
    QTest::newRow("nominal: wiki link") << "[[Note title]]"
                                        << QStringList {
                                               "[[:marker hidden", "Note title:link underline", "]]:marker hidden"};
    QTest::newRow("nominal: image keeps its exclamation mark")
        << "![a](b.png)" << QStringList {"!:plain", "[:marker hidden", "a:link underline", "](b.png):marker hidden"};
    QTest::newRow("edge: an address is no autolink of its own")
        << "[t](https://x.org)"
        << QStringList {"[:marker hidden", "t:link underline", "](https://x.org):marker hidden"};
    QTest::newRow("nominal: bare address")
        << "see https://x.org." << QStringList {"see :plain", "https://x.org.:link underline"};
    QTest::newRow("edge: an autolink ends at a quote")
        << "'https://x.org'" << QStringList {"':plain", "https://x.org:link underline", "':plain"};
    QTest::newRow("edge: emphasis over a link adds its trait")
        << "**[a](b)**"
        << QStringList {"**:marker hidden", "[:bold marker hidden", "a:bold link underline", "](b):bold marker hidden",
               "**:marker hidden"};
    QTest::newRow("edge: no tag inside a code span")
        << "`#x`" << QStringList {"`:marker hidden", "#x:code code-background", "`:marker hidden"};
    QTest::newRow("robustness: unmatched markers stay text")
        << "[a](b ~~c *d `e" << QStringList {"[a](b ~~c *d `e:plain"};
}

void MarkdownStylerTest::inlinePasses()
{
    QFETCH(QString, line);
    QFETCH(QStringList, expected);
    QCOMPARE(pieces(line, styled(line)), expected);
}

void MarkdownStylerTest::emphasisSpans_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<EmphasisSpan>>("expected");

    QTest::newRow("nominal: italic") << "*a*" << QList<EmphasisSpan> {{{0, 1}, {2, 1}, false}};
    QTest::newRow("nominal: bold") << "**a**" << QList<EmphasisSpan> {{{0, 2}, {3, 2}, true}};
    QTest::newRow("nominal: triple is strong inside emphasis")
        << "***both***" << QList<EmphasisSpan> {{{1, 2}, {7, 2}, true}, {{0, 1}, {9, 1}, false}};
    QTest::newRow("nominal: strong nested in emphasis")
        << "*a **b** c*" << QList<EmphasisSpan> {{{3, 2}, {6, 2}, true}, {{0, 1}, {10, 1}, false}};
    QTest::newRow("edge: underscores inside a word") << "snake_case_name" << QList<EmphasisSpan> {};
    QTest::newRow("edge: the opener's last asterisk pairs") << "**a*" << QList<EmphasisSpan> {{{1, 1}, {3, 1}, false}};
    QTest::newRow("edge: blanks on both sides flank nothing") << "a * b * c" << QList<EmphasisSpan> {};
    QTest::newRow("edge: rule of three keeps the inner pair apart")
        << "*foo**bar**baz*" << QList<EmphasisSpan> {{{4, 2}, {9, 2}, true}, {{0, 1}, {14, 1}, false}};
    QTest::newRow("edge: asterisks inside a word still emphasise")
        << "foo*bar*" << QList<EmphasisSpan> {{{3, 1}, {7, 1}, false}};
    QTest::newRow("edge: underscores inside a word do not") << "foo_bar_" << QList<EmphasisSpan> {};
    QTest::newRow("edge: punctuation around the run") << "(*a*)" << QList<EmphasisSpan> {{{1, 1}, {3, 1}, false}};
    QTest::newRow("edge: underscore emphasis between blanks")
        << "_a_ b" << QList<EmphasisSpan> {{{0, 1}, {2, 1}, false}};
    QTest::newRow("robustness: a lone asterisk") << "*" << QList<EmphasisSpan> {};
}

void MarkdownStylerTest::emphasisSpans()
{
    QFETCH(QString, text);
    QFETCH(QList<EmphasisSpan>, expected);
    const QList<EmphasisSpan> spans
        = MarkdownStyler::emphasisSpans(text, {0, text.size()}, [](qsizetype) { return true; });
    QCOMPARE(spans, expected);
}

void MarkdownStylerTest::classify_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("index");
    QTest::addColumn<CharClass>("expected");

    QTest::newRow("edge: before the text is whitespace") << "a" << -1 << CharClass::Whitespace;
    QTest::newRow("edge: after the text is whitespace") << "a" << 1 << CharClass::Whitespace;
    QTest::newRow("nominal: letter") << "a" << 0 << CharClass::Other;
    QTest::newRow("nominal: no-break space is whitespace") << QStringLiteral("\u00a0") << 0 << CharClass::Whitespace;
    QTest::newRow("nominal: symbol counts as punctuation") << "€" << 0 << CharClass::Punctuation;
    QTest::newRow("nominal: emoji counts as punctuation") << "😀" << 0 << CharClass::Punctuation;
    QTest::newRow("edge: second half of a surrogate pair") << "😀" << 1 << CharClass::Punctuation;
    QTest::newRow("edge: a combining mark belongs to its letter") << QStringLiteral("e\u0301") << 1 << CharClass::Other;
    QTest::newRow("nominal: CJK letter") << "字" << 0 << CharClass::Other;
}

void MarkdownStylerTest::classify()
{
    QFETCH(QString, text);
    QFETCH(int, index);
    QFETCH(CharClass, expected);
    QCOMPARE(MarkdownStyler::classify(text, index), expected);
}

void MarkdownStylerTest::fencedBlockRanges_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QList<TextRange>>("expected");

    QTest::newRow("nominal: one block without the closing newline") << "a\n```\nx\n```\nb" << QList<TextRange> {{2, 9}};
    QTest::newRow("edge: an unclosed block is not listed") << "```\nx\n```\n```\ny" << QList<TextRange> {{0, 9}};
    QTest::newRow("edge: a closing line may carry text") << "```js\nx\n``` end" << QList<TextRange> {{0, 15}};
    QTest::newRow("edge: indented fences count") << "  ```\nx\n\t```" << QList<TextRange> {{0, 12}};
    QTest::newRow("edge: tildes open nothing") << "~~~\nx\n~~~" << QList<TextRange> {};
    QTest::newRow("robustness: empty text") << "" << QList<TextRange> {};
}

void MarkdownStylerTest::fencedBlockRanges()
{
    QFETCH(QString, text);
    QFETCH(QList<TextRange>, expected);
    QCOMPARE(MarkdownStyler::fencedBlockRanges(text), expected);
}

void MarkdownStylerTest::fenceVisibilityFollowsTheCaret_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("caret");
    QTest::addColumn<QList<bool>>("fenceHidden"); // per fence line, in order

    const QString closed = QStringLiteral("a\n```\nx\n```\nb");
    QTest::newRow("nominal: caret outside hides both fences") << closed << 0 << QList<bool> {true, true};
    QTest::newRow("nominal: caret inside shows both fences") << closed << 6 << QList<bool> {false, false};
    QTest::newRow("edge: caret at the end of the closing fence shows them")
        << closed << 11 << QList<bool> {false, false};
    QTest::newRow("edge: an unclosed fence always shows") << QStringLiteral("a\n```\nx") << 0 << QList<bool> {false};
}

void MarkdownStylerTest::fenceVisibilityFollowsTheCaret()
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

void MarkdownStylerTest::styleRange_data()
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
        << "```\n*x*\n```" << TextRange {4, 3} << QStringList {"*:marker hidden", "x:italic", "*:marker hidden"} << 1;
    QTest::newRow("nominal: the whole text carries the code state")
        << "```\n*x*\n```" << TextRange {0, 11} << QStringList {"```:code marker hidden"} << 3;
}

void MarkdownStylerTest::styleRange()
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

void MarkdownStylerTest::wikiTarget_data()
{
    QTest::addColumn<QUrl>("url");
    QTest::addColumn<std::optional<QString>>("expected");

    QTest::newRow("nominal: round trip") << wikiUrl(QStringLiteral("Note title"))
                                         << std::optional<QString>("Note title");
    QTest::newRow("nominal: scheme and host in capitals")
        << QUrl(QStringLiteral("TACKPAD://NOTE/Note title")) << std::optional<QString>("Note title");
    QTest::newRow("edge: reserved characters survive")
        << wikiUrl(QStringLiteral("A #1? 50%")) << std::optional<QString>("A #1? 50%");
    QTest::newRow("edge: percent escapes are decoded")
        << QUrl(QStringLiteral("tackpad://note/caf%C3%A9")) << std::optional<QString>("café");
    QTest::newRow("robustness: empty title") << QUrl(QStringLiteral("tackpad://note/")) << std::optional<QString>();
    QTest::newRow("robustness: other host") << QUrl(QStringLiteral("tackpad://other/x")) << std::optional<QString>();
    QTest::newRow("robustness: other scheme") << QUrl(QStringLiteral("https://note/x")) << std::optional<QString>();
}

void MarkdownStylerTest::wikiTarget()
{
    QFETCH(QUrl, url);
    QFETCH(std::optional<QString>, expected);
    QCOMPARE(MarkdownStyler::wikiTarget(url), expected);
}

void MarkdownStylerTest::listPrefix_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("length");
    QTest::addColumn<QString>("continuation");

    QTest::newRow("nominal: bullet") << "- a" << 2 << "- ";
    QTest::newRow("nominal: numbers count up") << "9. a" << 3 << "10. ";
    QTest::newRow("nominal: parenthesis kept") << "  3)  a" << 6 << "  4)  ";
    QTest::newRow("nominal: checkbox carried unchecked") << "- [x] a" << 6 << "- [ ] ";
    QTest::newRow("edge: other digits count up in ASCII") << "٣. a" << 3 << "4. ";
    QTest::newRow("edge: spaced dashes are an item, not a rule") << "- - -" << 2 << "- ";
    QTest::newRow("edge: three dashes are a rule, not an item") << "---" << -1 << "";
    QTest::newRow("robustness: no blank after the marker") << "-a" << -1 << "";
}

void MarkdownStylerTest::listPrefix()
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

void MarkdownStylerTest::patternsAreUnicodeAware()
{
    QVERIFY(Patterns::tag().match(QStringLiteral("#тег")).hasMatch());
    QVERIFY(!Patterns::tag().match(QStringLiteral("я#тег")).hasMatch()); // \w covers Cyrillic letters
    QVERIFY(Patterns::list().match(QStringLiteral("٣. item")).hasMatch()); // \d covers other decimal digits
    QCOMPARE(Patterns::tag().match(QStringLiteral("#") + QString(90, u'a')).capturedLength(), 81);
}

QTEST_GUILESS_MAIN(MarkdownStylerTest)
#include "tst_markdownstyler.moc"

// The styling rules as pure functions. Golden files hold every line rule and its edge cases, with and without the
// caret; the tables cover what the golden files cannot show (fences with the caret elsewhere, wiki addresses).
#include "editor/MarkdownStyler.h"
#include "support/TextFiles.h"

#include <QDir>
#include <QStringList>
#include <QTest>

using namespace MarkdownStyler;

namespace {

QString quoted(QStringView text)
{
    QString out = text.toString();
    out.replace(u'\\', QStringLiteral("\\\\"))
        .replace(u'"', QStringLiteral("\\\""))
        .replace(u'\t', QStringLiteral("\\t"));
    return u'"' + out + u'"';
}

QString blockName(const ParagraphStyle &style)
{
    QStringList parts;
    if (style.fenceLine)
        parts << QStringLiteral("fence");
    if (style.block.headingLevel > 0)
        parts << QStringLiteral("heading %1").arg(style.block.headingLevel);
    if (style.block.listPrefixLength > 0)
        parts << QStringLiteral("list item, text from %1").arg(style.block.listPrefixLength);
    return parts.isEmpty() ? QStringLiteral("paragraph") : parts.join(QStringLiteral(", "));
}

QString roles(const CharStyle &style)
{
    static const char *const colors[] = {"", "marker", "accent", "quote", "link", "tag"};
    const auto named = [](bool on, const char *name) { return on ? QString::fromLatin1(name) : QString(); };
    const QString font = style.font == FontRole::Code ? u"code"_qs : u"h%1"_qs.arg(int(style.font));
    QStringList parts {style.font == FontRole::Body ? QString() : font, named(style.bold, "bold"),
        named(style.italic, "italic"), QString::fromLatin1(colors[int(style.color)]),
        named(style.background == BackgroundRole::Code, "code-background"),
        named(style.background == BackgroundRole::Highlight, "highlight"), named(style.strike, "strike"),
        named(style.underline, "underline"), named(style.hidden, "hidden")};
    parts.removeAll(QString());
    return parts.isEmpty() ? QStringLiteral("plain") : parts.join(u' ');
}

QString runs(QStringView line, const QList<StyleRun> &styleRuns)
{
    QString out;
    for (const StyleRun &run : styleRuns) {
        const QString range = QStringLiteral("[%1,%2)").arg(run.start).arg(run.start + run.length);
        out += QStringLiteral("  %1 %2 %3\n")
                   .arg(range, -9)
                   .arg(quoted(line.mid(run.start, run.length)), -24)
                   .arg(roles(run.style));
    }
    return out;
}

// A readable dump of the styler's results for golden files: one paragraph after another, each with its paragraph
// style, its runs (range, text, roles) as styled with the caret elsewhere and, when they differ, with the caret on
// it, then its links and checkboxes.
QString dump(const QString &markdown)
{
    // An active range past the end makes no paragraph active.
    const TextRange nowhere {markdown.size() + 1, 0};
    const QList<StyledParagraph> inactive = style(markdown, std::nullopt, nowhere);
    QString out;
    int number = 0;
    for (const StyledParagraph &paragraph : inactive) {
        ++number;
        const qsizetype lineLength = paragraph.range.length
            - (markdown.mid(paragraph.range.location, paragraph.range.length).endsWith(u'\n') ? 1 : 0);
        const QStringView line = QStringView(markdown).mid(paragraph.range.location, lineLength);
        out += QStringLiteral("%1: %2 - %3\n").arg(number).arg(quoted(line), blockName(paragraph.style));
        out += runs(line, paragraph.style.runs);

        const QList<StyledParagraph> withCaret = style(markdown, std::nullopt, paragraph.range);
        const ParagraphStyle &active = withCaret.at(number - 1).style;
        if (active.runs != paragraph.style.runs) {
            out += QStringLiteral("  with the caret here:\n");
            out += runs(line, active.runs);
        }
        const auto span = [&out](const char *kind, const TextRange &range, const QString &what) {
            out += u"  %1 [%2,%3) %4\n"_qs.arg(QLatin1String(kind)).arg(range.location).arg(range.end()).arg(what);
        };
        for (const LinkSpan &link : paragraph.style.links)
            span("link", link.range, u"-> "_qs + quoted(link.target));
        for (const CheckboxSpan &box : paragraph.style.checkboxes)
            span("checkbox", box.range, box.checked ? u"checked"_qs : u"unchecked"_qs);
    }
    return out;
}

} // namespace

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
        const QString actual = dump(readFile(base + QStringLiteral(".md")));
        const QString expectedPath = base + QStringLiteral(".styles");

        if (qEnvironmentVariableIsSet("TACKPAD_REGENERATE_GOLDEN")) {
            writeFile(expectedPath, actual);
            QSKIP("golden file rewritten");
        }

        // Line by line, so that a failure names the first line that differs. tests/editor/regenerate-golden.sh rewrites
        // the golden files after an intended change.
        QCOMPARE(actual.split(u'\n'), readFile(expectedPath).split(u'\n'));
    }

    void fenceVisibilityFollowsTheCaret_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("caret");
        QTest::addColumn<QList<bool>>("fenceHidden"); // per fence line, in order

        const QString closed = QStringLiteral("a\n```\nx\n```\nb");
        QTest::newRow("nominal: caret outside hides both fences") << closed << 0 << QList<bool> {true, true};
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

    void wikiTarget_data()
    {
        QTest::addColumn<QUrl>("url");
        QTest::addColumn<std::optional<QString>>("expected");

        QTest::newRow("nominal: round trip")
            << wikiUrl(QStringLiteral("Note title")) << std::optional<QString>("Note title");
        QTest::newRow("edge: reserved characters survive")
            << wikiUrl(QStringLiteral("A #1? 50%")) << std::optional<QString>("A #1? 50%");
        QTest::newRow("robustness: empty title") << QUrl(QStringLiteral("tackpad://note/")) << std::optional<QString>();
        QTest::newRow("robustness: other host")
            << QUrl(QStringLiteral("tackpad://other/x")) << std::optional<QString>();
    }

    void wikiTarget()
    {
        QFETCH(QUrl, url);
        QFETCH(std::optional<QString>, expected);
        QCOMPARE(MarkdownStyler::wikiTarget(url), expected);
    }
};

QTEST_GUILESS_MAIN(MarkdownStylerTest)
#include "tst_markdownstyler.moc"

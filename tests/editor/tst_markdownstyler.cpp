// The styling rules as pure functions. Golden files hold every line rule and its edge cases, with and without the
// caret; the tables cover what the golden files cannot show (fences with the caret elsewhere, wiki addresses).
#include "StyleDump.h"
#include "editor/MarkdownStyler.h"
#include "support/TextFiles.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

using namespace MarkdownStyler;

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

// The three-way merge of a note's text with a change made elsewhere.

#include "store/TextMerge.h"

#include <QTest>

class TestTextMerge : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void merge_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("ours");
        QTest::addColumn<QString>("theirs");
        QTest::addColumn<QString>("expected"); // "<conflict>" when the sides cannot be merged

        const auto row = [](const char *name, const char16_t *base, const char16_t *ours, const char16_t *theirs,
                             const char16_t *expected) {
            QTest::newRow(name) << QString::fromUtf16(base) << QString::fromUtf16(ours) << QString::fromUtf16(theirs)
                                << QString::fromUtf16(expected);
        };
        row("nominal: different lines", u"a\nb\nc\n", u"A\nb\nc\n", u"a\nb\nC\n", u"A\nb\nC\n");
        row("nominal: different words of one line", u"one two three", u"ONE two three", u"one two THREE",
            u"ONE two THREE");
        row("nominal: both insert at the same place: both kept, ours first", u"list\n", u"list\nmine\n",
            u"list\ntheirs\n", u"list\nmine\ntheirs\n");
        row("nominal: typing at the very end while a line is appended", u"note", u"note typed", u"note\nappended",
            u"note typed\nappended");
        row("nominal: typing on the last, empty line while lines are appended", u"list\n", u"list\ntyped",
            u"list\nappended\n", u"list\nappended\ntyped");
        row("robustness: emoji and accents stay whole", u"Café 👍🏽 ok", u"Café 👍🏽 ok!",
            u"Cafés 👍🏽 ok", u"Cafés 👍🏽 ok!");
        row("robustness: a written backslash-n is not a line break", u"path a\\nb\n", u"path a\\nb end\n",
            u"start path a\\nb\n", u"start path a\\nb end\n");
        row("robustness: both rewrote the same word", u"colour red\n", u"colour blue\n", u"colour green\n",
            u"<conflict>");
        row("robustness: one deleted what the other changed", u"keep\ndrop me\n", u"keep\n", u"keep\ndrop me now\n",
            u"<conflict>");
    }

    void merge()
    {
        QFETCH(QString, base);
        QFETCH(QString, ours);
        QFETCH(QString, theirs);
        QFETCH(QString, expected);
        QCOMPARE(TextMerge::merge(base, ours, theirs).value_or(QStringLiteral("<conflict>")), expected);
    }
};

QTEST_GUILESS_MAIN(TestTextMerge)
#include "tst_textmerge.moc"

#include "search/NoteSearch.h"

#include <QLocale>
#include <QTest>

using NoteSearch::Candidate;
using NoteSearch::Result;

namespace NoteSearch {
// Lets QCOMPARE print the results that differ.
char *toString(const Result &result)
{
    return QTest::toString(QStringLiteral("{%1, %2, \"%3\", hidden %4, titleMatch %5}")
                               .arg(result.key, result.title, result.snippet)
                               .arg(result.hidden)
                               .arg(result.titleMatch));
}
} // namespace NoteSearch

namespace {

const QString ellipsis(QChar(0x2026));

QString xs(qsizetype count)
{
    return QString(count, u'x');
}

QStringList keysOf(const QList<Result> &results)
{
    QStringList keys;
    for (const Result &result : results)
        keys.append(result.key);
    return keys;
}

} // namespace

class TestNoteSearch : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }
    void cleanup() { QLocale::setDefault(QLocale::system()); }

    void search_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QList<Candidate>>("candidates");
        QTest::addColumn<QList<Result>>("expected");

        QTest::newRow("nominal: a body match shows its line")
            << u"milk"_qs << QList<Candidate> {{"a", "Shopping", "eggs\n  buy milk today\nbread", false}}
            << QList<Result> {{"a", "Shopping", "buy milk today", false, false}};
        QTest::newRow("nominal: MILK finds milk in a body and Milk in a title")
            << u"MILK"_qs
            << QList<Candidate> {{"b", "Groceries", "oat milk", false}, {"a", "Milk run", "\n nothing else\n", false}}
            << QList<Result> {
                   {"a", "Milk run", "nothing else", false, true}, {"b", "Groceries", "oat milk", false, false}};
        QTest::newRow("nominal: a title match with a body match shows the body's line")
            << u"milk"_qs << QList<Candidate> {{"a", "Milk", "intro\nwhole milk\n", false}}
            << QList<Result> {{"a", "Milk", "whole milk", false, true}};
        QTest::newRow("nominal: a title match with an empty body has an empty snippet")
            << u"milk"_qs << QList<Candidate> {{"a", "Milk", "", false}}
            << QList<Result> {{"a", "Milk", "", false, true}};
        QTest::newRow("nominal: a note without the query is left out")
            << u"milk"_qs << QList<Candidate> {{"a", "Bread", "butter", false}} << QList<Result> {};
        QTest::newRow("nominal: hidden notes are found and keep their flag")
            << u"milk"_qs << QList<Candidate> {{"a", "List", "milk", true}}
            << QList<Result> {{"a", "List", "milk", true, false}};
        QTest::newRow("nominal: a blank query lists every note by title with its first non-blank line")
            << u" \t\n "_qs << QList<Candidate> {{"b", "beta", "\n \n\tsecond\n", false}, {"a", "Alpha", "", true}}
            << QList<Result> {{"a", "Alpha", "", true, false}, {"b", "beta", "second", false, false}};
        QTest::newRow("nominal: the query is trimmed of white space and line breaks")
            << u"\n  milk \t"_qs << QList<Candidate> {{"a", "Sky", "the milky way", false}}
            << QList<Result> {{"a", "Sky", "the milky way", false, false}};
        QTest::newRow("nominal: the query is one literal substring, not words")
            << u"red car"_qs
            << QList<Candidate> {{"a", "One", "a red truck, a car", false}, {"b", "Two", "the red car", false}}
            << QList<Result> {{"b", "Two", "the red car", false, false}};
        QTest::newRow("nominal: STRASSE finds Straße in a title")
            << u"STRASSE"_qs << QList<Candidate> {{"a", "Hauptstraße 5", "", false}}
            << QList<Result> {{"a", "Hauptstraße 5", "", false, true}};
        QTest::newRow("nominal: a final sigma in a title matches a plain sigma")
            << u"οδοσ"_qs << QList<Candidate> {{"a", "Οδος", "", false}}
            << QList<Result> {{"a", "Οδος", "", false, true}};
        QTest::newRow("robustness: cafe finds café neither in a title nor in a body")
            << u"cafe"_qs << QList<Candidate> {{"a", "Café", "au café", false}} << QList<Result> {};
        QTest::newRow("robustness: cafe does not find a decomposed café in a title")
            << u"cafe"_qs << QList<Candidate> {{"a", "Cafe\u0301 notes", "", false}} << QList<Result> {};
    }

    void search()
    {
        QFETCH(QString, query);
        QFETCH(QList<Candidate>, candidates);
        QFETCH(QList<Result>, expected);
        QCOMPARE(NoteSearch::search(query, candidates), expected);
    }

    void ordering_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("query");
        QTest::addColumn<QList<Candidate>>("candidates");
        QTest::addColumn<QStringList>("expectedKeys");

        const QList<Candidate> numbered {
            {"10", "Note 10", "", false}, {"2", "note 2", "", false}, {"A", "Apple", "", false}};
        for (const char *locale : {"en_US", "de_DE", "ja_JP", "C"}) {
            QTest::addRow("natural order, case ignored (%s)", locale)
                << locale << u"E"_qs << numbered << QStringList {"A", "2", "10"};
        }
        QTest::newRow("title matches first, whatever the titles")
            << "en_US" << u"milk"_qs
            << QList<Candidate> {{"body", "Apple", "milk", false}, {"title", "Zebra milk", "", false}}
            << QStringList {"title", "body"};
        // Enough notes that the sort really moves them: alternately two titles, each in two cases.
        QList<Candidate> many;
        QStringList alphasThenBetas[2];
        for (int i = 0; i < 40; ++i) {
            const char *titles[] = {"alpha", "beta", "ALPHA", "BETA"};
            many.append({QString::number(i), titles[i % 4], "", false});
            alphasThenBetas[i % 2].append(QString::number(i));
        }
        QTest::newRow("many titles equal but for case keep the candidates' order")
            << "en_US" << u""_qs << many << alphasThenBetas[0] + alphasThenBetas[1];
        QTest::newRow("hidden notes are not ranked lower")
            << "en_US" << u""_qs << QList<Candidate> {{"shown", "Beta", "", false}, {"hidden", "Alpha", "", true}}
            << QStringList {"hidden", "shown"};
    }

    void ordering()
    {
        QFETCH(QString, locale);
        QFETCH(QString, query);
        QFETCH(QList<Candidate>, candidates);
        QFETCH(QStringList, expectedKeys);
        QLocale::setDefault(QLocale(locale));
        QCOMPARE(keysOf(NoteSearch::search(query, candidates)), expectedKeys);
    }

    void titleFollowsLocaleCaseRules_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("query");
        QTest::addColumn<bool>("matches");

        QTest::newRow("English: i finds I") << "en_US" << u"ISTANBUL"_qs << u"i"_qs << true;
        QTest::newRow("C: i finds I") << "C" << u"ISTANBUL"_qs << u"i"_qs << true;
        QTest::newRow("Turkish: i does not find dotless I") << "tr_TR" << u"ISTANBUL"_qs << u"i"_qs << false;
        QTest::newRow("Turkish: ı finds I") << "tr_TR" << u"ISTANBUL"_qs << u"ı"_qs << true;
        QTest::newRow("Turkish: İ finds i") << "tr_TR" << u"istanbul"_qs << u"İST"_qs << true;
        QTest::newRow("German: a non-ASCII title folds its ASCII letters too")
            << "de_DE" << u"Ärger NOTES"_qs << u"notes"_qs << true;
    }

    void titleFollowsLocaleCaseRules()
    {
        QFETCH(QString, locale);
        QFETCH(QString, title);
        QFETCH(QString, query);
        QFETCH(bool, matches);
        QLocale::setDefault(QLocale(locale));
        const QList<Result> results = NoteSearch::search(query, {{"a", title, "", false}});
        QCOMPARE(results.size(), matches ? 1 : 0);
    }

    void snippet_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("body");
        QTest::addColumn<int>("maxLength");
        QTest::addColumn<QString>("expected"); // null: no snippet

        // 300 units with "milk" at position p; the digits make every cut visible.
        const auto line = [](qsizetype p) {
            QString digits;
            for (int i = 0; i < 300; ++i)
                digits.append(QChar(u'0' + i % 10));
            return digits.replace(p, 4, u"milk"_qs);
        };
        // A 300-unit line with "milk" at 200 and `cluster` starting at position at.
        const auto withCluster = [](qsizetype at, const QString &cluster) {
            return xs(at) + cluster + xs(200 - at - cluster.size()) + "milk" + xs(96);
        };

        QTest::newRow("no match") << u"milk"_qs << u"bread"_qs << 90 << QString();
        QTest::newRow("empty query") << u""_qs << u"bread"_qs << 90 << QString();
        QTest::newRow("a short line is trimmed, without ellipses")
            << u"MILK"_qs << u"first\n \t a line of forty characters with milk \t\nlast"_qs << 90
            << u"a line of forty characters with milk"_qs;
        QTest::newRow("a line of exactly the maximum is kept whole")
            << u"milk"_qs << xs(86) + "milk" << 90 << xs(86) + "milk";
        QTest::newRow("match at 10: the first 90 units, then …")
            << u"milk"_qs << line(10) << 90 << line(10).left(90) + ellipsis;
        QTest::newRow("match at 200: 90 units from 45 before it, … on both sides")
            << u"milk"_qs << line(200) << 90 << ellipsis + line(200).mid(155, 90) + ellipsis;
        QTest::newRow("match in the last 45: … then the last 90 units")
            << u"milk"_qs << line(280) << 90 << ellipsis + line(280).right(90);
        QTest::newRow("an odd maximum rounds its half down")
            << u"milk"_qs << line(15).left(30) << 11 << ellipsis + line(15).mid(10, 11) + ellipsis;
        QTest::newRow("only the line of the match") << u"milk"_qs << u"one\ntwo milk\nthree"_qs << 90 << u"two milk"_qs;
        QTest::newRow("CR, NEL and the Unicode separators end lines")
            << u"milk"_qs << u"a\rb milk\u2028c\u2029d\u0085e"_qs << 90 << u"b milk"_qs;
        QTest::newRow("a query across a line break on a long line: the window starts the line")
            << u"milk\nbread"_qs << line(296) + "\nbread" << 90 << line(296).left(90) + ellipsis;
        QTest::newRow("blanks only: nothing to find in a body without them")
            << u"   "_qs << u"milk"_qs << 90 << QString();
        QTest::newRow("a skin-tone emoji at the start cut is kept whole")
            << u"milk"_qs << withCluster(153, u"👍🏽"_qs) << 90
            << ellipsis + withCluster(153, u"👍🏽"_qs).mid(153, 92) + ellipsis;
        const QString accentAtEnd = xs(200) + "milk" + xs(40) + "e\u0301" + xs(54);
        QTest::newRow("a combining mark at the end cut stays with its letter")
            << u"milk"_qs << accentAtEnd << 90 << ellipsis + accentAtEnd.mid(155, 91) + ellipsis;
    }

    void snippet()
    {
        QFETCH(QString, query);
        QFETCH(QString, body);
        QFETCH(int, maxLength);
        QFETCH(QString, expected);
        const std::optional<QString> found = NoteSearch::snippet(query, body, maxLength);
        QCOMPARE(found.has_value(), !expected.isNull());
        if (found)
            QCOMPARE(*found, expected);
    }

    void firstLine_data()
    {
        QTest::addColumn<QString>("body");
        QTest::addColumn<QString>("expected");

        QTest::newRow("only blank lines") << u"  \n\t\n\n"_qs << u""_qs;
        QTest::newRow("blank lines skipped, spaces and tabs trimmed")
            << u" \t\n\n \t Hello world \t\nnext"_qs << u"Hello world"_qs;
        QTest::newRow("other white space is kept") << u"\u00A0x\u00A0\ny"_qs << u"\u00A0x\u00A0"_qs;
    }

    void firstLine()
    {
        QFETCH(QString, body);
        QFETCH(QString, expected);
        QCOMPARE(NoteSearch::firstLine(body), expected);
    }
};

QTEST_GUILESS_MAIN(TestNoteSearch)
#include "tst_notesearch.moc"

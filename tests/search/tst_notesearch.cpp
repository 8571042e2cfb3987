#include "search/CaseInsensitiveFinder.h"
#include "search/NoteSearch.h"

#include <QLocale>
#include <QRandomGenerator>
#include <QTest>

using NoteSearch::Candidate;
using NoteSearch::Result;
using Scan = CaseInsensitiveFinder::Scan;

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

        QTest::newRow("nominal: MILK finds milk in a body and Milk in a title")
            << u"MILK"_qs
            << QList<Candidate> {{"b", "Groceries", "oat milk", false}, {"a", "Milk run", "\n nothing else\n", false}}
            << QList<Result> {
                   {"a", "Milk run", "nothing else", false, true}, {"b", "Groceries", "oat milk", false, false}};
        QTest::newRow("nominal: a title match with a body match shows the body's line")
            << u"milk"_qs << QList<Candidate> {{"a", "Milk", "intro\nwhole milk\n", false}}
            << QList<Result> {{"a", "Milk", "whole milk", false, true}};
        QTest::newRow("nominal: a blank query lists every note by title with its first non-blank line")
            << u" \t\n "_qs << QList<Candidate> {{"b", "beta", "\n \n\tsecond\n", false}, {"a", "Alpha", "", true}}
            << QList<Result> {{"a", "Alpha", "", true, false}, {"b", "beta", "second", false, false}};
        QTest::newRow("nominal: the query is trimmed of white space and line breaks")
            << u"\n  milk \t"_qs << QList<Candidate> {{"a", "Sky", "the milky way", false}}
            << QList<Result> {{"a", "Sky", "the milky way", false, false}};
        QTest::newRow("robustness: cafe finds café neither in a title nor in a body")
            << u"cafe"_qs << QList<Candidate> {{"a", "Café", "au café", false}} << QList<Result> {};
    }

    void search()
    {
        QFETCH(QString, query);
        QFETCH(QList<Candidate>, candidates);
        QFETCH(QList<Result>, expected);
        QCOMPARE(NoteSearch::search(query, candidates), expected);
    }

    // Title matches first, then natural order with case ignored, also under C, which has no collation of its own.
    void ordering()
    {
        const QList<Candidate> notes {{"10", "Note 10", "", false}, {"2", "note 2", "", false},
            {"A", "Apple", "", false}, {"body", "Aardvark", "e", false}};
        for (const char *locale : {"en_US", "C"}) {
            QLocale::setDefault(QLocale(locale));
            QCOMPARE(keysOf(NoteSearch::search(u"E"_qs, notes)), (QStringList {"A", "2", "10", "body"}));
        }
    }

    void titleFollowsLocaleCaseRules_data()
    {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("query");
        QTest::addColumn<bool>("matches");

        QTest::newRow("Turkish: i does not find dotless I") << "tr_TR" << u"ISTANBUL"_qs << u"i"_qs << false;
        QTest::newRow("German: a non-ASCII title folds its ASCII letters too")
            << "de_DE" << u"Ärger NOTES"_qs << u"notes"_qs << true;
        QTest::newRow("STRASSE finds Straße") << "en_US" << u"Hauptstraße 5"_qs << u"STRASSE"_qs << true;
        QTest::newRow("a final sigma matches a plain sigma") << "en_US" << u"Οδος"_qs << u"οδοσ"_qs << true;
        QTest::newRow("cafe does not find a decomposed café")
            << "en_US" << u"Cafe\u0301 notes"_qs << u"cafe"_qs << false;
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

        QTest::newRow("empty query") << u""_qs << u"bread"_qs << QString();
        QTest::newRow("a line of exactly the maximum is kept whole")
            << u"milk"_qs << xs(86) + "milk" << xs(86) + "milk";
        QTest::newRow("match at 10: the first 90 units, then …")
            << u"milk"_qs << line(10) << line(10).left(90) + ellipsis;
        QTest::newRow("match at 200: 90 units from 45 before it, … on both sides")
            << u"milk"_qs << line(200) << ellipsis + line(200).mid(155, 90) + ellipsis;
        QTest::newRow("match in the last 45: … then the last 90 units")
            << u"milk"_qs << line(280) << ellipsis + line(280).right(90);
        QTest::newRow("CR, NEL and the Unicode separators end lines")
            << u"milk"_qs << u"a\rb milk\u2028c\u2029d\u0085e"_qs << u"b milk"_qs;
        QTest::newRow("a query across a line break on a long line: the window starts the line")
            << u"milk\nbread"_qs << line(296) + "\nbread" << line(296).left(90) + ellipsis;
        QTest::newRow("a skin-tone emoji at the start cut is kept whole")
            << u"milk"_qs << withCluster(153, u"👍🏽"_qs)
            << ellipsis + withCluster(153, u"👍🏽"_qs).mid(153, 92) + ellipsis;
        const QString accentAtEnd = xs(200) + "milk" + xs(40) + "e\u0301" + xs(54);
        QTest::newRow("a combining mark at the end cut stays with its letter")
            << u"milk"_qs << accentAtEnd << ellipsis + accentAtEnd.mid(155, 91) + ellipsis;
    }

    void snippet()
    {
        QFETCH(QString, query);
        QFETCH(QString, body);
        QFETCH(QString, expected);
        QCOMPARE(NoteSearch::snippet(query, body, 90), expected.isNull() ? std::nullopt : std::optional(expected));
    }

    void firstLineSkipsOnlySpacesAndTabs()
    {
        QCOMPARE(NoteSearch::firstLine(u"  \n\t\n\n"_qs), QString());
        QCOMPARE(NoteSearch::firstLine(u"\u00A0x\u00A0\ny"_qs), u"\u00A0x\u00A0"_qs);
    }

    void finderAgreesWithQString_data()
    {
        QTest::addColumn<QString>("alphabet");
        QTest::newRow("ASCII") << u"aAbB1 "_qs;
        QTest::newRow("case classes") << u"kK\u212AsS\u017FσςΣθϑϴΘßẞµμ"_qs;
        QTest::newRow("marks") << u"eEé\u0301É"_qs;
        QTest::newRow("surrogates, paired and lone") << u"aA😀𐐀𐐨"_qs;
    }

    // Each scan, the vector ones and the plain one that ends them, finds exactly what QString's case-insensitive
    // indexOf finds. Small alphabets make matches and near misses frequent; texts of up to 80 units cross several
    // vector widths, and needles run from empty to longer than a vector and than the text.
    void finderAgreesWithQString()
    {
        QFETCH(QString, alphabet);
        QRandomGenerator random(20240607);
        const auto randomText = [&](qsizetype length) {
            QString text;
            for (qsizetype i = 0; i < length; ++i)
                text.append(alphabet.at(random.bounded(int(alphabet.size()))));
            return text;
        };
        for (int trial = 0; trial < 6000; ++trial) {
            const QString text = randomText(random.bounded(81));
            QString needle = randomText(random.bounded(5));
            if (trial % 2 && text.size() > 1) {
                needle = text.mid(random.bounded(int(text.size()) - 1), 1 + random.bounded(20));
                needle = trial % 4 == 1 ? needle.toUpper() : needle.toLower();
            }
            const CaseInsensitiveFinder finder(needle);
            for (const Scan scan : {Scan::Best, Scan::Sse2, Scan::Portable})
                QVERIFY2(finder.indexIn(text, scan) == text.indexOf(needle, 0, Qt::CaseInsensitive),
                    qPrintable(QStringLiteral("scan %1, needle \"%2\" in \"%3\"").arg(int(scan)).arg(needle, text)));
        }
    }
};

QTEST_GUILESS_MAIN(TestNoteSearch)
#include "tst_notesearch.moc"

#include "search/CaseInsensitiveFinder.h"

#include <QRandomGenerator>
#include <QTest>

namespace {

using Scan = CaseInsensitiveFinder::Scan;
constexpr Scan everyScan[] = {Scan::Best, Scan::Sse2, Scan::Portable};

} // namespace

class TestCaseInsensitiveFinder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void findsWhatQStringFinds_data()
    {
        QTest::addColumn<QString>("needle");
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("expected");

        QTest::newRow("nominal: other case") << u"MiLk"_qs << u"buy milk"_qs << 4;
        QTest::newRow("nominal: absent") << u"milk"_qs << u"bread and butter"_qs << -1;
        QTest::newRow("nominal: overlapping start") << u"aab"_qs << u"aaab"_qs << 1;
        QTest::newRow("nominal: first and last fit, middle does not") << u"mink"_qs << u"milk MINK"_qs << 5;
        QTest::newRow("robustness: empty needle is found at once") << u""_qs << u"abc"_qs << 0;
        QTest::newRow("robustness: empty text") << u"a"_qs << u""_qs << -1;
        QTest::newRow("robustness: needle longer than text") << u"milky"_qs << u"milk"_qs << -1;
        QTest::newRow("case classes: Kelvin sign is k") << u"ok"_qs << u"no O\u212A"_qs << 3;
        QTest::newRow("diacritics: e is not é") << u"cafe"_qs << u"café"_qs << -1;
        QTest::newRow("surrogates: emoji inside the needle") << u"a😀b"_qs << u"xxA😀B"_qs << 2;
        QTest::newRow("surrogates: needle starting with an emoji") << u"😀b"_qs << u"a😀B"_qs << 1;
    }

    void findsWhatQStringFinds()
    {
        QFETCH(QString, needle);
        QFETCH(QString, text);
        QFETCH(int, expected);
        const CaseInsensitiveFinder finder(needle);
        for (const Scan scan : everyScan)
            QCOMPARE(finder.indexIn(text, scan), expected);
    }

    void findsAtEveryPositionAroundVectorEdges_data()
    {
        QTest::addColumn<QString>("needle");
        QTest::newRow("one unit") << u"q"_qs;
        QTest::newRow("two units") << u"qk"_qs;
        QTest::newRow("five units") << u"quokk"_qs;
        QTest::newRow("seventeen units, longer than a vector") << u"quokkas and koala"_qs;
    }

    // The vector loops hand the last units of a text to a plain loop; a match must be found wherever it falls, and a
    // near miss (first and last units fit) must not be taken for one.
    void findsAtEveryPositionAroundVectorEdges()
    {
        QFETCH(QString, needle);
        const CaseInsensitiveFinder finder(needle);
        QString nearMiss = needle;
        if (nearMiss.size() > 2)
            nearMiss[1] = u'#';
        for (qsizetype length = needle.size(); length <= 70; ++length) {
            for (qsizetype at = 0; at + needle.size() <= length; ++at) {
                QString text(length, u'.');
                text.replace(at, needle.size(), needle.toUpper());
                if (at > nearMiss.size() && nearMiss.size() > 2)
                    text.replace(0, nearMiss.size(), nearMiss);
                for (const Scan scan : everyScan)
                    QCOMPARE(finder.indexIn(text, scan), at);
            }
        }
    }

    void agreesWithQStringOnRandomText_data()
    {
        QTest::addColumn<QString>("alphabet");
        QTest::newRow("ASCII") << u"aAbB1 "_qs;
        QTest::newRow("case classes") << u"kK\u212AsS\u017FσςΣθϑϴΘßẞµμ"_qs;
        QTest::newRow("marks") << u"eEé\u0301É"_qs;
        QTest::newRow("surrogates, paired and lone") << u"aA😀𐐀𐐨"_qs;
    }

    // Small alphabets make matches frequent; texts of up to 80 units cross several vector widths.
    void agreesWithQStringOnRandomText()
    {
        QFETCH(QString, alphabet);
        QRandomGenerator random(20240607);
        const auto randomText = [&](qsizetype length) {
            QString text;
            for (qsizetype i = 0; i < length; ++i)
                text.append(alphabet.at(random.bounded(int(alphabet.size()))));
            return text;
        };
        for (int trial = 0; trial < 4000; ++trial) {
            const QString text = randomText(random.bounded(81));
            QString needle = randomText(1 + random.bounded(4));
            if (trial % 2 && text.size() > 1) {
                const int from = random.bounded(int(text.size()) - 1);
                needle = text.mid(from, 1 + random.bounded(8));
                needle = trial % 4 == 1 ? needle.toUpper() : needle.toLower();
            }
            // Every scan must give exactly what QString gives.
            const CaseInsensitiveFinder finder(needle);
            for (const Scan scan : everyScan)
                QVERIFY2(finder.indexIn(text, scan) == text.indexOf(needle, 0, Qt::CaseInsensitive),
                    qPrintable(QStringLiteral("scan %1, needle \"%2\" in \"%3\"").arg(int(scan)).arg(needle, text)));
        }
    }
};

QTEST_GUILESS_MAIN(TestCaseInsensitiveFinder)
#include "tst_caseinsensitivefinder.moc"

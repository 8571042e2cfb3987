// What lets `tackpad search` pass over a note without decoding it: the filter on raw bytes never misses what QString's
// case-insensitive search finds, and "valid UTF-8" means to it what it means to the store's reading.

#include "search/RawTextFilter.h"
#include "store/NoteFiles.h"

#include <QRandomGenerator>
#include <QTest>

class TestRawTextFilter : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void agreesWithQString_data()
    {
        QTest::addColumn<QString>("alphabet");
        QTest::addColumn<bool>("exact"); // false where decoding may be needed to tell
        QTest::newRow("nominal: ASCII letters, digits and the bytes one case bit apart") << u"aAkK1@`[{ "_qs << true;
        QTest::newRow("nominal: letters beyond ASCII") << u"aAeEéÉ😀"_qs << true;
        QTest::newRow("robustness: the Kelvin sign and the long s") << u"kK\u212AsS\u017F"_qs << false;
    }

    // Small alphabets make matches and near misses frequent; texts of up to 80 characters cross several vector widths
    // (in bytes, more for the letters beyond ASCII), and queries run from one character to longer than the text.
    void agreesWithQString()
    {
        QFETCH(QString, alphabet);
        QFETCH(bool, exact);
        const QList<uint> characters = alphabet.toUcs4();
        QRandomGenerator random(20240612);
        const auto randomText = [&](qsizetype length) {
            QString text;
            for (qsizetype i = 0; i < length; ++i) {
                const char32_t c = characters.at(random.bounded(int(characters.size())));
                text.append(QString::fromUcs4(&c, 1));
            }
            return text;
        };
        for (int trial = 0; trial < 6000; ++trial) {
            const QString text = randomText(random.bounded(81));
            QString query = randomText(1 + random.bounded(4));
            if (trial % 2 && text.size() > 1) {
                query = text.mid(random.bounded(int(text.size()) - 1), 1 + random.bounded(20));
                query = trial % 4 == 1 ? query.toUpper() : query.toLower();
            }
            const std::optional<RawTextFilter> filter = RawTextFilter::forQuery(query);
            if (!filter)
                continue;
            const bool found = text.indexOf(query.trimmed(), 0, Qt::CaseInsensitive) >= 0;
            const bool mayHold = filter->mayHold(text.toUtf8());
            QVERIFY2(exact ? mayHold == found : mayHold || !found,
                qPrintable(QStringLiteral("query \"%1\" in \"%2\"").arg(query, text)));
        }
    }

    void decidesOnlyAsciiQueries_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<bool>("decided");
        QTest::newRow("nominal: ASCII, trimmed") << u"  Milk & eggs "_qs << true;
        QTest::newRow("robustness: blank") << u" \t"_qs << false;
        QTest::newRow("robustness: beyond ASCII") << u"café"_qs << false;
        // The text's CR LF is LF once read: its bytes cannot tell where a query with a line break matches.
        QTest::newRow("robustness: a line break inside") << u"milk\neggs"_qs << false;
        QTest::newRow("robustness: a carriage return inside") << u"milk\reggs"_qs << false;
    }

    void decidesOnlyAsciiQueries()
    {
        QFETCH(QString, query);
        QFETCH(bool, decided);
        QCOMPARE(RawTextFilter::forQuery(query).has_value(), decided);
    }

    void validUtf8AsTheStoreReadsIt_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("nominal: ASCII") << QByteArray("milk");
        QTest::newRow("nominal: a byte-order mark and letters beyond ASCII") << QByteArray("\xEF\xBB\xBF"
                                                                                           "caf\xC3\xA9");
        QTest::newRow("nominal: a noncharacter and the last code point") << QByteArray("\xEF\xBF\xBE \xF4\x8F\xBF\xBF");
        QTest::newRow("robustness: Latin-1") << QByteArray("caf\xE9");
        QTest::newRow("robustness: an overlong slash") << QByteArray("\xC0\xAF");
        QTest::newRow("robustness: an encoded surrogate") << QByteArray("\xED\xA0\x80");
        QTest::newRow("robustness: beyond the last code point") << QByteArray("\xF4\x90\x80\x80");
        QTest::newRow("robustness: cut off at the end") << QByteArray("milk \xE2\x84");
        QTest::newRow("robustness: a lone continuation byte") << QByteArray("milk \x80");
    }

    // A note the search passes over is one the store would have read without complaint: a file it calls invalid
    // must be decoded, so that it is named as skipped.
    void validUtf8AsTheStoreReadsIt()
    {
        QFETCH(QByteArray, bytes);
        QCOMPARE(bytes.isValidUtf8(), NoteFiles::decodeText(bytes).status == NoteFiles::ReadStatus::Ok);
    }
};

QTEST_GUILESS_MAIN(TestRawTextFilter)
#include "tst_rawtextfilter.moc"

#include "notes/NotePalette.h"

#include <QTest>

class TestNotePalette : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parseHex_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected"); // empty: must fail

        QTest::newRow("nominal: upper case with #") << u"#FBF4A6"_qs << u"#FBF4A6"_qs;
        QTest::newRow("nominal: lower case without #") << u"fbf4a6"_qs << u"#FBF4A6"_qs;
        QTest::newRow("nominal: surrounded by blanks") << u"  FBF4A6\t"_qs << u"#FBF4A6"_qs;
        // Three and eight digits are forms other colour parsers accept; a note colour is exactly six.
        QTest::newRow("robustness: three digits") << u"#FFF"_qs << QString();
        QTest::newRow("robustness: eight digits") << u"#FFFFFFFF"_qs << QString();
        QTest::newRow("robustness: two #") << u"##FBF4A6"_qs << QString();
        QTest::newRow("robustness: not hex") << u"#GGGGGG"_qs << QString();
        QTest::newRow("robustness: full-width digits") << u"#ＦＦＦＦＦＦ"_qs << QString();
        QTest::newRow("robustness: empty") << QString() << QString();
    }

    void parseHex()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        const auto color = NotePalette::colorFromHexString(text);
        QCOMPARE(color.has_value(), !expected.isEmpty());
        if (color)
            QCOMPARE(NotePalette::hexString(*color), expected);
    }

    void hexStringIsUpperCaseAndRoundTrips()
    {
        for (int v = 0; v < 0x1000000; v += 0x010305) {
            const QString hex = QStringLiteral("#%1").arg(v, 6, 16, QLatin1Char('0'));
            QCOMPARE(NotePalette::hexString(*NotePalette::colorFromHexString(hex)), hex.toUpper());
        }
        QCOMPARE(NotePalette::hexString(QColor()), u"#FBF4A6"_qs);
    }

    // Presets are recognised by an exact, case-insensitive match; only they change in dark mode.
    void presets_data()
    {
        QTest::addColumn<QString>("hex");
        QTest::addColumn<bool>("preset");
        QTest::addColumn<QString>("darkHex");
        QTest::newRow("preset in lower case") << u"#fbd9e4"_qs << true << u"#4A2B36"_qs;
        QTest::newRow("white in lower case") << u"#ffffff"_qs << true << u"#1C1C1E"_qs;
        QTest::newRow("dark variant: no preset, shown as it is") << u"#1C1C1E"_qs << false << u"#1C1C1E"_qs;
        QTest::newRow("leading blank") << u" #FFFFFF"_qs << false << u" #FFFFFF"_qs;
        QTest::newRow("unparseable") << u"red"_qs << false << u"red"_qs;
    }

    void presets()
    {
        QFETCH(QString, hex);
        QFETCH(bool, preset);
        QFETCH(QString, darkHex);
        QCOMPARE(NotePalette::isPreset(hex), preset);
        QCOMPARE(NotePalette::displayHex(hex, true), darkHex);
        QCOMPARE(NotePalette::displayHex(hex, false), hex);
    }

    void foregroundFollowsLuminance_data()
    {
        QTest::addColumn<QString>("hex");
        QTest::addColumn<bool>("light");
        for (const auto &entry : NotePalette::colors)
            QTest::addRow("light preset %s", entry.name) << QString::fromLatin1(entry.hex) << false;
        for (const auto &entry : NotePalette::darkColors)
            QTest::addRow("dark variant %s", entry.name) << QString::fromLatin1(entry.hex) << true;
        QTest::newRow("mid grey just below the threshold") << u"#717171"_qs << true;
        QTest::newRow("mid grey just above the threshold") << u"#737373"_qs << false;
    }

    void foregroundFollowsLuminance()
    {
        QFETCH(QString, hex);
        QFETCH(bool, light);
        QCOMPARE(NotePalette::usesLightForeground(*NotePalette::colorFromHexString(hex)), light);
    }

    void displayColour()
    {
        const auto shown = [](const QString &hex, bool dark) {
            return NotePalette::hexString(NotePalette::displayColor(hex, dark));
        };
        // Prompt notes are painted white whatever colour they store.
        QCOMPARE(shown(NotePalette::sourceHex(u"#CDE8F9"_qs, true), false), u"#FFFFFF"_qs);
        QCOMPARE(shown(NotePalette::sourceHex(u"#CDE8F9"_qs, true), true), u"#1C1C1E"_qs);
        QCOMPARE(NotePalette::hexString(NotePalette::blendedTowardsBlack(QColor(200, 100, 0), 0.1)),
            NotePalette::hexString(QColor(180, 90, 0)));

        QCOMPARE(shown(u"#FBF4A6"_qs, true), u"#46411F"_qs);
        QCOMPARE(shown(u"nonsense"_qs, false), u"#FBF4A6"_qs);
    }

    void swatchIsARoundedSquareWithOutline()
    {
        const QImage image = NotePalette::swatch(u"#CDE8F9"_qs, 2.0);
        QCOMPARE(image.size(), QSize(28, 28));
        QCOMPARE(QColor(image.pixel(14, 14)).name().toUpper(), u"#CDE8F9"_qs);
        QCOMPARE(qAlpha(image.pixel(0, 0)), 0); // outside the inset
        QCOMPARE(qAlpha(image.pixel(8, 8)), 255); // well inside the rounded square
        QVERIFY(qAlpha(image.pixel(3, 3)) < 255); // the corner is rounded off
    }
};

QTEST_GUILESS_MAIN(TestNotePalette)
#include "tst_notepalette.moc"

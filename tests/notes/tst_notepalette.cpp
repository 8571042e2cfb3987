#include "notes/NotePalette.h"

#include <QTest>

class TestNotePalette : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parseHex_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected"); // empty: must fail

        QTest::newRow("nominal: lower case without #, blanks around") << u"  fbf4a6\t"_qs << u"#FBF4A6"_qs;
        // Three digits is a form other colour parsers accept; a note colour is exactly six.
        QTest::newRow("robustness: three digits") << u"#FFF"_qs << QString();
        QTest::newRow("robustness: full-width digits") << u"#ＦＦＦＦＦＦ"_qs << QString();
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
};

QTEST_GUILESS_MAIN(TestNotePalette)
#include "tst_notepalette.moc"

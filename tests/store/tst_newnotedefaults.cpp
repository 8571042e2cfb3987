// Where new notes go and how they look, and the one conversion between Qt's and the file's coordinates.

#include "support/StoreTestSupport.h"

#include "notes/ScreenCoordinates.h"
#include "store/NewNoteDefaults.h"

#include <QTest>

using namespace StoreTest;

using SettingsMap = QMap<QString, QVariant>;
Q_DECLARE_METATYPE(NewNoteDefaults::Style)

class TestNewNoteDefaults : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void screenCoordinatesRoundTrip_data()
    {
        QTest::addColumn<QRectF>("qtRect");
        QTest::addColumn<qreal>("primaryHeight");
        QTest::addColumn<QRectF>("fileRect");

        QTest::newRow("nominal: a window at the top left of a 900 high screen")
            << QRectF(0, 0, 270, 260) << qreal(900) << QRectF(0, 640, 270, 260);
        QTest::newRow("nominal: a second screen below the primary one has negative file y")
            << QRectF(0, 1000, 300, 200) << qreal(900) << QRectF(0, -300, 300, 200);
    }

    void screenCoordinatesRoundTrip()
    {
        QFETCH(QRectF, qtRect);
        QFETCH(qreal, primaryHeight);
        QFETCH(QRectF, fileRect);
        QCOMPARE(ScreenCoordinates::toFileRect(qtRect, primaryHeight), fileRect);
        QCOMPARE(ScreenCoordinates::toQtRect(fileRect, primaryHeight), qtRect);
    }

    void cascade_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QPointF>("position");

        QTest::newRow("nominal: the first note") << 0 << QPointF(80, 530);
        QTest::newRow("nominal: the second steps down and right") << 1 << QPointF(108, 502);
        QTest::newRow("nominal: the eleventh starts a new diagonal") << 10 << QPointF(124, 496);
        QTest::newRow("nominal: the forty-first repeats the first") << 40 << QPointF(80, 530);
    }

    void cascade()
    {
        QFETCH(int, index);
        QFETCH(QPointF, position);
        QCOMPARE(NewNoteDefaults::cascadePosition(NewNoteDefaults::fallbackVisibleFrame, index), position);

        // The store walks the same cascade, one step per new note.
        Workspace ws;
        NoteStore &store = ws.open();
        NoteMetadata meta;
        for (int i = 0; i <= index; ++i)
            meta = store.nextDefaultMetadata();
        QCOMPARE(QPointF(meta.x, meta.y), position);
        QCOMPARE(store.cascadeIndex(), index + 1);
    }

    void cascadeUsesTheScreensVisibleFrame()
    {
        Workspace ws;
        NoteStore &store = ws.open();
        // A 1920 by 1080 primary screen with a 32 point panel at the top, reported in Qt's top-down coordinates.
        store.setVisibleAreaProvider([] {
            return ScreenCoordinates::VisibleArea {QRectF(0, 32, 1920, 1048), qreal(1080)};
        });
        const NoteMetadata first = store.nextDefaultMetadata();
        // The visible frame's top in file coordinates is 1048: 110 below it, minus the 260 of the window.
        QCOMPARE(QPointF(first.x, first.y), QPointF(80, 678));

        store.setVisibleAreaProvider([] { return std::optional<ScreenCoordinates::VisibleArea>(); });
        const NoteMetadata noScreen = store.nextDefaultMetadata();
        QCOMPARE(QPointF(noScreen.x, noScreen.y), QPointF(108, 502));
    }

    void applyNewNoteDefaults_data()
    {
        QTest::addColumn<SettingsMap>("stored");
        QTest::addColumn<NewNoteDefaults::Style>("expected");
        const auto row = [](const char *name, const SettingsMap &stored, const NewNoteDefaults::Style &expected) {
            QTest::newRow(name) << stored << expected;
        };
        const QString fallback = QStringLiteral("#FBF4A6");

        // By default the previous note's style is used.
        row("nominal: nothing remembered yet", {}, {fallback, false, 12, 270, 260});
        row("nominal: a remembered style",
            {{"defaultNoteColor", "#CDE8F9"}, {"defaultNoteFloat", true}, {"defaultNoteFontSize", 16.0},
                {"defaultNoteWidth", 400.0}, {"defaultNoteHeight", 300.0}},
            {"#CDE8F9", true, 16, 400, 300});
        row("robustness: a remembered colour name is not a colour", {{"defaultNoteColor", "red"}},
            {fallback, false, 12, 270, 260});
        row("robustness: remembered values out of range are clamped",
            {{"defaultNoteWidth", 50.0}, {"defaultNoteHeight", 99999.0}, {"defaultNoteFontSize", 100.0}},
            {fallback, false, 48, 140, 20000});
        row("robustness: a remembered number stored as text that is not a number clamps from 0",
            {{"defaultNoteWidth", "wide"}}, {fallback, false, 12, 140, 260});

        const SettingsMap remembered {{"defaultNoteColor", "#D4F2C2"}, {"defaultNoteFontSize", 20.0}};
        SettingsMap fixed = remembered;
        fixed.insert("usePreviousNoteSettings", false);
        row("nominal: switched off, the registered fixed values apply", fixed, {fallback, false, 12, 270, 260});
        fixed.insert("fixedNoteColor", "#FFFFFF");
        fixed.insert("fixedNoteFloat", true);
        fixed.insert("fixedNoteWidth", 500.0);
        row("nominal: the fixed values chosen in the settings", fixed, {"#FFFFFF", true, 12, 500, 260});
    }

    void applyNewNoteDefaults()
    {
        QFETCH(SettingsMap, stored);
        QFETCH(NewNoteDefaults::Style, expected);
        Workspace ws;
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            ws.config.setValue(it.key().toLatin1().constData(), it.value());
        NoteMetadata meta;
        meta.x = 1;
        meta.z = 7;
        ws.open().applyNewNoteDefaults(meta);
        QCOMPARE(
            (NewNoteDefaults::Style {meta.color, meta.floatOnTop, meta.fontSize, meta.width, meta.height}), expected);
        // Position and stacking order are not the style's business.
        QCOMPARE(meta.x, 1.0);
        QCOMPARE(meta.z, 7);
    }

    void rememberedStyleFeedsTheNextNote()
    {
        Workspace ws;
        NoteStore &store = ws.open();
        NoteMetadata styled;
        styled.color = QStringLiteral("#e6dbfb");
        styled.floatOnTop = true;
        styled.fontSize = 18;
        styled.width = 333;
        styled.height = 222;
        store.rememberStyleDefaults(styled);

        // Read back through the settings file, as the next launch would.
        ws.config.sync();
        Settings reread(ws.config.fileName());
        const NewNoteDefaults::Style style = NewNoteDefaults::rememberedStyle(reread);
        QCOMPARE(style, (NewNoteDefaults::Style {QStringLiteral("#e6dbfb"), true, 18, 333, 222}));
        NoteController *note = store.create(QString(), QStringLiteral("Styled"));
        QCOMPARE(note->note().meta.color, QStringLiteral("#e6dbfb"));
        QCOMPARE(note->note().meta.width, 333.0);
    }

private:
    TemporaryHome m_home;
};

QTEST_GUILESS_MAIN(TestNewNoteDefaults)
#include "tst_newnotedefaults.moc"

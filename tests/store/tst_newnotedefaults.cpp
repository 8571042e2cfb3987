// Where new notes go and how they look, and the one conversion between Qt's and the file's coordinates.

#include "StoreTestSupport.h"

#include "notes/ScreenCoordinates.h"
#include "store/NewNoteDefaults.h"
#include "store/NoteStore.h"

#include <QTest>

using namespace StoreTest;

using SettingsMap = QMap<QString, QVariant>;

class TestNewNoteDefaults : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void screenCoordinatesRoundTrip_data();
    void screenCoordinatesRoundTrip();
    void cascade_data();
    void cascade();
    void cascadeUsesTheScreensVisibleFrame();

    void styleDefaults_data();
    void styleDefaults();
    void applyNewNoteDefaults_data();
    void applyNewNoteDefaults();
    void rememberedStyleFeedsTheNextNote();

private:
    QTemporaryDir m_home;
};

void TestNewNoteDefaults::initTestCase()
{
    QVERIFY(m_home.isValid());
    redirectHome(m_home);
}

void TestNewNoteDefaults::screenCoordinatesRoundTrip_data()
{
    QTest::addColumn<QRectF>("qtRect");
    QTest::addColumn<qreal>("primaryHeight");
    QTest::addColumn<QRectF>("fileRect");

    QTest::newRow("nominal: a window at the top left of a 900 high screen")
        << QRectF(0, 0, 270, 260) << qreal(900) << QRectF(0, 640, 270, 260);
    QTest::newRow("nominal: a window touching the bottom edge")
        << QRectF(100, 640, 270, 260) << qreal(900) << QRectF(100, 0, 270, 260);
    QTest::newRow("nominal: a second screen below the primary one has negative file y")
        << QRectF(0, 1000, 300, 200) << qreal(900) << QRectF(0, -300, 300, 200);
    QTest::newRow("nominal: a second screen above the primary one")
        << QRectF(50, -500, 300, 200) << qreal(1080) << QRectF(50, 1380, 300, 200);
}

void TestNewNoteDefaults::screenCoordinatesRoundTrip()
{
    QFETCH(QRectF, qtRect);
    QFETCH(qreal, primaryHeight);
    QFETCH(QRectF, fileRect);
    QCOMPARE(ScreenCoordinates::toFileRect(qtRect, primaryHeight), fileRect);
    QCOMPARE(ScreenCoordinates::toQtRect(fileRect, primaryHeight), qtRect);
}

void TestNewNoteDefaults::cascade_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QPointF>("position");

    QTest::newRow("nominal: the first note") << 0 << QPointF(80, 530);
    QTest::newRow("nominal: the second steps down and right") << 1 << QPointF(108, 502);
    QTest::newRow("nominal: the tenth ends the first diagonal") << 9 << QPointF(332, 278);
    QTest::newRow("nominal: the eleventh starts a new diagonal") << 10 << QPointF(124, 496);
    QTest::newRow("nominal: the fortieth is the last of the pattern") << 39 << QPointF(464, 176);
    QTest::newRow("nominal: the forty-first repeats the first") << 40 << QPointF(80, 530);
}

void TestNewNoteDefaults::cascade()
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

void TestNewNoteDefaults::cascadeUsesTheScreensVisibleFrame()
{
    Workspace ws;
    NoteStore &store = ws.open();
    // A 1920 by 1080 primary screen with a 32 point panel at the top, reported in Qt's top-down coordinates.
    store.setVisibleAreaProvider([] {
        return ScreenCoordinates::VisibleArea {QRectF(0, 32, 1920, 1048), qreal(1080)};
    });
    const NoteMetadata first = store.nextDefaultMetadata();
    // The visible frame's top in file coordinates is 1048: 110 below it, minus the 260 of the window.
    QCOMPARE(first.x, 80.0);
    QCOMPARE(first.y, 678.0);

    store.setVisibleAreaProvider([] { return std::optional<ScreenCoordinates::VisibleArea>(); });
    const NoteMetadata noScreen = store.nextDefaultMetadata();
    QCOMPARE(noScreen.x, 108.0);
    QCOMPARE(noScreen.y, 502.0);
}

void TestNewNoteDefaults::styleDefaults_data()
{
    QTest::addColumn<SettingsMap>("stored");
    QTest::addColumn<QString>("color");
    QTest::addColumn<bool>("floatOnTop");
    QTest::addColumn<double>("fontSize");
    QTest::addColumn<double>("width");
    QTest::addColumn<double>("height");

    QTest::newRow("nominal: nothing remembered yet") << SettingsMap {} << "#FBF4A6" << false << 12.0 << 270.0 << 260.0;
    QTest::newRow("nominal: a remembered style")
        << SettingsMap {{"defaultNoteColor", "#CDE8F9"}, {"defaultNoteFloat", true}, {"defaultNoteFontSize", 16.0},
               {"defaultNoteWidth", 400.0}, {"defaultNoteHeight", 300.0}}
        << "#CDE8F9" << true << 16.0 << 400.0 << 300.0;
    QTest::newRow("robustness: a colour name is not a colour")
        << SettingsMap {{"defaultNoteColor", "red"}} << "#FBF4A6" << false << 12.0 << 270.0 << 260.0;
    QTest::newRow("robustness: values out of range are clamped")
        << SettingsMap {{"defaultNoteWidth", 50.0}, {"defaultNoteHeight", 99999.0}, {"defaultNoteFontSize", 100.0}}
        << "#FBF4A6" << false << 48.0 << 140.0 << 20000.0;
    QTest::newRow("robustness: a number stored as text that is not a number clamps from 0")
        << SettingsMap {{"defaultNoteWidth", "wide"}} << "#FBF4A6" << false << 12.0 << 140.0 << 260.0;
}

void TestNewNoteDefaults::styleDefaults()
{
    QFETCH(SettingsMap, stored);
    QFETCH(QString, color);
    QFETCH(bool, floatOnTop);
    QFETCH(double, fontSize);
    QFETCH(double, width);
    QFETCH(double, height);
    Workspace ws;
    for (auto it = stored.cbegin(); it != stored.cend(); ++it)
        ws.config.setValue(it.key().toLatin1().constData(), it.value());
    const NewNoteDefaults::Style style = ws.open().styleDefaults();
    QCOMPARE(style.color, color);
    QCOMPARE(style.floatOnTop, floatOnTop);
    QCOMPARE(style.fontSize, fontSize);
    QCOMPARE(style.width, width);
    QCOMPARE(style.height, height);
}

void TestNewNoteDefaults::applyNewNoteDefaults_data()
{
    QTest::addColumn<SettingsMap>("stored");
    QTest::addColumn<QString>("color");
    QTest::addColumn<bool>("floatOnTop");
    QTest::addColumn<double>("fontSize");
    QTest::addColumn<double>("width");
    QTest::addColumn<double>("height");

    const SettingsMap remembered {{"defaultNoteColor", "#D4F2C2"}, {"defaultNoteFontSize", 20.0}};
    QTest::newRow("nominal: by default the previous note's style is used")
        << remembered << "#D4F2C2" << false << 20.0 << 270.0 << 260.0;
    SettingsMap fixed = remembered;
    fixed.insert("usePreviousNoteSettings", false);
    QTest::newRow("nominal: switched off, the registered fixed values apply")
        << fixed << "#FBF4A6" << false << 12.0 << 270.0 << 260.0;
    fixed.insert("fixedNoteColor", "#FFFFFF");
    fixed.insert("fixedNoteFloat", true);
    fixed.insert("fixedNoteWidth", 500.0);
    QTest::newRow("nominal: the fixed values chosen in the settings")
        << fixed << "#FFFFFF" << true << 12.0 << 500.0 << 260.0;
    QTest::newRow("robustness: a fixed font size of 0 becomes 8")
        << SettingsMap {{"usePreviousNoteSettings", false}, {"fixedNoteFontSize", 0.0}} << "#FBF4A6" << false << 8.0
        << 270.0 << 260.0;
    QTest::newRow("robustness: an unusable fixed colour falls back")
        << SettingsMap {{"usePreviousNoteSettings", false}, {"fixedNoteColor", "#12345"}} << "#FBF4A6" << false << 12.0
        << 270.0 << 260.0;
}

void TestNewNoteDefaults::applyNewNoteDefaults()
{
    QFETCH(SettingsMap, stored);
    QFETCH(QString, color);
    QFETCH(bool, floatOnTop);
    QFETCH(double, fontSize);
    QFETCH(double, width);
    QFETCH(double, height);
    Workspace ws;
    for (auto it = stored.cbegin(); it != stored.cend(); ++it)
        ws.config.setValue(it.key().toLatin1().constData(), it.value());
    NoteMetadata meta;
    meta.x = 1;
    meta.z = 7;
    ws.open().applyNewNoteDefaults(meta);
    QCOMPARE(meta.color, color);
    QCOMPARE(meta.floatOnTop, floatOnTop);
    QCOMPARE(meta.fontSize, fontSize);
    QCOMPARE(meta.width, width);
    QCOMPARE(meta.height, height);
    // Position and stacking order are not the style's business.
    QCOMPARE(meta.x, 1.0);
    QCOMPARE(meta.z, 7);
}

void TestNewNoteDefaults::rememberedStyleFeedsTheNextNote()
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
    QVERIFY(note->note().meta.floatOnTop);
}

QTEST_GUILESS_MAIN(TestNewNoteDefaults)
#include "tst_newnotedefaults.moc"

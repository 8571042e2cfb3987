#include "notes/Frontmatter.h"

#include <QRandomGenerator>
#include <QTest>

using Frontmatter::Parsed;

// Readable failure output: QCOMPARE prints both sides through this.
namespace Frontmatter {
char *toString(const Parsed &p)
{
    return QTest::toString(u"hadMeta=%1 meta=[%2] foreign=[%3] body=[%4]"_qs.arg(p.hadMeta).arg(
        Frontmatter::propertyLine(p.meta), p.foreign.join(u"|"_qs), p.body.left(200)));
}
} // namespace Frontmatter

namespace {

Parsed withMeta(const NoteMetadata &meta, const QStringList &foreign = {}, const QString &body = {})
{
    return {meta, true, foreign, body};
}

Parsed withoutMeta(const QStringList &foreign, const QString &body)
{
    return {NoteMetadata(), false, foreign, body};
}

// The worked example of a note's properties; x is given so that rounding can be checked on the way out.
NoteMetadata workedExample(double x)
{
    return {.x = x,
        .y = 580,
        .width = 300,
        .height = 240,
        .z = 7,
        .color = u"#B8E0F5"_qs,
        .fontSize = 14,
        .floatOnTop = true};
}

QString randomText(QRandomGenerator &random, int maxLength, bool allowNewlines)
{
    // A mix that stresses the codec: delimiters, colons, quotes, blanks, CR, non-ASCII and astral characters.
    static const QStringList pieces = {u"-"_qs, u"---"_qs, u":"_qs, u"\""_qs, u"'"_qs, u" "_qs, u"\t"_qs, u"\r"_qs,
        u"tackpad"_qs, u"x1"_qs, u"é"_qs, u"😀"_qs, u"#"_qs, u"a"_qs, u"Z"_qs, u"0"_qs, u"key"_qs, u"\u00A0"_qs};
    QString text;
    const int count = random.bounded(maxLength + 1);
    for (int i = 0; i < count; ++i)
        text += allowNewlines && random.bounded(6) == 0 ? u"\n"_qs : pieces[random.bounded(int(pieces.size()))];
    return text;
}

NoteMetadata randomValidMeta(QRandomGenerator &random)
{
    // Braced initialisers evaluate in order, so the sequence stays the same for a given seed.
    NoteMetadata m {.x = double(random.bounded(-100000, 100001)),
        .y = double(random.bounded(-100000, 100001)),
        .width = double(random.bounded(140, 20001)),
        .height = double(random.bounded(60, 20001)),
        .z = random.bounded(-1000000000, 1000000001),
        .color = QStringLiteral("#%1").arg(random.bounded(0x1000000), 6, 16, QLatin1Char('0')),
        .fontSize = double(random.bounded(8, 49)),
        .rolledUp = random.bounded(2) == 1,
        .floatOnTop = random.bounded(2) == 1,
        .hidden = random.bounded(2) == 1,
        .adopt = random.bounded(2) == 1,
        .isPrompt = random.bounded(2) == 1};
    if (random.bounded(2))
        m.color = m.color.toUpper();
    return m;
}

} // namespace

class TestFrontmatter : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void parse_data()
    {
        QTest::addColumn<QString>("raw");
        QTest::addColumn<Parsed>("expected");
        const auto noBlock
            = [](const char *name, const QString &raw) { QTest::newRow(name) << raw << withoutMeta({}, raw); };
        noBlock("no block: one line", u"---"_qs);
        noBlock("no block: does not begin with ---", u"Hello\n---\nx: 1\n---\n"_qs);
        noBlock("no block: --- straight after ---", u"---\n---\nbody"_qs);
        noBlock("no block: thematic break over a list", u"---\n- item\n- other\n---\ntext"_qs);
        noBlock("no block: never closed", u"---\ntackpad: x10\nbody"_qs);

        const QStringList shopping {u"title: Shopping"_qs, u"tags: [home]"_qs};
        QTest::newRow("foreign block: no properties")
            << u"---\ntitle: Shopping\ntags: [home]\n---\n- milk\n- bread\n"_qs
            << withoutMeta(shopping, u"- milk\n- bread\n"_qs);
        QTest::newRow("nominal: the worked example")
            << u"---\ntitle: Shopping\ntags: [home]\ntackpad: \"x312 y580 w300 h240 z7 #B8E0F5 s14 float\"\n---\n- milk\n- bread"_qs
            << withMeta(workedExample(312), shopping, u"- milk\n- bread"_qs);
        const Parsed x10y20 = withMeta({.x = 10, .y = 20});
        QTest::newRow("nominal: unquoted token list, empty body") << u"---\ntackpad: x10 y20\n---"_qs << x10y20;
        QTest::newRow("nominal: single quotes, blanks around the delimiters")
            << u"  ---\t\ntackpad:   'x10 y20'  \n--- \n"_qs << x10y20;
        QTest::newRow("nominal: later named key clears an earlier flag")
            << u"---\ntackpad: \"float\"\ntackpad-float: no\ntackpad-width: 300\n---\n"_qs << withMeta({.width = 300});
        QTest::newRow("robustness: foreign lines verbatim, body may hold more blocks")
            << u"---\nnote: \"x1\"\njust text\ntackpad: x5\n:leading colon\n---\n---\nnot: a block\n---\n"_qs
            << withMeta({.x = 5}, {u"note: \"x1\""_qs, u"just text"_qs, u":leading colon"_qs},
                   u"---\nnot: a block\n---\n"_qs);
        QTest::newRow("robustness: key is case-sensitive")
            << u"---\nTackpad: x10\n---\nb"_qs << withoutMeta({u"Tackpad: x10"_qs}, u"b"_qs);
    }

    void parse()
    {
        QFETCH(QString, raw);
        QFETCH(Parsed, expected);
        QCOMPARE(Frontmatter::parse(raw), expected);
    }

    // Each row is a block's property lines; rows that list rejected tokens after an accepted one also prove that the
    // rejected ones did not overwrite it.
    void properties_data()
    {
        QTest::addColumn<QString>("lines");
        QTest::addColumn<NoteMetadata>("expected");
        const auto tokens = [](const char *name, const QString &list, const NoteMetadata &expected) {
            QTest::newRow(name) << u"tackpad: \""_qs + list + u"\""_qs << expected;
        };
        tokens("numbers: C syntax with exponent and sign", u"x1e2 y+5"_qs, {.x = 100, .y = 5});
        tokens("numbers: rejected text leaves the default", u"xabc x xinf xnan x1,5 x1e x--1 x0x"_qs, {});
        tokens("clamps: below the minimum", u"w50 h10 s2 z-99999999999"_qs,
            {.width = 140, .height = 60, .z = -1000000000, .fontSize = 8});
        tokens("clamps: above the maximum", u"w99999 x-250000 y250000 s100 z99999999999"_qs,
            {.x = -100000, .y = 100000, .width = 20000, .z = 1000000000, .fontSize = 48});
        tokens("z: plus sign; lone sign, fraction, blank, overflow rejected",
            u"z+42 z+ z1.5 z- z99999999999999999999"_qs, {.z = 42});
        tokens("colour: kept in its case; five digits, non-hex, doubled # and no # ignored",
            u"#fbf4a6 #FBF4A #GGGGGG ##FBF4A6 B8E0F5"_qs, {.color = u"#fbf4a6"_qs});
        tokens("flags: every flag", u"rolled float hidden adopt prompt"_qs,
            {.rolledUp = true, .floatOnTop = true, .hidden = true, .adopt = true, .isPrompt = true});
        tokens("flags: keep is adopt, flags are case-sensitive", u"keep Float HIDDEN"_qs, {.adopt = true});
        tokens("robustness: later token wins", u"x1 x2"_qs, {.x = 2});

        QTest::newRow("named: colour without # gains one, unusable colour ignored")
            << u"tackpad-color: B8E0F5\ntackpad-color: red"_qs << NoteMetadata {.color = u"#B8E0F5"_qs};
        QTest::newRow("named: geometry, z and font size")
            << u"tackpad-x: 10\ntackpad-y: -20\ntackpad-width: 50\ntackpad-height: 70000\ntackpad-z: 3\ntackpad-font-size: 13.5"_qs
            << NoteMetadata {.x = 10, .y = -20, .width = 140, .height = 20000, .z = 3, .fontSize = 13.5};
        QTest::newRow("named: flag words")
            << u"tackpad-float: YES\ntackpad-hidden: 1\ntackpad-keep: true\ntackpad-rolled: on"_qs
            << NoteMetadata {.floatOnTop = true, .hidden = true, .adopt = true};
        QTest::newRow("named: unknown key ignored but counts as properties") << u"tackpad-size: 5"_qs << NoteMetadata();
    }

    void properties()
    {
        QFETCH(QString, lines);
        QFETCH(NoteMetadata, expected);
        QCOMPARE(Frontmatter::parse(u"---\n"_qs + lines + u"\n---\nbody"_qs), withMeta(expected, {}, u"body"_qs));
    }

    void serialize_data()
    {
        QTest::addColumn<NoteMetadata>("meta");
        QTest::addColumn<QStringList>("foreign");
        QTest::addColumn<QString>("body");
        QTest::addColumn<QString>("expected");

        QTest::newRow("worked example with foreign lines")
            << workedExample(312.4) << QStringList {u"title: Shopping"_qs, u"tags: [home]"_qs}
            << u"- milk\n- bread\n"_qs
            << u"---\ntitle: Shopping\ntags: [home]\ntackpad: \"x312 y580 w300 h240 z7 #B8E0F5 s14 float\"\n---\n- milk\n- bread\n"_qs;
        QTest::newRow("halves away from zero, never -0")
            << NoteMetadata {.x = 120.5, .y = -0.5, .width = 140.49, .height = -0.4, .fontSize = 12.5} << QStringList()
            << QString() << u"---\ntackpad: \"x121 y-1 w140 h0 z0 #FBF4A6 s13\"\n---\n"_qs;
        // Only a parse is known to clamp; a broken frame from elsewhere must still be written, not end the process.
        QTest::newRow("robustness: no number and out of range are written as the default and the limit")
            << NoteMetadata {.x = qQNaN(), .y = 1e300, .width = -qInf(), .height = qInf(), .fontSize = qQNaN()}
            << QStringList() << QString()
            << u"---\ntackpad: \"x120 y9200000000000000000 w270 h260 z0 #FBF4A6 s12\"\n---\n"_qs;
        QTest::newRow("flags in fixed order, adopt not keep")
            << NoteMetadata {.z = -3,
                   .color = u"#abcdef"_qs,
                   .rolledUp = true,
                   .floatOnTop = true,
                   .hidden = true,
                   .adopt = true,
                   .isPrompt = true}
            << QStringList() << u"b"_qs
            << u"---\ntackpad: \"x120 y120 w270 h260 z-3 #abcdef s12 rolled float hidden adopt prompt\"\n---\nb"_qs;
    }

    void serialize()
    {
        QFETCH(NoteMetadata, meta);
        QFETCH(QStringList, foreign);
        QFETCH(QString, body);
        QFETCH(QString, expected);
        QCOMPARE(Frontmatter::serialize(meta, foreign, body), expected);
    }

    void parseOfSerializeGivesBackTheInput()
    {
        QRandomGenerator random(77);
        for (int round = 0; round < 2000; ++round) {
            const NoteMetadata m = randomValidMeta(random);
            QStringList foreign;
            for (int i = random.bounded(4); i > 0; --i)
                foreign << u"k"_qs + randomText(random, 8, false); // a letter first: no delimiter, none of our keys
            const QString body = randomText(random, 40, true);
            QCOMPARE(Frontmatter::parse(Frontmatter::serialize(m, foreign, body)), withMeta(m, foreign, body));
            // Without our properties (at least one real key, so that the block counts) the rest survives as well.
            const QStringList kept = foreign + QStringList {u"source: "_qs + randomText(random, 4, false)};
            QCOMPARE(Frontmatter::parse(Frontmatter::serializeWithoutTackpad(kept, body)), withoutMeta(kept, body));
        }
    }
};

QTEST_GUILESS_MAIN(TestFrontmatter)
#include "tst_frontmatter.moc"

#include "notes/Frontmatter.h"

#include <QRandomGenerator>
#include <QTest>

using Frontmatter::Parsed;

// Readable failure output: QCOMPARE prints both sides through these.
char *toString(const NoteMetadata &m)
{
    return QTest::toString(Frontmatter::propertyLine(m) + u" (x=%1 y=%2 w=%3 h=%4 s=%5)"_qs.arg(m.x).arg(m.y).arg(m.width).arg(m.height).arg(m.fontSize));
}

namespace Frontmatter {
char *toString(const Parsed &p)
{
    return QTest::toString(u"hadMeta=%1 meta=[%2] foreign=[%3] body=[%4]"_qs.arg(p.hadMeta)
                               .arg(Frontmatter::propertyLine(p.meta), p.foreign.join(u"|"_qs), p.body.left(200)));
}
} // namespace Frontmatter

namespace {

NoteMetadata meta(std::function<void(NoteMetadata &)> change)
{
    NoteMetadata m;
    change(m);
    return m;
}

Parsed noBlock(const QString &raw)
{
    Parsed p;
    p.body = raw;
    return p;
}

} // namespace

class TestFrontmatter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parse_data();
    void parse();
    void tokens_data();
    void tokens();
    void namedKeys_data();
    void namedKeys();
    void serialize_data();
    void serialize();
    void serializeWithoutTackpad_data();
    void serializeWithoutTackpad();
    void foreignLinesAndBodySurviveRoundTrip();
    void parseOfSerializeGivesBackTheInput();
    void largeBodyIsNotCopiedLineByLine();
};

void TestFrontmatter::parse_data()
{
    QTest::addColumn<QString>("raw");
    QTest::addColumn<Parsed>("expected");

    QTest::newRow("no block: empty file") << QString() << noBlock(QString());
    QTest::newRow("no block: one line") << u"---"_qs << noBlock(u"---"_qs);
    QTest::newRow("no block: does not begin with ---") << u"Hello\n---\nx: 1\n---\n"_qs
                                                       << noBlock(u"Hello\n---\nx: 1\n---\n"_qs);
    QTest::newRow("no block: --- straight after ---") << u"---\n---\nbody"_qs << noBlock(u"---\n---\nbody"_qs);
    QTest::newRow("no block: thematic break over a list") << u"---\n- item\n- other\n---\ntext"_qs
                                                          << noBlock(u"---\n- item\n- other\n---\ntext"_qs);
    QTest::newRow("no block: never closed") << u"---\ntackpad: x10\nbody"_qs << noBlock(u"---\ntackpad: x10\nbody"_qs);
    QTest::newRow("no block: CR LF is not recognised") << u"---\r\ntackpad: x10\r\n---\r\nbody"_qs
                                                       << noBlock(u"---\r\ntackpad: x10\r\n---\r\nbody"_qs);
    QTest::newRow("no block: key of blanks only") << u"---\n  : value\n---\n"_qs << noBlock(u"---\n  : value\n---\n"_qs);

    {
        Parsed p;
        p.foreign = {u"title: Shopping"_qs, u"tags: [home]"_qs};
        p.body = u"- milk\n- bread\n"_qs;
        QTest::newRow("foreign block: no properties") << u"---\ntitle: Shopping\ntags: [home]\n---\n- milk\n- bread\n"_qs
                                                      << p;
    }
    {
        Parsed p;
        p.hadMeta = true;
        p.meta = meta([](NoteMetadata &m) {
            m.x = 312;
            m.y = 580;
            m.width = 300;
            m.height = 240;
            m.z = 7;
            m.color = u"#B8E0F5"_qs;
            m.fontSize = 14;
            m.floatOnTop = true;
        });
        p.foreign = {u"title: Shopping"_qs, u"tags: [home]"_qs};
        p.body = u"- milk\n- bread"_qs;
        QTest::newRow("nominal: the worked example")
            << u"---\ntitle: Shopping\ntags: [home]\ntackpad: \"x312 y580 w300 h240 z7 #B8E0F5 s14 float\"\n---\n- milk\n- bread"_qs
            << p;
    }
    {
        Parsed p;
        p.hadMeta = true;
        p.meta = meta([](NoteMetadata &m) {
            m.x = 10;
            m.y = 20;
        });
        QTest::newRow("nominal: unquoted token list, empty body") << u"---\ntackpad: x10 y20\n---"_qs << p;
        QTest::newRow("nominal: single quotes, blanks around the delimiters")
            << u"  ---\t\ntackpad:   'x10 y20'  \n--- \n"_qs << p;
    }
    {
        Parsed p;
        p.hadMeta = true;
        p.meta = meta([](NoteMetadata &m) { m.floatOnTop = false; m.width = 300; });
        QTest::newRow("nominal: later named key clears an earlier flag")
            << u"---\ntackpad: \"float\"\ntackpad-float: no\ntackpad-width: 300\n---\n"_qs << p;
    }
    {
        Parsed p;
        p.hadMeta = true;
        p.meta = meta([](NoteMetadata &m) { m.x = 5; });
        p.foreign = {u"note: \"x1\""_qs, u"just text"_qs, u":leading colon"_qs};
        p.body = u"---\nnot: a block\n---\n"_qs;
        QTest::newRow("robustness: foreign lines verbatim, body may hold more blocks")
            << u"---\nnote: \"x1\"\njust text\ntackpad: x5\n:leading colon\n---\n---\nnot: a block\n---\n"_qs << p;
    }
    {
        Parsed p;
        p.foreign = {u"Tackpad: x10"_qs};
        p.body = u"b"_qs;
        QTest::newRow("robustness: key is case-sensitive") << u"---\nTackpad: x10\n---\nb"_qs << p;
    }
}

void TestFrontmatter::parse()
{
    QFETCH(QString, raw);
    QFETCH(Parsed, expected);
    QCOMPARE(Frontmatter::parse(raw), expected);
}

void TestFrontmatter::tokens_data()
{
    QTest::addColumn<QString>("tokens");
    QTest::addColumn<NoteMetadata>("expected");

    QTest::newRow("numbers: C syntax with exponent and sign") << u"x1e2 y+5"_qs
                                                              << meta([](auto &m) { m.x = 100; m.y = 5; });
    QTest::newRow("numbers: fractions and hexadecimal floats") << u"x.5 y0x10"_qs
                                                               << meta([](auto &m) { m.x = 0.5; m.y = 16; });
    QTest::newRow("numbers: rejected text leaves the default") << u"xabc x xinf xnan x1,5 x1e x--1 x0x"_qs
                                                               << NoteMetadata();
    QTest::newRow("numbers: blanks inside a token are a split") << u"x 5"_qs << NoteMetadata();
    QTest::newRow("clamps: dimensions") << u"w50 h10"_qs << meta([](auto &m) { m.width = 140; m.height = 60; });
    QTest::newRow("clamps: huge dimensions and coordinates") << u"w99999 x-250000 y250000"_qs
                                                             << meta([](auto &m) {
                                                                    m.width = 20000;
                                                                    m.x = -100000;
                                                                    m.y = 100000;
                                                                });
    QTest::newRow("clamps: font size") << u"s100"_qs << meta([](auto &m) { m.fontSize = 48; });
    QTest::newRow("clamps: small font size") << u"s2"_qs << meta([](auto &m) { m.fontSize = 8; });
    QTest::newRow("z: clamped") << u"z99999999999"_qs << meta([](auto &m) { m.z = 1000000000; });
    QTest::newRow("z: negative clamped") << u"z-99999999999"_qs << meta([](auto &m) { m.z = -1000000000; });
    QTest::newRow("z: overflow rejected") << u"z99999999999999999999"_qs << NoteMetadata();
    QTest::newRow("z: lone sign, fraction, blank rejected") << u"z+ z1.5 z-"_qs << NoteMetadata();
    QTest::newRow("z: plus sign") << u"z+42"_qs << meta([](auto &m) { m.z = 42; });
    QTest::newRow("colour: kept in its case") << u"#fbf4a6"_qs << meta([](auto &m) { m.color = u"#fbf4a6"_qs; });
    QTest::newRow("colour: five digits and non-hex ignored") << u"#FBF4A #GGGGGG ##FBF4A6"_qs << NoteMetadata();
    QTest::newRow("colour: without # is a token with key B") << u"B8E0F5"_qs << NoteMetadata();
    QTest::newRow("flags: every flag") << u"rolled float hidden adopt prompt"_qs << meta([](auto &m) {
        m.rolledUp = m.floatOnTop = m.hidden = m.adopt = m.isPrompt = true;
    });
    QTest::newRow("flags: keep is adopt") << u"keep"_qs << meta([](auto &m) { m.adopt = true; });
    QTest::newRow("flags: case-sensitive") << u"Float HIDDEN"_qs << NoteMetadata();
    QTest::newRow("robustness: tabs and repeated blanks") << u"\tx1  \t y2 "_qs
                                                          << meta([](auto &m) { m.x = 1; m.y = 2; });
    QTest::newRow("robustness: later token wins") << u"x1 x2"_qs << meta([](auto &m) { m.x = 2; });
}

void TestFrontmatter::tokens()
{
    QFETCH(QString, tokens);
    QFETCH(NoteMetadata, expected);
    const Parsed parsed = Frontmatter::parse(u"---\ntackpad: \""_qs + tokens + u"\"\n---\n"_qs);
    QVERIFY(parsed.hadMeta);
    QCOMPARE(parsed.meta, expected);
}

void TestFrontmatter::namedKeys_data()
{
    QTest::addColumn<QString>("lines");
    QTest::addColumn<NoteMetadata>("expected");

    QTest::newRow("colour without # gains one") << u"tackpad-color: B8E0F5"_qs
                                                << meta([](auto &m) { m.color = u"#B8E0F5"_qs; });
    QTest::newRow("colour rejected") << u"tackpad-color: red"_qs << NoteMetadata();
    QTest::newRow("geometry keys") << u"tackpad-x: 10\ntackpad-y: -20\ntackpad-width: 50\ntackpad-height: 70000"_qs
                                   << meta([](auto &m) {
                                          m.x = 10;
                                          m.y = -20;
                                          m.width = 140;
                                          m.height = 20000;
                                      });
    QTest::newRow("z and font size") << u"tackpad-z: 3\ntackpad-font-size: 13.5"_qs
                                     << meta([](auto &m) { m.z = 3; m.fontSize = 13.5; });
    QTest::newRow("flag words") << u"tackpad-float: YES\ntackpad-hidden: 1\ntackpad-keep: true\ntackpad-rolled: on"_qs
                                << meta([](auto &m) { m.floatOnTop = m.hidden = m.adopt = true; });
    QTest::newRow("unknown key ignored but counts as properties") << u"tackpad-size: 5"_qs << NoteMetadata();
    QTest::newRow("quoted value") << u"tackpad-x: \"42\""_qs << meta([](auto &m) { m.x = 42; });
}

void TestFrontmatter::namedKeys()
{
    QFETCH(QString, lines);
    QFETCH(NoteMetadata, expected);
    const Parsed parsed = Frontmatter::parse(u"---\n"_qs + lines + u"\n---\nbody"_qs);
    QVERIFY(parsed.hadMeta);
    QCOMPARE(parsed.meta, expected);
    QCOMPARE(parsed.body, u"body"_qs);
}

void TestFrontmatter::serialize_data()
{
    QTest::addColumn<NoteMetadata>("meta");
    QTest::addColumn<QStringList>("foreign");
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("expected");

    QTest::newRow("defaults over a plain file") << NoteMetadata() << QStringList() << u"Hello"_qs
                                                << u"---\ntackpad: \"x120 y120 w270 h260 z0 #FBF4A6 s12\"\n---\nHello"_qs;
    QTest::newRow("worked example with foreign lines")
        << meta([](auto &m) {
               m.x = 312.4;
               m.y = 580;
               m.width = 300;
               m.height = 240;
               m.z = 7;
               m.color = u"#B8E0F5"_qs;
               m.fontSize = 14;
               m.floatOnTop = true;
           })
        << QStringList{u"title: Shopping"_qs, u"tags: [home]"_qs} << u"- milk\n- bread\n"_qs
        << u"---\ntitle: Shopping\ntags: [home]\ntackpad: \"x312 y580 w300 h240 z7 #B8E0F5 s14 float\"\n---\n- milk\n- bread\n"_qs;
    QTest::newRow("halves away from zero, never -0")
        << meta([](auto &m) {
               m.x = 120.5;
               m.y = -0.5;
               m.width = 140.49;
               m.height = -0.4;
               m.fontSize = 12.5;
           })
        << QStringList() << QString() << u"---\ntackpad: \"x121 y-1 w140 h0 z0 #FBF4A6 s13\"\n---\n"_qs;
    QTest::newRow("flags in fixed order, adopt not keep")
        << meta([](auto &m) {
               m.isPrompt = m.adopt = m.hidden = m.floatOnTop = m.rolledUp = true;
               m.z = -3;
               m.color = u"#abcdef"_qs;
           })
        << QStringList() << u"b"_qs
        << u"---\ntackpad: \"x120 y120 w270 h260 z-3 #abcdef s12 rolled float hidden adopt prompt\"\n---\nb"_qs;
}

void TestFrontmatter::serialize()
{
    QFETCH(NoteMetadata, meta);
    QFETCH(QStringList, foreign);
    QFETCH(QString, body);
    QFETCH(QString, expected);
    QCOMPARE(Frontmatter::serialize(meta, foreign, body), expected);
}

void TestFrontmatter::serializeWithoutTackpad_data()
{
    QTest::addColumn<QStringList>("foreign");
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("expected");
    QTest::newRow("no foreign lines: body alone") << QStringList() << u"# Hi\n"_qs << u"# Hi\n"_qs;
    QTest::newRow("foreign lines kept in a block") << QStringList{u"title: A"_qs, u"x"_qs} << u"text"_qs
                                                   << u"---\ntitle: A\nx\n---\ntext"_qs;
}

void TestFrontmatter::serializeWithoutTackpad()
{
    QFETCH(QStringList, foreign);
    QFETCH(QString, body);
    QFETCH(QString, expected);
    QCOMPARE(Frontmatter::serializeWithoutTackpad(foreign, body), expected);
}

namespace {

QString randomText(QRandomGenerator &random, int maxLength, bool allowNewlines)
{
    // A mix that stresses the codec: delimiters, colons, quotes, blanks, CR, non-ASCII and astral characters.
    static const QStringList pieces = {u"-"_qs, u"---"_qs, u":"_qs, u"\""_qs, u"'"_qs, u" "_qs, u"\t"_qs,
                                       u"\r"_qs, u"tackpad"_qs, u"x1"_qs, u"é"_qs, u"😀"_qs, u"#"_qs, u"a"_qs,
                                       u"Z"_qs, u"0"_qs, u"key"_qs, u"\u00A0"_qs};
    QString text;
    const int count = random.bounded(maxLength + 1);
    for (int i = 0; i < count; ++i) {
        if (allowNewlines && random.bounded(6) == 0)
            text += QLatin1Char('\n');
        else
            text += pieces[random.bounded(int(pieces.size()))];
    }
    return text;
}

// A foreign line that the codec must keep as foreign: not a delimiter, not one of our own keys, one line.
QString randomForeignLine(QRandomGenerator &random)
{
    for (;;) {
        const QString line = randomText(random, 8, false);
        const QString trimmed = line.trimmed();
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        const QString key = colon >= 0 ? line.left(colon).trimmed() : QString();
        if (line.trimmed() == u"---"_qs || trimmed.startsWith(u"---"_qs))
            continue;
        if (key == u"tackpad"_qs || key.startsWith(u"tackpad-"_qs))
            continue;
        // Keys are trimmed of spaces and tabs only; a line made of other blanks still counts as foreign.
        if (QStringView(line).trimmed() == u"---")
            continue;
        return line;
    }
}

NoteMetadata randomValidMeta(QRandomGenerator &random)
{
    NoteMetadata m;
    m.x = random.bounded(-100000, 100001);
    m.y = random.bounded(-100000, 100001);
    m.width = random.bounded(140, 20001);
    m.height = random.bounded(60, 20001);
    m.z = random.bounded(-1000000000, 1000000001);
    m.color = QStringLiteral("#%1").arg(random.bounded(0x1000000), 6, 16, QLatin1Char('0'));
    if (random.bounded(2))
        m.color = m.color.toUpper();
    m.fontSize = random.bounded(8, 49);
    m.rolledUp = random.bounded(2);
    m.floatOnTop = random.bounded(2);
    m.hidden = random.bounded(2);
    m.adopt = random.bounded(2);
    m.isPrompt = random.bounded(2);
    return m;
}

} // namespace

void TestFrontmatter::foreignLinesAndBodySurviveRoundTrip()
{
    QRandomGenerator random(20261121);
    for (int round = 0; round < 2000; ++round) {
        QStringList foreign;
        const int lines = random.bounded(5);
        for (int i = 0; i < lines; ++i)
            foreign << randomForeignLine(random);
        foreign << u"source: "_qs + randomText(random, 4, false); // at least one real key, so the block counts
        const QString body = randomText(random, 40, true);
        const QString file = Frontmatter::serializeWithoutTackpad(foreign, body);

        const Parsed parsed = Frontmatter::parse(file);
        const QString rewritten = Frontmatter::serialize(parsed.meta, parsed.foreign, parsed.body);
        const Parsed again = Frontmatter::parse(rewritten);
        QCOMPARE(again.foreign, foreign);
        QCOMPARE(again.body, body);
        QVERIFY(again.hadMeta);
        QCOMPARE(Frontmatter::serializeWithoutTackpad(again.foreign, again.body), file);
    }
}

void TestFrontmatter::parseOfSerializeGivesBackTheInput()
{
    QRandomGenerator random(77);
    for (int round = 0; round < 2000; ++round) {
        const NoteMetadata m = randomValidMeta(random);
        QStringList foreign;
        const int lines = random.bounded(4);
        for (int i = 0; i < lines; ++i)
            foreign << randomForeignLine(random);
        const QString body = randomText(random, 40, true);

        const Parsed parsed = Frontmatter::parse(Frontmatter::serialize(m, foreign, body));
        QVERIFY(parsed.hadMeta);
        QCOMPARE(parsed.meta, m);
        QCOMPARE(parsed.foreign, foreign);
        QCOMPARE(parsed.body, body);
    }
}

void TestFrontmatter::largeBodyIsNotCopiedLineByLine()
{
    // A 50 MB note must parse as one slice of the text, body intact.
    const QString body = QString(u"line of text\n"_qs).repeated(4 * 1024 * 1024);
    const QString file = Frontmatter::serialize(NoteMetadata(), {}, body);
    const Parsed parsed = Frontmatter::parse(file);
    QVERIFY(parsed.hadMeta);
    QCOMPARE(parsed.body.size(), body.size());
    QVERIFY(parsed.body == body);
}

QTEST_GUILESS_MAIN(TestFrontmatter)
#include "tst_frontmatter.moc"

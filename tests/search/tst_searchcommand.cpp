// `tackpad search`, run in-process over a temporary workspace with its own settings file.

#include "app/Settings.h"
#include "notes/Frontmatter.h"
#include "search/SearchCommand.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>
#include <QTextStream>
#include <QUrl>

#include <unistd.h>

namespace {

struct Run {
    int exitCode = -1;
    QString out;
    QString err;
};

void writeFile(const QString &path, const QString &text)
{
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(file.errorString()));
    file.write(text.toUtf8());
}

void writeNote(const QString &folder, const QString &title, const QString &body, bool hidden = false)
{
    NoteMetadata meta;
    meta.hidden = hidden;
    writeFile(folder + QLatin1Char('/') + title + QLatin1String(".md"), Frontmatter::serialize(meta, {}, body));
}

// Every file under folder with its bytes, to show that a search leaves the workspace as it found it.
QMap<QString, QByteArray> snapshot(const QString &folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        files.insert(file.fileName(), file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<unreadable>"));
    }
    return files;
}

} // namespace

class TestSearchCommand : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void plainOutput();
    void jsonOutput();
    void argumentForms_data();
    void argumentForms();
    void lastWorkspaceFromSettings();
    void problems_data();
    void problems();
    void leavesTheWorkspaceAlone();

private:
    Run run(const QStringList &args);

    QTemporaryDir m_home;
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_folder;
    std::unique_ptr<Settings> m_settings;
};

void TestSearchCommand::initTestCase()
{
    // The entry point without settings reads the user's own: point them at a private folder before anything
    // opens them.
    QVERIFY(m_home.isValid());
    qputenv("HOME", QFile::encodeName(m_home.path()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath(QStringLiteral(".config"))));
}

void TestSearchCommand::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_folder = m_dir->filePath(QStringLiteral("My Notes"));
    QVERIFY(QDir().mkpath(m_folder));
    m_settings = std::make_unique<Settings>(m_dir->filePath(QStringLiteral("settings.ini")));
    writeNote(m_folder, QStringLiteral("Shopping"), QStringLiteral("# List\n\n  buy MILK and eggs  \nbread"));
    writeNote(m_folder, QStringLiteral("Milk run"), QStringLiteral("\n\tfarm on Tuesday\n"), true);
    writeNote(m_folder, QStringLiteral("Plans"), QStringLiteral("nothing to see"));
    writeNote(m_folder, QStringLiteral("Empty milk"), QString());
    // An ordinary Markdown file is no note: the search leaves it out, as the app does.
    writeFile(m_folder + QLatin1String("/readme.md"), QStringLiteral("milk everywhere"));
}

void TestSearchCommand::cleanup()
{
    m_settings.reset();
    m_dir.reset();
}

Run TestSearchCommand::run(const QStringList &args)
{
    Run result;
    QTextStream out(&result.out);
    QTextStream err(&result.err);
    result.exitCode = SearchCommand::run(args, out, err, *m_settings);
    out.flush();
    err.flush();
    return result;
}

void TestSearchCommand::plainOutput()
{
    const Run result = run({QStringLiteral("--workspace"), m_folder, QStringLiteral("milk")});
    QCOMPARE(result.err, QString());
    QCOMPARE(result.exitCode, 0);
    // Title matches first in natural order, each title with its snippet indented below; no snippet line when the
    // note has no text; hidden notes marked.
    QCOMPARE(result.out,
        QStringLiteral("Empty milk\n"
                       "Milk run (hidden)\n"
                       "    farm on Tuesday\n"
                       "Shopping\n"
                       "    buy MILK and eggs\n"));
}

void TestSearchCommand::jsonOutput()
{
    const Run result = run({QStringLiteral("--json"), QStringLiteral("--workspace"), m_folder, QStringLiteral("MILK")});
    QCOMPARE(result.exitCode, 0);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
    QCOMPARE(error.error, QJsonParseError::NoError);
    QVERIFY(document.isArray());
    const QJsonArray array = document.array();
    QCOMPARE(array.size(), 3);

    const QStringList keys {"file", "hidden", "snippet", "title", "titleMatch"};
    for (const QJsonValue &each : array)
        QCOMPARE(each.toObject().keys(), keys);
    const QJsonObject milkRun = array.at(1).toObject();
    QCOMPARE(milkRun.value("file").toString(), QStringLiteral("Milk run.md"));
    QCOMPARE(milkRun.value("title").toString(), QStringLiteral("Milk run"));
    QCOMPARE(milkRun.value("snippet").toString(), QStringLiteral("farm on Tuesday"));
    QCOMPARE(milkRun.value("hidden"), QJsonValue(true));
    QCOMPARE(milkRun.value("titleMatch"), QJsonValue(true));
    const QJsonObject shopping = array.at(2).toObject();
    QCOMPARE(shopping.value("file").toString(), QStringLiteral("Shopping.md"));
    QCOMPARE(shopping.value("snippet").toString(), QStringLiteral("buy MILK and eggs"));
    QCOMPARE(shopping.value("hidden"), QJsonValue(false));
    QCOMPARE(shopping.value("titleMatch"), QJsonValue(false));
}

void TestSearchCommand::argumentForms_data()
{
    QTest::addColumn<QStringList>("args"); // "$WS" stands for the workspace folder
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("out");

    QTest::newRow("nominal: options after the query")
        << QStringList {"eggs", "--workspace", "$WS"} << 0 << "Shopping\n    buy MILK and eggs\n";
    QTest::newRow("nominal: --workspace=DIR")
        << QStringList {"--workspace=$WS", "bread"} << 0 << "Shopping\n    bread\n";
    QTest::newRow("nominal: nothing found, nothing printed, status 1")
        << QStringList {"--workspace", "$WS", "caviar"} << 1 << "";
    QTest::newRow("nominal: nothing found as JSON is an empty array")
        << QStringList {"--workspace", "$WS", "--json", "caviar"} << 1 << "[\n]\n";
    QTest::newRow("nominal: after --, a query may start with a dash")
        << QStringList {"--workspace", "$WS", "--", "--json"} << 1 << "";
    QTest::newRow("nominal: an empty query lists every note with its first line")
        << QStringList {"--workspace", "$WS", ""} << 0
        << "Empty milk\nMilk run (hidden)\n    farm on Tuesday\nPlans\n    nothing to see\nShopping\n    # List\n";
}

void TestSearchCommand::argumentForms()
{
    QFETCH(QStringList, args);
    QFETCH(int, exitCode);
    QFETCH(QString, out);

    args.replaceInStrings(QStringLiteral("$WS"), m_folder);
    const Run result = run(args);
    QCOMPARE(result.err, QString());
    QCOMPARE(result.out, out);
    QCOMPARE(result.exitCode, exitCode);
}

void TestSearchCommand::lastWorkspaceFromSettings()
{
    m_settings->setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(m_folder));
    const Run result = run({QStringLiteral("bread")});
    QCOMPARE(result.err, QString());
    QCOMPARE(result.out, QStringLiteral("Shopping\n    bread\n"));
    QCOMPARE(result.exitCode, 0);

    // The entry point of the command line, with the user's (here: private, empty) settings and a folder given.
    QString out;
    QString err;
    QTextStream outStream(&out);
    QTextStream errStream(&err);
    const int exitCode
        = SearchCommand::run({QStringLiteral("--workspace"), m_folder, QStringLiteral("bread")}, outStream, errStream);
    outStream.flush();
    QCOMPARE(exitCode, 0);
    QCOMPARE(out, QStringLiteral("Shopping\n    bread\n"));
}

void TestSearchCommand::problems_data()
{
    QTest::addColumn<QStringList>("args"); // "$WS" stands for the workspace folder
    QTest::addColumn<QString>("firstErrorLine"); // "$WS" as above

    QTest::newRow("usage: no query") << QStringList {"--workspace", "$WS"} << "tackpad: search needs a QUERY";
    QTest::newRow("usage: two words") << QStringList {"--workspace", "$WS", "red", "car"}
                                      << "tackpad: search takes one QUERY (quote it), got 2 words";
    QTest::newRow("usage: unknown option")
        << QStringList {"--workspace", "$WS", "--fast", "milk"} << "tackpad: unknown option '--fast' for search";
    QTest::newRow("usage: --workspace without its folder")
        << QStringList {"milk", "--workspace"} << "tackpad: --workspace needs a value";
    QTest::newRow("folder: no workspace given or remembered") << QStringList {"milk"}
                                                              << "tackpad: no workspace: pass --workspace DIR or "
                                                                 "open a folder in Tackpad first";
    QTest::newRow("folder: missing") << QStringList {"--workspace", "$WS/gone", "milk"}
                                     << "tackpad: workspace folder not found: $WS/gone";
    QTest::newRow("folder: a file, not a folder")
        << QStringList {"--workspace", "$WS/Plans.md", "milk"} << "tackpad: not a folder: $WS/Plans.md";
    QTest::newRow("folder: unreadable") << QStringList {"--workspace", "$WS", "milk"}
                                        << "tackpad: cannot read the workspace folder $WS: ";
}

void TestSearchCommand::problems()
{
    QFETCH(QStringList, args);
    QFETCH(QString, firstErrorLine);

    const bool unreadable = QString::fromLatin1(QTest::currentDataTag()).contains(QLatin1String("unreadable"));
    if (unreadable) {
        if (geteuid() == 0)
            QSKIP("Permissions do not keep root out of a folder");
        QVERIFY(QFile::setPermissions(m_folder, QFileDevice::WriteOwner));
    }
    args.replaceInStrings(QStringLiteral("$WS"), m_folder);
    firstErrorLine.replace(QStringLiteral("$WS"), m_folder);
    const Run result = run(args);
    if (unreadable)
        QFile::setPermissions(m_folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.out, QString());
    QVERIFY2(result.err.startsWith(firstErrorLine), qPrintable(result.err));
    QVERIFY(result.err.endsWith(QLatin1Char('\n')));
}

void TestSearchCommand::leavesTheWorkspaceAlone()
{
    // A file without properties, one with broken front matter and one that is not UTF-8 sit among the notes.
    writeFile(m_folder + QLatin1String("/broken.md"), QStringLiteral("---\ntackpad: \"x\ny\n---\nmilk"));
    QFile latin1(m_folder + QLatin1String("/latin1.md"));
    QVERIFY(latin1.open(QIODevice::WriteOnly));
    latin1.write("---\ntackpad: \"x1 y1 w200 h200 z1 #FBF4A6 s12\"\n---\nmilk caf\xe9\n");
    latin1.close();
    const QMap<QString, QByteArray> before = snapshot(m_folder);

    const Run result = run({QStringLiteral("--workspace"), m_folder, QStringLiteral("milk")});
    QCOMPARE(result.exitCode, 0);
    QVERIFY(result.out.contains(QLatin1String("Shopping")));
    QCOMPARE(snapshot(m_folder), before);
}

QTEST_GUILESS_MAIN(TestSearchCommand)
#include "tst_searchcommand.moc"

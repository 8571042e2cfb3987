// `tackpad search`, run in-process over a temporary workspace with its own settings file.

#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "cli/SearchCommand.h"

#include <QDir>
#include <QDirIterator>
#include <QJsonDocument>
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

void writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly | QIODevice::Truncate), qPrintable(file.errorString()));
    file.write(bytes);
}

void writeNote(const QString &folder, const QString &title, const QString &body, bool hidden = false)
{
    NoteMetadata meta;
    meta.hidden = hidden;
    writeFile(
        folder + QLatin1Char('/') + title + QLatin1String(".md"), Frontmatter::serialize(meta, {}, body).toUtf8());
}

// Every file under folder with its bytes, to show that a search leaves the workspace as it found it.
QMap<QString, QByteArray> snapshot(const QString &folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
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
    void initTestCase()
    {
        // The entry point without settings reads the user's own: point them at a private folder before anything
        // opens them.
        QVERIFY(m_home.isValid());
        qputenv("HOME", QFile::encodeName(m_home.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath(QStringLiteral(".config"))));
    }

    void init()
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
        writeFile(m_folder + QLatin1String("/readme.md"), "milk everywhere");
    }

    void cleanup()
    {
        m_settings.reset();
        m_dir.reset();
    }

    void output_data()
    {
        QTest::addColumn<QStringList>("args"); // "$WS" stands for the workspace folder
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("out");

        // Title matches first in natural order, each with its trimmed snippet indented below; no snippet line for
        // a note without text; hidden notes marked.
        QTest::newRow("nominal: plain output") << QStringList {"--workspace", "$WS", "milk"} << 0
                                               << "Empty milk\nMilk run (hidden)\n    farm on Tuesday\n"
                                                  "Shopping\n    buy MILK and eggs\n";
        QTest::newRow("nominal: options after the query, --workspace=DIR")
            << QStringList {"bread", "--workspace=$WS"} << 0 << "Shopping\n    bread\n";
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

    void output()
    {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, out);

        const Run result = run(args.replaceInStrings(QStringLiteral("$WS"), m_folder));
        QCOMPARE(result.err, QString());
        QCOMPARE(result.out, out);
        QCOMPARE(result.exitCode, exitCode);
    }

    void jsonOutput()
    {
        const Run result = run({QStringLiteral("--json"), QStringLiteral("--workspace"), m_folder, "MILK"});
        QCOMPARE(result.exitCode, 0);
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(document, QJsonDocument::fromJson(R"([
            {"file": "Empty milk.md", "title": "Empty milk", "snippet": "", "hidden": false, "titleMatch": true},
            {"file": "Milk run.md", "title": "Milk run", "snippet": "farm on Tuesday", "hidden": true,
             "titleMatch": true},
            {"file": "Shopping.md", "title": "Shopping", "snippet": "buy MILK and eggs", "hidden": false,
             "titleMatch": false}])"));
    }

    void workspaceFromSettingsOrTheUsersOwn()
    {
        m_settings->setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(m_folder));
        const Run result = run({QStringLiteral("bread")});
        QCOMPARE(result.err, QString());
        QCOMPARE(result.out, QStringLiteral("Shopping\n    bread\n"));

        // The command line's own entry point, with the user's (here: private, empty) settings.
        QString out;
        QString err;
        QTextStream outStream(&out);
        QTextStream errStream(&err);
        QCOMPARE(SearchCommand::run({"--workspace", m_folder, "bread"}, outStream, errStream), 0);
        outStream.flush();
        QCOMPARE(out, QStringLiteral("Shopping\n    bread\n"));
    }

    void problems_data()
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
        QTest::newRow("folder: no workspace given or remembered")
            << QStringList {"milk"} << "tackpad: no workspace: pass --workspace DIR or open a folder in Tackpad first";
        QTest::newRow("folder: missing") << QStringList {"--workspace", "$WS/gone", "milk"}
                                         << "tackpad: workspace folder not found: $WS/gone";
        QTest::newRow("folder: a file, not a folder")
            << QStringList {"--workspace", "$WS/Plans.md", "milk"} << "tackpad: not a folder: $WS/Plans.md";
        QTest::newRow("folder: unreadable")
            << QStringList {"--workspace", "$WS", "milk"} << "tackpad: cannot read the workspace folder $WS: ";
    }

    void problems()
    {
        QFETCH(QStringList, args);
        QFETCH(QString, firstErrorLine);

        const bool unreadable = QString::fromLatin1(QTest::currentDataTag()).contains(QLatin1String("unreadable"));
        if (unreadable) {
            if (geteuid() == 0)
                QSKIP("Permissions do not keep root out of a folder");
            QVERIFY(QFile::setPermissions(m_folder, QFileDevice::WriteOwner));
        }
        const Run result = run(args.replaceInStrings(QStringLiteral("$WS"), m_folder));
        if (unreadable)
            QFile::setPermissions(m_folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);

        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.out, QString());
        QVERIFY2(
            result.err.startsWith(firstErrorLine.replace(QStringLiteral("$WS"), m_folder)), qPrintable(result.err));
        QVERIFY(result.err.endsWith(QLatin1Char('\n')));
    }

    void leavesTheWorkspaceAlone()
    {
        // A file with broken front matter and one that is not UTF-8 sit among the notes.
        writeFile(m_folder + QLatin1String("/broken.md"), "---\ntackpad: \"x\ny\n---\nmilk");
        writeFile(m_folder + QLatin1String("/latin1.md"),
            "---\ntackpad: \"x1 y1 w200 h200 z1 #FBF4A6 s12\"\n---\nmilk caf\xe9\n");
        const QMap<QString, QByteArray> before = snapshot(m_folder);

        const Run result = run({QStringLiteral("--workspace"), m_folder, QStringLiteral("milk")});
        QCOMPARE(result.exitCode, 0);
        QVERIFY(result.out.contains(QLatin1String("Shopping")));
        QCOMPARE(snapshot(m_folder), before);
    }

private:
    Run run(const QStringList &args)
    {
        Run result;
        QTextStream out(&result.out);
        QTextStream err(&result.err);
        result.exitCode = SearchCommand::run(args, out, err, *m_settings);
        out.flush();
        err.flush();
        return result;
    }

    QTemporaryDir m_home;
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_folder;
    std::unique_ptr<Settings> m_settings;
};

QTEST_GUILESS_MAIN(TestSearchCommand)
#include "tst_searchcommand.moc"

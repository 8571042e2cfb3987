// Importing ordinary Markdown files, turning adopted notes back into ordinary files, attachments and wiki links.

#include "support/StoreTestSupport.h"

#include <QSignalSpy>
#include <QTest>

using namespace StoreTest;

class TestImportAttachments : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void adoptAllGivesPropertiesAtCascadingPlaces()
    {
        Workspace ws;
        writeInPlace(ws.path("Existing.md"), noteText("x1 z5", "n"));
        writeInPlace(ws.path("b.MD"), "---\ntitle: Bee\n---\nbuzz\r\n");
        writeInPlace(ws.path("a.md"), "apple\n");
        writeInPlace(ws.path("Binary.md"), "\xff\xfe\xfd"); // not UTF-8: left alone
        NoteStore &store = ws.open();
        QCOMPARE(store.ordinaryMarkdownCount(), std::optional<int>(2));
        QSignalSpy changed(&store, &NoteStore::notesChanged);

        QCOMPARE(store.adoptAllOrdinaryMarkdown(), 2);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(store.ordinaryMarkdownCount(), std::optional<int>(0));
        // Name order decides the cascade: "a" first.
        QCOMPARE(readFile(ws.path("a.md")),
            QStringLiteral("---\ntackpad: \"x80 y530 w270 h260 z6 #FBF4A6 s12 adopt\"\n---\napple\n"));
        QCOMPARE(readFile(ws.path("b.MD")),
            QStringLiteral("---\ntitle: Bee\ntackpad: \"x108 y502 w270 h260 z7 #FBF4A6 s12 adopt\"\n---\nbuzz\n"));
        QCOMPARE(store.controller("b.MD")->lastDiskContent(), readFile(ws.path("b.MD")));
        QCOMPARE(readBytes(ws.path("Binary.md")), QByteArray("\xff\xfe\xfd"));
        // A folder that cannot be listed has no count at all.
        QVERIFY(QDir(ws.folder).removeRecursively());
        QCOMPARE(store.ordinaryMarkdownCount(), std::optional<int>());
    }

    void importFileFromElsewhereCopies_data()
    {
        QTest::addColumn<QString>("sourceName");
        QTest::addColumn<QByteArray>("sourceText");
        QTest::addColumn<QString>("expectedName");
        QTest::addColumn<QString>("expectedProperties");

        const auto row
            = [](const char *name, const QString &source, const QByteArray &text, const QString &target,
                  const QString &properties) { QTest::newRow(name) << source << text << target << properties; };
        const QString defaults = QStringLiteral("x80 y530 w270 h260 z1 #FBF4A6 s12");
        row("nominal: an ordinary Markdown file comes in with new-note defaults", "Recipe.md", "eggs\n",
            "Recipe (2).md", defaults);
        row("nominal: a note of another workspace keeps its look and goes on top", "Travel.md",
            noteText("x10 y20 w300 h200 z99 #CDE8F9 s14 float adopt", "pack\n"), "Travel.md",
            "x10 y20 w300 h200 z1 #CDE8F9 s14 float");
        row("nominal: a text file becomes a Markdown note", "todo.txt", "- [ ] call\n", "todo.md", defaults);
    }

    void importFileFromElsewhereCopies()
    {
        QFETCH(QString, sourceName);
        QFETCH(QByteArray, sourceText);
        QFETCH(QString, expectedName);
        QFETCH(QString, expectedProperties);
        Workspace ws;
        writeInPlace(ws.path("Recipe.md"), "already here\n");
        const QString elsewhere = ws.root.path() + QLatin1String("/elsewhere");
        QDir().mkpath(elsewhere);
        writeInPlace(elsewhere + QLatin1Char('/') + sourceName, sourceText);
        NoteStore &store = ws.open();

        NoteController *note = store.importFile(elsewhere + QLatin1Char('/') + sourceName, false);
        QCOMPARE(note->note().filename, expectedName);
        QCOMPARE(
            Frontmatter::propertyLine(note->note().meta), QStringLiteral("tackpad: \"%1\"").arg(expectedProperties));
        QCOMPARE(readFile(ws.path(expectedName)), note->lastDiskContent());
        // The original stays where it was, untouched; so does the namesake in the folder.
        QCOMPARE(readBytes(elsewhere + QLatin1Char('/') + sourceName), sourceText);
        QCOMPARE(readFile(ws.path("Recipe.md")), QStringLiteral("already here\n"));
    }

    void importFailuresAreAlertedUnlessQuiet()
    {
        Workspace ws;
        writeInPlace(ws.root.filePath("latin1.md"), "caf\xe9\n");
        NoteStore &store = ws.open();
        QVERIFY(!store.importFile(ws.root.filePath("latin1.md"), false));
        QCOMPARE(ws.alertMessages(), QStringList {"Could not import note"});
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^TackPad: Could not import note: ")));
        QVERIFY(!store.importFile(ws.root.filePath("missing.md"), true));
        QCOMPARE(ws.alerts.shown.size(), 1);
        QCOMPARE(ws.files(), QStringList {});
    }

    // A file of the folder is adopted where it is; reverted, it is an ordinary file again that holds the text typed
    // and not yet saved, and that a rescan leaves alone.
    void importInsideTheFolderAdoptsThenRevertReleases()
    {
        Workspace ws;
        writeInPlace(ws.path("Inside.md"), "inside\n");
        NoteStore &store = ws.open();
        NoteController *note = store.importFile(ws.path("Inside.md"), false);
        QVERIFY(readFile(ws.path("Inside.md")).endsWith(QLatin1String("adopt\"\n---\ninside\n")));
        QCOMPARE(store.importFile(ws.path("Inside.md"), false), note);
        QCOMPARE(ws.files(), QStringList {"Inside.md"});
        edit(store, note, QStringLiteral("edited, not yet saved\n"));
        QVERIFY(store.revert(note));
        QCOMPARE(readFile(ws.path("Inside.md")), QStringLiteral("edited, not yet saved\n"));
        store.rescan();
        QCOMPARE(store.controllerCount(), 0);
        QCOMPARE(store.ordinaryMarkdownCount(), std::optional<int>(1));
    }

    void importAttachmentCopying()
    {
        Workspace ws;
        NoteStore &store = ws.open();
        const NoteAttachments &attachments = store.attachments();
        const QString source = ws.root.path() + QLatin1String("/Screen Shot.PNG");
        writeInPlace(source, "\x89PNG\r\n\x1a\nfake");

        QCOMPARE(attachments.importFile(source), std::optional<QString>("attachments/Screen%20Shot.png"));
        QCOMPARE(attachments.importFile(source), std::optional<QString>("attachments/Screen%20Shot%20%282%29.png"));
        QCOMPARE(readBytes(ws.path("attachments/Screen Shot (2).png")), QByteArray("\x89PNG\r\n\x1a\nfake"));
        // A file already in the attachments folder is linked, not copied again.
        QCOMPARE(attachments.importFile(ws.path("attachments/Screen Shot.png")),
            std::optional<QString>("attachments/Screen%20Shot.png"));
        QCOMPARE(QDir(ws.path("attachments")).entryList(QDir::Files | QDir::Hidden).size(), 2);
        // Attachments never become notes.
        store.rescan();
        QCOMPARE(store.controllerCount(), 0);
    }

    void importAttachmentData_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QString>("preferredBaseName");
        QTest::addColumn<QString>("link");

        static const char pngBytes[] = "\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\1\0\0\0\1\x08\x06\0\0\0";
        static const char jpegBytes[] = "\xff\xd8\xff\xe0\0\x10JFIF\0";
        const QByteArray png(pngBytes, sizeof pngBytes - 1);
        const QByteArray jpeg(jpegBytes, sizeof jpegBytes - 1);
        const auto row = [](const char *name, const QByteArray &data, const QString &base, const QString &link) {
            QTest::newRow(name) << data << base << link;
        };
        row("nominal: JPEG data gets .jpg", jpeg, "photo", "attachments/photo.jpg");
        row("nominal: the data decides, not the name", png, "Pasted holiday.jpg", "attachments/Pasted%20holiday.png");
        row("robustness: a hostile name stays inside the folder", png, "../../etc/passwd", "attachments/passwd.png");
        row("robustness: characters that end or confuse a link are encoded", png, "a]b<c>d#e?f%g",
            "attachments/a%5Db%3Cc%3Ed%23e%3Ff%25g.png");
    }

    void importAttachmentData()
    {
        QFETCH(QByteArray, data);
        QFETCH(QString, preferredBaseName);
        QFETCH(QString, link);
        Workspace ws;
        QCOMPARE(NoteAttachments(ws.folder).importData(data, preferredBaseName), std::optional<QString>(link));
        const QString written = ws.path(QUrl::fromPercentEncoding(link.toUtf8()));
        QCOMPARE(readBytes(written), data);
        QCOMPARE(QDir(ws.path("attachments")).count(), 3u); // no temporary file left beside it
    }

    void attachmentFailuresAreLogged()
    {
        Workspace ws;
        const NoteAttachments attachments(ws.folder);
        QTest::ignoreMessage(
            QtWarningMsg, QRegularExpression(QStringLiteral("^TackPad: attachment copy failed: .*nope")));
        QCOMPARE(attachments.importFile(ws.root.path() + QLatin1String("/nope.png")), std::optional<QString>());
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^TackPad: attachment write failed: ")));
        QCOMPARE(attachments.importData(QByteArray(), QStringLiteral("empty")), std::optional<QString>());

        // A file stands where the attachments folder should be.
        writeInPlace(ws.path("attachments"), "in the way");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^TackPad: attachment write failed: ")));
        QCOMPARE(attachments.importData(QByteArray("data"), QStringLiteral("x")), std::optional<QString>());
        QCOMPARE(readFile(ws.path("attachments")), QStringLiteral("in the way"));
    }

    // A link finds its note by title, ignoring case and the changes a safe file name needs, and shows it, revealed and
    // unrolled; an ordinary file of that name becomes the note; a missing one is made beside the source.
    void followWikiLink()
    {
        Workspace ws;
        writeInPlace(ws.path("Source.md"), noteText("x500 y500 z3", "see [[...]]\n"));
        writeInPlace(ws.path("Shopping List.md"), noteText("x1 rolled", "milk\n"));
        writeInPlace(ws.path("Secret.md"), noteText("x1 hidden", "psst\n"));
        writeInPlace(ws.path("Q3-Q4.md"), noteText("x1", "plan\n"));
        writeInPlace(ws.path("Plain.md"), "plain\n");
        NoteStore &store = ws.open();
        NoteController *source = store.controller("Source.md");
        ws.log->clear();
        for (const auto &[target, file] : {std::pair {"shopping LIST", "Shopping List.md"}, {"Secret", "Secret.md"},
                 {"Q3/Q4", "Q3-Q4.md"}, {"Plain", "Plain.md"}, {"Ideas", "Ideas.md"}}) {
            const NoteController *note = store.followWikiLink(QString::fromUtf8(target), source);
            QCOMPARE(note->note().filename, QString::fromUtf8(file));
            QVERIFY(!note->note().meta.hidden && !note->note().meta.rolledUp);
            QVERIFY(ws.log->contains(QLatin1String("showWindow key ") + file));
        }
        QCOMPARE(store.controllerCount(), 6);
        const NoteMetadata &created = store.controller("Ideas.md")->note().meta;
        QCOMPARE(QPointF(created.x, created.y), QPointF(524, 476));
        QVERIFY(QFileInfo::exists(ws.path("Ideas.md")));
    }

private:
    TemporaryHome m_home;
};

QTEST_GUILESS_MAIN(TestImportAttachments)
#include "tst_import_attachments.moc"

// Naming rules, where new notes go and how they look, and the file operations of notes: create, rename, duplicate,
// delete, and what is left when one of them fails.

#include "support/StoreTestSupport.h"

#include "notes/ScreenCoordinates.h"
#include "store/NewNoteDefaults.h"

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using namespace StoreTest;

class TestFileOperations : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sanitizeTitle_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("expected"); // empty: nothing usable
        const auto row = [](const char *name, const QString &title, const QString &expected) {
            QTest::newRow(name) << title << expected;
        };
        const QString long199 = QString(199, QLatin1Char('c'));

        row("nominal: leading dots go, inner dots stay", "...hidden.v2", "hidden.v2");
        row("nominal: control characters and bidi overrides are removed", QStringLiteral("a\tb\u0001c\u202Ed"), "abcd");
        row("robustness: only .md", ".md", "");
        row("robustness: cut at 200 then trimmed again", long199 + QLatin1String("  tail"), long199);
        row("robustness: the cut never splits an emoji", long199 + QStringLiteral("👍🏽more"),
            long199 + QStringLiteral("👍🏽"));
        row("robustness: dots after blanks go too (no hidden file)", ". .hello", "hello");
        // 244 bytes leave room for ".md" and a number within the file system's 255-byte names.
        row("robustness: cut to the name limit on a character boundary", QString(100, QChar(0x65E5)),
            QString(81, QChar(0x65E5)));
    }

    void sanitizeTitle()
    {
        QFETCH(QString, title);
        QFETCH(QString, expected);
        QCOMPARE(NoteStore::sanitizeTitle(title).value_or(QString()), expected);
    }

    // Taken are files of any kind, numbered ones too, folders, and notes whose file another program removed: they
    // hold their name until the next rescan.
    void availableFilenameSkipsWhatIsTaken()
    {
        Workspace ws;
        writeInPlace(ws.path("Note.md"), "x");
        writeInPlace(ws.path("Note (2).md"), "x");
        QVERIFY(QDir().mkdir(ws.path("Projects.md")));
        NoteStore &store = ws.open();
        store.addController("Ghost.md", QString(), Frontmatter::parse(QString::fromUtf8(noteText("x1", "g"))));
        QCOMPARE(store.availableFilename("Note", 2), QStringLiteral("Note (3).md"));
        QCOMPARE(store.availableFilename("Projects", 2), QStringLiteral("Projects (2).md"));
        QCOMPARE(store.availableFilename("Ghost", 2), QStringLiteral("Ghost (2).md"));
    }

    void createWritesNoteWithDefaults()
    {
        Workspace ws;
        NoteStore &store = ws.open();
        QSignalSpy changed(&store, &NoteStore::notesChanged);
        // Another program takes the name before a rescan has seen it: its file is never replaced.
        writeInPlace(ws.path("New note.md"), "theirs\n");

        NoteController *note = store.create(QStringLiteral("Hello"), QStringLiteral("New note"));
        const QString expected = QStringLiteral("---\ntackpad: \"x80 y530 w270 h260 z1 #FBF4A6 s12\"\n---\nHello");
        QCOMPARE(readFile(ws.path("New note (1).md")), expected);
        QCOMPARE(note->lastDiskContent(), expected);
        QCOMPARE(readFile(ws.path("New note.md")), QStringLiteral("theirs\n"));
        QCOMPARE(*ws.log, (QStringList {"showWindow key New note (1).md", "focusEditor New note (1).md"}));
        QCOMPARE(changed.count(), 1);

        // The second new note gets the next number and the next place in the cascade.
        store.create(QString(), QStringLiteral("New note"), 365.0, 365.0, QString("#FFFFFF"));
        QCOMPARE(readFile(ws.path("New note (2).md")),
            QStringLiteral("---\ntackpad: \"x108 y502 w365 h365 z2 #FFFFFF s12\"\n---\n"));
    }

    // The look of a new note, read back through the settings file as the next launch reads it.
    void unusableRememberedStyleFallsBackOrIsClamped()
    {
        Workspace ws;
        ws.config.setValue("defaultNoteColor", "red");
        ws.config.setValue("defaultNoteWidth", "wide");
        ws.config.setValue("defaultNoteHeight", 99999.0);
        ws.config.setValue("defaultNoteFontSize", 100.0);
        ws.config.sync();
        QCOMPARE(NewNoteDefaults::newNoteStyle(Settings(ws.config.fileName())),
            (NewNoteDefaults::Style {"#FBF4A6", false, 48, 140, 20000}));
    }

    void cascade()
    {
        const QRectF fallback = NewNoteDefaults::fallbackVisibleFrame;
        QCOMPARE(NewNoteDefaults::cascadePosition(fallback, 10), QPointF(124, 496)); // the eleventh: a new diagonal
        QCOMPARE(NewNoteDefaults::cascadePosition(fallback, 40), QPointF(80, 530)); // the forty-first: the first
        // Below a panel at the top of a 1080 high screen: 110 below the visible frame's top (1048 in file
        // coordinates), minus the 260 of the window.
        Workspace ws;
        NoteStore &store = ws.open();
        store.setVisibleAreaProvider([] { return ScreenCoordinates::VisibleArea {QRectF(0, 32, 1920, 1048), 1080}; });
        const NoteMetadata first = store.nextDefaultMetadata();
        QCOMPARE(QPointF(first.x, first.y), QPointF(80, 678));
    }

    // An edit still waiting to be saved goes along with the note to its new name; no other file is replaced.
    void rename()
    {
        Workspace ws;
        writeInPlace(ws.path("Groceries.md"), "other\n");
        NoteController *note = ws.openWith("Note.md", noteText("x1", "kept\n"));
        NoteStore &store = *ws.store;
        edit(store, note, QStringLiteral("edited before the rename\n"));
        QVERIFY(store.rename(note, QStringLiteral("Groceries")));
        QCOMPARE(note->note().filename, QStringLiteral("Groceries (2).md"));
        QCOMPARE(store.controller("Groceries (2).md"), note);
        QVERIFY(!store.controller("Note.md"));
        QCOMPARE(readFile(ws.path("Groceries.md")), QStringLiteral("other\n"));
        store.flushAllSaves();
        QVERIFY(readFile(ws.path("Groceries (2).md")).endsWith(QLatin1String("edited before the rename\n")));

        // A change of letter case only is a rename; the same name is none, and a title with nothing usable fails.
        QVERIFY(store.rename(note, QStringLiteral("groceries (2)")));
        QVERIFY(store.rename(note, QStringLiteral("groceries (2)")));
        QVERIFY(!store.rename(note, QStringLiteral(" ... ")));
        QCOMPARE(note->note().filename, QStringLiteral("groceries (2).md"));
        QCOMPARE(ws.files().size(), 2);
        QVERIFY(QFileInfo::exists(ws.path("groceries (2).md")));
        QVERIFY(ws.alerts.shown.isEmpty());
    }

    void failuresAreAlertedAndKeepTheNote()
    {
        Workspace ws;
        writeInPlace(ws.path("Gone.md"), noteText("x1", "gone\n"));
        NoteController *note = ws.openWith("Note.md", noteText("x1", "text\n"));
        NoteStore &store = *ws.store;
        NoteController *gone = store.controller("Gone.md");
        QVERIFY(QFile::remove(ws.path("Gone.md")));
        QVERIFY(!store.rename(gone, QStringLiteral("Renamed")));
        QCOMPARE(gone->note().filename, QStringLiteral("Gone.md"));

        // A file stands where the Trash folder would go: the note is neither deleted nor dropped anywhere else.
        const QString trash
            = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QLatin1String("/Trash");
        QDir(trash).removeRecursively();
        QDir().mkpath(QFileInfo(trash).path());
        writeInPlace(trash, "not a folder");
        const bool deleted = store.deleteNote(note);
        QFile::remove(trash);
        QVERIFY(!deleted);
        QVERIFY(!QFileInfo::exists(QDir::currentPath() + QLatin1String("/files/Note.md")));
        QCOMPARE(ws.alertMessages(), (QStringList {"Could not rename note", "Could not delete note"}));
        QVERIFY(!ws.alerts.shown.first().informativeText.isEmpty());
        QCOMPARE(store.controller("Note.md"), note);
        QCOMPARE(store.controller("Gone.md"), gone);
        QCOMPARE(ws.files(), QStringList {"Note.md"});
    }

    void duplicateCopiesTextAndStyle()
    {
        Workspace ws;
        writeInPlace(ws.path("Plan (2).md"),
            "---\nauthor: me\ntackpad: \"x200 y300 w400 h320 z4 #E6DBFB s16 float adopt\"\n---\n# Plan\n");
        NoteStore &store = ws.open();
        NoteController *original = store.controller("Plan (2).md");

        NoteController *copy = store.duplicate(original);
        // Numbered on from the original's base name, not "Plan (2) (2)", and never the bare "Plan".
        QCOMPARE(copy->note().filename, QStringLiteral("Plan (3).md"));
        QCOMPARE(readFile(ws.path("Plan (3).md")),
            QStringLiteral("---\nauthor: me\ntackpad: \"x224 y276 w400 h320 z5 #E6DBFB s16 float\"\n---\n# Plan\n"));
        QCOMPARE(copy->lastDiskContent(), readFile(ws.path("Plan (3).md")));
        QCOMPARE(store.duplicate(original)->note().filename, QStringLiteral("Plan (4).md"));
    }

    void deleteMovesFileToTrash()
    {
        Workspace ws;
        NoteController *note = ws.openWith("Bin me.md", noteText("x1", "old\n"));
        NoteStore &store = *ws.store;
        edit(store, note, QStringLiteral("last words\n"));
        QVERIFY(store.deleteNote(note));
        QCOMPARE(ws.files(), QStringList {});
        // The trashed file holds the edit that was still waiting to be saved.
        const QString trashed = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QLatin1String("/Trash/files/Bin me.md");
        QVERIFY2(readFile(trashed).endsWith(QLatin1String("last words\n")), qPrintable(trashed));
    }

private:
    TemporaryHome m_home;
};

QTEST_GUILESS_MAIN(TestFileOperations)
#include "tst_fileoperations.moc"

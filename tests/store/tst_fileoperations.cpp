// Naming rules, stacking order and the file operations of notes: create, rename, duplicate, delete, and what is left
// when one of them fails.

#include "support/StoreTestSupport.h"

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

        row("nominal: slashes, colons and a leading climb", "  ../Plan: Q3/Q4.MD  ", "-Plan- Q3-Q4");
        row("nominal: a trailing .md in any case is dropped", "Notes.Md", "Notes");
        row("nominal: leading dots go, inner dots stay", "...hidden.v2", "hidden.v2");
        row("nominal: control characters and bidi overrides are removed", QStringLiteral("a\tb\u0001c\u202Ed"), "abcd");
        row("nominal: emoji survive", QStringLiteral("Ideas 💡"), QStringLiteral("Ideas 💡"));
        row("robustness: only dots", ".....", "");
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

    void availableFilename_data()
    {
        QTest::addColumn<QStringList>("existing"); // "name/": a folder; "name*": a note whose file is gone
        QTest::addColumn<QString>("base");
        QTest::addColumn<int>("firstSuffix");
        QTest::addColumn<QString>("expected");

        QTest::newRow("nominal: a free name is used as it is") << QStringList {} << "Note" << 2 << "Note.md";
        QTest::newRow("nominal: an ordinary file is taken, numbering starts at the first suffix")
            << QStringList {"Note.md"} << "Note" << 1 << "Note (1).md";
        QTest::newRow("nominal: taken numbers are skipped")
            << QStringList {"Note.md", "Note (2).md"} << "Note" << 2 << "Note (3).md";
        QTest::newRow("nominal: a folder of that name counts as taken")
            << QStringList {"Projects.md/"} << "Projects" << 2 << "Projects (2).md";
        // Another program removed the file, but until the next rescan its note still holds the name.
        QTest::newRow("nominal: a note whose file is gone counts as taken")
            << QStringList {"Ghost.md*"} << "Ghost" << 2 << "Ghost (2).md";
    }

    void availableFilename()
    {
        QFETCH(QStringList, existing);
        QFETCH(QString, base);
        QFETCH(int, firstSuffix);
        QFETCH(QString, expected);
        Workspace ws;
        for (const QString &name : existing) {
            if (name.endsWith(QLatin1Char('/')))
                QVERIFY(QDir().mkdir(ws.path(name.chopped(1))));
            else if (!name.endsWith(QLatin1Char('*')))
                writeInPlace(ws.path(name), "x");
        }
        NoteStore &store = ws.open();
        for (const QString &name : existing) {
            if (name.endsWith(QLatin1Char('*')))
                store.addController(
                    name.chopped(1), QString(), Frontmatter::parse(QString::fromUtf8(noteText("x1", "g"))));
        }
        QCOMPARE(store.availableFilename(base, firstSuffix), expected);
    }

    void createWritesNoteWithDefaults()
    {
        Workspace ws;
        ws.config.setValue(SettingsKey::usePreviousNoteSettings, false);
        ws.config.setValue(SettingsKey::fixedNoteColor, "#CDE8F9");
        NoteStore &store = ws.open();
        QSignalSpy changed(&store, &NoteStore::notesChanged);

        NoteController *note = store.create(QStringLiteral("Hello"), QStringLiteral("New note"));
        QVERIFY(note);
        const QString expected = QStringLiteral("---\ntackpad: \"x80 y530 w270 h260 z1 #CDE8F9 s12\"\n---\nHello");
        QCOMPARE(readFile(ws.path("New note.md")), expected);
        QCOMPARE(note->lastDiskContent(), expected);
        QCOMPARE(*ws.log, (QStringList {"showWindow key New note.md", "focusEditor New note.md"}));
        QCOMPARE(changed.count(), 1);

        // The second new note gets the next number and the next place in the cascade.
        NoteController *second = store.create(QString(), QStringLiteral("New note"), 365.0, 365.0, QString("#FFFFFF"));
        QCOMPARE(readFile(ws.path("New note (1).md")),
            QStringLiteral("---\ntackpad: \"x108 y502 w365 h365 z2 #FFFFFF s12\"\n---\n"));

        // A note made from another one (a link, say) sits down and right of it, on top of everything.
        NoteController *near = store.create(QString(), QStringLiteral("Linked"), {}, {}, {}, second);
        QCOMPARE(QPointF(near->note().meta.x, near->note().meta.y), QPointF(132, 478));
        QCOMPARE(near->note().meta.z, 3);
    }

    void createNeverReplacesOrEscapes()
    {
        Workspace ws;
        NoteStore &store = ws.open();
        // Another program takes the name that a rescan has not yet seen.
        writeInPlace(ws.path("Taken.md"), "theirs\n");
        QCOMPARE(store.create(QString(), QStringLiteral("Taken"))->note().filename, QStringLiteral("Taken (1).md"));
        QCOMPARE(readFile(ws.path("Taken.md")), QStringLiteral("theirs\n"));

        QCOMPARE(store.create(QString(), QStringLiteral("../outside"))->note().filename, QStringLiteral("-outside.md"));
        QVERIFY(QFileInfo::exists(ws.path("-outside.md")));
        QVERIFY(!QFileInfo::exists(ws.root.path() + QLatin1String("/outside.md")));
    }

    void rename_data()
    {
        QTest::addColumn<QStringList>("others");
        QTest::addColumn<QString>("title");
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<QString>("expectedName");

        QTest::newRow("nominal: a free title") << QStringList {} << "Groceries" << true << "Groceries.md";
        QTest::newRow("nominal: a taken name gets a number")
            << QStringList {"Groceries.md"} << "Groceries" << true << "Groceries (2).md";
        QTest::newRow("nominal: a change of letter case only") << QStringList {} << "note" << true << "note.md";
        QTest::newRow("nominal: the same name is no change") << QStringList {} << "Note" << true << "Note.md";
        QTest::newRow("robustness: a title with nothing usable") << QStringList {} << " ... " << false << "Note.md";
    }

    // An edit still waiting to be saved goes along with the note to its new name.
    void rename()
    {
        QFETCH(QStringList, others);
        QFETCH(QString, title);
        QFETCH(bool, succeeds);
        QFETCH(QString, expectedName);
        Workspace ws;
        const QByteArray text = noteText("x1", "kept\n");
        writeInPlace(ws.path("Note.md"), text);
        for (const QString &other : others)
            writeInPlace(ws.path(other), "other\n");
        NoteStore &store = ws.open();
        NoteController *note = store.controller("Note.md");
        edit(store, note, QStringLiteral("edited before the rename\n"));

        QCOMPARE(store.rename(note, title), succeeds);
        QCOMPARE(note->note().filename, expectedName);
        QCOMPARE(store.controller(expectedName), note);
        QCOMPARE(readBytes(ws.path(expectedName)), text);
        QVERIFY(store.hasPendingSave(expectedName));
        store.flushAllSaves();
        QVERIFY(readFile(ws.path(expectedName)).endsWith(QLatin1String("edited before the rename\n")));
        if (expectedName != QLatin1String("Note.md")) {
            QVERIFY(!store.controller("Note.md"));
            QVERIFY(!QFileInfo::exists(ws.path("Note.md")));
        }
        for (const QString &other : others)
            QCOMPARE(readFile(ws.path(other)), QStringLiteral("other\n"));
        QVERIFY(ws.alerts.shown.isEmpty());
    }

    void failuresAreAlertedAndKeepTheNote_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("message");
        QTest::newRow("robustness: rename of a file that went away") << "rename"
                                                                     << "Could not rename note";
        QTest::newRow("robustness: delete when the Trash cannot be made") << "delete"
                                                                          << "Could not delete note";
    }

    void failuresAreAlertedAndKeepTheNote()
    {
        QFETCH(QString, operation);
        QFETCH(QString, message);
        Workspace ws;
        NoteController *note = ws.openWith("Note.md", noteText("x1", "text\n"));
        NoteStore &store = *ws.store;

        if (operation == QLatin1String("rename")) {
            QVERIFY(QFile::remove(ws.path("Note.md")));
            QVERIFY(!store.rename(note, QStringLiteral("Renamed")));
            QCOMPARE(note->note().filename, QStringLiteral("Note.md"));
        } else {
            // A file stands where the Trash folder would go.
            const QString trash
                = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QLatin1String("/Trash");
            QDir(trash).removeRecursively();
            QDir().mkpath(QFileInfo(trash).path());
            writeInPlace(trash, "not a folder");
            const bool deleted = store.deleteNote(note);
            QFile::remove(trash);
            QVERIFY(!deleted);
            // Not dropped under the working directory either.
            QVERIFY(!QFileInfo::exists(QDir::currentPath() + QLatin1String("/files/Note.md")));
        }
        QCOMPARE(ws.alertMessages(), QStringList {message});
        QVERIFY(!ws.alerts.shown.first().informativeText.isEmpty());
        QCOMPARE(store.controller("Note.md"), note);
        QCOMPARE(ws.files(), operation == QLatin1String("rename") ? QStringList {} : QStringList {"Note.md"});
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
        QSignalSpy changed(&store, &NoteStore::notesChanged);

        QVERIFY(store.deleteNote(note));
        QCOMPARE(ws.files(), QStringList {});
        QCOMPARE(changed.count(), 1);
        QVERIFY(ws.log->contains("closeWindow Bin me.md"));
        // The trashed file holds the edit that was still waiting to be saved.
        const QString trashed = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
            + QLatin1String("/Trash/files/Bin me.md");
        QVERIFY2(readFile(trashed).endsWith(QLatin1String("last words\n")), qPrintable(trashed));
    }

    void unhideAllShowsEveryHiddenNote()
    {
        Workspace ws;
        writeInPlace(ws.path("A.md"), noteText("x1 hidden", "a"));
        writeInPlace(ws.path("B.md"), noteText("x1 hidden", "b"));
        writeInPlace(ws.path("C.md"), noteText("x1", "c"));
        NoteStore &store = ws.open();
        ws.log->clear();
        QSignalSpy changed(&store, &NoteStore::notesChanged);

        store.unhideAll();
        QVERIFY(!store.controller("A.md")->note().meta.hidden);
        QCOMPARE(*ws.log, (QStringList {"showWindow A.md", "showWindow B.md"}));
        QCOMPARE(changed.count(), 1);
        QVERIFY(store.hasPendingSave("A.md") && store.hasPendingSave("B.md") && !store.hasPendingSave("C.md"));
    }

private:
    TemporaryHome m_home;
};

QTEST_GUILESS_MAIN(TestFileOperations)
#include "tst_fileoperations.moc"

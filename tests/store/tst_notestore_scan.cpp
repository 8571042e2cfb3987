// Which files become notes, how the store saves them, and how it follows changes that other programs make to the
// folder.

#include "support/StoreTestSupport.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

using namespace StoreTest;

class TestNoteStoreScan : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Notes are the direct entries ending in .md in any case, not hidden, in UTF-8 and with the property line. They
    // are listed, and their windows made, in natural name order: numbers by value, case ignored.
    void whichFilesAreNotes()
    {
        Workspace ws;
        for (const char *name : {"note 10.md", "Note 9.md", "Upper.MD", "Mixed.Md", "long.markdown", "text.txt",
                 ".hidden.md", "sub/Deep.md", "dir.md/Inner.md"}) {
            QDir().mkpath(QFileInfo(ws.path(name)).absolutePath());
            writeInPlace(ws.path(name), noteText("x10 y20", "Body\n"));
        }
        writeInPlace(ws.path("Plain.md"), "# Just Markdown\n");
        writeInPlace(ws.path("Latin1.md"), "---\ntackpad: \"x1\"\n---\ncaf\xe9\n");
        const QStringList notes {"Mixed.Md", "Note 9.md", "note 10.md", "Upper.MD"};
        QCOMPARE(filenames(ws.open().controllersByName()), notes);
        QCOMPARE(*ws.log, QStringList(notes).replaceInStrings(QRegularExpression("^"), "showWindow "));
    }

    void externalChange_data()
    {
        QTest::addColumn<QByteArray>("newText");
        QTest::addColumn<QString>("expectedBody");
        QTest::addColumn<QStringList>("expectedRequests");
        const auto row = [](const char *name, const QByteArray &newText, const QString &body,
                             const QStringList &requests) { QTest::newRow(name) << newText << body << requests; };
        const QString props = QStringLiteral("x100 y100 w300 h200 z1 #FBF4A6 s12");
        const QString original = QStringLiteral("original\n");

        row("nominal: a new body reaches the editor", noteText(props, "saved by an editor\n"), "saved by an editor\n",
            {"setEditorText Note.md"});
        row("nominal: a moved frame moves the window", noteText("x400 y100 w300 h200 z1 #FBF4A6 s12", original),
            original, {"applyFrame Note.md", "applyAppearance Note.md", "applyRolledState Note.md"});
        row("nominal: hidden elsewhere orders the window out", noteText(props + " hidden", original), original,
            {"applyAppearance Note.md", "applyRolledState Note.md", "hideWindow Note.md"});
        row("robustness: a character cut off at the end is not dropped", "---\ntackpad: \"x1\"\n---\nend \xc3",
            original, {});
    }

    void externalChange()
    {
        QFETCH(QByteArray, newText);
        QFETCH(QString, expectedBody);
        QFETCH(QStringList, expectedRequests);
        Workspace ws;
        writeInPlace(ws.path("Note.md"), noteText("x100 y100 w300 h200 z1 #FBF4A6 s12", "original\n"));
        NoteStore &store = ws.open(true);
        QVERIFY(store.isWatching());
        ws.log->clear();
        QSignalSpy rescanned(&store, &NoteStore::rescanned);
        QSignalSpy written(&store, &NoteStore::noteWritten);

        writeInPlace(ws.path("Note.md"), newText);
        QVERIFY(rescanned.wait());

        QCOMPARE(*ws.log, expectedRequests);
        QCOMPARE(store.controller("Note.md")->note().body, expectedBody);
        // Reconciling never writes: the file keeps what the other program wrote.
        QCOMPARE(written.count(), 0);
        QCOMPARE(readBytes(ws.path("Note.md")), newText);
    }

    // Another program changes a note that has text or properties not yet saved: the two are merged, and where they
    // cannot be, the user's text stays in the note and the other version becomes a note of its own. Nothing is lost.
    void outsideChangeMeetsUnsavedText_data()
    {
        QTest::addColumn<QString>("base");
        QTest::addColumn<QString>("typed"); // empty: only a property changed (the note was raised)
        QTest::addColumn<QString>("outside");
        QTest::addColumn<QString>("merged"); // the note's text afterwards
        QTest::addColumn<QString>("conflict"); // the conflict note's text, empty when there is none

        QTest::newRow("nominal: typing at the end of a line while a line is appended")
            << u"first line\n"_qs << u"first line typed\n"_qs << u"first line\nappended\n"_qs
            << u"first line typed\nappended\n"_qs << u""_qs;
        QTest::newRow("nominal: only the stacking order is waiting: the outside text is taken")
            << u"text\n"_qs << u""_qs << u"text\nmore\n"_qs << u"text\nmore\n"_qs << u""_qs;
        QTest::newRow("nominal: both inserted at the same place: both kept, ours first")
            << u"list\n"_qs << u"list\nmine\n"_qs << u"list\ntheirs\n"_qs << u"list\nmine\ntheirs\n"_qs << u""_qs;
        QTest::newRow("robustness: emoji and accents stay whole")
            << u"Café 👍🏽 ok"_qs << u"Café 👍🏽 ok!"_qs << u"Cafés 👍🏽 ok"_qs
            << u"Cafés 👍🏽 ok!"_qs << u""_qs;
        QTest::newRow("robustness: one deleted what the other changed")
            << u"keep\ndrop me\n"_qs << u"keep\n"_qs << u"keep\ndrop me now\n"_qs << u"keep\n"_qs
            << u"keep\ndrop me now\n"_qs;
        QTest::newRow("robustness: both rewrote the same words")
            << u"original\n"_qs << u"typed in the window\n"_qs << u"edited elsewhere\n"_qs
            << u"typed in the window\n"_qs << u"edited elsewhere\n"_qs;
    }

    void outsideChangeMeetsUnsavedText()
    {
        QFETCH(QString, base);
        QFETCH(QString, typed);
        QFETCH(QString, outside);
        QFETCH(QString, merged);
        QFETCH(QString, conflict);
        Workspace ws;
        NoteController *note = ws.openWith("Note.md", noteText("x10 y20 w300 h200 z1 #FBF4A6 s12", base));
        NoteStore &store = *ws.store;
        store.setClock([] { return QDateTime(QDate(2026, 1, 2), QTime(3, 4)); });
        QSignalSpy conflicts(&store, &NoteStore::conflictKept);

        if (typed.isEmpty())
            store.bringToFront(note);
        else
            edit(store, note, typed);
        writeAtomically(ws.path("Note.md"), noteText("x10 y20 w300 h200 z1 #FBF4A6 s12", outside));
        store.refreshFromDisk("Note.md");
        QCOMPARE(note->note().body, merged);
        store.flushAllSaves();
        const Frontmatter::Parsed saved = Frontmatter::parse(readFile(ws.path("Note.md")));
        QCOMPARE(saved.body, merged);
        QCOMPARE(saved.meta, note->note().meta); // the note's properties win
        QCOMPARE(conflicts.count(), conflict.isEmpty() ? 0 : 1);
        if (!conflict.isEmpty()) {
            const QString copy = "Note (conflict 2026-01-02 0304).md";
            QCOMPARE(conflicts.first().at(1).toString(), copy);
            QCOMPARE(Frontmatter::parse(readFile(ws.path(copy))).body, conflict);
            QVERIFY(store.controller(copy));
        }
    }

    // The store's own write produces file events; the rescan that follows recognises the text and changes nothing.
    // At shutdown, a pending edit reaches the disk before the windows close, and a window activated while the others
    // close finds the store already empty.
    void ownWriteIsRecognisedAndShutdownSaves()
    {
        Workspace ws;
        NoteController *note = ws.openWith("Note.md", noteText("x1", "original\n"), true);
        NoteStore &store = *ws.store;
        ws.log->clear();
        QSignalSpy rescanned(&store, &NoteStore::rescanned);
        note->note().body = QStringLiteral("typed in the window\n");
        store.noteReplaced(note);
        QVERIFY(rescanned.wait());
        QCOMPARE(*ws.log, QStringList {});
        QCOMPARE(note->lastDiskContent(), readFile(ws.path("Note.md")));

        edit(store, note, QStringLiteral("unsaved\n"));
        NoteController *other = store.create(QStringLiteral("other\n"), QStringLiteral("Other"));
        ws.log->clear();
        for (NoteController *each : {note, other}) {
            NoteController *next = each == note ? other : note;
            static_cast<RecordingController *>(each)->whenClosed = [&store, next] { store.bringToFront(next); };
        }
        store.shutdown();
        QCOMPARE(*ws.log, (QStringList {"closeWindow Note.md", "closeWindow Other.md"}));
        QVERIFY(!store.isWatching());
        QCOMPARE(store.controllerCount(), 0);
        QVERIFY(readFile(ws.path("Note.md")).endsWith(QLatin1String("unsaved\n")));
    }

    void renameByAnotherProgram()
    {
        Workspace ws;
        writeInPlace(ws.path("Old.md"), noteText("x1", "text\n"));
        NoteStore &store = ws.open(true);
        ws.log->clear();
        QSignalSpy rescanned(&store, &NoteStore::rescanned);
        QSignalSpy changed(&store, &NoteStore::notesChanged);

        NoteController *note = store.controller("Old.md");
        // Typed just before the rename: saved under the new name, nowhere else.
        edit(store, note, QStringLiteral("text typed\n"));
        QVERIFY(QFile::rename(ws.path("Old.md"), ws.path("New.md")));
        QVERIFY(rescanned.wait());
        QVERIFY(!store.controller("Old.md"));
        QCOMPARE(store.controller("New.md"), note); // the same note, window and all
        QCOMPARE(*ws.log, QStringList {"applyAppearance New.md"});
        QCOMPARE(changed.count(), 1);
        store.flushAllSaves();
        QCOMPARE(Frontmatter::parse(readFile(ws.path("New.md"))).body, QStringLiteral("text typed\n"));
        QCOMPARE(ws.files(), QStringList {"New.md"});
    }

    // Rescans of the files the watcher names must end where a full rescan of the folder would.
    void namedRescansMatchFullRescan()
    {
        Workspace ws;
        writeInPlace(ws.path("Keep.md"), noteText("x1", "keep\n"));
        writeInPlace(ws.path("Edit.md"), noteText("x1", "edit\n"));
        writeInPlace(ws.path("Strip.md"), noteText("x1", "strip\n"));
        writeInPlace(ws.path("Gone.md"), noteText("x1", "gone\n"));
        writeInPlace(ws.path("Moved.md"), noteText("x1", "moved\n"));
        writeInPlace(ws.path("Plain.md"), "plain\n");
        NoteStore &store = ws.open(true);
        QSignalSpy rescanned(&store, &NoteStore::rescanned);

        appendTo(ws.path("Edit.md"), "appended\n");
        writeInPlace(ws.path("Strip.md"), "strip\n");
        QVERIFY(QFile::remove(ws.path("Gone.md")));
        QVERIFY(QFile::rename(ws.path("Moved.md"), ws.path("Arrived.md")));
        writeAtomically(ws.path("Plain.md"), noteText("x2 hidden", "plain\n"));
        writeInPlace(ws.path("New.md"), noteText("x3", "new\n"));
        QVERIFY(QDir().mkdir(ws.path("Folder.md")));

        const auto state = [](const NoteStore &s) {
            QStringList lines;
            for (const NoteController *each : s.controllersByName())
                lines << each->note().filename + QLatin1Char('|') + Frontmatter::propertyLine(each->note().meta)
                        + QLatin1Char('|') + each->note().body + QLatin1Char('|') + each->lastDiskContent();
            return lines;
        };
        NoteStore fresh(ws.folder, ws.config);
        fresh.rescan();
        QCOMPARE(fresh.controllerCount(), 5); // Arrived, Edit, Keep, New and the adopted Plain
        QVERIFY(rescanned.wait());
        QTRY_COMPARE(state(store), state(fresh));
    }

    // A rescan runs in slices with the event loop turning in between (here one file a slice). A note renamed
    // elsewhere still follows its file, and an edit made between two slices is merged with the outside change
    // that a later slice finds, not overwritten by it or overwriting it.
    void slicedRescanFollowsRenamesAndMergesEdits()
    {
        Workspace ws;
        writeInPlace(ws.path("Alpha.md"), noteText("x1", "renamed elsewhere\n"));
        writeInPlace(ws.path("Gamma.md"), noteText("x2", "first line\n"));
        NoteStore &store = ws.open();
        NoteController *renamed = store.controller("Alpha.md");
        NoteController *edited = store.controller("Gamma.md");
        store.setDelayScale(0);
        QVERIFY(QFile::rename(ws.path("Alpha.md"), ws.path("Beta.md")));
        writeAtomically(ws.path("Gamma.md"), noteText("x2", "first line\nappended\n"));
        QSignalSpy rescanned(&store, &NoteStore::rescanned);
        // The first slice announces the renamed note; the user types before the next one.
        connect(
            &store, &NoteStore::notesChanged, this,
            [&] {
                QVERIFY(rescanned.isEmpty());
                edit(store, edited, u"first line typed\n"_qs);
            },
            Qt::SingleShotConnection);

        store.scheduleRescan();
        QVERIFY(rescanned.wait());
        QCOMPARE(store.controller("Beta.md"), renamed);
        QTRY_COMPARE(Frontmatter::parse(readFile(ws.path("Gamma.md"))).body, u"first line typed\nappended\n"_qs);
        QCOMPARE(edited->note().body, u"first line typed\nappended\n"_qs);
    }

    void missingFolderReportedOnce()
    {
        Workspace ws;
        writeInPlace(ws.path("Note.md"), noteText("x1", "text\n"));
        NoteStore &store = ws.open(true);
        QSignalSpy reports(&store, &NoteStore::folderMissing);

        QVERIFY(QDir(ws.folder).removeRecursively());
        QTRY_COMPARE(reports.size(), 1);
        // The windows stay as they were; later rescans and operations report nothing more.
        QVERIFY(store.controller("Note.md"));
        QVERIFY(!store.create(QString(), QStringLiteral("After")));
        store.rescan();
        QCOMPARE(reports.size(), 1);
    }

    // Quick edits give one write, and every edit restarts the wait. The delays are scaled down to a tenth so that
    // the rule is checked without waiting out the real ones.
    void editsAreDebouncedIntoOneWrite()
    {
        Workspace ws;
        NoteController *note = ws.openWith("Note.md", noteText("x1", "start\n"), true);
        NoteStore &store = *ws.store;
        store.setDelayScale(0.1);
        QSignalSpy written(&store, &NoteStore::noteWritten);

        for (int i = 0; i < 10; ++i)
            edit(store, note, QStringLiteral("edit %1\n").arg(i));
        QElapsedTimer sinceLastEdit;
        QTimer::singleShot(40, &store, [&] {
            edit(store, note, QStringLiteral("last\n"));
            sinceLastEdit.start();
        });
        QVERIFY(written.wait(3000));
        // Timers may fire a few per cent early; the write still waited for the whole delay after the last edit.
        QVERIFY2(sinceLastEdit.isValid() && sinceLastEdit.elapsed() >= 70,
            qPrintable(QString::number(sinceLastEdit.elapsed())));
        QVERIFY(readFile(ws.path("Note.md")).endsWith(QLatin1String("last\n")));
        QVERIFY(!store.hasPendingSave("Note.md"));
        QCOMPARE(written.count(), 1);
    }

    // Other front matter and a byte order mark are kept.
    void saveWritesTheWholeFileAtomically()
    {
        Workspace ws;
        NoteController *note
            = ws.openWith("Note.md", "\xEF\xBB\xBF---\ntitle: Shopping\ntackpad: \"x1\"\n---\n- milk\n");
        NoteStore &store = *ws.store;
        QSignalSpy written(&store, &NoteStore::noteWritten);

        note->note().meta.color = QStringLiteral("#B8E0F5");
        note->note().body += QLatin1String("- bread\n");
        store.noteReplaced(note);
        store.flushAllSaves();
        const QString expected = QStringLiteral(
            "---\ntitle: Shopping\ntackpad: \"x1 y120 w270 h260 z0 #B8E0F5 s12\"\n---\n- milk\n- bread\n");
        QCOMPARE(readBytes(ws.path("Note.md")), "\xEF\xBB\xBF" + expected.toUtf8());
        QCOMPARE(note->lastDiskContent(), expected);
        QCOMPARE(ws.files(), QStringList {"Note.md"}); // no temporary file left beside it

        // The same text once more: nothing to write.
        store.noteReplaced(note);
        store.flushAllSaves();
        QCOMPARE(written.count(), 1);
    }

    // A raise saves the new stacking order, but writes nothing for the note already on top, nor ever to an ordinary
    // file shown as a note.
    void raiseSavesOnlyARealChangeOfANote()
    {
        Workspace ws;
        writeInPlace(ws.path("Top.md"), noteText("x300 z9", "top\n"));
        writeInPlace(ws.path("Plain.md"), "text\n");
        NoteController *note = ws.openWith("Note.md", noteText("x1 z5", "text\n"));
        NoteStore &store = *ws.store;
        NoteController *plain = store.addController("Plain.md", "text\n", Frontmatter::parse("text\n"));
        store.bringToFront(note);
        QCOMPARE(note->note().meta.z, 10);
        QVERIFY(store.hasPendingSave("Note.md"));
        store.flushAllSaves();
        store.bringToFront(note);
        QCOMPARE(note->note().meta.z, 10);
        QVERIFY(!store.hasPendingSave("Note.md"));
        store.bringToFront(plain);
        QCOMPARE(plain->note().meta.z, 11);
        QVERIFY(!store.hasPendingSave("Plain.md"));
    }

private:
    TemporaryHome m_home;
};

QTEST_GUILESS_MAIN(TestNoteStoreScan)
#include "tst_notestore_scan.moc"

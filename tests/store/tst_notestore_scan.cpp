// Which files become notes, and how the store follows changes that other programs make to the folder.

#include "StoreTestSupport.h"

#include "store/NoteController.h"
#include "store/NoteStore.h"

#include <QSignalSpy>
#include <QTest>

using namespace StoreTest;

using FileMap = QMap<QString, QByteArray>;

class TestNoteStoreScan : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void whichFilesAreNotes_data();
    void whichFilesAreNotes();
    void scanOrderIsFinderOrder();
    void scanShowsNotesAndKeepsHiddenOnesOut();
    void scanRaisesMaxZToHighestNote();
    void crLfFileIsReadWithLineFeeds();

    void externalChange_data();
    void externalChange();
    void ownWriteIsIgnored();
    void pendingSaveWinsOverExternalEdit();
    void renameByAnotherProgram();
    void namedRescansMatchFullRescan();

    void missingFolderReportedOnce_data();
    void missingFolderReportedOnce();
    void shutdownStopsWatchingAndClosesWindows();

private:
    QTemporaryDir m_home;
};

void TestNoteStoreScan::initTestCase()
{
    QVERIFY(m_home.isValid());
    redirectHome(m_home);
}

void TestNoteStoreScan::whichFilesAreNotes_data()
{
    QTest::addColumn<FileMap>("files");
    QTest::addColumn<QStringList>("notes");

    const QByteArray note = noteText(QStringLiteral("x10 y20"), QStringLiteral("Body\n"));
    QTest::newRow("nominal: a file with the property line is a note, an ordinary file is not")
        << FileMap {{"Note.md", note}, {"Plain.md", "# Just Markdown\n"}} << QStringList {"Note.md"};
    QTest::newRow("nominal: a prefixed key alone makes a note")
        << FileMap {{"Prefixed.md", "---\ntackpad-x: 40\n---\nText"}} << QStringList {"Prefixed.md"};
    QTest::newRow("nominal: the extension is compared in lower case")
        << FileMap {{"Upper.MD", note}, {"Mixed.Md", note}, {"long.markdown", note}, {"text.txt", note}}
        << QStringList {"Mixed.Md", "Upper.MD"};
    QTest::newRow("nominal: hidden files are skipped")
        << FileMap {{".hidden.md", note}, {"Shown.md", note}} << QStringList {"Shown.md"};
    QTest::newRow("nominal: only direct entries, never subfolders")
        << FileMap {{"sub/Deep.md", note}, {"dir.md/Inner.md", note}, {"Top.md", note}} << QStringList {"Top.md"};
    QTest::newRow("robustness: a file that is not UTF-8 is skipped")
        << FileMap {{"Latin1.md", "---\ntackpad: \"x1\"\n---\ncaf\xe9\n"}, {"Good.md", note}}
        << QStringList {"Good.md"};
    QTest::newRow("robustness: a thematic break at the top is not a property block")
        << FileMap {{"Break.md", "---\n- item\n---\nText"}} << QStringList {};
    QTest::newRow("robustness: empty and one-line files are ordinary")
        << FileMap {{"Empty.md", ""}, {"One.md", "---"}} << QStringList {};
}

void TestNoteStoreScan::whichFilesAreNotes()
{
    QFETCH(FileMap, files);
    QFETCH(QStringList, notes);
    Workspace ws;
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        QDir().mkpath(QFileInfo(ws.path(it.key())).absolutePath());
        writeInPlace(ws.path(it.key()), it.value());
    }
    NoteStore &store = ws.open();
    QStringList shown;
    for (const NoteController *each : store.controllersInFinderOrder())
        shown << each->note().filename;
    QCOMPARE(shown, notes);
}

void TestNoteStoreScan::scanOrderIsFinderOrder()
{
    Workspace ws;
    for (const char *name : {"Note 10.md", "note 2.md", "Note 1.md", "apple.md", "Zebra.md"})
        writeInPlace(ws.path(QString::fromUtf8(name)), noteText(QStringLiteral("x1"), QString()));
    ws.open();
    // Windows are created in the order the files are handled: numbers by value, case ignored.
    QCOMPARE(*ws.log,
        (QStringList {"orderFront apple.md", "orderFront Note 1.md", "orderFront note 2.md", "orderFront Note 10.md",
            "orderFront Zebra.md"}));
}

void TestNoteStoreScan::scanShowsNotesAndKeepsHiddenOnesOut()
{
    Workspace ws;
    writeInPlace(ws.path("Shown.md"), noteText(QStringLiteral("x1"), QString()));
    writeInPlace(ws.path("Hidden.md"), noteText(QStringLiteral("x1 hidden"), QString()));
    ws.store = std::make_unique<NoteStore>(ws.folder, ws.config);
    ws.store->setControllerFactory(recordingFactory(ws.log));
    QSignalSpy changed(ws.store.get(), &NoteStore::notesChanged);
    ws.store->rescan();
    QCOMPARE(*ws.log, (QStringList {"orderOut Hidden.md", "orderFront Shown.md"}));
    // One announcement for the whole scan.
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.first().first().value<NoteStore *>(), ws.store.get());
}

void TestNoteStoreScan::scanRaisesMaxZToHighestNote()
{
    Workspace ws;
    writeInPlace(ws.path("A.md"), noteText(QStringLiteral("z7"), QString()));
    writeInPlace(ws.path("B.md"), noteText(QStringLiteral("z42"), QString()));
    writeInPlace(ws.path("C.md"), noteText(QStringLiteral("z-3"), QString()));
    NoteStore &store = ws.open();
    QCOMPARE(store.maxZ(), 42);
    QStringList byZ;
    for (const NoteController *each : store.controllers())
        byZ << each->note().filename;
    QCOMPARE(byZ, (QStringList {"C.md", "A.md", "B.md"}));
}

void TestNoteStoreScan::crLfFileIsReadWithLineFeeds()
{
    Workspace ws;
    writeInPlace(ws.path("Windows.md"), "---\r\ntackpad: \"x5 y6\"\r\n---\r\nline one\r\nline two\r\n");
    NoteStore &store = ws.open();
    NoteController *note = store.controller("Windows.md");
    QVERIFY(note);
    QCOMPARE(note->note().meta.x, 5.0);
    QCOMPARE(note->note().body, QStringLiteral("line one\nline two\n"));
    QVERIFY(!note->lastDiskContent().contains(QLatin1Char('\r')));

    // The first save writes line feeds only.
    note->note().body += QLatin1String("line three\n");
    store.scheduleSave(note, 0);
    store.flushAllSaves();
    QVERIFY(!readFile(ws.path("Windows.md")).contains(QLatin1Char('\r')));
}

void TestNoteStoreScan::externalChange_data()
{
    QTest::addColumn<QByteArray>("newText");
    QTest::addColumn<bool>("atomically");
    QTest::addColumn<QString>("expectedBody");
    QTest::addColumn<bool>("stillOpen");
    QTest::addColumn<QStringList>("expectedRequests");

    const QString props = QStringLiteral("x100 y100 w300 h200 z1 #FBF4A6 s12");
    QTest::newRow("nominal: body edited in place reaches the editor")
        << noteText(props, QStringLiteral("edited elsewhere\n")) << false << QStringLiteral("edited elsewhere\n")
        << true << QStringList {"setEditorText Note.md"};
    QTest::newRow("nominal: body replaced atomically reaches the editor")
        << noteText(props, QStringLiteral("saved by an editor\n")) << true << QStringLiteral("saved by an editor\n")
        << true << QStringList {"setEditorText Note.md"};
    QTest::newRow("nominal: a new colour is applied without touching the text")
        << noteText(QStringLiteral("x100 y100 w300 h200 z1 #CDE8F9 s12"), QStringLiteral("original\n")) << false
        << QStringLiteral("original\n") << true << QStringList {"applyAppearance Note.md", "applyRolledState Note.md"};
    QTest::newRow("nominal: a moved frame moves the window")
        << noteText(QStringLiteral("x400 y100 w300 h200 z1 #FBF4A6 s12"), QStringLiteral("original\n")) << false
        << QStringLiteral("original\n") << true
        << QStringList {"applyFrame Note.md", "applyAppearance Note.md", "applyRolledState Note.md"};
    QTest::newRow("nominal: hidden elsewhere orders the window out")
        << noteText(props + QLatin1String(" hidden"), QStringLiteral("original\n")) << false
        << QStringLiteral("original\n") << true
        << QStringList {"applyAppearance Note.md", "applyRolledState Note.md", "orderOut Note.md"};
    QTest::newRow("nominal: CR LF written elsewhere arrives as line feeds")
        << QByteArray("---\r\ntackpad: \"x100 y100 w300 h200 z1 #FBF4A6 s12\"\r\n---\r\na\r\nb\r\n") << false
        << QStringLiteral("a\nb\n") << true << QStringList {"setEditorText Note.md"};
    QTest::newRow("nominal: property line removed elsewhere closes the note") << QByteArray(
        "original\n") << false << QStringLiteral("original\n") << false << QStringList {"closeWindow Note.md"};
    QTest::newRow("robustness: a file turned into invalid UTF-8 keeps its note")
        << QByteArray("---\ntackpad: \"x1\"\n---\n\xff\xfe") << false << QStringLiteral("original\n") << true
        << QStringList {};
}

void TestNoteStoreScan::externalChange()
{
    QFETCH(QByteArray, newText);
    QFETCH(bool, atomically);
    QFETCH(QString, expectedBody);
    QFETCH(bool, stillOpen);
    QFETCH(QStringList, expectedRequests);

    Workspace ws;
    const QByteArray original = noteText(QStringLiteral("x100 y100 w300 h200 z1 #FBF4A6 s12"), "original\n");
    writeInPlace(ws.path("Note.md"), original);
    NoteStore &store = ws.open(true);
    QVERIFY(store.isWatching());
    ws.log->clear();
    QSignalSpy rescanned(&store, &NoteStore::rescanned);
    QSignalSpy written(&store, &NoteStore::noteWritten);

    if (atomically)
        writeAtomically(ws.path("Note.md"), newText);
    else
        writeInPlace(ws.path("Note.md"), newText);
    QVERIFY(rescanned.wait());

    QCOMPARE(*ws.log, expectedRequests);
    QCOMPARE(store.controller("Note.md") != nullptr, stillOpen);
    if (NoteController *note = store.controller("Note.md"))
        QCOMPARE(note->note().body, expectedBody);
    // Reconciling never writes: the file keeps what the other program wrote.
    QCOMPARE(written.count(), 0);
    QCOMPARE(readBytes(ws.path("Note.md")), newText);
}

void TestNoteStoreScan::ownWriteIsIgnored()
{
    Workspace ws;
    writeInPlace(ws.path("Note.md"), noteText(QStringLiteral("x1"), "before\n"));
    NoteStore &store = ws.open(true);
    NoteController *note = store.controller("Note.md");
    ws.log->clear();
    QSignalSpy rescanned(&store, &NoteStore::rescanned);
    QSignalSpy written(&store, &NoteStore::noteWritten);

    note->note().body = QStringLiteral("after\n");
    store.scheduleSave(note, 0);
    QVERIFY(written.wait());
    QVERIFY(rescanned.wait());
    // The rescan found the file equal to what the store wrote and left the window alone.
    QCOMPARE(*ws.log, QStringList {});
    QCOMPARE(note->lastDiskContent(), readFile(ws.path("Note.md")));
    QCOMPARE(written.count(), 1);
}

void TestNoteStoreScan::pendingSaveWinsOverExternalEdit()
{
    Workspace ws;
    writeInPlace(ws.path("Note.md"), noteText(QStringLiteral("x1"), "original\n"));
    NoteStore &store = ws.open(true);
    NoteController *note = store.controller("Note.md");
    ws.log->clear();
    QSignalSpy rescanned(&store, &NoteStore::rescanned);
    QSignalSpy written(&store, &NoteStore::noteWritten);

    note->note().body = QStringLiteral("typed in the window\n");
    store.scheduleSave(note, NoteStore::editSaveDelay);
    writeInPlace(ws.path("Note.md"), noteText(QStringLiteral("x1"), "edited elsewhere\n"));
    QVERIFY(rescanned.wait());
    QCOMPARE(note->note().body, QStringLiteral("typed in the window\n"));
    QCOMPARE(*ws.log, QStringList {});

    QVERIFY(written.count() == 1 || written.wait());
    QVERIFY(readFile(ws.path("Note.md")).endsWith(QLatin1String("typed in the window\n")));
}

void TestNoteStoreScan::renameByAnotherProgram()
{
    Workspace ws;
    writeInPlace(ws.path("Old.md"), noteText(QStringLiteral("x1"), "text\n"));
    NoteStore &store = ws.open(true);
    ws.log->clear();
    QSignalSpy rescanned(&store, &NoteStore::rescanned);
    QSignalSpy changed(&store, &NoteStore::notesChanged);

    QVERIFY(QFile::rename(ws.path("Old.md"), ws.path("New.md")));
    QVERIFY(rescanned.wait());
    QVERIFY(!store.controller("Old.md"));
    QVERIFY(store.controller("New.md"));
    QCOMPARE(store.controller("New.md")->note().body, QStringLiteral("text\n"));
    ws.log->sort();
    QCOMPARE(*ws.log, (QStringList {"closeWindow Old.md", "orderFront New.md"}));
    QCOMPARE(changed.count(), 1);
}

// Rescans of the files the watcher names must end where a full rescan of the folder would.
void TestNoteStoreScan::namedRescansMatchFullRescan()
{
    Workspace ws;
    writeInPlace(ws.path("Keep.md"), noteText(QStringLiteral("x1"), "keep\n"));
    writeInPlace(ws.path("Edit.md"), noteText(QStringLiteral("x1"), "edit\n"));
    writeInPlace(ws.path("Strip.md"), noteText(QStringLiteral("x1"), "strip\n"));
    writeInPlace(ws.path("Gone.md"), noteText(QStringLiteral("x1"), "gone\n"));
    writeInPlace(ws.path("Moved.md"), noteText(QStringLiteral("x1"), "moved\n"));
    writeInPlace(ws.path("Plain.md"), "plain\n");
    NoteStore &store = ws.open(true);
    QSignalSpy rescanned(&store, &NoteStore::rescanned);

    {
        QFile append(ws.path("Edit.md"));
        QVERIFY(append.open(QIODevice::Append));
        append.write("appended\n");
    }
    writeInPlace(ws.path("Strip.md"), "strip\n");
    QVERIFY(QFile::remove(ws.path("Gone.md")));
    QVERIFY(QFile::rename(ws.path("Moved.md"), ws.path("Arrived.md")));
    writeAtomically(ws.path("Plain.md"), noteText(QStringLiteral("x2 hidden"), "plain\n"));
    writeInPlace(ws.path("New.md"), noteText(QStringLiteral("x3"), "new\n"));
    QVERIFY(QDir().mkdir(ws.path("Folder.md")));

    const auto state = [](const NoteStore &s) {
        QStringList lines;
        for (const NoteController *each : s.controllersInFinderOrder())
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

void TestNoteStoreScan::missingFolderReportedOnce_data()
{
    QTest::addColumn<bool>("moveAway");
    QTest::newRow("robustness: the folder deleted") << false;
    QTest::newRow("robustness: the folder moved away") << true;
}

void TestNoteStoreScan::missingFolderReportedOnce()
{
    QFETCH(bool, moveAway);
    Workspace ws;
    writeInPlace(ws.path("Note.md"), noteText(QStringLiteral("x1"), "text\n"));
    NoteStore &store = ws.open(true);
    int reports = 0;
    store.onFolderMissing = [&reports] { ++reports; };

    if (moveAway)
        QVERIFY(QDir().rename(ws.folder, ws.root.path() + QLatin1String("/elsewhere")));
    else
        QVERIFY(QDir(ws.folder).removeRecursively());
    QTRY_COMPARE(reports, 1);
    // The windows stay as they were; later rescans and operations report nothing more.
    QVERIFY(store.controller("Note.md"));
    store.rescan();
    store.scheduleRescan();
    QVERIFY(!store.create(QString(), QStringLiteral("After")));
    QSignalSpy rescanned(&store, &NoteStore::rescanned);
    store.scheduleRescan();
    QVERIFY(rescanned.wait());
    QCoreApplication::processEvents();
    QCOMPARE(reports, 1);
}

void TestNoteStoreScan::shutdownStopsWatchingAndClosesWindows()
{
    Workspace ws;
    writeInPlace(ws.path("Note.md"), noteText(QStringLiteral("x1"), "text\n"));
    NoteStore &store = ws.open(true);
    NoteController *note = store.controller("Note.md");
    note->note().body = QStringLiteral("unsaved\n");
    store.scheduleSave(note, NoteStore::editSaveDelay);
    ws.log->clear();

    store.shutdown();
    QCOMPARE(*ws.log, QStringList {"closeWindow Note.md"});
    QVERIFY(!store.isWatching());
    QCOMPARE(store.controllerCount(), 0);
    // The pending edit reached the disk before the windows closed.
    QVERIFY(readFile(ws.path("Note.md")).endsWith(QLatin1String("unsaved\n")));
}

QTEST_GUILESS_MAIN(TestNoteStoreScan)
#include "tst_notestore_scan.moc"

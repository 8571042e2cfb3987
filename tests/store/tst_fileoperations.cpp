// Naming rules, stacking order and the file operations of notes: create, rename, duplicate, delete.

#include "StoreTestSupport.h"

#include "store/NoteController.h"
#include "store/NoteStore.h"

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using namespace StoreTest;

class TestFileOperations : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void sanitizeTitle_data();
    void sanitizeTitle();
    void availableFilename_data();
    void availableFilename();
    void filenameTakenCountsUnwrittenNotes();

    void createWritesNoteWithDefaults();
    void createNeverReplacesAFile();
    void createFailureIsAlerted();
    void createSanitizesAnUnsafeName();
    void createNearPlacesDownAndRight();

    void rename_data();
    void rename();
    void failedRenameLeavesNoteAsItWas();
    void renameMovesPendingSave();

    void duplicateCopiesTextAndStyle();
    void deleteMovesFileToTrash();
    void deleteFailureIsAlerted();
    void unhideAllShowsEveryHiddenNote();

private:
    QTemporaryDir m_home;
};

void TestFileOperations::initTestCase()
{
    QVERIFY(m_home.isValid());
    redirectHome(m_home);
}

void TestFileOperations::sanitizeTitle_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("expected"); // empty: nothing usable

    QTest::newRow("nominal: a plain title is kept") << "Shopping list"
                                                    << "Shopping list";
    QTest::newRow("nominal: slashes, colons and a leading climb") << "  ../Plan: Q3/Q4.MD  "
                                                                  << "-Plan- Q3-Q4";
    QTest::newRow("nominal: a trailing .md in any case is dropped") << "Notes.Md"
                                                                    << "Notes";
    QTest::newRow("nominal: leading dots go, inner dots stay") << "...hidden.v2"
                                                               << "hidden.v2";
    QTest::newRow("nominal: control characters and bidi overrides are removed") << QString::fromUtf8("a\tb\x01"
                                                                                                     "c\u202E"
                                                                                                     "d")
                                                                                << "abcd";
    QTest::newRow("nominal: emoji survive") << QString::fromUtf8("Ideas 💡") << QString::fromUtf8("Ideas 💡");
    QTest::newRow("robustness: only dots") << "....."
                                           << "";
    QTest::newRow("robustness: only spaces and line breaks") << " \n\t \r\n "
                                                             << "";
    QTest::newRow("robustness: only control characters") << QString::fromUtf8("\x01\x02\x7f") << "";
    QTest::newRow("robustness: only .md") << ".md"
                                          << "";
    QTest::newRow("robustness: 300 characters keep the first 200")
        << QString(300, QLatin1Char('a')) << QString(200, QLatin1Char('a'));
    QTest::newRow("robustness: cut at 200 then trimmed again")
        << QString(199, QLatin1Char('b')) + QLatin1String("  tail") << QString(199, QLatin1Char('b'));
    QTest::newRow("robustness: the cut never splits an emoji") << QString(199, QLatin1Char('c'))
            + QString::fromUtf8("👍🏽more") << QString(199, QLatin1Char('c')) + QString::fromUtf8("👍🏽");
}

void TestFileOperations::sanitizeTitle()
{
    QFETCH(QString, title);
    QFETCH(QString, expected);
    QCOMPARE(NoteStore::sanitizeTitle(title).value_or(QString()), expected);
}

void TestFileOperations::availableFilename_data()
{
    QTest::addColumn<QStringList>("existing");
    QTest::addColumn<QString>("base");
    QTest::addColumn<int>("firstSuffix");
    QTest::addColumn<QString>("expected");

    QTest::newRow("nominal: a free name is used as it is") << QStringList {} << "Note" << 2 << "Note.md";
    QTest::newRow("nominal: numbering starts at the first suffix")
        << QStringList {"Note.md"} << "Note" << 1 << "Note (1).md";
    QTest::newRow("nominal: taken numbers are skipped")
        << QStringList {"Note.md", "Note (2).md"} << "Note" << 2 << "Note (3).md";
    QTest::newRow("nominal: a folder of that name counts as taken")
        << QStringList {"Projects.md/"} << "Projects" << 2 << "Projects (2).md";
    QTest::newRow("nominal: a hidden or ordinary file of that name counts as taken")
        << QStringList {"Plain.md"} << "Plain" << 2 << "Plain (2).md";
}

void TestFileOperations::availableFilename()
{
    QFETCH(QStringList, existing);
    QFETCH(QString, base);
    QFETCH(int, firstSuffix);
    QFETCH(QString, expected);
    Workspace ws;
    for (const QString &name : existing) {
        if (name.endsWith(QLatin1Char('/')))
            QVERIFY(QDir().mkdir(ws.path(name.chopped(1))));
        else
            writeInPlace(ws.path(name), "x");
    }
    QCOMPARE(ws.open().availableFilename(base, firstSuffix), expected);
}

void TestFileOperations::filenameTakenCountsUnwrittenNotes()
{
    Workspace ws;
    NoteStore &store = ws.open();
    // A controller whose file another program removed still holds its name until the next rescan.
    store.addController("Ghost.md", QString(), Frontmatter::parse(QString::fromUtf8(noteText("x1", "g"))));
    QVERIFY(store.filenameTaken("Ghost.md"));
    QCOMPARE(store.availableFilename("Ghost", 2), QStringLiteral("Ghost (2).md"));
}

void TestFileOperations::createWritesNoteWithDefaults()
{
    Workspace ws;
    ws.config.setValue(SettingsKey::usePreviousNoteSettings, false);
    ws.config.setValue(SettingsKey::fixedNoteColor, "#CDE8F9");
    NoteStore &store = ws.open();
    QSignalSpy changed(&store, &NoteStore::notesChanged);

    NoteController *note = store.create(QStringLiteral("Hello"), QStringLiteral("New note"));
    QVERIFY(note);
    QCOMPARE(note->note().filename, QStringLiteral("New note.md"));
    const QString expected = QStringLiteral("---\ntackpad: \"x80 y530 w270 h260 z1 #CDE8F9 s12\"\n---\nHello");
    QCOMPARE(readFile(ws.path("New note.md")), expected);
    QCOMPARE(note->lastDiskContent(), expected);
    QVERIFY(note->note().hadMetadata);
    QCOMPARE(*ws.log, (QStringList {"orderFront key New note.md", "focusEditor New note.md"}));
    QCOMPARE(changed.count(), 1);

    // The second new note gets the next number and the next place in the cascade.
    NoteController *second = store.create(QString(), QStringLiteral("New note"), 365.0, 365.0, QString("#FFFFFF"));
    QCOMPARE(second->note().filename, QStringLiteral("New note (1).md"));
    QCOMPARE(second->note().meta.x, 108.0);
    QCOMPARE(second->note().meta.width, 365.0);
    QCOMPARE(second->note().meta.color, QStringLiteral("#FFFFFF"));
    QCOMPARE(second->note().meta.z, 2);
}

void TestFileOperations::createNeverReplacesAFile()
{
    Workspace ws;
    NoteStore &store = ws.open();
    // Another program takes the name that a rescan has not yet seen.
    writeInPlace(ws.path("Taken.md"), "theirs\n");
    NoteController *note = store.create(QString(), QStringLiteral("Taken"));
    QVERIFY(note);
    QCOMPARE(note->note().filename, QStringLiteral("Taken (1).md"));
    QCOMPARE(readFile(ws.path("Taken.md")), QStringLiteral("theirs\n"));
}

void TestFileOperations::createFailureIsAlerted()
{
    Workspace ws;
    NoteStore &store = ws.open();
    // A usable title that no file system accepts as a name: 200 characters of two bytes each.
    QVERIFY(!store.create(QString(), QString(200, QChar(0xE9))));
    QCOMPARE(ws.alerts.shown.size(), 1);
    QCOMPARE(ws.alerts.shown.first().message, QStringLiteral("Could not create note"));
    QVERIFY(!ws.alerts.shown.first().informativeText.isEmpty());
    QCOMPARE(store.controllerCount(), 0);
    QCOMPARE(QDir(ws.folder).entryList(QDir::Files | QDir::Hidden), QStringList {});
}

void TestFileOperations::createSanitizesAnUnsafeName()
{
    Workspace ws;
    NoteStore &store = ws.open();
    NoteController *note = store.create(QString(), QStringLiteral("../outside"));
    QVERIFY(note);
    QCOMPARE(note->note().filename, QStringLiteral("-outside.md"));
    QVERIFY(QFileInfo::exists(ws.path("-outside.md")));
    QVERIFY(!QFileInfo::exists(ws.root.path() + QLatin1String("/outside.md")));
}

void TestFileOperations::createNearPlacesDownAndRight()
{
    Workspace ws;
    writeInPlace(ws.path("Source.md"), noteText("x300 y400 z9", "s"));
    NoteStore &store = ws.open();
    NoteController *note = store.create(QString(), QStringLiteral("Linked"), {}, {}, {}, store.controller("Source.md"));
    QCOMPARE(note->note().meta.x, 324.0);
    QCOMPARE(note->note().meta.y, 376.0);
    QCOMPARE(note->note().meta.z, 10);
}

void TestFileOperations::rename_data()
{
    QTest::addColumn<QStringList>("others");
    QTest::addColumn<QString>("title");
    QTest::addColumn<bool>("succeeds");
    QTest::addColumn<QString>("expectedName");

    QTest::newRow("nominal: a free title") << QStringList {} << "Groceries" << true << "Groceries.md";
    QTest::newRow("nominal: the title is sanitized")
        << QStringList {} << "Q3: plan/draft" << true << "Q3- plan-draft.md";
    QTest::newRow("nominal: a taken name gets a number")
        << QStringList {"Groceries.md"} << "Groceries" << true << "Groceries (2).md";
    QTest::newRow("nominal: a change of letter case only") << QStringList {} << "note" << true << "note.md";
    QTest::newRow("nominal: the same name is no change") << QStringList {} << "Note" << true << "Note.md";
    QTest::newRow("robustness: a title with nothing usable") << QStringList {} << " ... " << false << "Note.md";
}

void TestFileOperations::rename()
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

    QCOMPARE(store.rename(note, title), succeeds);
    QCOMPARE(note->note().filename, expectedName);
    QCOMPARE(store.controller(expectedName), note);
    if (expectedName != QLatin1String("Note.md"))
        QVERIFY(!store.controller("Note.md"));
    QCOMPARE(readBytes(ws.path(expectedName)), text);
    for (const QString &other : others)
        QCOMPARE(readFile(ws.path(other)), QStringLiteral("other\n"));
    QVERIFY(ws.alerts.shown.isEmpty());
}

void TestFileOperations::failedRenameLeavesNoteAsItWas()
{
    Workspace ws;
    writeInPlace(ws.path("Note.md"), noteText("x1", "text\n"));
    NoteStore &store = ws.open();
    NoteController *note = store.controller("Note.md");
    // The file went away behind the store's back: there is nothing to rename.
    QVERIFY(QFile::remove(ws.path("Note.md")));

    QVERIFY(!store.rename(note, QStringLiteral("Renamed")));
    QCOMPARE(note->note().filename, QStringLiteral("Note.md"));
    QCOMPARE(store.controller("Note.md"), note);
    QVERIFY(!store.controller("Renamed.md"));
    QCOMPARE(ws.alerts.shown.size(), 1);
    QCOMPARE(ws.alerts.shown.first().message, QStringLiteral("Could not rename note"));
}

void TestFileOperations::renameMovesPendingSave()
{
    Workspace ws;
    writeInPlace(ws.path("Note.md"), noteText("x1", "old\n"));
    NoteStore &store = ws.open();
    NoteController *note = store.controller("Note.md");
    note->note().body = QStringLiteral("edited before the rename\n");
    store.scheduleSave(note, NoteStore::editSaveDelay);

    QVERIFY(store.rename(note, QStringLiteral("Renamed")));
    QVERIFY(store.hasPendingSave("Renamed.md"));
    QVERIFY(!store.hasPendingSave("Note.md"));
    store.flushAllSaves();
    QVERIFY(readFile(ws.path("Renamed.md")).endsWith(QLatin1String("edited before the rename\n")));
    QVERIFY(!QFileInfo::exists(ws.path("Note.md")));
}

void TestFileOperations::duplicateCopiesTextAndStyle()
{
    Workspace ws;
    writeInPlace(ws.path("Plan (2).md"),
        "---\nauthor: me\ntackpad: \"x200 y300 w400 h320 z4 #E6DBFB s16 float adopt\"\n---\n# Plan\n");
    NoteStore &store = ws.open();
    NoteController *original = store.controller("Plan (2).md");

    NoteController *copy = store.duplicate(original);
    QVERIFY(copy);
    // Numbered on from the original's base name, not "Plan (2) (2)", and never the bare "Plan".
    QCOMPARE(copy->note().filename, QStringLiteral("Plan (3).md"));
    const NoteMetadata &meta = copy->note().meta;
    QCOMPARE(meta.x, 224.0);
    QCOMPARE(meta.y, 276.0);
    QCOMPARE(meta.width, 400.0);
    QCOMPARE(meta.color, QStringLiteral("#E6DBFB"));
    QCOMPARE(meta.fontSize, 16.0);
    QVERIFY(meta.floatOnTop);
    QVERIFY(!meta.adopt);
    QCOMPARE(meta.z, 5);
    QCOMPARE(copy->note().body, QStringLiteral("# Plan\n"));
    QCOMPARE(readFile(ws.path("Plan (3).md")),
        QStringLiteral("---\nauthor: me\ntackpad: \"x224 y276 w400 h320 z5 #E6DBFB s16 float\"\n---\n# Plan\n"));

    NoteController *third = store.duplicate(original);
    QCOMPARE(third->note().filename, QStringLiteral("Plan (4).md"));
}

void TestFileOperations::deleteMovesFileToTrash()
{
    Workspace ws;
    writeInPlace(ws.path("Bin me.md"), noteText("x1", "old\n"));
    NoteStore &store = ws.open();
    NoteController *note = store.controller("Bin me.md");
    note->note().body = QStringLiteral("last words\n");
    store.scheduleSave(note, NoteStore::editSaveDelay);
    QSignalSpy changed(&store, &NoteStore::notesChanged);

    QVERIFY(store.deleteNote(note));
    QVERIFY(!QFileInfo::exists(ws.path("Bin me.md")));
    QVERIFY(!store.controller("Bin me.md"));
    QCOMPARE(changed.count(), 1);
    const QString trashed = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
        + QLatin1String("/Trash/files/Bin me.md");
    QVERIFY2(QFileInfo::exists(trashed), qPrintable(trashed));
    // The trashed file holds the edit that was still waiting to be saved.
    QVERIFY(readFile(trashed).endsWith(QLatin1String("last words\n")));
    QVERIFY(ws.log->contains("closeWindow Bin me.md"));
}

void TestFileOperations::deleteFailureIsAlerted()
{
    Workspace ws;
    writeInPlace(ws.path("Stuck.md"), noteText("x1", "text\n"));
    NoteStore &store = ws.open();
    NoteController *note = store.controller("Stuck.md");
    // The Trash cannot be made: a file stands where its folder would go.
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    QDir(data + QLatin1String("/Trash")).removeRecursively();
    QDir().mkpath(data);
    writeInPlace(data + QLatin1String("/Trash"), "not a folder");

    const bool deleted = store.deleteNote(note);
    QFile::remove(data + QLatin1String("/Trash"));
    QVERIFY(!deleted);
    QCOMPARE(ws.alerts.shown.size(), 1);
    QCOMPARE(ws.alerts.shown.first().message, QStringLiteral("Could not delete note"));
    QVERIFY(QFileInfo::exists(ws.path("Stuck.md")));
    QCOMPARE(store.controller("Stuck.md"), note);
    // Not dropped under the working directory either.
    QVERIFY(!QFileInfo::exists(QDir::currentPath() + QLatin1String("/files/Stuck.md")));
}

void TestFileOperations::unhideAllShowsEveryHiddenNote()
{
    Workspace ws;
    writeInPlace(ws.path("A.md"), noteText("x1 hidden", "a"));
    writeInPlace(ws.path("B.md"), noteText("x1 hidden", "b"));
    writeInPlace(ws.path("C.md"), noteText("x1", "c"));
    NoteStore &store = ws.open();
    ws.log->clear();
    QSignalSpy changed(&store, &NoteStore::notesChanged);

    store.unhideAll();
    for (const char *name : {"A.md", "B.md", "C.md"})
        QVERIFY(!store.controller(QString::fromUtf8(name))->note().meta.hidden);
    QCOMPARE(*ws.log, (QStringList {"orderFront A.md", "orderFront B.md"}));
    QCOMPARE(changed.count(), 1);
    QVERIFY(store.hasPendingSave("A.md") && store.hasPendingSave("B.md") && !store.hasPendingSave("C.md"));
}

QTEST_GUILESS_MAIN(TestFileOperations)
#include "tst_fileoperations.moc"

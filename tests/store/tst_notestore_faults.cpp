// The store under what the world does to a workspace: full disks, read-only files, other programs writing,
// renaming and deleting while the user types, folders replaced, links that lead nowhere, interrupted saves.
// Whatever happens, every byte the user typed and every byte another program wrote is found afterwards in a file.

#include "support/FaultSupport.h"
#include "support/StoreTestSupport.h"

#include "store/AtomicFile.h"
#include "store/NoteSaver.h"
#include "store/RecoveryFolder.h"

#include <QDirIterator>
#include <QProcess>
#include <QRandomGenerator>
#include <QScopeGuard>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>

using namespace StoreTest;
using namespace FaultTest;

namespace {

const QByteArray properties = "x10 y20 w300 h200 z1 #FBF4A6 s12";

// Every file of the workspace and of the recovery folder, concatenated: where a lost byte would have to be.
QString everything(const QString &folder)
{
    QString all;
    for (const QString &root : {folder, RecoveryFolder::path()}) {
        QDirIterator it(root, QDir::Files | QDir::Hidden);
        while (it.hasNext())
            all += readFile(it.next()) + QLatin1Char('\n');
    }
    return all;
}

} // namespace

class TestNoteStoreFaults : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QDir(RecoveryFolder::path()).removeRecursively(); }

    void fullDiskKeepsTheFileAndTheText()
    {
        SmallDisk disk(256);
        if (!disk.mounted())
            QSKIP("mounting a tmpfs is not permitted here");
        const QByteArray original = noteText(properties, QString(2000, QLatin1Char('o')));
        writeInPlace(disk.path() + "/Note.md", original);
        Settings settings(m_home.dir.filePath("full-disk.ini"));
        NoteStore store(disk.path(), settings);
        store.rescan();
        NoteController *note = store.controller("Note.md");
        QSignalSpy failed(&store, &NoteStore::saveFailed);

        disk.fill();
        const QString typed = QString(2000, QLatin1Char('o')) + QStringLiteral(" typed on a full disk");
        edit(store, note, typed);
        store.flushAllSaves();
        store.flushAllSaves();
        QCOMPARE(readBytes(disk.path() + "/Note.md"), original);
        QCOMPARE(note->note().body, typed);
        QCOMPARE(failed.count(), 1); // said once per failure streak
        QVERIFY(failed.first().at(1).toString().contains(QLatin1String("space")));

        disk.free();
        store.flushAllSaves();
        QCOMPARE(Frontmatter::parse(readFile(disk.path() + "/Note.md")).body, typed);
        store.shutdown();
    }

    // A save fails (the file is read-only), then another program appends to the file, then the user quits: both the
    // typed text and the appended text survive.
    void failedSaveThenOutsideChangeLosesNothing()
    {
        Workspace ws;
        NoteController *note = ws.openWith("a.md", noteText(properties, "first\n"));
        NoteStore &store = *ws.store;
        QSignalSpy failed(&store, &NoteStore::saveFailed);
        QVERIFY(QFile::setPermissions(ws.path("a.md"), QFileDevice::ReadOwner | QFileDevice::ReadGroup));
        edit(store, note, "first RO-TYPED\n");
        store.flushAllSaves();
        store.flushAllSaves();
        QCOMPARE(failed.count(), 1); // the user is told once, not on every keystroke
        appendTo(ws.path("a.md"), "appended elsewhere\n");
        store.refreshFromDisk("a.md");
        QCOMPARE(note->note().body, QStringLiteral("first RO-TYPED\nappended elsewhere\n"));
        store.shutdown();
        const QString kept = everything(ws.folder);
        QVERIFY2(kept.contains("first RO-TYPED\nappended elsewhere\n"), qPrintable(kept));
    }

    void deletedElsewhereKeepsUnsavedText()
    {
        Workspace ws;
        NoteController *note = ws.openWith("a.md", noteText(properties, "saved\n"), true);
        NoteStore &store = *ws.store;
        QSignalSpy recovered(&store, &NoteStore::textRecovered);
        edit(store, note, "saved\ntyped just before the delete\n");
        QVERIFY(QFile::remove(ws.path("a.md")));
        QVERIFY(recovered.wait());
        QVERIFY(!store.controller("a.md"));
        QVERIFY(readFile(recovered.first().at(1).toString()).endsWith("typed just before the delete\n"));
        QVERIFY(!QFileInfo::exists(ws.path("a.md"))); // the deleted file is not brought back
    }

    void unreadableEntriesNeverFailTheListing()
    {
        Workspace ws;
        writeInPlace(ws.path("a.md"), noteText(properties, "a\n"));
        QVERIFY(QFile::link(ws.path("missing.md"), ws.path("dangling.md")));
        QVERIFY(QFile::link(ws.path("loop.md"), ws.path("loop.md")));
        writeInPlace(ws.path("z.md"), noteText("x400 y20", "z\n"));
        QStringList skipped;
        NoteStore &store = ws.open();
        connect(&store, &NoteStore::fileSkipped, &store, [&](const QString &name) { skipped << name; });
        store.rescan();
        QCOMPARE(filenames(store.controllersByName()), (QStringList {"a.md", "z.md"}));
        store.rescan();
        QVERIFY2(skipped.isEmpty(), "each is said once, at the first scan");
        QVERIFY(ws.alerts.shown.isEmpty());
    }

    // `mv ws ws.old; mkdir ws; cp ws.old/* ws`, as a sync tool or a restore from a backup does: the store follows the
    // path, not the old directory, and edits in the new folder reach the notes.
    void replacedFolderIsWatchedAgain()
    {
        Workspace ws;
        NoteController *note = ws.openWith("a.md", noteText(properties, "before\n"), true);
        NoteStore &store = *ws.store;
        QSignalSpy rescanned(&store, &NoteStore::rescanned);
        const QString old = ws.folder + ".old";
        QVERIFY(QDir().rename(ws.folder, old));
        QVERIFY(QDir().mkdir(ws.folder));
        QVERIFY(QFile::copy(old + "/a.md", ws.path("a.md")));
        QVERIFY(rescanned.wait());
        appendTo(ws.path("a.md"), "edited in the new folder\n");
        QTRY_COMPARE(note->note().body, QStringLiteral("before\nedited in the new folder\n"));
        appendTo(old + "/a.md", "the old folder is no longer the workspace\n");
        edit(store, note, note->note().body + "typed\n");
        store.flushAllSaves();
        QCOMPARE(Frontmatter::parse(readFile(ws.path("a.md"))).body,
            QStringLiteral("before\nedited in the new folder\ntyped\n"));
        QVERIFY(readFile(old + "/a.md").endsWith("the old folder is no longer the workspace\n"));
    }

    void nothingIsWrittenThroughALinkLeavingTheWorkspace()
    {
        Workspace ws;
        const QString outside = ws.root.filePath("passwd-copy");
        writeInPlace(outside, "root:x:0:0:root:/root:/bin/bash\n");
        QVERIFY(QFile::link(outside, ws.path("linked.md")));
        NoteStore &store = ws.open();
        QCOMPARE(store.adoptAllOrdinaryMarkdown(), 0);
        QVERIFY(!store.importFile(ws.path("linked.md"), true));
        QCOMPARE(readBytes(outside), QByteArray("root:x:0:0:root:/root:/bin/bash\n"));
    }

    // A note's file grows past 4 MB (or stops being UTF-8) elsewhere: the note no longer writes to it - even a click
    // that raises the note must not replace 5 MB with the old small text - and what the user types goes to the recovery
    // folder until the file is a note file again.
    void fileMadeUnusableElsewhereIsNeverOverwritten()
    {
        Workspace ws;
        NoteController *note = ws.openWith("a.md", noteText(properties, "small\n"));
        NoteStore &store = *ws.store;
        QSignalSpy recovered(&store, &NoteStore::textRecovered);
        const QByteArray big = noteText(properties, QString(5 * 1024 * 1024, QLatin1Char('b')));
        writeInPlace(ws.path("a.md"), big);
        store.bringToFront(note);
        store.flushAllSaves();
        store.rescan();
        edit(store, note, "small\ntyped after the file grew\n");
        store.flushAllSaves();
        QCOMPARE(readBytes(ws.path("a.md")), big);
        QCOMPARE(recovered.count(), 1);
        QVERIFY(readFile(recovered.first().at(1).toString()).endsWith("typed after the file grew\n"));

        // Usable again: the note merges with it and saves to it as before.
        writeInPlace(ws.path("a.md"), noteText(properties, "small\n"));
        store.rescan();
        store.flushAllSaves();
        QCOMPARE(
            Frontmatter::parse(readFile(ws.path("a.md"))).body, QStringLiteral("small\ntyped after the file grew\n"));
    }

    // A kill between writing the temporary file and moving it into place leaves the newest text in the temporary file.
    void interruptedSavesAreRecovered()
    {
        Workspace ws;
        writeInPlace(ws.path("a.md"), noteText(properties, "old\n"));
        writeInPlace(ws.path("b.md"), noteText(properties, "same\n"));
        writeInPlace(ws.path(AtomicFile::temporaryPrefix("a.md") + "Ab12Cd"), noteText(properties, "newest\n"));
        writeInPlace(ws.path(AtomicFile::temporaryPrefix("b.md") + "Xy34Zw"), noteText(properties, "same\n"));
        writeInPlace(ws.path(AtomicFile::temporaryPrefix("gone.md") + "Qr56St"), noteText(properties, "orphan\n"));
        NoteStore store(ws.folder, ws.config);
        QSignalSpy recovered(&store, &NoteStore::textRecovered);
        store.rescan();
        QCOMPARE(ws.files(), (QStringList {"a.md", "b.md"}));
        QCOMPARE(recovered.count(), 2);
        const QString kept = everything(ws.folder);
        QVERIFY(kept.contains("newest\n"));
        QVERIFY(kept.contains("orphan\n"));
        store.shutdown();
    }

    // User edits and a real writer process race through many interleavings: appends, atomic replaces, slow non-atomic
    // rewrites. Each side only adds words, so every word must be found at the end in some file.
    void racingWritersLoseNothing()
    {
        Workspace ws;
        NoteController *note = ws.openWith("a.md", noteText(properties, "start\n"), true);
        NoteStore &store = *ws.store;
        store.setDelayScale(0.02);
        QRandomGenerator random(20261123);
        QSignalSpy rescanned(&store, &NoteStore::rescanned);
        QSignalSpy written(&store, &NoteStore::noteWritten);
        // An append; a temporary file renamed over the note, as sync tools and careful editors do; a slow non-atomic
        // rewrite: truncate, then the old text, then the new line.
        const QStringList scripts {QStringLiteral("printf '%1\\n' >> '%2'"),
            QStringLiteral("cat '%2' > '%2.tmp' && printf '%1\\n' >> '%2.tmp' && mv '%2.tmp' '%2'"),
            QStringLiteral("c=$(cat '%2'); : > '%2'; sleep 0.01; printf '%s\\n%1\\n' \"$c\" >> '%2'")};
        QStringList expected;
        for (int round = 0; round < 40; ++round) {
            const QString outside = QStringLiteral("OUT%1").arg(round), typed = QStringLiteral("USER%1").arg(round);
            expected << outside << typed;
            QProcess writer;
            writer.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), scripts[random.bounded(3)].arg(outside, ws.path("a.md"))});
            QVERIFY(writer.waitForStarted());
            QString body = note->note().body;
            const qsizetype at = random.bounded(2) ? body.size() : body.indexOf(QLatin1Char('\n')) + 1;
            edit(store, note, body.insert(at, typed + QLatin1Char('\n')));
            QVERIFY(writer.waitForFinished());
            // Let a rescan or a save happen in between, or not, so that each round interleaves differently.
            if (const int pause = random.bounded(3); pause < 2)
                (pause == 0 ? rescanned : written).wait(200);
        }
        QTRY_VERIFY(!store.hasPendingSave("a.md"));
        store.rescan();
        store.shutdown();
        const QString all = everything(ws.folder);
        for (const QString &word : std::as_const(expected))
            QVERIFY2(all.contains(word), qPrintable(word + " is lost:\n" + all));
    }

    // A write that stalls (a USB stick, a network folder) holds up neither the window nor the next edit: the store
    // keeps taking edits, starts no second write of the file meanwhile, and afterwards writes the newer text after the
    // stalled one.
    void typingGoesOnWhileTheDiskStalls()
    {
        Workspace ws;
        NoteController *note = ws.openWith("a.md", noteText(properties, "start\n"));
        NoteStore &store = *ws.store;
        store.setDelayScale(0);
        QSemaphore stalled, resume;
        QStringList writes; // the bodies that reached the disk, in order; only the saving thread appends
        bool resumedInTime = true;
        NoteSaver::setWriteHookForTesting([&](const QString &, const QByteArray &bytes) {
            writes << Frontmatter::parse(QString::fromUtf8(bytes)).body;
            if (writes.size() == 1) {
                stalled.release();
                // Only this thread can let the write go on: were the write on it, it would wait out the whole stall.
                resumedInTime = resume.tryAcquire(1, 5000);
            }
        });
        const auto unhook = qScopeGuard([] { NoteSaver::setWriteHookForTesting({}); });

        edit(store, note, "start\nstalled\n");
        QTRY_VERIFY(stalled.available());
        edit(store, note, "start\nstalled\ntyped meanwhile\n");
        bool editWaitOver = false; // a timer started after the edit's own zero delay fires after it
        QTimer::singleShot(1, &store, [&] { editWaitOver = true; });
        QTRY_VERIFY(editWaitOver);
        QCOMPARE(writes.size(), 1);
        QSignalSpy written(&store, &NoteStore::noteWritten);
        resume.release();
        QTRY_COMPARE(written.count(), 2);
        QVERIFY(resumedInTime);
        QCOMPARE(
            Frontmatter::parse(readFile(ws.path("a.md"))).body, QStringLiteral("start\nstalled\ntyped meanwhile\n"));
        QCOMPARE(writes, (QStringList {"start\nstalled\n", "start\nstalled\ntyped meanwhile\n"}));
    }

private:
    TemporaryHome m_home;
};

QTEST_GUILESS_MAIN(TestNoteStoreFaults)
#include "tst_notestore_faults.moc"

// Debounced, atomic saving of notes, and what happens when a save cannot be written.

#include "support/StoreTestSupport.h"

#include "notes/Frontmatter.h"
#include "store/RecoveryFolder.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

using namespace StoreTest;

class TestNoteStoreSave : public QObject {
    Q_OBJECT

private Q_SLOTS:
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

    void failedSaveIsLoggedAndKeepsText_data()
    {
        QTest::addColumn<QString>("obstacle");
        QTest::newRow("robustness: the file was made read-only") << QStringLiteral("read-only");
        QTest::newRow("robustness: a folder took the file's place") << QStringLiteral("folder");
    }

    void failedSaveIsLoggedAndKeepsText()
    {
        QFETCH(QString, obstacle);
        Workspace ws;
        NoteController *note = ws.openWith("Note.md", noteText("x1", "on disk\n"));
        NoteStore &store = *ws.store;
        const QString diskBefore = note->lastDiskContent();

        const bool readOnly = obstacle == QLatin1String("read-only");
        if (readOnly)
            QVERIFY(QFile::setPermissions(ws.path("Note.md"), QFileDevice::ReadOwner | QFileDevice::ReadGroup));
        else
            QVERIFY(QFile::remove(ws.path("Note.md")) && QDir().mkdir(ws.path("Note.md")));
        QSignalSpy failed(&store, &NoteStore::saveFailed);
        const QRegularExpression failure(QStringLiteral("^TackPad: failed to save Note\\.md: .+"));
        for (const char *typed : {"typed\n", "typed more\n"}) {
            note->note().body = QString::fromUtf8(typed);
            QTest::ignoreMessage(QtWarningMsg, failure);
            store.noteReplaced(note);
            store.flushAllSaves();
        }
        QCOMPARE(failed.count(), 1); // the user is told once, not on every keystroke
        QCOMPARE(note->note().body, QStringLiteral("typed more\n"));
        QCOMPARE(note->lastDiskContent(), diskBefore);

        if (readOnly) {
            QCOMPARE(readFile(ws.path("Note.md")), diskBefore);
            // Once writable again, the next flush gets the text through, without waiting for another edit.
            QVERIFY(QFile::setPermissions(ws.path("Note.md"), QFileDevice::ReadOwner | QFileDevice::WriteOwner));
            store.flushAllSaves();
            QVERIFY(readFile(ws.path("Note.md")).endsWith(QLatin1String("typed more\n")));
        } else {
            // Still unwritable when the workspace closes: the text is kept as a copy.
            QTest::ignoreMessage(QtWarningMsg, failure);
            QTest::ignoreMessage(QtWarningMsg,
                QRegularExpression(QStringLiteral("^TackPad: failed to save Note\\.md; its text is kept in .+")));
            const QString expected
                = Frontmatter::serialize(note->note().meta, note->note().foreignFrontmatter, note->note().body);
            store.shutdown();
            const QStringList copies = QDir(RecoveryFolder::path()).entryList(QDir::Files);
            QCOMPARE(copies.size(), 1);
            QVERIFY2(copies.first().endsWith(QLatin1String(" Note.md")), qPrintable(copies.first()));
            QCOMPARE(readFile(RecoveryFolder::path() + QLatin1Char('/') + copies.first()), expected);
            QVERIFY(QDir(RecoveryFolder::path()).removeRecursively());
        }
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

QTEST_GUILESS_MAIN(TestNoteStoreSave)
#include "tst_notestore_save.moc"

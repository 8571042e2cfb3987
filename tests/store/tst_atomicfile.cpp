// Whole-file writes under real faults: whatever fails, the old file stays byte for byte and nothing half-written
// is left where a note could be read from.

#include "support/FaultSupport.h"
#include "support/TextFiles.h"

#include "store/AtomicFile.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <sys/file.h>

using namespace FaultTest;

namespace {

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

AtomicFile::Outcome perform(const QString &operation, const QString &folder, const QByteArray &data)
{
    if (operation == QLatin1String("replace"))
        return AtomicFile::write(folder + "/note.md", data, AtomicFile::Mode::Replace);
    if (operation == QLatin1String("create"))
        return AtomicFile::write(folder + "/new.md", data, AtomicFile::Mode::CreateNew);
    return AtomicFile::copyNew(folder + "/source.bin", folder + "/copy.bin");
}

} // namespace

class TestAtomicFile : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void failedWriteLeavesTheOldFile_data()
    {
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QString>("fault");
        for (const char *operation : {"replace", "create", "copy"}) {
            for (const char *fault : {"file-size limit", "full disk"})
                QTest::addRow("robustness: %s under a %s", operation, fault) << operation << fault;
        }
    }

    // The writes of note saves, recovery copies, imports and attachments all go through here.
    void failedWriteLeavesTheOldFile()
    {
        QFETCH(QString, operation);
        QFETCH(QString, fault);
        const QByteArray old = QByteArray("---\ntackpad: \"x1\"\n---\n") + QByteArray(2000, 'o');
        const QByteArray fresh(64 * 1024, 'n');
        QTemporaryDir plain;
        SmallDisk disk(128);
        const bool onDisk = fault == QLatin1String("full disk");
        if (onDisk && !disk.mounted())
            QSKIP("mounting a tmpfs is not permitted here");
        const QString folder = onDisk ? disk.path() : plain.path();
        writeInPlace(folder + "/note.md", old);
        writeInPlace(folder + "/source.bin", fresh);
        const QStringList before = entries(folder);

        if (onDisk) {
            disk.fill();
            const AtomicFile::Outcome outcome = perform(operation, folder, fresh);
            QVERIFY(!outcome.ok);
            QVERIFY2(!outcome.error.isEmpty(), "the user is told why");
            disk.free();
        } else {
            const int status
                = runWithFileSizeLimit(16 * 1024, [&] { return perform(operation, folder, fresh).ok ? 0 : 3; });
            QCOMPARE(status, 3);
        }
        QCOMPARE(readBytes(folder + "/note.md"), old);
        QCOMPARE(entries(folder), before); // no temporary file left, no half-written new file
    }

    void replaceKeepsModeAndRefusesWhatIsNotAFile()
    {
        QTemporaryDir dir;
        const QString path = dir.filePath("note.md");
        writeInPlace(path, "old");
        QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup));
        const AtomicFile::Outcome outcome = AtomicFile::write(path, "new", AtomicFile::Mode::Replace);
        QVERIFY(outcome.ok);
        // What another program wrote in the instant before the new text took its place comes back to the caller.
        QCOMPARE(outcome.displaced.value_or("<none>"), QByteArray("old"));
        QCOMPARE(readBytes(path), QByteArray("new"));
        QCOMPARE(entries(dir.path()), QStringList {"note.md"});
        QCOMPARE(QFile::permissions(path) & 0x7077, // the owner's, group's and others' bits
            QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup);

        // Read-only is the user's "do not change this", even for a superuser.
        QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner));
        QVERIFY(!AtomicFile::write(path, "newer", AtomicFile::Mode::Replace).ok);
        QCOMPARE(readBytes(path), QByteArray("new"));

        // A folder that took a note's name is never swapped away.
        const QString folder = dir.filePath("folder.md");
        QVERIFY(QDir().mkdir(folder));
        QVERIFY(!AtomicFile::write(folder, "text", AtomicFile::Mode::Replace).ok);
        QVERIFY(QFileInfo(folder).isDir());
        QVERIFY(!AtomicFile::write(folder, "text", AtomicFile::Mode::CreateNew).ok);
    }

    void temporaryFilesNameTheirTargetAndTellWhenAbandoned()
    {
        // A name of 255 bytes still gives a temporary name within the limit that names (most of) it.
        const QString longName = QString(84, QChar(0x65E5)) + ".md";
        for (const QString &name : {QStringLiteral("Plan.md"), longName}) {
            const QString temporary = AtomicFile::temporaryPrefix(name) + "Ab12Cd";
            QVERIFY(temporary.toUtf8().size() <= 255);
            QVERIFY(AtomicFile::isTemporaryName(temporary));
            QVERIFY(name.startsWith(AtomicFile::targetOfTemporary(temporary)));
        }
        QCOMPARE(AtomicFile::targetOfTemporary(".Plan.md.tackpad-Ab12Cd"), QStringLiteral("Plan.md"));
        QVERIFY(!AtomicFile::isTemporaryName("Plan.md"));
        QVERIFY(!AtomicFile::isTemporaryName(".Plan.md.swp"));

        QTemporaryDir dir;
        const QString path = dir.filePath(".Plan.md.tackpad-Ab12Cd");
        writeInPlace(path, "newest text");
        const int writer = ::open(QFile::encodeName(path).constData(), O_RDONLY);
        QVERIFY(writer >= 0);
        QCOMPARE(::flock(writer, LOCK_EX), 0);
        QVERIFY2(!AtomicFile::isAbandoned(path), "a save still being written is left alone");
        ::close(writer);
        QVERIFY(AtomicFile::isAbandoned(path));
    }
};

QTEST_GUILESS_MAIN(TestAtomicFile)
#include "tst_atomicfile.moc"

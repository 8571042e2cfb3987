// Both watching mechanisms see every kind of change the store must follow.

#include "support/StoreTestSupport.h"

#include "store/FolderWatcher.h"

#include <QSignalSpy>
#include <QTest>

using namespace StoreTest;

Q_DECLARE_METATYPE(FolderWatcher::Kind)

namespace {

// What a watcher reported: the named files, and whether it asked for a full rescan.
struct Reports {
    QSet<QString> names;
    int fullRescans = 0;

    bool covers(const QString &name) const { return fullRescans > 0 || names.contains(name); }
    void clear()
    {
        names.clear();
        fullRescans = 0;
    }
};

std::unique_ptr<FolderWatcher> startWatcher(const Workspace &ws, FolderWatcher::Kind kind, Reports &reports)
{
    std::unique_ptr<FolderWatcher> watcher = FolderWatcher::create(ws.folder, kind);
    FolderWatcher *raw = watcher.get();
    QObject::connect(raw, &FolderWatcher::filesChanged, raw, [&reports](const QStringList &names) {
        for (const QString &name : names)
            reports.names.insert(name);
    });
    QObject::connect(raw, &FolderWatcher::folderChanged, raw, [&reports] { ++reports.fullRescans; });
    QString error;
    if (!watcher->start(&error))
        qWarning() << "watcher did not start:" << error;
    return watcher;
}

} // namespace

class TestFolderWatcher : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The store-level scan tests see these changes through the native watcher; the portable one is only here.
    void portableWatcherReportsChange_data()
    {
        QTest::addColumn<QString>("change");
        for (const char *change :
            {"append in place", "append after an atomic replace", "create", "delete", "rename away", "rename in"})
            QTest::newRow(change) << QString::fromLatin1(change);
    }

    void portableWatcherReportsChange()
    {
        QFETCH(QString, change);
        Workspace ws;
        writeInPlace(ws.path("Note.md"), "text\n");
        const QString outside = ws.root.path() + QLatin1String("/Outside.md");
        writeInPlace(outside, "outside\n");
        Reports reports;
        const std::unique_ptr<FolderWatcher> watcher = startWatcher(ws, FolderWatcher::Kind::Portable, reports);
        QVERIFY(watcher->isActive());

        QString affected = QStringLiteral("Note.md");
        if (change == QLatin1String("append in place")) {
            appendTo(ws.path("Note.md"), "more\n");
        } else if (change == QLatin1String("append after an atomic replace")) {
            // The watcher must re-add the file watch that the replace dropped.
            writeAtomically(ws.path("Note.md"), "replaced\n");
            QTRY_VERIFY(reports.covers("Note.md"));
            reports.clear();
            appendTo(ws.path("Note.md"), "appended\n");
            QTRY_VERIFY(reports.names.contains("Note.md"));
        } else if (change == QLatin1String("create")) {
            affected = QStringLiteral("New.md");
            writeInPlace(ws.path(affected), "new\n");
        } else if (change == QLatin1String("delete")) {
            QVERIFY(QFile::remove(ws.path("Note.md")));
        } else if (change == QLatin1String("rename away")) {
            QVERIFY(QFile::rename(ws.path("Note.md"), outside + QLatin1String(".moved")));
        } else if (change == QLatin1String("rename in")) {
            affected = QStringLiteral("Outside.md");
            QVERIFY(QFile::rename(outside, ws.path(affected)));
        }
        QTRY_VERIFY(reports.covers(affected));
    }

    void deletedFolderAsksForFullRescan_data()
    {
        QTest::addColumn<FolderWatcher::Kind>("kind");
        QTest::addColumn<bool>("moveAway");
        QTest::newRow("robustness: native, folder moved away") << FolderWatcher::Kind::Native << true;
        QTest::newRow("robustness: portable, folder deleted") << FolderWatcher::Kind::Portable << false;
    }

    void deletedFolderAsksForFullRescan()
    {
        QFETCH(FolderWatcher::Kind, kind);
        QFETCH(bool, moveAway);
        Workspace ws;
        writeInPlace(ws.path("Note.md"), "text\n");
        Reports reports;
        const std::unique_ptr<FolderWatcher> watcher = startWatcher(ws, kind, reports);
        QVERIFY(watcher->isActive());

        if (moveAway)
            QVERIFY(QDir().rename(ws.folder, ws.root.path() + QLatin1String("/moved")));
        else
            QVERIFY(QDir(ws.folder).removeRecursively());
        QTRY_VERIFY(reports.fullRescans > 0);
        if (!moveAway)
            QTRY_VERIFY(!watcher->isActive());
    }

    void queueOverflowAsksForFullRescan()
    {
        Workspace ws;
        Reports reports;
        const std::unique_ptr<FolderWatcher> watcher = startWatcher(ws, FolderWatcher::Kind::Native, reports);

        // More events than the kernel queues (16384 by default) before the event loop reads any: alternating
        // writes to two files are never merged into one event.
        for (int i = 0; i < 10000; ++i)
            appendTo(ws.path(i % 2 ? "A.md" : "B.md"), "x");
        QTRY_VERIFY(reports.fullRescans > 0);
        QVERIFY(watcher->isActive());
    }

private:
    TemporaryHome m_home;
};

QTEST_GUILESS_MAIN(TestFolderWatcher)
#include "tst_folderwatcher.moc"

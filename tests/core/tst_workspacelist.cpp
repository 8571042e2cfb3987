#include "core/WorkspaceList.h"

#include <QSet>
#include <QTemporaryDir>
#include <QTest>

// Stands for the file system: a set of existing folders and a set of mounted volumes.
struct FakeDisks {
    QSet<QString> folders;
    QSet<QString> mounted;

    WorkspaceList::FileSystem fileSystem()
    {
        return {[this](const QString &p) { return folders.contains(p); },
            [this](const QString &m) { return mounted.contains(m); }};
    }
};

class TestWorkspaceList : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_disks = {};
        m_list = std::make_unique<WorkspaceList>(settings(), m_disks.fileSystem());
    }

    // A list written by hand or by another version is read as what it can mean: no empty or relative entries, no
    // folder twice, ten at most.
    void storedListIsReadClean()
    {
        QStringList stored {u""_qs, u"Notes"_qs, u"./x"_qs, u"/a"_qs, u"/b/"_qs, u"/a/./"_qs, u"/b"_qs};
        for (int i = 1; i <= 9; ++i)
            stored << u"/w/%1"_qs.arg(i);
        settings().setValue(SettingsKey::workspaces, stored);
        QCOMPARE(m_list->paths(), (QStringList {u"/a"_qs, u"/b"_qs} + stored.mid(7, 8)));
    }

    void disabledAutoAddAddsNothing()
    {
        m_list->setAutoAddEnabled(false);
        QCOMPARE(m_list->noteWorkspaceOpened(u"/a"_qs), WorkspaceList::Opened::NotAdded);
        QVERIFY(m_list->paths().isEmpty());
        QVERIFY(settings().boolValue(SettingsKey::disableAutoWorkspaces));
    }

    void availability()
    {
        using A = WorkspaceList::Availability;
        m_disks.mounted = {u"/Volumes/Backup"_qs};
        QCOMPARE(m_list->availability(u"/Volumes/Backup/Notes"_qs), A::Removed); // deleted from a mounted disk
        QCOMPARE(m_list->availability(u"/media/ann/USB/Notes"_qs), A::Unavailable); // on an unplugged disk
        QCOMPARE(m_list->availability(u"/run/media/ann/USB/Notes"_qs), A::Unavailable);
        QCOMPARE(m_list->availability(u"/Volumes"_qs), A::Removed); // the volumes folder itself is no volume
        m_disks.folders.insert(u"/media/ann/USB/Notes"_qs);
        QCOMPARE(m_list->availability(u"/media/ann/USB/Notes"_qs), A::Available);
    }

    void pruningKeepsUnpluggedDisks()
    {
        m_disks.folders = {u"/home/a/Notes"_qs};
        m_list->setPaths({u"/home/a/Gone"_qs, u"/home/a/Notes"_qs, u"/Volumes/Backup/Notes"_qs});
        m_list->recordImportOfferDeclined(u"/home/a/Gone"_qs);
        m_list->recordImportOfferDeclined(u"/home/a/Notes"_qs);
        QVERIFY(m_list->pruneDeadWorkspaces());
        QCOMPARE(m_list->paths(), (QStringList {u"/home/a/Notes"_qs, u"/Volumes/Backup/Notes"_qs}));
        // A removed workspace's decline is forgotten, and only its own.
        QVERIFY(!m_list->importOfferDeclined(u"/home/a/Gone"_qs));
        QVERIFY(m_list->importOfferDeclined(u"/home/a/Notes"_qs));
        QVERIFY(!m_list->pruneDeadWorkspaces()); // nothing more to drop
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    FakeDisks m_disks;
    std::unique_ptr<WorkspaceList> m_list;
    Settings settings() const { return Settings(m_dir->filePath(u"settings.ini"_qs)); }
};

QTEST_GUILESS_MAIN(TestWorkspaceList)
#include "tst_workspacelist.moc"

#include "core/WorkspaceList.h"

#include <QSet>
#include <QSignalSpy>
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

    void standardisedPath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected");
        QTest::newRow("trailing slash") << u"/home/a/Notes/"_qs << u"/home/a/Notes"_qs;
        QTest::newRow("root stays") << u"/"_qs << u"/"_qs;
    }

    void standardisedPath()
    {
        QFETCH(QString, path);
        QFETCH(QString, expected);
        QCOMPARE(WorkspaceList::standardisedPath(path), expected);
    }

    void openingAddsUpToTenAndReportsTheSecond()
    {
        using O = WorkspaceList::Opened;
        for (int i = 1; i <= 11; ++i)
            QCOMPARE(m_list->noteWorkspaceOpened(u"/w/%1"_qs.arg(i)),
                i == 2        ? O::AddedSecond
                    : i <= 10 ? O::Added
                              : O::NotAdded);
        QCOMPARE(m_list->paths().size(), 10);
        QCOMPARE(m_list->noteWorkspaceOpened(u"/w/3/"_qs), O::NotAdded); // already listed
        QCOMPARE(m_list->indexOf(u"/w/3"_qs), 2);
    }

    void settingElevenKeepsTen()
    {
        QStringList eleven;
        for (int i = 0; i < 11; ++i)
            eleven << u"/w/%1"_qs.arg(i);
        QSignalSpy changed(m_list.get(), &WorkspaceList::changed);
        m_list->setPaths(eleven);
        QCOMPARE(m_list->paths(), eleven.mid(0, 10));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(settings().stringList(SettingsKey::workspaces), eleven.mid(0, 10));
    }

    // A list written by hand or by another version is read as what it can mean.
    void storedListIsReadClean_data()
    {
        QTest::addColumn<QStringList>("stored");
        QTest::addColumn<QStringList>("expected");
        QStringList eleven;
        for (int i = 1; i <= 11; ++i)
            eleven << u"/w/%1"_qs.arg(i);
        QTest::newRow("the same folder twice, written differently")
            << QStringList {u"/a"_qs, u"/b/"_qs, u"/a/./"_qs, u"/b"_qs} << QStringList {u"/a"_qs, u"/b"_qs};
        QTest::newRow("empty and relative entries")
            << QStringList {u""_qs, u"Notes"_qs, u"./x"_qs, u"/n"_qs} << QStringList {u"/n"_qs};
        QTest::newRow("eleven after dropping the unusable ones")
            << (QStringList {u"rel"_qs} + eleven) << eleven.mid(0, 10);
    }

    void storedListIsReadClean()
    {
        QFETCH(QStringList, stored);
        QFETCH(QStringList, expected);
        settings().setValue(SettingsKey::workspaces, stored);
        QCOMPARE(m_list->paths(), expected);
    }

    void disabledAutoAddAddsNothing()
    {
        m_list->setAutoAddEnabled(false);
        QCOMPARE(m_list->noteWorkspaceOpened(u"/a"_qs), WorkspaceList::Opened::NotAdded);
        QVERIFY(m_list->paths().isEmpty());
        QVERIFY(settings().boolValue(SettingsKey::disableAutoWorkspaces));
    }

    void availability_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("mounted");
        QTest::addColumn<WorkspaceList::Availability>("expected");
        using A = WorkspaceList::Availability;
        QTest::newRow("macOS: unplugged disk") << u"/Volumes/Backup/Notes"_qs << false << A::Unavailable;
        QTest::newRow("macOS: deleted from a mounted disk") << u"/Volumes/Backup/Notes"_qs << true << A::Removed;
        QTest::newRow("Linux: unplugged disk under /media") << u"/media/ann/USB/Notes"_qs << false << A::Unavailable;
        QTest::newRow("Linux: unplugged disk under /run/media")
            << u"/run/media/ann/USB/Notes"_qs << false << A::Unavailable;
        QTest::newRow("deleted home folder") << u"/home/ann/Notes"_qs << false << A::Removed;
        QTest::newRow("the volumes folder itself is no volume") << u"/Volumes"_qs << false << A::Removed;
    }

    void availability()
    {
        QFETCH(QString, path);
        QFETCH(bool, mounted);
        QFETCH(WorkspaceList::Availability, expected);
        if (mounted)
            m_disks.mounted = {u"/Volumes/Backup"_qs, u"/media/ann/USB"_qs, u"/run/media/ann/USB"_qs};
        QCOMPARE(m_list->availability(path), expected);
        m_disks.folders.insert(path);
        QCOMPARE(m_list->availability(path), WorkspaceList::Availability::Available);
    }

    void pruningKeepsUnpluggedDisks()
    {
        m_disks.folders = {u"/home/a/Notes"_qs};
        m_list->setPaths({u"/home/a/Gone"_qs, u"/home/a/Notes"_qs, u"/Volumes/Backup/Notes"_qs});
        m_list->recordImportOfferDeclined(u"/home/a/Gone"_qs);
        QVERIFY(m_list->pruneDeadWorkspaces());
        QCOMPARE(m_list->paths(), (QStringList {u"/home/a/Notes"_qs, u"/Volumes/Backup/Notes"_qs}));
        QVERIFY(!m_list->importOfferDeclined(u"/home/a/Gone"_qs));
        QVERIFY(!m_list->pruneDeadWorkspaces()); // nothing more to drop
    }

    void declinedOffers()
    {
        // Only the latest fifty declines are remembered.
        for (int i = 0; i < 51; ++i)
            m_list->recordImportOfferDeclined(u"/f/%1"_qs.arg(i));
        QVERIFY(!m_list->importOfferDeclined(u"/f/0"_qs));
        QVERIFY(m_list->importOfferDeclined(u"/f/1"_qs));
        QVERIFY(m_list->importOfferDeclined(u"/f/50/"_qs));
        QCOMPARE(settings().stringList(SettingsKey::importOfferDeclinedFolders).size(), 50);

        // Removing a workspace forgets its decline, and only its own.
        m_list->setPaths({u"/f/1"_qs, u"/b"_qs});
        m_list->setPaths({u"/b"_qs});
        QVERIFY(!m_list->importOfferDeclined(u"/f/1"_qs));
        QVERIFY(m_list->importOfferDeclined(u"/f/2"_qs));
    }

    void offerText_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("opening");
        QTest::newRow("5 files: already contains") << 5 << u"This folder already contains Markdown files."_qs;
        QTest::newRow("6 files: are you sure") << 6 << u"This folder contains 6 Markdown files. Are you sure"_qs;
        QTest::newRow("16 files: that's a lot") << 16 << u"This folder contains 16 Markdown files – that's a lot!"_qs;
    }

    void offerText()
    {
        QFETCH(int, count);
        QFETCH(QString, opening);
        const QString text = WorkspaceList::bulkImportOfferText(count);
        QVERIFY2(text.startsWith(opening), qPrintable(text));
        QVERIFY(
            text.endsWith(u"\n\nYou can also import individual files later with File → Import Markdown Files…."_qs));
        QVERIFY(text.contains(u"\n\nThis will add one line of TackPad properties to each file."_qs));
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    FakeDisks m_disks;
    std::unique_ptr<WorkspaceList> m_list;
    Settings settings() const { return Settings(m_dir->filePath(u"settings.ini"_qs)); }
};

QTEST_GUILESS_MAIN(TestWorkspaceList)
#include "tst_workspacelist.moc"

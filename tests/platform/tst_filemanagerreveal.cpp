#include "platform/FileManagerReveal.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

namespace {
const QString serviceName = QStringLiteral("org.freedesktop.FileManager1");
const QString objectPath = QStringLiteral("/org/freedesktop/FileManager1");
const QString fakeConnectionName = QStringLiteral("fake-file-manager");
} // namespace

// A file manager on the test's private session bus, on a connection of its own so that the call really travels
// through the bus. It records what it was asked.
class FakeFileManager : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    FakeFileManager()
    {
        QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, fakeConnectionName);
        running
            = bus.registerObject(objectPath, this, QDBusConnection::ExportAllSlots) && bus.registerService(serviceName);
    }
    ~FakeFileManager() override
    {
        QDBusConnection(fakeConnectionName).unregisterService(serviceName);
        QDBusConnection(fakeConnectionName).unregisterObject(objectPath);
        QDBusConnection::disconnectFromBus(fakeConnectionName);
    }
    bool running = false;
    QList<QStringList> shownItems;
    QStringList startupIds;

public Q_SLOTS:
    void ShowItems(const QStringList &uris, const QString &startupId)
    {
        shownItems.append(uris);
        startupIds.append(startupId);
    }
};

class TestFileManagerReveal : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void revealSelectsTheFileOrOpensItsFolder_data()
    {
        QTest::addColumn<bool>("fileManager");
        QTest::addColumn<bool>("openerWorks");
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QString>("encodedName");
        QTest::newRow("robustness: non-ASCII, URI metacharacters and spaces are UTF-8 percent-encoded")
            << true << true << "Café 文 50% #1?.md"
            << "Caf%C3%A9%20%E6%96%87%2050%25%20%231%3F.md";
        QTest::newRow("robustness: no file manager on the bus") << false << true << "Note.md"
                                                                << "";
        QTest::newRow("robustness: the folder cannot be opened either") << false << false << "Note.md"
                                                                        << "";
    }

    void revealSelectsTheFileOrOpensItsFolder()
    {
        QFETCH(bool, fileManager);
        QFETCH(bool, openerWorks);
        QFETCH(QString, fileName);
        QFETCH(QString, encodedName);
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "needs a session bus (run under scripts/headless)");
        QVERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName));
        std::unique_ptr<FakeFileManager> fake;
        if (fileManager) {
            fake = std::make_unique<FakeFileManager>();
            QVERIFY(fake->running);
        }
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("sub folder"));
        QVERIFY(QDir().mkpath(folder));
        QList<QUrl> openedFolders;
        FileManagerReveal reveal;
        reveal.setFolderOpener([&](const QUrl &folder) {
            openedFolders.append(folder);
            return openerWorks;
        });
        if (!openerWorks)
            QTest::ignoreMessage(
                QtWarningMsg, QRegularExpression(QStringLiteral("^TackPad: could not open the folder")));

        const QString path = folder + u'/' + fileName;
        QSignalSpy finished(&reveal, &FileManagerReveal::finished);
        reveal.reveal(path);
        QVERIFY(finished.wait());
        if (fileManager) {
            QCOMPARE(finished.at(0).at(0).toBool(), true);
            const QString expectedUri = QStringLiteral("file://")
                + QString::fromLatin1(QUrl::toPercentEncoding(folder, "/")) + u'/' + encodedName;
            QCOMPARE(fake->shownItems, QList<QStringList> {{expectedUri}});
            QCOMPARE(fake->startupIds, QStringList {QString()});
            QVERIFY(openedFolders.isEmpty());
        } else {
            QCOMPARE(finished.at(0), (QVariantList {false, openerWorks}));
            QCOMPARE(openedFolders, QList<QUrl> {QUrl::fromLocalFile(folder)});
        }
    }
};

QTEST_GUILESS_MAIN(TestFileManagerReveal)
#include "tst_filemanagerreveal.moc"

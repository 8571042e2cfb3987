#include "platform/FileManagerReveal.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusError>
#include <QDBusMessage>
#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

// A file manager on the test's private session bus, on a connection of its own so that the call really travels
// through the bus. It records what it was asked and can answer with an error like a broken file manager.
class FakeFileManager : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

public:
    bool failCalls = false;
    QList<QStringList> shownItems;
    QStringList startupIds;

public Q_SLOTS:
    void ShowItems(const QStringList &uris, const QString &startupId)
    {
        shownItems.append(uris);
        startupIds.append(startupId);
        if (failCalls)
            sendErrorReply(QDBusError::Failed, QStringLiteral("cannot show items"));
    }
};

class TestFileManagerReveal : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void menuTitleNamesTheFileManager();
    void fileManagerSelectsTheFile_data();
    void fileManagerSelectsTheFile();
    void folderOpensWhenTheFileManagerCannotHelp_data();
    void folderOpensWhenTheFileManagerCannotHelp();

private:
    void startFileManager(bool failCalls);
    void stopFileManager();

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<FakeFileManager> m_fileManager;
    QList<QUrl> m_openedFolders;
    std::unique_ptr<FileManagerReveal> m_reveal;
};

namespace {
const QString serviceName = QStringLiteral("org.freedesktop.FileManager1");
const QString fakeConnectionName = QStringLiteral("fake-file-manager");
} // namespace

void TestFileManagerReveal::init()
{
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "needs a session bus (run under scripts/headless)");
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_openedFolders.clear();
    m_reveal = std::make_unique<FileManagerReveal>();
    m_reveal->setFolderOpener([this](const QUrl &folder) {
        m_openedFolders.append(folder);
        return true;
    });
}

void TestFileManagerReveal::cleanup()
{
    m_reveal.reset();
    stopFileManager();
}

void TestFileManagerReveal::startFileManager(bool failCalls)
{
    m_fileManager = std::make_unique<FakeFileManager>();
    m_fileManager->failCalls = failCalls;
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, fakeConnectionName);
    QVERIFY(bus.registerObject(
        QStringLiteral("/org/freedesktop/FileManager1"), m_fileManager.get(), QDBusConnection::ExportAllSlots));
    QVERIFY(bus.registerService(serviceName));
}

void TestFileManagerReveal::stopFileManager()
{
    if (!m_fileManager)
        return;
    QDBusConnection bus(fakeConnectionName);
    bus.unregisterService(serviceName);
    bus.unregisterObject(QStringLiteral("/org/freedesktop/FileManager1"));
    QDBusConnection::disconnectFromBus(fakeConnectionName);
    m_fileManager.reset();
}

void TestFileManagerReveal::menuTitleNamesTheFileManager()
{
    QCOMPARE(FileManagerReveal::menuTitle(), QStringLiteral("Reveal in File Manager"));
}

void TestFileManagerReveal::fileManagerSelectsTheFile_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::addColumn<QString>("encodedName");
    QTest::newRow("nominal: plain name") << QStringLiteral("Shopping.md") << QStringLiteral("Shopping.md");
    QTest::newRow("robustness: spaces are percent-encoded")
        << QStringLiteral("New note 2.md") << QStringLiteral("New%20note%202.md");
    QTest::newRow("robustness: non-ASCII is UTF-8 percent-encoded")
        << QStringLiteral("Café 文.md") << QStringLiteral("Caf%C3%A9%20%E6%96%87.md");
    QTest::newRow("robustness: URI metacharacters are escaped")
        << QStringLiteral("50% #1?.md") << QStringLiteral("50%25%20%231%3F.md");
}

void TestFileManagerReveal::fileManagerSelectsTheFile()
{
    QFETCH(QString, fileName);
    QFETCH(QString, encodedName);
    startFileManager(false);
    const QString path = m_dir->filePath(fileName);

    QSignalSpy finished(m_reveal.get(), &FileManagerReveal::finished);
    m_reveal->reveal(path);
    QVERIFY(finished.wait());
    QCOMPARE(finished.at(0).at(0).toBool(), true);

    QCOMPARE(m_fileManager->shownItems.size(), 1);
    const QString expectedUri = QStringLiteral("file://")
        + QString::fromLatin1(QUrl::toPercentEncoding(m_dir->path(), "/")) + u'/' + encodedName;
    QCOMPARE(m_fileManager->shownItems.at(0), QStringList {expectedUri});
    QCOMPARE(QUrl(expectedUri).toLocalFile(), path);
    QCOMPARE(m_fileManager->startupIds.at(0), QString());
    QVERIFY(m_openedFolders.isEmpty());
}

void TestFileManagerReveal::folderOpensWhenTheFileManagerCannotHelp_data()
{
    QTest::addColumn<bool>("fileManagerPresent");
    QTest::addColumn<bool>("openerWorks");
    QTest::newRow("robustness: no file manager on the bus") << false << true;
    QTest::newRow("robustness: file manager answers with an error") << true << true;
    QTest::newRow("robustness: the folder cannot be opened either") << false << false;
}

void TestFileManagerReveal::folderOpensWhenTheFileManagerCannotHelp()
{
    QFETCH(bool, fileManagerPresent);
    QFETCH(bool, openerWorks);
    if (fileManagerPresent)
        startFileManager(true);
    QVERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered(serviceName) || fileManagerPresent);
    m_reveal->setFolderOpener([this, openerWorks](const QUrl &folder) {
        m_openedFolders.append(folder);
        return openerWorks;
    });
    if (!openerWorks)
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^TackPad: could not open the folder")));

    QDir(m_dir->path()).mkpath(QStringLiteral("sub folder"));
    const QString path = m_dir->filePath(QStringLiteral("sub folder/Note.md"));
    QSignalSpy finished(m_reveal.get(), &FileManagerReveal::finished);
    m_reveal->reveal(path);
    QVERIFY(finished.wait());
    QCOMPARE(finished.at(0).at(0).toBool(), false);
    QCOMPARE(finished.at(0).at(1).toBool(), openerWorks);
    QCOMPARE(m_openedFolders, QList<QUrl> {QUrl::fromLocalFile(m_dir->filePath(QStringLiteral("sub folder")))});
    if (fileManagerPresent)
        QCOMPARE(m_fileManager->shownItems.size(), 1);
}

QTEST_GUILESS_MAIN(TestFileManagerReveal)
#include "tst_filemanagerreveal.moc"

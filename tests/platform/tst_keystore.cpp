#include "platform/KeyStore.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDirIterator>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

#include <memory>

namespace {

using Key = std::optional<QString>;
struct ReadResult {
    Key key;
    QString error;
};
const QString noAnswer = QStringLiteral("no answer");

// Runs one operation and keeps the event loop going until its callback answers (or `timedOut` after 20 s).
template<typename T, typename Operation> T answer(Operation operation, T timedOut)
{
    std::optional<T> result;
    operation([&result](const auto &...values) { result = T {values...}; });
    return QTest::qWaitFor([&] { return result.has_value(); }, 20000) ? *result : timedOut;
}

ReadResult read(KeyStore &store)
{
    return answer<ReadResult>([&](auto done) { store.readKey(done); }, {std::nullopt, noAnswer});
}

QString store(KeyStore &store, const QString &key)
{
    return answer<QString>([&](auto done) { store.storeKey(key, done); }, noAnswer);
}

QString remove(KeyStore &store)
{
    return answer<QString>([&](auto done) { store.removeKey(done); }, noAnswer);
}

bool has(KeyStore &store)
{
    return answer<bool>([&](auto done) { store.hasKey(done); }, false);
}

QDBusMessage secretsCall(const QString &path, const QString &interface, const QString &method, const QVariantList &args)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.secrets"), path, interface, method);
    call.setArguments(args);
    return QDBusConnection::sessionBus().call(call);
}

// A session bus that knows no services at all: no keyring runs on it and none can be started.
const char *const emptyBusConfig = R"(<busconfig>
  <type>session</type>
  <listen>unix:dir=%1</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/>
  </policy>
</busconfig>
)";

} // namespace

// Runs against the real Secret Service of the test session (scripts/headless starts an unlocked gnome-keyring on
// a private bus), each test under a service name of its own, so the user's real item is never touched.
class TestKeyStore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected() || !bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.secrets")))
            QSKIP("needs the Secret Service of scripts/headless");
        qDBusRegisterMetaType<QMap<QString, QString>>();
    }

    void init()
    {
        m_store = std::make_unique<KeyStore>(
            QStringLiteral("app.tackpad.Tackpad.test-") + QUuid::createUuid().toString(QUuid::Id128));
    }

    void cleanup()
    {
        remove(*m_store);
        m_store.reset();
    }

    void operationsInSequence_data()
    {
        // Steps: "store:<key>" or "remove"; then what a read finds.
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<Key>("expected");
        const QString apiKey = QStringLiteral("sk-ant-api03-AbC0123_-xyz");
        QTest::newRow("nominal: nothing stored") << QStringList {} << Key();
        QTest::newRow("nominal: API key") << QStringList {QStringLiteral("store:") + apiKey} << Key(apiKey);
        QTest::newRow("robustness: surrounding spaces are kept")
            << QStringList {QStringLiteral("store:  a key  ")} << Key(QStringLiteral("  a key  "));
        QTest::newRow("robustness: non-ASCII")
            << QStringList {QStringLiteral("store:ключ-密钥-🔑")} << Key(QStringLiteral("ключ-密钥-🔑"));
        QTest::newRow("robustness: 8 KiB")
            << QStringList {QStringLiteral("store:") + QString(8192, u'k')} << Key(QString(8192, u'k'));
        QTest::newRow("nominal: replace") << QStringList {QStringLiteral("store:first"), QStringLiteral("store:second")}
                                          << Key(QStringLiteral("second"));
        QTest::newRow("nominal: remove") << QStringList {QStringLiteral("store:first"), QStringLiteral("remove")}
                                         << Key();
        QTest::newRow("nominal: an empty key removes the stored one")
            << QStringList {QStringLiteral("store:first"), QStringLiteral("store:")} << Key();
        QTest::newRow("robustness: removing when nothing is stored")
            << QStringList {QStringLiteral("remove"), QStringLiteral("remove")} << Key();
    }

    void operationsInSequence()
    {
        QFETCH(QStringList, steps);
        QFETCH(Key, expected);
        for (const QString &step : steps) {
            const QString error
                = step == QLatin1String("remove") ? remove(*m_store) : store(*m_store, step.mid(int(strlen("store:"))));
            QCOMPARE(error, QString());
        }
        const ReadResult result = read(*m_store);
        QCOMPARE(result.error, QString());
        QCOMPARE(result.key, expected);
        QCOMPARE(has(*m_store), expected.has_value());
    }

    void destroyedStoreDropsItsCallbacks()
    {
        bool called = false;
        auto doomed = std::make_unique<KeyStore>(m_store->service());
        doomed->readKey([&called](const Key &, const QString &) { called = true; });
        doomed.reset();
        // The keyring answers in order: once a later request is answered, the dropped one has been too.
        read(*m_store);
        QVERIFY(!called);
    }

    void keyringShowsAReadableLabel()
    {
        QCOMPARE(KeyStore::defaultService(), QStringLiteral("app.tackpad.Tackpad.anthropic"));
        QCOMPARE(store(*m_store, QStringLiteral("labelled")), QString());
        // Look the item up the way a keyring manager would: by its attributes, then its Label property.
        const QDBusReply<QList<QDBusObjectPath>> found = secretsCall(QStringLiteral("/org/freedesktop/secrets"),
            QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("SearchItems"),
            {QVariant::fromValue(QMap<QString, QString> {
                {QStringLiteral("user"), QStringLiteral("api-key")}, {QStringLiteral("server"), m_store->service()}})});
        QVERIFY2(found.isValid(), qPrintable(found.error().message()));
        QCOMPARE(found.value().size(), 1);
        const QDBusReply<QDBusVariant> label
            = secretsCall(found.value().first().path(), QStringLiteral("org.freedesktop.DBus.Properties"),
                QStringLiteral("Get"), {QStringLiteral("org.freedesktop.Secret.Item"), QStringLiteral("Label")});
        QVERIFY2(label.isValid(), qPrintable(label.error().message()));
        QCOMPARE(label.value().variant().toString(), QStringLiteral("TackPad – Anthropic API key"));
    }

    void keyNeverReachesAFile()
    {
        // Only look where this test session keeps its files: never scan a real home folder.
        const QString home = QDir::homePath();
        if (!home.startsWith(QDir::tempPath()))
            QSKIP("HOME is not a temporary folder");
        const QString key = QStringLiteral("sk-ant-findme-") + QUuid::createUuid().toString(QUuid::Id128);
        QCOMPARE(store(*m_store, key), QString());
        QCOMPARE(read(*m_store).key, Key(key));
        QDirIterator files(home, QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (file.open(QIODevice::ReadOnly))
                QVERIFY2(!file.readAll().contains(key.toUtf8()), qPrintable(file.fileName()));
        }
    }

    void noKeyringIsReportedPlainly()
    {
        QTemporaryDir dir;
        QFile config(dir.filePath(QStringLiteral("bus.conf")));
        QVERIFY(config.open(QIODevice::WriteOnly));
        config.write(QString::fromLatin1(emptyBusConfig).arg(dir.path()).toUtf8());
        config.close();
        QProcess bus;
        bus.setStandardErrorFile(QProcess::nullDevice());
        bus.start(QStringLiteral("dbus-daemon"),
            {QStringLiteral("--config-file=") + config.fileName(), QStringLiteral("--nofork"),
                QStringLiteral("--print-address=1")});
        QVERIFY2(bus.waitForStarted(), "dbus-daemon is missing");
        QTRY_VERIFY(bus.canReadLine());

        QProcess probe;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QString::fromUtf8(bus.readLine().trimmed()));
        probe.setProcessEnvironment(environment);
        probe.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        QSignalSpy probeFinished(&probe, &QProcess::finished);
        probe.start(QStringLiteral(PLATFORM_PROBE), {QStringLiteral("keystore"), m_store->service()});
        const bool finished = probeFinished.wait(30000);
        bus.kill();
        bus.waitForFinished();
        QVERIFY(finished);

        const QString message = QStringLiteral("No keyring is available, so the API key cannot be stored.");
        QCOMPARE(KeyStore::noKeyringMessage(), message);
        QCOMPARE(QString::fromUtf8(probe.readAllStandardOutput()).trimmed().split(u'\n'),
            (QStringList {
                QStringLiteral("store: ") + message, QStringLiteral("read: ") + message, QStringLiteral("has: no")}));
    }

private:
    std::unique_ptr<KeyStore> m_store;
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    TestKeyStore test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_keystore.moc"

#include "platform/KeyStore.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QDirIterator>
#include <QSignalSpy>
#include <QStandardPaths>
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

} // namespace

// Runs against the real Secret Service of the test session (scripts/headless starts an unlocked gnome-keyring on
// a private bus), each test under a service name of its own, so the user's real item is never touched.
class TestKeyStore : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        const bool keyring
            = bus.isConnected() && bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.secrets"));
        if (keyring == !qEnvironmentVariableIsEmpty("TACKPAD_EXPECT_NO_KEYRING"))
            QSKIP(keyring ? "a keyring answers on this bus" : "needs the Secret Service of scripts/headless");
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
        const QString odd = QStringLiteral("  sk-ant-api03-AbC0123_-xyz ключ-密钥-🔑 ") + QString(8192, u'k');
        QTest::newRow("nominal: nothing stored") << QStringList {} << Key();
        QTest::newRow("robustness: spaces, non-ASCII and 8 KiB kept as they are")
            << QStringList {QStringLiteral("store:") + odd} << Key(odd);
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

    // A keyring manager finds the item by its attributes and shows its label; the key is in no file of the session.
    void keyringItemIsLabelledAndInNoFile()
    {
        const QString key = QStringLiteral("sk-ant-findme-") + QUuid::createUuid().toString(QUuid::Id128);
        QCOMPARE(store(*m_store, key), QString());
        const QDBusReply<QList<QDBusObjectPath>> found = secretsCall(QStringLiteral("/org/freedesktop/secrets"),
            QStringLiteral("org.freedesktop.Secret.Service"), QStringLiteral("SearchItems"),
            {QVariant::fromValue(QMap<QString, QString> {
                {QStringLiteral("user"), QStringLiteral("api-key")}, {QStringLiteral("server"), m_store->service()}})});
        QVERIFY2(found.isValid(), qPrintable(found.error().message()));
        QCOMPARE(found.value().size(), 1);
        const QDBusReply<QDBusVariant> label
            = secretsCall(found.value().first().path(), QStringLiteral("org.freedesktop.DBus.Properties"),
                QStringLiteral("Get"), {QStringLiteral("org.freedesktop.Secret.Item"), QStringLiteral("Label")});
        QCOMPARE(label.value().variant().toString(), QStringLiteral("TackPad – Anthropic API key"));

        // Only look where this test session keeps its files: never scan a real home folder.
        const QString home = QDir::homePath();
        if (!home.startsWith(QDir::tempPath()))
            QSKIP("HOME is not a temporary folder");
        QDirIterator files(home, QDir::Files | QDir::Hidden | QDir::NoSymLinks, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (file.open(QIODevice::ReadOnly))
                QVERIFY2(!file.readAll().contains(key.toUtf8()), qPrintable(file.fileName()));
        }
    }

    // Runs as a test of its own on a session bus that offers no services (see the CMake file): the honest way to
    // meet a desktop without a keyring.
    void noKeyringIsReportedPlainly()
    {
        if (qEnvironmentVariableIsEmpty("TACKPAD_EXPECT_NO_KEYRING"))
            QSKIP("runs on a session bus without a keyring");
        const QString message = QStringLiteral("No keyring is available, so the API key cannot be stored.");
        QCOMPARE(KeyStore::noKeyringMessage(), message);
        QCOMPARE(store(*m_store, QStringLiteral("key")), message);
        QCOMPARE(read(*m_store).error, message);
        QVERIFY(!has(*m_store));
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

#include "platform/SingleInstance.h"

#include <QFileInfo>
#include <QLocalSocket>
#include <QProcess>
#include <QSet>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>
#include <QUuid>
#include <QtEndian>

#include <memory>
#include <vector>

// Every test uses a name of its own, so lock files and sockets of one test never meet another's (or the user's).
class TestSingleInstance : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void laterLaunchForwardsItsCommand_data();
    void laterLaunchForwardsItsCommand();
    void forwardWaitsForAPrimaryThatIsStillStarting();
    void forwardWithoutAPrimaryGivesUp();
    void releasedLockPassesToTheNextInstance();
    void lockOfACrashedPrimaryIsTakenOver();
    void primaryInAnotherProcessReceivesCommands();
    void simultaneousLaunchesElectOnePrimary();
    void primarySurvivesBadClients_data();
    void primarySurvivesBadClients();

private:
    std::unique_ptr<QProcess> startProbe(const QStringList &arguments);
    QString m_name;
    std::vector<std::unique_ptr<QProcess>> m_probes;
};

void TestSingleInstance::init()
{
    m_name = QStringLiteral("tackpad-test-") + QUuid::createUuid().toString(QUuid::Id128).left(12);
}

void TestSingleInstance::cleanup()
{
    for (auto &probe : m_probes) {
        if (probe->state() != QProcess::NotRunning) {
            probe->kill();
            probe->waitForFinished(5000);
        }
    }
    m_probes.clear();
}

std::unique_ptr<QProcess> TestSingleInstance::startProbe(const QStringList &arguments)
{
    auto probe = std::make_unique<QProcess>();
    probe->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    probe->start(QStringLiteral(PLATFORM_PROBE), arguments);
    return probe;
}

void TestSingleInstance::laterLaunchForwardsItsCommand_data()
{
    QTest::addColumn<QStringList>("command");
    QTest::newRow("nominal: new note") << QStringList {QStringLiteral("new-note")};
    QTest::newRow("nominal: reopen") << QStringList {QStringLiteral("reopen")};
    QTest::newRow("robustness: no arguments") << QStringList {};
    QTest::newRow("robustness: one empty argument") << QStringList {QString()};
    QTest::newRow("robustness: empty arguments between others")
        << QStringList {QStringLiteral("a"), QString(), QString(), QStringLiteral("b"), QString()};
    QTest::newRow("robustness: line breaks, spaces and non-ASCII") << QStringList {
        QStringLiteral("open"), QStringLiteral("/tmp/a\nb/Ünïcödé 文字 🗒.md"), QStringLiteral("two words")};
    QTest::newRow("robustness: many long arguments") << QStringList(200, QString(100, u'x'));
}

void TestSingleInstance::laterLaunchForwardsItsCommand()
{
    QFETCH(QStringList, command);
    SingleInstance primary(m_name);
    QVERIFY(primary.tryBecomePrimary());
    // Asking again keeps the one listening server.
    QVERIFY(primary.tryBecomePrimary());
    QVERIFY(primary.isPrimary());

    SingleInstance later(m_name);
    QVERIFY(!later.tryBecomePrimary());
    QVERIFY(!later.isPrimary());

    QSignalSpy received(&primary, &SingleInstance::commandReceived);
    QSignalSpy finished(&later, &SingleInstance::forwardFinished);
    later.forward(command);
    QVERIFY(received.wait());
    QCOMPARE(received.count(), 1);
    QCOMPARE(received.at(0).at(0).toStringList(), command);
    QTRY_COMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toBool(), true);
}

void TestSingleInstance::forwardWaitsForAPrimaryThatIsStillStarting()
{
    SingleInstance primary(m_name);
    SingleInstance later(m_name);
    QSignalSpy received(&primary, &SingleInstance::commandReceived);
    QSignalSpy finished(&later, &SingleInstance::forwardFinished);

    later.forward({QStringLiteral("new-note")});
    // The primary takes its lock and starts listening only after the later launch has tried a few times.
    QTimer::singleShot(300, &primary, [&primary] { QVERIFY(primary.tryBecomePrimary()); });

    QTRY_COMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toBool(), true);
    QCOMPARE(received.count(), 1);
    QCOMPARE(received.at(0).at(0).toStringList(), QStringList {QStringLiteral("new-note")});
}

void TestSingleInstance::forwardWithoutAPrimaryGivesUp()
{
    SingleInstance later(m_name);
    later.setForwardTimeoutMs(200);
    QSignalSpy finished(&later, &SingleInstance::forwardFinished);
    QTest::ignoreMessage(QtWarningMsg, "TackPad: the running instance did not answer");
    later.forward({QStringLiteral("new-note")});
    QVERIFY(finished.wait());
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toBool(), false);

    // A failed forward leaves the object ready for the next one.
    SingleInstance primary(m_name);
    QVERIFY(primary.tryBecomePrimary());
    later.setForwardTimeoutMs(SingleInstance::defaultForwardTimeoutMs);
    later.forward({QStringLiteral("reopen")});
    QTRY_COMPARE(finished.count(), 2);
    QCOMPARE(finished.at(1).at(0).toBool(), true);
}

void TestSingleInstance::releasedLockPassesToTheNextInstance()
{
    QString socketPath;
    {
        SingleInstance primary(m_name);
        QVERIFY(primary.tryBecomePrimary());
        socketPath = primary.serverName();
        QVERIFY(QFileInfo::exists(socketPath));
    }
    // A cleanly ended primary leaves neither its lock nor its socket behind.
    QVERIFY(!QFileInfo::exists(socketPath));

    SingleInstance next(m_name);
    QVERIFY(next.tryBecomePrimary());
}

void TestSingleInstance::lockOfACrashedPrimaryIsTakenOver()
{
    std::unique_ptr<QProcess> crashing = startProbe({QStringLiteral("instance"), m_name, QStringLiteral("crash")});
    QVERIFY(crashing->waitForFinished(10000));
    QCOMPARE(crashing->readAllStandardOutput().trimmed(), QByteArray("primary"));
    QCOMPARE(crashing->exitStatus(), QProcess::CrashExit);

    SingleInstance survivor(m_name);
    // The dead process left both behind: exactly the situation the takeover is for.
    QVERIFY(QFileInfo::exists(survivor.lockFilePath()));
    QVERIFY(QFileInfo::exists(survivor.serverName()));
    QVERIFY(survivor.tryBecomePrimary());

    // The stale socket file was replaced by a live server.
    SingleInstance later(m_name);
    QSignalSpy received(&survivor, &SingleInstance::commandReceived);
    later.forward({QStringLiteral("reopen")});
    QVERIFY(received.wait());
    QCOMPARE(received.at(0).at(0).toStringList(), QStringList {QStringLiteral("reopen")});
}

void TestSingleInstance::primaryInAnotherProcessReceivesCommands()
{
    std::unique_ptr<QProcess> primary = startProbe({QStringLiteral("instance"), m_name, QStringLiteral("launch")});
    QTRY_VERIFY(primary->canReadLine());
    QCOMPARE(primary->readLine().trimmed(), QByteArray("primary"));

    SingleInstance later(m_name);
    QVERIFY(!later.tryBecomePrimary());
    QSignalSpy finished(&later, &SingleInstance::forwardFinished);
    later.forward({QStringLiteral("new-note")});
    QTRY_VERIFY(primary->canReadLine());
    QCOMPARE(primary->readLine().trimmed(), QByteArray("received new-note"));
    QTRY_COMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toBool(), true);

    // The forward needs this event loop, so wait through a spy rather than blocking on the process.
    QSignalSpy exited(primary.get(), &QProcess::finished);
    later.forward({QStringLiteral("quit")});
    QVERIFY(exited.wait(10000));
    QCOMPARE(primary->exitStatus(), QProcess::NormalExit);
    QCOMPARE(primary->exitCode(), 0);
}

void TestSingleInstance::simultaneousLaunchesElectOnePrimary()
{
    const int launches = 6;
    for (int i = 0; i < launches; ++i) {
        m_probes.push_back(startProbe(
            {QStringLiteral("instance"), m_name, QStringLiteral("launch"), QStringLiteral("launch-%1").arg(i)}));
    }
    // All but one forward and exit; the one left running is the primary.
    auto finishedCount = [this] {
        return std::count_if(
            m_probes.begin(), m_probes.end(), [](const auto &probe) { return probe->state() == QProcess::NotRunning; });
    };
    QTRY_COMPARE_WITH_TIMEOUT(finishedCount(), launches - 1, 20000);

    QProcess *primary = nullptr;
    QSet<QString> forwarded;
    for (const auto &probe : m_probes) {
        if (probe->state() != QProcess::NotRunning) {
            primary = probe.get();
            continue;
        }
        QCOMPARE(probe->exitCode(), 0);
        QCOMPARE(probe->readAllStandardOutput().trimmed(), QByteArray("forwarded"));
        forwarded.insert(probe->arguments().last());
    }
    QVERIFY(primary);
    QCOMPARE(forwarded.size(), launches - 1);

    // The primary received exactly the commands of the others.
    QTRY_COMPARE(primary->bytesAvailable() > 0 ? primary->peek(1 << 16).count('\n') : 0, launches);
    const QList<QByteArray> lines = primary->readAllStandardOutput().trimmed().split('\n');
    QCOMPARE(lines.first(), QByteArray("primary"));
    QSet<QString> received;
    for (const QByteArray &line : lines.mid(1)) {
        QVERIFY2(line.startsWith("received "), line.constData());
        received.insert(QString::fromUtf8(line.mid(9)));
    }
    QCOMPARE(received, forwarded);
}

void TestSingleInstance::primarySurvivesBadClients_data()
{
    QTest::addColumn<QList<QByteArray>>("writes");
    QTest::addColumn<QList<QStringList>>("expectedCommands");
    QTest::addColumn<QString>("expectedWarning");

    const QByteArray frame = SingleInstance::encodeCommand({QStringLiteral("new-note")});
    QByteArray oversized(4, '\0');
    qToBigEndian<quint32>(quint32(SingleInstance::maxFrameBytes + 1), oversized.data());
    QByteArray unterminated(4, '\0');
    qToBigEndian<quint32>(3, unterminated.data());
    unterminated += "abc";

    QTest::newRow("nominal: a frame arriving in pieces")
        << QList<QByteArray> {frame.left(2), frame.mid(2, 5), frame.mid(7)}
        << QList<QStringList> {{QStringLiteral("new-note")}} << QString();
    QTest::newRow("nominal: two frames in one write")
        << QList<QByteArray> {frame + SingleInstance::encodeCommand({QStringLiteral("reopen")})}
        << QList<QStringList> {{QStringLiteral("new-note")}, {QStringLiteral("reopen")}} << QString();
    const QString oversizedWarning = QStringLiteral("TackPad: ignored an oversized command from another launch");
    const QString malformedWarning = QStringLiteral("TackPad: ignored a malformed command from another launch");
    QTest::newRow("robustness: length beyond the limit")
        << QList<QByteArray> {oversized + QByteArray(64, 'x')} << QList<QStringList> {} << oversizedWarning;
    QTest::newRow("robustness: payload without terminator")
        << QList<QByteArray> {unterminated} << QList<QStringList> {} << malformedWarning;
    QTest::newRow("robustness: a frame after a broken one is not read")
        << QList<QByteArray> {unterminated + frame} << QList<QStringList> {} << malformedWarning;
}

void TestSingleInstance::primarySurvivesBadClients()
{
    QFETCH(QList<QByteArray>, writes);
    QFETCH(QList<QStringList>, expectedCommands);
    QFETCH(QString, expectedWarning);
    if (!expectedWarning.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, expectedWarning.toUtf8().constData());

    SingleInstance primary(m_name);
    QVERIFY(primary.tryBecomePrimary());
    QSignalSpy received(&primary, &SingleInstance::commandReceived);

    QLocalSocket client;
    client.connectToServer(primary.serverName());
    QVERIFY(client.waitForConnected(5000));
    for (const QByteArray &piece : writes) {
        client.write(piece);
        client.flush();
        // Give the primary the chance to see each piece on its own.
        QCoreApplication::processEvents();
    }
    if (expectedCommands.isEmpty()) {
        // A bad frame costs the client its connection, nothing more.
        QTRY_COMPARE(client.state(), QLocalSocket::UnconnectedState);
    } else {
        QTRY_COMPARE(received.count(), expectedCommands.size());
        QTRY_COMPARE(client.bytesAvailable(), qint64(expectedCommands.size()));
    }
    QCOMPARE(received.count(), expectedCommands.size());
    for (int i = 0; i < expectedCommands.size(); ++i)
        QCOMPARE(received.at(i).at(0).toStringList(), expectedCommands.at(i));

    // The primary still serves well-behaved launches.
    SingleInstance later(m_name);
    later.forward({QStringLiteral("reopen")});
    QTRY_COMPARE(received.count(), expectedCommands.size() + 1);
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    TestSingleInstance test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_singleinstance.moc"

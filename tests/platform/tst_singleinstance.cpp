#include "platform/SingleInstance.h"

#include <QFileInfo>
#include <QLocalSocket>
#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>
#include <QTimer>
#include <QUuid>
#include <QtEndian>

// Every test uses a name of its own, so lock files and sockets of one test never meet another's (or the user's).
class TestSingleInstance : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { m_name = QStringLiteral("tackpad-test-") + QUuid::createUuid().toString(QUuid::Id128).left(12); }

    void primaryReadsWhatArrives_data()
    {
        QTest::addColumn<QList<QByteArray>>("writes");
        QTest::addColumn<QList<QStringList>>("expectedCommands");
        QTest::addColumn<QString>("expectedWarning");

        const auto frame = [](const QStringList &command) { return SingleInstance::encodeCommand(command); };
        const QStringList newNote {QStringLiteral("new-note")};
        const QStringList odd {
            QString(), QStringLiteral("a"), QString(), QStringLiteral("/tmp/a\nb/Ünïcödé 文字 🗒.md")};
        QByteArray oversized(4, '\0');
        qToBigEndian<quint32>(quint32(SingleInstance::maxFrameBytes + 1), oversized.data());
        QByteArray unterminated(4, '\0');
        qToBigEndian<quint32>(3, unterminated.data());
        unterminated += "abc";
        const QString malformed = QStringLiteral("TackPad: ignored a malformed command from another launch");

        QTest::newRow("nominal: a frame arriving in pieces")
            << QList<QByteArray> {frame(newNote).left(2), frame(newNote).mid(2, 5), frame(newNote).mid(7)}
            << QList<QStringList> {newNote} << QString();
        QTest::newRow("nominal: two frames in one write, empty and non-ASCII arguments kept")
            << QList<QByteArray> {frame({}) + frame(odd)} << QList<QStringList> {{}, odd} << QString();
        QTest::newRow("robustness: length beyond the limit")
            << QList<QByteArray> {oversized + QByteArray(64, 'x')} << QList<QStringList> {}
            << QStringLiteral("TackPad: ignored an oversized command from another launch");
        QTest::newRow("robustness: a frame after one without terminator is not read")
            << QList<QByteArray> {unterminated + frame(newNote)} << QList<QStringList> {} << malformed;
    }

    void primaryReadsWhatArrives()
    {
        QFETCH(QList<QByteArray>, writes);
        QFETCH(QList<QStringList>, expectedCommands);
        QFETCH(QString, expectedWarning);
        if (!expectedWarning.isEmpty())
            QTest::ignoreMessage(QtWarningMsg, expectedWarning.toUtf8().constData());

        SingleInstance primary(m_name);
        QVERIFY(primary.tryBecomePrimary());
        // Asking again keeps the one listening server.
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
        if (expectedCommands.isEmpty()) // a bad frame costs the client its connection, nothing more
            QTRY_COMPARE(client.state(), QLocalSocket::UnconnectedState);
        else // one answer byte per frame
            QTRY_COMPARE(client.bytesAvailable(), qint64(expectedCommands.size()));
        QCOMPARE(received.count(), expectedCommands.size());
        for (int i = 0; i < expectedCommands.size(); ++i)
            QCOMPARE(received.at(i).at(0).toStringList(), expectedCommands.at(i));

        // The primary still serves well-behaved launches, long commands too.
        checkForwardReaches(primary, QStringList(200, QString(100, u'x')));
    }

    void forwardGivesUpOrWaitsForAStartingPrimary()
    {
        SingleInstance later(m_name);
        later.setForwardTimeoutMs(200);
        QSignalSpy finished(&later, &SingleInstance::forwardFinished);
        QTest::ignoreMessage(QtWarningMsg, "TackPad: the running instance did not answer");
        later.forward({QStringLiteral("new-note")});
        QVERIFY(finished.wait());
        QCOMPARE(finished.at(0).at(0).toBool(), false);

        // A failed forward leaves the object ready for the next one, which keeps trying while the primary starts: the
        // primary takes its lock and starts listening only after the later launch has tried a few times.
        SingleInstance primary(m_name);
        QSignalSpy received(&primary, &SingleInstance::commandReceived);
        later.setForwardTimeoutMs(SingleInstance::defaultForwardTimeoutMs);
        later.forward({QStringLiteral("reopen")});
        QTimer::singleShot(300, &primary, [&primary] { QVERIFY(primary.tryBecomePrimary()); });
        QTRY_COMPARE(finished.count(), 2);
        QCOMPARE(finished.at(1).at(0).toBool(), true);
        QCOMPARE(received.count(), 1);
        QCOMPARE(received.at(0).at(0).toStringList(), QStringList {QStringLiteral("reopen")});
    }

    // A primary that dies leaves its lock and its socket behind, exactly the situation the takeover is for.
    void crashedPrimaryIsTakenOver()
    {
        QProcess crashing;
        crashing.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        crashing.start(QStringLiteral(PLATFORM_PROBE), {m_name});
        QVERIFY(crashing.waitForFinished(10000));
        QCOMPARE(crashing.readAllStandardOutput().trimmed(), QByteArray("primary"));
        QCOMPARE(crashing.exitStatus(), QProcess::CrashExit);
        SingleInstance next(m_name);
        QVERIFY(QFileInfo::exists(next.lockFilePath()));
        QVERIFY(QFileInfo::exists(next.serverName()));
        QVERIFY(next.tryBecomePrimary());
        // The stale socket file was replaced by a live server.
        checkForwardReaches(next, {QStringLiteral("reopen")});
    }

private:
    // Forwards `command` from a later launch and checks that `primary` receives it.
    void checkForwardReaches(SingleInstance &primary, const QStringList &command)
    {
        SingleInstance later(m_name);
        QVERIFY(!later.tryBecomePrimary());
        QVERIFY(!later.isPrimary());
        QSignalSpy received(&primary, &SingleInstance::commandReceived);
        QSignalSpy finished(&later, &SingleInstance::forwardFinished);
        later.forward(command);
        QTRY_COMPARE(finished.count(), 1);
        QCOMPARE(finished.at(0).at(0).toBool(), true);
        QCOMPARE(received.count(), 1);
        QCOMPARE(received.at(0).at(0).toStringList(), command);
    }

    QString m_name;
};

QTEST_GUILESS_MAIN(TestSingleInstance)
#include "tst_singleinstance.moc"

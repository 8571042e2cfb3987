#include "platform/KGlobalAccelHotKey.h"
#include "support/XdoTool.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QFile>
#include <QGuiApplication>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <memory>

// The KDE backend against KDE's real shortcut daemon, started by the test on its private session bus with its
// configuration in a temporary folder. The daemon grabs keys on the X server of scripts/headless --x11.

namespace {

const QString daemonBinary = QStringLiteral("/usr/bin/kglobalaccel5");
// The daemon is a separate process that a loaded machine may keep waiting for seconds.
constexpr int daemonPatience = 30000;
const int ctrlAltBracket = (Qt::CTRL | Qt::ALT | Qt::Key_BracketLeft).toCombined();
// The daemon finds an action only by all four names: component and action, unique and friendly.
const QStringList ourAction {u"tackpad"_qs, u"new-note"_qs, u"Tackpad"_qs, u"Create a new note"_qs};
const QStringList otherAction {u"other"_qs, u"grab"_qs, u"other"_qs, u"grab"_qs};

// kglobalshortcutsrc with an action of `component`; its entries are "active keys,default keys,friendly name".
QString shortcutConfig(const QString &component, const QString &action, const QString &keys)
{
    return u"[%1]\n_k_friendly_name=%1\n%2=%3,Ctrl+Alt+[,%2\n"_qs.arg(component, action, keys);
}

QDBusMessage daemonCall(const QString &path, const QString &method, const QVariantList &arguments)
{
    const QString interface = path == u"/kglobalaccel"_qs ? u"org.kde.KGlobalAccel"_qs
                                                          : u"org.kde.kglobalaccel.Component"_qs;
    QDBusMessage call = QDBusMessage::createMethodCall(u"org.kde.kglobalaccel"_qs, path, interface, method);
    call.setArguments(arguments);
    return QDBusConnection::sessionBus().call(call);
}

// The action's first key sequence ("shortcutKeys") or default ("defaultShortcutKeys"), unused places (0) left out.
// The older calls that answer with key codes are not used: the daemon's defaultShortcut answers the active keys.
QList<int> daemonKeys(const QString &method, const QStringList &action)
{
    const auto answer = daemonCall(u"/kglobalaccel"_qs, method, {action}).arguments().value(0).value<QDBusArgument>();
    QList<int> first;
    answer.beginArray();
    while (!answer.atEnd()) {
        QList<int> sequence;
        answer.beginStructure();
        answer >> sequence;
        answer.endStructure();
        if (first.isEmpty())
            first = sequence;
    }
    answer.endArray();
    first.removeAll(0);
    return first;
}

} // namespace

class TestKGlobalAccel : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (!QFile::exists(daemonBinary))
            QSKIP("KDE's shortcut daemon is not installed (Debian package libkf5globalaccel-bin)");
        QVERIFY2(!KGlobalAccelHotKey::isOffered(QDBusConnection::sessionBus()), "a shortcut daemon is on this bus");
        qDBusRegisterMetaType<QList<int>>();
    }
    void cleanup() { stopDaemon(); }

    void registration_data()
    {
        QTest::addColumn<QString>("config"); // kglobalshortcutsrc as the daemon finds it
        QTest::addColumn<bool>("daemonGone");
        QTest::addColumn<bool>("registered");
        QTest::addColumn<QString>("assigned"); // what the daemon holds for our action; empty: nothing
        QTest::addColumn<QString>("described");
        QTest::newRow("nominal: a first registration gets Ctrl+Alt+[")
            << QString() << false << true << u"Ctrl+Alt+["_qs << u"Ctrl+Alt+[ creates"_qs;
        QTest::newRow("robustness: another component holds Ctrl+Alt+[") << shortcutConfig(u"other"_qs, u"grab"_qs,
            u"Ctrl+Alt+["_qs) << false << false << QString() << u"already uses"_qs;
        QTest::newRow("robustness: the user chose Meta+N in System Settings") << shortcutConfig(u"tackpad"_qs,
            u"new-note"_qs, u"Meta+N"_qs) << false << true << u"Meta+N"_qs << u"Meta+N creates"_qs;
        QTest::newRow("robustness: the user removed the key in System Settings")
            << shortcutConfig(u"tackpad"_qs, u"new-note"_qs, u"none"_qs) << false << true << QString() << u"No key"_qs;
        QTest::newRow("robustness: the daemon is gone")
            << QString() << true << false << QString() << u"did not set up"_qs;
    }

    void registration()
    {
        QFETCH(QString, config);
        QFETCH(bool, daemonGone);
        QFETCH(bool, registered);
        QFETCH(QString, assigned);
        QFETCH(QString, described);
        QVERIFY(startDaemon(config));
        if (daemonGone) {
            m_daemon->kill();
            QTRY_VERIFY(!KGlobalAccelHotKey::isOffered(QDBusConnection::sessionBus()));
        }
        if (!registered)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^TackPad: KDE's shortcut service did not"_qs));

        KGlobalAccelHotKey hotKey(QDBusConnection::sessionBus(), nullptr);
        QSignalSpy failed(&hotKey, &GlobalHotKey::registrationFailed);
        QSignalSpy changed(&hotKey, &GlobalHotKey::registeredChanged);
        hotKey.registerHotKey();
        QTRY_COMPARE_WITH_TIMEOUT(failed.count() + changed.count(), 1, daemonPatience);
        QCOMPARE(hotKey.isRegistered(), registered);
        QVERIFY2(hotKey.description().contains(described), qPrintable(hotKey.description()));
        if (daemonGone)
            return;
        // The daemon's own record: the user's key stands, and a failed attempt leaves no dead action behind.
        const QList<int> keys = daemonKeys(u"shortcutKeys"_qs, ourAction);
        QCOMPARE(keys.isEmpty() ? QString() : QKeySequence(QKeyCombination::fromCombined(keys.first())).toString(),
            assigned);
        if (!registered)
            QCOMPARE(daemonKeys(u"shortcutKeys"_qs, otherAction), QList<int> {ctrlAltBracket});
        else // what "Reset to default" in System Settings goes back to
            QCOMPARE(daemonKeys(u"defaultShortcutKeys"_qs, ourAction), QList<int> {ctrlAltBracket});
    }

    void pressesUntilSwitchedOff_data()
    {
        QTest::addColumn<bool>("quit");
        QTest::newRow("nominal: switching the option off removes the action") << false;
        QTest::newRow("nominal: quitting leaves the action filed but inactive") << true;
    }

    void pressesUntilSwitchedOff()
    {
        QFETCH(bool, quit);
        QVERIFY(startDaemon(QString()));
        auto hotKey = std::make_unique<KGlobalAccelHotKey>(QDBusConnection::sessionBus(), nullptr);
        hotKey->registerHotKey();
        QTRY_VERIFY_WITH_TIMEOUT(hotKey->isRegistered(), daemonPatience);
        const QString component = daemonCall(u"/kglobalaccel"_qs, u"getComponent"_qs, {u"tackpad"_qs})
                                      .arguments()
                                      .value(0)
                                      .value<QDBusObjectPath>()
                                      .path();
        QCOMPARE(component, u"/component/tackpad"_qs);

        // The key on the X server reaches the daemon's grab, and the daemon's own trigger does the same; each
        // press arrives exactly once.
        QSignalSpy presses(hotKey.get(), &GlobalHotKey::pressed);
        QVERIFY(pressKeys(u"ctrl+alt+bracketleft"_qs));
        QTRY_COMPARE_WITH_TIMEOUT(presses.count(), 1, daemonPatience);
        daemonCall(component, u"invokeShortcut"_qs, {u"new-note"_qs});
        QTRY_COMPARE_WITH_TIMEOUT(presses.count(), 2, daemonPatience);
        QCoreApplication::sendPostedEvents();
        QCOMPARE(presses.count(), 2);

        // The user gives the action another key in System Settings while the application runs.
        daemonCall(u"/kglobalaccel"_qs, u"setForeignShortcut"_qs,
            {ourAction, QVariant::fromValue(QList<int> {(Qt::META | Qt::Key_N).toCombined()})});
        QTRY_VERIFY2(hotKey->description().contains(u"Meta+N"_qs), qPrintable(hotKey->description()));

        if (quit) {
            hotKey.reset();
            QTRY_COMPARE(daemonCall(component, u"isActive"_qs, {}).arguments().value(0).toBool(), false);
            QCOMPARE(daemonKeys(u"shortcutKeys"_qs, ourAction), QList<int> {(Qt::META | Qt::Key_N).toCombined()});
            return;
        }
        hotKey->unregisterHotKey();
        QVERIFY(!hotKey->isRegistered());
        QCOMPARE(daemonCall(component, u"shortcutNames"_qs, {}).arguments().value(0).toStringList(), QStringList());
    }

private:
    bool startDaemon(const QString &config)
    {
        m_config = std::make_unique<QTemporaryDir>();
        if (!config.isEmpty()) {
            QFile file(m_config->filePath(u"kglobalshortcutsrc"_qs));
            if (!file.open(QIODevice::WriteOnly) || file.write(config.toUtf8()) <= 0 || !file.flush())
                return false;
        }
        m_daemon = std::make_unique<QProcess>();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_qs, m_config->path());
        // No crash handler: a crashed daemon would restart itself, outside the test's control.
        environment.insert(u"KDE_DEBUG"_qs, u"1"_qs);
        m_daemon->setProcessEnvironment(environment);
        m_daemon->start(daemonBinary, {});
        return QTest::qWaitFor([] { return KGlobalAccelHotKey::isOffered(QDBusConnection::sessionBus()); }, 20000);
    }

    void stopDaemon()
    {
        if (!m_daemon)
            return;
        m_daemon->terminate();
        m_daemon->waitForFinished(10000);
        QTRY_VERIFY(!KGlobalAccelHotKey::isOffered(QDBusConnection::sessionBus()));
        m_daemon.reset();
        m_config.reset();
    }

    std::unique_ptr<QTemporaryDir> m_config;
    std::unique_ptr<QProcess> m_daemon;
};

TACKPAD_X11_TEST_MAIN(TestKGlobalAccel, QGuiApplication)
#include "tst_kglobalaccel.moc"

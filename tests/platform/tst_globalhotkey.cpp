#include "FakePortal.h"

#include "platform/GlobalHotKey.h"
#include "platform/PortalGlobalHotKey.h"
#include "platform/UnavailableGlobalHotKey.h"
#include "platform/X11GlobalHotKey.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <memory>

// The choice of backend, and the portal backend against a portal on the test's private session bus. The X11
// backend has its own test under a real X server.
class TestGlobalHotKey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();

    void platformsWithoutGlobalShortcuts_data();
    void platformsWithoutGlobalShortcuts();
    void createFollowsTheRunningPlatform();

    void portalIsChosenOnlyWhenOffered();
    void portalBindsTheShortcut_data();
    void portalBindsTheShortcut();
    void portalActivations_data();
    void portalActivations();
    void portalFailuresLeaveTheShortcutOff_data();
    void portalFailuresLeaveTheShortcutOff();
    void portalWithoutService();
    void portalUnregisterEndsTheSession();
    void portalSessionClosedByTheDesktop();

private:
    std::unique_ptr<PortalGlobalHotKey> startBoundPortalHotKey();
    // Sends `before` activations, then one of ours, and returns how many presses came of it all.
    int pressesFrom(QSignalSpy &presses, const std::function<void()> &before, const QString &session);

    std::unique_ptr<FakePortalService> m_portal;
};

namespace {
const QString failureLog = QStringLiteral("^TackPad: the desktop portal did not set up the global shortcut: ");
} // namespace

void TestGlobalHotKey::initTestCase()
{
    QVERIFY2(QDBusConnection::sessionBus().isConnected(), "needs a session bus (run under scripts/headless)");
    QVERIFY2(!QDBusConnection::sessionBus().interface()->isServiceRegistered(
                 QStringLiteral("org.freedesktop.portal.Desktop")),
        "a real desktop portal is on this bus");
}

void TestGlobalHotKey::cleanup()
{
    m_portal.reset();
}

std::unique_ptr<PortalGlobalHotKey> TestGlobalHotKey::startBoundPortalHotKey()
{
    auto hotKey = std::make_unique<PortalGlobalHotKey>(QDBusConnection::sessionBus(), nullptr);
    QSignalSpy changed(hotKey.get(), &GlobalHotKey::registeredChanged);
    hotKey->registerHotKey();
    // Asking again while the portal is still answering must not start a second session.
    hotKey->registerHotKey();
    if (!changed.wait() || !hotKey->isRegistered())
        return nullptr;
    hotKey->registerHotKey();
    return hotKey;
}

int TestGlobalHotKey::pressesFrom(QSignalSpy &presses, const std::function<void()> &before, const QString &session)
{
    // Signals of one sender arrive in order: once the press of our own activation is in, everything sent before it
    // has been handled too, and any press it caused is queued before ours.
    const int start = presses.count();
    before();
    m_portal->portal().activate(session, QStringLiteral("new-note"));
    if (!QTest::qWaitFor([&] { return presses.count() > start; }, 5000))
        return -1;
    QCoreApplication::sendPostedEvents();
    return int(presses.count() - start - 1);
}

void TestGlobalHotKey::platformsWithoutGlobalShortcuts_data()
{
    QTest::addColumn<QString>("platform");
    QTest::addColumn<QString>("reason");
    QTest::newRow("nominal: offscreen") << QStringLiteral("offscreen") << QStringLiteral("not available");
    QTest::newRow("nominal: wayland without the portal") << QStringLiteral("wayland") << QStringLiteral("Wayland");
    QTest::newRow("robustness: xcb without an X connection") << QStringLiteral("xcb") << QStringLiteral("X server");
    QTest::newRow("robustness: unknown platform") << QStringLiteral("") << QStringLiteral("not available");
}

void TestGlobalHotKey::platformsWithoutGlobalShortcuts()
{
    QFETCH(QString, platform);
    QFETCH(QString, reason);
    const std::unique_ptr<GlobalHotKey> hotKey = GlobalHotKey::createFor(platform);
    QVERIFY(hotKey);
    QVERIFY(!hotKey->isAvailable());
    QSignalSpy changed(hotKey.get(), &GlobalHotKey::registeredChanged);
    hotKey->registerHotKey();
    hotKey->registerHotKey();
    QVERIFY(!hotKey->isRegistered());
    hotKey->unregisterHotKey();
    QCOMPARE(changed.count(), 0);
    // The settings dialog shows why, and what works instead.
    QVERIFY2(hotKey->description().contains(reason), qPrintable(hotKey->description()));
    QVERIFY2(hotKey->description().contains(QStringLiteral("“tackpad --new-note”")), qPrintable(hotKey->description()));
}

void TestGlobalHotKey::createFollowsTheRunningPlatform()
{
    QCOMPARE(QGuiApplication::platformName(), QStringLiteral("offscreen"));
    const std::unique_ptr<GlobalHotKey> hotKey = GlobalHotKey::create();
    QVERIFY(dynamic_cast<UnavailableGlobalHotKey *>(hotKey.get()));
    QCOMPARE(GlobalHotKey::keyText(), QStringLiteral("Ctrl+Alt+["));
}

void TestGlobalHotKey::portalIsChosenOnlyWhenOffered()
{
    QVERIFY(!PortalGlobalHotKey::isOffered(QDBusConnection::sessionBus()));
    QVERIFY(dynamic_cast<UnavailableGlobalHotKey *>(GlobalHotKey::createFor(QStringLiteral("wayland")).get()));

    m_portal = std::make_unique<FakePortalService>();
    QVERIFY(m_portal->isRunning());
    QVERIFY(PortalGlobalHotKey::isOffered(QDBusConnection::sessionBus()));
    const std::unique_ptr<GlobalHotKey> hotKey = GlobalHotKey::createFor(QStringLiteral("wayland"));
    QVERIFY(dynamic_cast<PortalGlobalHotKey *>(hotKey.get()));
    QVERIFY(hotKey->isAvailable());
    QVERIFY(!hotKey->isRegistered());
}

void TestGlobalHotKey::portalBindsTheShortcut_data()
{
    QTest::addColumn<bool>("responseBeforeReply");
    QTest::newRow("nominal: reply, then response") << false;
    QTest::newRow("robustness: the response overtakes the reply") << true;
}

void TestGlobalHotKey::portalBindsTheShortcut()
{
    QFETCH(bool, responseBeforeReply);
    m_portal = std::make_unique<FakePortalService>();
    FakePortal::Behaviour behaviour;
    behaviour.responseBeforeReply = responseBeforeReply;
    m_portal->portal().setBehaviour(behaviour);
    const std::unique_ptr<PortalGlobalHotKey> hotKey = startBoundPortalHotKey();
    QVERIFY(hotKey);

    const FakePortal::Record record = m_portal->portal().record();
    QCOMPARE(record.sessions.size(), 1);
    QCOMPARE(record.calls.count(QStringLiteral("org.freedesktop.portal.GlobalShortcuts.BindShortcuts")), 1);
    // Tokens become parts of object paths.
    const QRegularExpression token(QStringLiteral("^[A-Za-z0-9_]+$"));
    QVERIFY(token.match(record.createOptions.value(QStringLiteral("handle_token")).toString()).hasMatch());
    QVERIFY(token.match(record.createOptions.value(QStringLiteral("session_handle_token")).toString()).hasMatch());
    QCOMPARE(record.bindSession, record.sessions.first());
    QCOMPARE(record.bindParentWindow, QString());
    QCOMPARE(record.boundShortcuts.size(), 1);
    QCOMPARE(record.boundShortcuts.first().id, QStringLiteral("new-note"));
    QCOMPARE(record.boundShortcuts.first().properties,
        (QVariantMap {{QStringLiteral("description"), QStringLiteral("Create a new note")},
            {QStringLiteral("preferred_trigger"), QStringLiteral("CTRL+ALT+bracketleft")}}));
    // The desktop's (the user's) choice of key is what the settings dialog names.
    QVERIFY2(hotKey->description().contains(QStringLiteral("Super+N")), qPrintable(hotKey->description()));
}

void TestGlobalHotKey::portalActivations_data()
{
    QTest::addColumn<QString>("shortcutId");
    QTest::addColumn<bool>("ourSession");
    QTest::addColumn<int>("expectedPresses");
    QTest::newRow("nominal: our shortcut") << QStringLiteral("new-note") << true << 1;
    QTest::newRow("robustness: another shortcut id") << QStringLiteral("other") << true << 0;
    QTest::newRow("robustness: another session") << QStringLiteral("new-note") << false << 0;
}

void TestGlobalHotKey::portalActivations()
{
    QFETCH(QString, shortcutId);
    QFETCH(bool, ourSession);
    QFETCH(int, expectedPresses);
    m_portal = std::make_unique<FakePortalService>();
    const std::unique_ptr<PortalGlobalHotKey> hotKey = startBoundPortalHotKey();
    QVERIFY(hotKey);
    const QString session = m_portal->portal().record().sessions.first();
    QSignalSpy presses(hotKey.get(), &GlobalHotKey::pressed);

    const QString activatedSession = ourSession ? session : session + QStringLiteral("_other");
    const int count = pressesFrom(
        presses, [&] { m_portal->portal().activate(activatedSession, shortcutId); }, session);
    QCOMPARE(count, expectedPresses);
}

void TestGlobalHotKey::portalFailuresLeaveTheShortcutOff_data()
{
    QTest::addColumn<uint>("createResponse");
    QTest::addColumn<uint>("bindResponse");
    QTest::addColumn<bool>("bindListsShortcut");
    QTest::addColumn<bool>("sessionClosed");
    QTest::newRow("robustness: the user cancels") << 1u << 0u << true << false;
    QTest::newRow("robustness: the portal cannot create a session") << 2u << 0u << true << false;
    QTest::newRow("robustness: the portal cannot bind") << 0u << 2u << true << true;
    QTest::newRow("robustness: the desktop binds nothing") << 0u << 0u << false << true;
}

void TestGlobalHotKey::portalFailuresLeaveTheShortcutOff()
{
    QFETCH(uint, createResponse);
    QFETCH(uint, bindResponse);
    QFETCH(bool, bindListsShortcut);
    QFETCH(bool, sessionClosed);
    m_portal = std::make_unique<FakePortalService>();
    FakePortal::Behaviour behaviour;
    behaviour.createResponse = createResponse;
    behaviour.bindResponse = bindResponse;
    behaviour.bindListsShortcut = bindListsShortcut;
    m_portal->portal().setBehaviour(behaviour);

    PortalGlobalHotKey hotKey(QDBusConnection::sessionBus(), nullptr);
    QSignalSpy changed(&hotKey, &GlobalHotKey::registeredChanged);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(failureLog));
    hotKey.registerHotKey();
    QTRY_VERIFY2(hotKey.description().contains(QStringLiteral("did not set up")), qPrintable(hotKey.description()));
    QVERIFY(!hotKey.isRegistered());
    QCOMPARE(changed.count(), 0);
    // A session that was created is not left behind.
    if (sessionClosed)
        QTRY_COMPARE(m_portal->portal().record().closedSessions, m_portal->portal().record().sessions);
    else
        QCOMPARE(m_portal->portal().record().closedSessions, QStringList());

    // A later attempt starts afresh and can succeed.
    m_portal->portal().setBehaviour({});
    hotKey.registerHotKey();
    QTRY_VERIFY(hotKey.isRegistered());
}

void TestGlobalHotKey::portalWithoutService()
{
    PortalGlobalHotKey hotKey(QDBusConnection::sessionBus(), nullptr);
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(failureLog + QStringLiteral("CreateSession failed")));
    hotKey.registerHotKey();
    QTRY_VERIFY(hotKey.description().contains(QStringLiteral("did not set up")));
    QVERIFY(!hotKey.isRegistered());
}

void TestGlobalHotKey::portalUnregisterEndsTheSession()
{
    m_portal = std::make_unique<FakePortalService>();
    const std::unique_ptr<PortalGlobalHotKey> hotKey = startBoundPortalHotKey();
    QVERIFY(hotKey);
    const QString firstSession = m_portal->portal().record().sessions.first();

    hotKey->unregisterHotKey();
    QVERIFY(!hotKey->isRegistered());
    QTRY_COMPARE(m_portal->portal().record().closedSessions, QStringList {firstSession});

    QSignalSpy changed(hotKey.get(), &GlobalHotKey::registeredChanged);
    hotKey->registerHotKey();
    QVERIFY(changed.wait());
    QVERIFY(hotKey->isRegistered());
    const QStringList sessions = m_portal->portal().record().sessions;
    QCOMPARE(sessions.size(), 2);
    QVERIFY(sessions.at(1) != firstSession);

    // The old session's key is dead; the new one presses exactly once per activation.
    QSignalSpy presses(hotKey.get(), &GlobalHotKey::pressed);
    const int extra = pressesFrom(
        presses, [&] { m_portal->portal().activate(firstSession, QStringLiteral("new-note")); }, sessions.at(1));
    QCOMPARE(extra, 0);
}

void TestGlobalHotKey::portalSessionClosedByTheDesktop()
{
    m_portal = std::make_unique<FakePortalService>();
    const std::unique_ptr<PortalGlobalHotKey> hotKey = startBoundPortalHotKey();
    QVERIFY(hotKey);
    QSignalSpy changed(hotKey.get(), &GlobalHotKey::registeredChanged);
    m_portal->portal().closeSessionFromDesktop(m_portal->portal().record().sessions.first());
    QVERIFY(changed.wait());
    QCOMPARE(changed.first().first().toBool(), false);
    QVERIFY(!hotKey->isRegistered());

    // Switching the shortcut on again works.
    hotKey->registerHotKey();
    QTRY_VERIFY(hotKey->isRegistered());
}

QTEST_MAIN(TestGlobalHotKey)
#include "tst_globalhotkey.moc"

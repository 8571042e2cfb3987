#include "FakePortal.h"

#include "platform/FallbackGlobalHotKey.h"
#include "platform/GlobalHotKey.h"
#include "platform/PortalGlobalHotKey.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTest>

#include <memory>

// A mechanism that registers or fails at once, as told; its description is its place in the chain.
class ScriptedHotKey : public GlobalHotKey {
public:
    ScriptedHotKey(int place, bool works, QObject *parent)
        : GlobalHotKey(parent)
        , m_place(place)
        , m_works(works)
    {
    }
    void registerHotKey() override { m_works ? setRegistered(true) : reportFailure(); }
    void unregisterHotKey() override { setRegistered(false); }
    bool isAvailable() const override { return true; }
    QString description() const override { return QString::number(m_place); }
    void press() { notifyPressed(); }

private:
    int m_place;
    bool m_works;
};

// The choice of backend, and the portal backend against a portal on the test's private session bus. The X11
// backend is pressed under a real X server by the end-to-end test.
class TestGlobalHotKey : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QDBusConnection::sessionBus().isConnected(), "needs a session bus (run under scripts/headless)");
        QVERIFY2(!QDBusConnection::sessionBus().interface()->isServiceRegistered(
                     QStringLiteral("org.freedesktop.portal.Desktop")),
            "a real desktop portal is on this bus");
    }
    void cleanup() { m_portal.reset(); }

    void backendFollowsThePlatformAndTheSession_data()
    {
        QTest::addColumn<QString>("platform");
        QTest::addColumn<QString>("sessionType");
        QTest::addColumn<bool>("portal");
        QTest::addColumn<QString>("reason"); // why there is no shortcut; empty: the portal binds it
        QTest::newRow("nominal: offscreen") << u"offscreen"_qs << QString() << false << u"not available"_qs;
        QTest::newRow("nominal: wayland without any mechanism")
            << u"wayland"_qs << u"wayland"_qs << false << u"Wayland"_qs;
        QTest::newRow("robustness: xcb without an X connection") << u"xcb"_qs << QString() << false << u"X server"_qs;
        QTest::newRow("robustness: xcb under wayland, no portal, no X connection")
            << u"xcb"_qs << u"wayland"_qs << false << u"X server"_qs;
        QTest::newRow("nominal: wayland with the portal") << u"wayland"_qs << u"wayland"_qs << true << QString();
        QTest::newRow("nominal: xcb under wayland prefers the portal")
            << u"xcb"_qs << u"wayland"_qs << true << QString();
    }

    void backendFollowsThePlatformAndTheSession()
    {
        QFETCH(QString, platform);
        QFETCH(QString, sessionType);
        QFETCH(bool, portal);
        QFETCH(QString, reason);
        qputenv("XDG_SESSION_TYPE", sessionType.toUtf8());
        const auto restore = qScopeGuard([] { qunsetenv("XDG_SESSION_TYPE"); });
        if (portal)
            m_portal = std::make_unique<FakePortalService>();
        const std::unique_ptr<GlobalHotKey> hotKey
            = platform == QLatin1String("offscreen") ? GlobalHotKey::create() : GlobalHotKey::createFor(platform);
        QSignalSpy failed(hotKey.get(), &GlobalHotKey::registrationFailed);
        hotKey->registerHotKey();
        if (portal) {
            QTRY_VERIFY(hotKey->isRegistered());
            auto *chain = dynamic_cast<FallbackGlobalHotKey *>(hotKey.get());
            QVERIFY(chain && dynamic_cast<PortalGlobalHotKey *>(chain->current()));
            return;
        }
        QTRY_COMPARE(failed.count(), 1);
        QVERIFY(!hotKey->isRegistered());
        // The settings dialog shows why, and what works instead.
        QVERIFY2(hotKey->description().contains(reason), qPrintable(hotKey->description()));
        QVERIFY2(hotKey->description().contains(u"“tackpad --new-note”"_qs), qPrintable(hotKey->description()));
    }

    void fallbackTriesTheMechanismsInOrder_data()
    {
        QTest::addColumn<QList<int>>("outcomes"); // per candidate: 0 not offered, 1 registers, 2 fails
        QTest::addColumn<int>("chosen"); // the candidate in use afterwards
        QTest::addColumn<bool>("registered");
        QTest::newRow("nominal: the first registers") << QList<int> {1, 1} << 0 << true;
        QTest::newRow("nominal: a refusal hands over to the next") << QList<int> {2, 1} << 1 << true;
        QTest::newRow("nominal: what is not offered is never made") << QList<int> {0, 1} << 1 << true;
        QTest::newRow("robustness: all fail, the last tried explains") << QList<int> {2, 0, 2, 0} << 2 << false;
    }

    void fallbackTriesTheMechanismsInOrder()
    {
        QFETCH(QList<int>, outcomes);
        QFETCH(int, chosen);
        QFETCH(bool, registered);
        std::vector<FallbackGlobalHotKey::Candidate> candidates;
        QList<int> made(outcomes.size(), 0);
        for (qsizetype i = 0; i < outcomes.size(); ++i) {
            candidates.push_back({[&outcomes, i] { return outcomes[i] != 0; },
                [&made, &outcomes, i](QObject *parent) -> std::unique_ptr<GlobalHotKey> {
                    ++made[i];
                    return std::make_unique<ScriptedHotKey>(int(i), outcomes[i] == 1, parent);
                }});
        }
        FallbackGlobalHotKey chain(std::move(candidates), u"none"_qs, nullptr);
        QSignalSpy failed(&chain, &GlobalHotKey::registrationFailed);
        chain.registerHotKey();
        QTRY_COMPARE(chain.isRegistered() || failed.count() > 0, true);
        QCOMPARE(chain.isRegistered(), registered);
        QCOMPARE(failed.count(), registered ? 0 : 1);
        QCOMPARE(chain.description(), QString::number(chosen));
        for (qsizetype i = 0; i < outcomes.size(); ++i)
            QCOMPARE(made[i], outcomes[i] == 0 || i > chosen ? 0 : 1);
        if (!registered)
            return;
        QSignalSpy pressed(&chain, &GlobalHotKey::pressed);
        static_cast<ScriptedHotKey *>(chain.current())->press();
        QVERIFY(pressed.wait());
        // Switched off and on again: the preferred mechanism gets its chance again, and the one in use is asked
        // again rather than made anew (it keeps what it knows, such as the user's consent).
        GlobalHotKey *before = chain.current();
        chain.unregisterHotKey();
        QVERIFY(!chain.isRegistered());
        chain.registerHotKey();
        QTRY_VERIFY(chain.isRegistered());
        QCOMPARE(made[0], outcomes[0] == 0 ? 0 : chosen == 0 ? 1 : 2);
        if (chosen == 0)
            QCOMPARE(chain.current(), before);
    }

    void portalBindsTheShortcut_data()
    {
        QTest::addColumn<bool>("responseBeforeReply");
        QTest::newRow("nominal: reply, then response") << false;
        QTest::newRow("robustness: the response overtakes the reply") << true;
    }

    void portalBindsTheShortcut()
    {
        QFETCH(bool, responseBeforeReply);
        FakePortal::Behaviour behaviour;
        behaviour.responseBeforeReply = responseBeforeReply;
        const std::unique_ptr<PortalGlobalHotKey> hotKey = startBoundPortalHotKey(behaviour);
        QVERIFY(hotKey);

        const FakePortal::Record record = m_portal->portal().record();
        QCOMPARE(record.sessions.size(), 1);
        QCOMPARE(record.binds, 1);
        QCOMPARE(record.bindSession, record.sessions.first());
        // The desktop's (the user's) choice of key is what the settings dialog names.
        QVERIFY2(hotKey->description().contains(u"Super+N"_qs), qPrintable(hotKey->description()));

        // Only our shortcut of our session presses the key.
        const QString session = record.sessions.first();
        QSignalSpy presses(hotKey.get(), &GlobalHotKey::pressed);
        QCOMPARE(pressesFrom(
                     presses, [&] { m_portal->portal().activate(session, u"new-note"_qs); }, session),
            1);
        QCOMPARE(pressesFrom(
                     presses, [&] { m_portal->portal().activate(session, u"other"_qs); }, session),
            0);
        QCOMPARE(pressesFrom(
                     presses, [&] { m_portal->portal().activate(session + u"_other"_qs, u"new-note"_qs); }, session),
            0);
    }

    void portalFailuresLeaveTheShortcutOff_data()
    {
        QTest::addColumn<bool>("portalRunning");
        QTest::addColumn<uint>("createResponse");
        QTest::addColumn<uint>("bindResponse");
        QTest::addColumn<bool>("bindListsShortcut");
        QTest::addColumn<bool>("sessionClosed");
        QTest::addColumn<QString>("logDetail");
        QTest::newRow("robustness: no portal on the bus")
            << false << 0u << 0u << true << false << "CreateSession failed";
        QTest::newRow("robustness: the portal cannot create a session") << true << 2u << 0u << true << false << "";
        QTest::newRow("robustness: the portal cannot bind") << true << 0u << 2u << true << true << "";
        QTest::newRow("robustness: the desktop binds nothing") << true << 0u << 0u << false << true << "";
    }

    void portalFailuresLeaveTheShortcutOff()
    {
        QFETCH(bool, portalRunning);
        QFETCH(uint, createResponse);
        QFETCH(uint, bindResponse);
        QFETCH(bool, bindListsShortcut);
        QFETCH(bool, sessionClosed);
        QFETCH(QString, logDetail);
        if (portalRunning) {
            m_portal = std::make_unique<FakePortalService>();
            m_portal->portal().setBehaviour({createResponse, bindResponse, bindListsShortcut});
        }

        PortalGlobalHotKey hotKey(QDBusConnection::sessionBus(), nullptr);
        QSignalSpy changed(&hotKey, &GlobalHotKey::registeredChanged);
        QTest::ignoreMessage(QtWarningMsg,
            QRegularExpression(
                QStringLiteral("^TackPad: the desktop portal did not set up the global shortcut: ") + logDetail));
        hotKey.registerHotKey();
        QTRY_VERIFY2(hotKey.description().contains(QStringLiteral("did not set up")), qPrintable(hotKey.description()));
        QVERIFY(!hotKey.isRegistered());
        QCOMPARE(changed.count(), 0);
        if (portalRunning) {
            // A session that was created is not left behind.
            const FakePortal::Record record = m_portal->portal().record();
            QTRY_COMPARE(m_portal->portal().record().closedSessions, sessionClosed ? record.sessions : QStringList());
            m_portal->portal().setBehaviour({});
        } else {
            m_portal = std::make_unique<FakePortalService>();
        }
        // A later attempt starts afresh and can succeed.
        hotKey.registerHotKey();
        QTRY_VERIFY(hotKey.isRegistered());
    }

    void portalSessionEnds_data()
    {
        QTest::addColumn<bool>("byTheDesktop");
        QTest::newRow("nominal: the user switches the shortcut off") << false;
        QTest::newRow("robustness: the desktop closes the session") << true;
    }

    void portalSessionEnds()
    {
        QFETCH(bool, byTheDesktop);
        const std::unique_ptr<PortalGlobalHotKey> hotKey = startBoundPortalHotKey();
        QVERIFY(hotKey);
        const QString firstSession = m_portal->portal().record().sessions.first();
        QSignalSpy changed(hotKey.get(), &GlobalHotKey::registeredChanged);
        if (byTheDesktop) {
            m_portal->portal().closeSessionFromDesktop(firstSession);
            QVERIFY(changed.wait());
        } else {
            hotKey->unregisterHotKey();
            QTRY_COMPARE(m_portal->portal().record().closedSessions, QStringList {firstSession});
        }
        QCOMPARE(changed.count(), 1);
        QCOMPARE(changed.first().first().toBool(), false);
        QVERIFY(!hotKey->isRegistered());

        // Switching the shortcut on again opens a new session.
        hotKey->registerHotKey();
        QTRY_VERIFY(hotKey->isRegistered());
        QCOMPARE(m_portal->portal().record().sessions.size(), 2);
    }

private:
    std::unique_ptr<PortalGlobalHotKey> startBoundPortalHotKey(const FakePortal::Behaviour &behaviour = {})
    {
        m_portal = std::make_unique<FakePortalService>();
        m_portal->portal().setBehaviour(behaviour);
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
    // Sends `before` activations, then one of ours, and returns how many presses came of it all.
    int pressesFrom(QSignalSpy &presses, const std::function<void()> &before, const QString &session)
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

    std::unique_ptr<FakePortalService> m_portal;
};

QTEST_MAIN(TestGlobalHotKey)
#include "tst_globalhotkey.moc"

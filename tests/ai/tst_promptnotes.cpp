#include "support/FakeAnthropic.h"
#include "support/WindowTestSupport.h"

#include "editor/MarkdownTextView.h"
#include "notes/Frontmatter.h"
#include "windows/Toast.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QUuid>

namespace {

// What the toast on screen says; a closed one is deleted only later.
QString toastText()
{
    return Toast::current() && Toast::current()->isVisible() ? Toast::current()->text() : QString();
}

QString bodyOf(const QString &fileText)
{
    return Frontmatter::parse(fileText).body;
}

const QString meetingFile = u"---\ntitle: Weekly\ntackpad: \"x10 y20 w300 h200 z1 #FBF4A6 s12\"\n---\n"_qs;

} // namespace

// Prompt notes in their windows, against a fake AI service on 127.0.0.1 and the keyring of scripts/headless.
class TestPromptNotes : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected() || !bus.interface()->isServiceRegistered(u"org.freedesktop.secrets"_qs))
            QSKIP("needs the Secret Service of scripts/headless");
        QStandardPaths::setTestModeEnabled(true);
        QDir().mkpath(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation));
        m_keys
            = std::make_unique<KeyStore>(u"app.tackpad.Tackpad.test-"_qs + QUuid::createUuid().toString(QUuid::Id128));
    }

    void cleanupTestCase()
    {
        if (m_keys)
            PromptTest::setKey(*m_keys, QString());
    }

    void init()
    {
        if (Toast::current())
            Toast::current()->close();
        QDir(PromptTest::trash()).removeRecursively();
        m_fake = std::make_unique<FakeAnthropic>();
        m_client = std::make_unique<AIClient>();
        NoteWindowEnvironment environment;
        environment.aiClient = m_client.get();
        environment.keyStore = m_keys.get();
        m_workspace = std::make_unique<WindowTest::WindowedWorkspace>(environment);
        PromptTest::setKey(*m_keys, u"sk-test-key"_qs);
        open(u"Summarise.md"_qs, u"---\ntackpad: \"prompt\"\n---\n\n  Summarise as bullets.  \n"_qs);
        m_note = open(u"Meeting.md"_qs, meetingFile + u"- old item\n"_qs);
    }

    void cleanup()
    {
        m_workspace.reset();
        m_client.reset();
        m_fake.reset();
    }

    void appliesTheReplyAsOneUndoableEdit()
    {
        // A blank note is sent as a sentence saying so; the model comes from the settings, trimmed.
        const QString body = u" \n\n"_qs;
        m_workspace->store->settings().setValue(SettingsKey::aiModel, u"  claude-custom\t"_qs);
        m_note = open(u"Meeting.md"_qs, meetingFile + body);

        m_fake->hold();
        m_note->applyPrompt(u"Summarise.md"_qs);
        QTRY_COMPARE(m_fake->requests().size(), 1);
        QVERIFY(m_note->aiRequestInFlight());
        QCOMPARE(toastText(), u"Thinking…"_qs);
        const QJsonObject sent = m_fake->requests().first().json();
        QCOMPARE(sent[u"system"_qs].toString(), u"Summarise as bullets."_qs);
        QCOMPARE(sent[u"messages"_qs][0][u"content"_qs].toString(), u"(The note is currently empty.)"_qs);
        QCOMPARE(sent[u"model"_qs].toString(), u"claude-custom"_qs);

        // The file as it stands when the reply comes (showing a window raises it, which is saved too).
        m_workspace->store->flushAllSaves();
        const QString before = readFile(path(u"Meeting.md"_qs));
        m_fake->enqueue({FakeAnthropic::text(u"- new item"_qs)});
        m_fake->release();
        QTRY_VERIFY(!m_note->aiRequestInFlight());
        QCOMPARE(m_note->textView()->markdown(), u"- new item"_qs);
        QCOMPARE(toastText(), u"“Summarise” applied – press Ctrl+Z to undo"_qs);
        QCOMPARE(readFile(PromptTest::trashed(u"Meeting (before AI).md"_qs)), before);
        m_workspace->store->flushAllSaves();
        QCOMPARE(readFile(path(u"Meeting.md"_qs)), before.left(before.indexOf(u"---\n"_qs, 4) + 4) + u"- new item"_qs);

        m_note->textView()->undo();
        QCOMPARE(m_note->textView()->markdown(), body);
        QCOMPARE(m_note->note().body, body);
    }

    void failuresLeaveTheNoteAlone_data()
    {
        QTest::addColumn<QString>("promptFile");
        QTest::addColumn<QString>("promptBody");
        QTest::addColumn<Responses>("responses");
        QTest::addColumn<QString>("toast");
        QTest::addColumn<int>("requests");
        const QString prompt = u"Summarise."_qs;
        QTest::newRow("prompt note not found: a beep") << u"Gone.md"_qs << prompt << Responses {} << QString() << 0;
        QTest::newRow("a note is not its own prompt") << u"Meeting.md"_qs << prompt << Responses {} << QString() << 0;
        QTest::newRow("a prompt of blank lines")
            << u"Summarise.md"_qs << u"\n \n\t\n"_qs << Responses {} << u"The prompt note “Summarise” is empty"_qs << 0;
        QTest::newRow("the request fails")
            << u"Summarise.md"_qs << prompt << Responses {FakeAnthropic::error(400, u"bad request"_qs)}
            << u"AI request failed: bad request"_qs << 1;
    }

    void failuresLeaveTheNoteAlone()
    {
        QFETCH(QString, promptFile);
        QFETCH(QString, promptBody);
        QFETCH(Responses, responses);
        QFETCH(QString, toast);
        QFETCH(int, requests);
        open(u"Summarise.md"_qs, u"---\ntackpad: \"prompt\"\n---\n"_qs + promptBody);
        m_fake->enqueue(responses);

        m_note->applyPrompt(promptFile);
        if (!toast.isEmpty())
            QTRY_COMPARE(toastText(), toast);
        QTRY_VERIFY(!m_note->aiRequestInFlight());
        QCOMPARE(toastText(), toast);
        QCOMPARE(m_fake->requests().size(), requests);
        QCOMPARE(m_note->note().body, u"- old item\n"_qs);
        m_workspace->store->flushAllSaves();
        QCOMPARE(bodyOf(readFile(path(u"Meeting.md"_qs))), u"- old item\n"_qs);
        QVERIFY(QDir(PromptTest::trashed()).isEmpty());
    }

    void aBackupThatFailsIsLoggedAndTheReplyStillApplies()
    {
        // A file where the backup's folder would go: the backup cannot be written.
        const QString cache = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
        QDir(cache).removeRecursively();
        QDir().mkpath(QFileInfo(cache).path());
        writeFile(cache, u"in the way"_qs);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^TackPad: pre-AI backup failed: "_qs));
        m_fake->enqueue({FakeAnthropic::text(u"reply"_qs)});
        m_note->applyPrompt(u"Summarise.md"_qs);
        QTRY_COMPARE(m_note->note().body, u"reply"_qs);
        QFile::remove(cache);
    }

    // Escape in the note cancels, as the menu's Cancel AI Request does.
    void oneRequestAtATimeUntilCancelled()
    {
        m_fake->hold();
        m_note->applyPrompt(u"Summarise.md"_qs);
        QTRY_COMPARE(m_fake->requests().size(), 1);
        m_note->applyPrompt(u"Summarise.md"_qs);
        m_note->runPrompt(u"Another prompt"_qs, u"Other"_qs);

        QMenu busy;
        m_note->populateContextMenu(&busy);
        QVERIFY(!findAction(&busy, u"Summarise"_qs)->isEnabled());
        QVERIFY(findAction(&busy, u"Cancel AI Request"_qs));
        QSignalSpy finished(m_note, &NoteWindowController::aiRequestFinished);
        m_note->showWindow(true);
        QVERIFY(QTest::qWaitForWindowActive(m_note->window()));
        QTest::keyClick(m_note->textView(), Qt::Key_Escape);
        QCOMPARE(finished.size(), 1);
        QCOMPARE(finished[0][0].value<NoteWindowController::PromptOutcome>(),
            NoteWindowController::PromptOutcome::Cancelled);
        QVERIFY(!m_note->aiRequestInFlight());
        QCOMPARE(toastText(), QString()); // "Thinking…" goes, and no error comes
        m_fake->enqueue({FakeAnthropic::text(u"too late"_qs)});
        m_fake->release();
        QCOMPARE(m_fake->requests().size(), 1);

        QMenu idle;
        m_note->populateContextMenu(&idle);
        QVERIFY(findAction(&idle, u"Summarise"_qs)->isEnabled());
        QVERIFY(!findAction(&idle, u"Cancel AI Request"_qs));
        QCOMPARE(m_note->note().body, u"- old item\n"_qs);
    }

    void closingTheNoteDropsTheReply()
    {
        m_fake->hold();
        m_note->applyPrompt(u"Summarise.md"_qs);
        QTRY_COMPARE(m_fake->requests().size(), 1);
        m_workspace->store->flushAllSaves();
        const QString before = readFile(path(u"Meeting.md"_qs));
        QSignalSpy finished(m_note, &NoteWindowController::aiRequestFinished);
        m_workspace->store->shutdown(); // what switching workspaces or quitting does to every note
        QCOMPARE(finished.size(), 1);
        m_fake->enqueue({FakeAnthropic::text(u"too late"_qs)});
        m_fake->release();
        QCOMPARE(readFile(path(u"Meeting.md"_qs)), before);
        QVERIFY(QDir(PromptTest::trashed()).isEmpty());
    }

    void anOutsideChangeReachesTheBackupAndUndo()
    {
        m_fake->hold();
        m_note->applyPrompt(u"Summarise.md"_qs);
        QTRY_COMPARE(m_fake->requests().size(), 1);
        // Another editor (or a sync tool) changes the file while the service thinks; the watcher has not yet seen
        // it. (A change that meets unsaved edits of the window is the store's own rule to settle.)
        m_workspace->store->flushAllSaves();
        const QString outside = meetingFile + u"- old item\n- added elsewhere\n"_qs;
        writeFile(path(u"Meeting.md"_qs), outside);
        m_fake->enqueue({FakeAnthropic::text(u"summary"_qs)});
        m_fake->release();
        QTRY_COMPARE(m_note->note().body, u"summary"_qs);
        QCOMPARE(readFile(PromptTest::trashed(u"Meeting (before AI).md"_qs)), outside);
        m_note->textView()->undo();
        QCOMPARE(m_note->note().body, u"- old item\n- added elsewhere\n"_qs);
    }

private:
    NoteWindowController *open(const QString &name, const QString &text)
    {
        writeFile(path(name), text);
        m_workspace->store->rescan();
        return m_workspace->controller(name);
    }

    QString path(const QString &name) const { return m_workspace->path(name); }

    std::unique_ptr<FakeAnthropic> m_fake;
    std::unique_ptr<AIClient> m_client;
    std::unique_ptr<KeyStore> m_keys;
    std::unique_ptr<WindowTest::WindowedWorkspace> m_workspace;
    NoteWindowController *m_note = nullptr;
};

QTEST_MAIN(TestPromptNotes)
#include "tst_promptnotes.moc"

#include "support/FakeAnthropic.h"
#include "support/TextFiles.h"

#include "app/ApplyServer.h"
#include "cli/ApplyCommand.h"
#include "editor/MarkdownTextView.h"
#include "windows/NoteWindows.h"
#include "windows/Toast.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

struct Finished {
    int status = -1;
    QString out;
    QString err;
};

const QString meetingHead = u"---\ntitle: Weekly\ntackpad: \"x10 y20 w300 h200 z1 #FBF4A6 s12\"\n---\n"_qs;
const QString meetingFile = meetingHead + u"- old item\n"_qs;

} // namespace

// `tackpad apply` end to end: the real binary, the keyring of the test session and a fake AI service on
// 127.0.0.1. It stores the application's own keyring item, so it runs only inside scripts/headless, whose keyring
// and home folder are thrown away afterwards.
class TestApplyCommand : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        if (qEnvironmentVariable("TACKPAD_HEADLESS_INNER") != QLatin1String("1"))
            QSKIP("runs only in scripts/headless: it uses the keyring item and runtime folder of a real session");
        m_keys = std::make_unique<KeyStore>();
    }

    void init()
    {
        m_fake = std::make_unique<FakeAnthropic>();
        m_dir = std::make_unique<QTemporaryDir>();
        makeWorkspace(m_dir->path());
        QDir(PromptTest::trash()).removeRecursively();
    }

    void cleanup()
    {
        PromptTest::setKey(*m_keys, QString());
        m_server.reset();
        if (m_store)
            m_store->shutdown();
        m_store.reset();
        m_other.reset();
        m_client.reset();
        m_fake.reset();
    }

    void appliesFromTheCommandLine_data()
    {
        QTest::addColumn<QString>("keyringKey");
        QTest::addColumn<QString>("environmentKey");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<Responses>("responses");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("out");
        QTest::addColumn<QString>("err"); // %1 is the workspace folder
        QTest::addColumn<QByteArray>("sentKey"); // empty: nothing sent
        const QStringList names {u"summarise"_qs, u"Meeting.md"_qs};
        const Responses summary {FakeAnthropic::text(u"- summary"_qs)};
        QTest::newRow("title in any case and file name; the keyring's key first")
            << u"sk-ring"_qs << u"sk-env"_qs << names << summary << 0 << u"“Summarise” applied\n"_qs << QString()
            << QByteArray("sk-ring");
        QTest::newRow("ANTHROPIC_API_KEY when the keyring has none")
            << QString() << u"sk-env"_qs << names << summary << 0 << u"“Summarise” applied\n"_qs << QString()
            << QByteArray("sk-env");
        QTest::newRow("no key anywhere") << QString() << QString() << names << summary << 1 << QString()
                                         << u"tackpad: Add your Anthropic API key in Settings first\n"_qs
                                         << QByteArray();
        QTest::newRow("an unknown note") << u"sk-ring"_qs << QString() << QStringList {u"Summarise"_qs, u"Nope"_qs}
                                         << summary << 1 << QString() << u"tackpad: no note “Nope” in %1\n"_qs
                                         << QByteArray();
        QTest::newRow("a note that is no prompt")
            << u"sk-ring"_qs << QString() << QStringList {u"Meeting"_qs, u"Summarise"_qs} << summary << 1 << QString()
            << u"tackpad: “Meeting” is not a prompt note; mark it with Use as AI Prompt\n"_qs << QByteArray();
    }

    void appliesFromTheCommandLine()
    {
        QFETCH(QString, keyringKey);
        QFETCH(QString, environmentKey);
        QFETCH(QStringList, names);
        QFETCH(Responses, responses);
        QFETCH(int, status);
        QFETCH(QString, out);
        QFETCH(QString, err);
        QFETCH(QByteArray, sentKey);
        PromptTest::setKey(*m_keys, keyringKey);
        m_fake->enqueue(responses);

        const Finished finished = apply(names, environmentKey);
        QCOMPARE(finished.err, err.contains(u"%1"_qs) ? err.arg(m_dir->path()) : err);
        QCOMPARE(finished.out, out);
        QCOMPARE(finished.status, status);
        QCOMPARE(m_fake->requests().isEmpty(), sentKey.isEmpty());
        if (!sentKey.isEmpty())
            QCOMPARE(m_fake->requests().first().headers.value("x-api-key"), sentKey);
        const QString meeting = readFile(m_dir->filePath(u"Meeting.md"_qs));
        if (status == 0) {
            // Written through the store: the property line and the other tool's lines as they were.
            QCOMPARE(meeting, meetingHead + u"- summary"_qs);
            QCOMPARE(readFile(PromptTest::trashed(u"Meeting (before AI).md"_qs)), meetingFile);
        } else {
            QCOMPARE(meeting, meetingFile);
            QVERIFY(!QFileInfo::exists(PromptTest::trashed(u"Meeting (before AI).md"_qs)));
        }
    }

    void aRunningTackpadWithTheWorkspaceDoesItItself_data()
    {
        QTest::addColumn<bool>("sameWorkspace");
        QTest::newRow("its workspace: done in the window, undoable there") << true;
        QTest::newRow("another workspace: the command changes the files") << false;
    }

    void aRunningTackpadWithTheWorkspaceDoesItItself()
    {
        QFETCH(bool, sameWorkspace);
        m_other = std::make_unique<QTemporaryDir>();
        if (!sameWorkspace)
            makeWorkspace(m_other->path());
        startRunningInstance(sameWorkspace ? m_dir->path() : m_other->path());
        m_fake->enqueue({FakeAnthropic::text(u"- summary"_qs)});

        // The key of the command's environment travels with the command.
        const Finished finished = apply({u"Summarise"_qs, u"Meeting"_qs}, u"sk-env"_qs);
        QCOMPARE(finished.err, QString());
        QCOMPARE(finished.out, u"“Summarise” applied\n"_qs);
        QCOMPARE(finished.status, 0);
        QCOMPARE(m_fake->requests().first().headers.value("x-api-key"), QByteArray("sk-env"));
        // The window's own state of the note (its stacking order may have risen when it was shown).
        const QString backup = readFile(PromptTest::trashed(u"Meeting (before AI).md"_qs));
        QVERIFY2(backup.startsWith(u"---\ntitle: Weekly\ntackpad: "_qs) && backup.endsWith(u"\n---\n- old item\n"_qs),
            qPrintable(backup));

        auto *window = qobject_cast<NoteWindowController *>(m_store->controller(u"Meeting.md"_qs));
        if (sameWorkspace) {
            QCOMPARE(window->textView()->markdown(), u"- summary"_qs);
            QCOMPARE(Toast::current()->text(), u"“Summarise” applied – press Ctrl+Z to undo"_qs);
            window->textView()->undo();
            QCOMPARE(window->note().body, u"- old item\n"_qs);
        } else {
            QCOMPARE(window->note().body, u"- old item\n"_qs);
            QCOMPARE(readFile(m_dir->filePath(u"Meeting.md"_qs)), meetingHead + u"- summary"_qs);
        }
    }

private:
    static void makeWorkspace(const QString &folder)
    {
        writeFile(folder + u"/Summarise.md"_qs, u"---\ntackpad: \"prompt\"\n---\nSummarise as bullets.\n"_qs);
        writeFile(folder + u"/Meeting.md"_qs, meetingFile);
    }

    void startRunningInstance(const QString &folder)
    {
        m_client = std::make_unique<AIClient>();
        m_store = std::make_unique<NoteStore>(folder, Settings(m_dir->filePath(u"settings.ini"_qs)));
        m_windows.environment().aiClient = m_client.get();
        m_windows.environment().keyStore = m_keys.get();
        m_windows.attach(*m_store);
        m_store->rescan();
        m_server
            = std::make_unique<ApplyServer>([this] { return m_store.get(); }, m_windows, ApplyCommand::serverName());
        QVERIFY(m_server->listen());
    }

    Finished apply(const QStringList &names, const QString &environmentKey)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"ANTHROPIC_API_KEY"_qs);
        if (!environmentKey.isEmpty())
            environment.insert(u"ANTHROPIC_API_KEY"_qs, environmentKey);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(
            QStringLiteral(TACKPAD_BINARY), QStringList {u"apply"_qs, u"--workspace"_qs, m_dir->path()} + names);
        // The fake service and the running instance answer from this event loop while the command waits.
        QSignalSpy done(&process, &QProcess::finished);
        if (!done.wait(60000))
            return {-1, {}, u"the command did not finish"_qs};
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
    }

    std::unique_ptr<FakeAnthropic> m_fake;
    std::unique_ptr<KeyStore> m_keys;
    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<QTemporaryDir> m_other; // the running instance's workspace, when it is another
    std::unique_ptr<AIClient> m_client;
    std::unique_ptr<NoteStore> m_store;
    NoteWindows m_windows;
    std::unique_ptr<ApplyServer> m_server;
};

QTEST_MAIN(TestApplyCommand)
#include "tst_applycommand.moc"

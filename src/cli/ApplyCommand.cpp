#include "cli/ApplyCommand.h"

#include "ai/AIClient.h"
#include "ai/PromptBackup.h"
#include "ai/PromptRun.h"
#include "cli/ConsoleArguments.h"
#include "cli/ConsoleWorkspace.h"
#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "platform/KeyStore.h"
#include "platform/SingleInstance.h"
#include "search/NoteSearch.h"
#include "store/NoteController.h"
#include "store/NoteStore.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QLocalSocket>
#include <QStandardPaths>
#include <QTextStream>
#include <QtEndian>

#include <unistd.h>

namespace ApplyCommand {

namespace {

constexpr qsizetype headerBytes = 4;
constexpr qsizetype maxFrameBytes = 8 * 1024 * 1024;
const QLatin1String prefix("tackpad: ");
const QLatin1String requestWord("apply");
const QLatin1String notOpenWord("not-open");
const QLatin1String outcomeWord("done");

NoteController *findNote(const NoteStore &store, const QString &name, QString *error)
{
    if (NoteController *byFile = store.controller(name))
        return byFile;
    QList<NoteController *> exact;
    QList<NoteController *> folded;
    for (NoteController *each : store.controllersByName()) {
        if (each->note().title() == name)
            exact << each;
        else if (NoteSearch::sameTitle(each->note().title(), name))
            folded << each;
    }
    // "plan" names "Plan.md" alone, but not when "PLAN.md" is there too.
    const QList<NoteController *> &found = exact.isEmpty() ? folded : exact;
    if (found.size() == 1)
        return found.first();
    if (found.isEmpty()) {
        *error = QStringLiteral("no note “%1” in %2").arg(name, store.folder());
    } else {
        QStringList files;
        for (const NoteController *each : found)
            files << each->note().filename;
        *error = QStringLiteral("“%1” names more than one note (%2); use the file name")
                     .arg(name, files.join(QLatin1String(", ")));
    }
    return nullptr;
}

QString fallbackKey()
{
    return qEnvironmentVariable("ANTHROPIC_API_KEY").trimmed();
}

// The command once the workspace is known: first offered to a running Tackpad, else carried out on the files.
class ApplyJob : public QObject {
public:
    ApplyJob(const QString &folder, const QStringList &names, QTextStream &out, QTextStream &err)
        : m_folder(folder)
        , m_promptName(names.at(0))
        , m_noteName(names.at(1))
        , m_out(out)
        , m_err(err)
    {
    }

    int exec()
    {
        askRunningInstance();
        // A console command has no event loop of its own: this one is it, and it ends with the command.
        if (!m_status)
            m_loop.exec();
        return *m_status;
    }

private:
    void finish(int status, const QString &out = {}, const QString &err = {})
    {
        if (m_status)
            return;
        m_out << out;
        m_err << err;
        m_out.flush();
        m_err.flush();
        m_status = status;
        m_loop.quit();
    }

    void fail(const QString &message) { finish(failed, {}, prefix + message + QLatin1Char('\n')); }

    void askRunningInstance()
    {
        m_socket = new QLocalSocket(this);
        connect(m_socket, &QLocalSocket::connected, this, [this] {
            m_asked = true;
            m_socket->write(encodeRequest(m_folder, m_promptName, m_noteName, fallbackKey()));
        });
        connect(m_socket, &QLocalSocket::readyRead, this, &ApplyJob::readAnswer);
        connect(m_socket, &QLocalSocket::errorOccurred, this, [this] {
            // No Tackpad is running (or none listens): the files are ours to change.
            if (!m_asked)
                runHere();
            else
                fail(QStringLiteral("the running Tackpad stopped before it answered"));
        });
        m_socket->connectToServer(serverName());
    }

    void readAnswer()
    {
        bool broken = false;
        const std::optional<QStringList> answer = takeFrame(*m_socket, &broken);
        if (broken) {
            fail(QStringLiteral("the running Tackpad gave an answer that cannot be read"));
        } else if (!answer) {
            return;
        } else if (answer->value(0) == notOpenWord) {
            m_socket->disconnect(this);
            m_socket->abort();
            runHere();
        } else {
            finish(answer->value(1).toInt(), answer->value(2), answer->value(3));
        }
    }

    void runHere()
    {
        m_store = std::make_unique<NoteStore>(m_folder, m_settings);
        m_store->rescan();
        const Resolved found = resolve(*m_store, m_promptName, m_noteName);
        if (!found.error.isEmpty()) {
            fail(found.error);
            return;
        }
        m_noteFile = found.note->note().filename;
        m_promptTitle = found.prompt->note().title();
        auto *run = new PromptRun(m_client, &m_keys, this);
        run->setFallbackKey(fallbackKey());
        connect(run, &PromptRun::refused, this, &ApplyJob::fail);
        connect(run, &PromptRun::failed, this, &ApplyJob::fail);
        connect(run, &PromptRun::replied, this, &ApplyJob::replaceText);
        run->start(found.prompt->note().body, m_promptTitle, found.note->note().body, m_settings.aiModel());
    }

    void replaceText(const QString &reply)
    {
        // As in the window: a change made meanwhile is read first, so that the backup holds it.
        m_store->refreshFromDisk(m_noteFile);
        NoteController *target = m_store->controller(m_noteFile);
        if (!target) {
            fail(QStringLiteral("the note “%1” was removed while the AI service was thinking").arg(m_noteName));
            return;
        }
        Note &note = target->note();
        PromptBackup::moveToTrash(note.title(), Frontmatter::serialize(note.meta, note.foreignFrontmatter, note.body));
        QString saveError;
        connect(m_store.get(), &NoteStore::saveFailed, this,
            [&saveError](const QString &, const QString &error) { saveError = error; });
        // The store's own save path: atomic, property line and other tools' front matter as they were.
        note.body = reply;
        m_store->noteReplaced(target);
        m_store->flushAllSaves();
        if (!saveError.isEmpty()) {
            fail(QStringLiteral("cannot write %1: %2").arg(m_noteFile, saveError));
            return;
        }
        finish(applied, PromptRun::appliedText(m_promptTitle) + QLatin1Char('\n'));
    }

    QString m_folder;
    QString m_promptName;
    QString m_noteName;
    QTextStream &m_out;
    QTextStream &m_err;
    Settings m_settings;
    AIClient m_client;
    KeyStore m_keys;
    std::unique_ptr<NoteStore> m_store;
    QLocalSocket *m_socket = nullptr;
    bool m_asked = false;
    QString m_noteFile;
    QString m_promptTitle;
    QEventLoop m_loop;
    std::optional<int> m_status;
};

} // namespace

int run(const QStringList &args, QTextStream &out, QTextStream &err)
{
    const ConsoleArguments options = ConsoleArguments::ofCommand(QStringLiteral("apply"), args);
    if (const std::optional<int> status = options.answer(out, err))
        return *status;
    const std::optional<QString> folder = ConsoleWorkspace::folder(options.workspace, Settings(), err);
    if (!folder)
        return usageError;
    ApplyJob job(*folder, options.words, out, err);
    return job.exec();
}

Resolved resolve(const NoteStore &store, const QString &promptName, const QString &noteName)
{
    Resolved result;
    result.prompt = findNote(store, promptName, &result.error);
    if (result.prompt)
        result.note = findNote(store, noteName, &result.error);
    if (!result.note)
        return result;
    if (!result.prompt->note().meta.isPrompt)
        result.error = QStringLiteral("“%1” is not a prompt note; mark it with Use as AI Prompt")
                           .arg(result.prompt->note().title());
    else if (result.prompt == result.note)
        result.error = QStringLiteral("a prompt note cannot be applied to itself");
    if (!result.error.isEmpty())
        result.prompt = result.note = nullptr;
    return result;
}

QString serverName()
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (folder.isEmpty())
        folder = QDir::tempPath();
    // The user id keeps users apart where the runtime folder falls back to the shared temporary folder.
    return folder + QStringLiteral("/tackpad-apply-%1.socket").arg(::getuid());
}

QByteArray encodeRequest(
    const QString &folder, const QString &promptName, const QString &noteName, const QString &fallbackKey)
{
    return SingleInstance::encodeCommand({requestWord, folder, promptName, noteName, fallbackKey});
}

QByteArray encodeNotOpen()
{
    return SingleInstance::encodeCommand({notOpenWord});
}

QByteArray encodeOutcome(int status, const QString &out, const QString &err)
{
    return SingleInstance::encodeCommand({outcomeWord, QString::number(status), out, err});
}

std::optional<QStringList> takeFrame(QIODevice &device, bool *broken)
{
    *broken = false;
    if (device.bytesAvailable() < headerBytes)
        return std::nullopt;
    const QByteArray header = device.peek(headerBytes);
    const quint32 length = qFromBigEndian<quint32>(header.constData());
    if (length > quint32(maxFrameBytes)) {
        *broken = true;
        return std::nullopt;
    }
    if (device.bytesAvailable() < headerBytes + qint64(length))
        return std::nullopt;
    device.skip(headerBytes);
    std::optional<QStringList> frame = SingleInstance::decodePayload(device.read(length));
    *broken = !frame;
    return frame;
}

} // namespace ApplyCommand

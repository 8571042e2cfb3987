#pragma once

// Shared fixtures of the store tests: a temporary workspace with file helpers, a controller that records the
// window requests it receives, and an alert presenter that answers from a script.

#include "core/Alerts.h"
#include "core/Settings.h"
#include "store/NoteController.h"
#include "store/NoteStore.h"
#include "support/TextFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>

namespace StoreTest {

// A test object member that keeps every test away from the real home folder before the first test function runs:
// settings, data (the Trash) and caches go to a temporary folder.
struct TemporaryHome {
    QTemporaryDir dir;
    TemporaryHome()
    {
        if (!dir.isValid())
            qFatal("cannot create a temporary home folder");
        const QByteArray path = QFile::encodeName(dir.path());
        qputenv("HOME", path);
        qputenv("XDG_CONFIG_HOME", path + "/.config");
        qputenv("XDG_DATA_HOME", path + "/.local/share");
        qputenv("XDG_CACHE_HOME", path + "/.cache");
    }
};

inline void appendTo(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::Append));
    QCOMPARE(file.write(bytes), bytes.size());
}

// Writes as careful editors do: a temporary file renamed over the old one.
inline void writeAtomically(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
    QVERIFY(file.commit());
}

inline QByteArray noteText(const QString &properties, const QString &body)
{
    return QStringLiteral("---\ntackpad: \"%1\"\n---\n%2").arg(properties, body).toUtf8();
}

// Types into a note: the new text, then the edit notice that schedules its save.
inline void edit(NoteStore &store, NoteController *note, const QString &body)
{
    note->note().body = body;
    store.noteEdited(note);
}

template<typename Controllers> QStringList filenames(const Controllers &controllers)
{
    QStringList names;
    for (const NoteController *each : controllers)
        names << each->note().filename;
    return names;
}

// A controller that remembers the window requests it received, as "operation file" lines.
class RecordingController : public NoteController {
public:
    RecordingController(
        std::unique_ptr<Note> note, NoteStore &store, const QString &lastDiskContent, std::shared_ptr<QStringList> log)
        : NoteController(std::move(note), store, lastDiskContent)
        , m_log(std::move(log))
    {
    }

    void showWindow(bool activate) override { record(activate ? "showWindow key" : "showWindow"); }
    void hideWindow() override { record("hideWindow"); }
    void closeWindow() override
    {
        record("closeWindow");
        if (whenClosed)
            whenClosed();
    }
    void applyFrame() override { record("applyFrame"); }
    void applyAppearance() override { record("applyAppearance"); }
    void applyRolledState(bool) override { record("applyRolledState"); }
    void setEditorText(const QString &) override { record("setEditorText"); }
    void focusEditor() override { record("focusEditor"); }

    // What closing the window sets off elsewhere (a compositor activating the next window, say).
    std::function<void()> whenClosed;

private:
    void record(const char *operation) { m_log->append(QLatin1String(operation) + QLatin1Char(' ') + note().filename); }
    std::shared_ptr<QStringList> m_log;
};

// Answers alerts with the scripted button indexes (0 when the script has run out) and keeps what it was shown.
class ScriptedAlertPresenter : public AlertPresenter {
public:
    QList<Alert> shown;
    QList<int> answers;

    int show(const Alert &alert) override
    {
        shown.append(alert);
        return answers.isEmpty() ? 0 : answers.takeFirst();
    }
};

// A workspace folder and a settings file, both temporary, and a store on them.
struct Workspace {
    QTemporaryDir root;
    QString folder = root.path() + QLatin1String("/notes");
    Settings config {root.path() + QLatin1String("/settings.ini")};
    std::shared_ptr<QStringList> log = std::make_shared<QStringList>();
    ScriptedAlertPresenter alerts;
    std::unique_ptr<NoteStore> store;

    Workspace() { QDir().mkpath(folder); }

    QString path(const QString &name) const { return folder + QLatin1Char('/') + name; }
    QStringList files() const { return QDir(folder).entryList(QDir::Files | QDir::Hidden); }

    QStringList alertMessages() const
    {
        QStringList messages;
        for (const Alert &alert : alerts.shown)
            messages << alert.message;
        return messages;
    }

    NoteStore &open(bool watch = false)
    {
        store = std::make_unique<NoteStore>(folder, config);
        store->setControllerFactory([log = log](std::unique_ptr<Note> note, NoteStore &owner, const QString &lastDisk) {
            return std::make_unique<RecordingController>(std::move(note), owner, lastDisk, log);
        });
        store->setAlertPresenter(&alerts);
        store->rescan();
        if (watch)
            store->startWatching();
        return *store;
    }

    // Writes one file, opens the store and returns that file's note.
    NoteController *openWith(const QString &name, const QByteArray &text, bool watch = false)
    {
        writeInPlace(path(name), text);
        return open(watch).controller(name);
    }
};

} // namespace StoreTest

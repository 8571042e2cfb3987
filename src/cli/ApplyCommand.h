#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

class NoteController;
class NoteStore;
class QIODevice;
class QTextStream;

// `tackpad apply [--workspace DIR] PROMPT NOTE`: applies a prompt note to a note from a script, with the steps and
// texts of the note menu's "Apply AI Prompt". The key comes from the keyring or, when none is stored there, from
// ANTHROPIC_API_KEY. Success prints the "applied" text and exits 0; every refusal or failure is one line on standard
// error and exit status 1; a usage error or an unusable folder exits 2.
//
// When a running Tackpad has the workspace open, it carries the command out itself (over a local socket), so that
// the change shows in its window and can be undone there; the texts and the exit status are the same.
namespace ApplyCommand {

inline constexpr int applied = 0;
inline constexpr int failed = 1;
inline constexpr int usageError = 2;

// `args` are the words after "apply". Without --workspace the workspace is the one opened last.
int run(const QStringList &args, QTextStream &out, QTextStream &err);

// A prompt note and the note it is applied to, named as on the command line; or why they cannot be used.
struct Resolved {
    NoteController *prompt = nullptr;
    NoteController *note = nullptr;
    QString error; // without the "tackpad: " prefix
};
// Names are file names ("Plan.md") or titles, compared as the search compares them. The prompt must be marked
// as a prompt note and differ from the note, as in the menus.
Resolved resolve(const NoteStore &store, const QString &promptName, const QString &noteName);

// --- The conversation with a running Tackpad
// The local socket a running Tackpad listens on for apply commands.
QString serverName();
// Request: the workspace folder, the two names and the fallback key (empty when the environment gives none).
QByteArray encodeRequest(
    const QString &folder, const QString &promptName, const QString &noteName, const QString &fallbackKey);
// The answer "this workspace is not open here", and the outcome of a command carried out.
QByteArray encodeNotOpen();
QByteArray encodeOutcome(int status, const QString &out, const QString &err);
// One whole frame taken off the device, once it has arrived; nothing while it is incomplete. A malformed or
// oversized frame sets `broken`.
std::optional<QStringList> takeFrame(QIODevice &device, bool *broken);

} // namespace ApplyCommand

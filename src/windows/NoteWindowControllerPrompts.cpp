// Prompt notes: marking a note as a prompt, applying a prompt to a note, and the run of one AI request.

#include "windows/NoteWindowController.h"

#include "ai/PromptBackup.h"
#include "ai/PromptRun.h"
#include "editor/MarkdownTextView.h"
#include "notes/Frontmatter.h"
#include "store/NoteStore.h"
#include "windows/NoteWindow.h"
#include "windows/Toast.h"

#include <QApplication>
#include <QKeySequence>
#include <QShortcut>

namespace {

QString undoKeys()
{
    return QKeySequence(QKeySequence::Undo).toString(QKeySequence::NativeText);
}

} // namespace

void NoteWindowController::togglePrompt()
{
    note().meta.isPrompt = !note().meta.isPrompt;
    applyAppearance();
    changed(false);
    store().postNotesChanged();
}

void NoteWindowController::applyPrompt(const QString &promptFilename)
{
    NoteController *prompt = promptFilename.isEmpty() ? nullptr : store().controller(promptFilename);
    if (!prompt) {
        QApplication::beep();
        return;
    }
    // The note menu disables a note's own item; the Prompts menu is shared by all notes and cannot.
    if (prompt == this)
        return;
    runPrompt(prompt->note().body, prompt->note().title());
}

bool NoteWindowController::aiRequestInFlight() const
{
    return m_promptRun != nullptr;
}

void NoteWindowController::runPrompt(const QString &prompt, const QString &promptTitle, const QString &fallbackKey)
{
    if (m_promptRun || m_closing || !m_environment.aiClient)
        return;
    // In flight from here on, while the keyring is asked too: a second request must not slip in meanwhile.
    auto *run = new PromptRun(*m_environment.aiClient, m_environment.keyStore, this);
    m_promptRun = run;
    run->setFallbackKey(fallbackKey);
    connect(run, &PromptRun::refused, this, [this](const QString &message) {
        Toast::show(message, PromptRun::refusalSeconds, m_window.get());
        endPromptRun(PromptOutcome::Refused, message);
    });
    connect(run, &PromptRun::requestStarted, this, [this] {
        Toast::show(PromptRun::thinkingText(), PromptRun::thinkingSeconds, m_window.get());
        // Escape in this note stops the request; the shortcut exists only while one runs (and the note has a window).
        if (!m_window)
            return;
        m_cancelPromptShortcut = new QShortcut(QKeySequence(Qt::Key_Escape), m_window.get());
        m_cancelPromptShortcut->setContext(Qt::WindowShortcut);
        connect(m_cancelPromptShortcut, &QShortcut::activated, this, &NoteWindowController::cancelAiRequest);
    });
    connect(
        run, &PromptRun::replied, this, [this, promptTitle](const QString &reply) { applyReply(reply, promptTitle); });
    connect(run, &PromptRun::failed, this, [this](const QString &message) {
        Toast::show(message, PromptRun::outcomeSeconds, m_window.get());
        endPromptRun(PromptOutcome::Failed, message);
    });
    run->start(prompt, promptTitle, note().body, store().settings().aiModel());
}

void NoteWindowController::applyReply(const QString &reply, const QString &promptTitle)
{
    // A change made to the file elsewhere while the service was thinking reaches the note first, so that the
    // backup holds it and undo returns to it. The re-read may also close the note (its file is gone): the
    // close cancels this run, and the reply is dropped.
    store().refreshFromDisk(note().filename);
    if (!m_promptRun || m_closing)
        return;
    backupCurrentContentToTrash();
    // One edit of the editor: one undo step, reported like typing, so the note is saved as after any edit. A note
    // without a window (hidden since the start) takes the reply as its body directly.
    if (m_textView) {
        m_textView->replaceAllText(reply);
    } else {
        note().body = reply;
        store().noteEdited(this);
    }
    Toast::show(PromptRun::appliedText(promptTitle, undoKeys()), PromptRun::outcomeSeconds, m_window.get());
    endPromptRun(PromptOutcome::Applied, PromptRun::appliedText(promptTitle));
}

bool NoteWindowController::backupCurrentContentToTrash(QString *error)
{
    const Note &current = note();
    const QString content = Frontmatter::serialize(current.meta, current.foreignFrontmatter, current.body);
    return PromptBackup::moveToTrash(current.title(), content, error);
}

void NoteWindowController::cancelAiRequest()
{
    if (!m_promptRun)
        return;
    if (Toast *toast = Toast::current(); toast && toast->text() == PromptRun::thinkingText())
        toast->close();
    endPromptRun(PromptOutcome::Cancelled, tr("The AI request was cancelled."));
}

void NoteWindowController::endPromptRun(PromptOutcome outcome, const QString &message)
{
    // Later, not now: this may run inside one of the run's own signals.
    m_promptRun->disconnect(this);
    m_promptRun->deleteLater();
    m_promptRun = nullptr;
    delete m_cancelPromptShortcut.data();
    Q_EMIT aiRequestFinished(outcome, message);
}

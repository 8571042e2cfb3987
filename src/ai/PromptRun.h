#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

class AIClient;
class AIRequest;
class KeyStore;

// One application of a prompt note to a note: the checks, the key, the request and its outcome - the steps that
// the note window and `tackpad apply` share, with the texts the user is told. It leaves the note alone: the caller
// shows what it reports, puts the previous content in the Trash and replaces the text.
//
// Exactly one of `refused`, `replied` and `failed` ends a run. An empty prompt is refused within `start`; everything
// else is reported later, on the GUI thread. Deleting the run cancels it: nothing is reported afterwards.
class PromptRun : public QObject {
    Q_OBJECT

public:
    static constexpr double refusalSeconds = 3.5;
    static constexpr double thinkingSeconds = 60;
    static constexpr double outcomeSeconds = 6;

    // "The prompt note “<title>” is empty".
    static QString emptyPromptText(const QString &promptTitle);
    static QString noKeyText();
    static QString thinkingText();
    // "“<title>” applied", followed by " – press <keys> to undo" when `undoKeys` is given.
    static QString appliedText(const QString &promptTitle, const QString &undoKeys = {});
    // "AI request failed: <description>".
    static QString failedText(const QString &description);
    // What is sent in place of a note that holds nothing but white space.
    static QString emptyNoteText();

    // `keys` may be null (no keyring in this build or test): only the fallback key is then used.
    PromptRun(AIClient &client, KeyStore *keys, QObject *parent = nullptr);
    ~PromptRun() override;

    // The key to use when the keyring holds none (the command line passes ANTHROPIC_API_KEY).
    void setFallbackKey(const QString &key) { m_fallbackKey = key; }

    // `prompt` is the prompt note's text, `noteBody` the text of the note it is applied to, as they stand.
    void start(const QString &prompt, const QString &promptTitle, const QString &noteBody, const QString &model);

Q_SIGNALS:
    // Nothing was sent: the prompt is empty, or no key is at hand. `message` is the text to show.
    void refused(const QString &message);
    // The request is on its way ("Thinking…").
    void requestStarted();
    void replied(const QString &text);
    // `message` is the whole text to show, "AI request failed: …".
    void failed(const QString &message);

private:
    void send(const QString &apiKey);

    AIClient &m_client;
    QPointer<KeyStore> m_keys;
    QString m_fallbackKey;
    QString m_prompt;
    QString m_noteText;
    QString m_model;
    QPointer<AIRequest> m_request;
};

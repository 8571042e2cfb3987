#include "ai/PromptRun.h"

#include "ai/AIClient.h"
#include "ai/AIRequest.h"
#include "platform/KeyStore.h"

QString PromptRun::emptyPromptText(const QString &promptTitle)
{
    return tr("The prompt note “%1” is empty").arg(promptTitle);
}

QString PromptRun::noKeyText()
{
    return tr("Add your Anthropic API key in Settings first");
}

QString PromptRun::thinkingText()
{
    return tr("Thinking…");
}

QString PromptRun::appliedText(const QString &promptTitle, const QString &undoKeys)
{
    if (undoKeys.isEmpty())
        return tr("“%1” applied").arg(promptTitle);
    return tr("“%1” applied – press %2 to undo").arg(promptTitle, undoKeys);
}

QString PromptRun::failedText(const QString &description)
{
    return tr("AI request failed: %1").arg(description);
}

QString PromptRun::emptyNoteText()
{
    return QStringLiteral("(The note is currently empty.)");
}

PromptRun::PromptRun(AIClient &client, KeyStore *keys, QObject *parent)
    : QObject(parent)
    , m_client(client)
    , m_keys(keys)
{
}

PromptRun::~PromptRun()
{
    if (m_request)
        m_request->cancel();
}

void PromptRun::start(const QString &prompt, const QString &promptTitle, const QString &noteBody, const QString &model)
{
    m_prompt = prompt.trimmed();
    if (m_prompt.isEmpty()) {
        Q_EMIT refused(emptyPromptText(promptTitle));
        return;
    }
    // An empty user message is refused by the service; a sentence saying so lets the prompt still do its work
    // (a template prompt fills an empty note).
    m_noteText = noteBody.trimmed().isEmpty() ? emptyNoteText() : noteBody;
    m_model = model;
    if (!m_keys) {
        send(QString());
        return;
    }
    // A keyring that cannot be read counts as one without a key, as the settings dialog shows it.
    m_keys->readKey([self = QPointer<PromptRun>(this)](const std::optional<QString> &key, const QString &) {
        if (self)
            self->send(key.value_or(QString()));
    });
}

void PromptRun::send(const QString &storedKey)
{
    const QString key = storedKey.trimmed().isEmpty() ? m_fallbackKey.trimmed() : storedKey.trimmed();
    if (key.isEmpty()) {
        Q_EMIT refused(noKeyText());
        return;
    }
    Q_EMIT requestStarted();
    m_request = m_client.complete(m_prompt, m_noteText, key, m_model);
    connect(m_request, &AIRequest::finished, this, [this](const AIResult &result) {
        m_request = nullptr;
        if (result.ok)
            Q_EMIT replied(result.text);
        else
            Q_EMIT failed(failedText(result.error));
    });
}

#pragma once

#include <QNetworkAccessManager>
#include <QObject>
#include <QString>
#include <QUrl>

#include <chrono>
#include <functional>
#include <optional>

class AIRequest;

// What one completion came to: the reply's text, or a description of what went wrong, which the user reads after
// "AI request failed: ".
struct AIResult {
    bool ok = false;
    QString text;
    QString error;

    static AIResult success(const QString &text) { return {true, text, {}}; }
    static AIResult failure(const QString &error) { return {false, {}, error}; }
};

// Sends one prompt and one note's text to the Anthropic Messages API and hands back the reply's text. Every
// request is an AIRequest that reports once, on the GUI thread, and can be cancelled.
//
// The address is the provider's public endpoint unless ANTHROPIC_BASE_URL names another (a corporate gateway, or
// a test's local server); it is read at each request. The key travels only over HTTPS, or in plain HTTP to this
// computer itself; any other address is refused before anything is sent.
//
// Beyond a single attempt, as the provider's own client libraries do: a transport failure and the statuses that
// say "try again" (408, 409, 429, 5xx) are retried twice, with exponential back-off and jitter or after the
// server's "retry-after". The whole run, retries and waits included, ends within the time-out.
class AIClient : public QObject {
    Q_OBJECT

public:
    static constexpr const char *baseUrlVariable = "ANTHROPIC_BASE_URL";
    static constexpr const char *defaultBaseUrl = "https://api.anthropic.com";
    static constexpr const char *endpointPath = "/v1/messages";
    static constexpr const char *apiVersion = "2023-06-01";
    static constexpr int maxTokens = 4096;

    // How long a run may take and how it waits between attempts. Tests shorten the time-out and replace the wait
    // so that no test waits in real time.
    struct Timing {
        using Wait = std::function<void(std::chrono::milliseconds delay, QObject *context, std::function<void()> then)>;

        std::chrono::milliseconds timeout {120'000};
        int maxRetries = 2;
        std::chrono::milliseconds firstBackoff {500};
        std::chrono::milliseconds maxBackoff {8'000};
        std::chrono::milliseconds maxRetryAfter {60'000};
        Wait wait; // a single-shot QTimer when empty
    };

    explicit AIClient(QObject *parent = nullptr);
    ~AIClient() override;

    // Starts one request: `prompt` as the system prompt, `noteBody` as the one user message. The request reports
    // through AIRequest::finished, never before this call has returned.
    AIRequest *complete(const QString &prompt, const QString &noteBody, const QString &apiKey, const QString &model);

    void setTiming(const Timing &timing) { m_timing = timing; }
    const Timing &timing() const { return m_timing; }

    // The service's address: ANTHROPIC_BASE_URL when set, else the public endpoint.
    static QUrl baseUrl();
    // Why the key must not be sent to `base`, or nothing when it may.
    static std::optional<QString> refusalFor(const QUrl &base);
    // The response rules: the reply text of a 2xx answer, else the service's own error message or "HTTP <status>".
    static AIResult resultOf(int httpStatus, const QByteArray &body);
    // The statuses that mean the same request may well succeed a little later.
    static bool isRetryable(int httpStatus);

    static QString badResponseText();
    static QString timedOutText();

private:
    QNetworkAccessManager *m_network = nullptr;
    Timing m_timing;
};

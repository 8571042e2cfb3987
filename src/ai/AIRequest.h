#pragma once

#include "ai/AIClient.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QNetworkRequest>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <optional>

class QNetworkAccessManager;
class QNetworkReply;

// One run of a completion: the attempts, the waits between them and the time-out over all of them. Made by
// AIClient::complete; it reports once through `finished` (or never, when cancelled) and then deletes itself.
class AIRequest : public QObject {
    Q_OBJECT

public:
    ~AIRequest() override;

    // Stops the run: the attempt under way is aborted, no retry follows and `finished` is never emitted.
    void cancel();
    int attempts() const { return m_attempts; }

Q_SIGNALS:
    // The outcome, on the GUI thread. Failures are reported only once the retries are spent.
    void finished(const AIResult &result);
    // Attempt `attempt` failed with `reason` and is retried after `delayMs` milliseconds.
    void retrying(int attempt, qint64 delayMs, const QString &reason);

private:
    friend class AIClient;
    AIRequest(QNetworkAccessManager &network, const AIClient::Timing &timing, const QNetworkRequest &request,
        const QByteArray &body, QObject *parent);

    // Starts on the next turn of the event loop, so that the caller can connect first; a refusal reports then.
    void begin(const std::optional<QString> &refusal);
    void sendAttempt();
    void attemptFinished();
    void attemptTimedOut();
    void dropReply();
    void retryOrFinish(const AIResult &result, bool retryable, std::optional<std::chrono::milliseconds> retryAfter);
    std::chrono::milliseconds backoff() const;
    void finish(const AIResult &result);

    QNetworkAccessManager &m_network;
    AIClient::Timing m_timing;
    QNetworkRequest m_request;
    QByteArray m_body;
    QPointer<QNetworkReply> m_reply;
    QDeadlineTimer m_deadline;
    QTimer m_attemptTimer;
    int m_attempts = 0;
    bool m_timedOut = false;
    bool m_done = false;
};

#include "ai/AIRequest.h"

#include "ai/AILog.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QRandomGenerator>

#include <cmath>

using std::chrono::milliseconds;

namespace {

// "retry-after" in seconds, as the API sends it. Values outside (0, limit] are ignored in favour of the back-off,
// as the provider's client libraries do: a server asking for minutes is better answered by failing now.
std::optional<milliseconds> retryAfterOf(const QNetworkReply &reply, milliseconds limit)
{
    bool ok = false;
    const double seconds = QString::fromLatin1(reply.rawHeader("retry-after")).trimmed().toDouble(&ok);
    if (!ok || !std::isfinite(seconds) || seconds <= 0 || seconds * 1000 > double(limit.count()))
        return std::nullopt;
    return milliseconds(std::llround(seconds * 1000));
}

} // namespace

AIRequest::AIRequest(QNetworkAccessManager &network, const AIClient::Timing &timing, const QNetworkRequest &request,
    const QByteArray &body, QObject *parent)
    : QObject(parent)
    , m_network(network)
    , m_timing(timing)
    , m_request(request)
    , m_body(body)
{
    m_attemptTimer.setSingleShot(true);
    connect(&m_attemptTimer, &QTimer::timeout, this, &AIRequest::attemptTimedOut);
}

AIRequest::~AIRequest()
{
    m_done = true;
    dropReply();
}

void AIRequest::dropReply()
{
    if (QNetworkReply *reply = m_reply.data()) {
        m_reply = nullptr;
        reply->disconnect(this);
        reply->abort();
        reply->deleteLater();
    }
}

void AIRequest::begin(const std::optional<QString> &refusal)
{
    QMetaObject::invokeMethod(
        this,
        [this, refusal] {
            if (m_done)
                return;
            if (refusal) {
                finish(AIResult::failure(*refusal));
                return;
            }
            m_deadline = QDeadlineTimer(m_timing.timeout);
            sendAttempt();
        },
        Qt::QueuedConnection);
}

void AIRequest::cancel()
{
    if (m_done)
        return;
    m_done = true;
    m_attemptTimer.stop();
    dropReply();
    deleteLater();
}

void AIRequest::sendAttempt()
{
    if (m_done)
        return;
    ++m_attempts;
    m_reply = m_network.post(m_request, m_body);
    connect(m_reply, &QNetworkReply::finished, this, &AIRequest::attemptFinished);
    // The time-out covers the whole run: a late retry gets only what is left of it.
    m_attemptTimer.start(std::max<qint64>(0, m_deadline.remainingTime()));
}

void AIRequest::attemptTimedOut()
{
    m_timedOut = true;
    if (m_reply)
        m_reply->abort();
}

void AIRequest::attemptFinished()
{
    QNetworkReply *reply = m_reply;
    m_reply = nullptr;
    if (!reply)
        return;
    reply->deleteLater();
    m_attemptTimer.stop();
    if (m_done)
        return;
    if (m_timedOut) {
        finish(AIResult::failure(AIClient::timedOutText()));
        return;
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    // No whole answer (refused, reset, cut off, name not found, TLS): the network's own description. Errors
    // below the content range are the network's and the proxy's; the others only restate the HTTP status.
    if (!status.isValid()
        || (reply->error() != QNetworkReply::NoError && reply->error() < QNetworkReply::ContentAccessDenied)) {
        retryOrFinish(AIResult::failure(reply->errorString()), true, std::nullopt);
        return;
    }
    const int code = status.toInt();
    retryOrFinish(AIClient::resultOf(code, reply->readAll()), AIClient::isRetryable(code),
        retryAfterOf(*reply, m_timing.maxRetryAfter));
}

void AIRequest::retryOrFinish(const AIResult &result, bool retryable, std::optional<milliseconds> retryAfter)
{
    if (result.ok || !retryable || m_attempts > m_timing.maxRetries) {
        finish(result);
        return;
    }
    const milliseconds delay = retryAfter.value_or(backoff());
    // A wait that would outlast the time-out ends the run now, with the error the user can act on.
    if (delay.count() >= m_deadline.remainingTime()) {
        finish(result);
        return;
    }
    qCInfo(lcAI).noquote() << QStringLiteral("TackPad: AI request attempt %1 failed (%2); retrying in %3 s")
                                  .arg(m_attempts)
                                  .arg(result.error)
                                  .arg(double(delay.count()) / 1000, 0, 'f', 2);
    Q_EMIT retrying(m_attempts, delay.count(), result.error);
    const auto resume = [this] { sendAttempt(); };
    if (m_timing.wait)
        m_timing.wait(delay, this, resume);
    else
        QTimer::singleShot(delay, this, resume);
}

milliseconds AIRequest::backoff() const
{
    // 0.5 s, 1 s, 2 s … up to the cap, each shortened by up to a quarter so that many clients turned away at
    // the same moment do not all come back at the same moment.
    const double base = std::min(
        double(m_timing.firstBackoff.count()) * std::pow(2.0, m_attempts - 1), double(m_timing.maxBackoff.count()));
    const double jitter = 1.0 - 0.25 * QRandomGenerator::global()->generateDouble();
    return milliseconds(std::llround(base * jitter));
}

void AIRequest::finish(const AIResult &result)
{
    m_done = true;
    Q_EMIT finished(result);
    deleteLater();
}

#include "ai/AIClient.h"

#include "ai/AIRequest.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkRequest>

namespace {

bool isLoopbackHost(const QString &host)
{
    if (host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0)
        return true;
    const QHostAddress address(host);
    return !address.isNull() && address.isLoopback();
}

QUrl endpointFor(const QUrl &base)
{
    // A gateway may serve the API under a path of its own ("https://gateway.example/anthropic").
    QUrl endpoint = base.adjusted(QUrl::RemoveQuery | QUrl::RemoveFragment | QUrl::StripTrailingSlash);
    endpoint.setPath(endpoint.path() + QLatin1String(AIClient::endpointPath));
    return endpoint;
}

QByteArray requestBody(const QString &prompt, const QString &noteBody, const QString &model)
{
    const QJsonObject message {{QStringLiteral("role"), QStringLiteral("user")}, {QStringLiteral("content"), noteBody}};
    const QJsonObject body {
        {QStringLiteral("model"), model},
        {QStringLiteral("max_tokens"), AIClient::maxTokens},
        {QStringLiteral("system"), prompt},
        {QStringLiteral("messages"), QJsonArray {message}},
    };
    return QJsonDocument(body).toJson(QJsonDocument::Compact);
}

} // namespace

AIClient::AIClient(QObject *parent)
    : QObject(parent)
{
}

AIClient::~AIClient() = default;

QUrl AIClient::baseUrl()
{
    const QString configured = qEnvironmentVariable(baseUrlVariable).trimmed();
    return QUrl(configured.isEmpty() ? QString::fromLatin1(defaultBaseUrl) : configured, QUrl::StrictMode);
}

std::optional<QString> AIClient::refusalFor(const QUrl &base)
{
    // The address goes into an error text: without any user name or password it may carry.
    const QString shown = base.toDisplayString(QUrl::RemoveUserInfo);
    if (!base.isValid() || base.host().isEmpty())
        return tr("The AI service address %1 is not a valid web address.").arg(shown);
    const QString scheme = base.scheme().toLower();
    if (scheme == QLatin1String("https"))
        return std::nullopt;
    if (scheme == QLatin1String("http") && isLoopbackHost(base.host()))
        return std::nullopt;
    return tr("The AI service address %1 does not use HTTPS; the API key is only sent over HTTPS or to this "
              "computer itself.")
        .arg(shown);
}

AIRequest *AIClient::complete(
    const QString &prompt, const QString &noteBody, const QString &apiKey, const QString &model)
{
    const QUrl base = baseUrl();
    QNetworkRequest request(endpointFor(base));
    request.setRawHeader("x-api-key", apiKey.toUtf8());
    request.setRawHeader("anthropic-version", apiVersion);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArray("application/json"));
    // The API never redirects. Following one would hand the key to whatever address the redirect names.
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);

    // Made on the first request: the network stack (and the TLS library it loads) costs every start-up several
    // megabytes that most sessions never use.
    if (!m_network)
        m_network = new QNetworkAccessManager(this);
    auto *run = new AIRequest(*m_network, m_timing, request, requestBody(prompt, noteBody, model), this);
    run->begin(refusalFor(base));
    return run;
}

AIResult AIClient::resultOf(int httpStatus, const QByteArray &body)
{
    const QJsonObject object = QJsonDocument::fromJson(body).object();
    if (httpStatus < 200 || httpStatus > 299) {
        const QString message
            = object.value(QLatin1String("error")).toObject().value(QLatin1String("message")).toString();
        return AIResult::failure(message.isEmpty() ? QStringLiteral("HTTP %1").arg(httpStatus) : message);
    }
    const QJsonValue content = object.value(QLatin1String("content"));
    QString text;
    for (const QJsonValue &block : content.toArray()) {
        const QJsonObject each = block.toObject();
        if (each.value(QLatin1String("type")).toString() == QLatin1String("text"))
            text += each.value(QLatin1String("text")).toString();
    }
    // An empty reply would wipe the note; it is no answer at all.
    if (!content.isArray() || text.isEmpty())
        return AIResult::failure(badResponseText());
    return AIResult::success(text);
}

bool AIClient::isRetryable(int httpStatus)
{
    return httpStatus == 408 || httpStatus == 409 || httpStatus == 429 || httpStatus >= 500;
}

QString AIClient::badResponseText()
{
    return tr("The AI service returned an unexpected response.");
}

QString AIClient::timedOutText()
{
    return tr("The AI service did not answer in time.");
}

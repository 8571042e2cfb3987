#include "support/FakeAnthropic.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QTcpSocket>

QJsonObject FakeAnthropic::Request::json() const
{
    return QJsonDocument::fromJson(body).object();
}

FakeAnthropic::Response FakeAnthropic::text(const QString &text)
{
    const QJsonObject block {{u"type"_qs, u"text"_qs}, {u"text"_qs, text}};
    return raw(200, QJsonDocument(QJsonObject {{u"content"_qs, QJsonArray {block}}}).toJson());
}

FakeAnthropic::Response FakeAnthropic::error(int status, const QString &message, const QByteArray &retryAfter)
{
    const QJsonObject error {{u"type"_qs, u"error"_qs}, {u"error"_qs, QJsonObject {{u"message"_qs, message}}}};
    Response response = raw(status, message.isEmpty() ? QByteArray() : QJsonDocument(error).toJson());
    if (!retryAfter.isEmpty())
        response.headers.append({"retry-after", retryAfter});
    return response;
}

FakeAnthropic::Response FakeAnthropic::raw(int status, const QByteArray &body)
{
    Response response;
    response.status = status;
    response.body = body;
    return response;
}

FakeAnthropic::FakeAnthropic()
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *socket = m_server.nextPendingConnection()) {
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
            connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
                m_buffers.remove(socket);
                m_held.removeAll(socket);
                socket->deleteLater();
            });
        }
    });
    m_server.listen(QHostAddress::LocalHost);
}

FakeAnthropic::~FakeAnthropic()
{
    // The server deletes its sockets after this object's members are gone: they must not call back.
    for (QTcpSocket *socket : m_server.findChildren<QTcpSocket *>())
        socket->disconnect(this);
}

QUrl FakeAnthropic::url() const
{
    return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()));
}

void FakeAnthropic::release()
{
    m_holding = false;
    const QList<QTcpSocket *> held = std::exchange(m_held, {});
    for (QTcpSocket *socket : held)
        answer(socket);
}

void FakeAnthropic::read(QTcpSocket *socket)
{
    QByteArray &buffer = m_buffers[socket];
    buffer += socket->readAll();
    const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
    if (headerEnd < 0)
        return;
    Request request;
    const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
    const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
    request.method = requestLine.value(0);
    request.path = requestLine.value(1);
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            request.headers.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
    }
    const qsizetype length = request.headers.value("content-length").toLongLong();
    if (buffer.size() < headerEnd + 4 + length)
        return;
    request.body = buffer.mid(headerEnd + 4, length);
    buffer.clear();
    m_requests.append(request);
    if (m_holding)
        m_held.append(socket);
    else
        answer(socket);
}

void FakeAnthropic::answer(QTcpSocket *socket)
{
    const Response response = m_script.isEmpty() ? text(QStringLiteral("ok")) : m_script.takeFirst();
    if (response.kind == Response::Answer) {
        QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + " Status\r\n";
        head += "Content-Type: application/json\r\nConnection: close\r\n";
        head += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
        for (const auto &[name, value] : response.headers)
            head += name + ": " + value + "\r\n";
        socket->write(head + "\r\n" + response.body);
    } else {
        // Cut off in the middle of the body. (A connection closed before any answer, or with one that is not HTTP,
        // would not do: Qt quietly sends the request again by itself.)
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: 100\r\n\r\n{\"con");
    }
    socket->disconnectFromHost();
}

#pragma once

#include "ai/AIClient.h"
#include "platform/KeyStore.h"
#include "store/NoteStore.h"
#include "windows/NoteWindowController.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

#include <memory>

// A stand-in for the AI service on 127.0.0.1, in the test's own event loop, where it points the AI client: it
// records every request and answers each with the next scripted response. Nothing leaves this computer.
class FakeAnthropic {
public:
    struct Response {
        int status = 200;
        QByteArray body;
        QByteArray retryAfter;
        bool cutOff = false;
    };
    struct Request {
        QByteArray line; // "POST /v1/messages HTTP/1.1"
        QHash<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
        QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
    };

    // A reply whose content is one text block.
    static Response text(const QString &text)
    {
        const QJsonObject block {{u"type"_qs, u"text"_qs}, {u"text"_qs, text}};
        return raw(200, QJsonDocument(QJsonObject {{u"content"_qs, QJsonArray {block}}}).toJson());
    }
    // A status with the API's error object around `message` (none when empty).
    static Response error(int status, const QString &message = {}, const QByteArray &retryAfter = {})
    {
        const QJsonObject error {{u"type"_qs, u"error"_qs}, {u"error"_qs, QJsonObject {{u"message"_qs, message}}}};
        return {status, message.isEmpty() ? QByteArray() : QJsonDocument(error).toJson(), retryAfter};
    }
    static Response raw(int status, const QByteArray &body) { return {status, body, {}}; }
    // Breaks the connection in the middle of the body: a transport failure. (A connection closed before any answer,
    // or with one that is not HTTP, would not do: Qt quietly sends the request again by itself.)
    static Response cutOff() { return {200, "{\"con", {}, true}; }

    FakeAnthropic()
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                QObject::connect(socket, &QTcpSocket::readyRead, &m_server, [this, socket] { read(socket); });
                QObject::connect(socket, &QTcpSocket::disconnected, &m_server, [this, socket] {
                    m_held.removeAll(socket);
                    socket->deleteLater();
                });
            }
        });
        m_server.listen(QHostAddress::LocalHost);
        qputenv(AIClient::baseUrlVariable, url().toEncoded());
    }

    QUrl url() const { return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort())); }
    // Responses are used in order; once they run out, every request gets `text("ok")`.
    void enqueue(const QList<Response> &responses) { m_script.append(responses); }
    // Answers nothing until release(): for what happens while a request runs.
    void hold() { m_holding = true; }
    void release()
    {
        m_holding = false;
        for (QTcpSocket *socket : std::exchange(m_held, {}))
            answer(socket);
    }

    const QList<Request> &requests() const { return m_requests; }

private:
    void read(QTcpSocket *socket)
    {
        QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
        socket->setProperty("buffer", buffer);
        const qsizetype headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            return;
        Request request;
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        request.line = lines.value(0).trimmed();
        for (const QByteArray &line : lines.mid(1)) {
            const qsizetype colon = line.indexOf(':');
            request.headers.insert(line.left(colon).trimmed().toLower(), line.mid(colon + 1).trimmed());
        }
        request.body = buffer.mid(headerEnd + 4);
        if (request.body.size() < request.headers.value("content-length").toLongLong())
            return;
        socket->setProperty("buffer", QByteArray());
        m_requests.append(request);
        if (m_holding)
            m_held.append(socket);
        else
            answer(socket);
    }

    void answer(QTcpSocket *socket)
    {
        const Response response = m_script.isEmpty() ? text(QStringLiteral("ok")) : m_script.takeFirst();
        QByteArray head = "HTTP/1.1 " + QByteArray::number(response.status) + " Status\r\n";
        head += "Content-Type: application/json\r\nConnection: close\r\n";
        head += "Content-Length: " + QByteArray::number(response.body.size() + (response.cutOff ? 95 : 0)) + "\r\n";
        if (!response.retryAfter.isEmpty())
            head += "Retry-After: " + response.retryAfter + "\r\n";
        socket->write(head + "\r\n" + response.body);
        socket->disconnectFromHost();
    }

    QList<Response> m_script;
    QList<Request> m_requests;
    QList<QTcpSocket *> m_held;
    bool m_holding = false;
    // Last, and the context of every connection: gone first, its sockets cannot call back into the members above.
    QTcpServer m_server;
};

// A script of answers, as a column of a test's data table.
using Responses = QList<FakeAnthropic::Response>;
Q_DECLARE_METATYPE(Responses)

// What the tests of applying a prompt share around the fake service: the keyring item, the Trash that keeps a note's
// text from before the reply.
namespace PromptTest {

// Stores `key` (removes the item when empty) and waits for the keyring's answer.
inline void setKey(KeyStore &keys, const QString &key)
{
    std::optional<QString> error;
    keys.storeKey(key, [&error](const QString &e) { error = e; });
    QVERIFY(QTest::qWaitFor([&] { return error.has_value(); }, 20000));
    QCOMPARE(*error, QString());
}

inline QString trash()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/Trash"_qs;
}

// A file in the Trash, or with no name the Trash's folder of files.
inline QString trashed(const QString &name = {})
{
    return trash() + u"/files/"_qs + name;
}

} // namespace PromptTest

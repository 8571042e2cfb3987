#pragma once

#include "ai/AIClient.h"
#include "platform/KeyStore.h"
#include "store/NoteStore.h"
#include "windows/NoteWindowController.h"

#include <QByteArray>
#include <QDir>
#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTest>
#include <QUrl>

class QTcpSocket;

// A stand-in for the AI service on 127.0.0.1, in the test's own event loop: it records every request and answers
// each with the next scripted response. Nothing leaves this computer.
class FakeAnthropic : public QObject {
    Q_OBJECT

public:
    struct Response {
        enum Kind { Answer, CutOff };
        Kind kind = Answer;
        int status = 200;
        QByteArray body;
        QList<std::pair<QByteArray, QByteArray>> headers;
    };
    struct Request {
        QByteArray method;
        QByteArray path;
        QHash<QByteArray, QByteArray> headers; // names in lower case
        QByteArray body;
        QJsonObject json() const;
    };

    // A reply whose content is one text block.
    static Response text(const QString &text);
    // A status with the API's error object around `message` (none when empty).
    static Response error(int status, const QString &message = {}, const QByteArray &retryAfter = {});
    static Response raw(int status, const QByteArray &body);
    // Breaks the connection in the middle of the answer: a transport failure.
    static Response cutOff()
    {
        Response response;
        response.kind = Response::CutOff;
        return response;
    }

    FakeAnthropic();
    ~FakeAnthropic() override;

    QUrl url() const;
    // Responses are used in order; once they run out, every request gets `text("ok")`.
    void enqueue(const Response &response) { m_script.append(response); }
    void enqueue(const QList<Response> &responses) { m_script.append(responses); }
    // Answers nothing until release(): for what happens while a request runs.
    void hold() { m_holding = true; }
    void release();

    const QList<Request> &requests() const { return m_requests; }

private:
    void read(QTcpSocket *socket);
    void answer(QTcpSocket *socket);

    QTcpServer m_server;
    QList<Response> m_script;
    QList<Request> m_requests;
    QHash<QTcpSocket *, QByteArray> m_buffers;
    QList<QTcpSocket *> m_held;
    bool m_holding = false;
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

#pragma once

#include <QObject>
#include <QString>

#include <functional>
#include <optional>

// The user's Anthropic API key in the system keyring (Secret Service or KWallet on Linux, the Keychain on macOS):
// one item, service "<reverse-domain id>.anthropic", account "api-key". The key is only ever handed to the
// callbacks: it is never logged and never written to settings or files.
//
// Every operation is asynchronous (a keyring may have to be unlocked by the user first) and reports through its
// callback on the main thread, never before the call returns. A callback is dropped when the KeyStore is destroyed
// first. Errors are sentences for the settings dialog; an empty error means success.
class KeyStore : public QObject {
    Q_OBJECT

public:
    static constexpr const char *account = "api-key";
    static constexpr const char *label = "TackPad – Anthropic API key";

    using ReadCallback = std::function<void(const std::optional<QString> &key, const QString &error)>;
    using HasKeyCallback = std::function<void(bool hasKey)>;
    using DoneCallback = std::function<void(const QString &error)>;

    // The application's service name: the reverse-domain id followed by ".anthropic".
    static QString defaultService();
    // The error given when the system has no keyring to keep the key in.
    static QString noKeyringMessage();

    // Tests pass a service name of their own, so they never meet the user's real key.
    explicit KeyStore(const QString &service = defaultService(), QObject *parent = nullptr);

    QString service() const { return m_service; }

    // The stored key, or nothing when none is stored (that is not an error).
    void readKey(ReadCallback done);
    // Whether a non-empty key is stored; a keyring that cannot be read counts as no key.
    void hasKey(HasKeyCallback done);
    // Replaces the stored key: the old item is deleted, then `key` written. An empty key only deletes.
    void storeKey(const QString &key, DoneCallback done);
    void removeKey(DoneCallback done);

private:
    void writeKey(const QString &key, DoneCallback done);

    QString m_service;
};

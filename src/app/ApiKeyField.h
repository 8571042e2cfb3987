#pragma once

#include <QPointer>
#include <QWidget>

#include <functional>

class KeyStore;
class QLabel;
class QLineEdit;
class QPushButton;

// The Anthropic API key in the settings dialog: a password field and its Remove button, backed by the keyring.
//
// The field never shows a stored key. Its placeholder says whether the keyring holds one; typing replaces it, Remove
// marks it for removal. Nothing reaches the keyring until `commit`, which the dialog calls from Done. The keyring's
// messages appear in `problemLabel`, a separate label the dialog places under the field.
class ApiKeyField : public QWidget {
    Q_OBJECT

public:
    static QString checkingPlaceholder();
    static QString noKeyPlaceholder();
    static QString storedKeyPlaceholder();
    static QString removalPlaceholder();

    explicit ApiKeyField(QWidget *parent);

    // Replaces the key store (null: no keyring is available) and checks afresh whether it holds a key.
    void setKeyStore(KeyStore *keyStore);
    QLabel *problemLabel() const { return m_problem; }
    bool isBusy() const { return m_busy; }

    // Stores the typed key, or removes the stored one when the user asked for that, then calls `finished` with the
    // keyring's error (empty on success, and at once when there is nothing to do). On an error the field keeps what
    // the user typed, so Done can be tried again.
    using Finished = std::function<void(const QString &error)>;
    void commit(Finished finished);

Q_SIGNALS:
    // The keyring is working on a commit (true) or has answered (false); the dialog must not close meanwhile.
    void busyChanged(bool busy);

private:
    enum class KeyState { Checking, Absent, Stored, MarkedForRemoval, Unavailable };

    int widthShowingEveryPlaceholder() const;
    void checkStoredKey();
    void showKeyState(KeyState state, const QString &problem = QString());
    void markKeyForRemoval();
    void commitFinished(const QString &error, const Finished &finished);
    void setBusy(bool busy);

    QPointer<KeyStore> m_keyStore;
    KeyState m_state = KeyState::Checking;
    // Distinguishes the answer of the current check from one of an earlier key store.
    int m_check = 0;
    bool m_busy = false;

    QLineEdit *m_key = nullptr;
    QPushButton *m_remove = nullptr;
    QLabel *m_problem = nullptr;
};

#include "app/ApiKeyField.h"

#include "platform/KeyStore.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyle>
#include <QStyleOptionFrame>

#include <algorithm>

QString ApiKeyField::noKeyPlaceholder()
{
    return tr("Paste your API key");
}

QString ApiKeyField::checkingPlaceholder()
{
    return tr("Checking the keyring…");
}

QString ApiKeyField::storedKeyPlaceholder()
{
    return tr("Key stored – type here to replace it");
}

QString ApiKeyField::removalPlaceholder()
{
    return tr("Key will be removed when you click Done");
}

ApiKeyField::ApiKeyField(QWidget *parent)
    : QWidget(parent)
{
    m_key = new QLineEdit(this);
    m_key->setObjectName(QStringLiteral("apiKey"));
    m_key->setEchoMode(QLineEdit::Password);
    m_key->setMinimumWidth(widthShowingEveryPlaceholder());
    // The form's label names this whole field; the line edit inside is what takes the keyboard and is read out.
    m_key->setAccessibleName(tr("Anthropic API key"));
    setFocusProxy(m_key);
    m_remove = new QPushButton(tr("R&emove"), this);
    m_remove->setObjectName(QStringLiteral("removeKey"));
    m_remove->setAutoDefault(false);
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(m_key, 1);
    row->addWidget(m_remove);

    m_problem = new QLabel(parent);
    m_problem->setObjectName(QStringLiteral("keyProblem"));
    m_problem->setWordWrap(true);
    m_problem->setVisible(false);

    connect(m_remove, &QPushButton::clicked, this, &ApiKeyField::markKeyForRemoval);
    showKeyState(KeyState::Checking);
}

// Wide enough for the longest placeholder, frame and margins included: a cut one ("…when you click D") does not
// say what will happen.
int ApiKeyField::widthShowingEveryPlaceholder() const
{
    int widest = 0;
    for (const QString &text :
        {noKeyPlaceholder(), checkingPlaceholder(), storedKeyPlaceholder(), removalPlaceholder()})
        widest = std::max(widest, m_key->fontMetrics().horizontalAdvance(text));
    QStyleOptionFrame option;
    option.initFrom(m_key);
    option.lineWidth = m_key->style()->pixelMetric(QStyle::PM_DefaultFrameWidth, &option, m_key);
    const QMargins text = m_key->textMargins() + m_key->contentsMargins();
    // QLineEdit keeps two pixels free on either side of its text, and the cursor needs one.
    const int contents = widest + text.left() + text.right() + 2 * 2 + 1;
    return m_key->style()
        ->sizeFromContents(QStyle::CT_LineEdit, &option, QSize(contents, m_key->sizeHint().height()), m_key)
        .width();
}

void ApiKeyField::setKeyStore(KeyStore *keyStore)
{
    if (m_keyStore)
        disconnect(m_keyStore, nullptr, this, nullptr);
    m_keyStore = keyStore;
    if (m_keyStore) {
        connect(m_keyStore, &QObject::destroyed, this, [this] {
            // A pending answer will never come: the dialog must not wait for it.
            setBusy(false);
            showKeyState(KeyState::Unavailable, KeyStore::noKeyringMessage());
        });
    }
    checkStoredKey();
}

void ApiKeyField::checkStoredKey()
{
    const int check = ++m_check;
    if (!m_keyStore) {
        showKeyState(KeyState::Unavailable, KeyStore::noKeyringMessage());
        return;
    }
    showKeyState(KeyState::Checking);
    // Read rather than ask `hasKey`: a keyring that cannot be read must be told apart from one without a key. The
    // key itself is only looked at, never kept or shown.
    QPointer<ApiKeyField> self(this);
    m_keyStore->readKey([self, check](const std::optional<QString> &key, const QString &error) {
        if (!self || check != self->m_check)
            return;
        if (!error.isEmpty())
            self->showKeyState(KeyState::Unavailable, error);
        else
            self->showKeyState(key && !key->isEmpty() ? KeyState::Stored : KeyState::Absent);
    });
}

void ApiKeyField::showKeyState(KeyState state, const QString &problem)
{
    m_state = state;
    // Until the keyring has answered, nobody knows whether a key can be kept: the field waits for the answer.
    const bool usable = state != KeyState::Unavailable && state != KeyState::Checking;
    if (!usable || state == KeyState::MarkedForRemoval)
        m_key->clear();
    m_key->setEnabled(usable);
    switch (state) {
    case KeyState::Checking:
        m_key->setPlaceholderText(checkingPlaceholder());
        break;
    case KeyState::Stored:
        m_key->setPlaceholderText(storedKeyPlaceholder());
        break;
    case KeyState::MarkedForRemoval:
        m_key->setPlaceholderText(removalPlaceholder());
        break;
    case KeyState::Absent:
    case KeyState::Unavailable:
        m_key->setPlaceholderText(noKeyPlaceholder());
        break;
    }
    m_remove->setVisible(state == KeyState::Stored || state == KeyState::MarkedForRemoval);
    m_remove->setEnabled(state == KeyState::Stored && !m_busy);
    m_problem->setText(problem);
    m_problem->setVisible(!problem.isEmpty());
}

void ApiKeyField::markKeyForRemoval()
{
    if (m_state == KeyState::Stored)
        showKeyState(KeyState::MarkedForRemoval);
}

void ApiKeyField::commit(Finished finished)
{
    // Keys never contain white space; a pasted line break or stray space is not part of it.
    const QString typed = m_key->text().trimmed();
    const bool store = !typed.isEmpty() && m_keyStore && m_key->isEnabled();
    const bool remove = !store && m_keyStore && m_state == KeyState::MarkedForRemoval;
    if (!store && !remove) {
        finished(QString());
        return;
    }
    setBusy(true);
    QPointer<ApiKeyField> self(this);
    auto answered = [self, finished = std::move(finished)](const QString &error) {
        if (self)
            self->commitFinished(error, finished);
    };
    if (store)
        m_keyStore->storeKey(typed, answered);
    else
        m_keyStore->removeKey(answered);
}

void ApiKeyField::commitFinished(const QString &error, const Finished &finished)
{
    setBusy(false);
    if (error == KeyStore::noKeyringMessage()) {
        showKeyState(KeyState::Unavailable, error);
    } else if (!error.isEmpty()) {
        m_problem->setText(error);
        m_problem->setVisible(true);
    }
    finished(error);
}

void ApiKeyField::setBusy(bool busy)
{
    if (m_busy == busy)
        return;
    m_busy = busy;
    m_key->setReadOnly(busy);
    m_remove->setEnabled(!busy && m_state == KeyState::Stored);
    Q_EMIT busyChanged(busy);
}

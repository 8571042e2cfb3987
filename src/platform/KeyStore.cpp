#include "platform/KeyStore.h"

#include "core/AppInfo.h"
#include "platform/KeyringLabel.h"
#include "platform/PlatformLog.h"

#include <qt6keychain/keychain.h>

namespace {

// The keyring services answer "no keyring" in several ways: QtKeychain's own code where it knows no backend, and
// the bus error text where the Secret Service is simply not running ("The name org.freedesktop.secrets was not
// provided by any .service files", or ServiceUnknown when activation is off).
bool meansNoKeyring(QKeychain::Error error, const QString &text)
{
    return error == QKeychain::NoBackendAvailable || error == QKeychain::NotImplemented
        || text.contains(QLatin1String("org.freedesktop.secrets"))
        || text.contains(QLatin1String("not provided by any .service files"))
        || text.contains(QLatin1String("ServiceUnknown")) || text.contains(QLatin1String("kwalletd"));
}

QString describe(const QKeychain::Job &job, const QString &action)
{
    const QString text = job.errorString();
    if (meansNoKeyring(job.error(), text))
        return KeyStore::noKeyringMessage();
    if (job.error() == QKeychain::AccessDeniedByUser || job.error() == QKeychain::AccessDenied)
        return KeyStore::tr("The keyring refused access, so the API key cannot be %1.").arg(action);
    return KeyStore::tr("The API key cannot be %1: %2").arg(action, text);
}

void logFailure(const char *what, const QKeychain::Job &job)
{
    // Only the keyring's error: the key itself never reaches a log.
    qCWarning(lcPlatform).noquote() << "TackPad: keyring" << what << "failed:" << job.errorString();
}

} // namespace

QString KeyStore::defaultService()
{
    return QString::fromLatin1(AppInfo::reverseDomainId) + QStringLiteral(".anthropic");
}

QString KeyStore::noKeyringMessage()
{
    return tr("No keyring is available, so the API key cannot be stored.");
}

KeyStore::KeyStore(const QString &service, QObject *parent)
    : QObject(parent)
    , m_service(service)
{
}

// The jobs are not children of the KeyStore: a job being destroyed while its keyring call is still out crashes in
// the backend. They delete themselves when finished; connecting with this object as context drops the callback of
// a job that outlives the KeyStore.

void KeyStore::readKey(ReadCallback done)
{
    auto *job = new QKeychain::ReadPasswordJob(m_service);
    job->setKey(QString::fromLatin1(account));
    connect(job, &QKeychain::Job::finished, this, [done = std::move(done)](QKeychain::Job *finished) {
        const auto &read = static_cast<const QKeychain::ReadPasswordJob &>(*finished);
        if (read.error() == QKeychain::NoError) {
            done(read.textData(), QString());
        } else if (read.error() == QKeychain::EntryNotFound) {
            done(std::nullopt, QString());
        } else {
            logFailure("read", read);
            done(std::nullopt, describe(read, tr("read")));
        }
    });
    job->start();
}

void KeyStore::hasKey(HasKeyCallback done)
{
    readKey(
        [done = std::move(done)](const std::optional<QString> &key, const QString &) { done(key && !key->isEmpty()); });
}

void KeyStore::storeKey(const QString &key, DoneCallback done)
{
    // Delete first, then write: the write then creates a fresh item instead of updating one whose attributes may
    // come from an older version.
    removeKey([this, key, done = std::move(done)](const QString &error) mutable {
        if (!error.isEmpty() || key.isEmpty()) {
            done(error);
            return;
        }
        writeKey(key, std::move(done));
    });
}

void KeyStore::removeKey(DoneCallback done)
{
    auto *job = new QKeychain::DeletePasswordJob(m_service);
    job->setKey(QString::fromLatin1(account));
    connect(job, &QKeychain::Job::finished, this, [done = std::move(done)](QKeychain::Job *finished) {
        // Nothing stored is what deleting wants anyway.
        if (finished->error() == QKeychain::NoError || finished->error() == QKeychain::EntryNotFound) {
            done(QString());
            return;
        }
        logFailure("delete", *finished);
        done(describe(*finished, tr("removed")));
    });
    job->start();
}

void KeyStore::writeKey(const QString &key, DoneCallback done)
{
    auto *job = new QKeychain::WritePasswordJob(m_service);
    job->setKey(QString::fromLatin1(account));
    job->setTextData(key);
    connect(job, &QKeychain::Job::finished, this, [this, done = std::move(done)](QKeychain::Job *finished) {
        if (finished->error() == QKeychain::NoError) {
            KeyringLabel::apply(
                m_service, QString::fromLatin1(account), QString::fromUtf8(label), this, [done] { done(QString()); });
            return;
        }
        logFailure("write", *finished);
        done(describe(*finished, tr("stored")));
    });
    job->start();
}

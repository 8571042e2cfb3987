#pragma once

#include <QString>

#include <functional>

class QObject;

// The name under which a stored secret appears in the system's keyring manager (Seahorse, Keychain Access).
// QtKeychain names its items after the service, which means nothing to a user looking through the keyring; this
// gives the item a readable label after it was written. Best effort: a keyring that cannot be relabelled keeps the
// service name, which is logged and not an error.
namespace KeyringLabel {

// Labels the item of `service` and `account`, then calls `done` (unless `context` is gone by then).
void apply(
    const QString &service, const QString &account, const QString &label, QObject *context, std::function<void()> done);

} // namespace KeyringLabel

// macOS Keychain: set the label attribute of the generic-password item that QtKeychain wrote.
#include "platform/KeyringLabel.h"

#include "platform/PlatformLog.h"

#include <QMetaObject>
#include <QObject>

#include <Security/Security.h>

namespace KeyringLabel {

void apply(
    const QString &service, const QString &account, const QString &label, QObject *context, std::function<void()> done)
{
    const void *queryKeys[] = {kSecClass, kSecAttrService, kSecAttrAccount};
    const void *queryValues[] = {kSecClassGenericPassword, service.toCFString(), account.toCFString()};
    CFDictionaryRef query = CFDictionaryCreate(
        nullptr, queryKeys, queryValues, 3, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    const void *updateKeys[] = {kSecAttrLabel};
    const void *updateValues[] = {label.toCFString()};
    CFDictionaryRef update = CFDictionaryCreate(
        nullptr, updateKeys, updateValues, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    const OSStatus status = SecItemUpdate(query, update);
    if (status != errSecSuccess)
        qCInfo(lcPlatform) << "TackPad: could not label the keychain item, status" << int(status);
    CFRelease(query);
    CFRelease(update);
    CFRelease(queryValues[1]);
    CFRelease(queryValues[2]);
    CFRelease(updateValues[0]);
    // Same promise as everywhere: the callback follows on the event loop, not inside the call.
    QMetaObject::invokeMethod(context, std::move(done), Qt::QueuedConnection);
}

} // namespace KeyringLabel

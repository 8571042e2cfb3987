#pragma once

#include "platform/GlobalHotKey.h"

// The backend of a platform that gives applications no global shortcut (a Wayland desktop without the shortcuts
// portal, the offscreen platform). It never registers; its description tells the user what works instead.
class UnavailableGlobalHotKey : public GlobalHotKey {
    Q_OBJECT

public:
    // `reason` is the first sentence of the description: why this desktop cannot offer the shortcut.
    UnavailableGlobalHotKey(const QString &reason, QObject *parent);

    void registerHotKey() override { reportFailure(); }
    void unregisterHotKey() override { }
    bool isAvailable() const override { return false; }
    QString description() const override;

private:
    QString m_reason;
};

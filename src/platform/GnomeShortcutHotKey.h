#pragma once

#include "platform/GlobalHotKey.h"

#include <QString>

#include <memory>

class GnomeCustomShortcut;

// GNOME on Wayland gives applications no global key and, before its shortcuts portal, no way to ask for one. What
// it does offer is a custom keyboard shortcut in its own settings that runs a command: this backend adds one that
// runs `tackpad --new-note`, which hands the request to the running Tackpad. Because that changes the user's
// desktop settings, it is added only after the user agreed (`giveConsent`), and removed again when the option is
// switched off. Quitting leaves it in place: it belongs to the user's settings now, and starts Tackpad if needed.
class GnomeShortcutHotKey : public GlobalHotKey {
    Q_OBJECT

public:
    static bool isOffered();

    // `program` is what the shortcut runs with --new-note, normally this very binary.
    GnomeShortcutHotKey(const QString &program, QObject *parent);
    ~GnomeShortcutHotKey() override;

    void registerHotKey() override;
    void unregisterHotKey() override;
    bool isAvailable() const override { return true; }
    QString description() const override;
    QString consentQuestion() const override;
    void giveConsent() override { m_consented = true; }

private:
    void fail(const QString &problem);

    std::unique_ptr<GnomeCustomShortcut> m_shortcut;
    QString m_command;
    QString m_problem;
    bool m_consented = false;
};

#pragma once

#include <QCoreApplication>
#include <QString>

// A GNOME custom keyboard shortcut that runs `tackpad --new-note`. On GNOME under Wayland an application cannot
// grab a key for itself, and GNOME 43 has no global-shortcuts portal; what works is an entry in the desktop's own
// list of custom shortcuts (Settings > Keyboard > Custom Shortcuts), which gnome-settings-daemon runs for us.
//
// The entry lives in GSettings: the list `custom-keybindings` of org.gnome.settings-daemon.plugins.media-keys holds
// object paths, each an instance of the relocatable schema ...media-keys.custom-keybinding (name, command,
// binding). Ours has a path of its own, so it is told apart from the user's entries without guessing. The user may
// change its keys in GNOME Settings: that choice is kept when the entry is refreshed.
class GnomeCustomShortcut {
    Q_DECLARE_TR_FUNCTIONS(GnomeCustomShortcut)

public:
    static constexpr const char *entryPath = "/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/"
                                             "tackpad-new-note/";
    // GTK accelerator syntax, the same combination as the hot key on other desktops.
    static constexpr const char *defaultBinding = "<Primary><Alt>bracketleft";

    // Whether GNOME's media-keys schemas are installed, so that the entry can be written at all.
    static bool isOffered();

    // The command line that runs `program --new-note`. GNOME splits the command the way a shell does, so a path
    // with spaces or quotes is quoted.
    static QString commandFor(const QString &program);

    // The name shown in GNOME Settings.
    static QString entryName();

    // An accelerator such as "<Primary><Alt>bracketleft" in the form Qt and the UI write, "Ctrl+Alt+[". Empty for
    // an empty accelerator (a disabled shortcut).
    static QString readableBinding(const QString &accelerator);

    // Whether our path is in the list and its command runs Tackpad.
    bool isInstalled() const;

    // The combination our entry has now, readable (see readableBinding); empty when none.
    QString binding() const;

    // The name of another custom shortcut that has the combination ours has (or would get on install), or an
    // empty string. GNOME gives a combination to one entry only, so such a shortcut would never run.
    QString bindingTakenBy() const;

    // Adds our entry after the user's ones and writes its name and command. A fresh entry gets defaultBinding,
    // unless another custom shortcut already has it: then it gets none (bindingTakenBy() names the other) and the
    // other is left alone, so the caller can ask the user to pick keys in GNOME Settings. An entry already in the
    // list keeps its binding. False, with errorString(), when the schema is missing or a write is refused.
    bool install(const QString &command);

    // Takes our path out of the list, leaving the other entries as they are, and resets our entry's keys.
    bool remove();

    QString errorString() const { return m_error; }

private:
    bool fail(const QString &why);

    QString m_error;
};

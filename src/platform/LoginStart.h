#pragma once

#include <QString>

// Starting Tackpad when the user logs in. Sticky notes are meant to be on screen after every login, but nothing
// starts by itself without asking: off until the user turns it on in Settings.
//
// The desktop's own record is the truth (on freedesktop desktops an XDG autostart entry), not a setting of ours: a
// user who removes the entry with the desktop's tools sees the box unchecked.
namespace LoginStart {

// Whether this platform build can start the app at login at all.
bool isSupported();
bool isEnabled();
// Writes or removes the desktop's record; false, with the reason, when that fails.
bool setEnabled(bool enabled, QString *error);

} // namespace LoginStart

#pragma once

// Names that identify the application to the system: settings location, keyring service, desktop file.
namespace AppInfo {
inline constexpr const char *name = "Tackpad";
inline constexpr const char *organization = "Tackpad";
inline constexpr const char *organizationDomain = "tackpad.app";
inline constexpr const char *reverseDomainId = "app.tackpad.Tackpad";
inline constexpr const char *version = TACKPAD_VERSION;
inline constexpr const char *website = "https://tackpad.app";
} // namespace AppInfo

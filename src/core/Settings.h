#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariant>
#include <QVariantMap>

#include <memory>
#include <optional>

class QSettings;

// Every preference key the application reads or writes. Other code names keys only through these constants.
namespace SettingsKey {
inline constexpr const char *usePreviousNoteSettings = "usePreviousNoteSettings";
inline constexpr const char *fixedNoteFontSize = "fixedNoteFontSize";
inline constexpr const char *fixedNoteWidth = "fixedNoteWidth";
inline constexpr const char *fixedNoteHeight = "fixedNoteHeight";
inline constexpr const char *fixedNoteColor = "fixedNoteColor";
inline constexpr const char *fixedNoteFloat = "fixedNoteFloat";
inline constexpr const char *reopenLastWorkspace = "reopenLastWorkspace";
inline constexpr const char *globalNewNoteHotKey = "globalNewNoteHotKey";
inline constexpr const char *darkMode = "darkMode";
inline constexpr const char *defaultNoteColor = "defaultNoteColor";
inline constexpr const char *defaultNoteFloat = "defaultNoteFloat";
inline constexpr const char *defaultNoteFontSize = "defaultNoteFontSize";
inline constexpr const char *defaultNoteWidth = "defaultNoteWidth";
inline constexpr const char *defaultNoteHeight = "defaultNoteHeight";
inline constexpr const char *noteFontFamily = "noteFontFamily";
inline constexpr const char *aiModel = "aiModel";
inline constexpr const char *menuBarMode = "menuBarMode";
inline constexpr const char *notesFolder = "notesFolder";
inline constexpr const char *startupWorkspace = "startupWorkspace";
inline constexpr const char *workspaces = "workspaces";
inline constexpr const char *disableAutoWorkspaces = "disableAutoWorkspaces";
inline constexpr const char *workspaceTipShown = "workspaceTipShown";
inline constexpr const char *importOfferDeclinedFolders = "importOfferDeclinedFolders";
inline constexpr const char *onboardingAccepted = "onboardingAccepted";
} // namespace SettingsKey

// The application's preferences on QSettings (INI under ~/.config on Linux, the defaults plist on macOS).
// Registered defaults are a fallback table consulted when a key is unset; they are never written, so a later
// change of a default reaches users who never touched the setting. Copies share one QSettings.
class Settings {
public:
    static constexpr const char *defaultAiModel = "claude-sonnet-4-6";

    // The signed-in user's settings.
    Settings();
    // Settings kept in an INI file of the caller's choice (tests hand a temporary file).
    explicit Settings(const QString &iniFile);

    // The nine registered defaults. Registration is the table itself: `value` falls back to it.
    static const QVariantMap &registeredDefaults();
    static QVariant registeredDefault(const char *key);
    static void registerDefaults();

    bool contains(const char *key) const;
    // The stored value as it is, or the registered default; the typed getters below check what they read, and a
    // value of the wrong kind reads as unset (the registered default, else false, 0 or absent).
    QVariant value(const char *key) const;
    bool boolValue(const char *key) const;
    // 0 when unset (and no default is registered), as the platform's number getter reads.
    double doubleValue(const char *key) const;
    // A stored value that is no finite number gives the registered default, or 0 when none is registered; absent
    // only when nothing is stored and nothing registered.
    std::optional<double> optionalDouble(const char *key) const;
    // Text (or a number as text); absent for anything else.
    std::optional<QString> stringValue(const char *key) const;
    // The text entries of a list; a single text is a list of one.
    QStringList stringList(const char *key) const;
    // A URL, or a plain absolute path taken as a file URL.
    std::optional<QUrl> urlValue(const char *key) const;

    void setValue(const char *key, const QVariant &value);
    void setUrl(const char *key, const QUrl &url);
    void remove(const char *key);
    void sync();

    // "aiModel" trimmed of spaces and tabs; "claude-sonnet-4-6" when absent or blank.
    QString aiModel() const;
    // "fixedNoteColor" when it is a usable colour string, else "#FBF4A6".
    QString fixedColor() const;
    // "noteFontFamily"; absent means the system font. Writing nothing removes the key.
    std::optional<QString> noteFontFamily() const;
    void setNoteFontFamily(const std::optional<QString> &family);
    bool darkMode() const;

    QString fileName() const;

private:
    std::shared_ptr<QSettings> m_settings;
};

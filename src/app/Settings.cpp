#include "app/Settings.h"

#include "notes/NotePalette.h"

#include <QRegularExpression>
#include <QSettings>

#include <cmath>

Settings::Settings()
    : m_settings(std::make_shared<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                             QStringLiteral("Tackpad"), QStringLiteral("Tackpad")))
{
}

Settings::Settings(const QString &iniFile) : m_settings(std::make_shared<QSettings>(iniFile, QSettings::IniFormat)) {}

const QVariantMap &Settings::registeredDefaults()
{
    static const QVariantMap defaults{
        {QString::fromLatin1(SettingsKey::usePreviousNoteSettings), true},
        {QString::fromLatin1(SettingsKey::fixedNoteFontSize), 12.0},
        {QString::fromLatin1(SettingsKey::fixedNoteWidth), 270.0},
        {QString::fromLatin1(SettingsKey::fixedNoteHeight), 260.0},
        {QString::fromLatin1(SettingsKey::fixedNoteColor), QStringLiteral("#FBF4A6")},
        {QString::fromLatin1(SettingsKey::fixedNoteFloat), false},
        {QString::fromLatin1(SettingsKey::reopenLastWorkspace), true},
        {QString::fromLatin1(SettingsKey::globalNewNoteHotKey), true},
        {QString::fromLatin1(SettingsKey::darkMode), false},
    };
    return defaults;
}

void Settings::registerDefaults()
{
    // QSettings has no registration domain; the table above is consulted on every read instead. Touching it
    // here builds it before the first window needs it.
    (void)registeredDefaults();
}

bool Settings::contains(const char *key) const
{
    return m_settings->contains(QLatin1String(key));
}

QVariant Settings::value(const char *key) const
{
    const QString name = QString::fromLatin1(key);
    if (m_settings->contains(name))
        return m_settings->value(name);
    return registeredDefaults().value(name);
}

bool Settings::boolValue(const char *key) const
{
    const QVariant v = value(key);
    // INI files hand values back as text; "true"/"1"/"yes" as the platform's boolean getter reads them.
    if (v.typeId() == QMetaType::QString) {
        const QString text = v.toString().trimmed().toLower();
        return text == QLatin1String("true") || text == QLatin1String("yes") || text.toDouble() != 0;
    }
    return v.toBool();
}

double Settings::doubleValue(const char *key) const
{
    bool ok = false;
    const double d = value(key).toDouble(&ok);
    return ok && std::isfinite(d) ? d : 0.0;
}

std::optional<double> Settings::optionalDouble(const char *key) const
{
    if (!value(key).isValid())
        return std::nullopt;
    return doubleValue(key);
}

std::optional<QString> Settings::stringValue(const char *key) const
{
    const QVariant v = value(key);
    if (!v.isValid() || !v.canConvert<QString>())
        return std::nullopt;
    return v.toString();
}

QStringList Settings::stringList(const char *key) const
{
    const QVariant v = value(key);
    if (!v.isValid())
        return {};
    return v.toStringList();
}

std::optional<QUrl> Settings::urlValue(const char *key) const
{
    const auto text = stringValue(key);
    if (!text || text->isEmpty())
        return std::nullopt;
    const QUrl url(*text);
    return url.isValid() ? std::optional<QUrl>(url) : std::nullopt;
}

void Settings::setValue(const char *key, const QVariant &value)
{
    m_settings->setValue(QLatin1String(key), value);
}

void Settings::setUrl(const char *key, const QUrl &url)
{
    m_settings->setValue(QLatin1String(key), url.toString());
}

void Settings::remove(const char *key)
{
    m_settings->remove(QLatin1String(key));
}

void Settings::sync()
{
    m_settings->sync();
}

QString Settings::aiModel() const
{
    static const QRegularExpression blanks(QStringLiteral("^[ \\t]+|[ \\t]+$"));
    const QString model = stringValue(SettingsKey::aiModel).value_or(QString()).remove(blanks);
    return model.isEmpty() ? QString::fromLatin1(defaultAiModel) : model;
}

QString Settings::fixedColor() const
{
    const auto color = stringValue(SettingsKey::fixedNoteColor);
    if (color && NotePalette::colorFromHexString(*color))
        return *color;
    return QString::fromLatin1(NotePalette::fallbackHex);
}

std::optional<QString> Settings::noteFontFamily() const
{
    return stringValue(SettingsKey::noteFontFamily);
}

void Settings::setNoteFontFamily(const std::optional<QString> &family)
{
    if (family)
        setValue(SettingsKey::noteFontFamily, *family);
    else
        remove(SettingsKey::noteFontFamily);
}

bool Settings::darkMode() const
{
    return boolValue(SettingsKey::darkMode);
}

QString Settings::fileName() const
{
    return m_settings->fileName();
}

#include "core/Settings.h"

#include "notes/NotePalette.h"

#include <QRegularExpression>
#include <QSettings>

#include <cmath>

// The settings file is the user's: hand-edited, written by an older version, or half-written by a crash. Every
// value is therefore checked for its type when read. A value of the wrong kind (a list where a word belongs, text
// that is no number, a number that is not finite) counts as unset, so the registered default, or the caller's
// fallback, applies; it is never passed on to code that trusts it.
namespace {

bool isText(const QVariant &v)
{
    return v.typeId() == QMetaType::QString || v.typeId() == QMetaType::QByteArray;
}

bool isNumber(const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
        return true;
    default:
        return false;
    }
}

std::optional<bool> boolFrom(const QVariant &v)
{
    if (v.typeId() == QMetaType::Bool)
        return v.toBool();
    if (isNumber(v))
        return v.toDouble() != 0;
    if (!isText(v))
        return std::nullopt;
    // INI files hand values back as text; read them as the platform's boolean getter does.
    const QString text = v.toString().trimmed().toLower();
    if (text == QLatin1String("true") || text == QLatin1String("yes"))
        return true;
    if (text == QLatin1String("false") || text == QLatin1String("no"))
        return false;
    bool ok = false;
    const double number = text.toDouble(&ok);
    return ok && std::isfinite(number) ? std::optional<bool>(number != 0) : std::nullopt;
}

std::optional<double> doubleFrom(const QVariant &v)
{
    if (!isNumber(v) && !isText(v))
        return std::nullopt;
    bool ok = false;
    const double number = isText(v) ? v.toString().trimmed().toDouble(&ok) : v.toDouble(&ok);
    return ok && std::isfinite(number) ? std::optional<double>(number) : std::nullopt;
}

} // namespace

Settings::Settings()
    : m_settings(std::make_shared<QSettings>(
        QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("Tackpad"), QStringLiteral("Tackpad")))
{
}

Settings::Settings(const QString &iniFile)
    : m_settings(std::make_shared<QSettings>(iniFile, QSettings::IniFormat))
{
}

const QVariantMap &Settings::registeredDefaults()
{
    static const QVariantMap defaults {
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

QVariant Settings::registeredDefault(const char *key)
{
    return registeredDefaults().value(QString::fromLatin1(key));
}

bool Settings::boolValue(const char *key) const
{
    if (const std::optional<bool> stored = boolFrom(m_settings->value(QLatin1String(key))))
        return *stored;
    return registeredDefault(key).toBool();
}

double Settings::doubleValue(const char *key) const
{
    return optionalDouble(key).value_or(0.0);
}

std::optional<double> Settings::optionalDouble(const char *key) const
{
    const QVariant stored = m_settings->value(QLatin1String(key));
    if (const std::optional<double> number = doubleFrom(stored))
        return number;
    if (const std::optional<double> registered = doubleFrom(registeredDefault(key)))
        return registered;
    // Present but no number, and nothing registered: 0, as the platform's number getter reads it.
    return stored.isValid() ? std::optional<double>(0.0) : std::nullopt;
}

std::optional<QString> Settings::stringValue(const char *key) const
{
    const QVariant v = value(key);
    if (!isText(v) && !isNumber(v))
        return std::nullopt;
    return v.toString();
}

QStringList Settings::stringList(const char *key) const
{
    const QVariant v = value(key);
    // An INI file gives a one-entry list back as plain text.
    if (isText(v)) {
        const QString text = v.toString();
        return text.isEmpty() ? QStringList() : QStringList {text};
    }
    if (v.typeId() != QMetaType::QStringList && v.typeId() != QMetaType::QVariantList)
        return {};
    QStringList list;
    for (const QVariant &entry : v.toList()) {
        if (isText(entry))
            list.append(entry.toString());
    }
    return list;
}

std::optional<QUrl> Settings::urlValue(const char *key) const
{
    const auto text = stringValue(key);
    if (!text || text->trimmed().isEmpty())
        return std::nullopt;
    // A folder written by hand as a plain path is taken as the folder it names.
    if (text->startsWith(QLatin1Char('/')))
        return QUrl::fromLocalFile(*text);
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

#include "platform/GnomeCustomShortcut.h"
#include "platform/PlatformLog.h"

#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QStringList>

#include <gio/gio.h>

#include <memory>

namespace {

constexpr const char *listSchemaId = "org.gnome.settings-daemon.plugins.media-keys";
constexpr const char *entrySchemaId = "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";
constexpr const char *listKey = "custom-keybindings";
constexpr const char *newNoteOption = "--new-note";

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct SchemaUnref {
    void operator()(GSettingsSchema *schema) const { g_settings_schema_unref(schema); }
};
using SettingsPtr = std::unique_ptr<GSettings, GObjectUnref>;
using SchemaPtr = std::unique_ptr<GSettingsSchema, SchemaUnref>;

// Through the schema source, never g_settings_new(): GIO aborts the whole process on a schema it does not know.
SchemaPtr lookupSchema(const char *id)
{
    GSettingsSchemaSource *source = g_settings_schema_source_get_default();
    return SchemaPtr(source ? g_settings_schema_source_lookup(source, id, TRUE) : nullptr);
}

SettingsPtr openSettings(const char *schemaId, const QString &path = {})
{
    const SchemaPtr schema = lookupSchema(schemaId);
    if (!schema)
        return {};
    const QByteArray utf8Path = path.toUtf8();
    return SettingsPtr(g_settings_new_full(schema.get(), nullptr, path.isEmpty() ? nullptr : utf8Path.constData()));
}

// The list is the user's and GNOME Settings edits it: GIO refuses (with a critical) a path that is not of the form
// "/a/b/", so such entries are skipped rather than opened.
bool isUsablePath(const QString &path)
{
    return path.startsWith(u'/') && path.endsWith(u'/') && !path.contains(QStringLiteral("//"));
}

QString readString(GSettings *settings, const char *key)
{
    gchar *value = g_settings_get_string(settings, key);
    const QString text = QString::fromUtf8(value);
    g_free(value);
    return text;
}

QStringList readList(GSettings *settings)
{
    gchar **values = g_settings_get_strv(settings, listKey);
    QStringList list;
    for (gchar **value = values; *value; ++value)
        list.append(QString::fromUtf8(*value));
    g_strfreev(values);
    return list;
}

bool writeList(GSettings *settings, const QStringList &list)
{
    QList<QByteArray> storage;
    std::vector<const gchar *> values;
    for (const QString &path : list)
        values.push_back(storage.emplace_back(path.toUtf8()).constData());
    values.push_back(nullptr);
    return g_settings_set_strv(settings, listKey, values.data());
}

// gnome-settings-daemon splits the command the way a shell would (g_shell_parse_argv), so the same parse tells
// whether an entry runs Tackpad's new-note command, whatever path the binary was installed under.
bool runsNewNote(const QString &command)
{
    gchar **argv = nullptr;
    if (!g_shell_parse_argv(command.toUtf8().constData(), nullptr, &argv, nullptr))
        return false;
    bool newNote = false;
    for (gchar **argument = argv + 1; *argument; ++argument)
        newNote = newNote || qstrcmp(*argument, newNoteOption) == 0;
    const bool tackpad = QFileInfo(QString::fromUtf8(argv[0])).fileName().contains(u"tackpad", Qt::CaseInsensitive);
    g_strfreev(argv);
    return newNote && tackpad;
}

QString readableModifier(const QString &name)
{
    static const QHash<QString, QString> names {
        {QStringLiteral("primary"), QStringLiteral("Ctrl")},
        {QStringLiteral("control"), QStringLiteral("Ctrl")},
        {QStringLiteral("ctrl"), QStringLiteral("Ctrl")},
        {QStringLiteral("ctl"), QStringLiteral("Ctrl")},
        {QStringLiteral("alt"), QStringLiteral("Alt")},
        {QStringLiteral("mod1"), QStringLiteral("Alt")},
        {QStringLiteral("shift"), QStringLiteral("Shift")},
        {QStringLiteral("shft"), QStringLiteral("Shift")},
        {QStringLiteral("super"), QStringLiteral("Meta")},
        {QStringLiteral("meta"), QStringLiteral("Meta")},
        {QStringLiteral("mod4"), QStringLiteral("Meta")},
    };
    return names.value(name.toLower(), name);
}

// Key names of the keys a shortcut is likely to use whose X keysym name differs from Qt's; any other name (Home,
// Return, F1, Tab) is the same in both.
QString readableKey(const QString &keysym)
{
    static const QHash<QString, QString> names {
        {QStringLiteral("bracketleft"), QStringLiteral("[")},
        {QStringLiteral("bracketright"), QStringLiteral("]")},
        {QStringLiteral("semicolon"), QStringLiteral(";")},
        {QStringLiteral("apostrophe"), QStringLiteral("'")},
        {QStringLiteral("comma"), QStringLiteral(",")},
        {QStringLiteral("period"), QStringLiteral(".")},
        {QStringLiteral("slash"), QStringLiteral("/")},
        {QStringLiteral("backslash"), QStringLiteral("\\")},
        {QStringLiteral("minus"), QStringLiteral("-")},
        {QStringLiteral("equal"), QStringLiteral("=")},
        {QStringLiteral("grave"), QStringLiteral("`")},
        {QStringLiteral("space"), QStringLiteral("Space")},
        {QStringLiteral("escape"), QStringLiteral("Esc")},
        {QStringLiteral("page_up"), QStringLiteral("PgUp")},
        {QStringLiteral("page_down"), QStringLiteral("PgDown")},
        {QStringLiteral("delete"), QStringLiteral("Del")},
        {QStringLiteral("insert"), QStringLiteral("Ins")},
    };
    if (keysym.size() == 1)
        return keysym.toUpper();
    return names.value(keysym.toLower(), keysym);
}

} // namespace

bool GnomeCustomShortcut::isOffered()
{
    return lookupSchema(listSchemaId) && lookupSchema(entrySchemaId);
}

QString GnomeCustomShortcut::commandFor(const QString &program)
{
    // Quote only when needed, so that the usual command stays readable in GNOME Settings.
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9_./+:@%=,-]+$"));
    QString quoted = program;
    if (!plain.match(program).hasMatch()) {
        gchar *text = g_shell_quote(program.toUtf8().constData());
        quoted = QString::fromUtf8(text);
        g_free(text);
    }
    return quoted + u' ' + QLatin1String(newNoteOption);
}

QString GnomeCustomShortcut::entryName()
{
    return tr("Tackpad: new note");
}

QString GnomeCustomShortcut::readableBinding(const QString &accelerator)
{
    QStringList parts;
    QString rest = accelerator.trimmed();
    while (rest.startsWith(u'<')) {
        const qsizetype close = rest.indexOf(u'>');
        if (close < 0)
            break;
        const QString modifier = readableModifier(rest.mid(1, close - 1));
        if (!parts.contains(modifier))
            parts.append(modifier);
        rest = rest.mid(close + 1);
    }
    if (rest.isEmpty())
        return {};
    parts.append(readableKey(rest));
    return parts.join(u'+');
}

bool GnomeCustomShortcut::isInstalled() const
{
    const SettingsPtr list = openSettings(listSchemaId);
    if (!list || !readList(list.get()).contains(QLatin1String(entryPath)))
        return false;
    const SettingsPtr entry = openSettings(entrySchemaId, QLatin1String(entryPath));
    return entry && runsNewNote(readString(entry.get(), "command"));
}

QString GnomeCustomShortcut::binding() const
{
    const SettingsPtr list = openSettings(listSchemaId);
    if (!list || !readList(list.get()).contains(QLatin1String(entryPath)))
        return {};
    const SettingsPtr entry = openSettings(entrySchemaId, QLatin1String(entryPath));
    return entry ? readableBinding(readString(entry.get(), "binding")) : QString();
}

QString GnomeCustomShortcut::bindingTakenBy() const
{
    const SettingsPtr list = openSettings(listSchemaId);
    if (!list || !lookupSchema(entrySchemaId))
        return {};
    QString ours = binding();
    if (ours.isEmpty())
        ours = readableBinding(QLatin1String(defaultBinding));
    for (const QString &path : readList(list.get())) {
        if (path == QLatin1String(entryPath) || !isUsablePath(path))
            continue;
        const SettingsPtr other = openSettings(entrySchemaId, path);
        // "<Control>[" and "<Primary>bracketleft" are the same keys: compare what they read as.
        if (readableBinding(readString(other.get(), "binding")) == ours) {
            const QString name = readString(other.get(), "name");
            return name.isEmpty() ? path : name;
        }
    }
    return {};
}

bool GnomeCustomShortcut::install(const QString &command)
{
    m_error.clear();
    const SettingsPtr list = openSettings(listSchemaId);
    const SettingsPtr entry = openSettings(entrySchemaId, QLatin1String(entryPath));
    if (!list || !entry)
        return fail(tr("GNOME's keyboard shortcut settings are not installed."));

    QStringList paths = readList(list.get());
    const bool listed = paths.contains(QLatin1String(entryPath));
    bool written = g_settings_set_string(entry.get(), "name", entryName().toUtf8().constData())
        && g_settings_set_string(entry.get(), "command", command.toUtf8().constData());
    if (!listed) {
        const char *keys = bindingTakenBy().isEmpty() ? defaultBinding : "";
        written = written && g_settings_set_string(entry.get(), "binding", keys);
        // The entry is complete before it is listed, so GNOME never runs a half-written one.
        paths.append(QLatin1String(entryPath));
        written = written && writeList(list.get(), paths);
    }
    // Without this, a write to dconf may still be on its way when the app goes on (or quits).
    g_settings_sync();
    return written || fail(tr("GNOME does not let Tackpad change its keyboard shortcuts."));
}

bool GnomeCustomShortcut::remove()
{
    m_error.clear();
    const SettingsPtr list = openSettings(listSchemaId);
    const SettingsPtr entry = openSettings(entrySchemaId, QLatin1String(entryPath));
    if (!list || !entry)
        return fail(tr("GNOME's keyboard shortcut settings are not installed."));

    QStringList paths = readList(list.get());
    const bool written = paths.removeAll(QLatin1String(entryPath)) == 0 || writeList(list.get(), paths);
    for (const char *key : {"name", "command", "binding"})
        g_settings_reset(entry.get(), key);
    g_settings_sync();
    return written || fail(tr("GNOME does not let Tackpad change its keyboard shortcuts."));
}

bool GnomeCustomShortcut::fail(const QString &why)
{
    m_error = why;
    qCWarning(lcPlatform).noquote() << "TackPad: the GNOME keyboard shortcut was not changed:" << why;
    return false;
}

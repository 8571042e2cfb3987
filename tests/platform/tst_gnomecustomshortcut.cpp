#include "platform/GnomeCustomShortcut.h"

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#define G_SETTINGS_ENABLE_BACKEND
#include <gio/gio.h>
#include <gio/gsettingsbackend.h>

#include <memory>

namespace {

constexpr const char *entrySchema = "org.gnome.settings-daemon.plugins.media-keys.custom-keybinding";
const QString userPath = QStringLiteral("/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom%1/");

using Settings = std::unique_ptr<GSettings, decltype(&g_object_unref)>;

Settings openList()
{
    return Settings(g_settings_new("org.gnome.settings-daemon.plugins.media-keys"), &g_object_unref);
}

Settings openEntry(const QString &path)
{
    GSettingsSchema *schema
        = g_settings_schema_source_lookup(g_settings_schema_source_get_default(), entrySchema, TRUE);
    Settings settings(g_settings_new_full(schema, nullptr, path.toUtf8().constData()), &g_object_unref);
    g_settings_schema_unref(schema);
    return settings;
}

QString readString(const QString &path, const char *key)
{
    gchar *value = g_settings_get_string(openEntry(path).get(), key);
    const QString text = QString::fromUtf8(value);
    g_free(value);
    return text;
}

QStringList parseCommand(const QString &command)
{
    gchar **argv = nullptr;
    QStringList arguments;
    if (g_shell_parse_argv(command.toUtf8().constData(), nullptr, &argv, nullptr)) {
        for (gchar **argument = argv; *argument; ++argument)
            arguments.append(QString::fromUtf8(*argument));
        g_strfreev(argv);
    }
    return arguments;
}

} // namespace

// The entry must land in the desktop's list without disturbing the user's own shortcuts. Real GIO writes to a
// keyfile in a temporary folder (see main), where gsettings and GNOME would read it back.
class TestGnomeCustomShortcut : public QObject {
    Q_OBJECT

public:
    explicit TestGnomeCustomShortcut(const QString &configHome)
        : m_keyfile(configHome + QStringLiteral("/glib-2.0/settings/keyfile"))
    {
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (!GnomeCustomShortcut::isOffered())
            QSKIP("GNOME's media-keys schemas are missing: install gnome-settings-daemon-common (scripts/bootstrap)");
        // Never write anywhere else than the temporary keyfile, such as the user's dconf database.
        QCOMPARE(G_OBJECT_TYPE_NAME(g_settings_backend_get_default()), "GKeyfileSettingsBackend");
    }

    void cleanup()
    {
        g_settings_reset(openList().get(), "custom-keybindings");
        for (const QString &path : {userPath.arg(0), userPath.arg(1), QString::fromLatin1(ourPath)})
            for (const char *key : {"name", "command", "binding"})
                g_settings_reset(openEntry(path).get(), key);
        g_settings_sync();
    }

    void install_data()
    {
        QTest::addColumn<QStringList>("userBindings"); // the user's entries custom0, custom1, … in the list
        QTest::addColumn<QString>("ourBinding"); // our entry listed after them beforehand, unless null
        QTest::addColumn<QString>("program");
        QTest::addColumn<int>("installs");
        QTest::addColumn<bool>("thenRemove");
        QTest::addColumn<QString>("binding");
        QTest::addColumn<QString>("takenBy");

        const QStringList two {QStringLiteral("<Super>t"), QStringLiteral("<Primary>F5")};
        const QString tackpad = QStringLiteral("tackpad");
        const QString ctrlAltBracket = QStringLiteral("Ctrl+Alt+[");
        QTest::newRow("nominal: install into an empty list")
            << QStringList() << QString() << tackpad << 1 << false << ctrlAltBracket << QString();
        QTest::newRow("nominal: install keeps two existing user entries and their order")
            << two << QString() << tackpad << 1 << false << ctrlAltBracket << QString();
        QTest::newRow("nominal: remove leaves other entries")
            << two << QString() << tackpad << 1 << true << QString() << QString();
        QTest::newRow("robustness: installing twice does not duplicate")
            << two << QString() << tackpad << 2 << false << ctrlAltBracket << QString();
        QTest::newRow("robustness: the binding the user gave our entry in GNOME Settings is kept")
            << two << QStringLiteral("<Super>n") << tackpad << 1 << false << QStringLiteral("Meta+N") << QString();
        QTest::newRow("robustness: another entry already has Ctrl+Alt+[ -> reported, not taken")
            << QStringList {QStringLiteral("<Control><Alt>bracketleft")} << QString() << tackpad << 1 << false
            << QString() << QStringLiteral("User 0");
        QTest::newRow("robustness: spaces and quotes in the binary's path")
            << QStringList() << QString() << QStringLiteral("/opt/My Apps/it's \"tackpad\"") << 1 << false
            << ctrlAltBracket << QString();
    }

    void install()
    {
        QFETCH(QStringList, userBindings);
        QFETCH(QString, ourBinding);
        QFETCH(QString, program);
        QFETCH(int, installs);
        QFETCH(bool, thenRemove);
        QFETCH(QString, binding);
        QFETCH(QString, takenBy);
        QStringList userPaths;
        for (int i = 0; i < userBindings.size(); ++i) {
            userPaths.append(userPath.arg(i));
            writeEntry(userPaths.last(), QStringLiteral("User %1").arg(i), userBindings[i]);
        }
        writeList(userPaths + (ourBinding.isNull() ? QStringList() : QStringList {QString::fromLatin1(ourPath)}));
        if (!ourBinding.isNull())
            writeEntry(QString::fromLatin1(ourPath), QStringLiteral("old name"), ourBinding);

        GnomeCustomShortcut shortcut;
        for (int i = 0; i < installs; ++i)
            QVERIFY2(shortcut.install(GnomeCustomShortcut::commandFor(program)), qPrintable(shortcut.errorString()));
        QCOMPARE(readKeyfileList(), userPaths + QStringList {QString::fromLatin1(ourPath)});
        QCOMPARE(parseCommand(readString(QString::fromLatin1(ourPath), "command")),
            (QStringList {program, QStringLiteral("--new-note")}));
        QVERIFY(shortcut.isInstalled());
        if (thenRemove) {
            QVERIFY2(shortcut.remove(), qPrintable(shortcut.errorString()));
            QCOMPARE(readKeyfileList(), userPaths);
            QVERIFY(!shortcut.isInstalled());
            QCOMPARE(readString(QString::fromLatin1(ourPath), "command"), QString());
        }
        QCOMPARE(shortcut.binding(), binding);
        QCOMPARE(shortcut.bindingTakenBy(), takenBy);
        for (int i = 0; i < userBindings.size(); ++i)
            QCOMPARE(readString(userPaths[i], "binding"), userBindings[i]);
    }

private:
    static constexpr const char *ourPath = GnomeCustomShortcut::entryPath;

    static void writeList(const QStringList &paths)
    {
        QList<QByteArray> utf8;
        std::vector<const gchar *> values;
        for (const QString &path : paths)
            values.push_back(utf8.emplace_back(path.toUtf8()).constData());
        values.push_back(nullptr);
        QVERIFY(g_settings_set_strv(openList().get(), "custom-keybindings", values.data()));
    }

    static void writeEntry(const QString &path, const QString &name, const QString &binding)
    {
        const Settings entry = openEntry(path);
        g_settings_set_string(entry.get(), "name", name.toUtf8().constData());
        g_settings_set_string(entry.get(), "command", "true");
        g_settings_set_string(entry.get(), "binding", binding.toUtf8().constData());
    }

    // The list as GIO stored it, read from the file rather than through GIO's cache. Our paths hold no quotes.
    QStringList readKeyfileList() const
    {
        QFile file(m_keyfile);
        if (!file.open(QIODevice::ReadOnly))
            return {QStringLiteral("no keyfile at ") + m_keyfile};
        static const QRegularExpression line(
            QStringLiteral("^custom-keybindings=(.*)$"), QRegularExpression::MultilineOption);
        QStringList paths;
        for (const auto &path : QRegularExpression(QStringLiteral("'([^']*)'"))
                                    .globalMatch(line.match(QString::fromUtf8(file.readAll())).captured(1)))
            paths.append(path.captured(1));
        return paths;
    }

    QString m_keyfile;
};

int main(int argc, char **argv)
{
    // GLib reads both variables once, at its first use, so they are set before anything can touch GIO.
    QTemporaryDir configHome;
    qputenv("GSETTINGS_BACKEND", "keyfile");
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(configHome.path()));
    QCoreApplication app(argc, argv);
    TestGnomeCustomShortcut test(configHome.path());
    return QTest::qExec(&test, argc, argv);
}

#include "tst_gnomecustomshortcut.moc"

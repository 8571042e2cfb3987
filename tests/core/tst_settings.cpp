#include "core/Settings.h"
#include "support/TextFiles.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class TestSettings : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
    }

    void registeredDefaultsApplyUntilSet_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariant>("registered");
        QTest::addColumn<QVariant>("userValue");
        // One key of each type: the values come back from the INI file as text.
        QTest::newRow("a flag") << u"usePreviousNoteSettings"_qs << QVariant(true) << QVariant(false);
        QTest::newRow("a number") << u"fixedNoteFontSize"_qs << QVariant(12.0) << QVariant(20.0);
        QTest::newRow("a colour") << u"fixedNoteColor"_qs << QVariant(u"#FBF4A6"_qs) << QVariant(u"#CDE8F9"_qs);
    }

    void registeredDefaultsApplyUntilSet()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, registered);
        QFETCH(QVariant, userValue);
        const QByteArray name = key.toLatin1();
        Settings settings(iniPath());
        QCOMPARE(settings.value(name.constData()), registered);
        settings.setValue(name.constData(), userValue);
        settings.sync();
        // Read back through a fresh object so the INI round trip (values come back as text) is what is checked.
        Settings reread(iniPath());
        if (registered.typeId() == QMetaType::Bool)
            QCOMPARE(reread.boolValue(name.constData()), userValue.toBool());
        else if (registered.typeId() == QMetaType::Double)
            QCOMPARE(reread.doubleValue(name.constData()), userValue.toDouble());
        else
            QCOMPARE(reread.stringValue(name.constData()), std::optional<QString>(userValue.toString()));
    }

    void registeredDefaultsAreNeverWritten()
    {
        {
            Settings settings(iniPath());
            Settings::registerDefaults();
            QVERIFY(settings.boolValue(SettingsKey::usePreviousNoteSettings));
            QVERIFY(!settings.contains(SettingsKey::usePreviousNoteSettings));
            // Keys without a registered default read as false, 0 and absent.
            QVERIFY(!settings.boolValue(SettingsKey::menuBarMode));
            QCOMPARE(settings.optionalDouble(SettingsKey::defaultNoteWidth), std::nullopt);
            QCOMPARE(settings.stringValue(SettingsKey::startupWorkspace), std::nullopt);
            QVERIFY(settings.stringList(SettingsKey::workspaces).isEmpty());
            QCOMPARE(settings.urlValue(SettingsKey::notesFolder), std::nullopt);
            QCOMPARE(settings.noteFontFamily(), std::nullopt);
            settings.sync();
        }
        QFile file(iniPath());
        QVERIFY(!file.exists() || file.size() == 0);
    }

    // Accessors that clean up what the user typed before the application uses it.
    void cleanedUpAccessors_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<QString>("expected");
        const QByteArray ai = SettingsKey::aiModel, colour = SettingsKey::fixedNoteColor;
        QTest::newRow("AI model: absent") << ai << QVariant() << u"claude-sonnet-4-6"_qs;
        QTest::newRow("AI model: blanks only") << ai << QVariant(u"   "_qs) << u"claude-sonnet-4-6"_qs;
        QTest::newRow("AI model: trimmed of spaces and tabs")
            << ai << QVariant(u" \tclaude-opus-4\t "_qs) << u"claude-opus-4"_qs;
        QTest::newRow("fixed colour: registered default") << colour << QVariant() << u"#FBF4A6"_qs;
        QTest::newRow("fixed colour: usable colour kept as written")
            << colour << QVariant(u"#cde8f9"_qs) << u"#cde8f9"_qs;
        QTest::newRow("fixed colour: unusable colour falls back") << colour << QVariant(u"red"_qs) << u"#FBF4A6"_qs;
    }

    void cleanedUpAccessors()
    {
        QFETCH(QByteArray, key);
        QFETCH(QVariant, stored);
        QFETCH(QString, expected);
        Settings settings(iniPath());
        if (stored.isValid())
            settings.setValue(key.constData(), stored);
        QCOMPARE(key == SettingsKey::aiModel ? settings.aiModel() : settings.fixedColor(), expected);
    }

    void valuesSurviveANewSettingsObject()
    {
        const QStringList declined {u"/x"_qs, u"/y, with comma"_qs};
        {
            Settings settings(iniPath());
            settings.setValue(SettingsKey::workspaces, QStringList {u"/a"_qs});
            settings.setValue(SettingsKey::importOfferDeclinedFolders, declined);
            settings.setUrl(SettingsKey::notesFolder, QUrl::fromLocalFile(u"/home/u/My Notes"_qs));
            settings.setNoteFontFamily(u"DejaVu Serif"_qs);
            settings.sync();
        }
        Settings settings(iniPath());
        QCOMPARE(settings.stringList(SettingsKey::workspaces), QStringList {u"/a"_qs});
        QCOMPARE(settings.stringList(SettingsKey::importOfferDeclinedFolders), declined);
        QCOMPARE(settings.urlValue(SettingsKey::notesFolder)->toLocalFile(), u"/home/u/My Notes"_qs);
        QCOMPARE(settings.noteFontFamily(), std::optional<QString>(u"DejaVu Serif"_qs));
        settings.setNoteFontFamily(std::nullopt); // clearing removes the key rather than storing an empty name
        QVERIFY(!settings.contains(SettingsKey::noteFontFamily));
    }

    // A settings file written by hand or by another version: every getter reads what it can use and treats the
    // rest as unset, so that the registered default (or the caller's fallback) applies.
    void handWrittenValues_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QVariant>("expected");
        const auto row = [](const char *name, const char *line, const char *key, const QVariant &expected) {
            QTest::newRow(name) << QByteArray(line) << QByteArray(key) << expected;
        };
        using namespace SettingsKey;
        row("flag: yes", "darkMode=yes", darkMode, true);
        row("flag: a word that is no flag keeps the default", "reopenLastWorkspace=maybe", reopenLastWorkspace, true);
        row("flag: a stored rectangle keeps the default", "globalNewNoteHotKey=@Rect(1 2 3 4)", globalNewNoteHotKey,
            true);
        row("number: text keeps the default", "fixedNoteWidth=wide", fixedNoteWidth, 270.0);
        row("number: nan keeps the default", "fixedNoteFontSize=nan", fixedNoteFontSize, 12.0);
        row("number: overflowing keeps the default", "fixedNoteHeight=1e999", fixedNoteHeight, 260.0);
        row("number: none registered reads 0", "defaultNoteWidth=@Size(3 4)", defaultNoteWidth, 0.0);
        row("text: a list is no text", "aiModel=a, b", aiModel, QVariant());
        row("text: a number is text", "startupWorkspace=42", startupWorkspace, u"42"_qs);
        row("folder: a file URL", "notesFolder=file:///home/u/My%20Notes", notesFolder, u"/home/u/My Notes"_qs);
        row("folder: a plain path", "notesFolder=/home/u/Notes", notesFolder, u"/home/u/Notes"_qs);
        row("folder: blanks are none", "notesFolder=\"  \"", notesFolder, QVariant());
    }

    void handWrittenValues()
    {
        QFETCH(QByteArray, line);
        QFETCH(QByteArray, key);
        QFETCH(QVariant, expected);
        writeInPlace(iniPath(), "[General]\n" + line + "\n");
        const Settings settings(iniPath());
        const char *name = key.constData();
        if (expected.typeId() == QMetaType::Bool)
            QCOMPARE(settings.boolValue(name), expected.toBool());
        else if (expected.typeId() == QMetaType::Double)
            QCOMPARE(settings.doubleValue(name), expected.toDouble());
        else if (key == SettingsKey::notesFolder) {
            const std::optional<QUrl> url = settings.urlValue(name);
            QCOMPARE(url ? std::optional<QString>(url->toLocalFile()) : std::nullopt,
                expected.isValid() ? std::optional<QString>(expected.toString()) : std::nullopt);
        } else
            QCOMPARE(settings.stringValue(name),
                expected.isValid() ? std::optional<QString>(expected.toString()) : std::nullopt);
    }

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    QString iniPath() const { return m_dir->filePath(u"settings.ini"_qs); }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"

#include "core/Settings.h"
#include "support/TextFiles.h"

#include <QTemporaryDir>
#include <QTest>

class TestSettings : public QObject {
    Q_OBJECT

private Q_SLOTS:
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
    QTemporaryDir m_dir;
    QString iniPath() const { return m_dir.filePath(u"settings.ini"_qs); }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "tst_settings.moc"

#include "app/ApiKeyField.h"
#include "app/SettingsDialog.h"
#include "core/Settings.h"
#include "platform/GlobalHotKey.h"
#include "platform/KeyStore.h"
#include "support/TextFiles.h"

#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFileInfo>
#include <QFontDatabase>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMetaProperty>
#include <QPushButton>
#include <QScopeGuard>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QUuid>

#include <memory>
#include <optional>

namespace {

// Runs one keyring operation and keeps the event loop going until its callback answers.
template<typename T, typename Operation> T answer(Operation operation, T timedOut = {})
{
    std::optional<T> result;
    operation([&result](const auto &...values) { result = T {values...}; });
    return QTest::qWaitFor([&] { return result.has_value(); }, 20000) ? *result : timedOut;
}

bool keyringRuns()
{
    const QDBusConnection bus = QDBusConnection::sessionBus();
    return bus.isConnected() && bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.secrets"));
}

template<typename T = QWidget> T *control(SettingsDialog &dialog, const QString &name)
{
    auto *widget = dialog.findChild<T *>(name);
    if (!widget)
        qFatal("no control named %s", qPrintable(name));
    return widget;
}

void click(SettingsDialog &dialog, const char *button)
{
    control<QPushButton>(dialog, QLatin1String(button))->click();
}

// Changes a control the way a user would end up with `value` in it.
void setControl(SettingsDialog &dialog, const QString &name, const QVariant &value)
{
    QWidget *widget = control(dialog, name);
    auto *combo = qobject_cast<QComboBox *>(widget);
    if (!combo) {
        widget->metaObject()->userProperty().write(widget, value); // checked, value or text
        return;
    }
    const int index = value.toString().isEmpty() ? 0 : combo->findData(value);
    if (index < 0)
        qFatal("%s offers no %s", qPrintable(name), qPrintable(value.toString()));
    combo->setCurrentIndex(index);
    Q_EMIT combo->activated(index);
}

QVariant controlValue(SettingsDialog &dialog, const QString &name)
{
    QWidget *widget = control(dialog, name);
    if (auto *combo = qobject_cast<QComboBox *>(widget))
        return combo->currentData();
    return widget->metaObject()->userProperty().read(widget);
}

// Picks the colour pop-up's last entry, "Custom…", from the keyboard.
QColorDialog *openColorDialog(SettingsDialog &dialog)
{
    setControl(dialog, SettingsKey::usePreviousNoteSettings, false);
    auto *combo = control<QComboBox>(dialog, SettingsKey::fixedNoteColor);
    combo->setFocus();
    QTest::keyClick(combo, Qt::Key_End);
    return control<QColorDialog>(dialog, QStringLiteral("colorDialog"));
}

// A shortcut that would change the desktop's keyboard settings, and so asks first.
class ConsentingHotKey : public GlobalHotKey {
public:
    ConsentingHotKey()
        : GlobalHotKey(nullptr)
    {
    }
    void registerHotKey() override { }
    void unregisterHotKey() override { }
    bool isAvailable() const override { return true; }
    QString description() const override { return QStringLiteral("through the desktop"); }
    QString consentQuestion() const override { return m_consented ? QString() : QStringLiteral("Add it?"); }
    void giveConsent() override { m_consented = true; }
    bool m_consented = false;
};

// Only names: the dialog shows them and writes them back, it never opens the folders.
const QStringList listedWorkspaces {QStringLiteral("/data/Notes"), QStringLiteral("/data/Work")};

} // namespace

class TestSettingsDialog : public QObject {
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_ini;
    std::unique_ptr<Settings> m_settings;
    std::unique_ptr<KeyStore> m_keyStore;

    std::unique_ptr<SettingsDialog> open(KeyStore *keyStore = nullptr, GlobalHotKey *hotKey = nullptr)
    {
        auto dialog = std::make_unique<SettingsDialog>(*m_settings, keyStore, hotKey);
        dialog->show();
        return dialog;
    }

    // Waits until the dialog knows whether a key is stored.
    static bool keyChecked(SettingsDialog &dialog)
    {
        auto *field = control<QLineEdit>(dialog, QStringLiteral("apiKey"));
        return QTest::qWaitFor(
            [field] { return field->placeholderText() != ApiKeyField::checkingPlaceholder(); }, 20000);
    }

    // With the key field out of use, the other settings are still saved.
    void expectKeyUnavailable(SettingsDialog &dialog, const QString &message)
    {
        auto *problem = control<QLabel>(dialog, QStringLiteral("keyProblem"));
        QVERIFY(problem->isVisible());
        QCOMPARE(problem->text(), message);
        QVERIFY(!control(dialog, QStringLiteral("apiKey"))->isEnabled());
        QVERIFY(!control(dialog, QStringLiteral("removeKey"))->isVisible());
        setControl(dialog, SettingsKey::darkMode, true);
        click(dialog, "doneButton");
        QVERIFY(m_settings->darkMode());
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_ini = m_dir->filePath(QStringLiteral("settings.ini"));
        m_settings = std::make_unique<Settings>(m_ini);
        m_settings->setValue(SettingsKey::workspaces, listedWorkspaces);
        m_settings->sync();
        // A service name of this test's own: the user's real key is never met.
        m_keyStore = std::make_unique<KeyStore>(
            QStringLiteral("app.tackpad.Tackpad.dialogtest-") + QUuid::createUuid().toString(QUuid::Id128));
    }

    void cleanup()
    {
        if (keyringRuns())
            answer<QString>([this](auto done) { m_keyStore->removeKey(done); });
        m_keyStore.reset();
        m_settings.reset();
        m_dir.reset();
    }

    void valuesWrittenOnDone_data()
    {
        QTest::addColumn<QString>("key"); // doubles as the control's object name
        QTest::addColumn<QVariant>("stored"); // invalid: not in the file
        QTest::addColumn<QVariant>("input"); // invalid: the user leaves the control alone
        QTest::addColumn<QVariant>("expected"); // invalid: the key is removed
        using namespace SettingsKey;
        const QVariant none;
        const auto row = [](const char *name, const char *key, QVariant stored, QVariant input, QVariant expected) {
            QTest::newRow(name) << QString::fromLatin1(key) << stored << input << expected;
        };
        row("nominal: a check box", usePreviousNoteSettings, none, false, false);
        row("nominal: font size with a fraction", fixedNoteFontSize, none, 18.5, 18.5);
        row("nominal: preset color", fixedNoteColor, none, "#CDE8F9", "#CDE8F9");
        row("nominal: default workspace", startupWorkspace, none, listedWorkspaces.last(), listedWorkspaces.last());
        row("nominal: model without surrounding blanks", aiModel, none, " \tclaude-haiku-4\t ", "claude-haiku-4");
        row("edge: blank model falls back to the default", aiModel, "an earlier model", "   ", none);
        for (const QString &family : QFontDatabase::families()) {
            if (QFontDatabase::isPrivateFamily(family))
                continue;
            row("nominal: note font", noteFontFamily, none, family, family);
            row("nominal: back to the system font", noteFontFamily, family, "", none);
            break;
        }
        row("clamp: height typed below the range", fixedNoteHeight, none, 10.0, 60.0);
        row("clamp: stored width above the maximum", fixedNoteWidth, 1e9, none, 20000.0);
        // What is no number reads as unset: the registered default, not a limit.
        row("robustness: width written as nan", fixedNoteWidth, "nan", none, 270.0);
        row("robustness: color in lower case", fixedNoteColor, "#e6dbfb", none, "#E6DBFB");
        row("robustness: default workspace no longer listed is kept", startupWorkspace, "/old/Archive", none,
            "/old/Archive");
        row("robustness: uninstalled font is kept", noteFontFamily, "No Such Family", none, "No Such Family");
    }

    void valuesWrittenOnDone()
    {
        QFETCH(QString, key);
        QFETCH(QVariant, stored);
        QFETCH(QVariant, input);
        QFETCH(QVariant, expected);
        const QByteArray name = key.toLatin1();
        if (stored.isValid())
            m_settings->setValue(name.constData(), stored);

        auto dialog = open();
        if (input.isValid())
            setControl(*dialog, key, input);
        else
            QCOMPARE(controlValue(*dialog, key), expected); // a bad stored value shows as what Done will save
        click(*dialog, "doneButton");
        QCOMPARE(m_settings->contains(name.constData()), expected.isValid());
        if (!expected.isValid())
            return;
        // Written with the value's own type, so the platform's store keeps a number as a number.
        const QVariant written = m_settings->value(name.constData());
        QCOMPARE(written.typeId(), expected.typeId());
        QCOMPARE(written, expected);
        // Another process reading the file sees the same in a new dialog.
        m_settings = std::make_unique<Settings>(m_ini);
        QCOMPARE(controlValue(*open(), key), expected);
    }

    void closingWithoutChangesWritesNothing_data()
    {
        QTest::addColumn<QString>("closeWith"); // a button, or nothing for the Escape key
        QTest::addColumn<bool>("changeControls");
        QTest::newRow("nominal: Done with nothing changed") << QStringLiteral("doneButton") << false;
        QTest::newRow("nominal: Escape key") << QString() << true;
    }

    void closingWithoutChangesWritesNothing()
    {
        QFETCH(QString, closeWith);
        QFETCH(bool, changeControls);
        const QString before = readFile(m_ini);
        auto dialog = open();
        QSignalSpy applied(dialog.get(), &SettingsDialog::applied);
        QColorDialog *colorDialog = nullptr;
        if (changeControls) {
            const std::pair<const char *, QVariant> changes[] = {{SettingsKey::fixedNoteWidth, 900.0},
                {SettingsKey::fixedNoteFloat, true}, {SettingsKey::startupWorkspace, listedWorkspaces.last()},
                {SettingsKey::darkMode, true}, {SettingsKey::aiModel, QStringLiteral("claude-haiku")}};
            for (const auto &[key, value] : changes)
                setControl(*dialog, QLatin1String(key), value);
            // A colour dialog opened from here closes with the settings.
            colorDialog = openColorDialog(*dialog);
            QVERIFY(colorDialog->isVisible());
        }
        if (closeWith.isEmpty())
            QTest::keyClick(dialog.get(), Qt::Key_Escape);
        else
            control<QPushButton>(*dialog, closeWith)->click();

        QVERIFY(!dialog->isVisible());
        QVERIFY(!colorDialog || !colorDialog->isVisible());
        QCOMPARE(dialog->result(), int(changeControls ? QDialog::Rejected : QDialog::Accepted));
        QCOMPARE(applied.size(), changeControls ? 0 : 1);
        // Settings nobody changed keep following their defaults, so a later default still reaches this user.
        QCOMPARE(QSettings(m_ini, QSettings::IniFormat).allKeys(), QStringList {SettingsKey::workspaces});
        QCOMPARE(readFile(m_ini), before);
    }

    void fieldsFollowTheirCheckBoxes()
    {
        auto dialog = open(); // both boxes are on by default
        const QStringList fixed {SettingsKey::fixedNoteWidth, SettingsKey::fixedNoteHeight,
            SettingsKey::fixedNoteFontSize, SettingsKey::fixedNoteColor, SettingsKey::fixedNoteFloat};
        for (bool on : {true, false}) {
            setControl(*dialog, SettingsKey::usePreviousNoteSettings, on);
            setControl(*dialog, SettingsKey::reopenLastWorkspace, on);
            for (const QString &name : fixed + QStringList {SettingsKey::startupWorkspace}) {
                QVERIFY2(control(*dialog, name)->isVisible(), qPrintable(name));
                QCOMPARE(control(*dialog, name)->isEnabled(), !on);
            }
        }
    }

    // The box shows and changes the desktop's own autostart entry, which the user may also change by hand.
    void startAtLoginFollowsTheAutostartEntry()
    {
        const QByteArray realHome = qgetenv("HOME");
        qputenv("HOME", QFile::encodeName(m_dir->path()));
        const auto restoreHome = qScopeGuard([&realHome] { qputenv("HOME", realHome); });
        const QString entry = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
            + QStringLiteral("/autostart/app.tackpad.Tackpad.desktop");
        QVERIFY(entry.startsWith(m_dir->path()));

        auto dialog = open();
        QVERIFY(!control<QCheckBox>(*dialog, "startAtLogin")->isChecked()); // off until asked
        setControl(*dialog, QStringLiteral("startAtLogin"), true);
        click(*dialog, "doneButton");
        const QString text = readFile(entry);
        QVERIFY2(text.contains(QStringLiteral("\nExec=\"%1\"\n").arg(QCoreApplication::applicationFilePath())),
            qPrintable(text));
        QVERIFY(control<QCheckBox>(*open(), "startAtLogin")->isChecked());

        // Switched off with the desktop's tools: shown off, and turning it on again writes a working entry.
        writeInPlace(entry, (text + QStringLiteral("Hidden=true\n")).toUtf8());
        dialog = open();
        QVERIFY(!control<QCheckBox>(*dialog, "startAtLogin")->isChecked());
        setControl(*dialog, QStringLiteral("startAtLogin"), true);
        click(*dialog, "doneButton");
        QCOMPARE(readFile(entry), text);

        dialog = open();
        setControl(*dialog, QStringLiteral("startAtLogin"), false);
        click(*dialog, "doneButton");
        QVERIFY(!QFileInfo::exists(entry));
    }

    void desktopShortcutAddedOnlyWithConsent_data()
    {
        QTest::addColumn<QMessageBox::StandardButton>("reply");
        QTest::newRow("nominal: the user agrees") << QMessageBox::Yes;
        QTest::newRow("nominal: the user declines, the option goes off") << QMessageBox::No;
    }

    void desktopShortcutAddedOnlyWithConsent()
    {
        QFETCH(QMessageBox::StandardButton, reply);
        ConsentingHotKey hotKey;
        auto dialog = open(nullptr, &hotKey);
        setControl(*dialog, SettingsKey::globalNewNoteHotKey, true);
        QString asked;
        QTimer::singleShot(0, dialog.get(), [&asked, reply] {
            auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
            if (!box)
                return;
            asked = box->text();
            box->button(reply)->click();
        });
        click(*dialog, "doneButton");
        QCOMPARE(asked, QStringLiteral("Add it?"));
        QCOMPARE(hotKey.m_consented, reply == QMessageBox::Yes);
        QCOMPARE(m_settings->boolValue(SettingsKey::globalNewNoteHotKey), reply == QMessageBox::Yes);
    }

    void customColor_data()
    {
        QTest::addColumn<QString>("stored");
        QTest::addColumn<QString>("shownFirst");
        QTest::addColumn<bool>("acceptColor");
        QTest::addColumn<QString>("shown");
        QTest::addColumn<int>("entries"); // the presets, at most one custom colour, and "Custom…"
        const auto row = [](const char *name, QString stored, QString first, bool accept, QString shown, int entries) {
            QTest::newRow(name) << stored << first << accept << shown << entries;
        };
        row("nominal: custom color chosen", "#D4F2C2", "Green", true, "Custom (#12AB56)", 10);
        row("edge: stored custom color survives a cancelled color dialog", "#ABCDEF", "Custom (#ABCDEF)", false,
            "Custom (#ABCDEF)", 10);
        row("edge: a second custom color replaces the first", "#ABCDEF", "Custom (#ABCDEF)", true, "Custom (#12AB56)",
            10);
    }

    void customColor()
    {
        QFETCH(QString, stored);
        QFETCH(QString, shownFirst);
        QFETCH(bool, acceptColor);
        QFETCH(QString, shown);
        QFETCH(int, entries);
        m_settings->setValue(SettingsKey::fixedNoteColor, stored);

        auto dialog = open();
        auto *combo = control<QComboBox>(*dialog, SettingsKey::fixedNoteColor);
        QCOMPARE(combo->currentText(), shownFirst);
        QColorDialog *colorDialog = openColorDialog(*dialog);
        QVERIFY(colorDialog->isVisible());
        QCOMPARE(colorDialog->currentColor(), QColor(stored));
        colorDialog->setCurrentColor(QColor(QStringLiteral("#12ab56")));
        if (acceptColor)
            colorDialog->accept();
        else
            colorDialog->reject();
        QCOMPARE(combo->currentText(), shown);
        QCOMPARE(combo->count(), entries);
        click(*dialog, "doneButton");
        QCOMPARE(m_settings->fixedColor(), acceptColor ? QStringLiteral("#12AB56") : stored);
    }

    void keyOnClose_data()
    {
        QTest::addColumn<std::optional<QString>>("initial");
        QTest::addColumn<QStringList>("steps"); // "remove", or the text typed into the key field
        QTest::addColumn<bool>("done");
        QTest::addColumn<std::optional<QString>>("expected");
        const std::optional<QString> none;
        const std::optional<QString> oldKey(QStringLiteral("sk-ant-old"));
        const std::optional<QString> newKey(QStringLiteral("sk-ant-new"));
        const QString remove = QStringLiteral("remove");
        QTest::newRow("nominal: typed key replaces the stored one")
            << oldKey << QStringList {*newKey} << true << newKey;
        QTest::newRow("nominal: remove clears a half-typed key, then Done")
            << oldKey << QStringList {QStringLiteral("half-typed"), remove} << true << none;
        QTest::newRow("edge: remove, then Cancel keeps the key") << oldKey << QStringList {remove} << false << oldKey;
        QTest::newRow("edge: typed key, then Cancel stores nothing") << none << QStringList {*newKey} << false << none;
        QTest::newRow("robustness: blanks leave the key")
            << oldKey << QStringList {QStringLiteral("   ")} << true << oldKey;
        QTest::newRow("robustness: pasted spaces dropped, non-ASCII kept")
            << none << QStringList {QStringLiteral("  sk-ant-ключ-🔑\t")} << true
            << std::optional<QString>(QStringLiteral("sk-ant-ключ-🔑"));
    }

    void keyOnClose()
    {
        if (!keyringRuns())
            QSKIP("needs the Secret Service of scripts/headless");
        QFETCH(std::optional<QString>, initial);
        QFETCH(QStringList, steps);
        QFETCH(bool, done);
        QFETCH(std::optional<QString>, expected);
        if (initial)
            QCOMPARE(answer<QString>(
                         [&](auto stored) { m_keyStore->storeKey(*initial, stored); }, QStringLiteral("no answer")),
                QString());

        auto dialog = open(m_keyStore.get());
        QSignalSpy applied(dialog.get(), &SettingsDialog::applied);
        QVERIFY(keyChecked(*dialog));
        auto *field = control<QLineEdit>(*dialog, QStringLiteral("apiKey"));
        auto *remove = control<QPushButton>(*dialog, QStringLiteral("removeKey"));
        QCOMPARE(
            field->placeholderText(), initial ? ApiKeyField::storedKeyPlaceholder() : ApiKeyField::noKeyPlaceholder());
        QCOMPARE(field->echoMode(), QLineEdit::Password);
        QCOMPARE(field->text(), QString()); // the stored key is never shown
        QCOMPARE(remove->isVisible(), initial.has_value());

        setControl(*dialog, SettingsKey::darkMode, true);
        for (const QString &step : steps) {
            if (step != QLatin1String("remove")) {
                field->setText(step);
                continue;
            }
            remove->click();
            QCOMPARE(field->text(), QString());
            QCOMPARE(field->placeholderText(), ApiKeyField::removalPlaceholder());
        }
        click(*dialog, done ? "doneButton" : "cancelButton");
        if (done && expected != initial) {
            // The keyring answers later: nothing is applied (nor written) before it has.
            QCOMPARE(applied.size(), 0);
            QVERIFY(dialog->isVisible());
            QVERIFY(!m_settings->contains(SettingsKey::darkMode));
            QVERIFY(applied.wait(20000));
        }
        QVERIFY(!dialog->isVisible());
        QCOMPARE(applied.size(), done ? 1 : 0);
        QCOMPARE(m_settings->darkMode(), done);
        using Read = std::pair<std::optional<QString>, QString>;
        QCOMPARE(answer<Read>([this](auto read) { m_keyStore->readKey(read); }).first, expected);
        // The key goes to the keyring only.
        QVERIFY(!readFile(m_ini).contains("sk-ant"));
    }

    void keyFieldWithoutKeyStore()
    {
        auto dialog = open(nullptr);
        expectKeyUnavailable(*dialog, KeyStore::noKeyringMessage());
    }

    void keyFieldWithoutKeyring()
    {
        // Runs as its own test on a session bus without any services (see the CMake file); with a keyring it skips.
        if (qEnvironmentVariableIsEmpty("TACKPAD_EXPECT_NO_KEYRING"))
            QSKIP("runs on a session bus without a keyring");
        QVERIFY(!keyringRuns());
        auto dialog = open(m_keyStore.get());
        QVERIFY(keyChecked(*dialog));
        expectKeyUnavailable(*dialog, QStringLiteral("No keyring is available, so the API key cannot be stored."));
    }
};

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    TestSettingsDialog test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_settingsdialog.moc"

#include "app/AppInfo.h"
#include "app/Settings.h"
#include "app/SettingsDialog.h"
#include "platform/GlobalHotKey.h"
#include "platform/KeyStore.h"

#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDoubleSpinBox>
#include <QFile>
#include <QFontDatabase>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

#include <cstring>
#include <memory>
#include <optional>

namespace {

// A hot key whose platform state the test sets: whether the platform can deliver it, and whether it is registered.
class FakeHotKey : public GlobalHotKey {
public:
    explicit FakeHotKey(bool available)
        : GlobalHotKey(nullptr)
        , m_available(available)
    {
    }
    void registerHotKey() override { setRegistered(true); }
    void unregisterHotKey() override { setRegistered(false); }
    bool isAvailable() const override { return m_available; }
    QString description() const override { return QStringLiteral("What the platform says about the shortcut."); }

private:
    bool m_available;
};

// Runs one keyring operation and keeps the event loop going until its callback answers.
template<typename T, typename Operation> T answer(Operation operation, T timedOut)
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

template<typename T> T *control(SettingsDialog &dialog, const QString &name)
{
    auto *widget = dialog.findChild<T *>(name);
    if (!widget)
        qFatal("no control named %s", qPrintable(name));
    return widget;
}

// Changes a control the way a user would end up with `value` in it.
void setControl(SettingsDialog &dialog, const QString &name, const QVariant &value)
{
    QWidget *widget = control<QWidget>(dialog, name);
    if (auto *box = qobject_cast<QCheckBox *>(widget))
        box->setChecked(value.toBool());
    else if (auto *spin = qobject_cast<QDoubleSpinBox *>(widget))
        spin->setValue(value.toDouble());
    else if (auto *line = qobject_cast<QLineEdit *>(widget))
        line->setText(value.toString());
    else if (auto *combo = qobject_cast<QComboBox *>(widget)) {
        const int index = value.toString().isEmpty() ? 0 : combo->findData(value);
        if (index < 0)
            qFatal("%s offers no %s", qPrintable(name), qPrintable(value.toString()));
        combo->setCurrentIndex(index);
        Q_EMIT combo->activated(index);
    }
}

QVariant controlValue(SettingsDialog &dialog, const QString &name)
{
    QWidget *widget = control<QWidget>(dialog, name);
    if (auto *box = qobject_cast<QCheckBox *>(widget))
        return box->isChecked();
    if (auto *spin = qobject_cast<QDoubleSpinBox *>(widget))
        return spin->value();
    if (auto *line = qobject_cast<QLineEdit *>(widget))
        return line->text();
    if (auto *combo = qobject_cast<QComboBox *>(widget))
        return combo->currentData();
    return {};
}

QString firstFontFamily()
{
    const QStringList families = QFontDatabase::families();
    for (const QString &family : families) {
        if (!QFontDatabase::isPrivateFamily(family))
            return family;
    }
    return {};
}

QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TestSettingsDialog : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void valuesRoundTrip_data();
    void valuesRoundTrip();
    void storedValuesAreClampedOnDone_data();
    void storedValuesAreClampedOnDone();
    void untouchedDefaultsStayUnset();
    void cancelWritesNothing_data();
    void cancelWritesNothing();
    void fixedFieldsFollowUsePrevious_data();
    void fixedFieldsFollowUsePrevious();
    void workspaceChoices_data();
    void workspaceChoices();
    void aiModelIsStoredTrimmed_data();
    void aiModelIsStoredTrimmed();
    void fontChoices_data();
    void fontChoices();
    void customColor_data();
    void customColor();
    void storedCustomColorSurvivesDone();
    void texts();
    void hotKeyNote_data();
    void hotKeyNote();
    void hotKeyNoteFollowsRegistration();

    void keyPlaceholders();
    void keyOnClose_data();
    void keyOnClose();
    void keyFieldWithoutKeyStore();
    void keyFieldWithoutKeyring();

private:
    std::unique_ptr<SettingsDialog> open(GlobalHotKey *hotKey = nullptr, KeyStore *keyStore = nullptr);
    // Waits until the dialog knows whether a key is stored.
    static bool keyChecked(SettingsDialog &dialog);
    QString storeKey(const QString &key);
    std::optional<QString> storedKey();

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_ini;
    std::unique_ptr<Settings> m_settings;
    std::unique_ptr<KeyStore> m_keyStore;
    QStringList m_workspaces;
};

void TestSettingsDialog::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

void TestSettingsDialog::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_ini = m_dir->filePath(QStringLiteral("settings.ini"));
    m_settings = std::make_unique<Settings>(m_ini);
    m_workspaces = {m_dir->filePath(QStringLiteral("home/Notes")), m_dir->filePath(QStringLiteral("work/Projects"))};
    m_settings->setValue(SettingsKey::workspaces, m_workspaces);
    m_settings->sync();
    // A service name of this test's own: the user's real key is never met.
    m_keyStore = std::make_unique<KeyStore>(
        QStringLiteral("app.tackpad.Tackpad.dialogtest-") + QUuid::createUuid().toString(QUuid::Id128));
}

void TestSettingsDialog::cleanup()
{
    if (keyringRuns())
        answer<QString>([this](auto done) { m_keyStore->removeKey(done); }, QString());
    m_keyStore.reset();
    m_settings.reset();
    m_dir.reset();
}

std::unique_ptr<SettingsDialog> TestSettingsDialog::open(GlobalHotKey *hotKey, KeyStore *keyStore)
{
    auto dialog = std::make_unique<SettingsDialog>(*m_settings, keyStore, hotKey);
    dialog->show();
    return dialog;
}

bool TestSettingsDialog::keyChecked(SettingsDialog &dialog)
{
    auto *field = control<QLineEdit>(dialog, QStringLiteral("apiKey"));
    return QTest::qWaitFor(
        [field] { return field->placeholderText() != SettingsDialog::checkingPlaceholder(); }, 20000);
}

QString TestSettingsDialog::storeKey(const QString &key)
{
    return answer<QString>([&](auto done) { m_keyStore->storeKey(key, done); }, QStringLiteral("no answer"));
}

std::optional<QString> TestSettingsDialog::storedKey()
{
    using Read = std::pair<std::optional<QString>, QString>;
    const Read read = answer<Read>([this](auto done) { m_keyStore->readKey(done); }, {std::nullopt, QString()});
    return read.first;
}

void TestSettingsDialog::valuesRoundTrip_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("input");
    QTest::addColumn<QVariant>("expected");
    // Keys double as the controls' object names.
    QTest::newRow("nominal: use selected note's settings off")
        << SettingsKey::usePreviousNoteSettings << QVariant(false) << QVariant(false);
    QTest::newRow("nominal: fixed width") << SettingsKey::fixedNoteWidth << QVariant(512.0) << QVariant(512.0);
    QTest::newRow("nominal: fixed height") << SettingsKey::fixedNoteHeight << QVariant(333.0) << QVariant(333.0);
    QTest::newRow("nominal: fixed font size with a fraction")
        << SettingsKey::fixedNoteFontSize << QVariant(18.5) << QVariant(18.5);
    QTest::newRow("nominal: preset color")
        << SettingsKey::fixedNoteColor << QVariant(QStringLiteral("#CDE8F9")) << QVariant(QStringLiteral("#CDE8F9"));
    QTest::newRow("nominal: float new notes") << SettingsKey::fixedNoteFloat << QVariant(true) << QVariant(true);
    QTest::newRow("nominal: reopen last workspace off")
        << SettingsKey::reopenLastWorkspace << QVariant(false) << QVariant(false);
    QTest::newRow("nominal: tray mode") << SettingsKey::menuBarMode << QVariant(true) << QVariant(true);
    QTest::newRow("nominal: hot key off") << SettingsKey::globalNewNoteHotKey << QVariant(false) << QVariant(false);
    QTest::newRow("nominal: dark mode") << SettingsKey::darkMode << QVariant(true) << QVariant(true);
    QTest::newRow("nominal: model") << SettingsKey::aiModel << QVariant(QStringLiteral("claude-opus-4-1"))
                                    << QVariant(QStringLiteral("claude-opus-4-1"));
    if (const QString family = firstFontFamily(); !family.isEmpty())
        QTest::newRow("nominal: note font") << SettingsKey::noteFontFamily << QVariant(family) << QVariant(family);
    QTest::newRow("clamp: width typed above the range")
        << SettingsKey::fixedNoteWidth << QVariant(50000.0) << QVariant(20000.0);
    QTest::newRow("clamp: height typed below the range")
        << SettingsKey::fixedNoteHeight << QVariant(10.0) << QVariant(60.0);
    QTest::newRow("clamp: font size typed below the range")
        << SettingsKey::fixedNoteFontSize << QVariant(2.0) << QVariant(8.0);
    QTest::newRow("clamp: font size typed above the range")
        << SettingsKey::fixedNoteFontSize << QVariant(96.0) << QVariant(48.0);
}

void TestSettingsDialog::valuesRoundTrip()
{
    QFETCH(QString, key);
    QFETCH(QVariant, input);
    QFETCH(QVariant, expected);
    const QByteArray keyName = key.toLatin1();

    auto dialog = open();
    QSignalSpy applied(dialog.get(), &SettingsDialog::applied);
    setControl(*dialog, key, input);
    control<QPushButton>(*dialog, QStringLiteral("doneButton"))->click();
    QCOMPARE(applied.size(), 1);
    QVERIFY(!dialog->isVisible());
    QCOMPARE(dialog->result(), int(QDialog::Accepted));

    // Written with the value's own type, so the platform's store keeps a number as a number.
    const QVariant written = m_settings->value(keyName.constData());
    QCOMPARE(written.typeId(), expected.typeId());
    QCOMPARE(written, expected);

    // Another process reading the file sees the same, and a new dialog shows it.
    m_settings = std::make_unique<Settings>(m_ini);
    QVariant reread = m_settings->value(keyName.constData());
    QVERIFY(reread.convert(expected.metaType()));
    QCOMPARE(reread, expected);
    auto again = open();
    QCOMPARE(controlValue(*again, key), expected);
}

void TestSettingsDialog::storedValuesAreClampedOnDone_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QVariant>("expected");
    QTest::newRow("clamp: width below the minimum") << SettingsKey::fixedNoteWidth << QVariant(50) << QVariant(140.0);
    QTest::newRow("clamp: width above the maximum")
        << SettingsKey::fixedNoteWidth << QVariant(1e9) << QVariant(20000.0);
    QTest::newRow("clamp: height of zero") << SettingsKey::fixedNoteHeight << QVariant(0) << QVariant(60.0);
    QTest::newRow("clamp: font size of zero") << SettingsKey::fixedNoteFontSize << QVariant(0) << QVariant(8.0);
    QTest::newRow("clamp: font size of 100") << SettingsKey::fixedNoteFontSize << QVariant(100) << QVariant(48.0);
    QTest::newRow("robustness: width that is not a number")
        << SettingsKey::fixedNoteWidth << QVariant(QStringLiteral("wide")) << QVariant(140.0);
    QTest::newRow("robustness: width written as nan")
        << SettingsKey::fixedNoteWidth << QVariant(QStringLiteral("nan")) << QVariant(140.0);
    QTest::newRow("robustness: negative height") << SettingsKey::fixedNoteHeight << QVariant(-300) << QVariant(60.0);
    QTest::newRow("robustness: color that is not a color")
        << SettingsKey::fixedNoteColor << QVariant(QStringLiteral("red")) << QVariant(QStringLiteral("#FBF4A6"));
    QTest::newRow("robustness: color in lower case")
        << SettingsKey::fixedNoteColor << QVariant(QStringLiteral("#e6dbfb")) << QVariant(QStringLiteral("#E6DBFB"));
}

void TestSettingsDialog::storedValuesAreClampedOnDone()
{
    QFETCH(QString, key);
    QFETCH(QVariant, stored);
    QFETCH(QVariant, expected);
    const QByteArray keyName = key.toLatin1();
    m_settings->setValue(keyName.constData(), stored);

    auto dialog = open();
    QCOMPARE(controlValue(*dialog, key), expected);
    control<QPushButton>(*dialog, QStringLiteral("doneButton"))->click();
    QCOMPARE(m_settings->value(keyName.constData()), expected);
}

void TestSettingsDialog::untouchedDefaultsStayUnset()
{
    const QByteArray before = fileContents(m_ini);
    auto dialog = open();
    QSignalSpy applied(dialog.get(), &SettingsDialog::applied);
    control<QPushButton>(*dialog, QStringLiteral("doneButton"))->click();
    QCOMPARE(applied.size(), 1);
    // Settings nobody changed keep following their defaults, so a later default still reaches this user.
    QCOMPARE(QSettings(m_ini, QSettings::IniFormat).allKeys(), QStringList {SettingsKey::workspaces});
    QCOMPARE(fileContents(m_ini), before);
}

void TestSettingsDialog::cancelWritesNothing_data()
{
    QTest::addColumn<bool>("byEscape");
    QTest::newRow("nominal: Cancel button") << false;
    QTest::newRow("nominal: Escape key") << true;
}

void TestSettingsDialog::cancelWritesNothing()
{
    QFETCH(bool, byEscape);
    m_settings->setValue(SettingsKey::fixedNoteWidth, 300.0);
    m_settings->setValue(SettingsKey::aiModel, QStringLiteral("claude-haiku"));
    m_settings->sync();
    const QByteArray before = fileContents(m_ini);

    auto dialog = open();
    QSignalSpy applied(dialog.get(), &SettingsDialog::applied);
    setControl(*dialog, SettingsKey::usePreviousNoteSettings, false);
    setControl(*dialog, SettingsKey::fixedNoteWidth, 900.0);
    setControl(*dialog, SettingsKey::fixedNoteHeight, 900.0);
    setControl(*dialog, SettingsKey::fixedNoteFontSize, 30.0);
    setControl(*dialog, SettingsKey::fixedNoteColor, QStringLiteral("#FBD9E4"));
    setControl(*dialog, SettingsKey::fixedNoteFloat, true);
    setControl(*dialog, SettingsKey::reopenLastWorkspace, false);
    setControl(*dialog, SettingsKey::startupWorkspace, m_workspaces.last());
    setControl(*dialog, SettingsKey::menuBarMode, true);
    setControl(*dialog, SettingsKey::globalNewNoteHotKey, false);
    setControl(*dialog, SettingsKey::darkMode, true);
    setControl(*dialog, SettingsKey::aiModel, QString());
    if (byEscape)
        QTest::keyClick(dialog.get(), Qt::Key_Escape);
    else
        control<QPushButton>(*dialog, QStringLiteral("cancelButton"))->click();

    QVERIFY(!dialog->isVisible());
    QCOMPARE(dialog->result(), int(QDialog::Rejected));
    QCOMPARE(applied.size(), 0);
    QCOMPARE(fileContents(m_ini), before);
    QCOMPARE(m_settings->doubleValue(SettingsKey::fixedNoteWidth), 300.0);
    QCOMPARE(m_settings->aiModel(), QStringLiteral("claude-haiku"));
}

void TestSettingsDialog::fixedFieldsFollowUsePrevious_data()
{
    QTest::addColumn<bool>("usePrevious");
    QTest::newRow("nominal: previous note's style in use") << true;
    QTest::newRow("nominal: fixed style in use") << false;
}

void TestSettingsDialog::fixedFieldsFollowUsePrevious()
{
    QFETCH(bool, usePrevious);
    m_settings->setValue(SettingsKey::usePreviousNoteSettings, usePrevious);
    auto dialog = open();
    const QStringList fixed {SettingsKey::fixedNoteWidth, SettingsKey::fixedNoteHeight, SettingsKey::fixedNoteFontSize,
        SettingsKey::fixedNoteColor, SettingsKey::fixedNoteFloat};
    for (bool on : {usePrevious, !usePrevious}) {
        setControl(*dialog, SettingsKey::usePreviousNoteSettings, on);
        for (const QString &name : fixed) {
            QWidget *field = control<QWidget>(*dialog, name);
            QVERIFY2(field->isVisible(), qPrintable(name));
            QCOMPARE(field->isEnabled(), !on);
        }
    }
}

void TestSettingsDialog::workspaceChoices_data()
{
    QTest::addColumn<QStringList>("workspaces");
    QTest::addColumn<QString>("stored");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("selected");
    QTest::newRow("nominal: nothing chosen yet")
        << QStringList {QStringLiteral("/data/Notes"), QStringLiteral("/data/Work")} << QString()
        << QStringList {QStringLiteral("Notes"), QStringLiteral("Work")} << -1;
    QTest::newRow("nominal: stored workspace selected")
        << QStringList {QStringLiteral("/data/Notes"), QStringLiteral("/data/Work")} << QStringLiteral("/data/Work")
        << QStringList {QStringLiteral("Notes"), QStringLiteral("Work")} << 1;
    QTest::newRow("edge: folders of the same name show where they are")
        << QStringList {QStringLiteral("/home/a/Notes"), QStringLiteral("/srv/Notes")} << QString()
        << QStringList {QStringLiteral("Notes (/home/a)"), QStringLiteral("Notes (/srv)")} << -1;
    QTest::newRow("robustness: stored workspace no longer listed is kept")
        << QStringList {QStringLiteral("/data/Notes")} << QStringLiteral("/old/Archive")
        << QStringList {QStringLiteral("Notes"), QStringLiteral("Archive")} << 1;
    QTest::newRow("robustness: no workspaces at all") << QStringList {} << QString() << QStringList {} << -1;
}

void TestSettingsDialog::workspaceChoices()
{
    QFETCH(QStringList, workspaces);
    QFETCH(QString, stored);
    QFETCH(QStringList, texts);
    QFETCH(int, selected);
    m_settings->setValue(SettingsKey::workspaces, workspaces);
    if (!stored.isEmpty())
        m_settings->setValue(SettingsKey::startupWorkspace, stored);

    auto dialog = open();
    auto *combo = control<QComboBox>(*dialog, SettingsKey::startupWorkspace);
    QStringList shown;
    for (int i = 0; i < combo->count(); ++i) {
        shown.append(combo->itemText(i));
        QCOMPARE(combo->itemData(i).toString(), i < workspaces.size() ? workspaces[i] : stored);
    }
    QCOMPARE(shown, texts);
    QCOMPARE(combo->currentIndex(), selected);

    // Only used when the last workspace is not reopened.
    QVERIFY(!combo->isEnabled());
    setControl(*dialog, SettingsKey::reopenLastWorkspace, false);
    QVERIFY(combo->isEnabled());

    control<QPushButton>(*dialog, QStringLiteral("doneButton"))->click();
    QCOMPARE(m_settings->stringValue(SettingsKey::startupWorkspace),
        selected < 0 ? std::nullopt : std::optional<QString>(stored));
}

void TestSettingsDialog::aiModelIsStoredTrimmed_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<std::optional<QString>>("stored");
    QTest::addColumn<QString>("model");
    QTest::newRow("nominal: model name") << QStringLiteral("claude-opus-4-1")
                                         << std::optional<QString>(QStringLiteral("claude-opus-4-1"))
                                         << QStringLiteral("claude-opus-4-1");
    QTest::newRow("nominal: surrounding blanks are dropped")
        << QStringLiteral(" \tclaude-haiku-4\t ") << std::optional<QString>(QStringLiteral("claude-haiku-4"))
        << QStringLiteral("claude-haiku-4");
    QTest::newRow("edge: only blanks fall back to the default")
        << QStringLiteral("   ") << std::optional<QString>() << QStringLiteral("claude-sonnet-4-6");
    QTest::newRow("edge: empty field falls back to the default")
        << QString() << std::optional<QString>() << QStringLiteral("claude-sonnet-4-6");
}

void TestSettingsDialog::aiModelIsStoredTrimmed()
{
    QFETCH(QString, typed);
    QFETCH(std::optional<QString>, stored);
    QFETCH(QString, model);
    m_settings->setValue(SettingsKey::aiModel, QStringLiteral("an earlier model"));

    auto dialog = open();
    auto *field = control<QLineEdit>(*dialog, SettingsKey::aiModel);
    QCOMPARE(field->placeholderText(), QStringLiteral("claude-sonnet-4-6"));
    field->setText(typed);
    control<QPushButton>(*dialog, QStringLiteral("doneButton"))->click();
    QCOMPARE(m_settings->stringValue(SettingsKey::aiModel), stored);
    QCOMPARE(m_settings->aiModel(), model);
}

void TestSettingsDialog::fontChoices_data()
{
    QTest::addColumn<std::optional<QString>>("stored");
    QTest::addColumn<std::optional<QString>>("choose"); // nothing: leave the pop-up alone; "": the system font
    QTest::addColumn<std::optional<QString>>("expected");
    const QString family = firstFontFamily();
    if (family.isEmpty())
        QSKIP("no fonts installed");
    const auto some = [](const QString &text) { return std::optional<QString>(text); };
    QTest::newRow("nominal: system font by default")
        << std::optional<QString>() << std::optional<QString>() << std::optional<QString>();
    QTest::newRow("nominal: choose a family") << std::optional<QString>() << some(family) << some(family);
    QTest::newRow("nominal: back to the system font removes the key")
        << some(family) << some(QString()) << std::optional<QString>();
    QTest::newRow("robustness: uninstalled family is kept")
        << some(QStringLiteral("No Such Family 1234")) << std::optional<QString>()
        << some(QStringLiteral("No Such Family 1234"));
}

void TestSettingsDialog::fontChoices()
{
    QFETCH(std::optional<QString>, stored);
    QFETCH(std::optional<QString>, choose);
    QFETCH(std::optional<QString>, expected);
    m_settings->setNoteFontFamily(stored);

    auto dialog = open();
    auto *combo = control<QComboBox>(*dialog, SettingsKey::noteFontFamily);
    QCOMPARE(combo->itemText(0), QStringLiteral("System font"));
    QCOMPARE(combo->currentData().toString(), stored.value_or(QString()));
    if (choose)
        setControl(*dialog, SettingsKey::noteFontFamily, *choose);
    control<QPushButton>(*dialog, QStringLiteral("doneButton"))->click();
    QCOMPARE(m_settings->noteFontFamily(), expected);
    QCOMPARE(m_settings->contains(SettingsKey::noteFontFamily), expected.has_value());
}

void TestSettingsDialog::customColor_data()
{
    QTest::addColumn<bool>("acceptColor");
    QTest::addColumn<QString>("shown");
    QTest::addColumn<QString>("written");
    QTest::newRow("nominal: custom color chosen")
        << true << QStringLiteral("Custom (#12AB56)") << QStringLiteral("#12AB56");
    QTest::newRow("nominal: color dialog cancelled keeps the earlier color")
        << false << QStringLiteral("Green") << QStringLiteral("#D4F2C2");
}

void TestSettingsDialog::customColor()
{
    QFETCH(bool, acceptColor);
    QFETCH(QString, shown);
    QFETCH(QString, written);
    m_settings->setValue(SettingsKey::fixedNoteColor, QStringLiteral("#D4F2C2"));

    auto dialog = open();
    auto *combo = control<QComboBox>(*dialog, SettingsKey::fixedNoteColor);
    auto *colorDialog = control<QColorDialog>(*dialog, QStringLiteral("colorDialog"));
    QCOMPARE(combo->count(), 9);
    QCOMPARE(combo->currentText(), QStringLiteral("Green"));
    QVERIFY(!colorDialog->isVisible());

    setControl(*dialog, SettingsKey::usePreviousNoteSettings, false);
    combo->setFocus();
    QTest::keyClick(combo, Qt::Key_End); // the last entry: "Custom…"
    QVERIFY(colorDialog->isVisible());
    QVERIFY(!colorDialog->testOption(QColorDialog::ShowAlphaChannel));
    QCOMPARE(colorDialog->currentColor(), QColor(QStringLiteral("#D4F2C2")));
    colorDialog->setCurrentColor(QColor(QStringLiteral("#12ab56")));
    if (acceptColor)
        colorDialog->accept();
    else
        colorDialog->reject();
    QCOMPARE(combo->currentText(), shown);

    control<QPushButton>(*dialog, QStringLiteral("doneButton"))->click();
    QCOMPARE(m_settings->stringValue(SettingsKey::fixedNoteColor), std::optional<QString>(written));
}

void TestSettingsDialog::storedCustomColorSurvivesDone()
{
    m_settings->setValue(SettingsKey::fixedNoteColor, QStringLiteral("#ABCDEF"));
    auto dialog = open();
    auto *combo = control<QComboBox>(*dialog, SettingsKey::fixedNoteColor);
    QCOMPARE(combo->currentText(), QStringLiteral("Custom (#ABCDEF)"));
    QCOMPARE(combo->itemText(combo->count() - 1), QStringLiteral("Custom…"));

    // Cancelling the settings while the color dialog is open closes it too.
    setControl(*dialog, SettingsKey::usePreviousNoteSettings, false);
    combo->setFocus();
    QTest::keyClick(combo, Qt::Key_End);
    auto *colorDialog = control<QColorDialog>(*dialog, QStringLiteral("colorDialog"));
    QVERIFY(colorDialog->isVisible());
    control<QPushButton>(*dialog, QStringLiteral("cancelButton"))->click();
    QVERIFY(!colorDialog->isVisible());

    auto again = open();
    control<QPushButton>(*again, QStringLiteral("doneButton"))->click();
    QCOMPARE(m_settings->fixedColor(), QStringLiteral("#ABCDEF"));
}

void TestSettingsDialog::texts()
{
    auto dialog = open();
    QStringList labels;
    for (const QLabel *label : dialog->findChildren<QLabel *>())
        labels.append(label->text());
    QVERIFY(labels.contains(
        QStringLiteral("System-wide keyboard shortcut – works even when TackPad isn't the active app.")));
    QVERIFY(labels.contains(QStringLiteral("Preset note colors switch to dark versions. Files keep their stored "
                                           "colors, so this is instant and reversible.")));
    QVERIFY(labels.contains(QStringLiteral("Applying a prompt sends that note's text to Anthropic using your key. Mark "
                                           "any note as a prompt with right-click → Use as AI Prompt.")));
    QVERIFY(labels.contains(QStringLiteral("Anthropic API key:")));
    QVERIFY(labels.contains(QStringLiteral("Default workspace:")));

    QCOMPARE(control<QCheckBox>(*dialog, SettingsKey::usePreviousNoteSettings)->text(),
        QStringLiteral("Use selected note's settings for new notes"));
    QCOMPARE(control<QCheckBox>(*dialog, SettingsKey::reopenLastWorkspace)->text(),
        QStringLiteral("Reopen last workspace on startup"));
    QCOMPARE(
        control<QCheckBox>(*dialog, SettingsKey::darkMode)->text(), QStringLiteral("Use Dark Mode (dark note colors)"));
    QCOMPARE(control<QCheckBox>(*dialog, SettingsKey::globalNewNoteHotKey)->text(),
        QStringLiteral("Create a new note from anywhere with ") + GlobalHotKey::keyText());
#ifdef Q_OS_MACOS
    QCOMPARE(control<QCheckBox>(*dialog, SettingsKey::menuBarMode)->text(),
        QStringLiteral("Show TackPad in the menu bar instead of the Dock"));
#else
    QCOMPARE(GlobalHotKey::keyText(), QStringLiteral("Ctrl+Alt+["));
    QCOMPARE(control<QCheckBox>(*dialog, SettingsKey::menuBarMode)->text(),
        QStringLiteral("Show TackPad in the system tray instead of the taskbar"));
#endif
    // Where there is no tray, the box stays but says what happens instead.
    QVERIFY(control<QCheckBox>(*dialog, SettingsKey::menuBarMode)->isEnabled());
    QCOMPARE(
        control<QLabel>(*dialog, QStringLiteral("noTrayNote"))->isVisible(), !QSystemTrayIcon::isSystemTrayAvailable());

    auto *link = control<QLabel>(*dialog, QStringLiteral("websiteLink"));
    QVERIFY(link->openExternalLinks());
    QVERIFY(link->text().contains(QLatin1String(AppInfo::website)));
    QCOMPARE(control<QPushButton>(*dialog, QStringLiteral("cancelButton"))->text(), QStringLiteral("Cancel"));
    QCOMPARE(control<QPushButton>(*dialog, QStringLiteral("doneButton"))->text(), QStringLiteral("Done"));
}

void TestSettingsDialog::hotKeyNote_data()
{
    QTest::addColumn<int>("hotKey"); // -1: none; 0: platform without global shortcuts; 1: platform with them
    QTest::addColumn<bool>("settingOn");
    QTest::addColumn<bool>("registered");
    QTest::addColumn<bool>("noteShown");
    QTest::newRow("nominal: no hot key object") << -1 << true << false << false;
    QTest::newRow("nominal: platform cannot deliver it") << 0 << true << false << true;
    QTest::newRow("nominal: platform cannot deliver it, setting off") << 0 << false << false << true;
    QTest::newRow("nominal: registered") << 1 << true << true << false;
    QTest::newRow("nominal: setting off") << 1 << false << false << false;
    QTest::newRow("edge: another application holds the combination") << 1 << true << false << true;
}

void TestSettingsDialog::hotKeyNote()
{
    QFETCH(int, hotKey);
    QFETCH(bool, settingOn);
    QFETCH(bool, registered);
    QFETCH(bool, noteShown);
    m_settings->setValue(SettingsKey::globalNewNoteHotKey, settingOn);
    std::unique_ptr<FakeHotKey> fake = hotKey < 0 ? nullptr : std::make_unique<FakeHotKey>(hotKey == 1);
    if (fake && registered)
        fake->registerHotKey();

    auto dialog = open(fake.get());
    auto *note = control<QLabel>(*dialog, QStringLiteral("hotKeyNote"));
    QCOMPARE(note->isVisible(), noteShown);
    if (noteShown)
        QCOMPARE(note->text(), fake->description());
    QCOMPARE(control<QCheckBox>(*dialog, SettingsKey::globalNewNoteHotKey)->isChecked(), settingOn);
}

void TestSettingsDialog::hotKeyNoteFollowsRegistration()
{
    // A desktop that answers later (the portal) registers while the dialog is open.
    FakeHotKey hotKey(true);
    auto dialog = open(&hotKey);
    auto *note = control<QLabel>(*dialog, QStringLiteral("hotKeyNote"));
    QVERIFY(note->isVisible());
    hotKey.registerHotKey();
    QVERIFY(!note->isVisible());

    // The platform's own backend of an offscreen display has no global shortcuts and says what to do instead.
    const std::unique_ptr<GlobalHotKey> offscreen = GlobalHotKey::createFor(QStringLiteral("offscreen"));
    auto other = open(offscreen.get());
    auto *otherNote = control<QLabel>(*other, QStringLiteral("hotKeyNote"));
    QVERIFY(otherNote->isVisible());
    QVERIFY(otherNote->text().contains(QLatin1String("tackpad --new-note")));
}

void TestSettingsDialog::keyPlaceholders()
{
    if (!keyringRuns())
        QSKIP("needs the Secret Service of scripts/headless");
    {
        auto dialog = open(nullptr, m_keyStore.get());
        QVERIFY(keyChecked(*dialog));
        auto *field = control<QLineEdit>(*dialog, QStringLiteral("apiKey"));
        QCOMPARE(field->placeholderText(), SettingsDialog::noKeyPlaceholder());
        QVERIFY(field->isEnabled());
        QVERIFY(!control<QPushButton>(*dialog, QStringLiteral("removeKey"))->isVisible());
        QVERIFY(!control<QLabel>(*dialog, QStringLiteral("keyProblem"))->isVisible());
    }

    QCOMPARE(storeKey(QStringLiteral("sk-ant-secret-value")), QString());
    auto dialog = open(nullptr, m_keyStore.get());
    QVERIFY(keyChecked(*dialog));
    auto *field = control<QLineEdit>(*dialog, QStringLiteral("apiKey"));
    auto *remove = control<QPushButton>(*dialog, QStringLiteral("removeKey"));
    QCOMPARE(field->placeholderText(), QStringLiteral("Key stored – type here to replace it"));
    QCOMPARE(field->echoMode(), QLineEdit::Password);
    QCOMPARE(field->text(), QString()); // the stored key is never shown
    QVERIFY(remove->isVisible());
    QVERIFY(remove->isEnabled());

    field->setText(QStringLiteral("half-typed"));
    remove->click();
    QCOMPARE(field->text(), QString());
    QCOMPARE(field->placeholderText(), QStringLiteral("Key will be removed when you click Done"));
    QVERIFY(!remove->isEnabled());
}

void TestSettingsDialog::keyOnClose_data()
{
    QTest::addColumn<std::optional<QString>>("initial");
    QTest::addColumn<QStringList>("steps"); // "type:<text>" or "remove"
    QTest::addColumn<bool>("done");
    QTest::addColumn<std::optional<QString>>("expected");
    const auto key = [](const char *text) { return std::optional<QString>(QString::fromUtf8(text)); };
    const std::optional<QString> none;
    QTest::newRow("nominal: typed key is stored")
        << none << QStringList {QStringLiteral("type:sk-ant-new")} << true << key("sk-ant-new");
    QTest::newRow("nominal: typed key replaces the stored one")
        << key("sk-ant-old") << QStringList {QStringLiteral("type:sk-ant-new")} << true << key("sk-ant-new");
    QTest::newRow("nominal: empty field leaves the key")
        << key("sk-ant-old") << QStringList {} << true << key("sk-ant-old");
    QTest::newRow("nominal: remove, then Done")
        << key("sk-ant-old") << QStringList {QStringLiteral("remove")} << true << none;
    QTest::newRow("nominal: remove, then type a new key")
        << key("sk-ant-old") << QStringList {QStringLiteral("remove"), QStringLiteral("type:sk-ant-new")} << true
        << key("sk-ant-new");
    QTest::newRow("edge: remove, then Cancel keeps the key")
        << key("sk-ant-old") << QStringList {QStringLiteral("remove")} << false << key("sk-ant-old");
    QTest::newRow("edge: typed key, then Cancel stores nothing")
        << none << QStringList {QStringLiteral("type:sk-ant-new")} << false << none;
    QTest::newRow("robustness: blanks leave the key")
        << key("sk-ant-old") << QStringList {QStringLiteral("type:   ")} << true << key("sk-ant-old");
    QTest::newRow("robustness: pasted spaces around the key are dropped")
        << none << QStringList {QStringLiteral("type:  sk-ant-new\t")} << true << key("sk-ant-new");
}

void TestSettingsDialog::keyOnClose()
{
    if (!keyringRuns())
        QSKIP("needs the Secret Service of scripts/headless");
    QFETCH(std::optional<QString>, initial);
    QFETCH(QStringList, steps);
    QFETCH(bool, done);
    QFETCH(std::optional<QString>, expected);
    if (initial)
        QCOMPARE(storeKey(*initial), QString());

    auto dialog = open(nullptr, m_keyStore.get());
    QSignalSpy applied(dialog.get(), &SettingsDialog::applied);
    QVERIFY(keyChecked(*dialog));
    setControl(*dialog, SettingsKey::darkMode, true);
    for (const QString &step : steps) {
        if (step == QLatin1String("remove"))
            control<QPushButton>(*dialog, QStringLiteral("removeKey"))->click();
        else
            control<QLineEdit>(*dialog, QStringLiteral("apiKey"))->setText(step.mid(int(strlen("type:"))));
    }
    const bool keyChanges = done && expected != initial;
    control<QPushButton>(*dialog, done ? QStringLiteral("doneButton") : QStringLiteral("cancelButton"))->click();
    if (keyChanges) {
        // The keyring answers later: nothing is applied (nor written) before it has.
        QCOMPARE(applied.size(), 0);
        QVERIFY(dialog->isVisible());
        QVERIFY(!m_settings->contains(SettingsKey::darkMode));
        QVERIFY(applied.wait(20000));
    }
    QVERIFY(!dialog->isVisible());
    QCOMPARE(applied.size(), done ? 1 : 0);
    QCOMPARE(m_settings->darkMode(), done);
    QCOMPARE(storedKey(), expected);
    // The key goes to the keyring only.
    QVERIFY(!fileContents(m_ini).contains("sk-ant"));
}

void TestSettingsDialog::keyFieldWithoutKeyStore()
{
    auto dialog = open(nullptr, nullptr);
    auto *field = control<QLineEdit>(*dialog, QStringLiteral("apiKey"));
    QVERIFY(!field->isEnabled());
    QVERIFY(!control<QPushButton>(*dialog, QStringLiteral("removeKey"))->isVisible());
    QCOMPARE(control<QLabel>(*dialog, QStringLiteral("keyProblem"))->text(), KeyStore::noKeyringMessage());

    // The other settings are still saved.
    QSignalSpy applied(dialog.get(), &SettingsDialog::applied);
    setControl(*dialog, SettingsKey::darkMode, true);
    control<QPushButton>(*dialog, QStringLiteral("doneButton"))->click();
    QCOMPARE(applied.size(), 1);
    QVERIFY(m_settings->darkMode());
}

void TestSettingsDialog::keyFieldWithoutKeyring()
{
    // Runs as its own test on a session bus without any services (see the CMake file); with a keyring it skips.
    if (qEnvironmentVariableIsEmpty("TACKPAD_EXPECT_NO_KEYRING"))
        QSKIP("runs on a session bus without a keyring");
    QVERIFY(!keyringRuns());

    auto dialog = open(nullptr, m_keyStore.get());
    QVERIFY(keyChecked(*dialog));
    auto *problem = control<QLabel>(*dialog, QStringLiteral("keyProblem"));
    QVERIFY(problem->isVisible());
    QCOMPARE(problem->text(), QStringLiteral("No keyring is available, so the API key cannot be stored."));
    QVERIFY(!control<QLineEdit>(*dialog, QStringLiteral("apiKey"))->isEnabled());
    QVERIFY(!control<QPushButton>(*dialog, QStringLiteral("removeKey"))->isVisible());

    QSignalSpy applied(dialog.get(), &SettingsDialog::applied);
    setControl(*dialog, SettingsKey::aiModel, QStringLiteral("claude-opus-4-1"));
    control<QPushButton>(*dialog, QStringLiteral("doneButton"))->click();
    QCOMPARE(applied.size(), 1);
    QCOMPARE(m_settings->aiModel(), QStringLiteral("claude-opus-4-1"));
}

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    TestSettingsDialog test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_settingsdialog.moc"

#pragma once

#include "core/Settings.h"

#include <QDialog>
#include <QList>
#include <QPointer>

class ApiKeyField;
class GlobalHotKey;
class KeyStore;
class QCheckBox;
class QColorDialog;
class QComboBox;
class QDialogButtonBox;
class QDoubleSpinBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QScrollArea;
class QWidget;

// The settings sheet: every preference of the application plus the Anthropic API key. Controls show the current
// settings when the dialog opens; nothing is written until Done.
//
// Done first stores or removes the API key (when the user asked for either), waiting for the keyring's answer with
// the dialog's controls disabled. If the keyring refuses, the dialog stays open with the keyring's message and
// nothing at all is written, so Cancel still means "no change". Otherwise every control's value is written and
// `applied` is emitted before the dialog closes. Cancel writes nothing and closes a colour dialog opened from here.
class SettingsDialog : public QDialog {
    Q_OBJECT

public:
    // Ranges of the fixed new-note fields: the same limits the note file format clamps to.
    static constexpr double minWidth = 140;
    static constexpr double maxWidth = 20000;
    static constexpr double minHeight = 60;
    static constexpr double maxHeight = 20000;
    static constexpr double minFontSize = 8;
    static constexpr double maxFontSize = 48;

    // `keyStore` and `hotKey` may be null: without a key store the key field says that no keyring is available;
    // without a hot key only the shortcut's general explanation is shown.
    SettingsDialog(Settings settings, KeyStore *keyStore, GlobalHotKey *hotKey, QWidget *parent = nullptr);
    ~SettingsDialog() override;

    // Replaces the key store and checks afresh whether it holds a key.
    void setKeyStore(KeyStore *keyStore);

    void done(int result) override;

Q_SIGNALS:
    // Every value has been written and the key stored or removed: time to apply the activation mode, the hot key,
    // dark mode and the editor font everywhere.
    void applied();

private:
    QGroupBox *buildNewNoteSection();
    QGroupBox *buildStartupSection();
    QGroupBox *buildDesktopSection();
    QGroupBox *buildAppearanceSection();
    QGroupBox *buildAiSection();
    QWidget *buildButtonRow();
    void sizeToScreen(QScrollArea *scroll, QWidget *content);
    void alignLabelColumns(const QList<QGroupBox *> &sections);
    int checkBoxTextIndent() const;

    void loadValues();
    void fillColorChoices();
    void selectColor(const QString &hex);
    void refreshColorIcons();
    void colorChoiceActivated(int index);
    void customColorChosen(const QColor &color);
    void fillWorkspaceChoices();
    void fillFontChoices();
    void refreshEnabledState();
    void refreshHotKeyNote();

    void finish();
    void keyOperationFinished(const QString &error);
    void writeValues();
    void confirmDesktopShortcut();
    void writeLoginStart();
    void writeBool(const char *key, bool value);
    void writeDouble(const char *key, double value);
    void setBusy(bool busy);

    Settings m_settings;
    QPointer<GlobalHotKey> m_hotKey;
    // The hot-key setting as the application last applied it: whether a missing registration is news to the user.
    bool m_hotKeyWasOn = false;
    int m_previousColorIndex = 0;

    QCheckBox *m_usePrevious = nullptr;
    // The fixed new-note style and its labels: usable only while the previous note's style is not used.
    QList<QWidget *> m_fixedWidgets;
    QDoubleSpinBox *m_width = nullptr;
    QDoubleSpinBox *m_height = nullptr;
    QDoubleSpinBox *m_fontSize = nullptr;
    QComboBox *m_color = nullptr;
    QCheckBox *m_float = nullptr;
    QColorDialog *m_colorDialog = nullptr;

    QCheckBox *m_reopen = nullptr;
    QCheckBox *m_loginStart = nullptr; // null where the platform cannot start the app at login
    QComboBox *m_startupWorkspace = nullptr;

    QCheckBox *m_menuBarMode = nullptr;
    QLabel *m_noTrayNote = nullptr;
    QCheckBox *m_hotKeyBox = nullptr;
    QLabel *m_hotKeyNote = nullptr;

    QCheckBox *m_darkMode = nullptr;
    QComboBox *m_font = nullptr;

    ApiKeyField *m_keyField = nullptr;
    QLineEdit *m_model = nullptr;

    QDialogButtonBox *m_buttons = nullptr;
    QPushButton *m_done = nullptr;
};

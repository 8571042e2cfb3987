#include "app/SettingsDialog.h"

#include "app/ApiKeyField.h"
#include "core/AppInfo.h"
#include "core/WorkspaceList.h"
#include "editor/HiddenFont.h"
#include "notes/NotePalette.h"
#include "platform/GlobalHotKey.h"
#include "platform/KeyStore.h"
#include "platform/LoginStart.h"
#include "windows/DialogStacking.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QStyle>
#include <QSystemTrayIcon>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// A smaller, quieter line of text under the control it explains, lined up with the control's text.
QLabel *explanation(const QString &text, int indent, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setContentsMargins(indent, 0, 0, 0);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    label->setPalette(palette);
    return label;
}

QDoubleSpinBox *numberField(double minimum, double maximum, int decimals, const char *name, QWidget *parent)
{
    auto *field = new QDoubleSpinBox(parent);
    field->setObjectName(QLatin1String(name));
    field->setRange(minimum, maximum);
    field->setDecimals(decimals);
    field->setSingleStep(decimals == 0 ? 10 : 1);
    field->setAlignment(Qt::AlignRight);
    field->setMinimumWidth(field->fontMetrics().horizontalAdvance(QStringLiteral("20000 pt")) + 40);
    field->setSuffix(SettingsDialog::tr(" pt"));
    return field;
}

QFormLayout *newForm(QWidget *parent)
{
    auto *form = new QFormLayout(parent);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    return form;
}

// A widget in the field column of a row without a label, lined up with the fields above it.
void addField(QFormLayout *form, QWidget *field)
{
    form->setWidget(form->rowCount(), QFormLayout::FieldRole, field);
}

QString trayCheckBoxText()
{
#ifdef Q_OS_MACOS
    return SettingsDialog::tr("Show TackPad in the menu &bar instead of the Dock");
#else
    return SettingsDialog::tr("Show TackPad in the system &tray instead of the taskbar");
#endif
}

QString websiteText()
{
    const QUrl url(QString::fromLatin1(AppInfo::website));
    return QStringLiteral("<a href=\"%1\">%2</a>").arg(url.toString(), url.host().toHtmlEscaped());
}

} // namespace

SettingsDialog::SettingsDialog(Settings settings, KeyStore *keyStore, GlobalHotKey *hotKey, QWidget *parent)
    : QDialog(parent)
    , m_settings(std::move(settings))
    , m_hotKey(hotKey)
{
    setWindowTitle(tr("Settings"));
    DialogStacking::keepAboveFloatingNotes(this);

    // The sections scroll; the buttons stay below them, so that Done and Cancel are on screen however small it is.
    auto *content = new QWidget(this);
    auto *contentLayout = new QVBoxLayout(content);
    contentLayout->setContentsMargins(0, 0, 0, 0);
    const QList<QGroupBox *> sections {buildNewNoteSection(), buildStartupSection(), buildDesktopSection(),
        buildAppearanceSection(), buildAiSection()};
    // Wide enough that the explanations read as sentences rather than narrow columns.
    const int sectionWidth = fontMetrics().averageCharWidth() * 72;
    for (QGroupBox *section : sections) {
        section->setParent(content);
        section->setMinimumWidth(sectionWidth);
        contentLayout->addWidget(section);
    }
    contentLayout->addStretch(1);
    alignLabelColumns(sections);

    auto *scroll = new QScrollArea(this);
    scroll->setObjectName(QStringLiteral("sections"));
    scroll->setWidget(content);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(scroll, 1);
    layout->addSpacing(4);
    layout->addWidget(buildButtonRow());
    sizeToScreen(scroll, content);

    loadValues();
    if (m_hotKey)
        connect(m_hotKey, &GlobalHotKey::registeredChanged, this, &SettingsDialog::refreshHotKeyNote);
    refreshHotKeyNote();
    setKeyStore(keyStore);
    m_done->setFocus();
}

SettingsDialog::~SettingsDialog() = default;

// All of the sections when the screen has room for them, otherwise as much as it has; the user can resize.
void SettingsDialog::sizeToScreen(QScrollArea *scroll, QWidget *content)
{
    const int scrollBar = scroll->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, scroll);
    scroll->setMinimumWidth(content->minimumSizeHint().width() + scrollBar);
    const QSize whole = sizeHint() - scroll->sizeHint() + content->sizeHint() + QSize(scrollBar, 0);
    QSize size = whole;
    if (const QScreen *shown = screen()) {
        // Leave room for the window frame and the desktop's panels (already outside the available area).
        const QSize room = shown->availableGeometry().size() - QSize(40, 60);
        size = whole.boundedTo(room).expandedTo(minimumSizeHint());
    }
    resize(size);
}

int SettingsDialog::checkBoxTextIndent() const
{
    return style()->pixelMetric(QStyle::PM_IndicatorWidth) + style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing);
}

// Every section is a form of its own; giving their label columns one width makes them line up as one form.
void SettingsDialog::alignLabelColumns(const QList<QGroupBox *> &sections)
{
    QList<QWidget *> labels;
    int width = 0;
    for (QGroupBox *section : sections) {
        auto *form = qobject_cast<QFormLayout *>(section->layout());
        for (int row = 0; form && row < form->rowCount(); ++row) {
            QLayoutItem *item = form->itemAt(row, QFormLayout::LabelRole);
            if (item && item->widget()) {
                labels.append(item->widget());
                width = std::max(width, item->widget()->sizeHint().width());
            }
        }
    }
    for (QWidget *label : std::as_const(labels))
        label->setMinimumWidth(width);
}

QGroupBox *SettingsDialog::buildNewNoteSection()
{
    auto *group = new QGroupBox(tr("New notes"), this);
    auto *form = newForm(group);

    m_usePrevious = new QCheckBox(tr("&Use selected note's settings for new notes"), group);
    m_usePrevious->setObjectName(QLatin1String(SettingsKey::usePreviousNoteSettings));
    form->addRow(m_usePrevious);

    // The fixed style applies only while the check box is off; it stays visible so the user sees what it would be.
    m_width = numberField(minWidth, maxWidth, 0, SettingsKey::fixedNoteWidth, group);
    m_height = numberField(minHeight, maxHeight, 0, SettingsKey::fixedNoteHeight, group);
    m_fontSize = numberField(minFontSize, maxFontSize, 1, SettingsKey::fixedNoteFontSize, group);
    m_color = new QComboBox(group);
    m_color->setObjectName(QLatin1String(SettingsKey::fixedNoteColor));
    m_color->setIconSize(QSize(14, 14));
    m_float = new QCheckBox(tr("&Float new notes on top"), group);
    m_float->setObjectName(QLatin1String(SettingsKey::fixedNoteFloat));
    const std::pair<QString, QWidget *> rows[] = {{tr("&Width:"), m_width}, {tr("&Height:"), m_height},
        {tr("Font si&ze:"), m_fontSize}, {tr("&Color:"), m_color}};
    for (const auto &[text, field] : rows) {
        auto *label = new QLabel(text, group);
        // The buddy gives the field its name for screen readers and makes the label's mnemonic reach it.
        label->setBuddy(field);
        form->addRow(label, field);
        m_fixedWidgets << label << field;
    }
    addField(form, m_float);
    m_fixedWidgets << m_float;

    // Shared, non-modal and without alpha: note colours are opaque.
    m_colorDialog = new QColorDialog(this);
    m_colorDialog->setObjectName(QStringLiteral("colorDialog"));
    m_colorDialog->setWindowTitle(tr("Note Color"));
    m_colorDialog->setOption(QColorDialog::ShowAlphaChannel, false);
    DialogStacking::keepAboveFloatingNotes(m_colorDialog);
    connect(m_color, &QComboBox::activated, this, &SettingsDialog::colorChoiceActivated);
    connect(m_colorDialog, &QColorDialog::colorSelected, this, &SettingsDialog::customColorChosen);
    connect(m_colorDialog, &QDialog::rejected, this, [this] { m_color->setCurrentIndex(m_previousColorIndex); });
    connect(m_usePrevious, &QCheckBox::toggled, this, &SettingsDialog::refreshEnabledState);
    return group;
}

QGroupBox *SettingsDialog::buildStartupSection()
{
    auto *group = new QGroupBox(tr("Startup"), this);
    auto *form = newForm(group);

    m_reopen = new QCheckBox(tr("&Reopen last workspace on startup"), group);
    m_reopen->setObjectName(QLatin1String(SettingsKey::reopenLastWorkspace));
    m_startupWorkspace = new QComboBox(group);
    m_startupWorkspace->setObjectName(QLatin1String(SettingsKey::startupWorkspace));
    m_startupWorkspace->setPlaceholderText(tr("None"));
    m_startupWorkspace->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    form->addRow(m_reopen);
    form->addRow(tr("Default wor&kspace:"), m_startupWorkspace);
    if (LoginStart::isSupported()) {
        m_loginStart = new QCheckBox(tr("Start Tackpad when I &log in"), group);
        m_loginStart->setObjectName(QStringLiteral("startAtLogin"));
        form->addRow(m_loginStart);
    }
    connect(m_reopen, &QCheckBox::toggled, this, &SettingsDialog::refreshEnabledState);
    return group;
}

QGroupBox *SettingsDialog::buildDesktopSection()
{
    auto *group = new QGroupBox(tr("Desktop"), this);
    auto *form = newForm(group);

    m_menuBarMode = new QCheckBox(trayCheckBoxText(), group);
    m_menuBarMode->setObjectName(QLatin1String(SettingsKey::menuBarMode));
    form->addRow(m_menuBarMode);
    // The box stays usable: the application itself keeps a taskbar entry while there is no tray to hold it.
    m_noTrayNote = explanation(
        tr("This desktop has no system tray, so notes stay in the taskbar."), checkBoxTextIndent(), group);
    m_noTrayNote->setObjectName(QStringLiteral("noTrayNote"));
    form->addRow(m_noTrayNote);
    m_noTrayNote->setVisible(!QSystemTrayIcon::isSystemTrayAvailable());

    m_hotKeyBox = new QCheckBox(tr("Create a new note from &anywhere with %1").arg(GlobalHotKey::keyText()), group);
    m_hotKeyBox->setObjectName(QLatin1String(SettingsKey::globalNewNoteHotKey));
    form->addRow(m_hotKeyBox);
    form->addRow(explanation(tr("System-wide keyboard shortcut – works even when TackPad isn't the active app."),
        checkBoxTextIndent(), group));
    m_hotKeyNote = explanation(QString(), checkBoxTextIndent(), group);
    m_hotKeyNote->setObjectName(QStringLiteral("hotKeyNote"));
    form->addRow(m_hotKeyNote);
    return group;
}

QGroupBox *SettingsDialog::buildAppearanceSection()
{
    auto *group = new QGroupBox(tr("Appearance"), this);
    auto *form = newForm(group);

    m_darkMode = new QCheckBox(tr("Use Dark &Mode (dark note colors)"), group);
    m_darkMode->setObjectName(QLatin1String(SettingsKey::darkMode));
    form->addRow(m_darkMode);
    form->addRow(explanation(tr("Preset note colors switch to dark versions. Files keep their stored colors, so this "
                                "is instant and reversible."),
        checkBoxTextIndent(), group));
    m_font = new QComboBox(group);
    m_font->setObjectName(QLatin1String(SettingsKey::noteFontFamily));
    m_font->setMaxVisibleItems(20);
    form->addRow(tr("Note fo&nt:"), m_font);
    // The swatches show the colours as the notes will look.
    connect(m_darkMode, &QCheckBox::toggled, this, &SettingsDialog::refreshColorIcons);
    return group;
}

QGroupBox *SettingsDialog::buildAiSection()
{
    auto *group = new QGroupBox(tr("AI prompts"), this);
    auto *form = newForm(group);
    // The key, its explanation and the model take the section's full width: keys are long.
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);

    m_keyField = new ApiKeyField(group);
    form->addRow(tr("Anthropic API ke&y:"), m_keyField);
    addField(form, m_keyField->problemLabel());
    connect(m_keyField, &ApiKeyField::busyChanged, this, &SettingsDialog::setBusy);
    addField(form,
        explanation(tr("Applying a prompt sends that note's text to Anthropic using your key. Mark any note as a "
                       "prompt with right-click → Use as AI Prompt."),
            0, group));

    m_model = new QLineEdit(group);
    m_model->setObjectName(QLatin1String(SettingsKey::aiModel));
    m_model->setPlaceholderText(QString::fromLatin1(Settings::defaultAiModel));
    m_model->setMinimumWidth(m_keyField->minimumSizeHint().width());
    form->addRow(tr("M&odel:"), m_model);
    return group;
}

QWidget *SettingsDialog::buildButtonRow()
{
    auto *row = new QWidget(this);
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);

    auto *link = new QLabel(websiteText(), row);
    link->setObjectName(QStringLiteral("websiteLink"));
    link->setTextFormat(Qt::RichText);
    link->setOpenExternalLinks(true);
    link->setTextInteractionFlags(Qt::TextBrowserInteraction);

    m_buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, row);
    m_buttons->button(QDialogButtonBox::Cancel)->setObjectName(QStringLiteral("cancelButton"));
    m_done = m_buttons->addButton(tr("&Done"), QDialogButtonBox::AcceptRole);
    m_done->setObjectName(QStringLiteral("doneButton"));
    m_done->setDefault(true);
    connect(m_buttons, &QDialogButtonBox::accepted, this, &SettingsDialog::finish);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    layout->addWidget(link);
    layout->addStretch(1);
    layout->addWidget(m_buttons);
    return row;
}

void SettingsDialog::loadValues()
{
    m_usePrevious->setChecked(m_settings.boolValue(SettingsKey::usePreviousNoteSettings));
    // The spin boxes clamp what they are given: a stored value out of range shows (and is saved) at the limit.
    m_width->setValue(m_settings.doubleValue(SettingsKey::fixedNoteWidth));
    m_height->setValue(m_settings.doubleValue(SettingsKey::fixedNoteHeight));
    m_fontSize->setValue(m_settings.doubleValue(SettingsKey::fixedNoteFontSize));
    m_float->setChecked(m_settings.boolValue(SettingsKey::fixedNoteFloat));
    m_reopen->setChecked(m_settings.boolValue(SettingsKey::reopenLastWorkspace));
    if (m_loginStart)
        m_loginStart->setChecked(LoginStart::isEnabled());
    m_menuBarMode->setChecked(m_settings.boolValue(SettingsKey::menuBarMode));
    m_hotKeyWasOn = m_settings.boolValue(SettingsKey::globalNewNoteHotKey);
    m_hotKeyBox->setChecked(m_hotKeyWasOn);
    m_darkMode->setChecked(m_settings.darkMode());
    m_model->setText(m_settings.stringValue(SettingsKey::aiModel).value_or(QString()).trimmed());

    fillColorChoices();
    selectColor(m_settings.fixedColor());
    fillWorkspaceChoices();
    fillFontChoices();
    refreshEnabledState();
}

void SettingsDialog::fillColorChoices()
{
    for (const NotePalette::Entry &entry : NotePalette::colors)
        m_color->addItem(QCoreApplication::translate("NotePalette", entry.name), QString::fromLatin1(entry.hex));
    // The last entry opens the colour dialog; it carries no colour of its own.
    m_color->addItem(tr("Custom…"));
    refreshColorIcons();
}

void SettingsDialog::selectColor(const QString &hex)
{
    const QString normalized = NotePalette::hexString(
        NotePalette::colorFromHexString(hex).value_or(QColor(QString::fromLatin1(NotePalette::fallbackHex))));
    int index = m_color->findData(normalized);
    if (index < 0) {
        // One entry for the custom colour, just before "Custom…"; a second custom colour replaces it.
        const int customIndex = int(NotePalette::colors.size());
        const QString text = tr("Custom (%1)").arg(normalized);
        if (m_color->itemData(customIndex).toString().isEmpty())
            m_color->insertItem(customIndex, text, normalized);
        else {
            m_color->setItemText(customIndex, text);
            m_color->setItemData(customIndex, normalized);
        }
        index = customIndex;
        refreshColorIcons();
    }
    m_color->setCurrentIndex(index);
    m_previousColorIndex = index;
}

void SettingsDialog::refreshColorIcons()
{
    const bool dark = m_darkMode->isChecked();
    for (int i = 0; i < m_color->count(); ++i) {
        const QString hex = m_color->itemData(i).toString();
        if (hex.isEmpty())
            continue;
        const QImage swatch = NotePalette::swatch(NotePalette::displayHex(hex, dark), devicePixelRatioF());
        m_color->setItemIcon(i, QIcon(QPixmap::fromImage(swatch)));
    }
}

void SettingsDialog::colorChoiceActivated(int index)
{
    const QString hex = m_color->itemData(index).toString();
    if (!hex.isEmpty()) {
        m_previousColorIndex = index;
        return;
    }
    m_colorDialog->setCurrentColor(QColor(m_color->itemData(m_previousColorIndex).toString()));
    m_colorDialog->show();
    m_colorDialog->raise();
    m_colorDialog->activateWindow();
}

void SettingsDialog::customColorChosen(const QColor &color)
{
    selectColor(NotePalette::hexString(color));
}

void SettingsDialog::fillWorkspaceChoices()
{
    QStringList paths = WorkspaceList::readPaths(m_settings);
    const QString stored = m_settings.stringValue(SettingsKey::startupWorkspace).value_or(QString());
    // A start-up workspace that has left the list stays selectable, so Done does not silently change it.
    if (!stored.isEmpty() && !paths.contains(stored))
        paths.append(stored);

    QStringList names;
    for (const QString &path : paths) {
        const QString name = QFileInfo(path).fileName();
        names.append(name.isEmpty() ? path : name);
    }
    for (int i = 0; i < paths.size(); ++i) {
        QString text = names[i];
        // Two folders of the same name are told apart by where they are.
        if (names.count(names[i]) > 1)
            text = tr("%1 (%2)").arg(names[i], QDir::toNativeSeparators(QFileInfo(paths[i]).path()));
        m_startupWorkspace->addItem(text, paths[i]);
        m_startupWorkspace->setItemData(i, QDir::toNativeSeparators(paths[i]), Qt::ToolTipRole);
    }
    m_startupWorkspace->setCurrentIndex(stored.isEmpty() ? -1 : m_startupWorkspace->findData(stored));
}

void SettingsDialog::fillFontChoices()
{
    m_font->addItem(tr("System font"));
    QStringList families;
    for (const QString &family : QFontDatabase::families()) {
        // The editor's own font for hidden markers draws nothing: no family a user could want.
        if (!QFontDatabase::isPrivateFamily(family) && family != HiddenFont::family())
            families.append(family);
    }
    const std::optional<QString> stored = m_settings.noteFontFamily();
    // A family that is no longer installed is kept rather than quietly replaced by the system font.
    if (stored && !stored->isEmpty() && !families.contains(*stored))
        families.prepend(*stored);
    for (const QString &family : std::as_const(families))
        m_font->addItem(family, family);
    m_font->setCurrentIndex(stored && !stored->isEmpty() ? m_font->findData(*stored) : 0);
}

void SettingsDialog::refreshEnabledState()
{
    for (QWidget *widget : std::as_const(m_fixedWidgets))
        widget->setEnabled(!m_usePrevious->isChecked());
    m_startupWorkspace->setEnabled(!m_reopen->isChecked());
}

void SettingsDialog::refreshHotKeyNote()
{
    // While the shortcut is on, the note says how it reaches the application (and where to change the key) or why
    // it does not; while it is off, only a platform that cannot deliver it at all is worth a word.
    const bool show = m_hotKey && (!m_hotKey->isAvailable() || m_hotKeyWasOn);
    m_hotKeyNote->setText(show ? m_hotKey->description() : QString());
    m_hotKeyNote->setVisible(show);
}

void SettingsDialog::setKeyStore(KeyStore *keyStore)
{
    m_keyField->setKeyStore(keyStore);
}

void SettingsDialog::finish()
{
    if (m_keyField->isBusy())
        return;
    confirmDesktopShortcut();
    QPointer<SettingsDialog> self(this);
    m_keyField->commit([self](const QString &error) {
        if (self)
            self->keyOperationFinished(error);
    });
}

void SettingsDialog::keyOperationFinished(const QString &error)
{
    // On an error nothing is written: the user can retry, clear the field, or cancel with everything as it was.
    if (!error.isEmpty())
        return;
    writeValues();
    Q_EMIT applied();
    accept();
}

void SettingsDialog::writeValues()
{
    writeBool(SettingsKey::usePreviousNoteSettings, m_usePrevious->isChecked());
    writeDouble(SettingsKey::fixedNoteWidth, std::clamp(m_width->value(), minWidth, maxWidth));
    writeDouble(SettingsKey::fixedNoteHeight, std::clamp(m_height->value(), minHeight, maxHeight));
    writeDouble(SettingsKey::fixedNoteFontSize, std::clamp(m_fontSize->value(), minFontSize, maxFontSize));
    const QString color = m_color->itemData(m_previousColorIndex).toString();
    if (m_settings.contains(SettingsKey::fixedNoteColor) || color != m_settings.fixedColor())
        m_settings.setValue(SettingsKey::fixedNoteColor, color);
    writeBool(SettingsKey::fixedNoteFloat, m_float->isChecked());

    writeBool(SettingsKey::reopenLastWorkspace, m_reopen->isChecked());
    if (m_startupWorkspace->currentIndex() >= 0)
        m_settings.setValue(SettingsKey::startupWorkspace, m_startupWorkspace->currentData().toString());
    writeLoginStart();

    writeBool(SettingsKey::menuBarMode, m_menuBarMode->isChecked());
    writeBool(SettingsKey::globalNewNoteHotKey, m_hotKeyBox->isChecked());
    writeBool(SettingsKey::darkMode, m_darkMode->isChecked());
    const QString family = m_font->currentData().toString();
    m_settings.setNoteFontFamily(family.isEmpty() ? std::nullopt : std::optional<QString>(family));

    const QString model = m_model->text().trimmed();
    if (model.isEmpty())
        m_settings.remove(SettingsKey::aiModel);
    else
        m_settings.setValue(SettingsKey::aiModel, model);
    m_settings.sync();
}

// A setting the user never changed keeps reading its registered default without being written, so that a later
// change of that default still reaches them. Anything else is written with its proper type.
void SettingsDialog::writeBool(const char *key, bool value)
{
    if (m_settings.contains(key) || value != m_settings.boolValue(key))
        m_settings.setValue(key, value);
}

void SettingsDialog::writeDouble(const char *key, double value)
{
    if (m_settings.contains(key) || value != m_settings.doubleValue(key))
        m_settings.setValue(key, value);
}

void SettingsDialog::setBusy(bool busy)
{
    m_buttons->setEnabled(!busy);
}

// A shortcut that works by changing the desktop's own keyboard settings is added only once the user agrees; without
// that the option is switched off again rather than left on without effect.
void SettingsDialog::confirmDesktopShortcut()
{
    if (!m_hotKey || !m_hotKeyBox->isChecked() || m_hotKey->isRegistered())
        return;
    const QString question = m_hotKey->consentQuestion();
    if (question.isEmpty())
        return;
    const auto answer = QMessageBox::question(this, tr("Add a Keyboard Shortcut?"), question,
        QMessageBox::StandardButtons(QMessageBox::Yes | QMessageBox::No), QMessageBox::Yes);
    if (answer == QMessageBox::Yes)
        m_hotKey->giveConsent();
    else
        m_hotKeyBox->setChecked(false);
}

// Only a change is written: an entry the user made or edited by hand stays as it is while the box says the same.
void SettingsDialog::writeLoginStart()
{
    if (!m_loginStart || m_loginStart->isChecked() == LoginStart::isEnabled())
        return;
    QString error;
    if (!LoginStart::setEnabled(m_loginStart->isChecked(), &error))
        QMessageBox::warning(this, tr("Could not change starting at login"), error);
}

void SettingsDialog::done(int result)
{
    // While the keyring is answering, closing would leave the key changed behind a "Cancel".
    if (m_keyField->isBusy())
        return;
    if (m_colorDialog->isVisible())
        m_colorDialog->reject();
    QDialog::done(result);
}

#include "app/TackpadApplication.h"

#include "ai/AIClient.h"
#include "app/AppInfo.h"
#include "app/AppMenus.h"
#include "app/ApplyCommand.h"
#include "app/ApplyServer.h"
#include "app/OnboardingDialog.h"
#include "app/SettingsDialog.h"
#include "app/WorkspaceEditor.h"
#include "platform/FileManagerReveal.h"
#include "platform/KeyStore.h"
#include "search/HiddenNotesWindow.h"
#include "search/SearchWindow.h"
#include "store/NoteStore.h"
#include "windows/Toast.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileDialog>
#include <QMessageBox>
#include <QStandardPaths>

TackpadApplication::TackpadApplication(QObject *parent)
    : QObject(parent)
    , m_reveal(std::make_unique<FileManagerReveal>())
    , m_keyStore(std::make_unique<KeyStore>())
    , m_aiClient(std::make_unique<AIClient>())
{
    m_delegate = std::make_unique<AppDelegate>(Settings(), makeServices());
    m_menus = std::make_unique<AppMenus>(*m_delegate);
    m_menus->showSearch = [this] { showSearch(); };
    m_menus->showHiddenNotes = [this] { showHiddenNotes(); };
    m_menus->showSettings = [this] { showSettings(); };
    m_menus->showAbout = [this] { showAbout(); };
    m_menus->quit = [this] { quit(); };

    NoteWindowEnvironment &environment = m_delegate->noteEnvironment();
    environment.revealTitle = FileManagerReveal::menuTitle();
    environment.revealFile = [this](const QString &path) { m_reveal->reveal(path); };
    environment.openUrl = [](const QUrl &url) { QDesktopServices::openUrl(url); };
    environment.applicationMenus = [this] { return m_menus->menusForNoteContext(); };
    environment.aiClient = m_aiClient.get();
    environment.keyStore = m_keyStore.get();
    m_applyServer = std::make_unique<ApplyServer>([this] { return m_delegate->store(); }, ApplyCommand::serverName());
    m_applyServer->listen();
    m_delegate->onControllerCreated = [this](NoteController *controller) { m_menus->addShortcutsTo(controller); };
    connect(m_delegate.get(), &AppDelegate::workspacesEditRequested, this, &TackpadApplication::showWorkspaceEditor);
    connect(qApp, &QCoreApplication::aboutToQuit, this, [this] { m_delegate->prepareToQuit(); });
}

TackpadApplication::~TackpadApplication() = default;

AppDelegate::Services TackpadApplication::makeServices()
{
    AppDelegate::Services services;
    services.alerts = &m_alerts;
    services.chooseFolder = []() -> std::optional<QString> {
        QFileDialog dialog(nullptr, tr("Select folder for TackPad"));
        dialog.setFileMode(QFileDialog::Directory);
        dialog.setOption(QFileDialog::ShowDirsOnly, true);
        dialog.setLabelText(QFileDialog::Accept, tr("Use This Folder"));
        dialog.setDirectory(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
        if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
            return std::nullopt;
        return dialog.selectedFiles().constFirst();
    };
    services.chooseMarkdownFiles = [] {
        QFileDialog dialog(nullptr,
                           tr("Choose Markdown files to turn into sticky notes.\nIf the file is already in the current "
                              "folder, the file will gain TackPad properties. If it's in another folder, a copy will "
                              "be made into the current folder."));
        dialog.setFileMode(QFileDialog::ExistingFiles);
        dialog.setNameFilter(tr("Markdown files (*.md *.MD *.Md *.mD)"));
        dialog.setLabelText(QFileDialog::Accept, tr("Import"));
        return dialog.exec() == QDialog::Accepted ? dialog.selectedFiles() : QStringList();
    };
    services.runOnboarding = [] {
        OnboardingDialog dialog;
        dialog.exec();
        return dialog.agreed();
    };
    services.quit = [] { QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection); };
    services.toast = [](const QString &text, double seconds) {
        Toast::show(text, seconds, QApplication::activeWindow());
    };
    return services;
}

bool TackpadApplication::launch()
{
    m_menus->applyActivationMode();
    return m_delegate->launch();
}

void TackpadApplication::handleCommand(const QStringList &command)
{
    if (command.value(0) == QLatin1String("new-note"))
        m_delegate->newNote();
    else
        m_delegate->reopen();
}

void TackpadApplication::showSearch()
{
    if (!m_search) {
        m_search = std::make_unique<SearchWindow>([this] { return m_delegate->store(); });
        connect(m_delegate.get(), &AppDelegate::notesChanged, m_search.get(), &SearchWindow::notesChanged);
    }
    m_search->show();
}

void TackpadApplication::showHiddenNotes()
{
    if (!m_hidden) {
        m_hidden = std::make_unique<HiddenNotesWindow>([this] { return m_delegate->store(); });
        connect(m_delegate.get(), &AppDelegate::notesChanged, m_hidden.get(), &HiddenNotesWindow::notesChanged);
    }
    m_hidden->show();
}

void TackpadApplication::showSettings()
{
    if (!m_settingsDialog) {
        auto *dialog = new SettingsDialog(m_delegate->settings(), m_keyStore.get(), m_delegate->hotKey());
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        connect(dialog, &SettingsDialog::applied, this, &TackpadApplication::applySettings);
        m_settingsDialog = dialog;
    }
    m_settingsDialog->show();
    m_settingsDialog->raise();
    m_settingsDialog->activateWindow();
}

void TackpadApplication::applySettings()
{
    m_menus->applyActivationMode();
    m_delegate->applyGlobalHotKey();
    m_delegate->refreshNoteAppearance();
}

void TackpadApplication::showWorkspaceEditor()
{
    WorkspaceEditor editor(m_delegate->workspaces());
    connect(&editor, &WorkspaceEditor::lastWorkspaceRemoved, m_delegate.get(),
            &AppDelegate::handleLastWorkspaceRemoved, Qt::QueuedConnection);
    editor.exec();
}

void TackpadApplication::showAbout()
{
    QMessageBox::about(nullptr, tr("About Tackpad"),
                       tr("<b>Tackpad %1</b><p>Sticky notes kept as plain Markdown files.</p><p><a href=\"%2\">%2</a></p>")
                           .arg(QString::fromLatin1(AppInfo::version), QString::fromLatin1(AppInfo::website)));
}

void TackpadApplication::quit()
{
    m_delegate->prepareToQuit();
    QCoreApplication::quit();
}

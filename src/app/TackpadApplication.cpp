#include "app/TackpadApplication.h"

#include "ai/AIClient.h"
#include "app/AppLog.h"
#include "app/AppMenus.h"
#include "app/ApplyServer.h"
#include "app/OnboardingDialog.h"
#include "app/SettingsDialog.h"
#include "app/WorkspaceEditor.h"
#include "cli/ApplyCommand.h"
#include "core/AppInfo.h"
#include "platform/FileManagerReveal.h"
#include "platform/KeyStore.h"
#include "store/NoteStore.h"
#include "windows/DialogStacking.h"
#include "windows/DismissablePanel.h"
#include "windows/HiddenNotesWindow.h"
#include "windows/SearchWindow.h"
#include "windows/Toast.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QStandardPaths>

namespace {

// Shows a longer explanation under the panel's folder view; a window title is too short for it. Qt's own file
// dialog has a layout to put it in; a desktop's native dialog has none and shows only the title.
void addExplanation(QFileDialog &dialog, const QString &text)
{
    auto *grid = qobject_cast<QGridLayout *>(dialog.layout());
    if (!grid)
        return;
    auto *label = new QLabel(text, &dialog);
    label->setObjectName(QStringLiteral("explanation"));
    label->setWordWrap(true);
    grid->addWidget(label, grid->rowCount(), 0, 1, grid->columnCount());
}

} // namespace

TackpadApplication::TackpadApplication(QObject *parent)
    : QObject(parent)
    , m_session(Settings(), makeServices())
    , m_menus(m_session)
    , m_applyServer([this] { return m_session.store(); }, m_session.noteWindows(), ApplyCommand::serverName())
{
    connect(&m_menus, &AppMenus::searchRequested, this, &TackpadApplication::showSearch);
    connect(&m_menus, &AppMenus::hiddenNotesRequested, this, &TackpadApplication::showHiddenNotes);
    connect(&m_menus, &AppMenus::settingsRequested, this, &TackpadApplication::showSettings);
    connect(&m_menus, &AppMenus::aboutRequested, this, &TackpadApplication::showAbout);
    connect(&m_menus, &AppMenus::quitRequested, this, &TackpadApplication::quit);
    connect(&m_menus, &AppMenus::workspacesEditRequested, this, &TackpadApplication::showWorkspaceEditor);

    NoteWindowEnvironment &environment = m_session.noteEnvironment();
    environment.revealTitle = FileManagerReveal::menuTitle();
    environment.revealFile = [this](const QString &path) { m_reveal.reveal(path); };
    environment.openUrl = [](const QUrl &url) { QDesktopServices::openUrl(url); };
    environment.applicationMenus = [this] { return m_menus.menusForNoteContext(); };
    environment.aiClient = &m_aiClient;
    environment.keyStore = &m_keyStore;
    m_applyServer.listen();
    // Without a note on screen a taskbar-mode user has nothing to click: the hidden-notes panel, which carries the
    // menus, is the way back in. With a tray that is the way in, unless the user asked to see the application.
    connect(&m_session, &WorkspaceSession::noNoteVisible, this, [this](bool userAsked) {
        if (userAsked || !m_menus.trayShown())
            showHiddenNotes();
    });
    connect(qApp, &QCoreApplication::aboutToQuit, this, [this] { m_session.prepareToQuit(); });
}

TackpadApplication::~TackpadApplication() = default;

WorkspaceSession::Services TackpadApplication::makeServices()
{
    WorkspaceSession::Services services;
    services.alerts = &m_alerts;
    services.chooseFolder = []() -> std::optional<QString> {
        QFileDialog dialog(nullptr, tr("Select folder for TackPad"));
        DialogStacking::keepAboveFloatingNotes(&dialog);
        dialog.setFileMode(QFileDialog::Directory);
        dialog.setOption(QFileDialog::ShowDirsOnly, true);
        dialog.setLabelText(QFileDialog::Accept, tr("Use This Folder"));
        dialog.setDirectory(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation));
        if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
            return std::nullopt;
        return dialog.selectedFiles().constFirst();
    };
    services.chooseMarkdownFiles = [] {
        QFileDialog dialog(nullptr, tr("Import Markdown Files"));
        DialogStacking::keepAboveFloatingNotes(&dialog);
        dialog.setFileMode(QFileDialog::ExistingFiles);
        addExplanation(dialog,
            tr("Choose Markdown files to turn into sticky notes.\nIf the file is already in the current folder, the "
               "file will gain TackPad properties. If it's in another folder, a copy will be made into the current "
               "folder."));
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
        qCDebug(lcApp) << "toast:" << text;
        Toast::show(text, seconds, QApplication::activeWindow());
    };
    return services;
}

bool TackpadApplication::launch()
{
    m_menus.applyActivationMode();
    return m_session.launch();
}

void TackpadApplication::handleCommand(const QStringList &command)
{
    // While a question is open (the first-run terms above all) nothing else happens: the question comes to the
    // front instead, since it is what stands in the way.
    if (QWidget *modal = QApplication::activeModalWidget()) {
        modal->show();
        modal->raise();
        modal->activateWindow();
        return;
    }
    if (m_session.isAsking())
        return;
    if (command.value(0) == QLatin1String("new-note"))
        m_session.newNote();
    else if (command.value(0) == QLatin1String("import"))
        m_session.importFiles(command.mid(1));
    else
        m_session.reopen();
}

void TackpadApplication::showSearch()
{
    if (!m_search) {
        m_search = std::make_unique<SearchWindow>([this] { return m_session.store(); }, m_session.noteWindows());
        connect(&m_session, &WorkspaceSession::notesChanged, m_search.get(), &SearchWindow::notesChanged);
        m_menus.carryMenusIn(m_search->panel());
    }
    m_search->show();
}

void TackpadApplication::showHiddenNotes()
{
    if (!m_hidden) {
        m_hidden = std::make_unique<HiddenNotesWindow>([this] { return m_session.store(); });
        connect(&m_session, &WorkspaceSession::notesChanged, m_hidden.get(), &HiddenNotesWindow::notesChanged);
        m_menus.carryMenusIn(m_hidden->panel());
    }
    m_hidden->show();
}

void TackpadApplication::showSettings()
{
    if (!m_settingsDialog) {
        auto *dialog = new SettingsDialog(m_session.settings(), &m_keyStore, m_session.hotKey());
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
    m_menus.applyActivationMode();
    m_session.applyGlobalHotKey();
    m_session.refreshNoteAppearance();
}

void TackpadApplication::showWorkspaceEditor()
{
    WorkspaceEditor editor(m_session.workspaces());
    connect(&editor, &WorkspaceEditor::lastWorkspaceRemoved, &m_session, &WorkspaceSession::handleLastWorkspaceRemoved,
        Qt::QueuedConnection);
    editor.exec();
}

void TackpadApplication::showAbout()
{
    QMessageBox about(QMessageBox::NoIcon, tr("About Tackpad"),
        tr("<b>Tackpad %1</b><p>Sticky notes kept as plain Markdown files.</p><p><a href=\"%2\">%2</a></p>")
            .arg(QString::fromLatin1(AppInfo::version), QString::fromLatin1(AppInfo::website)),
        QMessageBox::Ok);
    about.setIconPixmap(QApplication::windowIcon().pixmap(64, 64));
    DialogStacking::keepAboveFloatingNotes(&about);
    about.exec();
}

void TackpadApplication::quit()
{
    m_session.prepareToQuit();
    QCoreApplication::quit();
}

void TackpadApplication::terminate()
{
    qCInfo(lcApp) << "TackPad: quitting on request of the system";
    m_session.terminate();
    // Unlike quit(), exit() also ends the event loops of open dialogs (and it cannot be refused by a window that
    // will not close); the code they return to sees the session terminating and does nothing more.
    QCoreApplication::exit(0);
}

#include "cli/ConsoleWorkspace.h"

#include "core/Settings.h"
#include "store/NoteFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QTextStream>

namespace ConsoleWorkspace {

std::optional<QString> location(const std::optional<QString> &requested, const Settings &settings, QTextStream &err)
{
    QString folder;
    if (requested) {
        folder = *requested;
    } else if (const std::optional<QUrl> url = settings.urlValue(SettingsKey::notesFolder); url && url->isLocalFile()) {
        folder = url->toLocalFile();
    } else {
        err << "tackpad: no workspace: pass --workspace DIR or open a folder in Tackpad first\n";
        return std::nullopt;
    }
    folder = QDir::cleanPath(QFileInfo(folder).absoluteFilePath());
    const QFileInfo info(folder);
    if (!info.exists()) {
        err << "tackpad: workspace folder not found: " << folder << '\n';
        return std::nullopt;
    }
    if (!info.isDir()) {
        err << "tackpad: not a folder: " << folder << '\n';
        return std::nullopt;
    }
    return folder;
}

QString unreadableMessage(const QString &folder, const QString &error)
{
    return QStringLiteral("tackpad: cannot read the workspace folder %1: %2").arg(folder, error);
}

std::optional<QString> folder(const std::optional<QString> &requested, const Settings &settings, QTextStream &err,
    std::vector<NoteFiles::Entry> *entries, std::vector<NoteFiles::Skipped> *skipped)
{
    const std::optional<QString> located = location(requested, settings, err);
    if (!located)
        return std::nullopt;
    QString error;
    std::optional<std::vector<NoteFiles::Entry>> listed = NoteFiles::listNoteFiles(*located, &error, skipped);
    if (!listed) {
        err << unreadableMessage(*located, error) << '\n';
        return std::nullopt;
    }
    if (entries)
        *entries = std::move(*listed);
    return located;
}

} // namespace ConsoleWorkspace

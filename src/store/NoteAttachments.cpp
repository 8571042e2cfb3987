#include "store/NoteAttachments.h"

#include "store/NoteFiles.h"
#include "store/NoteNaming.h"
#include "store/StoreLog.h"

#include <QDir>
#include <QFileInfo>
#include <QMimeDatabase>

namespace {

// Tries at finding a free name before giving up on a folder where names keep appearing.
constexpr int maxNameAttempts = 10000;
// A name taken between the check and the write fails the write; the next free name is tried this often.
constexpr int writeAttempts = 3;

} // namespace

NoteAttachments::NoteAttachments(const QString &workspaceFolder)
    : m_folder(workspaceFolder + QLatin1String("/attachments"))
{
}

std::optional<QString> NoteAttachments::freePath(const QString &base, const QString &extension) const
{
    for (int n = 0; n < maxNameAttempts; n = n == 0 ? 2 : n + 1) {
        const QString path = m_folder + QLatin1Char('/') + NoteNaming::numberedName(base, n, extension);
        const QFileInfo info(path);
        if (!info.exists() && !info.isSymLink())
            return path;
    }
    return std::nullopt;
}

std::optional<QString> NoteAttachments::importFile(const QString &sourcePath) const
{
    const QFileInfo source(sourcePath);
    // Already in this workspace's attachments: link to it rather than keeping a second copy.
    if (source.isFile()
        && QFileInfo(source.absolutePath()).canonicalFilePath() == QFileInfo(m_folder).canonicalFilePath())
        return NoteNaming::attachmentLink(source.fileName());
    const auto failed = [&](const QString &error) -> std::optional<QString> {
        qCWarning(lcStore).noquote()
            << QStringLiteral("TackPad: attachment copy failed: %1: %2").arg(source.absoluteFilePath(), error);
        return std::nullopt;
    };
    if (!source.isFile())
        return failed(QStringLiteral("not a file"));
    if (!QDir().mkpath(m_folder))
        return failed(QStringLiteral("cannot create the folder %1").arg(m_folder));
    const NoteNaming::SplitName split = NoteNaming::attachmentName(source.fileName());
    QString error;
    for (int attempt = 0; attempt < writeAttempts; ++attempt) {
        const std::optional<QString> target = freePath(split.base, split.extension);
        if (!target)
            return failed(QStringLiteral("no free file name"));
        if (NoteFiles::copyNew(source.absoluteFilePath(), *target, &error))
            return NoteNaming::attachmentLink(QFileInfo(*target).fileName());
        if (!QFileInfo::exists(*target))
            break;
    }
    return failed(error);
}

std::optional<QString> NoteAttachments::importData(const QByteArray &data, const QString &preferredBaseName) const
{
    const NoteNaming::SplitName split = NoteNaming::attachmentName(preferredBaseName);
    const auto failed = [&](const QString &error) -> std::optional<QString> {
        qCWarning(lcStore).noquote()
            << QStringLiteral("TackPad: attachment write failed: %1: %2").arg(split.base, error);
        return std::nullopt;
    };
    if (data.isEmpty())
        return failed(QStringLiteral("no data"));
    // The data decides the extension: a pasted PNG named "photo.jpg" is still a PNG.
    QString extension = QMimeDatabase().mimeTypeForData(data).preferredSuffix();
    if (extension.isEmpty())
        extension = split.extension.isEmpty() ? QStringLiteral("bin") : split.extension;
    if (!QDir().mkpath(m_folder))
        return failed(QStringLiteral("cannot create the folder %1").arg(m_folder));
    QString error;
    for (int attempt = 0; attempt < writeAttempts; ++attempt) {
        const std::optional<QString> target = freePath(split.base, extension);
        if (!target)
            return failed(QStringLiteral("no free file name"));
        if (NoteFiles::writeNew(*target, data, &error))
            return NoteNaming::attachmentLink(QFileInfo(*target).fileName());
        if (!QFileInfo::exists(*target))
            break;
    }
    return failed(error);
}

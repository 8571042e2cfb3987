// The store's file operations on notes. They live apart from scanning and saving
// (NoteStore.cpp) because they are what the windows and the command line call, each with its own failure alert.

#include "store/NoteStore.h"

#include "platform/Trash.h"
#include "store/NoteController.h"
#include "store/NoteNaming.h"
#include "store/StoreLog.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace {

// Alert titles, translated when shown; the log keeps them in English.
const QString createFailed = QStringLiteral(QT_TRANSLATE_NOOP("NoteStore", "Could not create note"));
const QString renameFailed = QStringLiteral(QT_TRANSLATE_NOOP("NoteStore", "Could not rename note"));
const QString duplicateFailed = QStringLiteral(QT_TRANSLATE_NOOP("NoteStore", "Could not duplicate note"));
const QString deleteFailed = QStringLiteral(QT_TRANSLATE_NOOP("NoteStore", "Could not delete note"));
const QString closeFailed = QStringLiteral(QT_TRANSLATE_NOOP("NoteStore", "Could not close note"));
const QString importFailed = QStringLiteral(QT_TRANSLATE_NOOP("NoteStore", "Could not import note"));

constexpr double nearOffset = 24;

double clampedDimension(double value, double minimum, double fallback)
{
    return std::isfinite(value) ? std::clamp(value, minimum, NoteLimits::maxDimension) : fallback;
}

bool sameFile(const QString &a, const QString &b)
{
    std::error_code error;
    return std::filesystem::equivalent(QFile::encodeName(a).toStdString(), QFile::encodeName(b).toStdString(), error);
}

// "Shopping (2)" numbers on from "Shopping", not from "Shopping (2)".
QString withoutNumberSuffix(const QString &title)
{
    static const QRegularExpression numbered(QStringLiteral("^(.+) \\(\\d+\\)$"));
    const QRegularExpressionMatch match = numbered.match(title);
    return match.hasMatch() ? match.captured(1) : title;
}

} // namespace

// --- Names and stacking order

std::optional<QString> NoteStore::sanitizeTitle(const QString &title)
{
    return NoteNaming::sanitizeTitle(title);
}

bool NoteStore::filenameTaken(const QString &name) const
{
    if (m_controllers.count(name))
        return true;
    const QFileInfo info(filePath(name));
    return info.exists() || info.isSymLink();
}

QString NoteStore::availableFilename(const QString &base, int firstSuffix) const
{
    return availableFilename(base, firstSuffix, QString());
}

// `ignoring`: the name of the note being renamed, which does not stand in its own way.
QString NoteStore::availableFilename(const QString &base, int firstSuffix, const QString &ignoring) const
{
    const auto free = [&](const QString &name) { return name == ignoring || !filenameTaken(name); };
    const QString plain = NoteNaming::numberedName(base, 0, QStringLiteral("md"));
    if (free(plain))
        return plain;
    for (int n = firstSuffix;; ++n) {
        const QString candidate = NoteNaming::numberedName(base, n, QStringLiteral("md"));
        if (free(candidate))
            return candidate;
    }
}

void NoteStore::bringToFront(NoteController *controller)
{
    // A file that has no properties yet is not written merely because its window was raised.
    if (controller && !m_shutDown && m_stacking.bringToFront(controller, controllers())
        && controller->note().hadMetadata)
        noteRaised(controller);
}

// --- Create, rename, duplicate, delete

NoteController *NoteStore::create(const QString &body, const QString &preferredName, std::optional<double> width,
    std::optional<double> height, const std::optional<QString> &color, const NoteController *near)
{
    if (m_shutDown || !folderPresent())
        return nullptr;
    // Callers pass sanitized titles; one that is not (a "/" would leave the folder) is sanitized here.
    QString base = preferredName;
    if (NoteNaming::sanitizeTitle(base) != base)
        //: The title, and so the file name, of a new note.
        base = NoteNaming::sanitizeTitle(base).value_or(tr("New note"));
    const QString name = availableFilename(base, 1);
    NoteMetadata meta = nextDefaultMetadata();
    applyNewNoteDefaults(meta);
    if (width)
        meta.width = clampedDimension(*width, NoteLimits::minWidth, meta.width);
    if (height)
        meta.height = clampedDimension(*height, NoteLimits::minHeight, meta.height);
    if (color)
        meta.color = *color;
    if (near) {
        // Down and to the right of the neighbour, in the file's bottom-up coordinates.
        meta.x = near->note().meta.x + nearOffset;
        meta.y = near->note().meta.y - nearOffset;
    }
    return writeNewNote(name, meta, {}, body, createFailed, true, false);
}

NoteController *NoteStore::writeNewNote(const QString &name, const NoteMetadata &meta, const QStringList &foreign,
    const QString &body, const QString &failureTitle, bool activate, bool quiet)
{
    const QString text = Frontmatter::serialize(meta, foreign, body);
    QString error;
    // Never replaces a file: one that appeared since the name was chosen makes this fail instead.
    if (!NoteFiles::writeNew(filePath(name), text.toUtf8(), &error)) {
        reportFailure(failureTitle, error, quiet);
        return nullptr;
    }
    m_known.remove(name);
    auto note = std::make_unique<Note>();
    note->filename = name;
    note->body = body;
    note->meta = meta;
    note->foreignFrontmatter = foreign;
    note->hadMetadata = true;
    NoteController *made = insertController(std::move(note), text);
    if (meta.hidden) {
        made->hideWindow();
    } else {
        made->showWindow(activate);
        if (activate)
            made->focusEditor();
    }
    noteSetChanged();
    return made;
}

bool NoteStore::rename(NoteController *controller, const QString &title)
{
    if (!controller || m_shutDown)
        return false;
    const std::optional<QString> base = sanitizeTitle(title);
    if (!base)
        return false;
    const QString oldName = controller->note().filename;
    QString newName = *base + QLatin1String(".md");
    if (newName == oldName)
        return true;
    // A change of letter case only ("note" to "Note") names the same file on a case-insensitive file system.
    const bool caseChangeOfSameFile
        = newName.compare(oldName, Qt::CaseInsensitive) == 0 && sameFile(filePath(oldName), filePath(newName));
    if (!caseChangeOfSameFile)
        newName = availableFilename(*base, 2, oldName);
    if (newName == oldName)
        return true;

    // A write under way would otherwise put the file back under the old name.
    waitForSave(oldName);
    QFile file(filePath(oldName));
    // QFile::rename never replaces another file, so a name taken meanwhile fails here instead of losing a note.
    if (!file.rename(filePath(newName))) {
        reportFailure(renameFailed, file.errorString());
        return false;
    }
    rekey(oldName, newName);
    return true;
}

NoteController *NoteStore::duplicate(NoteController *controller)
{
    if (!controller || m_shutDown || !folderPresent())
        return nullptr;
    const Note &original = controller->note();
    // Always numbered, counting on from the original's base name: "Plan" and "Plan (2)" both give "Plan (3)".
    const QString base = withoutNumberSuffix(original.title());
    QString name;
    for (int n = 2; name.isEmpty() || filenameTaken(name); ++n)
        name = NoteNaming::numberedName(base, n, QStringLiteral("md"));
    NoteMetadata meta = original.meta;
    meta.x += nearOffset;
    meta.y -= nearOffset;
    meta.z = m_stacking.raisedMaxZ();
    meta.hidden = false;
    // The copy is a note this application made, not an imported file: closing it must not turn it back.
    meta.adopt = false;
    return writeNewNote(name, meta, original.foreignFrontmatter, original.body, duplicateFailed, true, false);
}

bool NoteStore::deleteNote(NoteController *controller)
{
    if (!controller || m_shutDown)
        return false;
    const QString name = controller->note().filename;
    // The file in the Trash should hold the last edit, so that restoring it restores everything.
    waitForSave(name);
    if (cancelPendingSave(name))
        performSave(controller);
    const QString path = filePath(name);
    const QFileInfo info(path);
    QString error;
    if ((info.exists() || info.isSymLink()) && !Trash::moveToTrash(path, &error)) {
        reportFailure(deleteFailed, error);
        return false;
    }
    m_known.remove(name);
    ChangeBatch batch(*this);
    removeController(
        //: Completes a sentence that starts with a note's title: “Shopping” <this text>.
        name, Unsaved::Keep, tr("was moved to the Trash before its last changes could be saved"));
    return true;
}

void NoteStore::unhideAll()
{
    ChangeBatch batch(*this);
    for (NoteController *each : controllers())
        each->unhide(false);
}

// --- Import

std::optional<int> NoteStore::ordinaryMarkdownCount()
{
    const auto entries = NoteFiles::listNoteFiles(m_folder);
    if (!entries)
        return std::nullopt;
    int count = 0;
    for (const NoteFiles::Entry &entry : *entries) {
        if (controller(entry.name))
            continue;
        const auto known = m_known.constFind(entry.name);
        if (known != m_known.cend() && known->stamp == entry.stamp && known->outcome != KnownFile::Note) {
            count += known->outcome == KnownFile::Ordinary ? 1 : 0;
            continue;
        }
        const NoteFiles::ReadResult read = NoteFiles::readText(filePath(entry.name));
        if (read.status == NoteFiles::ReadStatus::Ok && !Frontmatter::parse(read.text).hadMeta)
            ++count;
    }
    return count;
}

int NoteStore::adoptAllOrdinaryMarkdown()
{
    if (m_shutDown || !folderPresent())
        return 0;
    const auto entries = NoteFiles::listNoteFiles(m_folder);
    if (!entries)
        return 0;
    QStringList names;
    for (const NoteFiles::Entry &entry : *entries) {
        if (!controller(entry.name))
            names << entry.name;
    }
    NoteFiles::sortByName(names);
    ChangeBatch batch(*this);
    int adopted = 0;
    for (const QString &name : std::as_const(names)) {
        const NoteFiles::ReadResult read = NoteFiles::readText(filePath(name));
        if (read.status != NoteFiles::ReadStatus::Ok)
            continue;
        const Frontmatter::Parsed parsed = Frontmatter::parse(read.text);
        if (!parsed.hadMeta && adoptInPlace(name, parsed, read.byteOrderMark, true))
            ++adopted;
    }
    return adopted;
}

NoteController *NoteStore::adoptInPlace(
    const QString &name, const Frontmatter::Parsed &parsed, bool byteOrderMark, bool quiet)
{
    if (!insideFolder(filePath(name))) {
        reportFailure(
            importFailed, tr("“%1” links to a file outside the workspace; it is left as it is.").arg(name), quiet);
        return nullptr;
    }
    NoteMetadata meta = nextDefaultMetadata();
    applyNewNoteDefaults(meta);
    meta.adopt = true;
    const QString text = Frontmatter::serialize(meta, parsed.foreign, parsed.body);
    QString error;
    if (!NoteFiles::writeReplacing(filePath(name), NoteFiles::encodeText(text, byteOrderMark), &error)) {
        reportFailure(importFailed, QStringLiteral("%1: %2").arg(name, error), quiet);
        return nullptr;
    }
    m_known.remove(name);
    Frontmatter::Parsed adopted = parsed;
    adopted.meta = meta;
    adopted.hadMeta = true;
    return addController(name, text, adopted, byteOrderMark);
}

NoteController *NoteStore::importFile(const QString &path, bool quiet)
{
    if (m_shutDown || !folderPresent())
        return nullptr;
    const QFileInfo source(path);
    if (!source.isFile()) {
        reportFailure(importFailed, tr("“%1” is not a file.").arg(source.fileName()), quiet);
        return nullptr;
    }
    const NoteFiles::ReadResult read = NoteFiles::readText(source.absoluteFilePath());
    if (read.status != NoteFiles::ReadStatus::Ok) {
        reportFailure(importFailed, QStringLiteral("%1: %2").arg(source.fileName(), read.error), quiet);
        return nullptr;
    }
    const Frontmatter::Parsed parsed = Frontmatter::parse(read.text);
    const bool inFolder = NoteFiles::isNoteFileName(source.fileName())
        && QFileInfo(source.absolutePath()).canonicalFilePath() == QFileInfo(m_folder).canonicalFilePath();
    if (inFolder) {
        const QString name = source.fileName();
        if (NoteController *existing = controller(name)) {
            existing->showWindow(true);
            return existing;
        }
        if (parsed.hadMeta) {
            m_known.remove(name);
            return addController(name, read.text, parsed, read.byteOrderMark);
        }
        return adoptInPlace(name, parsed, read.byteOrderMark, quiet);
    }

    // A file from elsewhere: a copy comes in as a note of its own; the original is left as it was.
    const QString title = source.fileName().endsWith(QLatin1String(".md"), Qt::CaseInsensitive)
        ? source.fileName()
        : source.completeBaseName();
    //: The title, and so the file name, of an imported file that has no usable name.
    const QString name = availableFilename(sanitizeTitle(title).value_or(tr("Imported note")), 2);
    NoteMetadata meta;
    if (parsed.hadMeta) {
        // A note from another workspace keeps its look; it only goes on top of this workspace's notes.
        meta = parsed.meta;
        meta.z = m_stacking.raisedMaxZ();
        meta.adopt = false;
    } else {
        meta = nextDefaultMetadata();
        applyNewNoteDefaults(meta);
    }
    return writeNewNote(name, meta, parsed.foreign, parsed.body, importFailed, false, quiet);
}

bool NoteStore::revert(NoteController *controller)
{
    if (!controller || m_shutDown)
        return false;
    const Note &note = controller->note();
    const QString name = note.filename;
    waitForSave(name);
    const bool savePending = cancelPendingSave(name);
    const QString text = Frontmatter::serializeWithoutTackpad(note.foreignFrontmatter, note.body);
    QString error;
    if (!NoteFiles::writeReplacing(filePath(name), NoteFiles::encodeText(text, note.byteOrderMark), &error)) {
        reportFailure(closeFailed, error);
        if (savePending)
            noteEdited(controller);
        return false;
    }
    m_known.remove(name);
    ChangeBatch batch(*this);
    // The file now holds the note's text (without the property line): nothing is left unsaved.
    removeController(name, Unsaved::Drop);
    return true;
}

// The file's real location (links resolved) lies in the workspace folder: the store never writes through a link to
// a file elsewhere, which could be anything (a copy of a system file, another program's data).
bool NoteStore::insideFolder(const QString &path) const
{
    const QString real = QFileInfo(path).canonicalFilePath();
    const QString folder = QFileInfo(m_folder).canonicalFilePath();
    return !real.isEmpty() && !folder.isEmpty() && QFileInfo(real).absolutePath() == folder;
}

// --- Wiki links

NoteController *NoteStore::followWikiLink(const QString &target, const NoteController *from)
{
    const QString wanted = target.trimmed();
    if (wanted.isEmpty() || m_shutDown)
        return nullptr;
    // A link that had to be sanitized into a file name finds the note it created the first time.
    const std::optional<QString> asTitle = sanitizeTitle(wanted);
    for (NoteController *each : controllersByName()) {
        const QString title = each->note().title();
        if (title.compare(wanted, Qt::CaseInsensitive) == 0
            || (asTitle && title.compare(*asTitle, Qt::CaseInsensitive) == 0)) {
            each->revealFromLink();
            return each;
        }
    }
    if (!asTitle)
        return nullptr;
    // An ordinary Markdown file of that name becomes the note, instead of getting a numbered twin.
    const QString existing = filePath(*asTitle + QLatin1String(".md"));
    if (QFileInfo(existing).isFile()) {
        if (NoteController *imported = importFile(existing, false)) {
            imported->revealFromLink();
            return imported;
        }
        return nullptr;
    }
    return create(QString(), *asTitle, std::nullopt, std::nullopt, std::nullopt, from);
}

#include "store/FolderWatcher.h"

#include "store/QtFolderWatcher.h"
#ifdef TACKPAD_HAVE_INOTIFY
#include "store/InotifyFolderWatcher.h"
#endif

FolderWatcher::FolderWatcher(const QString &folder)
    : m_folder(folder)
{
}

FolderWatcher::~FolderWatcher() = default;

std::unique_ptr<FolderWatcher> FolderWatcher::create(const QString &folder, Kind kind)
{
#ifdef TACKPAD_HAVE_INOTIFY
    if (kind == Kind::Native)
        return std::make_unique<InotifyFolderWatcher>(folder);
#else
    Q_UNUSED(kind);
#endif
    return std::make_unique<QtFolderWatcher>(folder);
}

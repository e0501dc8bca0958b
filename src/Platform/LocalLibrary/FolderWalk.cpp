#include "Platform/LocalLibrary/FolderWalk.h"

#include "Support/Log.h"

#include <QSet>
#include <QString>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace FolderWalk {

QString displayName(const QByteArray &path) { return QString::fromUtf8(path); }

QByteArray parentOf(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.left(slash);
}

std::optional<FolderKey> folderAt(const QByteArray &path)
{
    struct stat info {};
    if (::stat(path.constData(), &info) != 0 || !S_ISDIR(info.st_mode))
        return std::nullopt;
    return FolderKey{quint64(info.st_dev), quint64(info.st_ino)};
}

Listing list(const QByteArray &root, bool (*keep)(const QByteArray &name), const std::atomic<bool> *stop)
{
    return list(QList<QByteArray>{root}, keep, stop, {});
}

Listing list(const QList<QByteArray> &roots, bool (*keep)(const QByteArray &name), const std::atomic<bool> *stop,
             QSet<FolderKey> seen)
{
    Listing listing;
    // Taken from the back: the roots are read in their order.
    QList<QByteArray> pending(roots.crbegin(), roots.crend());
    while (!pending.isEmpty()) {
        if (stop && stop->load(std::memory_order_relaxed))
            break;
        const QByteArray folder = pending.takeLast();
        struct stat folderInfo {};
        if (::stat(folder.constData(), &folderInfo) != 0 || !S_ISDIR(folderInfo.st_mode))
            continue;
        // The same real folder reached again (a loop, or two links to one folder) is read once.
        const FolderKey key{quint64(folderInfo.st_dev), quint64(folderInfo.st_ino)};
        if (seen.contains(key))
            continue;
        seen.insert(key);
        DIR *dir = ::opendir(folder.constData());
        if (!dir) {
            ++listing.unreadableFolders;
            LUMEVAR_NOTICE(Log::collection(), "Cannot read the folder %@: %@", displayName(folder), QString::fromLocal8Bit(std::strerror(errno)));
            continue;
        }
        listing.folders.append({folder, key});
        while (const dirent *item = ::readdir(dir)) {
            const char *name = item->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            // Hidden files and folders (".Trash", "._x.mp3" of macOS) are not music.
            if (name[0] == '.')
                continue;
            // Made at its size: a library's paths are kept for as long as its tracks.
            const qsizetype nameLength = qsizetype(std::strlen(name));
            QByteArray path;
            path.reserve(folder.size() + 1 + nameLength);
            path.append(folder);
            if (!path.endsWith('/'))
                path.append('/');
            path.append(name, nameLength);
            struct stat info {};
            // stat, not lstat: a link counts as what it points to. Relative to the open folder,
            // so the path is not resolved again from the root for every file.
            if (::fstatat(::dirfd(dir), name, &info, 0) != 0)
                continue; // a dangling link
            if (S_ISDIR(info.st_mode)) {
                pending.append(path);
            } else if (S_ISREG(info.st_mode) && keep(QByteArray::fromRawData(name, nameLength))) {
                listing.files.append({path, qint64(info.st_size),
                                      qint64(info.st_mtim.tv_sec) * 1000000000 + qint64(info.st_mtim.tv_nsec),
                                      quint64(info.st_ino)});
            }
        }
        ::closedir(dir);
    }
    std::sort(listing.files.begin(), listing.files.end(), [](const Entry &a, const Entry &b) { return a.path < b.path; });
    return listing;
}

} // namespace FolderWalk

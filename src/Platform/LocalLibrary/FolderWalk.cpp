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

namespace {

struct FolderKey {
    dev_t device;
    ino_t inode;
    bool operator==(const FolderKey &) const = default;
};

size_t qHash(const FolderKey &key, size_t seed = 0) { return qHashMulti(seed, quint64(key.device), quint64(key.inode)); }

} // namespace

QString displayName(const QByteArray &path) { return QString::fromUtf8(path); }

Listing list(const QByteArray &root, bool (*keep)(const QByteArray &name), const std::atomic<bool> *stop)
{
    Listing listing;
    QSet<FolderKey> seen;
    QList<QByteArray> pending{root};
    while (!pending.isEmpty()) {
        if (stop && stop->load(std::memory_order_relaxed))
            break;
        const QByteArray folder = pending.takeLast();
        struct stat folderInfo {};
        if (::stat(folder.constData(), &folderInfo) != 0 || !S_ISDIR(folderInfo.st_mode))
            continue;
        // The same real folder reached again (a loop, or two links to one folder) is read once.
        const FolderKey key{folderInfo.st_dev, folderInfo.st_ino};
        if (seen.contains(key))
            continue;
        seen.insert(key);
        DIR *dir = ::opendir(folder.constData());
        if (!dir) {
            ++listing.unreadableFolders;
            Log::notice(Log::collection(), "Cannot read the folder %@: %@", displayName(folder), QString::fromLocal8Bit(std::strerror(errno)));
            continue;
        }
        listing.folders.append(folder);
        while (const dirent *item = ::readdir(dir)) {
            const char *name = item->d_name;
            if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0)))
                continue;
            // Hidden files and folders (".Trash", "._x.mp3" of macOS) are not music.
            if (name[0] == '.')
                continue;
            QByteArray path = folder;
            if (!path.endsWith('/'))
                path.append('/');
            path.append(name);
            struct stat info {};
            // stat, not lstat: a link counts as what it points to. Relative to the open folder,
            // so the path is not resolved again from the root for every file.
            if (::fstatat(::dirfd(dir), name, &info, 0) != 0)
                continue; // a dangling link
            if (S_ISDIR(info.st_mode)) {
                pending.append(path);
            } else if (S_ISREG(info.st_mode) && keep(QByteArray::fromRawData(name, qsizetype(std::strlen(name))))) {
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

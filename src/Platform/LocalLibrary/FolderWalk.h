#pragma once
// Lists a music folder as the file system has it: names are kept as bytes (a name that is not
// valid UTF-8 is still found, opened and played), symbolic links to folders are followed, each
// real folder once (a loop or a second link to the same folder adds nothing), and each file is
// listed with what tells whether it changed since the last look: size, modification time and
// inode. Blocking; run it on a worker thread.

#include <QByteArray>
#include <QHashFunctions>
#include <QList>
#include <QSet>
#include <atomic>
#include <optional>

namespace FolderWalk {

struct Entry {
    QByteArray path; // absolute, as bytes; a symbolic link keeps its own path
    qint64 size = 0;
    qint64 modifiedNs = 0; // nanoseconds since 1970
    quint64 inode = 0;
};

// Which real folder a path leads to.
struct FolderKey {
    quint64 device = 0;
    quint64 inode = 0;
    bool operator==(const FolderKey &) const = default;
};

inline size_t qHash(const FolderKey &key, size_t seed = 0) { return qHashMulti(seed, key.device, key.inode); }

struct Folder {
    QByteArray path;
    FolderKey key;
};

struct Listing {
    QList<Entry> files;    // sorted by path
    QList<Folder> folders; // every folder read, the first root first
    int unreadableFolders = 0;
};

// Lists regular files under root (bytes of an absolute path). keep decides by name which files
// are listed at all. Stops early once *stop becomes true.
Listing list(const QByteArray &root, bool (*keep)(const QByteArray &name), const std::atomic<bool> *stop = nullptr);

// The same under each of roots, except that a folder in known (one a caller has listed already)
// is neither read nor entered.
Listing list(const QList<QByteArray> &roots, bool (*keep)(const QByteArray &name), const std::atomic<bool> *stop,
             QSet<FolderKey> known);

// The real folder at path; nothing when path is not a folder.
std::optional<FolderKey> folderAt(const QByteArray &path);

// The folder a listed file is in: its path up to the last slash.
QByteArray parentOf(const QByteArray &path);

// A path's bytes shown as text: invalid UTF-8 becomes U+FFFD.
QString displayName(const QByteArray &path);

} // namespace FolderWalk

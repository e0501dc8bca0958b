#pragma once
// Lists a music folder as the file system has it: names are kept as bytes (a name that is not
// valid UTF-8 is still found, opened and played), symbolic links to folders are followed, each
// real folder once (a loop or a second link to the same folder adds nothing), and each file is
// listed with what tells whether it changed since the last look: size, modification time and
// inode. Blocking; run it on a worker thread.

#include <QByteArray>
#include <QList>
#include <atomic>

namespace FolderWalk {

struct Entry {
    QByteArray path; // absolute, as bytes; a symbolic link keeps its own path
    qint64 size = 0;
    qint64 modifiedNs = 0; // nanoseconds since 1970
    quint64 inode = 0;
};

struct Listing {
    QList<Entry> files;       // sorted by path
    QList<QByteArray> folders; // every folder read, the root first
    int unreadableFolders = 0;
};

// Lists regular files under root (bytes of an absolute path). keep decides by name which files
// are listed at all. Stops early once *stop becomes true.
Listing list(const QByteArray &root, bool (*keep)(const QByteArray &name), const std::atomic<bool> *stop = nullptr);

// A path's bytes shown as text: invalid UTF-8 becomes U+FFFD.
QString displayName(const QByteArray &path);

} // namespace FolderWalk

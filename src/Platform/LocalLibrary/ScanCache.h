#pragma once
// What the last scan learnt from each audio file, by path (as bytes), with the size and
// modification time it had then: a later scan reads again only the files that are new or
// changed, and a file that reappears under another name with the same inode, size and time is
// taken as moved (it keeps its identity, so the song keeps its identifier). Files that could not
// be read are remembered too, so they are not tried again until they change.
//
// Kept in one file, written whole after each scan (atomically); a missing, foreign or damaged
// file is an empty cache, which costs one full read of the folder and nothing else. It is read
// by the first scan of a run and then stays in memory, so that a change in the watched folder is
// read without loading 100,000 entries again (dropping it between scans saved about 40 MB at 100,000 files and
// cost a second per change).
// The repeated texts of the loaded tracks (artists, albums, genres, pictures) are shared.

#include "Platform/LocalLibrary/ScannedTrack.h"

#include <QHash>
#include <optional>

class ScanCache {
public:
    struct Entry {
        qint64 size = 0;
        qint64 modifiedNs = 0;
        quint64 inode = 0;
        std::optional<ScannedTrack> track; // nothing: the file could not be read
    };

    ScanCache() = default;
    // A cache of the library folder root, stored at file.
    ScanCache(QByteArray root, QString file);

    // Reads the stored file; false (and an empty cache) when there is none or it is unusable.
    // Either way the cache counts as loaded.
    bool load();
    bool isLoaded() const { return m_loaded; }
    // Writes the cache; false (with a log line) when it cannot.
    bool save() const;

    const QHash<QByteArray, Entry> &entries() const { return m_entries; }
    void replace(QHash<QByteArray, Entry> entries)
    {
        m_entries = std::move(entries);
        m_loaded = true;
        m_dirty = true;
    }
    // Whether replace() was called since the last load() or save(): an unchanged folder costs no
    // write.
    bool isDirty() const { return m_dirty; }
    const QString &file() const { return m_file; }

    // Raised whenever what the reader takes from a file changes, so older caches are read anew.
    static constexpr quint32 formatVersion = 3;

private:
    QByteArray m_root;
    QString m_file;
    QHash<QByteArray, Entry> m_entries;
    bool m_loaded = false;
    mutable bool m_dirty = false;
};

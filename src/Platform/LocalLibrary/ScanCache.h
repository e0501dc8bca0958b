#pragma once
// What the last scan learnt from each audio file, by path (as bytes), with the size and
// modification time it had then: a later scan reads again only the files that are new or
// changed, and a file that reappears under another name with the same inode, size and time is
// taken as moved (it keeps its identity, so the song keeps its identifier). Files that could not
// be read are remembered too, so they are not tried again until they change.
//
// Kept in one file, written atomically, with the entries of each folder side by side and an index
// of the folders at the end. A scan of the whole folder loads every entry and writes them all when
// something changed; the entries leave memory once written (release()). A scan of a few changed
// folders reads only their entries (readFolders()), and the file is brought up to date after it
// (updateFolders(), then save()): the other folders' bytes are copied as they are. A missing,
// foreign or damaged file is an empty cache, which costs one full read of the folder and nothing
// else. The repeated texts of the loaded tracks (artists, albums, genres, pictures) are shared.

#include "Platform/LocalLibrary/ScannedTrack.h"

#include <QHash>
#include <QSet>
#include <optional>

class ScanCache {
public:
    struct Entry {
        qint64 size = 0;
        qint64 modifiedNs = 0;
        quint64 inode = 0;
        std::optional<ScannedTrack> track; // nothing: the file could not be read
    };
    using Entries = QHash<QByteArray, Entry>;

    ScanCache() = default;
    // A cache of the library folder root, stored at file.
    ScanCache(QByteArray root, QString file);

    // Reads every entry of the stored file; false (and an empty cache) when there is none or it
    // is unusable. Either way the cache counts as loaded.
    bool load();
    bool isLoaded() const { return m_loaded; }
    // Drops the loaded entries (written already, or unchanged).
    void release();
    // Writes what changed: every entry when they were replaced, else the folders of
    // updateFolders(). False (with a log line) when it cannot; the file then no longer counts as
    // current.
    bool save();

    const Entries &entries() const { return m_entries; }
    // The loaded entries, for a scan that reads each once. When the file holds them as well they
    // leave the cache (which then counts as not loaded), so they leave memory as soon as the scan
    // is done with them; entries not written yet stay.
    Entries takeEntries();
    void replace(Entries entries)
    {
        m_entries = std::move(entries);
        m_loaded = true;
        m_dirty = true;
        m_pendingFolders.clear();
        m_pendingEntries.clear();
    }

    // The entries of the files directly in these folders, read from the file alone. Nothing when
    // the file does not hold what the last scan found (never written, a write failed, a change not
    // saved yet) or cannot be read.
    std::optional<Entries> readFolders(const QSet<QByteArray> &folders) const;
    // What a scan of some folders found: the entries of the files directly in them (and in
    // folders below them that are new), which replace all the file holds for those folders.
    // Folders gone are among folders with no entries. Written by the next save().
    void updateFolders(QSet<QByteArray> folders, Entries entries);

    // Whether something changed since the last load() or save(): an unchanged folder costs no
    // write.
    bool isDirty() const { return m_dirty; }
    const QString &file() const { return m_file; }

    // Raised whenever what the reader takes from a file changes, so older caches are read anew.
    static constexpr quint32 formatVersion = 5;

private:
    bool saveAll();
    bool saveFolders();

    QByteArray m_root;
    QString m_file;
    Entries m_entries;
    QSet<QByteArray> m_pendingFolders;
    Entries m_pendingEntries;
    bool m_loaded = false;
    bool m_dirty = false;
    // The file holds what the last scan found: read (whole) or written by this object.
    bool m_fileCurrent = false;
};

#pragma once
// Walks a music folder recursively and reads every audio file (MP3, FLAC, Ogg Vorbis, Opus,
// M4A/AAC, WAV, AIFF and a few more) and every .m3u/.m3u8 playlist in it. Blocking: run it on a
// worker thread. A file that cannot be read costs one log line and nothing else.
//
// Given the cache of the last scan, only new and changed files are read; the cache is brought up
// to date (the caller saves it). After a change in a few watched folders, rescan() lists only
// those folders (and folders that appeared below them) and hands out only what it read.

#include "Platform/LocalLibrary/ScannedTrack.h"

#include <atomic>
#include <functional>

class ScanCache;

class FolderScanner {
public:
    FolderScanner(QString folder, QString artworkCacheFolder);

    // Stops early, with what it has read so far, once *stop becomes true. With rereadTags every
    // file is read, also those the cache holds at their size and time; identities are kept.
    ScanResult scan(const std::atomic<bool> *stop = nullptr, ScanCache *cache = nullptr, bool rereadTags = false) const;

    // What a partial scan starts from: the last scan's folders and playlist files, and whether a
    // song of its library has an identity.
    struct Previous {
        const ScannedFolders &folders;
        const QList<QByteArray> &playlistFiles;
        std::function<bool(const QByteArray &identity)> hasIdentity;
    };
    // A partial scan (ScanResult::partial) of the files directly in the changed folders: files
    // there that are new, changed or gone, folders below them that are new (read whole) or gone
    // (their files leave), every playlist read again. The rest of the library is taken to be as
    // previous found it. Nothing when the cache cannot give the entries of those folders; the
    // caller then scans the whole folder. The cache receives the folders' new entries.
    std::optional<ScanResult> rescan(const Previous &previous, const QSet<QByteArray> &changedFolders,
                                     const std::atomic<bool> *stop, ScanCache &cache) const;

    static bool isAudioFile(const QString &path);
    static bool isAudioFileName(const QByteArray &name);

private:
    struct Reading;
    // Reads the listed audio files that the cache's previous entries do not hold as they are now.
    void read(Reading &reading, const std::atomic<bool> *stop) const;
    QList<ScannedPlaylist> readPlaylists(const QList<QByteArray> &files) const;

    QString m_folder;
    QString m_artworkCacheFolder;
};

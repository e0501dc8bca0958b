#pragma once
// Walks a music folder recursively and reads every audio file (MP3, FLAC, Ogg Vorbis, Opus,
// M4A/AAC, WAV, AIFF and a few more) and every .m3u/.m3u8 playlist in it. Blocking: run it on a
// worker thread. A file that cannot be read costs one log line and nothing else.
//
// Given the cache of the last scan, only new and changed files are read; the cache is brought up
// to date (the caller saves it).

#include "Platform/LocalLibrary/ScannedTrack.h"

#include <atomic>

class ScanCache;

class FolderScanner {
public:
    FolderScanner(QString folder, QString artworkCacheFolder);

    // Stops early, with what it has read so far, once *stop becomes true.
    ScanResult scan(const std::atomic<bool> *stop = nullptr, ScanCache *cache = nullptr) const;

    static bool isAudioFile(const QString &path);
    static bool isAudioFileName(const QByteArray &name);

private:
    QString m_folder;
    QString m_artworkCacheFolder;
};

#pragma once
// Walks a music folder recursively and reads every audio file (MP3, FLAC, Ogg Vorbis, Opus,
// M4A/AAC, WAV, AIFF and a few more) and every .m3u/.m3u8 playlist in it. Blocking: run it on a
// worker thread. A file that cannot be read costs one log line and nothing else.

#include "Platform/LocalLibrary/ScannedTrack.h"

#include <atomic>

class FolderScanner {
public:
    FolderScanner(QString folder, QString artworkCacheFolder);

    // Stops early, with what it has read so far, once *stop becomes true.
    ScanResult scan(const std::atomic<bool> *stop = nullptr) const;

    static bool isAudioFile(const QString &path);

private:
    QString m_folder;
    QString m_artworkCacheFolder;
};

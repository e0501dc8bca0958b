#pragma once
// What a scan of the music folder learns about one audio file and one playlist file, before the
// library index turns them into songs, albums, artists and playlists. Empty strings mean "absent".

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

struct ScannedTrack {
    QString path;         // absolute, cleaned
    QString relativePath; // to the library folder; the key of the song's identifier
    QString title;        // the file name without extension when the file has no title tag
    QString artist;
    QString album;
    QString albumArtist;
    QString genre;
    std::optional<QDateTime> releaseDate;
    std::optional<int> trackNumber;
    std::optional<int> discNumber;
    double duration = 0; // seconds
    QDateTime modified;
    QString artworkPath; // an embedded picture written to the cache, or a cover image beside the file
};

struct ScannedPlaylist {
    QString path;         // absolute path of the .m3u/.m3u8 file
    QString relativePath; // to the library folder
    QString name;
    QStringList trackPaths; // absolute, cleaned, existing files, in playlist order
    QDateTime modified;
};

struct ScanResult {
    QList<ScannedTrack> tracks;         // sorted by path
    QList<ScannedPlaylist> playlists;   // sorted by path
    int skippedFiles = 0;               // audio files that could not be read
};

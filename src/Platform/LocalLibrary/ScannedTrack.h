#pragma once
// What a scan of the music folder learns about one audio file and one playlist file, before the
// library index turns them into songs, albums, artists and playlists. Empty strings mean "absent".

#include "Platform/LocalLibrary/FolderWalk.h"
#include "Platform/LocalLibrary/ListingDigest.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

struct ScannedTrack {
    QByteArray fileName;  // absolute, as the file system has it: what is opened and played
    // The relative path under which the file was first seen, as bytes: the key of the song's
    // identifier, kept when the file is renamed or moved within the folder.
    QByteArray identity;
    QString title;        // the file name without extension when the file has no title tag
    QString artist;       // every artist, joined for showing ("A, B & C")
    QStringList artists;  // the same, one name each
    QString album;
    QString albumArtist;  // "Various Artists" for a compilation without one
    QString genre;
    std::optional<QDateTime> releaseDate;
    std::optional<int> trackNumber;
    std::optional<int> discNumber;
    double duration = 0; // seconds
    QDateTime modified;
    QString artworkPath; // an embedded picture written to the cache, or a cover image beside the file

    // The file shown as text (bytes that are not UTF-8 become U+FFFD). Made when asked: a library
    // holds a hundred thousand tracks, and only log lines and tests show their paths.
    QString path() const { return FolderWalk::displayName(fileName); }
};

struct ScannedPlaylist {
    QString path;         // absolute path of the .m3u/.m3u8 file
    QString relativePath; // to the library folder
    QString name;
    QList<QByteArray> trackPaths; // absolute, cleaned, existing files as the file system names them, in order
    QDateTime modified;
};

// A folder a scan read: the real folder it is, and the digest of the files listed directly in it.
struct ScannedFolder {
    FolderWalk::FolderKey key;
    ListingDigest files;
};

// Every folder of the library by path (as bytes).
using ScannedFolders = QHash<QByteArray, ScannedFolder>;

struct ScanResult {
    // Sorted by path. A scan of the whole folder has every track; a scan of some folders after a
    // change (partial) has only the tracks it read, those of readTracks.
    QList<ScannedTrack> tracks;
    QList<ScannedPlaylist> playlists;   // every playlist of the library, sorted by path
    bool partial = false;
    int skippedFiles = 0;               // audio files that could not be read (of those looked at)
    int readFiles = 0;                  // audio files whose tags were read this time (not reused)
    // Changes whenever a file or playlist is added, removed, renamed or modified; the same for the
    // same files whether the whole folder was listed or only what changed.
    QByteArray revision;
    ScannedFolders folders;             // every folder of the library, for watching
    QList<QByteArray> playlistFiles;    // every playlist file, read again by a partial scan
    // Against the scan before (the scan cache it started from): the tracks read anew (indexes
    // into tracks: new, changed or moved files) and the identities of the tracks that were there
    // and are gone or were read anew. With the library of that scan, this is what changed.
    QList<qsizetype> readTracks;
    QList<QByteArray> goneIdentities;
};

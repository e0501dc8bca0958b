#pragma once
// The library as the music service hands it out, built once from a scan: songs, albums grouped by
// album artist and title, artists from the tracks' artists and album artists, playlists from playlist files, and the songs of
// each genre. Immutable after construction, so it can be built on a worker thread and read on
// the main thread.

#include "Platform/LocalLibrary/ScannedTrack.h"
#include "Platform/Music/MusicTypes.h"

#include <QHash>

class LibraryIndex {
public:
    struct Genre {
        QString name;
        QList<MusicItemID> songIDs; // in library order
    };

    LibraryIndex() = default;
    explicit LibraryIndex(const ScanResult &scan);

    // Every list is in a stable order: by identifier.
    const QList<Song> &songs() const { return m_songs; }
    const QList<Album> &albums() const { return m_albums; }
    const QList<Artist> &artists() const { return m_artists; }
    const QList<Playlist> &playlists() const { return m_playlists; }
    // Genres by number of songs, most first (ties by name).
    const QList<Genre> &genres() const { return m_genres; }

    const Song *song(const MusicItemID &id) const;
    const Artist *artist(const MusicItemID &id) const;
    QString filePath(const MusicItemID &songID) const { return m_paths.value(songID); }

    // The tracks of a collection in its order: a playlist's own, an album's by disc and track, an
    // artist's by album, then disc and track. Nothing for an unknown identifier.
    std::optional<QList<Song>> playlistTracks(const MusicItemID &id) const;
    std::optional<QList<Song>> albumTracks(const MusicItemID &id) const;
    std::optional<QList<Song>> artistTracks(const MusicItemID &id) const;

    // The songs of the given identifiers, unknown ones left out.
    QList<Song> songs(const QList<MusicItemID> &ids) const;

    // A fixed artwork for a file path, nothing for an empty path.
    static std::optional<Artwork> artworkForFile(const QString &path);

private:
    void addAlbums(const QList<ScannedTrack> &tracks, const QList<MusicItemID> &trackIDs);
    void addArtists(const QList<ScannedTrack> &tracks, const QList<MusicItemID> &trackIDs);
    void addPlaylists(const QList<ScannedPlaylist> &playlists, const QHash<QString, MusicItemID> &songByPath);
    void addGenres();
    std::optional<Artwork> firstArtwork(const QList<MusicItemID> &songIDs) const;
    std::optional<QList<Song>> tracksOf(const QHash<MusicItemID, QList<MusicItemID>> &map, const MusicItemID &id) const;

    QList<Song> m_songs;
    QList<Album> m_albums;
    QList<Artist> m_artists;
    QList<Playlist> m_playlists;
    QList<Genre> m_genres;
    QHash<MusicItemID, qsizetype> m_songIndex;
    QHash<MusicItemID, qsizetype> m_artistIndex;
    QHash<MusicItemID, QString> m_paths;
    QHash<MusicItemID, QList<MusicItemID>> m_albumSongs;
    QHash<MusicItemID, QList<MusicItemID>> m_artistSongs;
    QHash<MusicItemID, QList<MusicItemID>> m_playlistSongs;
};

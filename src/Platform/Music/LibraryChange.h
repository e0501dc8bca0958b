#pragma once
// What one change of a library did, from one revision to the next: the items added or changed
// (as they are now) and the identifiers of those that left. A store that mirrors the library at
// fromRevision applies it to reach toRevision without listing the whole library again.

#include "Platform/Music/MusicTypes.h"

struct LibraryChange {
    QString fromRevision;
    QString toRevision;
    QList<Song> songs;
    QList<MusicItemID> removedSongs;
    QList<Album> albums;
    QList<MusicItemID> removedAlbums;
    QList<Artist> artists;
    QList<MusicItemID> removedArtists;
    // Playlists that are new or whose name or songs changed; their songs are asked for anew.
    QList<Playlist> playlists;
    QList<MusicItemID> removedPlaylists;

    bool isEmpty() const
    {
        return songs.isEmpty() && removedSongs.isEmpty() && albums.isEmpty() && removedAlbums.isEmpty() &&
               artists.isEmpty() && removedArtists.isEmpty() && playlists.isEmpty() && removedPlaylists.isEmpty();
    }
};

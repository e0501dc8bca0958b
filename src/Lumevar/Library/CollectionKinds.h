#pragma once
// The words of the three two-level library lists: which records they hold, where their selection
// lives, which store and sync calls feed them, and the keys, labels and log lines they use.
// CollectionViewModel<Kind> is the one implementation behind all three.

#include "Lumevar/Library/SortOrders.h"
#include "Lumevar/Model/MainViewModel.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"

struct PlaylistCollection {
    static constexpr ContainerKind::Case container = ContainerKind::playlists;
    using Element = LocalPlaylist;
    using Order = PlaylistSortOrder;
    static constexpr auto selection = &MainViewModel::_selectedPlaylistID;
    static constexpr auto readAll = &LocalDatabase::allPlaylists;
    static constexpr auto syncAll = &SyncEngine::syncPlaylists;
    static constexpr const char *listSyncKey = "lastPlaylistSync";
    static constexpr const char *trackSyncKeyPrefix = "lastPlaylistTrackSync-";
    static constexpr const char *listErrorLabel = "load_playlists";
    static constexpr const char *selectedErrorLabel = "load_playlist";
    static constexpr const char *listFailedLine = "Failed to load playlists: %@";
    static constexpr const char *selectedFailedLine = "Failed to load selected playlist: %@";
    static constexpr const char *listSyncSkippedLine = "Skipping playlist sync because there was a recent one";
    static constexpr const char *trackSyncSkippedLine = "Skipping playlist track sync because there was a recent one";
    // When the track sync is skipped and the store had no songs, the list is emptied.
    static constexpr bool clearsUnstoredSongsWhenRecent = true;
};

struct AlbumCollection {
    static constexpr ContainerKind::Case container = ContainerKind::albums;
    using Element = LocalAlbum;
    using Order = AlbumSortOrder;
    static constexpr auto selection = &MainViewModel::_selectedAlbumID;
    static constexpr auto readAll = &LocalDatabase::allAlbums;
    static constexpr auto syncAll = &SyncEngine::syncAlbums;
    static constexpr const char *listSyncKey = "lastAlbumSync";
    static constexpr const char *trackSyncKeyPrefix = "lastAlbumTrackSync-";
    static constexpr const char *listErrorLabel = "load_albums";
    static constexpr const char *selectedErrorLabel = "load_selected_album";
    static constexpr const char *listFailedLine = "Failed to load albums: %@";
    static constexpr const char *selectedFailedLine = "Failed to load selected album: %@";
    static constexpr const char *listSyncSkippedLine = "Skipping album sync because there was a recent one";
    static constexpr const char *trackSyncSkippedLine = "Skipping album track sync because there was a recent one";
    static constexpr bool clearsUnstoredSongsWhenRecent = true;
};

struct ArtistCollection {
    static constexpr ContainerKind::Case container = ContainerKind::artists;
    using Element = LocalArtist;
    using Order = ArtistsSortOrder;
    static constexpr auto selection = &MainViewModel::_selectedArtistID;
    static constexpr auto readAll = &LocalDatabase::allArtists;
    static constexpr auto syncAll = &SyncEngine::syncArtists;
    static constexpr const char *listSyncKey = "lastArtistSync";
    static constexpr const char *trackSyncKeyPrefix = "lastArtistTrackSync-";
    static constexpr const char *listErrorLabel = "load_artists";
    static constexpr const char *selectedErrorLabel = "load_selected_artists";
    static constexpr const char *listFailedLine = "Failed to load artists: %@";
    static constexpr const char *selectedFailedLine = "Failed to load selected artists: %@";
    static constexpr const char *listSyncSkippedLine = "Skipping artist sync because there was a recent one";
    static constexpr const char *trackSyncSkippedLine = "Skipping artist track sync because there was a recent one";
    // Deliberately different: an artist without stored songs, selected while its track sync is
    // recent, keeps the previous artist's songs on screen under its own heading.
    static constexpr bool clearsUnstoredSongsWhenRecent = false;
};

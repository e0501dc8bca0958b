#pragma once
// Mirrors the music service's library into the local store. Made anew for each operation over
// the shared database and dropped when the call returns. Each sync makes the store equal to the
// service for what it covers (new items added, changed ones updated, vanished ones removed) in
// transactions that leave the store consistent if the process dies at any moment. It yields while
// it waits on the service and honours cancellation through its token (CancellationError).

#include "LumevarCore/Records.h"
#include "Platform/Music/LibraryChange.h"
#include "Support/Task.h"

#include <QCoroTask>

class LocalDatabase;
class MusicService;
class Progress;

class SyncEngine {
public:
    explicit SyncEngine(LocalDatabase &database, CancellationToken token = {});
    SyncEngine(LocalDatabase &database, MusicService &service, CancellationToken token = {});

    // The whole library: playlists, albums, artists, songs and playlist contents. Reports into
    // the 100 units of progress as it goes.
    QCoro::Task<void> syncAll(Progress *progress);

    QCoro::Task<void> syncPlaylists();
    QCoro::Task<void> syncAlbums();
    QCoro::Task<void> syncArtists();
    QCoro::Task<void> syncSongs();

    // Fetches one collection's songs from the service, stores them and returns them.
    QCoro::Task<QList<LocalSong>> syncRemoteTracks(LocalPlaylist playlist);
    QCoro::Task<QList<LocalSong>> syncRemoteTracks(LocalAlbum album);
    QCoro::Task<QList<LocalSong>> syncRemoteTracks(LocalArtist artist);

    // Fills in playlists that are known but have no songs yet.
    QCoro::Task<void> syncEmptyPlaylistContents();

    // Takes up songs newly added to the library. Never throws: failures are logged.
    QCoro::Task<void> syncInserts();

    // Applies what the service says changed (MusicService::libraryChanges), oldest first, through
    // the store's ordinary writes: songs, albums, artists and playlists added, updated or removed,
    // the contents of changed playlists fetched anew. New songs join the end of the library order.
    // A failure leaves what was written and throws; a full sync then repairs the rest.
    QCoro::Task<void> applyChanges(QList<LibraryChange> changes);

private:
    LocalDatabase &m_database;
    MusicService &m_service;
    CancellationToken m_token;
};

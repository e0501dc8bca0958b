// SyncEngine::applyChanges: the store follows a library change by writing only what changed,
// instead of listing the whole library again.

#include "LumevarCore/SyncEngine.h"

#include "LumevarCore/LocalDatabase.h"
#include "Platform/Music/MusicService.h"
#include "Support/Log.h"

namespace {

QStringList rawValues(const QList<MusicItemID> &ids)
{
    QStringList values;
    values.reserve(ids.size());
    for (const MusicItemID &id : ids)
        values.append(id.rawValue());
    return values;
}

// Rows written here carry no sync generation of their own: the next full sync marks them.
constexpr qint64 outsideSync = 0;

} // namespace

QCoro::Task<void> SyncEngine::applyChanges(QList<LibraryChange> changes)
{
    LocalDatabase &database = m_database;
    MusicService &service = m_service;
    const CancellationToken token = m_token;
    for (const LibraryChange &change : std::as_const(changes)) {
        token.checkCancellation();
        using Kind = LocalDatabase::LibraryKind;
        if (!change.songs.isEmpty())
            co_await database.addLibrarySongs(change.songs);
        if (!change.removedSongs.isEmpty())
            co_await database.removeLibraryItems(Kind::songs, rawValues(change.removedSongs));
        if (!change.albums.isEmpty())
            co_await database.storeAlbums(change.albums, outsideSync);
        if (!change.removedAlbums.isEmpty())
            co_await database.removeLibraryItems(Kind::albums, rawValues(change.removedAlbums));
        if (!change.artists.isEmpty())
            co_await database.storeArtists(change.artists, outsideSync);
        if (!change.removedArtists.isEmpty())
            co_await database.removeLibraryItems(Kind::artists, rawValues(change.removedArtists));
        if (!change.removedPlaylists.isEmpty())
            co_await database.removeLibraryItems(Kind::playlists, rawValues(change.removedPlaylists));
        if (!change.playlists.isEmpty()) {
            co_await database.storePlaylists(change.playlists, outsideSync);
            QList<std::pair<QString, QList<Song>>> contents;
            for (const Playlist &playlist : change.playlists) {
                token.checkCancellation();
                QList<Song> songs = co_await service.tracks(playlist);
                contents.append(std::make_pair(playlist.id.rawValue(), std::move(songs)));
            }
            token.checkCancellation();
            co_await database.storePlaylistContents(std::move(contents));
        }
        LUMEVAR_INFO(Log::sync(), "Applied a library change: %d songs added or changed, %d removed; %d albums, %d artists, "
                               "%d playlists changed",
                     int(change.songs.size()), int(change.removedSongs.size()),
                     int(change.albums.size() + change.removedAlbums.size()),
                     int(change.artists.size() + change.removedArtists.size()),
                     int(change.playlists.size() + change.removedPlaylists.size()));
    }
}

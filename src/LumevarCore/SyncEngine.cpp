#include "LumevarCore/SyncEngine.h"

#include "LumevarCore/LocalDatabase.h"
#include "Platform/Music/MusicService.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/Progress.h"

#include <QPointer>
#include <QScopeGuard>
#include <QTimeZone>

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

namespace {

// Items asked of the service per page, and stored per transaction.
constexpr int pageSize = 1000;
// Playlists whose contents are stored per transaction.
constexpr int playlistBatch = 50;

// Shares of syncAll's 100 units of progress.
constexpr qint64 playlistsShare = 5;
constexpr qint64 albumsShare = 10;
constexpr qint64 artistsShare = 5;
constexpr qint64 songsShare = 60;
constexpr qint64 contentsShare = 20;

// Reports a share of the progress in proportion to the work done so far.
class ShareReporter {
public:
    ShareReporter(Progress *progress, qint64 share) : m_progress(progress), m_share(share) {}
    ~ShareReporter() { finish(); }
    void update(qint64 done, qint64 total)
    {
        if (total <= 0)
            return;
        report(qMin(m_share, m_share * done / total));
    }
    void finish() { report(m_share); }

private:
    void report(qint64 units)
    {
        if (m_progress && units > m_reported) {
            m_progress->addCompletedUnitCount(units - m_reported);
            m_reported = units;
        }
    }
    QPointer<Progress> m_progress;
    qint64 m_share;
    qint64 m_reported = 0;
};

template <typename Item, typename Fetch, typename Store>
QCoro::Task<void> syncList(LocalDatabase &database, LocalDatabase::LibraryKind kind, const char *what,
                           CancellationToken token, Fetch fetch, Store store, ShareReporter *reporter)
{
    token.checkCancellation();
    const qint64 generation = co_await database.beginSync(kind);
    int offset = 0;
    int removed = 0;
    std::exception_ptr failure;
    // One page is written while the next is fetched and prepared.
    std::optional<QCoro::Task<void>> writing;
    try {
        for (;;) {
            token.checkCancellation();
            LibraryPage<Item> page = co_await fetch(offset, pageSize);
            token.checkCancellation();
            if (page.items.isEmpty())
                break;
            // `writing` always holds the page not yet awaited, so that a failure of the one
            // before still leaves this one to be waited for below.
            std::optional<QCoro::Task<void>> previous = std::exchange(writing, store(page.items, generation, offset));
            if (previous)
                co_await std::move(*previous);
            offset += int(page.items.size());
            if (reporter)
                reporter->update(offset, page.totalCount);
            if (!page.hasMore())
                break;
        }
        if (writing) {
            QCoro::Task<void> last = std::move(*writing);
            writing.reset();
            co_await std::move(last);
        }
        token.checkCancellation();
        removed = co_await database.finishSync(kind, generation);
    } catch (...) {
        failure = std::current_exception();
    }
    if (writing) {
        // The page in flight ends before the sync does, whatever stopped it.
        try {
            co_await std::move(*writing);
        } catch (...) {
        }
    }
    if (failure) {
        // What was stored stays; the table must not be left without its indexes.
        try {
            co_await database.abandonSync(kind, generation);
        } catch (...) {
            LUMEVAR_ERROR(Log::sync(), "Failed to end an interrupted sync of %@: %@", what, errorFromCurrentException());
        }
        std::rethrow_exception(failure);
    }
    LUMEVAR_INFO(Log::sync(), "Synced %d %@, removed %d", offset, what, removed);
}

Playlist platformPlaylist(const LocalPlaylist &playlist)
{
    Playlist result;
    result.id = MusicItemID(playlist.id);
    result.name = playlist.name;
    result.libraryAddedDate = playlist.dateAdded;
    result.playParameters = PlayParameters{result.id, QStringLiteral("playlist")};
    return result;
}

Album platformAlbum(const LocalAlbum &album)
{
    Album result;
    result.id = MusicItemID(album.id);
    result.title = album.title;
    result.artistName = album.artistName;
    if (album.genre)
        result.genreNames = QStringList{*album.genre};
    result.releaseDate = album.releaseDate;
    result.libraryAddedDate = album.dateAdded;
    result.playParameters = PlayParameters{result.id, QStringLiteral("album")};
    return result;
}

Artist platformArtist(const LocalArtist &artist)
{
    Artist result;
    result.id = MusicItemID(artist.id);
    result.name = artist.name;
    if (artist.genre)
        result.genreNames = QStringList{*artist.genre};
    return result;
}

// syncAll's steps: every list of the library, then every playlist's contents.
QCoro::Task<void> syncWholeLibrary(LocalDatabase &database, MusicService &service, CancellationToken token,
                                   QPointer<Progress> guard)
{
    service.beginLibraryListing();
    {
        ShareReporter reporter(guard, playlistsShare);
        co_await syncList<Playlist>(database, LocalDatabase::LibraryKind::playlists, "playlists", token,
            [&service](int offset, int limit) { return service.libraryPlaylists(offset, limit); },
            [&database](const QList<Playlist> &items, qint64 generation, int) { return database.storePlaylists(items, generation); },
            &reporter);
    }
    {
        ShareReporter reporter(guard, albumsShare);
        co_await syncList<Album>(database, LocalDatabase::LibraryKind::albums, "albums", token,
            [&service](int offset, int limit) { return service.libraryAlbums(offset, limit); },
            [&database](const QList<Album> &items, qint64 generation, int) { return database.storeAlbums(items, generation); },
            &reporter);
    }
    {
        ShareReporter reporter(guard, artistsShare);
        co_await syncList<Artist>(database, LocalDatabase::LibraryKind::artists, "artists", token,
            [&service](int offset, int limit) { return service.libraryArtists(offset, limit); },
            [&database](const QList<Artist> &items, qint64 generation, int) { return database.storeArtists(items, generation); },
            &reporter);
    }
    {
        ShareReporter reporter(guard, songsShare);
        // A service that gathers every song before the first page moves the share as it lists.
        const QMetaObject::Connection listing = QObject::connect(
            &service, &MusicService::librarySongsListed, [&reporter](int listed, int expected) { reporter.update(listed, expected); });
        const auto disconnect = qScopeGuard([listing] { QObject::disconnect(listing); });
        co_await syncList<Song>(database, LocalDatabase::LibraryKind::songs, "songs", token,
            [&service](int offset, int limit) { return service.librarySongs(offset, limit); },
            [&database](const QList<Song> &items, qint64 generation, int offset) {
                return database.storeLibrarySongs(items, generation, offset);
            },
            &reporter);
    }
    {
        // Every playlist's contents, fetched anew: a playlist may have changed without its name.
        ShareReporter reporter(guard, contentsShare);
        const QList<LocalPlaylist> playlists = co_await database.allPlaylists({LocalPlaylist::SortKey::dateAdded});
        QList<std::pair<QString, QList<Song>>> batch;
        // One batch is written while the next is fetched; a sync that stops leaves it to finish.
        std::optional<QCoro::Task<void>> writing;
        qsizetype done = 0;
        for (const LocalPlaylist &playlist : playlists) {
            token.checkCancellation();
            try {
                const auto request = platformPlaylist(playlist);
                QList<Song> songs = co_await service.tracks(request);
                batch.append(std::make_pair(playlist.id, std::move(songs)));
            } catch (const CancellationError &) {
                throw;
            } catch (const MusicError &error) {
                // One playlist the service cannot list must not stop the others.
                LUMEVAR_ERROR(Log::sync(), "Failed to fetch the songs of the playlist %@: %@", playlist.id, error);
            }
            ++done;
            if (batch.size() >= playlistBatch || done == playlists.size()) {
                token.checkCancellation();
                QList<std::pair<QString, QList<Song>>> full = std::exchange(batch, {});
                std::optional<QCoro::Task<void>> previous =
                    std::exchange(writing, database.storePlaylistContents(std::move(full),
                                                                          LocalDatabase::SongLookup::wholeLibrary));
                if (previous)
                    co_await std::move(*previous);
                reporter.update(done, playlists.size());
            }
        }
        if (writing) {
            QCoro::Task<void> last = std::move(*writing);
            writing.reset();
            co_await std::move(last);
        }
        token.checkCancellation();
    }
}

} // namespace

SyncEngine::SyncEngine(LocalDatabase &database, CancellationToken token)
    : SyncEngine(database, MusicService::shared(), std::move(token)) {}

SyncEngine::SyncEngine(LocalDatabase &database, MusicService &service, CancellationToken token)
    : m_database(database), m_service(service), m_token(std::move(token)) {}

// The engine may be a temporary gone once a call suspends: every coroutine copies what it
// needs from it before the first suspension.

QCoro::Task<void> SyncEngine::syncAll(Progress *progress)
{
    LocalDatabase &database = m_database;
    MusicService &service = m_service;
    const CancellationToken token = m_token;
    QPointer<Progress> guard(progress);
    std::exception_ptr failure;
    try {
        co_await syncWholeLibrary(database, service, token, guard);
    } catch (...) {
        failure = std::current_exception();
    }
    // The index read for the sync is memory the store does not need between syncs.
    co_await database.releaseSongIndex();
    if (failure)
        std::rethrow_exception(failure);
    if (guard && guard->completedUnitCount() < guard->totalUnitCount())
        guard->setCompletedUnitCount(guard->totalUnitCount());
}

QCoro::Task<void> SyncEngine::syncPlaylists()
{
    LocalDatabase &database = m_database;
    MusicService &service = m_service;
    co_await syncList<Playlist>(database, LocalDatabase::LibraryKind::playlists, "playlists", m_token,
        [&service](int offset, int limit) { return service.libraryPlaylists(offset, limit); },
        [&database](const QList<Playlist> &items, qint64 generation, int) { return database.storePlaylists(items, generation); },
        nullptr);
}

QCoro::Task<void> SyncEngine::syncAlbums()
{
    LocalDatabase &database = m_database;
    MusicService &service = m_service;
    co_await syncList<Album>(database, LocalDatabase::LibraryKind::albums, "albums", m_token,
        [&service](int offset, int limit) { return service.libraryAlbums(offset, limit); },
        [&database](const QList<Album> &items, qint64 generation, int) { return database.storeAlbums(items, generation); },
        nullptr);
}

QCoro::Task<void> SyncEngine::syncArtists()
{
    LocalDatabase &database = m_database;
    MusicService &service = m_service;
    co_await syncList<Artist>(database, LocalDatabase::LibraryKind::artists, "artists", m_token,
        [&service](int offset, int limit) { return service.libraryArtists(offset, limit); },
        [&database](const QList<Artist> &items, qint64 generation, int) { return database.storeArtists(items, generation); },
        nullptr);
}

QCoro::Task<void> SyncEngine::syncSongs()
{
    LocalDatabase &database = m_database;
    MusicService &service = m_service;
    co_await syncList<Song>(database, LocalDatabase::LibraryKind::songs, "songs", m_token,
        [&service](int offset, int limit) { return service.librarySongs(offset, limit); },
        [&database](const QList<Song> &items, qint64 generation, int offset) {
            return database.storeLibrarySongs(items, generation, offset);
        },
        nullptr);
    co_await database.releaseSongIndex();
}

QCoro::Task<QList<LocalSong>> SyncEngine::syncRemoteTracks(LocalPlaylist playlist)
{
    LocalDatabase &database = m_database;
    const CancellationToken token = m_token;
    token.checkCancellation();
    const auto request = platformPlaylist(playlist);
    QList<Song> songs = co_await m_service.tracks(request);
    token.checkCancellation();
    QList<std::pair<QString, QList<Song>>> contents;
    contents.append(std::make_pair(playlist.id, std::move(songs)));
    co_await database.storePlaylistContents(std::move(contents));
    co_return co_await database.songs(playlist);
}

QCoro::Task<QList<LocalSong>> SyncEngine::syncRemoteTracks(LocalAlbum album)
{
    LocalDatabase &database = m_database;
    const CancellationToken token = m_token;
    token.checkCancellation();
    const auto request = platformAlbum(album);
    QList<Song> songs = co_await m_service.tracks(request);
    token.checkCancellation();
    co_return co_await database.storeCollectionSongs(album, std::move(songs));
}

QCoro::Task<QList<LocalSong>> SyncEngine::syncRemoteTracks(LocalArtist artist)
{
    LocalDatabase &database = m_database;
    const CancellationToken token = m_token;
    token.checkCancellation();
    const auto request = platformArtist(artist);
    QList<Song> songs = co_await m_service.tracks(request);
    token.checkCancellation();
    co_return co_await database.storeCollectionSongs(artist, std::move(songs));
}

QCoro::Task<void> SyncEngine::syncEmptyPlaylistContents()
{
    LocalDatabase &database = m_database;
    MusicService &service = m_service;
    const CancellationToken token = m_token;
    const QList<LocalPlaylist> playlists = co_await database.playlistsWithoutContents();
    for (const LocalPlaylist &playlist : playlists) {
        token.checkCancellation();
        try {
            const auto request = platformPlaylist(playlist);
            QList<Song> songs = co_await service.tracks(request);
            token.checkCancellation();
            QList<std::pair<QString, QList<Song>>> contents;
            contents.append(std::make_pair(playlist.id, std::move(songs)));
            co_await database.storePlaylistContents(std::move(contents));
        } catch (const MusicError &error) {
            LUMEVAR_ERROR(Log::sync(), "Failed to fetch the songs of the playlist %@: %@", playlist.id, error);
        }
    }
}

QCoro::Task<void> SyncEngine::syncInserts()
{
    LocalDatabase &database = m_database;
    MusicService &service = m_service;
    const CancellationToken token = m_token;
    try {
        const std::optional<QDateTime> latest = co_await database.latestSongAddedDate();
        token.checkCancellation();
        // Songs added at the latest known moment are asked for again: the store refreshes them.
        const QDateTime since = latest.value_or(QDateTime::fromMSecsSinceEpoch(0, QTimeZone::utc()));
        QList<Song> songs = co_await service.librarySongsAdded(since);
        token.checkCancellation();
        // The service lists the newest first; the library order runs from the oldest.
        std::reverse(songs.begin(), songs.end());
        co_await database.addLibrarySongs(std::move(songs));
    } catch (const CancellationError &) {
        LUMEVAR_INFO(Log::sync(), "Cancelled taking up newly added songs");
    } catch (...) {
        LUMEVAR_ERROR(Log::sync(), "Failed to take up newly added songs: %@", errorFromCurrentException());
    }
}

#include "FakeMusicService.h"

#include "Support/Clock.h"
#include "Support/Error.h"

#include <algorithm>

namespace {

Artwork artworkFor(const QString &id) { return Artwork(QStringLiteral("fake://artwork/%1/{w}x{h}.png").arg(id), 600, 600); }

MusicError notFound(const char *kind, const MusicItemID &id)
{
    return MusicError(MusicError::notFound, QStringLiteral("No %1 with id %2").arg(QString::fromUtf8(kind), id.rawValue()));
}

bool sameName(const std::optional<QString> &a, const std::optional<QString> &b)
{
    return a && b && a->compare(*b, Qt::CaseInsensitive) == 0;
}

// A library collection without tracks of its own in the test's tables holds the library songs
// that belong to it as a real service files them: an album its title's songs by its artist (as
// album artist or, lacking one, as artist), an artist the songs by or on an album of the artist.
QList<Song> albumSongsOf(const QList<Song> &songs, const Album &album)
{
    QList<Song> found;
    for (const Song &song : songs) {
        const std::optional<QString> artist = song.albumArtistName ? song.albumArtistName : song.artistName;
        const bool sameArtist = album.artistName ? sameName(artist, album.artistName) : !artist;
        if (sameName(song.albumTitle, album.title) && sameArtist)
            found.append(song);
    }
    return found;
}

QList<Song> artistSongsOf(const QList<Song> &songs, const Artist &artist)
{
    QList<Song> found;
    for (const Song &song : songs)
        if (sameName(song.artistName, artist.name) || sameName(song.albumArtistName, artist.name))
            found.append(song);
    return found;
}

template <typename T>
const T *listed(const QList<T> &items, const MusicItemID &id)
{
    const auto found = std::find_if(items.begin(), items.end(), [&id](const T &item) { return item.id == id; });
    return found == items.end() ? nullptr : &*found;
}

bool matches(const QString &text, const QString &term) { return text.contains(term, Qt::CaseInsensitive); }

template <typename T, typename Text>
QList<T> search(const QList<T> &items, const QString &term, int limit, Text text)
{
    QList<T> found;
    for (const auto &item : items)
        if (found.size() < limit && matches(text(item), term))
            found.append(item);
    return found;
}

} // namespace

Song FakeMusicService::song(const QString &id, const QString &title, const QString &artist, double duration)
{
    Song song;
    song.id = MusicItemID(id);
    song.title = title.isEmpty() ? QStringLiteral("Song %1").arg(id) : title;
    song.artistName = artist;
    song.albumTitle = QStringLiteral("Album");
    song.duration = duration;
    song.artwork = artworkFor(id);
    song.playParameters = PlayParameters{song.id, QStringLiteral("song")};
    return song;
}

QList<Song> FakeMusicService::songs(int count, const QString &prefix, double duration)
{
    QList<Song> list;
    for (int i = 0; i < count; ++i)
        list.append(song(prefix + QString::number(i), {}, QStringLiteral("Artist"), duration));
    return list;
}

Album FakeMusicService::album(const QString &id, const QString &title, const QString &artist)
{
    Album album;
    album.id = MusicItemID(id);
    album.title = title.isEmpty() ? QStringLiteral("Album %1").arg(id) : title;
    album.artistName = artist;
    album.artwork = artworkFor(id);
    album.playParameters = PlayParameters{album.id, QStringLiteral("album")};
    return album;
}

Playlist FakeMusicService::playlist(const QString &id, const QString &name)
{
    Playlist playlist;
    playlist.id = MusicItemID(id);
    playlist.name = name.isEmpty() ? QStringLiteral("Playlist %1").arg(id) : name;
    playlist.artwork = artworkFor(id);
    playlist.playParameters = PlayParameters{playlist.id, QStringLiteral("playlist")};
    return playlist;
}

Artist FakeMusicService::artist(const QString &id, const QString &name)
{
    Artist artist;
    artist.id = MusicItemID(id);
    artist.name = name.isEmpty() ? QStringLiteral("Artist %1").arg(id) : name;
    artist.artwork = artworkFor(id);
    return artist;
}

Station FakeMusicService::station(const QString &id, const QString &name)
{
    Station station;
    station.id = MusicItemID(id);
    station.name = name.isEmpty() ? QStringLiteral("Station %1").arg(id) : name;
    station.artwork = artworkFor(id);
    station.playParameters = PlayParameters{station.id, QStringLiteral("station")};
    return station;
}

QUrl FakeMusicService::defaultURL(const MusicItemID &id) { return QUrl(QStringLiteral("fake:///songs/%1.wav").arg(id.rawValue())); }

QCoro::Task<void> FakeMusicService::enter(Operation op)
{
    ++m_calls[op];
    if (latency > 0)
        co_await Clock::shared().sleep(latency);
    auto failure = m_failures.find(op);
    if (failure == m_failures.end())
        co_return;
    auto error = failure->error;
    if (failure->remaining > 0 && --failure->remaining == 0)
        m_failures.erase(failure);
    std::rethrow_exception(error);
}

template <typename T>
LibraryPage<T> FakeMusicService::page(const QList<T> &all, int offset, int limit)
{
    LibraryPage<T> page;
    page.offset = std::clamp(offset, 0, int(all.size()));
    page.items = all.mid(page.offset, std::max(0, limit));
    page.totalCount = int(all.size());
    return page;
}

QCoro::Task<MusicAuthorizationStatus> FakeMusicService::requestAuthorization()
{
    co_await enter(Operation::requestAuthorization);
    status = statusAfterRequest;
    co_return status;
}

QCoro::Task<void> FakeMusicService::readLibraryAgain() { co_await enter(Operation::readLibraryAgain); }

QCoro::Task<LibraryPage<Playlist>> FakeMusicService::libraryPlaylists(int offset, int limit)
{
    co_await enter(Operation::libraryPlaylists);
    co_return page(library.playlists, offset, limit);
}

QCoro::Task<LibraryPage<Album>> FakeMusicService::libraryAlbums(int offset, int limit)
{
    co_await enter(Operation::libraryAlbums);
    co_return page(library.albums, offset, limit);
}

QCoro::Task<LibraryPage<Artist>> FakeMusicService::libraryArtists(int offset, int limit)
{
    co_await enter(Operation::libraryArtists);
    co_return page(library.artists, offset, limit);
}

QCoro::Task<LibraryPage<Song>> FakeMusicService::librarySongs(int offset, int limit)
{
    co_await enter(Operation::librarySongs);
    co_return page(library.songs, offset, limit);
}

QCoro::Task<QList<Song>> FakeMusicService::librarySongsAdded(QDateTime since)
{
    co_await enter(Operation::librarySongsAdded);
    QList<Song> added;
    for (const auto &song : std::as_const(library.songs))
        if (song.libraryAddedDate && *song.libraryAddedDate >= since)
            added.append(song);
    std::stable_sort(added.begin(), added.end(), [](const Song &a, const Song &b) { return *a.libraryAddedDate > *b.libraryAddedDate; });
    co_return added;
}

QCoro::Task<QList<Song>> FakeMusicService::tracks(Playlist playlist)
{
    co_await enter(Operation::playlistTracks);
    if (!playlistTracks.contains(playlist.id))
        throw notFound("playlist", playlist.id);
    co_return playlistTracks.value(playlist.id);
}

QCoro::Task<QList<Song>> FakeMusicService::tracks(Album album)
{
    co_await enter(Operation::albumTracks);
    if (albumTracks.contains(album.id))
        co_return albumTracks.value(album.id);
    const Album *known = listed(library.albums, album.id);
    if (!known)
        throw notFound("album", album.id);
    co_return albumSongsOf(library.songs, *known);
}

QCoro::Task<QList<Song>> FakeMusicService::tracks(Artist artist)
{
    co_await enter(Operation::artistTracks);
    if (artistTracks.contains(artist.id))
        co_return artistTracks.value(artist.id);
    const Artist *known = listed(library.artists, artist.id);
    if (!known)
        throw notFound("artist", artist.id);
    co_return artistSongsOf(library.songs, *known);
}

QCoro::Task<QList<MusicPersonalRecommendation>> FakeMusicService::personalRecommendations()
{
    co_await enter(Operation::personalRecommendations);
    // A copy: QCoro 0.8's return_value moves from a named lvalue, which would empty the member.
    QList<MusicPersonalRecommendation> answer = recommendations;
    co_return answer;
}

QCoro::Task<QList<Song>> FakeMusicService::stationSongs(Station station, int count)
{
    co_await enter(Operation::stationSongs);
    if (!stationPools.contains(station.id))
        throw notFound("station", station.id);
    const auto pool = stationPools.value(station.id);
    QList<Song> next;
    if (pool.isEmpty())
        co_return next;
    int &cursor = m_stationCursors[station.id];
    for (int i = 0; i < count; ++i, ++cursor)
        next.append(pool.at(cursor % pool.size()));
    co_return next;
}

QCoro::Task<CatalogSearchResponse> FakeMusicService::searchCatalog(QString term, int limit)
{
    co_await enter(Operation::searchCatalog);
    CatalogSearchResponse response;
    response.songs = search(catalog.songs, term, limit, [](const Song &s) { return s.title; });
    response.albums = search(catalog.albums, term, limit, [](const Album &a) { return a.title; });
    response.artists = search(catalog.artists, term, limit, [](const Artist &a) { return a.name; });
    response.playlists = search(catalog.playlists, term, limit, [](const Playlist &p) { return p.name; });
    co_return response;
}

QCoro::Task<Artist> FakeMusicService::catalogArtistWithTopSongs(MusicItemID artistID)
{
    co_await enter(Operation::catalogArtistWithTopSongs);
    if (!catalogArtists.contains(artistID))
        throw notFound("catalog artist", artistID);
    co_return catalogArtists.value(artistID);
}

QCoro::Task<void> FakeMusicService::addToLibrary(MusicItemID songID)
{
    co_await enter(Operation::addToLibrary);
    addedToLibrary.append(songID);
    auto found = std::find_if(catalog.songs.cbegin(), catalog.songs.cend(), [&](const Song &s) { return s.id == songID; });
    if (found == catalog.songs.cend())
        throw notFound("catalog song", songID);
    const bool present = std::any_of(library.songs.cbegin(), library.songs.cend(), [&](const Song &s) { return s.id == songID; });
    if (!present) {
        Song added = *found;
        added.libraryAddedDate = QDateTime::fromSecsSinceEpoch(qint64(Clock::shared().now() + referenceDateOffsetFromUnixEpoch), Qt::UTC);
        library.songs.append(added);
    }
}

QCoro::Task<QUrl> FakeMusicService::playableURL(PlayParameters parameters)
{
    co_await enter(Operation::playableURL);
    if (unplayable.contains(parameters.id))
        throw MusicError(MusicError::unplayable, QStringLiteral("No playable file for %1").arg(parameters.id.rawValue()));
    co_return urls.value(parameters.id, defaultURL(parameters.id));
}

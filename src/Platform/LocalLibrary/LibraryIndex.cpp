#include "Platform/LocalLibrary/LibraryIndex.h"

#include "Platform/LocalLibrary/LocalIdentifiers.h"
#include "Support/Log.h"

#include <QUrl>
#include <algorithm>

namespace {

std::optional<QString> optionalText(const QString &text)
{
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}

// The artist an album is filed under: its album artist, else the track's artist.
QString albumArtistOf(const ScannedTrack &track)
{
    return track.albumArtist.isEmpty() ? track.artist : track.albumArtist;
}

// Names counted over songs, most frequent first (ties in first-seen order).
QStringList byFrequency(const QStringList &names)
{
    QStringList distinct;
    QHash<QString, int> counts;
    for (const QString &name : names) {
        if (name.isEmpty())
            continue;
        if (counts[name]++ == 0)
            distinct.append(name);
    }
    std::stable_sort(distinct.begin(), distinct.end(),
                     [&counts](const QString &a, const QString &b) { return counts.value(a) > counts.value(b); });
    return distinct;
}

// Disc, then track number, then title: the order of an album's songs.
bool inAlbumOrder(const Song &a, const Song &b)
{
    const auto key = [](const Song &song) {
        return std::make_tuple(song.discNumber.value_or(1), song.trackNumber.value_or(0));
    };
    if (key(a) != key(b))
        return key(a) < key(b);
    const int byTitle = QString::compare(a.title, b.title, Qt::CaseInsensitive);
    return byTitle != 0 ? byTitle < 0 : a.id < b.id;
}

// Album title (songs without an album last), then the album order.
bool inArtistOrder(const Song &a, const Song &b)
{
    const QString albumA = LocalIdentifiers::nameKey(a.albumTitle.value_or(QString()));
    const QString albumB = LocalIdentifiers::nameKey(b.albumTitle.value_or(QString()));
    if (albumA != albumB) {
        if (albumA.isEmpty() || albumB.isEmpty())
            return albumB.isEmpty();
        return albumA < albumB;
    }
    return inAlbumOrder(a, b);
}

template <typename T>
void sortByID(QList<T> &items)
{
    std::sort(items.begin(), items.end(), [](const T &a, const T &b) { return a.id < b.id; });
}

} // namespace

std::optional<Artwork> LibraryIndex::artworkForFile(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
    return Artwork(QUrl::fromLocalFile(path).toString());
}

LibraryIndex::LibraryIndex(const ScanResult &scan)
{
    QHash<QString, MusicItemID> songByPath;
    QList<MusicItemID> trackIDs; // parallel to scan.tracks
    m_songs.reserve(scan.tracks.size());
    for (const ScannedTrack &track : scan.tracks) {
        Song song;
        song.id = LocalIdentifiers::make(LocalIdentifiers::song, track.relativePath);
        song.title = track.title;
        song.artistName = optionalText(track.artist);
        song.albumTitle = optionalText(track.album);
        song.albumArtistName = optionalText(track.albumArtist);
        if (!track.genre.isEmpty())
            song.genreNames = QStringList{track.genre};
        song.duration = track.duration;
        song.releaseDate = track.releaseDate;
        song.libraryAddedDate = track.modified;
        song.trackNumber = track.trackNumber;
        song.discNumber = track.discNumber;
        song.artwork = artworkForFile(track.artworkPath);
        song.playParameters = PlayParameters{song.id, QStringLiteral("song")};
        songByPath.insert(track.path, song.id);
        trackIDs.append(song.id);
        m_paths.insert(song.id, track.path);
        m_songs.append(std::move(song));
    }
    sortByID(m_songs);
    for (qsizetype i = 0; i < m_songs.size(); ++i)
        m_songIndex.insert(m_songs[i].id, i);

    addAlbums(scan.tracks, trackIDs);
    addArtists(scan.tracks, trackIDs);
    addPlaylists(scan.playlists, songByPath);
    addGenres();
}

void LibraryIndex::addAlbums(const QList<ScannedTrack> &tracks, const QList<MusicItemID> &trackIDs)
{
    QHash<MusicItemID, QList<qsizetype>> tracksByAlbum;
    QList<MusicItemID> order;
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        const ScannedTrack &track = tracks[i];
        if (track.album.isEmpty())
            continue;
        const QString key = LocalIdentifiers::nameKey(albumArtistOf(track)) + u'\x1f' + LocalIdentifiers::nameKey(track.album);
        const MusicItemID id = LocalIdentifiers::make(LocalIdentifiers::album, key);
        auto &members = tracksByAlbum[id];
        if (members.isEmpty())
            order.append(id);
        members.append(i);
    }

    for (const MusicItemID &id : std::as_const(order)) {
        const QList<qsizetype> &members = tracksByAlbum[id];
        QList<Song> songs;
        QStringList genres;
        Album album;
        album.id = id;
        album.title = tracks[members.first()].album;
        album.artistName = optionalText(albumArtistOf(tracks[members.first()]));
        for (const qsizetype index : members) {
            const ScannedTrack *track = &tracks[index];
            songs.append(*song(trackIDs[index]));
            genres.append(track->genre);
            if (track->releaseDate && (!album.releaseDate || *track->releaseDate < *album.releaseDate))
                album.releaseDate = track->releaseDate;
            // An album was added when its newest track was.
            if (!album.libraryAddedDate || track->modified > *album.libraryAddedDate)
                album.libraryAddedDate = track->modified;
        }
        std::sort(songs.begin(), songs.end(), inAlbumOrder);
        QList<MusicItemID> songIDs;
        for (const Song &s : std::as_const(songs))
            songIDs.append(s.id);
        album.genreNames = byFrequency(genres);
        album.trackCount = int(songIDs.size());
        album.artwork = firstArtwork(songIDs);
        album.playParameters = PlayParameters{id, QStringLiteral("album")};
        m_albumSongs.insert(id, songIDs);
        m_albums.append(std::move(album));
    }
    sortByID(m_albums);
}

void LibraryIndex::addArtists(const QList<ScannedTrack> &tracks, const QList<MusicItemID> &trackIDs)
{
    // Artists are the track artists (a compilation's "Various Artists" is none). An artist's songs
    // are those by the artist and those on the artist's albums (a song by "Santana feat. Rob
    // Thomas" on a Santana album is Santana's too), as the store lists them.
    QHash<MusicItemID, QList<qsizetype>> tracksByArtist;
    QHash<MusicItemID, QString> names;
    QList<MusicItemID> order;
    const auto artistID = [](const QString &name) {
        return LocalIdentifiers::make(LocalIdentifiers::artist, LocalIdentifiers::nameKey(name));
    };
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        const ScannedTrack &track = tracks[i];
        if (track.artist.isEmpty())
            continue;
        const MusicItemID id = artistID(track.artist);
        auto &members = tracksByArtist[id];
        if (members.isEmpty()) {
            order.append(id);
            names.insert(id, track.artist);
        }
        members.append(i);
    }
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        const ScannedTrack &track = tracks[i];
        if (track.albumArtist.isEmpty())
            continue;
        if (LocalIdentifiers::nameKey(track.albumArtist) == LocalIdentifiers::nameKey(track.artist))
            continue; // already the artist's song
        const auto found = tracksByArtist.find(artistID(track.albumArtist));
        if (found != tracksByArtist.end())
            found->append(i);
    }

    for (const MusicItemID &id : std::as_const(order)) {
        const QList<qsizetype> &members = tracksByArtist[id];
        QList<Song> songs;
        QStringList genres;
        for (const qsizetype index : members) {
            songs.append(*song(trackIDs[index]));
            genres.append(tracks[index].genre);
        }
        std::sort(songs.begin(), songs.end(), inArtistOrder);
        QList<MusicItemID> songIDs;
        for (const Song &s : std::as_const(songs))
            songIDs.append(s.id);

        Artist artist;
        artist.id = id;
        artist.name = names.value(id);
        artist.genreNames = byFrequency(genres);
        artist.artwork = firstArtwork(songIDs);
        m_artistSongs.insert(id, songIDs);
        m_artists.append(std::move(artist));
    }
    sortByID(m_artists);
    for (qsizetype i = 0; i < m_artists.size(); ++i)
        m_artistIndex.insert(m_artists[i].id, i);
}

void LibraryIndex::addPlaylists(const QList<ScannedPlaylist> &playlists, const QHash<QString, MusicItemID> &songByPath)
{
    for (const ScannedPlaylist &scanned : playlists) {
        QList<MusicItemID> songIDs;
        for (const QString &path : scanned.trackPaths) {
            const auto found = songByPath.constFind(path);
            if (found == songByPath.constEnd()) {
                Log::notice(Log::collection(), "Playlist %@: skipping %@, not a readable song of the library",
                            scanned.path, path);
                continue;
            }
            songIDs.append(*found);
        }
        Playlist playlist;
        playlist.id = LocalIdentifiers::make(LocalIdentifiers::playlist, scanned.relativePath);
        playlist.name = scanned.name;
        playlist.libraryAddedDate = scanned.modified;
        playlist.lastModifiedDate = scanned.modified;
        playlist.artwork = firstArtwork(songIDs);
        playlist.playParameters = PlayParameters{playlist.id, QStringLiteral("playlist")};
        m_playlistSongs.insert(playlist.id, songIDs);
        m_playlists.append(std::move(playlist));
    }
    sortByID(m_playlists);
}

void LibraryIndex::addGenres()
{
    QHash<QString, qsizetype> genreByKey;
    for (const Song &song : std::as_const(m_songs)) {
        for (const QString &name : song.genreNames) {
            const QString key = LocalIdentifiers::nameKey(name);
            auto found = genreByKey.constFind(key);
            if (found == genreByKey.constEnd()) {
                found = genreByKey.insert(key, m_genres.size());
                m_genres.append(Genre{name, {}});
            }
            m_genres[*found].songIDs.append(song.id);
        }
    }
    std::sort(m_genres.begin(), m_genres.end(), [](const Genre &a, const Genre &b) {
        if (a.songIDs.size() != b.songIDs.size())
            return a.songIDs.size() > b.songIDs.size();
        return a.name < b.name;
    });
}

std::optional<Artwork> LibraryIndex::firstArtwork(const QList<MusicItemID> &songIDs) const
{
    for (const MusicItemID &id : songIDs) {
        if (const Song *s = song(id); s && s->artwork)
            return s->artwork;
    }
    return std::nullopt;
}

const Song *LibraryIndex::song(const MusicItemID &id) const
{
    const auto found = m_songIndex.constFind(id);
    return found == m_songIndex.constEnd() ? nullptr : &m_songs[*found];
}

const Artist *LibraryIndex::artist(const MusicItemID &id) const
{
    const auto found = m_artistIndex.constFind(id);
    return found == m_artistIndex.constEnd() ? nullptr : &m_artists[*found];
}

QList<Song> LibraryIndex::songs(const QList<MusicItemID> &ids) const
{
    QList<Song> result;
    result.reserve(ids.size());
    for (const MusicItemID &id : ids) {
        if (const Song *s = song(id))
            result.append(*s);
    }
    return result;
}

std::optional<QList<Song>> LibraryIndex::tracksOf(const QHash<MusicItemID, QList<MusicItemID>> &map,
                                                  const MusicItemID &id) const
{
    const auto found = map.constFind(id);
    if (found == map.constEnd())
        return std::nullopt;
    return songs(*found);
}

std::optional<QList<Song>> LibraryIndex::playlistTracks(const MusicItemID &id) const { return tracksOf(m_playlistSongs, id); }
std::optional<QList<Song>> LibraryIndex::albumTracks(const MusicItemID &id) const { return tracksOf(m_albumSongs, id); }
std::optional<QList<Song>> LibraryIndex::artistTracks(const MusicItemID &id) const { return tracksOf(m_artistSongs, id); }

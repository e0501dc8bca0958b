#include "Platform/LocalLibrary/LibraryIndex.h"

#include "Platform/LocalLibrary/LocalIdentifiers.h"
#include "Support/Log.h"

#include <QFile>
#include <QUrl>
#include <QtConcurrent>
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
    // The songs' identifiers, parallel to scan.tracks. They are digests of the tracks' identities,
    // the costly part of a song, so they are made on every core.
    const QList<MusicItemID> trackIDs = QtConcurrent::blockingMapped<QList<MusicItemID>>(scan.tracks, [](const ScannedTrack &track) {
        return track.identity.isEmpty() ? LocalIdentifiers::make(LocalIdentifiers::song, track.relativePath)
                                        : LocalIdentifiers::songID(track.identity);
    });
    // Only playlists look songs up by path.
    QHash<QString, MusicItemID> songByPath;
    // The songs of an album share one artwork and one genre list instead of a copy each.
    QHash<QString, std::optional<Artwork>> artworkByPath;
    QHash<QString, QStringList> genresByName;
    m_songs.reserve(scan.tracks.size());
    for (qsizetype i = 0; i < scan.tracks.size(); ++i) {
        const ScannedTrack &track = scan.tracks[i];
        Song song;
        song.id = trackIDs[i];
        song.title = track.title;
        song.artistName = optionalText(track.artist);
        song.albumTitle = optionalText(track.album);
        song.albumArtistName = optionalText(track.albumArtist);
        if (!track.genre.isEmpty()) {
            auto genres = genresByName.constFind(track.genre);
            if (genres == genresByName.cend())
                genres = genresByName.insert(track.genre, QStringList{track.genre});
            song.genreNames = *genres;
        }
        song.duration = track.duration;
        song.releaseDate = track.releaseDate;
        song.libraryAddedDate = track.modified;
        song.trackNumber = track.trackNumber;
        song.discNumber = track.discNumber;
        auto artwork = artworkByPath.constFind(track.artworkPath);
        if (artwork == artworkByPath.cend())
            artwork = artworkByPath.insert(track.artworkPath, artworkForFile(track.artworkPath));
        song.artwork = *artwork;
        song.playParameters = PlayParameters{song.id, QStringLiteral("song")};
        if (!scan.playlists.isEmpty())
            songByPath.insert(track.path, song.id);
        m_paths.insert(song.id, track.fileName.isEmpty() ? QFile::encodeName(track.path) : track.fileName);
        m_songs.append(std::move(song));
    }
    sortByID(m_songs);
    for (qsizetype i = 0; i < m_songs.size(); ++i)
        m_songIndex.insert(m_songs[i].id, i);

    // Albums and artists only read the songs and the tracks: they are grouped side by side.
    QFuture<void> artists = QtConcurrent::run([this, &scan, &trackIDs] { addArtists(scan.tracks, trackIDs); });
    addAlbums(scan.tracks, trackIDs);
    artists.waitForFinished();
    addPlaylists(scan.playlists, songByPath);
    addGenres();
}

void LibraryIndex::addAlbums(const QList<ScannedTrack> &tracks, const QList<MusicItemID> &trackIDs)
{
    QHash<MusicItemID, QList<qsizetype>> tracksByAlbum;
    QList<MusicItemID> order;
    QHash<QString, MusicItemID> idByText; // normalising and hashing once per distinct album
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        const ScannedTrack &track = tracks[i];
        if (track.album.isEmpty())
            continue;
        const QString text = albumArtistOf(track) + u'\x1f' + track.album;
        auto known = idByText.constFind(text);
        if (known == idByText.constEnd()) {
            const QString key = LocalIdentifiers::nameKey(albumArtistOf(track)) + u'\x1f' + LocalIdentifiers::nameKey(track.album);
            known = idByText.insert(text, LocalIdentifiers::make(LocalIdentifiers::album, key));
        }
        const MusicItemID id = *known;
        auto &members = tracksByAlbum[id];
        if (members.isEmpty())
            order.append(id);
        members.append(i);
    }

    for (const MusicItemID &id : std::as_const(order)) {
        const QList<qsizetype> &members = tracksByAlbum[id];
        // The album's songs are sorted as pointers: a Song is too large to move around.
        std::vector<const Song *> songs;
        songs.reserve(size_t(members.size()));
        QStringList genres;
        Album album;
        album.id = id;
        album.title = tracks[members.first()].album;
        album.artistName = optionalText(albumArtistOf(tracks[members.first()]));
        for (const qsizetype index : members) {
            const ScannedTrack *track = &tracks[index];
            songs.push_back(song(trackIDs[index]));
            genres.append(track->genre);
            if (track->releaseDate && (!album.releaseDate || *track->releaseDate < *album.releaseDate))
                album.releaseDate = track->releaseDate;
            // An album was added when its newest track was.
            if (!album.libraryAddedDate || track->modified > *album.libraryAddedDate)
                album.libraryAddedDate = track->modified;
        }
        std::sort(songs.begin(), songs.end(), [](const Song *a, const Song *b) { return inAlbumOrder(*a, *b); });
        QList<MusicItemID> songIDs;
        songIDs.reserve(qsizetype(songs.size()));
        for (const Song *member : songs)
            songIDs.append(member->id);
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
    // Normalising and hashing a name is the costly part: once per distinct text, not per track.
    QHash<QString, QString> keyByName;
    QHash<QString, MusicItemID> idByName;
    const auto nameKey = [&keyByName](const QString &name) {
        auto known = keyByName.constFind(name);
        if (known == keyByName.constEnd())
            known = keyByName.insert(name, LocalIdentifiers::nameKey(name));
        return *known;
    };
    const auto artistID = [&idByName, &nameKey](const QString &name) {
        auto known = idByName.constFind(name);
        if (known == idByName.constEnd())
            known = idByName.insert(name, LocalIdentifiers::make(LocalIdentifiers::artist, nameKey(name)));
        return *known;
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
        if (nameKey(track.albumArtist) == nameKey(track.artist))
            continue; // already the artist's song
        const auto found = tracksByArtist.find(artistID(track.albumArtist));
        if (found != tracksByArtist.end())
            found->append(i);
    }

    for (const MusicItemID &id : std::as_const(order)) {
        const QList<qsizetype> &members = tracksByArtist[id];
        // Album title (songs without an album last), then the album order; each album's key is
        // made once, not in every comparison.
        struct Member {
            QString albumKey;
            const Song *song;
        };
        std::vector<Member> songs;
        songs.reserve(size_t(members.size()));
        QStringList genres;
        for (const qsizetype index : members) {
            const Song *member = song(trackIDs[index]);
            songs.push_back({nameKey(member->albumTitle.value_or(QString())), member});
            genres.append(tracks[index].genre);
        }
        std::sort(songs.begin(), songs.end(), [](const Member &a, const Member &b) {
            if (a.albumKey != b.albumKey) {
                if (a.albumKey.isEmpty() || b.albumKey.isEmpty())
                    return b.albumKey.isEmpty();
                return a.albumKey < b.albumKey;
            }
            return inAlbumOrder(*a.song, *b.song);
        });
        QList<MusicItemID> songIDs;
        for (const Member &m : songs)
            songIDs.append(m.song->id);

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

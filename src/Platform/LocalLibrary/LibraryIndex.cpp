#include "Platform/LocalLibrary/LibraryIndex.h"

#include "Platform/LocalLibrary/LocalIdentifiers.h"
#include "Platform/Music/LibraryChange.h"
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

// The artist an album is filed under: its album artist, else the song's artist.
QString albumArtistOf(const Song &song)
{
    return song.albumArtistName.value_or(song.artistName.value_or(QString()));
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

MusicItemID songIDOf(const ScannedTrack &track)
{
    return track.identity.isEmpty() ? LocalIdentifiers::make(LocalIdentifiers::song, track.relativePath)
                                    : LocalIdentifiers::songID(track.identity);
}

QByteArray fileOf(const ScannedTrack &track)
{
    return track.fileName.isEmpty() ? QFile::encodeName(track.path) : track.fileName;
}

// The songs of an album share one artwork and one genre list instead of a copy each.
struct SharedSongParts {
    QHash<QString, std::optional<Artwork>> artworkByPath;
    QHash<QString, QStringList> genresByName;
};

Song songOf(const ScannedTrack &track, const MusicItemID &id, SharedSongParts &shared)
{
    Song song;
    song.id = id;
    song.title = track.title;
    song.artistName = optionalText(track.artist);
    song.albumTitle = optionalText(track.album);
    song.albumArtistName = optionalText(track.albumArtist);
    if (!track.genre.isEmpty()) {
        auto genres = shared.genresByName.constFind(track.genre);
        if (genres == shared.genresByName.cend())
            genres = shared.genresByName.insert(track.genre, QStringList{track.genre});
        song.genreNames = *genres;
    }
    song.duration = track.duration;
    song.releaseDate = track.releaseDate;
    song.libraryAddedDate = track.modified;
    song.trackNumber = track.trackNumber;
    song.discNumber = track.discNumber;
    auto artwork = shared.artworkByPath.constFind(track.artworkPath);
    if (artwork == shared.artworkByPath.cend())
        artwork = shared.artworkByPath.insert(track.artworkPath, LibraryIndex::artworkForFile(track.artworkPath));
    song.artwork = *artwork;
    song.playParameters = PlayParameters{song.id, QStringLiteral("song")};
    return song;
}

// Puts updated items (nothing: removed) in place of those with their identifiers, keeping the list
// sorted by identifier.
template <typename T>
void applyByID(QList<T> &items, const QHash<MusicItemID, std::optional<T>> &updates)
{
    if (updates.isEmpty())
        return;
    items.removeIf([&updates](const T &item) { return updates.contains(item.id); });
    const qsizetype kept = items.size();
    for (auto it = updates.cbegin(); it != updates.cend(); ++it) {
        if (it.value())
            items.append(*it.value());
    }
    std::sort(items.begin() + kept, items.end(), [](const T &a, const T &b) { return a.id < b.id; });
    std::inplace_merge(items.begin(), items.begin() + kept, items.end(), [](const T &a, const T &b) { return a.id < b.id; });
}

} // namespace

// Normalising and hashing a name is the costly part of grouping: once per distinct text.
class LibraryNames {
public:
    const QString &key(const QString &name)
    {
        auto known = m_keys.constFind(name);
        if (known == m_keys.constEnd())
            known = m_keys.insert(name, LocalIdentifiers::nameKey(name));
        return *known;
    }
    MusicItemID artist(const QString &name)
    {
        auto known = m_artists.constFind(name);
        if (known == m_artists.constEnd())
            known = m_artists.insert(name, LocalIdentifiers::make(LocalIdentifiers::artist, key(name)));
        return *known;
    }
    // The album a song with an album title is on.
    MusicItemID album(const Song &song)
    {
        const QString artist = albumArtistOf(song);
        const QString title = song.albumTitle.value_or(QString());
        const QString text = artist + u'\x1f' + title;
        auto known = m_albums.constFind(text);
        if (known == m_albums.constEnd())
            known = m_albums.insert(text, LocalIdentifiers::make(LocalIdentifiers::album, key(artist) + u'\x1f' + key(title)));
        return *known;
    }
    // Whether a song counts for its album artist as well as for its artist.
    bool hasOtherAlbumArtist(const Song &song)
    {
        return song.albumArtistName && key(*song.albumArtistName) != key(song.artistName.value_or(QString()));
    }

private:
    QHash<QString, QString> m_keys;
    QHash<QString, MusicItemID> m_artists;
    QHash<QString, MusicItemID> m_albums;
};

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
    const QList<MusicItemID> trackIDs = QtConcurrent::blockingMapped<QList<MusicItemID>>(scan.tracks, &songIDOf);
    SharedSongParts shared;
    m_songs.reserve(scan.tracks.size());
    for (qsizetype i = 0; i < scan.tracks.size(); ++i) {
        const ScannedTrack &track = scan.tracks[i];
        m_paths.insert(trackIDs[i], fileOf(track));
        m_songs.append(songOf(track, trackIDs[i], shared));
    }
    sortByID(m_songs);
    rebuildSongIndex();

    // The songs in the scan's order (by path): the first of a group names it.
    std::vector<const Song *> inScanOrder;
    inScanOrder.reserve(size_t(trackIDs.size()));
    for (const MusicItemID &id : trackIDs)
        inScanOrder.push_back(song(id));

    // Albums and artists only read the songs: they are grouped side by side.
    QFuture<void> artists = QtConcurrent::run([this, &inScanOrder] {
        LibraryNames names;
        QHash<MusicItemID, std::vector<const Song *>> songsByArtist;
        QList<MusicItemID> order;
        for (const Song *member : inScanOrder) {
            if (!member->artistName)
                continue;
            auto &members = songsByArtist[names.artist(*member->artistName)];
            if (members.empty())
                order.append(names.artist(*member->artistName));
            members.push_back(member);
        }
        for (const Song *member : inScanOrder) {
            if (!names.hasOtherAlbumArtist(*member))
                continue;
            const auto found = songsByArtist.find(names.artist(*member->albumArtistName));
            if (found != songsByArtist.end())
                found->push_back(member);
        }
        for (const MusicItemID &id : std::as_const(order)) {
            const std::vector<const Song *> &members = songsByArtist[id];
            QList<MusicItemID> songIDs;
            m_artists.append(makeArtist(id, *members.front()->artistName, members, names, songIDs));
            m_artistSongs.insert(id, songIDs);
        }
        sortByID(m_artists);
        for (qsizetype i = 0; i < m_artists.size(); ++i)
            m_artistIndex.insert(m_artists[i].id, i);
    });
    {
        LibraryNames names;
        QHash<MusicItemID, std::vector<const Song *>> songsByAlbum;
        QList<MusicItemID> order;
        for (const Song *member : inScanOrder) {
            if (!member->albumTitle)
                continue;
            auto &members = songsByAlbum[names.album(*member)];
            if (members.empty())
                order.append(names.album(*member));
            members.push_back(member);
        }
        for (const MusicItemID &id : std::as_const(order)) {
            QList<MusicItemID> songIDs;
            m_albums.append(makeAlbum(id, songsByAlbum[id], songIDs));
            m_albumSongs.insert(id, songIDs);
        }
        sortByID(m_albums);
    }
    artists.waitForFinished();
    if (!scan.playlists.isEmpty()) {
        QHash<QByteArray, MusicItemID> songByFile;
        for (auto it = m_paths.cbegin(); it != m_paths.cend(); ++it)
            songByFile.insert(it.value(), it.key());
        addPlaylists(scan.playlists, songByFile);
    }
    addGenres();
}

LibraryIndex::LibraryIndex(const LibraryIndex &previous, const ScanResult &scan, LibraryChange &change)
    : LibraryIndex(previous)
{
    LibraryNames names;
    // The songs of files read anew replace those of files gone or changed; a changed or moved file
    // keeps its identity, so its song is in both.
    QSet<MusicItemID> gone;
    for (const QByteArray &identity : scan.goneIdentities)
        gone.insert(LocalIdentifiers::songID(identity));
    for (const MusicItemID &id : std::as_const(gone))
        m_paths.remove(id);
    QList<Song> added;
    added.reserve(scan.readTracks.size());
    QSet<MusicItemID> replaced = gone;
    SharedSongParts shared;
    for (const qsizetype index : scan.readTracks) {
        const ScannedTrack &track = scan.tracks[index];
        const MusicItemID id = songIDOf(track);
        m_paths.insert(id, fileOf(track));
        added.append(songOf(track, id, shared));
        replaced.insert(id);
    }
    if (replaced.isEmpty()) {
        updatePlaylists(previous, scan.playlists, change);
        return;
    }

    // The groups the songs leave or join.
    QHash<MusicItemID, QList<MusicItemID>> addedByAlbum, addedByArtist;
    QSet<MusicItemID> albums, artists;
    const auto noteGroups = [&](const Song &song, bool joins) {
        if (song.albumTitle) {
            const MusicItemID album = names.album(song);
            albums.insert(album);
            if (joins)
                addedByAlbum[album].append(song.id);
        }
        if (song.artistName) {
            const MusicItemID artist = names.artist(*song.artistName);
            artists.insert(artist);
            if (joins)
                addedByArtist[artist].append(song.id);
        }
        if (names.hasOtherAlbumArtist(song)) {
            const MusicItemID artist = names.artist(*song.albumArtistName);
            artists.insert(artist);
            if (joins)
                addedByArtist[artist].append(song.id);
        }
    };
    for (const MusicItemID &id : std::as_const(gone)) {
        if (const Song *old = previous.song(id))
            noteGroups(*old, false);
    }
    for (const Song &song : std::as_const(added))
        noteGroups(song, true);
    // Groups with nothing of their own to add still need an entry to be looked at.
    for (const MusicItemID &id : std::as_const(albums))
        addedByAlbum[id];
    for (const MusicItemID &id : std::as_const(artists))
        addedByArtist[id];

    QHash<MusicItemID, std::optional<Song>> songUpdates;
    for (const MusicItemID &id : std::as_const(gone))
        songUpdates.insert(id, std::nullopt);
    for (const Song &song : std::as_const(added))
        songUpdates.insert(song.id, song);
    applyByID(m_songs, songUpdates);
    rebuildSongIndex();
    change.songs = added;
    for (const MusicItemID &id : std::as_const(gone)) {
        if (!m_songIndex.contains(id) && previous.song(id))
            change.removedSongs.append(id);
    }

    updateAlbums(previous, replaced, addedByAlbum, change);
    updateArtists(previous, replaced, addedByArtist, names, change);
    updatePlaylists(previous, scan.playlists, change);
    m_genres.clear();
    addGenres();
}

void LibraryIndex::rebuildSongIndex()
{
    m_songIndex.clear();
    m_songIndex.reserve(m_songs.size());
    for (qsizetype i = 0; i < m_songs.size(); ++i)
        m_songIndex.insert(m_songs[i].id, i);
}

Album LibraryIndex::makeAlbum(const MusicItemID &id, std::vector<const Song *> songs, QList<MusicItemID> &songIDs) const
{
    QStringList genres;
    Album album;
    album.id = id;
    album.title = songs.front()->albumTitle.value_or(QString());
    album.artistName = optionalText(albumArtistOf(*songs.front()));
    for (const Song *member : songs) {
        genres.append(member->genreNames.value(0));
        if (member->releaseDate && (!album.releaseDate || *member->releaseDate < *album.releaseDate))
            album.releaseDate = member->releaseDate;
        // An album was added when its newest song was.
        if (!album.libraryAddedDate || (member->libraryAddedDate && *member->libraryAddedDate > *album.libraryAddedDate))
            album.libraryAddedDate = member->libraryAddedDate;
    }
    // Sorted as pointers: a Song is too large to move around.
    std::sort(songs.begin(), songs.end(), [](const Song *a, const Song *b) { return inAlbumOrder(*a, *b); });
    songIDs.clear();
    songIDs.reserve(qsizetype(songs.size()));
    for (const Song *member : songs)
        songIDs.append(member->id);
    album.genreNames = byFrequency(genres);
    album.trackCount = int(songIDs.size());
    album.artwork = firstArtwork(songIDs);
    album.playParameters = PlayParameters{id, QStringLiteral("album")};
    return album;
}

Artist LibraryIndex::makeArtist(const MusicItemID &id, const QString &name, const std::vector<const Song *> &songs,
                                LibraryNames &names, QList<MusicItemID> &songIDs) const
{
    // Artists are the songs' artists (a compilation's "Various Artists" is none). An artist's songs
    // are those by the artist and those on the artist's albums (a song by "Santana feat. Rob
    // Thomas" on a Santana album is Santana's too), as the store lists them: by album title (songs
    // without an album last), then in album order. Each album's key is made once.
    struct Member {
        QString albumKey;
        const Song *song;
    };
    std::vector<Member> members;
    members.reserve(songs.size());
    QStringList genres;
    for (const Song *member : songs) {
        members.push_back({names.key(member->albumTitle.value_or(QString())), member});
        genres.append(member->genreNames.value(0));
    }
    std::sort(members.begin(), members.end(), [](const Member &a, const Member &b) {
        if (a.albumKey != b.albumKey) {
            if (a.albumKey.isEmpty() || b.albumKey.isEmpty())
                return b.albumKey.isEmpty();
            return a.albumKey < b.albumKey;
        }
        return inAlbumOrder(*a.song, *b.song);
    });
    songIDs.clear();
    songIDs.reserve(qsizetype(members.size()));
    for (const Member &m : members)
        songIDs.append(m.song->id);
    Artist artist;
    artist.id = id;
    artist.name = name;
    artist.genreNames = byFrequency(genres);
    artist.artwork = firstArtwork(songIDs);
    return artist;
}

void LibraryIndex::updateAlbums(const LibraryIndex &previous, const QSet<MusicItemID> &replaced,
                                const QHash<MusicItemID, QList<MusicItemID>> &addedByAlbum, LibraryChange &change)
{
    QHash<MusicItemID, std::optional<Album>> updates;
    for (auto it = addedByAlbum.cbegin(); it != addedByAlbum.cend(); ++it) {
        const MusicItemID &id = it.key();
        std::vector<const Song *> members;
        for (const MusicItemID &songID : previous.m_albumSongs.value(id)) {
            if (!replaced.contains(songID))
                members.push_back(song(songID));
        }
        for (const MusicItemID &songID : it.value())
            members.push_back(song(songID));
        const bool existed = previous.m_albumSongs.contains(id);
        if (members.empty()) {
            m_albumSongs.remove(id);
            if (existed) {
                updates.insert(id, std::nullopt);
                change.removedAlbums.append(id);
            }
            continue;
        }
        QList<MusicItemID> songIDs;
        Album album = makeAlbum(id, members, songIDs);
        m_albumSongs.insert(id, songIDs);
        change.albums.append(album);
        updates.insert(id, std::move(album));
    }
    applyByID(m_albums, updates);
}

void LibraryIndex::updateArtists(const LibraryIndex &previous, const QSet<MusicItemID> &replaced,
                                 const QHash<MusicItemID, QList<MusicItemID>> &addedByArtist, LibraryNames &names,
                                 LibraryChange &change)
{
    QHash<MusicItemID, std::optional<Artist>> updates;
    for (auto it = addedByArtist.cbegin(); it != addedByArtist.cend(); ++it) {
        const MusicItemID &id = it.key();
        QSet<MusicItemID> memberIDs;
        for (const MusicItemID &songID : previous.m_artistSongs.value(id)) {
            if (!replaced.contains(songID))
                memberIDs.insert(songID);
        }
        for (const MusicItemID &songID : it.value())
            memberIDs.insert(songID);
        // An artist is there while a song of its own is: songs on its albums alone do not make it.
        const Artist *existing = previous.artist(id);
        QString name = existing ? existing->name : QString();
        bool hasOwnSong = false;
        for (const MusicItemID &songID : std::as_const(memberIDs)) {
            const Song *member = song(songID);
            if (member->artistName && names.artist(*member->artistName) == id) {
                hasOwnSong = true;
                if (name.isEmpty())
                    name = *member->artistName;
            }
        }
        if (!hasOwnSong) {
            m_artistSongs.remove(id);
            if (existing) {
                updates.insert(id, std::nullopt);
                change.removedArtists.append(id);
            }
            continue;
        }
        if (!existing) {
            // A new artist takes the songs already on its albums.
            for (const Song &other : std::as_const(m_songs)) {
                if (names.hasOtherAlbumArtist(other) && names.artist(*other.albumArtistName) == id)
                    memberIDs.insert(other.id);
            }
        }
        std::vector<const Song *> members;
        members.reserve(size_t(memberIDs.size()));
        for (const MusicItemID &songID : std::as_const(memberIDs))
            members.push_back(song(songID));
        QList<MusicItemID> songIDs;
        Artist artist = makeArtist(id, name, members, names, songIDs);
        m_artistSongs.insert(id, songIDs);
        change.artists.append(artist);
        updates.insert(id, std::move(artist));
    }
    applyByID(m_artists, updates);
    m_artistIndex.clear();
    for (qsizetype i = 0; i < m_artists.size(); ++i)
        m_artistIndex.insert(m_artists[i].id, i);
}

void LibraryIndex::updatePlaylists(const LibraryIndex &previous, const QList<ScannedPlaylist> &playlists,
                                   LibraryChange &change)
{
    m_playlists.clear();
    m_playlistSongs.clear();
    if (!playlists.isEmpty()) {
        QHash<QByteArray, MusicItemID> songByFile;
        songByFile.reserve(m_paths.size());
        for (auto it = m_paths.cbegin(); it != m_paths.cend(); ++it)
            songByFile.insert(it.value(), it.key());
        addPlaylists(playlists, songByFile);
    }
    QHash<MusicItemID, const Playlist *> before;
    for (const Playlist &playlist : previous.m_playlists)
        before.insert(playlist.id, &playlist);
    for (const Playlist &playlist : std::as_const(m_playlists)) {
        const Playlist *old = before.take(playlist.id);
        if (!old || *old != playlist || previous.m_playlistSongs.value(playlist.id) != m_playlistSongs.value(playlist.id))
            change.playlists.append(playlist);
    }
    for (auto it = before.cbegin(); it != before.cend(); ++it)
        change.removedPlaylists.append(it.key());
}

void LibraryIndex::addPlaylists(const QList<ScannedPlaylist> &playlists, const QHash<QByteArray, MusicItemID> &songByFile)
{
    for (const ScannedPlaylist &scanned : playlists) {
        QList<MusicItemID> songIDs;
        for (const QByteArray &file : scanned.trackPaths) {
            const auto found = songByFile.constFind(file);
            if (found == songByFile.constEnd()) {
                Log::notice(Log::collection(), "Playlist %@: skipping %@, not a readable song of the library",
                            scanned.path, QString::fromUtf8(file));
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
    QHash<QString, qsizetype> genreByName;
    QHash<QString, qsizetype> genreByKey;
    for (const Song &song : std::as_const(m_songs)) {
        for (const QString &name : song.genreNames) {
            auto found = genreByName.constFind(name);
            if (found == genreByName.constEnd()) {
                const QString key = LocalIdentifiers::nameKey(name);
                auto byKey = genreByKey.constFind(key);
                if (byKey == genreByKey.constEnd()) {
                    byKey = genreByKey.insert(key, m_genres.size());
                    m_genres.append(Genre{name, {}});
                }
                found = genreByName.insert(name, *byKey);
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

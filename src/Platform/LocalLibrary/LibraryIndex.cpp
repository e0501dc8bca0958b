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
template <typename Stored>
const QString &albumArtistOf(const Stored &song)
{
    return song.albumArtistName.isEmpty() ? song.artistName : song.albumArtistName;
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

template <typename List>
void sortByID(List &items)
{
    std::sort(items.begin(), items.end(), [](const auto &a, const auto &b) { return a.id < b.id; });
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

qint64 millisecondsOf(const std::optional<QDateTime> &date, qint64 none)
{
    return date && date->isValid() ? date->toMSecsSinceEpoch() : none;
}

std::optional<QDateTime> dateOf(qint64 milliseconds, qint64 none)
{
    return milliseconds == none ? std::nullopt : std::optional(QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC));
}

std::optional<int> numberOf(int number, int none) { return number == none ? std::nullopt : std::optional(number); }

// Puts updated items (nothing: removed) in place of those with their identifiers, keeping the list
// sorted by identifier.
template <typename List, typename T>
void applyByID(List &items, const QHash<MusicItemID, std::optional<T>> &updates)
{
    if (updates.isEmpty())
        return;
    items.erase(std::remove_if(items.begin(), items.end(), [&updates](const T &item) { return updates.contains(item.id); }),
                items.end());
    const auto kept = items.size();
    for (auto it = updates.cbegin(); it != updates.cend(); ++it) {
        if (it.value())
            items.push_back(*it.value());
    }
    const auto byID = [](const T &a, const T &b) { return a.id < b.id; };
    std::sort(items.begin() + kept, items.end(), byID);
    std::inplace_merge(items.begin(), items.begin() + kept, items.end(), byID);
}

} // namespace

// Normalising and hashing a name is the costly part of grouping: once per distinct text.
class LibraryNames {
public:
    // A copy, not a reference into the table: the next call may grow it and move its entries.
    QString key(const QString &name)
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
    // The album of a song with an album title, filed under artist.
    MusicItemID album(const QString &artist, const QString &title)
    {
        const QString text = artist + u'\x1f' + title;
        auto known = m_albums.constFind(text);
        if (known == m_albums.constEnd())
            known = m_albums.insert(text, LocalIdentifiers::make(LocalIdentifiers::album, key(artist) + u'\x1f' + key(title)));
        return *known;
    }
    // Whether a song counts for its album artist as well as for its artist.
    bool hasOtherAlbumArtist(const QString &albumArtist, const QString &artist)
    {
        return !albumArtist.isEmpty() && key(albumArtist) != key(artist);
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

LibraryIndex::StoredSong LibraryIndex::storedOf(const ScannedTrack &track, const MusicItemID &id,
                                                QHash<QString, QString> &artworkURLs)
{
    StoredSong stored;
    stored.id = id;
    stored.title = pack(track.title.toUtf8());
    stored.artistName = track.artist;
    stored.albumTitle = track.album;
    stored.albumArtistName = track.albumArtist;
    stored.genre = track.genre;
    if (!track.artworkPath.isEmpty()) {
        auto url = artworkURLs.constFind(track.artworkPath);
        if (url == artworkURLs.cend())
            url = artworkURLs.insert(track.artworkPath, artworkForFile(track.artworkPath)->urlTemplate());
        stored.artworkURL = *url;
    }
    stored.file = pack(fileOf(track));
    stored.duration = track.duration;
    stored.releaseDate = millisecondsOf(track.releaseDate, StoredSong::noDate);
    stored.addedDate = millisecondsOf(track.modified, StoredSong::noDate);
    stored.trackNumber = track.trackNumber.value_or(StoredSong::noNumber);
    stored.discNumber = track.discNumber.value_or(StoredSong::noNumber);
    return stored;
}

LibraryIndex::PackedText LibraryIndex::pack(QByteArrayView bytes)
{
    Q_ASSERT(quint64(m_texts.size()) + quint64(bytes.size()) <= std::numeric_limits<quint32>::max());
    const PackedText text{quint32(m_texts.size()), quint32(bytes.size())};
    m_texts.append(bytes);
    return text;
}

void LibraryIndex::dropGoneTexts()
{
    qsizetype used = 0;
    for (const StoredSong &song : m_songs)
        used += song.title.size + song.file.size;
    if (used * 2 > m_texts.size())
        return;
    const QByteArray old = std::exchange(m_texts, QByteArray());
    m_texts.reserve(used);
    for (StoredSong &song : m_songs) {
        song.title = pack(QByteArrayView(old.constData() + song.title.offset, qsizetype(song.title.size)));
        song.file = pack(QByteArrayView(old.constData() + song.file.offset, qsizetype(song.file.size)));
    }
}

bool LibraryIndex::inAlbumOrder(const StoredSong &a, const StoredSong &b) const
{
    const auto key = [](const StoredSong &song) {
        return std::make_tuple(song.discNumber == StoredSong::noNumber ? 1 : song.discNumber,
                               song.trackNumber == StoredSong::noNumber ? 0 : song.trackNumber);
    };
    if (key(a) != key(b))
        return key(a) < key(b);
    const int byTitle = QString::compare(titleOf(a), titleOf(b), Qt::CaseInsensitive);
    return byTitle != 0 ? byTitle < 0 : a.id < b.id;
}

Song LibraryIndex::songOf(const StoredSong &stored) const
{
    Song song;
    song.id = stored.id;
    song.title = titleOf(stored);
    song.artistName = optionalText(stored.artistName);
    song.albumTitle = optionalText(stored.albumTitle);
    song.albumArtistName = optionalText(stored.albumArtistName);
    if (!stored.genre.isEmpty())
        song.genreNames = QStringList{stored.genre};
    song.duration = stored.duration;
    song.releaseDate = dateOf(stored.releaseDate, StoredSong::noDate);
    song.libraryAddedDate = dateOf(stored.addedDate, StoredSong::noDate);
    song.trackNumber = numberOf(stored.trackNumber, StoredSong::noNumber);
    song.discNumber = numberOf(stored.discNumber, StoredSong::noNumber);
    if (!stored.artworkURL.isEmpty())
        song.artwork = Artwork(stored.artworkURL);
    song.playParameters = PlayParameters{stored.id, QStringLiteral("song")};
    return song;
}

LibraryIndex::LibraryIndex(const ScanResult &scan)
{
    // The songs' identifiers, parallel to scan.tracks. They are digests of the tracks' identities,
    // the costly part of a song, so they are made on every core.
    const QList<MusicItemID> trackIDs = QtConcurrent::blockingMapped<QList<MusicItemID>>(scan.tracks, &songIDOf);
    QHash<QString, QString> artworkURLs;
    m_songs.reserve(size_t(scan.tracks.size()));
    for (qsizetype i = 0; i < scan.tracks.size(); ++i)
        m_songs.push_back(storedOf(scan.tracks[i], trackIDs[i], artworkURLs));
    m_texts.squeeze();
    sortByID(m_songs);

    // The songs in the scan's order (by path): the first of a group names it.
    SongRefs inScanOrder;
    inScanOrder.reserve(size_t(trackIDs.size()));
    for (const MusicItemID &id : trackIDs)
        inScanOrder.push_back(find(id));

    // Albums and artists only read the songs: they are grouped side by side.
    QFuture<void> artists = QtConcurrent::run([this, &inScanOrder] {
        LibraryNames names;
        QHash<MusicItemID, SongRefs> songsByArtist;
        QList<MusicItemID> order;
        for (const StoredSong *member : inScanOrder) {
            if (member->artistName.isEmpty())
                continue;
            auto &members = songsByArtist[names.artist(member->artistName)];
            if (members.empty())
                order.append(names.artist(member->artistName));
            members.push_back(member);
        }
        for (const StoredSong *member : inScanOrder) {
            if (!names.hasOtherAlbumArtist(member->albumArtistName, member->artistName))
                continue;
            const auto found = songsByArtist.find(names.artist(member->albumArtistName));
            if (found != songsByArtist.end())
                found->push_back(member);
        }
        for (const MusicItemID &id : std::as_const(order)) {
            const SongRefs &members = songsByArtist[id];
            QList<MusicItemID> songIDs;
            m_artists.append(makeArtist(id, members.front()->artistName, members, names, songIDs));
            m_artistSongs.insert(id, songIDs);
        }
        sortByID(m_artists);
        for (qsizetype i = 0; i < m_artists.size(); ++i)
            m_artistIndex.insert(m_artists[i].id, i);
    });
    {
        LibraryNames names;
        QHash<MusicItemID, SongRefs> songsByAlbum;
        QList<MusicItemID> order;
        for (const StoredSong *member : inScanOrder) {
            if (member->albumTitle.isEmpty())
                continue;
            const MusicItemID album = names.album(albumArtistOf(*member), member->albumTitle);
            auto &members = songsByAlbum[album];
            if (members.empty())
                order.append(album);
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
    if (!scan.playlists.isEmpty())
        addPlaylists(scan.playlists, songsByFile());
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
    std::vector<StoredSong> added;
    added.reserve(size_t(scan.readTracks.size()));
    QSet<MusicItemID> replaced = gone;
    QHash<QString, QString> artworkURLs;
    for (const qsizetype index : scan.readTracks) {
        const ScannedTrack &track = scan.tracks[index];
        added.push_back(storedOf(track, songIDOf(track), artworkURLs));
        replaced.insert(added.back().id);
    }
    if (replaced.isEmpty()) {
        updatePlaylists(previous, scan.playlists, change);
        return;
    }

    // The groups the songs leave or join.
    QHash<MusicItemID, QList<MusicItemID>> addedByAlbum, addedByArtist;
    QSet<MusicItemID> albums, artists;
    const auto noteGroups = [&](const StoredSong &song, bool joins) {
        if (!song.albumTitle.isEmpty()) {
            const MusicItemID album = names.album(albumArtistOf(song), song.albumTitle);
            albums.insert(album);
            if (joins)
                addedByAlbum[album].append(song.id);
        }
        if (!song.artistName.isEmpty()) {
            const MusicItemID artist = names.artist(song.artistName);
            artists.insert(artist);
            if (joins)
                addedByArtist[artist].append(song.id);
        }
        if (names.hasOtherAlbumArtist(song.albumArtistName, song.artistName)) {
            const MusicItemID artist = names.artist(song.albumArtistName);
            artists.insert(artist);
            if (joins)
                addedByArtist[artist].append(song.id);
        }
    };
    for (const MusicItemID &id : std::as_const(gone)) {
        if (const StoredSong *old = previous.find(id))
            noteGroups(*old, false);
    }
    for (const StoredSong &song : added)
        noteGroups(song, true);
    // Groups with nothing of their own to add still need an entry to be looked at.
    for (const MusicItemID &id : std::as_const(albums))
        addedByAlbum[id];
    for (const MusicItemID &id : std::as_const(artists))
        addedByArtist[id];

    QHash<MusicItemID, std::optional<StoredSong>> songUpdates;
    for (const MusicItemID &id : std::as_const(gone))
        songUpdates.insert(id, std::nullopt);
    for (const StoredSong &song : added) {
        change.songs.append(songOf(song));
        songUpdates.insert(song.id, song);
    }
    applyByID(m_songs, songUpdates);
    dropGoneTexts();
    for (const MusicItemID &id : std::as_const(gone)) {
        if (!find(id) && previous.find(id))
            change.removedSongs.append(id);
    }

    updateAlbums(previous, replaced, addedByAlbum, change);
    updateArtists(previous, replaced, addedByArtist, names, change);
    updatePlaylists(previous, scan.playlists, change);
    m_genres.clear();
    addGenres();
}

Album LibraryIndex::makeAlbum(const MusicItemID &id, SongRefs songs, QList<MusicItemID> &songIDs) const
{
    QStringList genres;
    qint64 released = StoredSong::noDate;
    qint64 added = StoredSong::noDate;
    for (const StoredSong *member : songs) {
        genres.append(member->genre);
        if (member->releaseDate != StoredSong::noDate && (released == StoredSong::noDate || member->releaseDate < released))
            released = member->releaseDate;
        // An album was added when its newest song was.
        added = std::max(added, member->addedDate);
    }
    Album album;
    album.id = id;
    album.title = songs.front()->albumTitle;
    album.artistName = optionalText(albumArtistOf(*songs.front()));
    album.releaseDate = dateOf(released, StoredSong::noDate);
    album.libraryAddedDate = dateOf(added, StoredSong::noDate);
    std::sort(songs.begin(), songs.end(), [this](const StoredSong *a, const StoredSong *b) { return inAlbumOrder(*a, *b); });
    songIDs.clear();
    songIDs.reserve(qsizetype(songs.size()));
    for (const StoredSong *member : songs)
        songIDs.append(member->id);
    album.genreNames = byFrequency(genres);
    album.trackCount = int(songIDs.size());
    album.artwork = firstArtwork(songIDs);
    album.playParameters = PlayParameters{id, QStringLiteral("album")};
    return album;
}

Artist LibraryIndex::makeArtist(const MusicItemID &id, const QString &name, const SongRefs &songs, LibraryNames &names,
                                QList<MusicItemID> &songIDs) const
{
    // Artists are the songs' artists (a compilation's "Various Artists" is none). An artist's songs
    // are those by the artist and those on the artist's albums (a song by "Santana feat. Rob
    // Thomas" on a Santana album is Santana's too), as the store lists them: by album title (songs
    // without an album last), then in album order. Each album's key is made once.
    struct Member {
        QString albumKey;
        const StoredSong *song;
    };
    std::vector<Member> members;
    members.reserve(songs.size());
    QStringList genres;
    for (const StoredSong *member : songs) {
        members.push_back({names.key(member->albumTitle), member});
        genres.append(member->genre);
    }
    std::sort(members.begin(), members.end(), [this](const Member &a, const Member &b) {
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
        SongRefs members;
        for (const MusicItemID &songID : previous.m_albumSongs.value(id)) {
            if (!replaced.contains(songID))
                members.push_back(find(songID));
        }
        for (const MusicItemID &songID : it.value())
            members.push_back(find(songID));
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
            const StoredSong *member = find(songID);
            if (!member->artistName.isEmpty() && names.artist(member->artistName) == id) {
                hasOwnSong = true;
                if (name.isEmpty())
                    name = member->artistName;
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
            for (const StoredSong &other : m_songs) {
                if (names.hasOtherAlbumArtist(other.albumArtistName, other.artistName)
                    && names.artist(other.albumArtistName) == id)
                    memberIDs.insert(other.id);
            }
        }
        SongRefs members;
        members.reserve(size_t(memberIDs.size()));
        for (const MusicItemID &songID : std::as_const(memberIDs))
            members.push_back(find(songID));
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

QHash<QByteArray, MusicItemID> LibraryIndex::songsByFile() const
{
    QHash<QByteArray, MusicItemID> songs;
    songs.reserve(qsizetype(m_songs.size()));
    for (const StoredSong &song : m_songs)
        songs.insert(unpacked(song.file).toByteArray(), song.id);
    return songs;
}

void LibraryIndex::updatePlaylists(const LibraryIndex &previous, const QList<ScannedPlaylist> &playlists,
                                   LibraryChange &change)
{
    m_playlists.clear();
    m_playlistSongs.clear();
    if (!playlists.isEmpty())
        addPlaylists(playlists, songsByFile());
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
    for (const StoredSong &song : m_songs) {
        if (song.genre.isEmpty())
            continue;
        auto found = genreByName.constFind(song.genre);
        if (found == genreByName.constEnd()) {
            const QString key = LocalIdentifiers::nameKey(song.genre);
            auto byKey = genreByKey.constFind(key);
            if (byKey == genreByKey.constEnd()) {
                byKey = genreByKey.insert(key, m_genres.size());
                m_genres.append(Genre{song.genre, {}});
            }
            found = genreByName.insert(song.genre, *byKey);
        }
        m_genres[*found].songIDs.append(song.id);
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
        if (const StoredSong *s = find(id); s && !s->artworkURL.isEmpty())
            return Artwork(s->artworkURL);
    }
    return std::nullopt;
}

const LibraryIndex::StoredSong *LibraryIndex::find(const MusicItemID &id) const
{
    const auto found = std::lower_bound(m_songs.begin(), m_songs.end(), id,
                                        [](const StoredSong &song, const MusicItemID &key) { return song.id < key; });
    return found != m_songs.end() && found->id == id ? &*found : nullptr;
}

std::optional<Song> LibraryIndex::song(const MusicItemID &id) const
{
    if (const StoredSong *stored = find(id))
        return songOf(*stored);
    return std::nullopt;
}

QByteArray LibraryIndex::filePath(const MusicItemID &songID) const
{
    const StoredSong *stored = find(songID);
    return stored ? unpacked(stored->file).toByteArray() : QByteArray();
}

QList<MusicItemID> LibraryIndex::newestSongIDs(qsizetype count, const std::optional<QDateTime> &since) const
{
    const qint64 from = since ? millisecondsOf(since, StoredSong::noDate) : StoredSong::noDate;
    std::vector<const StoredSong *> newest;
    for (const StoredSong &song : m_songs) {
        if (!since || (song.addedDate != StoredSong::noDate && song.addedDate >= from))
            newest.push_back(&song);
    }
    const auto newer = [](const StoredSong *a, const StoredSong *b) {
        return a->addedDate != b->addedDate ? a->addedDate > b->addedDate : a->id < b->id;
    };
    const size_t kept = count < 0 ? newest.size() : std::min(newest.size(), size_t(count));
    std::partial_sort(newest.begin(), newest.begin() + qsizetype(kept), newest.end(), newer);
    QList<MusicItemID> ids;
    ids.reserve(qsizetype(kept));
    for (size_t i = 0; i < kept; ++i)
        ids.append(newest[i]->id);
    return ids;
}

const Artist *LibraryIndex::artist(const MusicItemID &id) const
{
    const auto found = m_artistIndex.constFind(id);
    return found == m_artistIndex.constEnd() ? nullptr : &m_artists[*found];
}

QList<Song> LibraryIndex::songs(qsizetype offset, qsizetype limit) const
{
    const qsizetype size = songCount();
    const qsizetype first = std::clamp<qsizetype>(offset, 0, size);
    const qsizetype last = limit < 0 ? size : std::min(size, first + limit);
    QList<Song> result;
    result.reserve(last - first);
    for (qsizetype i = first; i < last; ++i)
        result.append(songOf(m_songs[size_t(i)]));
    return result;
}

QList<Song> LibraryIndex::songs(const QList<MusicItemID> &ids) const
{
    QList<Song> result;
    result.reserve(ids.size());
    for (const MusicItemID &id : ids) {
        if (const StoredSong *stored = find(id))
            result.append(songOf(*stored));
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

#include "Platform/LocalLibrary/LibraryIndex.h"

#include "Platform/LocalLibrary/LocalIdentifiers.h"
#include "Platform/Music/LibraryChange.h"
#include "Support/Log.h"
#include "Support/PoolJobs.h"
#include "Support/WorkerPools.h"

#include <QUrl>
#include <algorithm>

namespace {

// A hash key over bytes held elsewhere, made without a copy.
QByteArray rawKey(QByteArrayView bytes) { return QByteArray::fromRawData(bytes.data(), bytes.size()); }

std::optional<QString> optionalText(const QString &text)
{
    return text.isEmpty() ? std::nullopt : std::optional<QString>(text);
}

quint64 songDigestOf(const ScannedTrack &track) { return LocalIdentifiers::songDigest(track.identity); }

qint64 millisecondsOf(const std::optional<QDateTime> &date, qint64 none)
{
    return date && date->isValid() ? date->toMSecsSinceEpoch() : none;
}

std::optional<QDateTime> dateOf(qint64 milliseconds, qint64 none)
{
    return milliseconds == none ? std::nullopt : std::optional(QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC));
}

std::optional<int> numberOf(int number, int none) { return number == none ? std::nullopt : std::optional(number); }

template <typename Stored>
const Stored *findByID(const std::vector<Stored> &items, quint64 id)
{
    const auto found = std::lower_bound(items.begin(), items.end(), id, [](const Stored &item, quint64 key) { return item.id < key; });
    return found != items.end() && found->id == id ? &*found : nullptr;
}

template <typename Stored>
void sortByID(std::vector<Stored> &items)
{
    std::sort(items.begin(), items.end(), [](const Stored &a, const Stored &b) { return a.id < b.id; });
}

// Takes out the items of the identifiers given and puts in their replacements, keeping the list
// sorted by identifier.
template <typename Stored>
void applyByID(std::vector<Stored> &items, const QSet<quint64> &out, std::vector<Stored> in)
{
    if (out.isEmpty() && in.empty())
        return;
    items.erase(std::remove_if(items.begin(), items.end(), [&out](const Stored &item) { return out.contains(item.id); }),
                items.end());
    const auto kept = qsizetype(items.size());
    sortByID(in);
    items.insert(items.end(), std::make_move_iterator(in.begin()), std::make_move_iterator(in.end()));
    const auto byID = [](const Stored &a, const Stored &b) { return a.id < b.id; };
    std::inplace_merge(items.begin(), items.begin() + kept, items.end(), byID);
}

} // namespace

// Normalising and hashing a name is the costly part of grouping: once per distinct text. Names
// are the UTF-8 bytes the index holds, compared by content.
class LibraryNames {
public:
    // A copy, not a reference into the table: the next call may grow it and move its entries.
    QString key(QByteArrayView name)
    {
        auto known = m_keys.constFind(rawKey(name));
        if (known == m_keys.constEnd())
            known = m_keys.insert(name.toByteArray(), LocalIdentifiers::nameKey(QString::fromUtf8(name)));
        return *known;
    }
    quint64 artist(QByteArrayView name)
    {
        auto known = m_artists.constFind(rawKey(name));
        if (known == m_artists.constEnd())
            known = m_artists.insert(name.toByteArray(), LocalIdentifiers::digest(key(name)));
        return *known;
    }
    // The album of a song with an album title, filed under artist.
    quint64 album(QByteArrayView artist, QByteArrayView title)
    {
        m_albumText.resize(0);
        m_albumText.append(artist).append('\x1f').append(title);
        auto known = m_albums.constFind(m_albumText);
        if (known == m_albums.constEnd())
            known = m_albums.insert(QByteArray(m_albumText.constData(), m_albumText.size()),
                                    LocalIdentifiers::digest(key(artist) + u'\x1f' + key(title)));
        return *known;
    }
    // Whether a song counts for its album artist as well as for its artist.
    bool hasOtherAlbumArtist(QByteArrayView albumArtist, QByteArrayView artist)
    {
        return !albumArtist.isEmpty() && key(albumArtist) != key(artist);
    }

private:
    QHash<QByteArray, QString> m_keys;
    QHash<QByteArray, quint64> m_artists;
    QHash<QByteArray, quint64> m_albums;
    QByteArray m_albumText;
};

// Packs texts while songs are made; the repeated ones (artists, albums, genres, artwork) once.
class LibraryIndex::Packer {
public:
    explicit Packer(QByteArray &texts) : m_texts(texts) {}

    Text text(QByteArrayView bytes)
    {
        Q_ASSERT(quint64(m_texts.size()) + quint64(bytes.size()) <= std::numeric_limits<quint32>::max());
        if (bytes.isEmpty())
            return {};
        const Text text{quint32(m_texts.size()), quint32(bytes.size())};
        m_texts.append(bytes);
        return text;
    }
    Text name(const QString &name)
    {
        if (name.isEmpty())
            return {};
        auto known = m_names.constFind(name);
        if (known == m_names.constEnd())
            known = m_names.insert(name, text(name.toUtf8()));
        return *known;
    }
    Text artworkURL(const QString &path)
    {
        if (path.isEmpty())
            return {};
        auto known = m_artworkURLs.constFind(path);
        if (known == m_artworkURLs.constEnd())
            known = m_artworkURLs.insert(path, name(artworkForFile(path)->urlTemplate()));
        return *known;
    }

private:
    QByteArray &m_texts;
    QHash<QString, Text> m_names;
    QHash<QString, Text> m_artworkURLs;
};

std::optional<Artwork> LibraryIndex::artworkForFile(const QString &path)
{
    if (path.isEmpty())
        return std::nullopt;
    return Artwork(QUrl::fromLocalFile(path).toString());
}

LibraryIndex::StoredSong LibraryIndex::storedOf(const ScannedTrack &track, quint64 id, Packer &packer)
{
    StoredSong stored;
    stored.id = id;
    stored.title = packer.text(track.title.toUtf8());
    stored.file = packer.text(track.fileName);
    stored.artistName = packer.name(track.artist);
    stored.albumTitle = packer.name(track.album);
    stored.albumArtistName = packer.name(track.albumArtist);
    stored.genre = packer.name(track.genre);
    stored.artworkURL = packer.artworkURL(track.artworkPath);
    stored.duration = track.duration;
    stored.releaseDate = millisecondsOf(track.releaseDate, StoredSong::noDate);
    stored.addedDate = millisecondsOf(track.modified, StoredSong::noDate);
    stored.trackNumber = track.trackNumber.value_or(StoredSong::noNumber);
    stored.discNumber = track.discNumber.value_or(StoredSong::noNumber);
    return stored;
}

QString LibraryIndex::shared(Text text, QHash<quint32, QString> &names) const
{
    if (text.size == 0)
        return {};
    auto known = names.constFind(text.offset);
    if (known == names.constEnd())
        known = names.insert(text.offset, string(text));
    return *known;
}

QStringList LibraryIndex::namesOf(Run run, QHash<quint32, QString> &names) const
{
    QStringList list;
    list.reserve(run.count);
    for (quint32 i = 0; i < run.count; ++i)
        list.append(shared(m_textLists[run.offset + i], names));
    return list;
}

QList<MusicItemID> LibraryIndex::songIDsOf(Run run) const
{
    QList<MusicItemID> ids;
    ids.reserve(run.count);
    for (quint32 i = 0; i < run.count; ++i)
        ids.append(LocalIdentifiers::fromDigest(LocalIdentifiers::song, m_members[run.offset + i]));
    return ids;
}

QList<Song> LibraryIndex::songsOf(Run run) const
{
    QHash<quint32, QString> names;
    QList<Song> songs;
    songs.reserve(run.count);
    for (quint32 i = 0; i < run.count; ++i) {
        if (const StoredSong *stored = find(m_members[run.offset + i]))
            songs.append(songOf(*stored, names));
    }
    return songs;
}

bool LibraryIndex::inAlbumOrder(const StoredSong &a, const StoredSong &b) const
{
    const auto key = [](const StoredSong &song) {
        return std::make_tuple(song.discNumber == StoredSong::noNumber ? 1 : song.discNumber,
                               song.trackNumber == StoredSong::noNumber ? 0 : song.trackNumber);
    };
    if (key(a) != key(b))
        return key(a) < key(b);
    const int byTitle = QString::compare(string(a.title), string(b.title), Qt::CaseInsensitive);
    return byTitle != 0 ? byTitle < 0 : a.id < b.id;
}

QByteArrayView LibraryIndex::albumArtistOf(const StoredSong &song) const
{
    // The artist an album is filed under: its album artist, else the song's artist.
    return view(song.albumArtistName.size ? song.albumArtistName : song.artistName);
}

Song LibraryIndex::songOf(const StoredSong &stored, QHash<quint32, QString> &names) const
{
    Song song;
    song.id = LocalIdentifiers::fromDigest(LocalIdentifiers::song, stored.id);
    song.title = string(stored.title);
    song.artistName = optionalText(shared(stored.artistName, names));
    song.albumTitle = optionalText(shared(stored.albumTitle, names));
    song.albumArtistName = optionalText(shared(stored.albumArtistName, names));
    if (stored.genre.size)
        song.genreNames = QStringList{shared(stored.genre, names)};
    song.duration = stored.duration;
    song.releaseDate = dateOf(stored.releaseDate, StoredSong::noDate);
    song.libraryAddedDate = dateOf(stored.addedDate, StoredSong::noDate);
    song.trackNumber = numberOf(stored.trackNumber, StoredSong::noNumber);
    song.discNumber = numberOf(stored.discNumber, StoredSong::noNumber);
    if (stored.artworkURL.size)
        song.artwork = Artwork(shared(stored.artworkURL, names));
    song.playParameters = PlayParameters{song.id, QStringLiteral("song")};
    return song;
}

Album LibraryIndex::albumOf(const StoredAlbum &stored, QHash<quint32, QString> &names) const
{
    Album album;
    album.id = LocalIdentifiers::fromDigest(LocalIdentifiers::album, stored.id);
    album.title = shared(stored.title, names);
    album.artistName = optionalText(shared(stored.artistName, names));
    album.genreNames = namesOf(stored.genres, names);
    album.releaseDate = dateOf(stored.releaseDate, StoredSong::noDate);
    album.libraryAddedDate = dateOf(stored.addedDate, StoredSong::noDate);
    album.trackCount = int(stored.songs.count);
    if (stored.artworkURL.size)
        album.artwork = Artwork(shared(stored.artworkURL, names));
    album.playParameters = PlayParameters{album.id, QStringLiteral("album")};
    return album;
}

Artist LibraryIndex::artistOf(const StoredArtist &stored, QHash<quint32, QString> &names) const
{
    Artist artist;
    artist.id = LocalIdentifiers::fromDigest(LocalIdentifiers::artist, stored.id);
    artist.name = shared(stored.name, names);
    artist.genreNames = namesOf(stored.genres, names);
    if (stored.artworkURL.size)
        artist.artwork = Artwork(shared(stored.artworkURL, names));
    return artist;
}

LibraryIndex::LibraryIndex(const ScanResult &scan)
{
    // The songs' identifiers, parallel to scan.tracks. They are digests of the tracks' identities,
    // the costly part of a song, so they are made on every core.
    QList<quint64> trackIDs(scan.tracks.size());
    quint64 *ids = trackIDs.data();
    forEachOnPool(WorkerPools::library(), scan.tracks.size(), [&](qsizetype i) { ids[i] = songDigestOf(scan.tracks[i]); });
    {
        Packer packer(m_texts);
        m_songs.reserve(size_t(scan.tracks.size()));
        for (qsizetype i = 0; i < scan.tracks.size(); ++i)
            m_songs.push_back(storedOf(scan.tracks[i], trackIDs[i], packer));
    }
    m_texts.squeeze();
    sortByID(m_songs);

    // The songs in the scan's order (by path): the first of a group names it.
    SongRefs inScanOrder;
    inScanOrder.reserve(size_t(trackIDs.size()));
    for (const quint64 id : trackIDs)
        inScanOrder.push_back(find(id));

    // Albums and artists only read the songs: they are grouped side by side, each into runs of
    // its own.
    Runs artistRuns;
    const auto groupArtists = [this, &inScanOrder, &artistRuns] {
        LibraryNames names;
        QHash<quint64, SongRefs> songsByArtist;
        std::vector<quint64> order;
        for (const StoredSong *member : inScanOrder) {
            if (!member->artistName.size)
                continue;
            auto &members = songsByArtist[names.artist(view(member->artistName))];
            if (members.empty())
                order.push_back(names.artist(view(member->artistName)));
            members.push_back(member);
        }
        for (const StoredSong *member : inScanOrder) {
            if (!names.hasOtherAlbumArtist(view(member->albumArtistName), view(member->artistName)))
                continue;
            const auto found = songsByArtist.find(names.artist(view(member->albumArtistName)));
            if (found != songsByArtist.end())
                found->push_back(member);
        }
        m_artists.reserve(order.size());
        for (const quint64 id : order) {
            const SongRefs &members = songsByArtist[id];
            m_artists.push_back(makeArtist(id, members.front()->artistName, members, names, artistRuns));
        }
        sortByID(m_artists);
    };
    Runs albumRuns;
    const auto groupAlbums = [this, &inScanOrder, &albumRuns] {
        LibraryNames names;
        QHash<quint64, SongRefs> songsByAlbum;
        std::vector<quint64> order;
        for (const StoredSong *member : inScanOrder) {
            if (!member->albumTitle.size)
                continue;
            const quint64 album = names.album(albumArtistOf(*member), view(member->albumTitle));
            auto &members = songsByAlbum[album];
            if (members.empty())
                order.push_back(album);
            members.push_back(member);
        }
        m_albums.reserve(order.size());
        for (const quint64 id : order)
            m_albums.push_back(makeAlbum(id, songsByAlbum[id], albumRuns));
        sortByID(m_albums);
    };
    forEachOnPool(WorkerPools::library(), 2, [&](qsizetype group) { group == 0 ? groupArtists() : groupAlbums(); });
    adopt(albumRuns, m_albums);
    adopt(artistRuns, m_artists);
    if (!scan.playlists.isEmpty())
        addPlaylists(scan.playlists);
    addGenres();
}

LibraryIndex::LibraryIndex(const LibraryIndex &previous, const ScanResult &scan, LibraryChange &change)
    : LibraryIndex(previous)
{
    // The songs of files read anew replace those of files gone or changed; a changed or moved file
    // keeps its identity, so its song is in both. Texts are only appended until the end, so the
    // previous index's texts stand at the same places in this one's.
    QSet<quint64> gone;
    for (const QByteArray &identity : scan.goneIdentities)
        gone.insert(LocalIdentifiers::songDigest(identity));
    std::vector<StoredSong> added;
    added.reserve(size_t(scan.readTracks.size()));
    QSet<quint64> replaced = gone;
    {
        Packer packer(m_texts);
        for (const qsizetype index : scan.readTracks) {
            const ScannedTrack &track = scan.tracks[index];
            added.push_back(storedOf(track, songDigestOf(track), packer));
            replaced.insert(added.back().id);
        }
    }
    if (!replaced.isEmpty()) {
        // The groups the songs leave or join.
        LibraryNames names;
        QHash<quint64, QList<quint64>> addedByAlbum, addedByArtist;
        QSet<quint64> albums, artists;
        const auto noteGroups = [&](const StoredSong &song, bool joins) {
            if (song.albumTitle.size) {
                const quint64 album = names.album(albumArtistOf(song), view(song.albumTitle));
                albums.insert(album);
                if (joins)
                    addedByAlbum[album].append(song.id);
            }
            if (song.artistName.size) {
                const quint64 artist = names.artist(view(song.artistName));
                artists.insert(artist);
                if (joins)
                    addedByArtist[artist].append(song.id);
            }
            if (names.hasOtherAlbumArtist(view(song.albumArtistName), view(song.artistName))) {
                const quint64 artist = names.artist(view(song.albumArtistName));
                artists.insert(artist);
                if (joins)
                    addedByArtist[artist].append(song.id);
            }
        };
        for (const quint64 id : std::as_const(gone)) {
            if (const StoredSong *old = previous.find(id))
                noteGroups(*old, false);
        }
        for (const StoredSong &song : added)
            noteGroups(song, true);
        // Groups with nothing of their own to add still need an entry to be looked at.
        for (const quint64 id : std::as_const(albums))
            addedByAlbum[id];
        for (const quint64 id : std::as_const(artists))
            addedByArtist[id];

        QHash<quint32, QString> sharedNames;
        for (const StoredSong &song : added)
            change.songs.append(songOf(song, sharedNames));
        applyByID(m_songs, replaced, std::move(added));
        for (const quint64 id : std::as_const(gone)) {
            if (!find(id) && previous.find(id))
                change.removedSongs.append(LocalIdentifiers::fromDigest(LocalIdentifiers::song, id));
        }

        updateAlbums(previous, replaced, addedByAlbum, change);
        updateArtists(previous, replaced, addedByArtist, names, change);
        m_genres.clear();
        addGenres();
    }
    updatePlaylists(previous, scan.playlists, change);
    dropGoneRuns();
    dropGoneTexts();
}

LibraryIndex::Run LibraryIndex::genresOf(const SongRefs &songs, Runs &runs) const
{
    // The songs' genres, most frequent first (ties in first-seen order).
    std::vector<Text> distinct;
    QHash<QByteArray, int> counts;
    for (const StoredSong *member : songs) {
        if (!member->genre.size)
            continue;
        if (counts[rawKey(view(member->genre))]++ == 0)
            distinct.push_back(member->genre);
    }
    std::stable_sort(distinct.begin(), distinct.end(), [this, &counts](Text a, Text b) {
        return counts.value(rawKey(view(a))) > counts.value(rawKey(view(b)));
    });
    const Run run{quint32(runs.texts.size()), quint32(distinct.size())};
    runs.texts.insert(runs.texts.end(), distinct.begin(), distinct.end());
    return run;
}

LibraryIndex::StoredAlbum LibraryIndex::makeAlbum(quint64 id, SongRefs songs, Runs &runs) const
{
    StoredAlbum album;
    album.id = id;
    album.title = songs.front()->albumTitle;
    album.artistName = songs.front()->albumArtistName.size ? songs.front()->albumArtistName : songs.front()->artistName;
    for (const StoredSong *member : songs) {
        if (member->releaseDate != StoredSong::noDate &&
            (album.releaseDate == StoredSong::noDate || member->releaseDate < album.releaseDate))
            album.releaseDate = member->releaseDate;
        // An album was added when its newest song was.
        album.addedDate = std::max(album.addedDate, member->addedDate);
    }
    album.genres = genresOf(songs, runs);
    std::sort(songs.begin(), songs.end(), [this](const StoredSong *a, const StoredSong *b) { return inAlbumOrder(*a, *b); });
    album.artworkURL = firstArtwork(songs);
    album.songs = {quint32(runs.members.size()), quint32(songs.size())};
    for (const StoredSong *member : songs)
        runs.members.push_back(member->id);
    return album;
}

LibraryIndex::StoredArtist LibraryIndex::makeArtist(quint64 id, Text name, const SongRefs &songs, LibraryNames &names,
                                                    Runs &runs) const
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
    for (const StoredSong *member : songs)
        members.push_back({names.key(view(member->albumTitle)), member});
    std::sort(members.begin(), members.end(), [this](const Member &a, const Member &b) {
        if (a.albumKey != b.albumKey) {
            if (a.albumKey.isEmpty() || b.albumKey.isEmpty())
                return b.albumKey.isEmpty();
            return a.albumKey < b.albumKey;
        }
        return inAlbumOrder(*a.song, *b.song);
    });
    StoredArtist artist;
    artist.id = id;
    artist.name = name;
    artist.genres = genresOf(songs, runs);
    artist.songs = {quint32(runs.members.size()), quint32(members.size())};
    for (const Member &m : members) {
        runs.members.push_back(m.song->id);
        if (!artist.artworkURL.size)
            artist.artworkURL = m.song->artworkURL;
    }
    return artist;
}

template <typename Stored>
void LibraryIndex::adopt(Runs &runs, std::vector<Stored> &items)
{
    const auto members = quint32(m_members.size());
    const auto texts = quint32(m_textLists.size());
    for (Stored &item : items) {
        item.songs.offset += members;
        if constexpr (requires { item.genres; })
            item.genres.offset += texts;
    }
    m_members.insert(m_members.end(), runs.members.begin(), runs.members.end());
    m_textLists.insert(m_textLists.end(), runs.texts.begin(), runs.texts.end());
    runs = {};
}

void LibraryIndex::updateAlbums(const LibraryIndex &previous, const QSet<quint64> &replaced,
                                const QHash<quint64, QList<quint64>> &addedByAlbum, LibraryChange &change)
{
    Runs runs;
    std::vector<StoredAlbum> made;
    QSet<quint64> out;
    for (auto it = addedByAlbum.cbegin(); it != addedByAlbum.cend(); ++it) {
        const quint64 id = it.key();
        const StoredAlbum *existing = previous.findAlbum(id);
        SongRefs members;
        if (existing) {
            for (quint32 i = 0; i < existing->songs.count; ++i) {
                const quint64 songID = previous.m_members[existing->songs.offset + i];
                if (!replaced.contains(songID))
                    members.push_back(find(songID));
            }
        }
        for (const quint64 songID : it.value())
            members.push_back(find(songID));
        out.insert(id);
        if (members.empty()) {
            if (existing)
                change.removedAlbums.append(LocalIdentifiers::fromDigest(LocalIdentifiers::album, id));
            continue;
        }
        made.push_back(makeAlbum(id, members, runs));
    }
    adopt(runs, made);
    QHash<quint32, QString> names;
    for (const StoredAlbum &album : made)
        change.albums.append(albumOf(album, names));
    applyByID(m_albums, out, std::move(made));
}

void LibraryIndex::updateArtists(const LibraryIndex &previous, const QSet<quint64> &replaced,
                                 const QHash<quint64, QList<quint64>> &addedByArtist, LibraryNames &names,
                                 LibraryChange &change)
{
    Runs runs;
    std::vector<StoredArtist> made;
    QSet<quint64> out;
    for (auto it = addedByArtist.cbegin(); it != addedByArtist.cend(); ++it) {
        const quint64 id = it.key();
        const StoredArtist *existing = previous.findArtist(id);
        QSet<quint64> memberIDs;
        if (existing) {
            for (quint32 i = 0; i < existing->songs.count; ++i) {
                const quint64 songID = previous.m_members[existing->songs.offset + i];
                if (!replaced.contains(songID))
                    memberIDs.insert(songID);
            }
        }
        for (const quint64 songID : it.value())
            memberIDs.insert(songID);
        out.insert(id);
        // An artist is there while a song of its own is: songs on its albums alone do not make it.
        Text name = existing ? existing->name : Text{};
        bool hasOwnSong = false;
        for (const quint64 songID : std::as_const(memberIDs)) {
            const StoredSong *member = find(songID);
            if (member->artistName.size && names.artist(view(member->artistName)) == id) {
                hasOwnSong = true;
                if (!name.size)
                    name = member->artistName;
            }
        }
        if (!hasOwnSong) {
            if (existing)
                change.removedArtists.append(LocalIdentifiers::fromDigest(LocalIdentifiers::artist, id));
            continue;
        }
        if (!existing) {
            // A new artist takes the songs already on its albums.
            for (const StoredSong &other : m_songs) {
                if (names.hasOtherAlbumArtist(view(other.albumArtistName), view(other.artistName)) &&
                    names.artist(view(other.albumArtistName)) == id)
                    memberIDs.insert(other.id);
            }
        }
        SongRefs members;
        members.reserve(size_t(memberIDs.size()));
        for (const quint64 songID : std::as_const(memberIDs))
            members.push_back(find(songID));
        made.push_back(makeArtist(id, name, members, names, runs));
    }
    adopt(runs, made);
    QHash<quint32, QString> shared;
    for (const StoredArtist &artist : made)
        change.artists.append(artistOf(artist, shared));
    applyByID(m_artists, out, std::move(made));
}

void LibraryIndex::updatePlaylists(const LibraryIndex &previous, const QList<ScannedPlaylist> &playlists,
                                   LibraryChange &change)
{
    m_playlists.clear();
    m_playlistSongs.clear();
    if (!playlists.isEmpty())
        addPlaylists(playlists);
    QHash<MusicItemID, qsizetype> before;
    for (qsizetype i = 0; i < previous.m_playlists.size(); ++i)
        before.insert(previous.m_playlists[i].id, i);
    const auto songsOfPlaylist = [](const LibraryIndex &index, qsizetype i) {
        const Run run = index.m_playlistSongs[size_t(i)];
        const auto first = index.m_members.begin() + run.offset;
        return std::vector<quint64>(first, first + run.count);
    };
    for (qsizetype i = 0; i < m_playlists.size(); ++i) {
        const Playlist &playlist = m_playlists[i];
        const auto old = before.constFind(playlist.id);
        if (old == before.constEnd() || previous.m_playlists[*old] != playlist ||
            songsOfPlaylist(previous, *old) != songsOfPlaylist(*this, i))
            change.playlists.append(playlist);
        if (old != before.constEnd())
            before.erase(old);
    }
    for (auto it = before.cbegin(); it != before.cend(); ++it)
        change.removedPlaylists.append(it.key());
}

void LibraryIndex::addPlaylists(const QList<ScannedPlaylist> &playlists)
{
    // Songs by their file, the keys read in place from the packed texts.
    QHash<QByteArray, quint64> songByFile;
    songByFile.reserve(qsizetype(m_songs.size()));
    for (const StoredSong &song : m_songs)
        songByFile.insert(rawKey(view(song.file)), song.id);
    std::vector<std::pair<MusicItemID, const ScannedPlaylist *>> byID;
    for (const ScannedPlaylist &scanned : playlists)
        byID.emplace_back(LocalIdentifiers::make(LocalIdentifiers::playlist, scanned.relativePath), &scanned);
    std::sort(byID.begin(), byID.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    for (const auto &[id, scanned] : byID) {
        Run run{quint32(m_members.size()), 0};
        for (const QByteArray &file : scanned->trackPaths) {
            const auto found = songByFile.constFind(file);
            if (found == songByFile.constEnd()) {
                LUMEVAR_NOTICE(Log::collection(), "Playlist %@: skipping %@, not a readable song of the library",
                               scanned->path, QString::fromUtf8(file));
                continue;
            }
            m_members.push_back(*found);
            ++run.count;
        }
        SongRefs songs;
        for (quint32 i = 0; i < run.count; ++i)
            songs.push_back(find(m_members[run.offset + i]));
        Playlist playlist;
        playlist.id = id;
        playlist.name = scanned->name;
        playlist.libraryAddedDate = scanned->modified;
        playlist.lastModifiedDate = scanned->modified;
        if (const Text url = firstArtwork(songs); url.size)
            playlist.artwork = Artwork(string(url));
        playlist.playParameters = PlayParameters{playlist.id, QStringLiteral("playlist")};
        m_playlists.append(std::move(playlist));
        m_playlistSongs.push_back(run);
    }
}

void LibraryIndex::addGenres()
{
    struct Building {
        Text name;
        QString text;
        std::vector<quint64> songs;
    };
    std::vector<Building> building;
    QHash<QByteArray, size_t> genreByName;
    QHash<QString, size_t> genreByKey;
    for (const StoredSong &song : m_songs) {
        if (!song.genre.size)
            continue;
        auto found = genreByName.constFind(rawKey(view(song.genre)));
        if (found == genreByName.constEnd()) {
            const QString text = string(song.genre);
            const QString key = LocalIdentifiers::nameKey(text);
            auto byKey = genreByKey.constFind(key);
            if (byKey == genreByKey.constEnd()) {
                byKey = genreByKey.insert(key, building.size());
                building.push_back({song.genre, text, {}});
            }
            found = genreByName.insert(rawKey(view(song.genre)), *byKey);
        }
        building[*found].songs.push_back(song.id);
    }
    std::sort(building.begin(), building.end(), [](const Building &a, const Building &b) {
        if (a.songs.size() != b.songs.size())
            return a.songs.size() > b.songs.size();
        return a.text < b.text;
    });
    for (const Building &genre : building) {
        m_genres.push_back({genre.name, {quint32(m_members.size()), quint32(genre.songs.size())}});
        m_members.insert(m_members.end(), genre.songs.begin(), genre.songs.end());
    }
}

namespace {

// Copies the runs still in use into a new vector, in order, once they are half of it or less.
// forEachRun hands each run of the items to a visitor.
template <typename T, typename ForEachRun>
void compactRuns(std::vector<T> &storage, ForEachRun forEachRun)
{
    size_t live = 0;
    forEachRun([&live](auto &run) { live += run.count; });
    if (live * 2 > storage.size())
        return;
    std::vector<T> kept;
    kept.reserve(live);
    forEachRun([&storage, &kept](auto &run) {
        const auto first = storage.begin() + run.offset;
        run.offset = quint32(kept.size());
        kept.insert(kept.end(), first, first + run.count);
    });
    storage = std::move(kept);
}

} // namespace

void LibraryIndex::dropGoneRuns()
{
    compactRuns(m_members, [this](const auto &visit) {
        for (StoredAlbum &album : m_albums)
            visit(album.songs);
        for (StoredArtist &artist : m_artists)
            visit(artist.songs);
        for (StoredGenre &genre : m_genres)
            visit(genre.songs);
        for (Run &run : m_playlistSongs)
            visit(run);
    });
    compactRuns(m_textLists, [this](const auto &visit) {
        for (StoredAlbum &album : m_albums)
            visit(album.genres);
        for (StoredArtist &artist : m_artists)
            visit(artist.genres);
    });
}

void LibraryIndex::dropGoneTexts()
{
    qsizetype used = 0;
    for (const StoredSong &song : m_songs)
        used += song.title.size + song.file.size;
    if (used * 2 > m_texts.size())
        return;
    const QByteArray old = std::exchange(m_texts, QByteArray());
    m_texts.reserve(used + used / 8);
    Packer packer(m_texts);
    // A name several items share is packed once: by where it stood.
    QHash<quint32, Text> movedNames;
    const auto moveText = [&](Text &text) { text = packer.text(QByteArrayView(old.constData() + text.offset, text.size)); };
    const auto moveName = [&](Text &text) {
        if (!text.size)
            return;
        auto moved = movedNames.constFind(text.offset);
        if (moved == movedNames.constEnd())
            moved = movedNames.insert(text.offset, packer.text(QByteArrayView(old.constData() + text.offset, text.size)));
        text = *moved;
    };
    for (StoredSong &song : m_songs) {
        moveText(song.title);
        moveText(song.file);
        for (Text *name : {&song.artistName, &song.albumTitle, &song.albumArtistName, &song.genre, &song.artworkURL})
            moveName(*name);
    }
    for (StoredAlbum &album : m_albums) {
        moveName(album.title);
        moveName(album.artistName);
        moveName(album.artworkURL);
    }
    for (StoredArtist &artist : m_artists) {
        moveName(artist.name);
        moveName(artist.artworkURL);
    }
    for (StoredGenre &genre : m_genres)
        moveName(genre.name);
    for (Text &text : m_textLists)
        moveName(text);
}

LibraryIndex::Text LibraryIndex::firstArtwork(const SongRefs &songs) const
{
    for (const StoredSong *song : songs) {
        if (song->artworkURL.size)
            return song->artworkURL;
    }
    return {};
}


const LibraryIndex::StoredSong *LibraryIndex::find(quint64 id) const { return findByID(m_songs, id); }

const LibraryIndex::StoredSong *LibraryIndex::find(const MusicItemID &id) const
{
    const std::optional<quint64> digest = LocalIdentifiers::digestOf(id, LocalIdentifiers::song);
    return digest ? find(*digest) : nullptr;
}

const LibraryIndex::StoredAlbum *LibraryIndex::findAlbum(quint64 id) const { return findByID(m_albums, id); }

const LibraryIndex::StoredArtist *LibraryIndex::findArtist(quint64 id) const { return findByID(m_artists, id); }

std::optional<Song> LibraryIndex::song(const MusicItemID &id) const
{
    QHash<quint32, QString> names;
    if (const StoredSong *stored = find(id))
        return songOf(*stored, names);
    return std::nullopt;
}

QByteArray LibraryIndex::filePath(const MusicItemID &songID) const
{
    const StoredSong *stored = find(songID);
    return stored ? view(stored->file).toByteArray() : QByteArray();
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
        ids.append(LocalIdentifiers::fromDigest(LocalIdentifiers::song, newest[i]->id));
    return ids;
}

std::optional<Artist> LibraryIndex::artist(const MusicItemID &id) const
{
    const std::optional<quint64> digest = LocalIdentifiers::digestOf(id, LocalIdentifiers::artist);
    const StoredArtist *stored = digest ? findArtist(*digest) : nullptr;
    if (!stored)
        return std::nullopt;
    QHash<quint32, QString> names;
    return artistOf(*stored, names);
}

namespace {

// Items first to last of those given, made by make.
template <typename T, typename Stored, typename Make>
QList<T> slice(const std::vector<Stored> &stored, qsizetype offset, qsizetype limit, Make make)
{
    const auto size = qsizetype(stored.size());
    const qsizetype first = std::clamp<qsizetype>(offset, 0, size);
    const qsizetype last = limit < 0 ? size : std::min(size, first + limit);
    QList<T> items;
    items.reserve(last - first);
    QHash<quint32, QString> names;
    for (qsizetype i = first; i < last; ++i)
        items.append(make(stored[size_t(i)], names));
    return items;
}

} // namespace

QList<Song> LibraryIndex::songs(qsizetype offset, qsizetype limit) const
{
    return slice<Song>(m_songs, offset, limit, [this](const StoredSong &s, auto &names) { return songOf(s, names); });
}

QList<Album> LibraryIndex::albums(qsizetype offset, qsizetype limit) const
{
    return slice<Album>(m_albums, offset, limit, [this](const StoredAlbum &a, auto &names) { return albumOf(a, names); });
}

QList<Artist> LibraryIndex::artists(qsizetype offset, qsizetype limit) const
{
    return slice<Artist>(m_artists, offset, limit, [this](const StoredArtist &a, auto &names) { return artistOf(a, names); });
}

QList<LibraryIndex::Genre> LibraryIndex::genres() const
{
    QList<Genre> genres;
    genres.reserve(qsizetype(m_genres.size()));
    for (const StoredGenre &genre : m_genres)
        genres.append({string(genre.name), songIDsOf(genre.songs)});
    return genres;
}

std::optional<QList<MusicItemID>> LibraryIndex::genreSongIDs(const QString &name) const
{
    for (const StoredGenre &genre : m_genres) {
        if (string(genre.name) == name)
            return songIDsOf(genre.songs);
    }
    return std::nullopt;
}

QList<Song> LibraryIndex::songs(const QList<MusicItemID> &ids) const
{
    QHash<quint32, QString> names;
    QList<Song> result;
    result.reserve(ids.size());
    for (const MusicItemID &id : ids) {
        if (const StoredSong *stored = find(id))
            result.append(songOf(*stored, names));
    }
    return result;
}

std::optional<QList<Song>> LibraryIndex::playlistTracks(const MusicItemID &id) const
{
    const auto found = std::lower_bound(m_playlists.begin(), m_playlists.end(), id,
                                        [](const Playlist &playlist, const MusicItemID &key) { return playlist.id < key; });
    if (found == m_playlists.end() || found->id != id)
        return std::nullopt;
    return songsOf(m_playlistSongs[size_t(found - m_playlists.begin())]);
}

std::optional<QList<Song>> LibraryIndex::albumTracks(const MusicItemID &id) const
{
    const std::optional<quint64> digest = LocalIdentifiers::digestOf(id, LocalIdentifiers::album);
    const StoredAlbum *album = digest ? findAlbum(*digest) : nullptr;
    return album ? std::optional(songsOf(album->songs)) : std::nullopt;
}

std::optional<QList<Song>> LibraryIndex::artistTracks(const MusicItemID &id) const
{
    const std::optional<quint64> digest = LocalIdentifiers::digestOf(id, LocalIdentifiers::artist);
    const StoredArtist *artist = digest ? findArtist(*digest) : nullptr;
    return artist ? std::optional(songsOf(artist->songs)) : std::nullopt;
}

#include "LumevarCore/StoreReads.h"

#include "LumevarCore/Sqlite.h"
#include "LumevarCore/TextKeys.h"

#include <algorithm>
#include <vector>

namespace {

std::optional<QUrl> optionalURL(const SqliteQuery &row, int column)
{
    if (row.isNull(column))
        return std::nullopt;
    return QUrl(row.text(column));
}

const char *direction(SortOrder order) { return order == SortOrder::forward ? " ASC" : " DESC"; }

// ORDER BY for the key: NULL sorts first ascending and last descending in SQLite, which is the
// place absent values take. pk breaks ties so that equal keys keep a stable order.
QByteArray orderBy(const char *column, SortOrder order)
{
    const char *dir = direction(order);
    return QByteArray(" ORDER BY ") + column + dir + ", pk" + dir;
}

QList<LocalSong> collectSongs(SqliteQuery &query, bool numberRows)
{
    QList<LocalSong> songs;
    QHash<QString, QUrl> urls;
    while (query.next()) {
        songs.append(StoreReads::songFromRow(query, &urls));
        if (numberRows)
            songs.last().order = int(songs.size() - 1);
    }
    return songs;
}

std::optional<QString> foldedOrNull(const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    QString folded = TextKeys::fold(*text);
    if (folded.isEmpty())
        return std::nullopt;
    return folded;
}

} // namespace

namespace StoreReads {

LocalSong songFromRow(const SqliteQuery &row, QHash<QString, QUrl> *urls)
{
    LocalSong song;
    song.identifier = row.text(0);
    song.id = MusicItemID(song.identifier);
    song.title = row.text(1);
    song.artistName = row.optionalText(2);
    song.albumTitle = row.optionalText(3);
    song.duration = row.real(4);
    song.genre = row.optionalText(5);
    song.releaseDate = row.optionalDate(6);
    if (urls && !row.isNull(7)) {
        const QString text = row.text(7);
        auto found = urls->constFind(text);
        if (found == urls->constEnd())
            found = urls->insert(text, QUrl(text));
        song.artworkURL = found.value();
    } else {
        song.artworkURL = optionalURL(row, 7);
    }
    if (!row.isNull(8)) {
        // Play parameters nearly always name the song itself, as a "song": share those texts.
        static const QString songKind = QStringLiteral("song");
        QString playID = row.text(8);
        QString kind = row.text(9);
        song.playParameters = PlayParameters{MusicItemID(playID == song.identifier ? song.identifier : playID),
                                             kind == songKind ? songKind : kind};
    }
    if (!row.isNull(10))
        song.order = int(row.int64(10));
    return song;
}

LocalPlaylist playlistFromRow(const SqliteQuery &row)
{
    LocalPlaylist playlist;
    playlist.id = row.text(0);
    playlist.identifier = playlist.id;
    playlist.name = row.text(1);
    playlist.dateAdded = row.optionalDate(2);
    playlist.artworkURL = optionalURL(row, 3);
    playlist.thumbnailID = QStringLiteral("playlist-") + playlist.id;
    return playlist;
}

LocalAlbum albumFromRow(const SqliteQuery &row)
{
    LocalAlbum album;
    album.id = row.text(0);
    album.identifier = album.id;
    album.title = row.text(1);
    album.artistName = row.optionalText(2);
    album.genre = row.optionalText(3);
    album.releaseDate = row.optionalDate(4);
    album.dateAdded = row.optionalDate(5);
    album.artworkURL = optionalURL(row, 6);
    album.thumbnailID = QStringLiteral("album-") + album.id;
    return album;
}

LocalArtist artistFromRow(const SqliteQuery &row)
{
    LocalArtist artist;
    artist.id = row.text(0);
    artist.identifier = artist.id;
    artist.name = row.text(1);
    artist.genre = row.optionalText(2);
    artist.artworkURL = optionalURL(row, 3);
    artist.thumbnailID = QStringLiteral("artist-") + artist.id;
    return artist;
}

QList<LocalPlaylist> allPlaylists(SqliteConnection &db, SortDescriptor<LocalPlaylist> sort)
{
    const char *column = sort.key == LocalPlaylist::SortKey::dateAdded ? "p.added_date" : "p.name_key";
    SqliteQuery query = db.query(QByteArray("SELECT ") + playlistColumns + " FROM playlists p" + orderBy(column, sort.order));
    QList<LocalPlaylist> playlists;
    while (query.next())
        playlists.append(playlistFromRow(query));
    return playlists;
}

QList<LocalAlbum> allAlbums(SqliteConnection &db, SortDescriptor<LocalAlbum> sort)
{
    const char *column = "a.title_key";
    switch (sort.key) {
    case LocalAlbum::SortKey::title: column = "a.title_key"; break;
    case LocalAlbum::SortKey::artistName: column = "a.artist_key"; break;
    case LocalAlbum::SortKey::genre: column = "a.genre_key"; break;
    case LocalAlbum::SortKey::releaseDate: column = "a.release_date"; break;
    case LocalAlbum::SortKey::dateAdded: column = "a.added_date"; break;
    }
    SqliteQuery query = db.query(QByteArray("SELECT ") + albumColumns + " FROM albums a" + orderBy(column, sort.order));
    QList<LocalAlbum> albums;
    while (query.next())
        albums.append(albumFromRow(query));
    return albums;
}

QList<LocalArtist> allArtists(SqliteConnection &db, SortDescriptor<LocalArtist> sort)
{
    const char *column = sort.key == LocalArtist::SortKey::genre ? "r.genre_key" : "r.name_key";
    SqliteQuery query = db.query(QByteArray("SELECT ") + artistColumns + " FROM artists r" + orderBy(column, sort.order));
    QList<LocalArtist> artists;
    while (query.next())
        artists.append(artistFromRow(query));
    return artists;
}

QList<LocalSong> allLibrarySongs(SqliteConnection &db, SortDescriptor<LocalSong> sort)
{
    // One pass over the table, then a sort in memory on the stored collation keys: cheaper than
    // walking an index in key order into rows spread over the whole file.
    const char *keyColumn = "s.title_key";
    switch (sort.key) {
    case LocalSong::SortKey::title: keyColumn = "s.title_key"; break;
    case LocalSong::SortKey::artistName: keyColumn = "s.artist_key"; break;
    case LocalSong::SortKey::albumTitle: keyColumn = "s.album_key"; break;
    case LocalSong::SortKey::duration: keyColumn = "s.duration"; break;
    case LocalSong::SortKey::genre: keyColumn = "s.genre_key"; break;
    case LocalSong::SortKey::releaseDate: keyColumn = "s.release_date"; break;
    case LocalSong::SortKey::order: keyColumn = "s.library_order"; break;
    }
    const bool textKey = sort.key == LocalSong::SortKey::title || sort.key == LocalSong::SortKey::artistName ||
                         sort.key == LocalSong::SortKey::albumTitle || sort.key == LocalSong::SortKey::genre;
    SqliteQuery query = db.query(QByteArray("SELECT ") + songColumns + ", s.library_order, " + keyColumn +
                                 ", s.pk FROM songs s WHERE s.library_order IS NOT NULL");
    struct Row {
        bool absent;
        QByteArray text;
        double number;
        qint64 pk;
        qsizetype index;
    };
    QList<LocalSong> unsorted;
    std::vector<Row> rows;
    QHash<QString, QUrl> urls;
    while (query.next()) {
        Row row{query.isNull(11), {}, 0, query.int64(12), unsorted.size()};
        if (!row.absent) {
            if (textKey)
                row.text = query.blob(11);
            else
                row.number = query.real(11);
        }
        rows.push_back(std::move(row));
        unsorted.append(songFromRow(query, &urls));
    }
    // Absent values first, ties by row: the reverse order is exactly the opposite.
    auto less = [textKey](const Row &a, const Row &b) {
        if (a.absent != b.absent)
            return a.absent;
        if (!a.absent) {
            const int c = textKey ? a.text.compare(b.text) : (a.number < b.number ? -1 : a.number > b.number ? 1 : 0);
            if (c != 0)
                return c < 0;
        }
        return a.pk < b.pk;
    };
    if (sort.order == SortOrder::forward)
        std::sort(rows.begin(), rows.end(), less);
    else
        std::sort(rows.begin(), rows.end(), [&less](const Row &a, const Row &b) { return less(b, a); });
    QList<LocalSong> songs;
    songs.reserve(unsorted.size());
    for (const Row &row : rows)
        songs.append(std::move(unsorted[row.index]));
    return songs;
}

QList<LocalSong> playlistSongs(SqliteConnection &db, const QString &playlistID)
{
    static const QByteArray sql = QByteArray("SELECT ") + songColumns + ", e.position FROM playlists p"
        " JOIN playlist_entries e ON e.playlist = p.pk JOIN songs s ON s.pk = e.song"
        " WHERE p.id = ?1 ORDER BY e.position";
    SqliteQuery query = db.query(sql);
    query.bindAll(playlistID);
    return collectSongs(query, false);
}

QList<LocalSong> albumSongs(SqliteConnection &db, const QString &title, const std::optional<QString> &artist)
{
    // Songs name their album by text; an album is told apart from namesakes by its artist, which
    // a song carries as album artist or, lacking one, as its own artist.
    static const QByteArray sql = QByteArray("SELECT ") + songColumns + ", NULL FROM songs s"
        " WHERE s.album_fold = ?1 AND s.library_order IS NOT NULL"
        " AND (?2 IS NULL OR s.album_artist_fold = ?2 OR (s.album_artist_fold IS NULL AND s.artist_fold = ?2))"
        " ORDER BY s.disc IS NULL, s.disc, s.track IS NULL, s.track, s.title_key, s.pk";
    const QString folded = TextKeys::fold(title);
    SqliteQuery query = db.query(sql);
    query.bindAll(folded, foldedOrNull(artist));
    QList<LocalSong> songs = collectSongs(query, true);
    if (songs.isEmpty() && artist) {
        // The album's artist may be written differently on its songs: fall back to the title.
        query.reset();
        query.bindAll(folded, std::optional<QString>());
        songs = collectSongs(query, true);
    }
    return songs;
}

QList<LocalSong> artistSongs(SqliteConnection &db, const QString &name)
{
    static const QByteArray sql = QByteArray("SELECT ") + songColumns + ", NULL FROM songs s"
        " WHERE (s.artist_fold = ?1 OR s.album_artist_fold = ?1) AND s.library_order IS NOT NULL"
        " ORDER BY s.album_key IS NULL, s.album_key, s.album_fold, s.disc IS NULL, s.disc,"
        " s.track IS NULL, s.track, s.title_key, s.pk";
    SqliteQuery query = db.query(sql);
    query.bindAll(TextKeys::fold(name));
    return collectSongs(query, true);
}

bool hasSong(SqliteConnection &db, const QString &title, const std::optional<QString> &artist,
             const std::optional<QString> &album)
{
    SqliteQuery query = db.query(
        "SELECT 1 FROM songs WHERE title_fold = ?1 AND library_order IS NOT NULL"
        " AND (?2 IS NULL OR artist_fold = ?2 OR album_artist_fold = ?2)"
        " AND (?3 IS NULL OR album_fold = ?3) LIMIT 1");
    query.bindAll(TextKeys::fold(title), foldedOrNull(artist), foldedOrNull(album));
    return query.next();
}

QList<LocalPlaylist> playlistsWithoutContents(SqliteConnection &db)
{
    static const QByteArray sql = QByteArray("SELECT ") + playlistColumns +
        " FROM playlists p WHERE p.contents_synced = 0 ORDER BY p.pk";
    SqliteQuery query = db.query(sql);
    QList<LocalPlaylist> playlists;
    while (query.next())
        playlists.append(playlistFromRow(query));
    return playlists;
}

std::optional<QDateTime> latestSongAddedDate(SqliteConnection &db)
{
    SqliteQuery query = db.query("SELECT max(added_date) FROM songs WHERE library_order IS NOT NULL");
    if (!query.next())
        return std::nullopt;
    return query.optionalDate(0);
}

} // namespace StoreReads

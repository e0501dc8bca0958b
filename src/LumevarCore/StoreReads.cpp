#include "LumevarCore/StoreReads.h"

#include "LumevarCore/SongRecords.h"
#include "LumevarCore/Sqlite.h"
#include "LumevarCore/TextKeys.h"

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

// Every row of the query as a record.
template <typename Record>
QList<Record> collect(SqliteQuery &query, Record (*fromRow)(const SqliteQuery &))
{
    QList<Record> records;
    while (query.next())
        records.append(fromRow(query));
    return records;
}

QList<LocalPlaylist> allPlaylists(SqliteConnection &db, SortDescriptor<LocalPlaylist> sort)
{
    const char *column = sort.key == LocalPlaylist::SortKey::dateAdded ? "p.added_date" : "p.name_key";
    SqliteQuery query = db.query(QByteArray("SELECT ") + playlistColumns + " FROM playlists p" + orderBy(column, sort.order));
    return collect(query, playlistFromRow);
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
    return collect(query, albumFromRow);
}

QList<LocalArtist> allArtists(SqliteConnection &db, SortDescriptor<LocalArtist> sort)
{
    const char *column = sort.key == LocalArtist::SortKey::genre ? "r.genre_key" : "r.name_key";
    SqliteQuery query = db.query(QByteArray("SELECT ") + artistColumns + " FROM artists r" + orderBy(column, sort.order));
    return collect(query, artistFromRow);
}

QList<LocalSong> allLibrarySongs(SqliteConnection &db, SongRecords &records, SortDescriptor<LocalSong> sort)
{
    return records.library(db, sort);
}

std::vector<qint64> rowsOf(SqliteQuery &query)
{
    std::vector<qint64> rows;
    while (query.next())
        rows.push_back(query.int64(0));
    return rows;
}

QList<LocalSong> playlistSongs(SqliteConnection &db, SongRecords &records, const QString &playlistID)
{
    SqliteQuery query = db.query("SELECT e.song FROM playlists p JOIN playlist_entries e ON e.playlist = p.pk"
                                 " WHERE p.id = ?1 ORDER BY e.position");
    query.bindAll(playlistID);
    return records.inOrder(db, rowsOf(query));
}

QList<LocalSong> albumSongs(SqliteConnection &db, SongRecords &records, const QString &title, const std::optional<QString> &artist)
{
    // Songs name their album by text. Albums of the same title are common (greatest hits,
    // compilations, self-titled records), so an album is its title and its artist, which a song
    // carries as album artist or, lacking one, as its own artist; an album without an artist
    // holds the songs of that title that name no artist at all.
    SqliteQuery query = db.query(
        "SELECT s.pk FROM songs s"
        " WHERE s.album_hash = ?3 AND s.album_fold = ?1 AND s.library_order IS NOT NULL"
        " AND (CASE WHEN ?2 IS NULL THEN (s.album_artist_fold IS NULL AND s.artist_fold IS NULL)"
        "  ELSE (s.album_artist_fold = ?2 OR (s.album_artist_fold IS NULL AND s.artist_fold = ?2)) END)"
        " ORDER BY s.disc IS NULL, s.disc, s.track IS NULL, s.track, s.title_key, s.pk");
    const QString folded = TextKeys::fold(title);
    query.bindAll(folded, foldedOrNull(artist), TextKeys::foldHash(folded));
    return records.inOrder(db, rowsOf(query));
}

QList<LocalSong> artistSongs(SqliteConnection &db, SongRecords &records, const QString &name)
{
    SqliteQuery query = db.query(
        "SELECT s.pk FROM songs s"
        " WHERE ((s.artist_hash = ?2 AND s.artist_fold = ?1) OR (s.album_artist_hash = ?2 AND s.album_artist_fold = ?1))"
        " AND s.library_order IS NOT NULL"
        " ORDER BY s.album_key IS NULL, s.album_key, s.album_fold, s.disc IS NULL, s.disc,"
        " s.track IS NULL, s.track, s.title_key, s.pk");
    const QString folded = TextKeys::fold(name);
    query.bindAll(folded, TextKeys::foldHash(folded));
    return records.inOrder(db, rowsOf(query));
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
    return collect(query, playlistFromRow);
}

std::optional<QDateTime> latestSongAddedDate(SqliteConnection &db)
{
    SqliteQuery query = db.query("SELECT max(added_date) FROM songs WHERE library_order IS NOT NULL");
    if (!query.next())
        return std::nullopt;
    return query.optionalDate(0);
}

} // namespace StoreReads

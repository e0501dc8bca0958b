#pragma once
// The store's queries, run on its worker thread.

#include "LumevarCore/Records.h"

#include <vector>

class SongRecords;
class SqliteConnection;
class SqliteQuery;

namespace StoreReads {

QList<LocalPlaylist> allPlaylists(SqliteConnection &db, SortDescriptor<LocalPlaylist> sort);
QList<LocalAlbum> allAlbums(SqliteConnection &db, SortDescriptor<LocalAlbum> sort);
QList<LocalArtist> allArtists(SqliteConnection &db, SortDescriptor<LocalArtist> sort);

// Song lists are made of the records kept in memory; the queries pick and order the rows.
QList<LocalSong> allLibrarySongs(SqliteConnection &db, SongRecords &records, SortDescriptor<LocalSong> sort);
QList<LocalSong> playlistSongs(SqliteConnection &db, SongRecords &records, const QString &playlistID);
QList<LocalSong> albumSongs(SqliteConnection &db, SongRecords &records, const QString &title,
                            const std::optional<QString> &artist);
QList<LocalSong> artistSongs(SqliteConnection &db, SongRecords &records, const QString &name);
// The pk of each row of a query that selects pks.
std::vector<qint64> rowsOf(SqliteQuery &query);

// Library songs whose title, and artist and album when given and not blank, equal the texts
// once folded (case, accents and surrounding white space ignored). The artist matches either the
// song's artist or its album artist.
bool hasSong(SqliteConnection &db, const QString &title, const std::optional<QString> &artist,
             const std::optional<QString> &album);

QList<LocalPlaylist> playlistsWithoutContents(SqliteConnection &db);
std::optional<QDateTime> latestSongAddedDate(SqliteConnection &db);

// Records of the collection kinds from their rows (as selected by the functions above).
LocalPlaylist playlistFromRow(const SqliteQuery &row);
LocalAlbum albumFromRow(const SqliteQuery &row);
LocalArtist artistFromRow(const SqliteQuery &row);
inline constexpr const char *playlistColumns = "p.id, p.name, p.added_date, p.artwork";
inline constexpr const char *albumColumns = "a.id, a.title, a.artist, a.genre, a.release_date, a.added_date, a.artwork";
inline constexpr const char *artistColumns = "r.id, r.name, r.genre, r.artwork";

} // namespace StoreReads

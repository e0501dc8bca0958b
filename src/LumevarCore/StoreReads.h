#pragma once
// The store's queries, run on its worker thread.

#include "LumevarCore/Records.h"

#include <QHash>

class SqliteConnection;
class SqliteQuery;

namespace StoreReads {

// The columns every song query selects, in the order songFromRow() reads them; the query adds
// the value for `order` as its last column.
inline constexpr const char *songColumns =
    "s.id, s.title, s.artist, s.album, s.duration, s.genre, s.release_date, s.artwork, s.play_id, s.play_kind";
// urls, when given, shares one QUrl among the rows that name the same artwork (songs of an album),
// which saves parsing it again for each.
LocalSong songFromRow(const SqliteQuery &row, QHash<QString, QUrl> *urls = nullptr);

QList<LocalPlaylist> allPlaylists(SqliteConnection &db, SortDescriptor<LocalPlaylist> sort);
QList<LocalAlbum> allAlbums(SqliteConnection &db, SortDescriptor<LocalAlbum> sort);
QList<LocalArtist> allArtists(SqliteConnection &db, SortDescriptor<LocalArtist> sort);
QList<LocalSong> allLibrarySongs(SqliteConnection &db, SortDescriptor<LocalSong> sort);

QList<LocalSong> playlistSongs(SqliteConnection &db, const QString &playlistID);
QList<LocalSong> albumSongs(SqliteConnection &db, const QString &title, const std::optional<QString> &artist);
QList<LocalSong> artistSongs(SqliteConnection &db, const QString &name);

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

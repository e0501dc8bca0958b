#pragma once
// The store's write side, run on its worker thread. Every function is one transaction: it
// completes or leaves the store as it was, whatever happens to the process.

#include "LumevarCore/LocalDatabase.h"

class SqliteConnection;

namespace StoreWrites {

qint64 beginSync(SqliteConnection &db, LocalDatabase::LibraryKind kind);
void storePlaylists(SqliteConnection &db, const QList<Playlist> &playlists, qint64 generation);
void storeAlbums(SqliteConnection &db, const QList<Album> &albums, qint64 generation);
void storeArtists(SqliteConnection &db, const QList<Artist> &artists, qint64 generation);
void storeLibrarySongs(SqliteConnection &db, const QList<Song> &songs, qint64 generation, int firstPosition);
int finishSync(SqliteConnection &db, LocalDatabase::LibraryKind kind, qint64 generation);

void storePlaylistContents(SqliteConnection &db, const QList<std::pair<QString, QList<Song>>> &contents);
QList<LocalSong> storeAlbumSongs(SqliteConnection &db, const LocalAlbum &album, const QList<Song> &songs);
QList<LocalSong> storeArtistSongs(SqliteConnection &db, const LocalArtist &artist, const QList<Song> &songs);
void addLibrarySongs(SqliteConnection &db, const QList<Song> &songs);

// Text as stored: invalid UTF-16 (lone surrogates), non-characters and control characters
// other than white space removed. Returns the input unchanged in the common case.
QString cleanText(const QString &text);
// A duration in seconds as stored: 0 for negative, NaN, infinite or absurdly long values.
double cleanDuration(double seconds);

} // namespace StoreWrites

#pragma once
// The store's write side, run on its worker thread. Every function is one transaction: it
// completes or leaves the store as it was, whatever happens to the process.

#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SongRecords.h"
#include "LumevarCore/TextKeys.h"

class SqliteConnection;
struct StoreState;

namespace StoreWrites {

qint64 beginSync(StoreState &store, LocalDatabase::LibraryKind kind);
void storePlaylists(SqliteConnection &db, const QList<Playlist> &playlists, qint64 generation);
void storeAlbums(StoreState &store, const QList<Album> &albums, qint64 generation);
void storeArtists(StoreState &store, const QList<Artist> &artists, qint64 generation);
// A song cleaned of bad input with the keys and folded texts its row holds. Made on any thread,
// so that a sync can prepare the next page while the store's thread writes this one.
struct PreparedSong {
    SongRow row;
    LocalSong record;
    qint64 digest = 0;
    QByteArray titleKey;
    std::optional<QByteArray> artistKey, albumKey, genreKey;
    QString titleFold;
    std::optional<QString> artistFold, albumFold, albumArtistFold;
    std::optional<qint64> albumHash, artistHash, albumArtistHash; // fingerprints of the folds
};
// nullopt, with a log line, for a song that cannot be stored (no id). texts is the store's table
// of repeated texts (StoreState::repeatedTexts).
// checkedAddress, when given, is artworkText's memory across a batch of songs.
std::optional<PreparedSong> prepareSong(const Song &song, TextKeys::RepeatedTexts &texts, QString *checkedAddress = nullptr);
QList<std::optional<PreparedSong>> prepareSongs(const QList<Song> &songs, TextKeys::RepeatedTexts &texts);

void storeLibrarySongs(StoreState &store, const QList<std::optional<PreparedSong>> &songs, qint64 generation,
                       int firstPosition);
int finishSync(StoreState &store, LocalDatabase::LibraryKind kind, qint64 generation);
// Builds the indexes a first sync of the songs left for later (see StoreState): all of them, or
// one half, the lookups or the full-text index (what a search needs at once), so that a read
// waits for one half only. The other half stays pending.
enum class PendingIndexes { lookups, search, all };
void buildPendingIndexes(StoreState &store, PendingIndexes which = PendingIndexes::all);
// Ends a sync that stopped before finishSync(): makes its table's indexes again.
void abandonSync(StoreState &store, LocalDatabase::LibraryKind kind, qint64 generation);

void storePlaylistContents(StoreState &store, const QList<std::pair<QString, QList<Song>>> &contents,
                           LocalDatabase::SongLookup lookup);
QList<LocalSong> storeAlbumSongs(StoreState &store, const LocalAlbum &album, const QList<Song> &songs);
QList<LocalSong> storeArtistSongs(StoreState &store, const LocalArtist &artist, const QList<Song> &songs);
void addLibrarySongs(StoreState &store, const QList<Song> &songs);
// Takes the items of those identifiers out of the library (see LocalDatabase).
void removeLibraryItems(StoreState &store, LocalDatabase::LibraryKind kind, const QStringList &ids);

// The artwork's URL at the records' size as stored: as QUrl writes it. checkedAddress, when
// given, keeps the last address QUrl was found to leave unchanged, for the rest of a batch.
QString artworkText(const Artwork &artwork, QString *checkedAddress = nullptr);
// Text as stored: invalid UTF-16 (lone surrogates), non-characters and control characters
// other than white space removed. Returns the input unchanged in the common case.
QString cleanText(const QString &text);
// A duration in seconds as stored: 0 for negative, NaN, infinite or absurdly long values.
double cleanDuration(double seconds);

} // namespace StoreWrites

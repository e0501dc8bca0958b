#include "LumevarCore/StoreWrites.h"

#include "LumevarCore/Sqlite.h"
#include "LumevarCore/StoreReads.h"
#include "LumevarCore/TextKeys.h"
#include "Support/Log.h"

#include <QSet>
#include <cmath>

namespace {

// No single track plays for more than a day; a longer duration is a service fault.
constexpr double longestDuration = 24 * 60 * 60;

std::optional<QString> cleanOptional(const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    QString cleaned = StoreWrites::cleanText(*text).trimmed();
    if (cleaned.isEmpty())
        return std::nullopt;
    return cleaned;
}

std::optional<QByteArray> keyOf(const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    return TextKeys::collationKey(*text);
}

std::optional<QString> foldOf(const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    return TextKeys::fold(*text);
}

std::optional<QString> artworkText(const std::optional<Artwork> &artwork)
{
    if (!artwork || artwork->urlTemplate().isEmpty())
        return std::nullopt;
    return artwork->url(recordArtworkSize, recordArtworkSize).toString();
}

std::optional<QString> firstGenre(const QStringList &genres)
{
    for (const QString &genre : genres) {
        if (auto cleaned = cleanOptional(genre))
            return cleaned;
    }
    return std::nullopt;
}

// A title for an item the service sent without one, so that the item stays reachable.
QString titleOrPlaceholder(const QString &title, const char *kind, const QString &id)
{
    QString cleaned = StoreWrites::cleanText(title).trimmed();
    if (cleaned.isEmpty()) {
        Log::error(Log::sync(), "The %@ %@ has no name; stored as \"Unknown\"", kind, id);
        return QStringLiteral("Unknown");
    }
    return cleaned;
}

// How a song upsert treats the library columns of a song already stored.
enum class LibraryMode : int {
    sync = 0, // a library listing: sets the position and marks the row with the generation
    keep = 1, // a collection listing: leaves library membership as it is
    join = 2, // an addition: keeps an existing position, else takes the one given
};

constexpr const char *upsertSongSQL =
    "INSERT INTO songs(id, title, artist, album, album_artist, genre, duration, release_date, added_date,"
    " track, disc, artwork, play_id, play_kind, library_order, generation, title_key, artist_key, album_key,"
    " genre_key, title_fold, artist_fold, album_fold, album_artist_fold)"
    " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20, ?21, ?22, ?23, ?24)"
    " ON CONFLICT(id) DO UPDATE SET title = excluded.title, artist = excluded.artist, album = excluded.album,"
    " album_artist = excluded.album_artist, genre = excluded.genre, duration = excluded.duration,"
    " release_date = excluded.release_date, added_date = coalesce(excluded.added_date, songs.added_date),"
    " track = excluded.track, disc = excluded.disc, artwork = excluded.artwork, play_id = excluded.play_id,"
    " play_kind = excluded.play_kind,"
    " library_order = CASE ?25 WHEN 0 THEN excluded.library_order WHEN 1 THEN songs.library_order"
    "   ELSE coalesce(songs.library_order, excluded.library_order) END,"
    " generation = CASE ?25 WHEN 0 THEN excluded.generation ELSE songs.generation END,"
    " title_key = excluded.title_key, artist_key = excluded.artist_key, album_key = excluded.album_key,"
    " genre_key = excluded.genre_key, title_fold = excluded.title_fold, artist_fold = excluded.artist_fold,"
    " album_fold = excluded.album_fold, album_artist_fold = excluded.album_artist_fold"
    " RETURNING pk, library_order";

struct StoredSong {
    qint64 pk = 0;
    std::optional<int> libraryOrder;
};

// Stores one song; nullopt (with a log line) when the record cannot be stored.
std::optional<StoredSong> upsertSong(SqliteConnection &db, const Song &song, LibraryMode mode,
                                     std::optional<int> libraryOrder, qint64 generation)
{
    const QString id = StoreWrites::cleanText(song.id.rawValue()).trimmed();
    if (id.isEmpty()) {
        Log::error(Log::sync(), "Skipped a song without an id (title \"%@\")", song.title);
        return std::nullopt;
    }
    const QString title = titleOrPlaceholder(song.title, "song", id);
    const auto artist = cleanOptional(song.artistName);
    const auto album = cleanOptional(song.albumTitle);
    const auto albumArtist = cleanOptional(song.albumArtistName);
    const auto genre = firstGenre(song.genreNames);
    const double duration = StoreWrites::cleanDuration(song.duration);
    if (duration != song.duration)
        Log::error(Log::sync(), "The song %@ has an impossible duration %f; stored as 0", id, song.duration);
    std::optional<qint64> track, disc;
    if (song.trackNumber && *song.trackNumber >= 0)
        track = *song.trackNumber;
    if (song.discNumber && *song.discNumber >= 0)
        disc = *song.discNumber;

    SqliteQuery q = db.query(upsertSongSQL);
    q.bindAll(id, title, artist, album, albumArtist, genre, duration, song.releaseDate, song.libraryAddedDate, track,
              disc, artworkText(song.artwork));
    if (song.playParameters && !song.playParameters->id.isEmpty()) {
        q.bind(13, song.playParameters->id.rawValue());
        q.bind(14, song.playParameters->kind);
    } else {
        q.bindNull(13);
        q.bindNull(14);
    }
    q.bind(15, libraryOrder);
    q.bind(16, generation);
    q.bind(17, TextKeys::collationKey(title));
    q.bind(18, keyOf(artist));
    q.bind(19, keyOf(album));
    q.bind(20, keyOf(genre));
    q.bind(21, TextKeys::fold(title));
    q.bind(22, foldOf(artist));
    q.bind(23, foldOf(album));
    q.bind(24, foldOf(albumArtist));
    q.bind(25, int(mode));
    if (!q.next())
        return std::nullopt;
    StoredSong stored;
    stored.pk = q.int64(0);
    if (!q.isNull(1))
        stored.libraryOrder = int(q.int64(1));
    return stored;
}

// Songs known only from playlists that no playlist holds any more.
void removeOrphanSongs(SqliteConnection &db)
{
    db.query("DELETE FROM songs WHERE library_order IS NULL"
             " AND NOT EXISTS (SELECT 1 FROM playlist_entries e WHERE e.song = songs.pk)")
        .run();
}

int nextLibraryPosition(SqliteConnection &db)
{
    return int(db.scalar("SELECT coalesce(max(library_order) + 1, 0) FROM songs"));
}

// Makes the library hold exactly the songs of a collection listing among the collection's
// songs: the listed songs join (keeping positions they have), the collection's other songs leave.
QList<LocalSong> storeCollectionSongs(SqliteConnection &db, const QList<Song> &songs,
                                      const QList<LocalSong> &before)
{
    QList<LocalSong> result;
    int next = nextLibraryPosition(db);
    QSet<QString> listed;
    for (const Song &song : songs) {
        const auto stored = upsertSong(db, song, LibraryMode::join, next, 0);
        if (!stored)
            continue;
        if (stored->libraryOrder == next)
            ++next;
        const QString id = StoreWrites::cleanText(song.id.rawValue()).trimmed();
        if (listed.contains(id))
            continue;
        listed.insert(id);
        SqliteQuery read = db.query(QByteArray("SELECT ") + StoreReads::songColumns + ", NULL FROM songs s WHERE s.pk = ?1");
        read.bindAll(stored->pk);
        if (read.next()) {
            LocalSong record = StoreReads::songFromRow(read);
            record.order = int(result.size());
            result.append(record);
        }
    }
    for (const LocalSong &old : before) {
        if (listed.contains(old.identifier))
            continue;
        db.query("UPDATE songs SET library_order = NULL WHERE id = ?1").bindAll(old.identifier).run();
    }
    removeOrphanSongs(db);
    return result;
}

} // namespace

namespace StoreWrites {

QString cleanText(const QString &text)
{
    bool clean = true;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            ++i;
            continue;
        }
        if (c.isSurrogate() || c.isNonCharacter() || (c.category() == QChar::Other_Control && !c.isSpace())) {
            clean = false;
            break;
        }
    }
    if (clean)
        return text;
    QString cleaned;
    cleaned.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate()) {
            const char32_t code = QChar::surrogateToUcs4(c, text.at(i + 1));
            if (!QChar::isNonCharacter(code)) {
                cleaned.append(c);
                cleaned.append(text.at(i + 1));
            }
            ++i;
            continue;
        }
        if (c.isSurrogate() || c.isNonCharacter() || (c.category() == QChar::Other_Control && !c.isSpace()))
            continue;
        cleaned.append(c);
    }
    Log::error(Log::sync(), "Removed invalid characters from \"%@\"", cleaned);
    return cleaned;
}

double cleanDuration(double seconds)
{
    if (!std::isfinite(seconds) || seconds < 0 || seconds > longestDuration)
        return 0;
    return seconds;
}

qint64 beginSync(SqliteConnection &db, LocalDatabase::LibraryKind)
{
    // One counter for every kind: generations only ever grow, so a row marked by any earlier
    // sync is older than the one being handed out.
    SqliteTransaction transaction(db);
    const qint64 generation = db.scalar("SELECT coalesce((SELECT value FROM meta WHERE key = 'generation'), 0)") + 1;
    db.query("INSERT OR REPLACE INTO meta(key, value) VALUES ('generation', ?1)").bindAll(generation).run();
    transaction.commit();
    return generation;
}

void storePlaylists(SqliteConnection &db, const QList<Playlist> &playlists, qint64 generation)
{
    SqliteTransaction transaction(db);
    for (const Playlist &playlist : playlists) {
        const QString id = cleanText(playlist.id.rawValue()).trimmed();
        if (id.isEmpty()) {
            Log::error(Log::sync(), "Skipped a playlist without an id (name \"%@\")", playlist.name);
            continue;
        }
        const QString name = titleOrPlaceholder(playlist.name, "playlist", id);
        SqliteQuery q = db.query(
            "INSERT INTO playlists(id, name, added_date, artwork, generation, name_key, name_fold)"
            " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)"
            " ON CONFLICT(id) DO UPDATE SET name = excluded.name, added_date = excluded.added_date,"
            " artwork = excluded.artwork, generation = excluded.generation, name_key = excluded.name_key,"
            " name_fold = excluded.name_fold");
        q.bindAll(id, name, playlist.libraryAddedDate, artworkText(playlist.artwork), generation,
                  TextKeys::collationKey(name), TextKeys::fold(name));
        q.run();
    }
    transaction.commit();
}

void storeAlbums(SqliteConnection &db, const QList<Album> &albums, qint64 generation)
{
    SqliteTransaction transaction(db);
    for (const Album &album : albums) {
        const QString id = cleanText(album.id.rawValue()).trimmed();
        if (id.isEmpty()) {
            Log::error(Log::sync(), "Skipped an album without an id (title \"%@\")", album.title);
            continue;
        }
        const QString title = titleOrPlaceholder(album.title, "album", id);
        const auto artist = cleanOptional(album.artistName);
        const auto genre = firstGenre(album.genreNames);
        SqliteQuery q = db.query(
            "INSERT INTO albums(id, title, artist, genre, release_date, added_date, artwork, generation,"
            " title_key, artist_key, genre_key, title_fold) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12)"
            " ON CONFLICT(id) DO UPDATE SET title = excluded.title, artist = excluded.artist, genre = excluded.genre,"
            " release_date = excluded.release_date, added_date = excluded.added_date, artwork = excluded.artwork,"
            " generation = excluded.generation, title_key = excluded.title_key, artist_key = excluded.artist_key,"
            " genre_key = excluded.genre_key, title_fold = excluded.title_fold");
        q.bindAll(id, title, artist, genre, album.releaseDate, album.libraryAddedDate, artworkText(album.artwork),
                  generation, TextKeys::collationKey(title), keyOf(artist), keyOf(genre), TextKeys::fold(title));
        q.run();
    }
    transaction.commit();
}

void storeArtists(SqliteConnection &db, const QList<Artist> &artists, qint64 generation)
{
    SqliteTransaction transaction(db);
    for (const Artist &artist : artists) {
        const QString id = cleanText(artist.id.rawValue()).trimmed();
        if (id.isEmpty()) {
            Log::error(Log::sync(), "Skipped an artist without an id (name \"%@\")", artist.name);
            continue;
        }
        const QString name = titleOrPlaceholder(artist.name, "artist", id);
        const auto genre = firstGenre(artist.genreNames);
        SqliteQuery q = db.query(
            "INSERT INTO artists(id, name, genre, artwork, generation, name_key, genre_key, name_fold)"
            " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)"
            " ON CONFLICT(id) DO UPDATE SET name = excluded.name, genre = excluded.genre, artwork = excluded.artwork,"
            " generation = excluded.generation, name_key = excluded.name_key, genre_key = excluded.genre_key,"
            " name_fold = excluded.name_fold");
        q.bindAll(id, name, genre, artworkText(artist.artwork), generation, TextKeys::collationKey(name), keyOf(genre),
                  TextKeys::fold(name));
        q.run();
    }
    transaction.commit();
}

void storeLibrarySongs(SqliteConnection &db, const QList<Song> &songs, qint64 generation, int firstPosition)
{
    SqliteTransaction transaction(db);
    int position = firstPosition;
    for (const Song &song : songs)
        upsertSong(db, song, LibraryMode::sync, position++, generation);
    transaction.commit();
}

int finishSync(SqliteConnection &db, LocalDatabase::LibraryKind kind, qint64 generation)
{
    SqliteTransaction transaction(db);
    int removed = 0;
    switch (kind) {
    case LocalDatabase::LibraryKind::playlists:
        db.query("DELETE FROM playlists WHERE generation < ?1").bindAll(generation).run();
        removed = db.changes();
        removeOrphanSongs(db);
        break;
    case LocalDatabase::LibraryKind::albums:
        db.query("DELETE FROM albums WHERE generation < ?1").bindAll(generation).run();
        removed = db.changes();
        break;
    case LocalDatabase::LibraryKind::artists:
        db.query("DELETE FROM artists WHERE generation < ?1").bindAll(generation).run();
        removed = db.changes();
        break;
    case LocalDatabase::LibraryKind::songs:
        // Songs that left the library stay while a playlist still holds them.
        db.query("UPDATE songs SET library_order = NULL WHERE library_order IS NOT NULL AND generation < ?1")
            .bindAll(generation)
            .run();
        removed = db.changes();
        removeOrphanSongs(db);
        break;
    }
    transaction.commit();
    return removed;
}

void storePlaylistContents(SqliteConnection &db, const QList<std::pair<QString, QList<Song>>> &contents)
{
    SqliteTransaction transaction(db);
    for (const auto &[playlistID, songs] : contents) {
        SqliteQuery find = db.query("SELECT pk FROM playlists WHERE id = ?1");
        find.bindAll(playlistID);
        if (!find.next()) {
            Log::info(Log::sync(), "Skipped the contents of the unknown playlist %@", playlistID);
            continue;
        }
        const qint64 playlist = find.int64(0);
        find.reset();
        db.query("DELETE FROM playlist_entries WHERE playlist = ?1").bindAll(playlist).run();
        int position = 0;
        for (const Song &song : songs) {
            // A library song is kept up to date by the library's own sync: only songs known from
            // playlists alone are stored from here.
            std::optional<qint64> pk;
            {
                SqliteQuery known = db.query("SELECT pk FROM songs WHERE id = ?1 AND library_order IS NOT NULL");
                known.bindAll(song.id.rawValue());
                if (known.next())
                    pk = known.int64(0);
            }
            if (!pk) {
                const auto stored = upsertSong(db, song, LibraryMode::keep, std::nullopt, 0);
                if (!stored)
                    continue;
                pk = stored->pk;
            }
            db.query("INSERT INTO playlist_entries(playlist, position, song) VALUES (?1, ?2, ?3)")
                .bindAll(playlist, position++, *pk)
                .run();
        }
        db.query("UPDATE playlists SET contents_synced = 1 WHERE pk = ?1").bindAll(playlist).run();
    }
    removeOrphanSongs(db);
    transaction.commit();
}

QList<LocalSong> storeAlbumSongs(SqliteConnection &db, const LocalAlbum &album, const QList<Song> &songs)
{
    SqliteTransaction transaction(db);
    const QList<LocalSong> before = StoreReads::albumSongs(db, album.title, album.artistName);
    QList<LocalSong> result = storeCollectionSongs(db, songs, before);
    transaction.commit();
    return result;
}

QList<LocalSong> storeArtistSongs(SqliteConnection &db, const LocalArtist &artist, const QList<Song> &songs)
{
    SqliteTransaction transaction(db);
    const QList<LocalSong> before = StoreReads::artistSongs(db, artist.name);
    QList<LocalSong> result = storeCollectionSongs(db, songs, before);
    transaction.commit();
    return result;
}

void addLibrarySongs(SqliteConnection &db, const QList<Song> &songs)
{
    SqliteTransaction transaction(db);
    int next = nextLibraryPosition(db);
    for (const Song &song : songs) {
        const auto stored = upsertSong(db, song, LibraryMode::join, next, 0);
        if (stored && stored->libraryOrder == next)
            ++next;
    }
    transaction.commit();
}

} // namespace StoreWrites

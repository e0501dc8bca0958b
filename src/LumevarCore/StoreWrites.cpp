#include "LumevarCore/StoreWrites.h"

#include "LumevarCore/Sqlite.h"
#include "LumevarCore/StoreReads.h"
#include "LumevarCore/StoreSchema.h"
#include "LumevarCore/StoreState.h"
#include "LumevarCore/TextKeys.h"
#include "Support/Log.h"

#include <QMutex>
#include <QSet>
#include <algorithm>
#include <cmath>
#include <functional>

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

std::optional<QByteArray> keyOf(TextKeys::RepeatedTexts &texts, const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    return texts.key(*text);
}

std::optional<QString> foldOf(TextKeys::RepeatedTexts &texts, const std::optional<QString> &text)
{
    if (!text)
        return std::nullopt;
    return texts.fold(*text);
}

std::optional<qint64> hashOf(const std::optional<QString> &folded)
{
    if (!folded)
        return std::nullopt;
    return TextKeys::foldHash(*folded);
}

std::optional<QString> storedArtwork(const std::optional<Artwork> &artwork, QString *checkedAddress = nullptr)
{
    if (!artwork || artwork->urlTemplate().isEmpty())
        return std::nullopt;
    return StoreWrites::artworkText(*artwork, checkedAddress);
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
        LUMEVAR_ERROR(Log::sync(), "The %@ %@ has no name; stored as \"Unknown\"", kind, id);
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

constexpr const char *songValues =
    "songs(id, title, artist, album, album_artist, genre, duration, release_date, added_date,"
    " track, disc, artwork, play_id, play_kind, library_order, generation, title_key, artist_key, album_key,"
    " genre_key, title_fold, artist_fold, album_fold, album_artist_fold, digest, album_hash, artist_hash,"
    " album_artist_hash)"
    " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17, ?18, ?19, ?20, ?21, ?22, ?23,"
    " ?24, ?26, ?27, ?28, ?29)";

// Adds a new row; leaves an existing one alone (a song listed twice).
const QByteArray insertSongSQL = QByteArray("INSERT OR IGNORE INTO ") + songValues;

// Adds or updates a row; ?25 is the LibraryMode.
const QByteArray upsertSongSQL = QByteArray("INSERT INTO ") + songValues +
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
    " album_fold = excluded.album_fold, album_artist_fold = excluded.album_artist_fold, digest = excluded.digest,"
    " album_hash = excluded.album_hash, artist_hash = excluded.artist_hash,"
    " album_artist_hash = excluded.album_artist_hash"
    " RETURNING pk, library_order";

struct StoredSong {
    qint64 pk = 0;
    std::optional<int> libraryOrder;
};

std::optional<QDateTime> storedDate(const std::optional<QDateTime> &date)
{
    // The store keeps whole milliseconds in UTC; records carry exactly what a read gives back.
    if (!date || !date->isValid())
        return std::nullopt;
    return QDateTime::fromMSecsSinceEpoch(date->toMSecsSinceEpoch(), Qt::UTC);
}

// The song as the store keeps it; nullopt (with a log line) when it cannot be stored.
std::optional<SongRow> cleanSong(const Song &song, QString *checkedAddress)
{
    SongRow row;
    row.id = StoreWrites::cleanText(song.id.rawValue()).trimmed();
    if (row.id.isEmpty()) {
        LUMEVAR_ERROR(Log::sync(), "Skipped a song without an id (title \"%@\")", song.title);
        return std::nullopt;
    }
    row.title = titleOrPlaceholder(song.title, "song", row.id);
    row.artist = cleanOptional(song.artistName);
    row.album = cleanOptional(song.albumTitle);
    row.albumArtist = cleanOptional(song.albumArtistName);
    row.genre = firstGenre(song.genreNames);
    row.duration = StoreWrites::cleanDuration(song.duration);
    if (row.duration != song.duration)
        LUMEVAR_ERROR(Log::sync(), "The song %@ has an impossible duration %f; stored as 0", row.id, song.duration);
    row.releaseDate = storedDate(song.releaseDate);
    row.addedDate = storedDate(song.libraryAddedDate);
    if (song.trackNumber && *song.trackNumber >= 0)
        row.track = *song.trackNumber;
    if (song.discNumber && *song.discNumber >= 0)
        row.disc = *song.discNumber;
    row.artwork = storedArtwork(song.artwork, checkedAddress);
    if (song.playParameters && !song.playParameters->id.isEmpty()) {
        row.playID = song.playParameters->id.rawValue();
        row.playKind = song.playParameters->kind;
    }
    return row;
}

// The library position a song takes in each mode, given the one it has.
std::optional<int> libraryOrderFor(LibraryMode mode, std::optional<int> current, std::optional<int> given)
{
    switch (mode) {
    case LibraryMode::sync: return given;
    case LibraryMode::keep: return current;
    case LibraryMode::join: return current ? current : given;
    }
    return current;
}

// What the store holds under a song's id: from the sync's index while one is loaded, else by
// one indexed query. nullopt when no row has the id.
std::optional<SongIndex::Entry> storedSong(StoreState &store, const QString &id)
{
    if (store.songIndex.isLoaded()) {
        const SongIndex::Entry *entry = store.songIndex.find(id);
        return entry ? std::optional(*entry) : std::nullopt;
    }
    SqliteQuery existing = store.db.query("SELECT pk, digest, library_order FROM songs WHERE id = ?1");
    existing.bindAll(id);
    if (!existing.next())
        return std::nullopt;
    SongIndex::Entry entry{existing.int64(0)};
    if (!existing.isNull(1))
        entry.digest = existing.int64(1);
    if (!existing.isNull(2))
        entry.libraryOrder = int(existing.int64(2));
    return entry;
}

// Stores one song and keeps its record in step; nullopt (with a log line) when the song cannot
// be stored. A song whose values are those already stored only has its library columns touched.
// A song not stored yet (every song of a sync filling an empty table) is inserted plainly.
std::optional<StoredSong> upsertSong(StoreState &store, const StoreWrites::PreparedSong &song, LibraryMode mode,
                                     std::optional<int> libraryOrder, qint64 generation, bool fillingEmptyTable = false)
{
    const SongRow *row = &song.row;
    const qint64 digest = song.digest;
    SqliteConnection &db = store.db;
    // A table without library songs may still hold songs known from playlists: the plain insert
    // below falls back to the upsert for those.
    const std::optional<SongIndex::Entry> existing =
        fillingEmptyTable && !store.songIndex.isLoaded() ? std::nullopt : storedSong(store, row->id);
    if (existing && existing->digest == digest) {
        StoredSong stored{existing->pk, existing->libraryOrder};
        const std::optional<int> order = libraryOrderFor(mode, stored.libraryOrder, libraryOrder);
        if (mode == LibraryMode::sync && order == stored.libraryOrder)
            store.unchangedSongs[generation].insert(stored.pk); // seen, and nothing to write
        else if (mode == LibraryMode::sync)
            db.query("UPDATE songs SET library_order = ?2, generation = ?3 WHERE pk = ?1").bindAll(stored.pk, order, generation).run();
        else if (order != stored.libraryOrder)
            db.query("UPDATE songs SET library_order = ?2 WHERE pk = ?1").bindAll(stored.pk, order).run();
        if (order != stored.libraryOrder) {
            store.songs.libraryOrderChanged(stored.pk, order);
            store.songIndex.libraryOrderChanged(row->id, order);
        }
        stored.libraryOrder = order;
        return stored;
    }

    auto bindRow = [&](SqliteQuery &q) {
        q.bindAll(row->id, row->title, row->artist, row->album, row->albumArtist, row->genre, row->duration, row->releaseDate,
                  row->addedDate, row->track, row->disc, row->artwork, row->playID, row->playKind, libraryOrder, generation,
                  song.titleKey, song.artistKey, song.albumKey, song.genreKey, song.titleFold, song.artistFold,
                  song.albumFold, song.albumArtistFold, int(mode), digest, song.albumHash, song.artistHash,
                  song.albumArtistHash);
    };
    StoredSong stored;
    if (!existing) {
        // A plain insert: no conflict clause and no RETURNING, each of which costs on every row.
        SqliteQuery insert = db.query(insertSongSQL);
        bindRow(insert);
        insert.run();
        if (db.changes() > 0) {
            stored = {db.lastInsertRowID(), libraryOrder};
            store.songs.stored(stored.pk, song.record, row->artwork, stored.libraryOrder);
            store.songIndex.stored(row->id, {stored.pk, digest, stored.libraryOrder});
            return stored;
        }
    }
    SqliteQuery upsert = db.query(upsertSongSQL);
    bindRow(upsert);
    if (!upsert.next())
        return std::nullopt;
    stored.pk = upsert.int64(0);
    if (!upsert.isNull(1))
        stored.libraryOrder = int(upsert.int64(1));
    store.songs.stored(stored.pk, song.record, row->artwork, stored.libraryOrder);
    store.songIndex.stored(row->id, {stored.pk, digest, stored.libraryOrder});
    return stored;
}

std::optional<StoredSong> upsertSong(StoreState &store, const Song &song, LibraryMode mode, std::optional<int> libraryOrder,
                                     qint64 generation)
{
    const std::optional<StoreWrites::PreparedSong> prepared = StoreWrites::prepareSong(song, *store.repeatedTexts);
    if (!prepared)
        return std::nullopt;
    return upsertSong(store, *prepared, mode, libraryOrder, generation);
}

// Removes the songs among the candidates that neither the library nor any playlist holds.
void removeOrphanSongs(StoreState &store, const QSet<qint64> &candidates)
{
    for (const qint64 pk : candidates) {
        store.db.query("DELETE FROM songs WHERE pk = ?1 AND library_order IS NULL"
                       " AND NOT EXISTS (SELECT 1 FROM playlist_entries e WHERE e.song = ?1)")
            .bindAll(pk)
            .run();
        if (store.db.changes() > 0) {
            store.songs.removed(pk);
            // The index knows rows by id only: it is read again when next needed.
            store.songIndex.forget();
        }
    }
}

// Runs a statement that returns the pk of each row it touched.
QSet<qint64> touchedRows(SqliteQuery &query)
{
    const std::vector<qint64> rows = StoreReads::rowsOf(query);
    return QSet<qint64>(rows.begin(), rows.end());
}

// Takes the songs out of the library (playlists may still hold them).
void leaveLibrary(StoreState &store, const QSet<qint64> &left)
{
    for (const qint64 pk : left)
        store.songs.libraryOrderChanged(pk, std::nullopt);
    if (!left.isEmpty())
        store.songIndex.forget(); // it knows rows by id only: read again when next needed
    removeOrphanSongs(store, left);
}

int nextLibraryPosition(StoreState &store)
{
    if (const std::optional<int> next = store.songs.nextLibraryPosition())
        return *next;
    return int(store.db.scalar("SELECT coalesce(max(library_order) + 1, 0) FROM songs"));
}

// Stores the songs of a collection listing: they join the library (keeping positions they have)
// and are refreshed. Nothing leaves the library here: a song the listing lacks may still be in the
// library (the service may file it elsewhere, or count it differently), and only a listing of the
// library itself can tell. Returns the collection as the store reads it (stored holds it after the
// writes), with listed songs the read does not find after it, in the listing's order.
QList<LocalSong> storeCollectionSongs(StoreState &store, const QList<Song> &songs,
                                      const std::function<QList<LocalSong>()> &stored)
{
    int next = nextLibraryPosition(store);
    QList<qint64> listed;
    for (const Song &song : songs) {
        const auto row = upsertSong(store, song, LibraryMode::join, next, 0);
        if (!row)
            continue;
        if (row->libraryOrder == next)
            ++next;
        listed.append(row->pk);
    }
    QList<LocalSong> result = stored();
    QSet<QString> found;
    for (const LocalSong &song : std::as_const(result))
        found.insert(song.identifier);
    for (const qint64 pk : std::as_const(listed)) {
        const LocalSong *record = store.songs.find(store.db, pk);
        if (!record || found.contains(record->identifier))
            continue;
        found.insert(record->identifier);
        result.append(*record);
    }
    for (qsizetype i = 0; i < result.size(); ++i)
        result[i].order = int(i);
    return result;
}

} // namespace

namespace StoreWrites {

QString artworkText(const Artwork &artwork, QString *checkedAddress)
{
    const QString size = QString::number(recordArtworkSize);
    QString text = artwork.urlTemplate();
    text.replace(QStringLiteral("{w}"), size);
    text.replace(QStringLiteral("{h}"), size);
    // Nearly every template is an address QUrl writes as it is, then a query of plain characters,
    // which QUrl leaves alone too: the address is checked through QUrl once per batch (a page of
    // a sync's songs shares one) and the text kept, since QUrl's reader costs more than the rest
    // of a song's preparation.
    const qsizetype query = text.indexOf(u'?');
    const bool plainQuery = query >= 0 && std::all_of(text.cbegin() + query + 1, text.cend(), [](QChar c) {
        return c.unicode() < 128 && (c.isLetterOrNumber() || c == u'-' || c == u'.' || c == u'_' || c == u'~' || c == u'=' || c == u'&');
    });
    if (plainQuery) {
        const QStringView address = QStringView(text).left(query);
        if (checkedAddress && address == *checkedAddress)
            return text;
        if (!address.contains(u'#') && QUrl(address.toString()).toString() == address) {
            if (checkedAddress)
                *checkedAddress = address.toString();
            return text;
        }
    }
    return QUrl(text).toString();
}

QString cleanText(const QString &text)
{
    bool clean = true;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        // Printable ASCII, nearly every character of a library, needs no table lookup.
        if (c.unicode() >= 0x20 && c.unicode() < 0x7f)
            continue;
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
    LUMEVAR_ERROR(Log::sync(), "Removed invalid characters from \"%@\"", cleaned);
    return cleaned;
}

double cleanDuration(double seconds)
{
    if (!std::isfinite(seconds) || seconds < 0 || seconds > longestDuration)
        return 0;
    return seconds;
}

qint64 beginSync(StoreState &store, LocalDatabase::LibraryKind kind)
{
    SqliteConnection &db = store.db;
    SqliteTransaction transaction(db);
    // One counter for every kind: generations only ever grow, so a row marked by any earlier
    // sync is older than the one being handed out.
    const qint64 generation = db.scalar("SELECT coalesce((SELECT value FROM meta WHERE key = 'generation'), 0)") + 1;
    db.query("INSERT OR REPLACE INTO meta(key, value) VALUES ('generation', ?1)").bindAll(generation).run();
    // A sync into an empty table (the first one) builds the table's indexes once, at its end.
    static constexpr const char *emptyTests[] = {
        "SELECT NOT EXISTS (SELECT 1 FROM playlists)",
        "SELECT NOT EXISTS (SELECT 1 FROM albums)",
        "SELECT NOT EXISTS (SELECT 1 FROM artists)",
        "SELECT NOT EXISTS (SELECT 1 FROM songs WHERE library_order IS NOT NULL)",
    };
    if (db.scalar(emptyTests[size_t(kind)])) {
        StoreSchema::suspendIndexes(db, kind);
        // The song records, on the other hand, are kept up row by row: making each as it is
        // stored costs next to nothing, and the first song list after the sync then finds them
        // in memory instead of reading the whole table again (0.4 s at 100,000 songs).
        if (kind == LocalDatabase::LibraryKind::songs)
            store.songs.preload(db);
    }
    transaction.commit();
    return generation;
}

void storePlaylists(SqliteConnection &db, const QList<Playlist> &playlists, qint64 generation)
{
    SqliteTransaction transaction(db);
    for (const Playlist &playlist : playlists) {
        const QString id = cleanText(playlist.id.rawValue()).trimmed();
        if (id.isEmpty()) {
            LUMEVAR_ERROR(Log::sync(), "Skipped a playlist without an id (name \"%@\")", playlist.name);
            continue;
        }
        const QString name = titleOrPlaceholder(playlist.name, "playlist", id);
        SqliteQuery q = db.query(
            "INSERT INTO playlists(id, name, added_date, artwork, generation, name_key, name_fold)"
            " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)"
            " ON CONFLICT(id) DO UPDATE SET name = excluded.name, added_date = excluded.added_date,"
            " artwork = excluded.artwork, generation = excluded.generation, name_key = excluded.name_key,"
            " name_fold = excluded.name_fold");
        q.bindAll(id, name, playlist.libraryAddedDate, storedArtwork(playlist.artwork), generation,
                  TextKeys::collationKey(name), TextKeys::fold(name));
        q.run();
    }
    transaction.commit();
}

void storeAlbums(StoreState &store, const QList<Album> &albums, qint64 generation)
{
    SqliteConnection &db = store.db;
    TextKeys::RepeatedTexts &texts = *store.repeatedTexts;
    SqliteTransaction transaction(db);
    for (const Album &album : albums) {
        const QString id = cleanText(album.id.rawValue()).trimmed();
        if (id.isEmpty()) {
            LUMEVAR_ERROR(Log::sync(), "Skipped an album without an id (title \"%@\")", album.title);
            continue;
        }
        const QString title = titleOrPlaceholder(album.title, "album", id);
        const auto artist = cleanOptional(album.artistName);
        const auto genre = firstGenre(album.genreNames);
        SqliteQuery q = db.query(
            "INSERT INTO albums(id, title, artist, genre, release_date, added_date, artwork, generation,"
            " title_key, artist_key, genre_key, title_fold, artist_fold)"
            " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13)"
            " ON CONFLICT(id) DO UPDATE SET title = excluded.title, artist = excluded.artist, genre = excluded.genre,"
            " release_date = excluded.release_date, added_date = excluded.added_date, artwork = excluded.artwork,"
            " generation = excluded.generation, title_key = excluded.title_key, artist_key = excluded.artist_key,"
            " genre_key = excluded.genre_key, title_fold = excluded.title_fold, artist_fold = excluded.artist_fold");
        q.bindAll(id, title, artist, genre, album.releaseDate, album.libraryAddedDate, storedArtwork(album.artwork),
                  generation, TextKeys::collationKey(title), keyOf(texts, artist), keyOf(texts, genre), TextKeys::fold(title),
                  artist ? std::optional(TextKeys::fold(*artist)) : std::nullopt);
        q.run();
    }
    transaction.commit();
}

void storeArtists(StoreState &store, const QList<Artist> &artists, qint64 generation)
{
    SqliteConnection &db = store.db;
    TextKeys::RepeatedTexts &texts = *store.repeatedTexts;
    SqliteTransaction transaction(db);
    for (const Artist &artist : artists) {
        const QString id = cleanText(artist.id.rawValue()).trimmed();
        if (id.isEmpty()) {
            LUMEVAR_ERROR(Log::sync(), "Skipped an artist without an id (name \"%@\")", artist.name);
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
        q.bindAll(id, name, genre, storedArtwork(artist.artwork), generation, TextKeys::collationKey(name), keyOf(texts, genre),
                  TextKeys::fold(name));
        q.run();
    }
    transaction.commit();
}

std::optional<PreparedSong> prepareSong(const Song &song, TextKeys::RepeatedTexts &texts, QString *checkedAddress)
{
    std::optional<SongRow> row = cleanSong(song, checkedAddress);
    if (!row)
        return std::nullopt;
    PreparedSong prepared;
    prepared.digest = row->digest();
    prepared.titleKey = TextKeys::collationKey(row->title);
    prepared.artistKey = keyOf(texts, row->artist);
    prepared.albumKey = keyOf(texts, row->album);
    prepared.genreKey = keyOf(texts, row->genre);
    prepared.titleFold = TextKeys::fold(row->title);
    prepared.artistFold = foldOf(texts, row->artist);
    prepared.albumFold = foldOf(texts, row->album);
    prepared.albumArtistFold = foldOf(texts, row->albumArtist);
    prepared.albumHash = hashOf(prepared.albumFold);
    prepared.artistHash = hashOf(prepared.artistFold);
    prepared.albumArtistHash = hashOf(prepared.albumArtistFold);
    prepared.record = SongRecords::recordOf(*row);
    prepared.row = std::move(*row);
    return prepared;
}

QList<std::optional<PreparedSong>> prepareSongs(const QList<Song> &songs, TextKeys::RepeatedTexts &texts)
{
    QList<std::optional<PreparedSong>> prepared;
    prepared.reserve(songs.size());
    QString checkedAddress;
    for (const Song &song : songs)
        prepared.append(prepareSong(song, texts, &checkedAddress));
    return prepared;
}

void storeLibrarySongs(StoreState &store, const QList<std::optional<PreparedSong>> &songs, qint64 generation, int firstPosition)
{
    SqliteTransaction transaction(store.db);
    const bool fillingEmptyTable = StoreSchema::indexesSuspended(store.db, LocalDatabase::LibraryKind::songs);
    // Looking every song up in memory costs a fraction of one indexed query per song.
    store.songIndex.ensureLoaded(store.db);
    int position = firstPosition;
    for (const std::optional<PreparedSong> &song : songs) {
        // A song that cannot be stored keeps its place in the order: positions follow the service's.
        if (song)
            upsertSong(store, *song, LibraryMode::sync, position, generation, fillingEmptyTable);
        ++position;
    }
    transaction.commit();
}

int finishSync(StoreState &store, LocalDatabase::LibraryKind kind, qint64 generation)
{
    SqliteConnection &db = store.db;
    SqliteTransaction transaction(db);
    int removed = 0;
    switch (kind) {
    case LocalDatabase::LibraryKind::playlists: {
        // The songs of the playlists that go may be held by nothing else.
        SqliteQuery held = db.query("SELECT e.song FROM playlist_entries e JOIN playlists p ON p.pk = e.playlist"
                                    " WHERE p.generation < ?1");
        held.bindAll(generation);
        const QSet<qint64> candidates = touchedRows(held);
        db.query("DELETE FROM playlists WHERE generation < ?1").bindAll(generation).run();
        removed = db.changes();
        removeOrphanSongs(store, candidates);
        break;
    }
    case LocalDatabase::LibraryKind::albums:
        db.query("DELETE FROM albums WHERE generation < ?1").bindAll(generation).run();
        removed = db.changes();
        break;
    case LocalDatabase::LibraryKind::artists:
        db.query("DELETE FROM artists WHERE generation < ?1").bindAll(generation).run();
        removed = db.changes();
        break;
    case LocalDatabase::LibraryKind::songs: {
        // Rows this sync (or a later one still running) neither wrote nor found unchanged left
        // the library; they stay as songs while a playlist holds them.
        QSet<qint64> seen = store.unchangedSongs.take(generation);
        for (auto later = store.unchangedSongs.cbegin(); later != store.unchangedSongs.cend(); ++later) {
            if (later.key() > generation)
                seen += later.value();
        }
        SqliteQuery older = db.query("SELECT pk FROM songs WHERE library_order IS NOT NULL AND generation < ?1");
        older.bindAll(generation);
        QSet<qint64> left = touchedRows(older);
        left -= seen;
        SqliteQuery leave = db.query("UPDATE songs SET library_order = NULL WHERE pk = ?1");
        for (const qint64 pk : std::as_const(left)) {
            leave.bindAll(pk);
            leave.run();
            leave.reset();
        }
        removed = int(left.size());
        leaveLibrary(store, left);
        break;
    }
    }
    // The songs' indexes (their lookups and their full-text index) are most of what ending a
    // first sync costs, about 1 s at 100,000 songs: they are built later, so that the lists come
    // first. Meanwhile the few reads that would use a lookup scan the table instead.
    const bool indexesLater = kind == LocalDatabase::LibraryKind::songs && StoreSchema::indexesSuspended(db, kind);
    if (!indexesLater)
        StoreSchema::restoreIndexes(db, kind);
    transaction.commit();
    if (indexesLater)
        store.songIndexesPending = true;
    return removed;
}

void buildPendingIndexes(StoreState &store, PendingIndexes which)
{
    if (!store.songIndexesPending)
        return;
    SqliteTransaction transaction(store.db);
    switch (which) {
    case PendingIndexes::lookups: StoreSchema::restoreLookups(store.db, LocalDatabase::LibraryKind::songs); break;
    case PendingIndexes::search: StoreSchema::restoreSearch(store.db, LocalDatabase::LibraryKind::songs); break;
    case PendingIndexes::all: StoreSchema::restoreIndexes(store.db, LocalDatabase::LibraryKind::songs); break;
    }
    transaction.commit();
    if (which == PendingIndexes::all)
        store.songIndexesPending = false;
}

void abandonSync(StoreState &store, LocalDatabase::LibraryKind kind, qint64 generation)
{
    store.unchangedSongs.remove(generation);
    SqliteTransaction transaction(store.db);
    StoreSchema::restoreIndexes(store.db, kind);
    transaction.commit();
    if (kind == LocalDatabase::LibraryKind::songs)
        store.songIndexesPending = false;
}

void storePlaylistContents(StoreState &store, const QList<std::pair<QString, QList<Song>>> &contents,
                           LocalDatabase::SongLookup lookup)
{
    SqliteConnection &db = store.db;
    SqliteTransaction transaction(db);
    // A sync of every playlist resolves its entries in memory, not with one query each.
    if (lookup == LocalDatabase::SongLookup::wholeLibrary)
        store.songIndex.ensureLoaded(db);
    QSet<qint64> dropped;
    for (const auto &[playlistID, songs] : contents) {
        SqliteQuery find = db.query("SELECT pk FROM playlists WHERE id = ?1");
        find.bindAll(playlistID);
        if (!find.next()) {
            LUMEVAR_INFO(Log::sync(), "Skipped the contents of the unknown playlist %@", playlistID);
            continue;
        }
        const qint64 playlist = find.int64(0);
        find.reset();
        std::vector<qint64> entries;
        entries.reserve(size_t(songs.size()));
        for (const Song &song : songs) {
            // A library song is kept up to date by the library's own sync: only songs known from
            // playlists alone are stored from here.
            std::optional<qint64> pk;
            if (const auto known = storedSong(store, song.id.rawValue()); known && known->libraryOrder)
                pk = known->pk;
            else {
                const auto stored = upsertSong(store, song, LibraryMode::keep, std::nullopt, 0);
                if (!stored)
                    continue;
                pk = stored->pk;
            }
            entries.push_back(*pk);
        }
        // A playlist that has not changed, the common case of a daily sync, is left as it is.
        SqliteQuery current = db.query("SELECT song FROM playlist_entries WHERE playlist = ?1 ORDER BY position");
        current.bindAll(playlist);
        if (StoreReads::rowsOf(current) != entries) {
            SqliteQuery clear = db.query("DELETE FROM playlist_entries WHERE playlist = ?1 RETURNING song");
            clear.bindAll(playlist);
            dropped += touchedRows(clear);
            SqliteQuery insert = db.query("INSERT INTO playlist_entries(playlist, position, song) VALUES (?1, ?2, ?3)");
            for (size_t position = 0; position < entries.size(); ++position) {
                insert.bindAll(playlist, qint64(position), entries[position]);
                insert.run();
                insert.reset();
            }
        }
        db.query("UPDATE playlists SET contents_synced = 1 WHERE pk = ?1 AND contents_synced = 0").bindAll(playlist).run();
    }
    removeOrphanSongs(store, dropped);
    transaction.commit();
}

QList<LocalSong> storeAlbumSongs(StoreState &store, const LocalAlbum &album, const QList<Song> &songs)
{
    SqliteTransaction transaction(store.db);
    QList<LocalSong> result = storeCollectionSongs(store, songs, [&store, &album] {
        return StoreReads::albumSongs(store.db, store.songs, album.title, album.artistName);
    });
    transaction.commit();
    return result;
}

QList<LocalSong> storeArtistSongs(StoreState &store, const LocalArtist &artist, const QList<Song> &songs)
{
    SqliteTransaction transaction(store.db);
    QList<LocalSong> result = storeCollectionSongs(store, songs, [&store, &artist] {
        return StoreReads::artistSongs(store.db, store.songs, artist.name);
    });
    transaction.commit();
    return result;
}

void addLibrarySongs(StoreState &store, const QList<Song> &songs)
{
    SqliteTransaction transaction(store.db);
    int next = nextLibraryPosition(store);
    for (const Song &song : songs) {
        const auto stored = upsertSong(store, song, LibraryMode::join, next, 0);
        if (stored && stored->libraryOrder == next)
            ++next;
    }
    transaction.commit();
}

void removeLibraryItems(StoreState &store, LocalDatabase::LibraryKind kind, const QStringList &ids)
{
    SqliteConnection &db = store.db;
    SqliteTransaction transaction(db);
    switch (kind) {
    case LocalDatabase::LibraryKind::playlists: {
        // The songs of the playlists that go may be held by nothing else.
        QSet<qint64> candidates;
        for (const QString &id : ids) {
            SqliteQuery held = db.query("SELECT e.song FROM playlist_entries e JOIN playlists p ON p.pk = e.playlist"
                                        " WHERE p.id = ?1");
            held.bindAll(id);
            candidates += touchedRows(held);
            db.query("DELETE FROM playlists WHERE id = ?1").bindAll(id).run();
        }
        removeOrphanSongs(store, candidates);
        break;
    }
    case LocalDatabase::LibraryKind::albums:
    case LocalDatabase::LibraryKind::artists: {
        const char *sql = kind == LocalDatabase::LibraryKind::albums ? "DELETE FROM albums WHERE id = ?1"
                                                                       : "DELETE FROM artists WHERE id = ?1";
        for (const QString &id : ids)
            db.query(sql).bindAll(id).run();
        break;
    }
    case LocalDatabase::LibraryKind::songs: {
        // They leave the library; they stay as songs while a playlist holds them.
        QSet<qint64> left;
        for (const QString &id : ids) {
            SqliteQuery leave = db.query("UPDATE songs SET library_order = NULL WHERE id = ?1 AND library_order IS NOT NULL"
                                         " RETURNING pk");
            leave.bindAll(id);
            left += touchedRows(leave);
        }
        leaveLibrary(store, left);
        break;
    }
    }
    transaction.commit();
}

} // namespace StoreWrites

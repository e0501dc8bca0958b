#include "LumevarCore/StoreSchema.h"

#include "LumevarCore/Sqlite.h"
#include "LumevarCore/TextKeys.h"
#include "Support/Error.h"
#include "Support/Log.h"

#include <array>

namespace {

// Rows are keyed by an integer pk; the service's id is a unique text beside it. *_key columns
// hold collation keys (sorting), *_fold columns folded text (prefix search, matching). A song
// with a library_order belongs to the library; one without it is known only from a playlist.
// generation marks the last sync that saw a row, so that a sync can sweep what it did not see.
constexpr const char *migration1 = R"sql(
CREATE TABLE meta(key TEXT PRIMARY KEY, value) WITHOUT ROWID;

CREATE TABLE songs(
  pk INTEGER PRIMARY KEY,
  id TEXT NOT NULL UNIQUE,
  title TEXT NOT NULL,
  artist TEXT,
  album TEXT,
  album_artist TEXT,
  genre TEXT,
  duration REAL NOT NULL DEFAULT 0,
  release_date INTEGER,
  added_date INTEGER,
  track INTEGER,
  disc INTEGER,
  artwork TEXT,
  play_id TEXT,
  play_kind TEXT,
  library_order INTEGER,
  generation INTEGER NOT NULL DEFAULT 0,
  title_key BLOB NOT NULL,
  artist_key BLOB,
  album_key BLOB,
  genre_key BLOB,
  title_fold TEXT NOT NULL,
  artist_fold TEXT,
  album_fold TEXT,
  album_artist_fold TEXT
);

CREATE TABLE albums(
  pk INTEGER PRIMARY KEY,
  id TEXT NOT NULL UNIQUE,
  title TEXT NOT NULL,
  artist TEXT,
  genre TEXT,
  release_date INTEGER,
  added_date INTEGER,
  artwork TEXT,
  generation INTEGER NOT NULL DEFAULT 0,
  title_key BLOB NOT NULL,
  artist_key BLOB,
  genre_key BLOB,
  title_fold TEXT NOT NULL
);

CREATE TABLE artists(
  pk INTEGER PRIMARY KEY,
  id TEXT NOT NULL UNIQUE,
  name TEXT NOT NULL,
  genre TEXT,
  artwork TEXT,
  generation INTEGER NOT NULL DEFAULT 0,
  name_key BLOB NOT NULL,
  genre_key BLOB,
  name_fold TEXT NOT NULL
);

CREATE TABLE playlists(
  pk INTEGER PRIMARY KEY,
  id TEXT NOT NULL UNIQUE,
  name TEXT NOT NULL,
  added_date INTEGER,
  artwork TEXT,
  generation INTEGER NOT NULL DEFAULT 0,
  contents_synced INTEGER NOT NULL DEFAULT 0,
  name_key BLOB NOT NULL,
  name_fold TEXT NOT NULL
);

CREATE TABLE playlist_entries(
  playlist INTEGER NOT NULL REFERENCES playlists(pk) ON DELETE CASCADE,
  position INTEGER NOT NULL,
  song INTEGER NOT NULL REFERENCES songs(pk) ON DELETE CASCADE,
  PRIMARY KEY(playlist, position)
) WITHOUT ROWID;
CREATE INDEX playlist_entries_by_song ON playlist_entries(song);

-- Full-text indexes over the searchable texts, kept in step by the triggers below.
CREATE VIRTUAL TABLE songs_search USING fts5(title, artist, album, content='songs', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='2 3');
CREATE VIRTUAL TABLE albums_search USING fts5(title, artist, content='albums', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='2 3');
CREATE VIRTUAL TABLE artists_search USING fts5(name, content='artists', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='2 3');
CREATE VIRTUAL TABLE playlists_search USING fts5(name, content='playlists', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='2 3');
)sql";

// The fingerprint of a song's stored values: a sync rewrites only the rows whose values changed.
constexpr const char *migration2 = R"sql(
ALTER TABLE songs ADD COLUMN digest INTEGER;
)sql";

// The full-text indexes without positions or per-row sizes (search ranks its hits itself), and
// with one-letter prefixes indexed, so that "beach b" costs no more than "beach bu".
constexpr const char *migration3 = R"sql(
DROP TRIGGER IF EXISTS songs_search_insert;
DROP TRIGGER IF EXISTS songs_search_delete;
DROP TRIGGER IF EXISTS songs_search_update;
DROP TRIGGER IF EXISTS albums_search_insert;
DROP TRIGGER IF EXISTS albums_search_delete;
DROP TRIGGER IF EXISTS albums_search_update;
DROP TRIGGER IF EXISTS artists_search_insert;
DROP TRIGGER IF EXISTS artists_search_delete;
DROP TRIGGER IF EXISTS artists_search_update;
DROP TRIGGER IF EXISTS playlists_search_insert;
DROP TRIGGER IF EXISTS playlists_search_delete;
DROP TRIGGER IF EXISTS playlists_search_update;
DROP TABLE songs_search;
DROP TABLE albums_search;
DROP TABLE artists_search;
DROP TABLE playlists_search;
CREATE VIRTUAL TABLE songs_search USING fts5(title, artist, album, content='songs', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='1 2 3', detail='column', columnsize=0);
CREATE VIRTUAL TABLE albums_search USING fts5(title, artist, content='albums', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='1 2 3', detail='column', columnsize=0);
CREATE VIRTUAL TABLE artists_search USING fts5(name, content='artists', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='1 2 3', detail='column', columnsize=0);
CREATE VIRTUAL TABLE playlists_search USING fts5(name, content='playlists', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='1 2 3', detail='column', columnsize=0);
)sql";

// Albums and artists are looked up by the fingerprints of their folded names: an index of
// integers costs a third of an index of texts to build and to keep up. The library order needs no
// index of its own.
constexpr const char *migration4 = R"sql(
ALTER TABLE songs ADD COLUMN album_hash INTEGER;
ALTER TABLE songs ADD COLUMN artist_hash INTEGER;
ALTER TABLE songs ADD COLUMN album_artist_hash INTEGER;
DROP INDEX IF EXISTS songs_by_order;
DROP INDEX IF EXISTS songs_by_album_fold;
DROP INDEX IF EXISTS songs_by_artist_fold;
DROP INDEX IF EXISTS songs_by_album_artist_fold;
)sql";

// The full-text indexes over the folded texts (compatibility forms decomposed, accents and case
// removed) rather than the texts as written, so that the index and a query fold alike: "fire"
// finds "ﬁre", "abc" finds "ＡＢＣ". Albums keep their artist folded for it. The new triggers and
// the rebuild of the indexes come with restoreIndexes() right after.
constexpr const char *migration5 = R"sql(
ALTER TABLE albums ADD COLUMN artist_fold TEXT;
DROP TRIGGER IF EXISTS songs_search_insert;
DROP TRIGGER IF EXISTS songs_search_delete;
DROP TRIGGER IF EXISTS songs_search_update;
DROP TRIGGER IF EXISTS albums_search_insert;
DROP TRIGGER IF EXISTS albums_search_delete;
DROP TRIGGER IF EXISTS albums_search_update;
DROP TRIGGER IF EXISTS artists_search_insert;
DROP TRIGGER IF EXISTS artists_search_delete;
DROP TRIGGER IF EXISTS artists_search_update;
DROP TRIGGER IF EXISTS playlists_search_insert;
DROP TRIGGER IF EXISTS playlists_search_delete;
DROP TRIGGER IF EXISTS playlists_search_update;
DROP TABLE songs_search;
DROP TABLE albums_search;
DROP TABLE artists_search;
DROP TABLE playlists_search;
CREATE VIRTUAL TABLE songs_search USING fts5(title_fold, artist_fold, album_fold, content='songs', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='1 2 3', detail='column', columnsize=0);
CREATE VIRTUAL TABLE albums_search USING fts5(title_fold, artist_fold, content='albums', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='1 2 3', detail='column', columnsize=0);
CREATE VIRTUAL TABLE artists_search USING fts5(name_fold, content='artists', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='1 2 3', detail='column', columnsize=0);
CREATE VIRTUAL TABLE playlists_search USING fts5(name_fold, content='playlists', content_rowid='pk',
  tokenize='unicode61 remove_diacritics 2', prefix='1 2 3', detail='column', columnsize=0);
)sql";

// The secondary indexes and the full-text triggers of each library table. A sync that fills an
// empty table drops them first and makes them again at its end: building an index from sorted
// rows and the full-text index in one pass costs a fraction of keeping them up row by row.
struct TableIndexes {
    const char *table;
    const char *searchTable;
    const char *insertTrigger; // its absence means the full-text index was suspended
    const char *indexes;
    const char *triggers;
    const char *drop;
};

constexpr TableIndexes tableIndexes[] = {
    {"playlists", "playlists_search", "playlists_search_insert", R"sql(
CREATE INDEX IF NOT EXISTS playlists_by_name_fold ON playlists(name_fold);
)sql", R"sql(
CREATE TRIGGER IF NOT EXISTS playlists_search_insert AFTER INSERT ON playlists BEGIN
  INSERT INTO playlists_search(rowid, name_fold) VALUES (new.pk, new.name_fold);
END;
CREATE TRIGGER IF NOT EXISTS playlists_search_delete AFTER DELETE ON playlists BEGIN
  INSERT INTO playlists_search(playlists_search, rowid, name_fold) VALUES ('delete', old.pk, old.name_fold);
END;
CREATE TRIGGER IF NOT EXISTS playlists_search_update AFTER UPDATE ON playlists WHEN old.name_fold IS NOT new.name_fold BEGIN
  INSERT INTO playlists_search(playlists_search, rowid, name_fold) VALUES ('delete', old.pk, old.name_fold);
  INSERT INTO playlists_search(rowid, name_fold) VALUES (new.pk, new.name_fold);
END;
)sql", R"sql(
DROP INDEX IF EXISTS playlists_by_name_fold;
DROP TRIGGER IF EXISTS playlists_search_insert;
DROP TRIGGER IF EXISTS playlists_search_delete;
DROP TRIGGER IF EXISTS playlists_search_update;
)sql"},
    {"albums", "albums_search", "albums_search_insert", R"sql(
CREATE INDEX IF NOT EXISTS albums_by_title_fold ON albums(title_fold);
)sql", R"sql(
CREATE TRIGGER IF NOT EXISTS albums_search_insert AFTER INSERT ON albums BEGIN
  INSERT INTO albums_search(rowid, title_fold, artist_fold) VALUES (new.pk, new.title_fold, new.artist_fold);
END;
CREATE TRIGGER IF NOT EXISTS albums_search_delete AFTER DELETE ON albums BEGIN
  INSERT INTO albums_search(albums_search, rowid, title_fold, artist_fold) VALUES ('delete', old.pk, old.title_fold, old.artist_fold);
END;
CREATE TRIGGER IF NOT EXISTS albums_search_update AFTER UPDATE ON albums
WHEN old.title_fold IS NOT new.title_fold OR old.artist_fold IS NOT new.artist_fold BEGIN
  INSERT INTO albums_search(albums_search, rowid, title_fold, artist_fold) VALUES ('delete', old.pk, old.title_fold, old.artist_fold);
  INSERT INTO albums_search(rowid, title_fold, artist_fold) VALUES (new.pk, new.title_fold, new.artist_fold);
END;
)sql", R"sql(
DROP INDEX IF EXISTS albums_by_title_fold;
DROP TRIGGER IF EXISTS albums_search_insert;
DROP TRIGGER IF EXISTS albums_search_delete;
DROP TRIGGER IF EXISTS albums_search_update;
)sql"},
    {"artists", "artists_search", "artists_search_insert", R"sql(
CREATE INDEX IF NOT EXISTS artists_by_name_fold ON artists(name_fold);
)sql", R"sql(
CREATE TRIGGER IF NOT EXISTS artists_search_insert AFTER INSERT ON artists BEGIN
  INSERT INTO artists_search(rowid, name_fold) VALUES (new.pk, new.name_fold);
END;
CREATE TRIGGER IF NOT EXISTS artists_search_delete AFTER DELETE ON artists BEGIN
  INSERT INTO artists_search(artists_search, rowid, name_fold) VALUES ('delete', old.pk, old.name_fold);
END;
CREATE TRIGGER IF NOT EXISTS artists_search_update AFTER UPDATE ON artists WHEN old.name_fold IS NOT new.name_fold BEGIN
  INSERT INTO artists_search(artists_search, rowid, name_fold) VALUES ('delete', old.pk, old.name_fold);
  INSERT INTO artists_search(rowid, name_fold) VALUES (new.pk, new.name_fold);
END;
)sql", R"sql(
DROP INDEX IF EXISTS artists_by_name_fold;
DROP TRIGGER IF EXISTS artists_search_insert;
DROP TRIGGER IF EXISTS artists_search_delete;
DROP TRIGGER IF EXISTS artists_search_update;
)sql"},
    {"songs", "songs_search", "songs_search_insert", R"sql(
CREATE INDEX IF NOT EXISTS songs_by_title_fold ON songs(title_fold);
CREATE INDEX IF NOT EXISTS songs_by_album_hash ON songs(album_hash);
CREATE INDEX IF NOT EXISTS songs_by_artist_hash ON songs(artist_hash);
CREATE INDEX IF NOT EXISTS songs_by_album_artist_hash ON songs(album_artist_hash);
)sql", R"sql(
CREATE TRIGGER IF NOT EXISTS songs_search_insert AFTER INSERT ON songs BEGIN
  INSERT INTO songs_search(rowid, title_fold, artist_fold, album_fold) VALUES (new.pk, new.title_fold, new.artist_fold, new.album_fold);
END;
CREATE TRIGGER IF NOT EXISTS songs_search_delete AFTER DELETE ON songs BEGIN
  INSERT INTO songs_search(songs_search, rowid, title_fold, artist_fold, album_fold)
  VALUES ('delete', old.pk, old.title_fold, old.artist_fold, old.album_fold);
END;
-- An update that leaves the texts alone (a sync marking a row as seen) does not touch the index.
CREATE TRIGGER IF NOT EXISTS songs_search_update AFTER UPDATE ON songs
WHEN old.title_fold IS NOT new.title_fold OR old.artist_fold IS NOT new.artist_fold OR old.album_fold IS NOT new.album_fold BEGIN
  INSERT INTO songs_search(songs_search, rowid, title_fold, artist_fold, album_fold)
  VALUES ('delete', old.pk, old.title_fold, old.artist_fold, old.album_fold);
  INSERT INTO songs_search(rowid, title_fold, artist_fold, album_fold) VALUES (new.pk, new.title_fold, new.artist_fold, new.album_fold);
END;
)sql", R"sql(
DROP INDEX IF EXISTS songs_by_title_fold;
DROP INDEX IF EXISTS songs_by_album_hash;
DROP INDEX IF EXISTS songs_by_artist_hash;
DROP INDEX IF EXISTS songs_by_album_artist_hash;
DROP TRIGGER IF EXISTS songs_search_insert;
DROP TRIGGER IF EXISTS songs_search_delete;
DROP TRIGGER IF EXISTS songs_search_update;
)sql"},
};

const TableIndexes &indexesOf(LocalDatabase::LibraryKind kind) { return tableIndexes[size_t(kind)]; }

constexpr std::array migrations{migration1, migration2, migration3, migration4, migration5};

// Remakes every collation key when the store was filled under another locale or collation library.
void refreshCollationKeys(SqliteConnection &db)
{
    const QString identity = TextKeys::collationIdentity();
    {
        SqliteQuery stored = db.query("SELECT value FROM meta WHERE key = 'collation'");
        if (stored.next() && stored.text(0) == identity)
            return;
    }
    struct Column {
        const char *select;
        const char *update;
        int texts; // columns after pk
    };
    static constexpr Column columns[] = {
        {"SELECT pk, title, artist, album, genre FROM songs", "UPDATE songs SET title_key = ?2, artist_key = ?3, album_key = ?4, genre_key = ?5 WHERE pk = ?1", 4},
        {"SELECT pk, title, artist, genre FROM albums", "UPDATE albums SET title_key = ?2, artist_key = ?3, genre_key = ?4 WHERE pk = ?1", 3},
        {"SELECT pk, name, genre FROM artists", "UPDATE artists SET name_key = ?2, genre_key = ?3 WHERE pk = ?1", 2},
        {"SELECT pk, name FROM playlists", "UPDATE playlists SET name_key = ?2 WHERE pk = ?1", 1},
    };
    for (const Column &column : columns) {
        SqliteQuery select = db.query(column.select);
        SqliteQuery update = db.query(column.update);
        while (select.next()) {
            update.bind(1, select.int64(0));
            for (int i = 1; i <= column.texts; ++i) {
                const auto text = select.optionalText(i);
                update.bind(i + 1, text ? std::optional(TextKeys::collationKey(*text)) : std::nullopt);
            }
            update.run();
            update.reset();
        }
    }
    db.query("INSERT OR REPLACE INTO meta(key, value) VALUES ('collation', ?1)").bindAll(identity).run();
}

// Fills the folded album artists of rows stored before the column existed.
void fillAlbumArtistFolds(SqliteConnection &db)
{
    SqliteQuery select = db.query("SELECT pk, artist FROM albums WHERE artist IS NOT NULL");
    SqliteQuery update = db.query("UPDATE albums SET artist_fold = ?2 WHERE pk = ?1");
    while (select.next()) {
        update.bindAll(select.int64(0), TextKeys::fold(select.text(1)));
        update.run();
        update.reset();
    }
}

// Fills the fingerprint columns of rows stored before they existed.
void fillFoldHashes(SqliteConnection &db)
{
    SqliteQuery select = db.query("SELECT pk, album_fold, artist_fold, album_artist_fold FROM songs");
    SqliteQuery update = db.query("UPDATE songs SET album_hash = ?2, artist_hash = ?3, album_artist_hash = ?4 WHERE pk = ?1");
    while (select.next()) {
        update.bind(1, select.int64(0));
        for (int i = 1; i <= 3; ++i) {
            const auto folded = select.optionalText(i);
            update.bind(i + 1, folded ? std::optional(TextKeys::foldHash(*folded)) : std::nullopt);
        }
        update.run();
        update.reset();
    }
}

} // namespace

namespace StoreSchema {

int currentVersion() { return int(migrations.size()); }

void prepare(SqliteConnection &db)
{
    // journal_mode answers with a row; the rest are silent.
    // 16 KB pages: a first sync of 100,000 songs writes a quarter fewer pages and runs about a
    // quarter faster than with 4 KB ones, and reads lose nothing. Only a new, empty file takes it
    // (before WAL is on); an older store keeps its page size.
    db.execute("PRAGMA page_size = 16384;");
    db.query("PRAGMA journal_mode = WAL").run();
    db.execute("PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON; PRAGMA temp_store = MEMORY;"
               "PRAGMA cache_size = -65536; PRAGMA mmap_size = 536870912;"
               // A full sync writes tens of megabytes: checkpoint in steps of 32 MB (2048 pages of
               // 16 KB), not every 4 MB. 8192 pages (128 MB) was never reached by a sync of
               // 100,000 songs, so the log only grew. The size limit truncates the log after each
               // checkpoint instead of keeping its largest size on disk.
               "PRAGMA wal_autocheckpoint = 2048; PRAGMA journal_size_limit = 33554432;");

    const int version = int(db.scalar("PRAGMA user_version"));
    if (version > currentVersion())
        throw StoreError(StoreError::migrationFailed,
                         QStringLiteral("The store has schema version %1; this build knows up to %2").arg(version).arg(currentVersion()));
    try {
        SqliteTransaction transaction(db);
        for (int next = version; next < currentVersion(); ++next)
            db.execute(migrations[size_t(next)]);
        if (version > 0 && version < 4)
            fillFoldHashes(db);
        if (version > 0 && version < 5)
            fillAlbumArtistFolds(db);
        if (version != currentVersion())
            db.execute(QByteArray("PRAGMA user_version = " + QByteArray::number(currentVersion())).constData());
        refreshCollationKeys(db);
        // A sync that died while it filled an empty table left its indexes dropped.
        for (const LocalDatabase::LibraryKind kind : {LocalDatabase::LibraryKind::playlists, LocalDatabase::LibraryKind::albums,
                                                      LocalDatabase::LibraryKind::artists, LocalDatabase::LibraryKind::songs})
            restoreIndexes(db, kind);
        transaction.commit();
    } catch (const StoreError &error) {
        throw StoreError(StoreError::migrationFailed, error.localizedDescription());
    }
}

void suspendIndexes(SqliteConnection &db, LocalDatabase::LibraryKind kind) { db.execute(indexesOf(kind).drop); }

bool indexesSuspended(SqliteConnection &db, LocalDatabase::LibraryKind kind)
{
    SqliteQuery present = db.query("SELECT 1 FROM sqlite_master WHERE type = 'trigger' AND name = ?1");
    present.bindAll(QString::fromLatin1(indexesOf(kind).insertTrigger));
    return !present.next();
}

void restoreLookups(SqliteConnection &db, LocalDatabase::LibraryKind kind) { db.execute(indexesOf(kind).indexes); }

void restoreSearch(SqliteConnection &db, LocalDatabase::LibraryKind kind)
{
    const TableIndexes &indexes = indexesOf(kind);
    const bool suspended = indexesSuspended(db, kind);
    db.execute(indexes.triggers);
    if (suspended) {
        const QByteArray table(indexes.searchTable);
        db.execute(QByteArray("INSERT INTO " + table + "(" + table + ") VALUES ('rebuild')").constData());
    }
}

void restoreIndexes(SqliteConnection &db, LocalDatabase::LibraryKind kind)
{
    restoreLookups(db, kind);
    restoreSearch(db, kind);
}

} // namespace StoreSchema

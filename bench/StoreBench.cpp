// The local store at the size of a large library: 100,000 songs, 10,000 albums, 3,000 artists,
// 1,000 playlists with 50,000 entries (one of them 5,000 songs long), with varied texts (accents,
// numbers in titles, shared prefixes), served by an in-memory music service.
//
//   cmake --build build/default --target StoreBench && build/default/bench/StoreBench

#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "LumevarCore/TextKeys.h"
#include "Common/BenchLibrary.h"
#include "Platform/Music/MusicService.h"
#include "Support/Error.h"
#include "Support/WaitForTask.h"
#include "Common/BenchMain.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimeZone>
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <array>
#include <exception>
#include <optional>
#include <variant>
#include <vector>

namespace {

using namespace BenchLibrary;

SyntheticService &service()
{
    static SyntheticService instance;
    return instance;
}

QTemporaryDir &folder()
{
    static QTemporaryDir dir;
    // STOREBENCH_KEEP leaves the synced store behind for a look with other tools.
    dir.setAutoRemove(!qEnvironmentVariableIsSet("STOREBENCH_KEEP"));
    return dir;
}

// Mean figures of this run, kept for the ratios to their floors (BM_Ratios).
struct RunFigures {
    double syncAllMs = 0, syncAllFloorMs = 0;
};
RunFigures &figures()
{
    static RunFigures kept;
    return kept;
}

// The synced store the read benchmarks share.
LocalDatabase &database()
{
    static LocalDatabase *instance = [] {
        auto *made = new LocalDatabase(folder().filePath(QStringLiteral("shared.db")));
        awaitVoid(made->open());
        awaitVoid(SyncEngine(*made, service()).syncAll(nullptr));
        return made;
    }();
    return *instance;
}

void BM_SyncAll(benchmark::State &state)
{
    SyntheticService &source = service();
    int round = 0;
    double totalMs = 0, searchIndexMs = 0, closeMs = 0;
    CPUCounter cpu(state);
    for (auto _ : state) {
        state.PauseTiming();
        const double pausedAt = processCPUms();
        const QString path = folder().filePath(QStringLiteral("sync-%1.db").arg(round++));
        LocalDatabase store(path);
        awaitVoid(store.open());
        cpu.exclude(processCPUms() - pausedAt);
        state.ResumeTiming();
        QElapsedTimer timer;
        timer.start();
        awaitVoid(SyncEngine(store, source).syncAll(nullptr));
        totalMs += double(timer.nsecsElapsed()) / 1e6;
        state.PauseTiming();
        const double closedAt = processCPUms();
        // The songs' indexes, which a first sync leaves for a few seconds later, timed apart as
        // are the floor's: the first search builds the full-text index, and the close the
        // lookups (besides folding the log back and saving the records).
        timer.restart();
        (void)waitForTask(store.search(QStringLiteral("zz")));
        searchIndexMs += double(timer.nsecsElapsed()) / 1e6;
        timer.restart();
        awaitVoid(store.close());
        closeMs += double(timer.nsecsElapsed()) / 1e6;
        state.counters["file_MB"] = double(QFileInfo(path).size() + QFileInfo(path + QStringLiteral("-wal")).size()) / 1e6;
        QFile::remove(path);
        QFile::remove(path + QStringLiteral("-wal"));
        QFile::remove(path + QStringLiteral("-shm"));
        cpu.exclude(processCPUms() - closedAt);
        state.ResumeTiming();
    }
    figures().syncAllMs = totalMs / double(state.iterations());
    state.counters["search_index_ms"] = searchIndexMs / double(state.iterations());
    state.counters["close_ms"] = closeMs / double(state.iterations());
}
BENCHMARK(BM_SyncAll)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// ---- Floors: what SQLite alone costs for the same work, measured in the same run. ----

// A bare connection to a store file, with the store's own settings.
class BareConnection {
public:
    explicit BareConnection(const QString &path)
    {
        if (sqlite3_open(path.toUtf8().constData(), &m_db) != SQLITE_OK)
            qFatal("cannot open %s", qUtf8Printable(path));
        exec("PRAGMA synchronous = NORMAL; PRAGMA foreign_keys = ON; PRAGMA temp_store = MEMORY;"
             "PRAGMA cache_size = -65536; PRAGMA mmap_size = 536870912; PRAGMA wal_autocheckpoint = 8192;");
    }
    ~BareConnection()
    {
        for (sqlite3_stmt *statement : m_statements)
            sqlite3_finalize(statement);
        sqlite3_close(m_db);
    }
    BareConnection(const BareConnection &) = delete;
    BareConnection &operator=(const BareConnection &) = delete;

    void exec(const char *sql)
    {
        char *message = nullptr;
        if (sqlite3_exec(m_db, sql, nullptr, nullptr, &message) != SQLITE_OK)
            qFatal("%s: %s", sql, message);
    }
    sqlite3_stmt *prepare(const char *sql)
    {
        sqlite3_stmt *statement = nullptr;
        if (sqlite3_prepare_v3(m_db, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) != SQLITE_OK)
            qFatal("%s: %s", sql, sqlite3_errmsg(m_db));
        m_statements.push_back(statement);
        return statement;
    }
    QList<QByteArray> column(const char *sql)
    {
        QList<QByteArray> values;
        sqlite3_stmt *statement = prepare(sql);
        while (sqlite3_step(statement) == SQLITE_ROW)
            values.append(QByteArray(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0))));
        sqlite3_reset(statement);
        return values;
    }

private:
    sqlite3 *m_db = nullptr;
    std::vector<sqlite3_stmt *> m_statements;
};

struct Text {
    QByteArray bytes;
};
struct Blob {
    QByteArray bytes;
};
using Value = std::variant<std::monostate, qint64, double, Text, Blob>;
using Row = std::vector<Value>;

void bindRow(sqlite3_stmt *statement, const Row &row)
{
    for (size_t i = 0; i < row.size(); ++i) {
        const int index = int(i) + 1;
        const Value &value = row[i];
        if (const auto *number = std::get_if<qint64>(&value))
            sqlite3_bind_int64(statement, index, *number);
        else if (const auto *real = std::get_if<double>(&value))
            sqlite3_bind_double(statement, index, *real);
        else if (const auto *text = std::get_if<Text>(&value))
            sqlite3_bind_text(statement, index, text->bytes.constData(), int(text->bytes.size()), SQLITE_STATIC);
        else if (const auto *blob = std::get_if<Blob>(&value))
            sqlite3_bind_blob(statement, index, blob->bytes.constData(), int(blob->bytes.size()), SQLITE_STATIC);
        else
            sqlite3_bind_null(statement, index);
    }
}

Value text(const std::optional<QString> &value) { return value ? Value(Text{value->toUtf8()}) : Value(); }
Value key(const std::optional<QString> &value) { return value ? Value(Blob{TextKeys::collationKey(*value)}) : Value(); }
Value folded(const std::optional<QString> &value) { return value ? Value(Text{TextKeys::fold(*value).toUtf8()}) : Value(); }
Value foldHash(const std::optional<QString> &value) { return value ? Value(TextKeys::foldHash(TextKeys::fold(*value))) : Value(); }
Value msecs(const std::optional<QDateTime> &value) { return value ? Value(value->toMSecsSinceEpoch()) : Value(); }
std::optional<QString> firstOf(const QStringList &values) { return values.isEmpty() ? std::nullopt : std::optional(values.first()); }

// The rows a first sync writes for the synthetic library, every value (keys, folded texts)
// made beforehand.
struct FloorRows {
    std::vector<Row> songs, albums, artists, playlists, entries;
};

const FloorRows &floorRows()
{
    static const FloorRows rows = [] {
        const SyntheticService &source = service();
        FloorRows made;
        QHash<MusicItemID, qint64> songPKs;
        for (qsizetype i = 0; i < source.library.songs.size(); ++i) {
            const Song &song = source.library.songs[i];
            songPKs.insert(song.id, i + 1);
            made.songs.push_back({qint64(i + 1), Text{song.id.rawValue().toUtf8()}, Text{song.title.toUtf8()}, text(song.artistName),
                                  text(song.albumTitle), text(song.albumArtistName), text(firstOf(song.genreNames)), song.duration,
                                  msecs(song.releaseDate), msecs(song.libraryAddedDate), qint64(song.trackNumber.value_or(0)),
                                  qint64(song.discNumber.value_or(0)), Text{song.artwork->urlTemplate().toUtf8()},
                                  Text{song.id.rawValue().toUtf8()}, Text{QByteArrayLiteral("song")}, qint64(i), qint64(1),
                                  key(song.title), key(song.artistName), key(song.albumTitle), key(firstOf(song.genreNames)),
                                  folded(song.title), folded(song.artistName), folded(song.albumTitle), folded(song.albumArtistName),
                                  qint64(i * 2654435761LL), foldHash(song.albumTitle), foldHash(song.artistName),
                                  foldHash(song.albumArtistName)});
        }
        for (qsizetype i = 0; i < source.library.albums.size(); ++i) {
            const Album &album = source.library.albums[i];
            made.albums.push_back({qint64(i + 1), Text{album.id.rawValue().toUtf8()}, Text{album.title.toUtf8()}, text(album.artistName),
                                   text(firstOf(album.genreNames)), msecs(album.releaseDate), msecs(album.libraryAddedDate),
                                   Text{album.artwork->urlTemplate().toUtf8()}, qint64(1), key(album.title), key(album.artistName),
                                   key(firstOf(album.genreNames)), folded(album.title), folded(album.artistName)});
        }
        for (qsizetype i = 0; i < source.library.artists.size(); ++i) {
            const Artist &artist = source.library.artists[i];
            made.artists.push_back({qint64(i + 1), Text{artist.id.rawValue().toUtf8()}, Text{artist.name.toUtf8()},
                                    text(firstOf(artist.genreNames)), Text{artist.artwork->urlTemplate().toUtf8()}, qint64(1),
                                    key(artist.name), key(firstOf(artist.genreNames)), folded(artist.name)});
        }
        for (qsizetype i = 0; i < source.library.playlists.size(); ++i) {
            const Playlist &playlist = source.library.playlists[i];
            made.playlists.push_back({qint64(i + 1), Text{playlist.id.rawValue().toUtf8()}, Text{playlist.name.toUtf8()},
                                      msecs(playlist.libraryAddedDate), qint64(1), qint64(1), key(playlist.name), folded(playlist.name)});
            const QList<Song> tracks = source.playlistTracks.value(playlist.id);
            for (qsizetype position = 0; position < tracks.size(); ++position)
                made.entries.push_back({qint64(i + 1), qint64(position), songPKs.value(tracks[position].id)});
        }
        return made;
    }();
    return rows;
}

// syncAll's floor: the same library written into an empty store of the same schema by a bare
// prepared-statement loop in one transaction, the secondary indexes and the full-text indexes
// built at its end (as a first sync builds them), the songs' own timed apart.
void BM_SyncAllFloor(benchmark::State &state)
{
    const FloorRows &rows = floorRows();
    int round = 0;
    double totalMs = 0, songIndexesMs = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const QString path = folder().filePath(QStringLiteral("floor-%1.db").arg(round++));
        {
            LocalDatabase schema(path);
            awaitVoid(schema.open());
            awaitVoid(schema.close());
        }
        auto connection = std::make_unique<BareConnection>(path);
        const QList<QByteArray> names = connection->column(
            "SELECT name FROM sqlite_master WHERE type IN ('index', 'trigger') AND sql IS NOT NULL"
            " AND tbl_name IN ('songs', 'albums', 'artists', 'playlists')");
        const QList<QByteArray> creates = connection->column(
            "SELECT sql FROM sqlite_master WHERE type IN ('index', 'trigger') AND sql IS NOT NULL"
            " AND tbl_name IN ('albums', 'artists', 'playlists')");
        const QList<QByteArray> songCreates = connection->column(
            "SELECT sql FROM sqlite_master WHERE type IN ('index', 'trigger') AND sql IS NOT NULL AND tbl_name = 'songs'");
        for (const QByteArray &name : names) {
            const bool trigger = name.endsWith("_insert") || name.endsWith("_delete") || name.endsWith("_update");
            connection->exec(QByteArray((trigger ? "DROP TRIGGER " : "DROP INDEX ") + name).constData());
        }
        const std::pair<const std::vector<Row> *, const char *> tables[] = {
            {&rows.songs, "INSERT INTO songs(pk, id, title, artist, album, album_artist, genre, duration, release_date, added_date,"
                          " track, disc, artwork, play_id, play_kind, library_order, generation, title_key, artist_key, album_key,"
                          " genre_key, title_fold, artist_fold, album_fold, album_artist_fold, digest, album_hash, artist_hash,"
                          " album_artist_hash) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16, ?17,"
                          " ?18, ?19, ?20, ?21, ?22, ?23, ?24, ?25, ?26, ?27, ?28, ?29)"},
            {&rows.albums, "INSERT INTO albums(pk, id, title, artist, genre, release_date, added_date, artwork, generation, title_key,"
                           " artist_key, genre_key, title_fold, artist_fold) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14)"},
            {&rows.artists, "INSERT INTO artists(pk, id, name, genre, artwork, generation, name_key, genre_key, name_fold)"
                            " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9)"},
            {&rows.playlists, "INSERT INTO playlists(pk, id, name, added_date, generation, contents_synced, name_key, name_fold)"
                              " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)"},
            {&rows.entries, "INSERT INTO playlist_entries(playlist, position, song) VALUES (?1, ?2, ?3)"},
        };
        std::vector<sqlite3_stmt *> inserts;
        for (const auto &table : tables)
            inserts.push_back(connection->prepare(table.second));
        state.ResumeTiming();
        QElapsedTimer timer;
        timer.start();

        connection->exec("BEGIN");
        for (size_t t = 0; t < std::size(tables); ++t) {
            for (const Row &row : *tables[t].first) {
                bindRow(inserts[t], row);
                if (sqlite3_step(inserts[t]) != SQLITE_DONE)
                    qFatal("insert failed");
                sqlite3_reset(inserts[t]);
            }
        }
        for (const QByteArray &create : creates)
            connection->exec(create.constData());
        for (const char *search : {"albums_search", "artists_search", "playlists_search"})
            connection->exec(QByteArray(QByteArray("INSERT INTO ") + search + "(" + search + ") VALUES ('rebuild')").constData());
        connection->exec("COMMIT");
        totalMs += double(timer.nsecsElapsed()) / 1e6;

        state.PauseTiming();
        timer.restart();
        connection->exec("BEGIN");
        for (const QByteArray &create : songCreates)
            connection->exec(create.constData());
        connection->exec("INSERT INTO songs_search(songs_search) VALUES ('rebuild')");
        connection->exec("COMMIT");
        songIndexesMs += double(timer.nsecsElapsed()) / 1e6;
        connection.reset();
        QFile::remove(path);
        QFile::remove(path + QStringLiteral("-wal"));
        QFile::remove(path + QStringLiteral("-shm"));
        state.ResumeTiming();
    }
    figures().syncAllFloorMs = totalMs / double(state.iterations());
    state.counters["song_indexes_ms"] = songIndexesMs / double(state.iterations());
}
BENCHMARK(BM_SyncAllFloor)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();


// The first song list after the store opens: the records are read from the table then.
void BM_AllLibrarySongsCold(benchmark::State &state)
{
    LocalDatabase &store = database();
    // As after a run that listed the songs: each close saves the records beside the store.
    await(store.allLibrarySongs({LocalSong::SortKey::title, SortOrder::forward}));
    CPUCounter cpu(state);
    double heldMB = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const double pausedAt = processCPUms();
        awaitVoid(store.close());
        awaitVoid(store.open());
        const double before = residentMB();
        cpu.exclude(processCPUms() - pausedAt);
        state.ResumeTiming();
        const QList<LocalSong> songs = await(store.allLibrarySongs({LocalSong::SortKey::title, SortOrder::forward}));
        state.PauseTiming();
        heldMB = residentMB() - before;
        state.ResumeTiming();
    }
    state.counters["records_MB"] = heldMB;
}
BENCHMARK(BM_AllLibrarySongsCold)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// A sorted song list with the records in memory. The first call of each key sorts the library on
// it (first_call_ms: what choosing another sort key costs); the timed calls alternate between
// forward and reverse, so that each makes a new list of 100,000 records.
void BM_AllLibrarySongs(benchmark::State &state)
{
    LocalDatabase &store = database();
    const auto key = LocalSong::SortKey(state.range(0));
    // The framework runs the function more than once: only its first run meets an unsorted key.
    static std::array<double, 7> firstCallMs{};
    if (firstCallMs[size_t(state.range(0))] == 0) {
        QElapsedTimer first;
        first.start();
        await(store.allLibrarySongs({key, SortOrder::reverse}));
        firstCallMs[size_t(state.range(0))] = double(first.nsecsElapsed()) / 1e6;
    }
    state.counters["first_call_ms"] = firstCallMs[size_t(state.range(0))];
    qsizetype count = 0;
    CPUCounter cpu(state);
    bool forward = true;
    for (auto _ : state) {
        count = await(store.allLibrarySongs({key, forward ? SortOrder::forward : SortOrder::reverse})).size();
        forward = !forward;
    }
    state.counters["songs"] = double(count);
    static const char *names[] = {"title", "artistName", "albumTitle", "duration", "genre", "releaseDate", "order"};
    state.SetLabel(names[state.range(0)]);
}
BENCHMARK(BM_AllLibrarySongs)->DenseRange(0, 6)->Unit(benchmark::kMillisecond)->UseRealTime();

// The daily sync of a library that has not changed since the last one.
void BM_SyncAllUnchanged(benchmark::State &state)
{
    LocalDatabase &store = database();
    SyntheticService &source = service();
    CPUCounter cpu(state);
    for (auto _ : state)
        awaitVoid(SyncEngine(store, source).syncAll(nullptr));
}
BENCHMARK(BM_SyncAllUnchanged)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

void BM_SearchWhileTyping(benchmark::State &state)
{
    LocalDatabase &store = database();
    const QStringList queries = {QStringLiteral("beach bunny"), QStringLiteral("cafe del"), QStringLiteral("midnight city"),
                                 QStringLiteral("love"), QStringLiteral("the golden river"), QStringLiteral("electrique 12"),
                                 QStringLiteral("senorita"), QStringLiteral("track 7 summer")};
    CPUCounter cpu(state);
    QList<double> latencies;
    for (auto _ : state) {
        for (const QString &query : queries) {
            for (int length = 1; length <= query.size(); ++length) {
                QElapsedTimer timer;
                timer.start();
                benchmark::DoNotOptimize(await(store.search(query.left(length))));
                latencies.append(double(timer.nsecsElapsed()) / 1e6);
                if (qEnvironmentVariableIsSet("STOREBENCH_TRACE"))
                    fprintf(stderr, "%8.2f ms  %s\n", latencies.last(), qUtf8Printable(query.left(length)));
            }
        }
    }
    std::sort(latencies.begin(), latencies.end());
    auto percentile = [&latencies](double p) { return latencies[qMin(latencies.size() - 1, qsizetype(p * double(latencies.size())))]; };
    state.counters["p50_ms"] = percentile(0.50);
    state.counters["p95_ms"] = percentile(0.95);
    state.counters["p99_ms"] = percentile(0.99);
    state.counters["max_ms"] = latencies.last();
    state.counters["keystrokes"] = double(latencies.size());
    state.counters["mean_ms"] = std::accumulate(latencies.begin(), latencies.end(), 0.0) / double(latencies.size());
}
BENCHMARK(BM_SearchWhileTyping)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

// Words that start thousands of titles, artists and albums: every hit is a candidate until the
// cut of each way of finding them, and the best must still come first.
void BM_SearchCommonPrefix(benchmark::State &state)
{
    LocalDatabase &store = database();
    const QStringList queries = {QStringLiteral("lov"), QStringLiteral("love"), QStringLiteral("nig"), QStringLiteral("sum"),
                                 QStringLiteral("bea"), QStringLiteral("the"), QStringLiteral("tra"), QStringLiteral("track"),
                                 QStringLiteral("mid"), QStringLiteral("gol")};
    CPUCounter cpu(state);
    QList<double> latencies;
    for (auto _ : state) {
        for (const QString &query : queries) {
            QElapsedTimer timer;
            timer.start();
            benchmark::DoNotOptimize(await(store.search(query)));
            latencies.append(double(timer.nsecsElapsed()) / 1e6);
        }
    }
    std::sort(latencies.begin(), latencies.end());
    auto percentile = [&latencies](double p) { return latencies[qMin(latencies.size() - 1, qsizetype(p * double(latencies.size())))]; };
    state.counters["p50_ms"] = percentile(0.50);
    state.counters["p95_ms"] = percentile(0.95);
    state.counters["max_ms"] = latencies.last();
}
BENCHMARK(BM_SearchCommonPrefix)->Unit(benchmark::kMillisecond)->Iterations(10)->UseRealTime();

// A page of text pasted into the search field: 2,000 words.
void BM_SearchPastedText(benchmark::State &state)
{
    LocalDatabase &store = database();
    QStringList pasted;
    for (int i = 0; i < 2000; ++i)
        pasted.append(words[i % words.size()]);
    const QString query = pasted.join(QLatin1Char(' '));
    for (auto _ : state)
        benchmark::DoNotOptimize(await(store.search(query)));
}
BENCHMARK(BM_SearchPastedText)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_HasSong(benchmark::State &state)
{
    LocalDatabase &store = database();
    const SyntheticService &source = service();
    CPUCounter cpu(state);
    int i = 0;
    for (auto _ : state) {
        const Song &song = source.library.songs[(i++ * 7919) % songCount];
        benchmark::DoNotOptimize(await(store.hasSong(song.title.toUpper(), song.artistName, song.albumTitle)));
    }
}
// A round trip of the shortest kind: what handing a call to the store's thread and its answer
// back costs. No goal: the calls must never block the main thread, and a thread that sleeps
// until it is woken (rather than spinning for the next call) pays a wake-up on each side.
BENCHMARK(BM_HasSong)->Unit(benchmark::kMicrosecond)->UseRealTime();


void BM_HasSongMissing(benchmark::State &state)
{
    LocalDatabase &store = database();
    CPUCounter cpu(state);
    for (auto _ : state)
        benchmark::DoNotOptimize(await(store.hasSong(QStringLiteral("No such song"), QStringLiteral("Nobody"), std::nullopt)));
}
BENCHMARK(BM_HasSongMissing)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_BigPlaylistSongs(benchmark::State &state)
{
    LocalDatabase &store = database();
    LocalPlaylist playlist;
    playlist.id = QStringLiteral("p.0");
    CPUCounter cpu(state);
    qsizetype count = 0;
    for (auto _ : state)
        count = await(store.songs(playlist)).size();
    state.counters["songs"] = double(count);
}
BENCHMARK(BM_BigPlaylistSongs)->Unit(benchmark::kMillisecond)->UseRealTime();

// The figures of this run against their floors of the same run (0 where one was not run):
// syncAll ÷ its floor (goal ≤ 1.5).
void BM_Ratios(benchmark::State &state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(&state);
    const RunFigures &run = figures();
    const auto ratio = [](double a, double b) { return a > 0 && b > 0 ? a / b : 0.0; };
    state.counters["syncAll_over_floor"] = ratio(run.syncAllMs, run.syncAllFloorMs);
    state.counters["syncAll_ms"] = run.syncAllMs;
    state.counters["floor_ms"] = run.syncAllFloorMs;
}

void BM_FileSize(benchmark::State &state)
{
    LocalDatabase &store = database();
    for (auto _ : state)
        benchmark::DoNotOptimize(&store);
    const QString path = store.path();
    state.counters["file_MB"] = double(QFileInfo(path).size() + QFileInfo(path + QStringLiteral("-wal")).size()) / 1e6;
}
BENCHMARK(BM_FileSize)->Iterations(1);
BENCHMARK(BM_Ratios)->Iterations(1);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    return BenchMain::run(argc, argv);
}

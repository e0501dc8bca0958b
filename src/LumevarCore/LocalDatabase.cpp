#include "LumevarCore/LocalDatabase.h"

#include "LumevarCore/SongSnapshot.h"
#include "LumevarCore/StoreActor.h"
#include "LumevarCore/StoreReads.h"
#include "LumevarCore/StoreRecovery.h"
#include "LumevarCore/StoreSchema.h"
#include "LumevarCore/StoreSearch.h"
#include "LumevarCore/StoreWrites.h"
#include "Support/Allocator.h"
#include "Support/Clock.h"
#include "Support/Log.h"
#include "Support/PoolTask.h"
#include "Support/WorkerPools.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

// Gives back what a read of a whole table leaves behind: the pages it put in SQLite's cache
// (20 MB after the songs' table at 100,000 songs), then the free heap of every thread, which
// glibc keeps resident unless asked.
void releaseReadMemory(SqliteConnection &db)
{
    try {
        db.execute("PRAGMA shrink_memory;");
    } catch (const StoreError &error) {
        LUMEVAR_ERROR(Log::app(), "Failed to shrink the store's page cache: %@", error);
    }
    Allocator::releaseFreeMemory();
}

} // namespace

class LocalDatabase::Private {
public:
    explicit Private(QString path) : path(std::move(path)) {}
    QString path;
    StoreActor actor;
    // The store file whose song records, saved beside it, were taken at the open and left in
    // place; empty once a write removed them. Touched only by the store's jobs.
    QString keptSnapshot;
    // What settleSoon() asked for; gone with the store or its close.
    std::unique_ptr<ScheduledCall> pendingSettle;

    // A few seconds from now on the process's clock (asked again, the wait starts again), so
    // that the reads that follow a sync go first: builds the songs' full-text index a first sync
    // left for later (a search builds it at once if it comes sooner), then folds the write-ahead
    // log back into the file and truncates it, so the file alone holds the whole library and the
    // log does not grow from sync to sync. Nobody waits for it; it logs its own failure.
    void settleSoon();

    // A job that writes: should it fail, the song records it touched are dropped with it. The
    // saved records stop matching the store with its first write, so they go before it.
    template <typename Job>
    auto write(Job job)
    {
        return actor.run(
            [this, job = std::move(job)](StoreState &state) mutable -> decltype(auto) {
                if (!keptSnapshot.isEmpty()) {
                    SongSnapshot::remove(keptSnapshot);
                    keptSnapshot.clear();
                }
                return job(state);
            },
            StoreActor::Access::write);
    }

    // The song records load right after an open, while the application builds its window, so
    // that the first song list finds them in memory: from the snapshot the last close saved
    // beside the store file when it still fits, else from the table. Nobody waits for this job:
    // it reports its own failure.
    void preloadSongs()
    {
        actor.run([this](StoreState &state) {
            keptSnapshot.clear();
            if (!state.db.isOpen())
                return;
            try {
                const QString file = state.db.fileName();
                std::optional<SongImage> image = file.isEmpty() ? std::nullopt : SongSnapshot::take(file);
                if (image) {
                    state.songs.adopt(std::move(*image));
                    keptSnapshot = file;
                } else {
                    state.songs.preload(state.db);
                }
                // Reads of the table went through the file's memory map, which keeps every page
                // they touch resident: 60 MB at 100,000 songs once the records are read, and as
                // much after a sync's reads when the records came from the snapshot. From here on
                // reads go through SQLite's page cache, which holds only what they read and is
                // given back after a sync.
                state.db.execute("PRAGMA mmap_size = 0;");
                if (state.songs.takeTableRead())
                    releaseReadMemory(state.db);
            } catch (const StoreError &error) {
                state.songs.forget();
                LUMEVAR_ERROR(Log::app(), "Failed to read the songs of the local store: %@", error);
            }
        }, StoreActor::Access::unchecked);
    }
};

namespace {

LocalDatabase *installedDatabase = nullptr;

QCoro::Task<void> openInBackground(LocalDatabase *database)
{
    try {
        co_await database->openOrRebuild();
    } catch (...) {
        // Cancelled with the process; callers would meet a failure as a StoreError.
    }
}

} // namespace

LocalDatabase::LocalDatabase(QString path) : m_d(std::make_unique<Private>(std::move(path))) {}

LocalDatabase::~LocalDatabase() = default;

LocalDatabase &LocalDatabase::shared()
{
    if (installedDatabase)
        return *installedDatabase;
    static LocalDatabase *database = [] {
        const QString path = defaultPath();
        const QString folder = QFileInfo(path).absolutePath();
        // A folder that cannot be made is no reason to stop: the store then lives in memory for
        // this run and the application says so.
        if (!QDir().mkpath(folder))
            LUMEVAR_ERROR(Log::app(), "Failed to create LocalDatabase: cannot create the folder %@", folder);
        auto *made = new LocalDatabase(path);
        openInBackground(made);
        return made;
    }();
    return *database;
}

void LocalDatabase::setShared(LocalDatabase *database) { installedDatabase = database; }

QString LocalDatabase::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Lumevar/local.db");
}

const QString &LocalDatabase::path() const { return m_d->path; }

QCoro::Task<void> LocalDatabase::open()
{
    QCoro::Task<void> opening = m_d->actor.run([path = m_d->path](StoreState &state) {
        try {
            state.openFailure.reset();
            state.songs.forget();
            state.songIndex.forget();
            state.db.open(path);
            StoreSchema::prepare(state.db);
        } catch (const StoreError &error) {
            state.db.close();
            // No line here: start-up drops the failure, and each later call meets it again as
            // its own failure, which its caller reports.
            state.openFailure = error;
            throw;
        }
    }, StoreActor::Access::unchecked);
    m_d->preloadSongs();
    return opening;
}

QCoro::Task<StoreCondition> LocalDatabase::openOrRebuild()
{
    QCoro::Task<StoreCondition> opening = m_d->actor.run([path = m_d->path](StoreState &state) {
        state.condition = StoreRecovery::openOrRebuild(state, path);
        return state.condition;
    }, StoreActor::Access::unchecked);
    m_d->preloadSongs();
    return opening;
}

QCoro::Task<StoreCondition> LocalDatabase::condition()
{
    return m_d->actor.run([](StoreState &state) { return state.condition; }, StoreActor::Access::unchecked);
}

namespace {

void checkpointNow(SqliteConnection &db)
{
    // TRUNCATE waits for no reader (this connection is the only one) and leaves a log of 0 bytes.
    SqliteQuery checkpoint = db.query("PRAGMA wal_checkpoint(TRUNCATE)");
    if (checkpoint.next() && checkpoint.int64(0) != 0)
        LUMEVAR_NOTICE(Log::app(), "The store's write-ahead log could not be folded back (busy)");
}

void foldBack(SqliteConnection &db)
{
    checkpointNow(db);
    // A full sync leaves the page cache full (up to its 64 MB) of pages it wrote and will not
    // read again; reads that follow fill it again with only what they need.
    releaseReadMemory(db);
}

// How long after a sync what it left for later is done: the lists it changed are read first.
constexpr double settleDelaySeconds = 5;

// Song indexes that cannot be built now (a full disk) are left to the next sync of the songs or
// the next open, which build them: searches meanwhile find no songs, rather than each keystroke
// trying again, and the other reads scan the table.
void buildPendingIndexesOrLog(StoreState &state, StoreWrites::PendingIndexes which = StoreWrites::PendingIndexes::all)
{
    try {
        StoreWrites::buildPendingIndexes(state, which);
    } catch (const StoreError &error) {
        state.songIndexesPending = false;
        LUMEVAR_ERROR(Log::app(), "Failed to build the songs' indexes: %@", error);
    }
}

} // namespace

void LocalDatabase::Private::settleSoon()
{
    pendingSettle = Clock::shared().schedule(settleDelaySeconds, [d = this] {
        // The lookups first, then the full-text index: two jobs, each about half a second at
        // 100,000 songs, so that a read that comes meanwhile waits for one of them only.
        d->actor.run([](StoreState &state) {
            if (state.db.isOpen())
                buildPendingIndexesOrLog(state, StoreWrites::PendingIndexes::lookups);
        }, StoreActor::Access::unchecked);
        d->actor.run([](StoreState &state) {
            if (!state.db.isOpen())
                return;
            buildPendingIndexesOrLog(state);
            try {
                foldBack(state.db);
            } catch (const StoreError &error) {
                LUMEVAR_ERROR(Log::app(), "Failed to fold the store's write-ahead log back: %@", error);
            }
        }, StoreActor::Access::unchecked);
    });
}

QCoro::Task<void> LocalDatabase::close()
{
    // The close does what settleSoon() would have done.
    m_d->pendingSettle.reset();
    return m_d->actor.run([d = m_d.get()](StoreState &state) {
        // The records in memory equal the rows: saved beside the file, they spare the next open
        // reading the table. Records taken from the file saved last time, with no write and no
        // other order since, are in it already: it stays as it is.
        std::optional<SongImage> image;
        const QString file = state.db.fileName();
        const bool saved = !d->keptSnapshot.isEmpty() && d->keptSnapshot == file && state.songs.isAsAdopted();
        d->keptSnapshot.clear();
        state.songIndex.forget();
        if (state.db.isOpen()) {
            // Built now rather than at the next open, where it would be a write that makes the
            // song records saved below stale. Only a quit within seconds of a first sync waits.
            buildPendingIndexesOrLog(state);
            try {
                checkpointNow(state.db);
            } catch (const StoreError &error) {
                LUMEVAR_ERROR(Log::app(), "Failed to fold the store's write-ahead log back: %@", error);
            }
            try {
                if (!saved && !file.isEmpty() && state.songs.isLoaded())
                    image = state.songs.image(state.db);
            } catch (const StoreError &error) {
                image.reset();
                LUMEVAR_ERROR(Log::app(), "Failed to save the song records beside the store: %@", error);
            }
        }
        state.songs.forget();
        state.db.close();
        if (image)
            SongSnapshot::write(file, *image);
    }, StoreActor::Access::unchecked);
}

QCoro::Task<QList<LocalPlaylist>> LocalDatabase::allPlaylists(SortDescriptor<LocalPlaylist> sortDescriptor)
{
    return m_d->actor.run([sortDescriptor](StoreState &s) { return StoreReads::allPlaylists(s.db, sortDescriptor); });
}

QCoro::Task<QList<LocalAlbum>> LocalDatabase::allAlbums(SortDescriptor<LocalAlbum> sortDescriptor)
{
    return m_d->actor.run([sortDescriptor](StoreState &s) { return StoreReads::allAlbums(s.db, sortDescriptor); });
}

QCoro::Task<QList<LocalArtist>> LocalDatabase::allArtists(SortDescriptor<LocalArtist> sortDescriptor)
{
    return m_d->actor.run([sortDescriptor](StoreState &s) { return StoreReads::allArtists(s.db, sortDescriptor); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::allLibrarySongs(SortDescriptor<LocalSong> sortDescriptor)
{
    QCoro::Task<QList<LocalSong>> listing =
        m_d->actor.run([sortDescriptor](StoreState &s) { return StoreReads::allLibrarySongs(s.db, s.songs, sortDescriptor); });
    // When that list had to read the records from the table (the first list after a first
    // import), the memory the read used goes back once the list is handed out, not before it.
    m_d->actor.run([](StoreState &s) {
        if (s.songs.takeTableRead() && s.db.isOpen())
            releaseReadMemory(s.db);
    }, StoreActor::Access::unchecked);
    return listing;
}

QCoro::Task<QList<LocalSong>> LocalDatabase::songs(LocalPlaylist playlist)
{
    return m_d->actor.run([id = playlist.id](StoreState &s) { return StoreReads::playlistSongs(s.db, s.songs, id); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::songs(LocalAlbum album)
{
    return m_d->actor.run([album](StoreState &s) { return StoreReads::albumSongs(s.db, s.songs, album.title, album.artistName); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::songs(LocalArtist artist)
{
    return m_d->actor.run([name = artist.name](StoreState &s) { return StoreReads::artistSongs(s.db, s.songs, name); });
}

QCoro::Task<QList<SearchSection>> LocalDatabase::search(QString text)
{
    return m_d->actor.run([text](StoreState &s) {
        buildPendingIndexesOrLog(s, StoreWrites::PendingIndexes::search);
        return StoreSearch::search(s.db, s.songs, text);
    });
}

QCoro::Task<bool> LocalDatabase::hasSong(QString title, std::optional<QString> artist, std::optional<QString> album)
{
    return m_d->actor.run([title, artist, album](StoreState &s) { return StoreReads::hasSong(s.db, title, artist, album); });
}

QCoro::Task<qint64> LocalDatabase::beginSync(LibraryKind kind)
{
    return m_d->write([kind](StoreState &s) { return StoreWrites::beginSync(s, kind); });
}

QCoro::Task<void> LocalDatabase::storePlaylists(QList<Playlist> playlists, qint64 generation)
{
    return m_d->write([playlists, generation](StoreState &s) { StoreWrites::storePlaylists(s.db, playlists, generation); });
}

QCoro::Task<void> LocalDatabase::storeAlbums(QList<Album> albums, qint64 generation)
{
    return m_d->write([albums, generation](StoreState &s) { StoreWrites::storeAlbums(s, albums, generation); });
}

QCoro::Task<void> LocalDatabase::storeArtists(QList<Artist> artists, qint64 generation)
{
    return m_d->write([artists, generation](StoreState &s) { StoreWrites::storeArtists(s, artists, generation); });
}

QCoro::Task<void> LocalDatabase::storeLibrarySongs(QList<Song> songs, qint64 generation, int firstPosition)
{
    // Cleaning and deriving keys take a third of the work: done on a pool thread, they overlap
    // with the store's thread writing the page before (see SyncEngine).
    // Named locals, not temporaries, cross the suspension points (see docs/ARCHITECTURE.md).
    QCoro::Task<QList<std::optional<StoreWrites::PreparedSong>>> preparing =
        runOnPool(WorkerPools::store(), [songs = std::move(songs), texts = m_d->actor.repeatedTexts()] {
            return StoreWrites::prepareSongs(songs, *texts);
        });
    QList<std::optional<StoreWrites::PreparedSong>> prepared = co_await std::move(preparing);
    QCoro::Task<void> writing = m_d->write([prepared = std::move(prepared), generation, firstPosition](StoreState &s) {
        StoreWrites::storeLibrarySongs(s, prepared, generation, firstPosition);
    });
    co_await std::move(writing);
}

QCoro::Task<int> LocalDatabase::finishSync(LibraryKind kind, qint64 generation)
{
    // The end of a sync of the songs (a full sync's main part): a first one left their indexes
    // for later, and the log holds what the sync wrote.
    if (kind == LibraryKind::songs)
        m_d->settleSoon();
    return m_d->write([kind, generation](StoreState &s) { return StoreWrites::finishSync(s, kind, generation); });
}

QCoro::Task<void> LocalDatabase::abandonSync(LibraryKind kind, qint64 generation)
{
    return m_d->write([kind, generation](StoreState &s) { StoreWrites::abandonSync(s, kind, generation); });
}

QCoro::Task<void> LocalDatabase::storePlaylistContents(QList<std::pair<QString, QList<Song>>> contents, SongLookup lookup)
{
    return m_d->write([contents, lookup](StoreState &s) { StoreWrites::storePlaylistContents(s, contents, lookup); });
}

QCoro::Task<void> LocalDatabase::releaseSongIndex()
{
    return m_d->actor.run(
        [](StoreState &state) {
            state.songIndex.forget();
            state.repeatedTexts->forget();
            // The index was read through the page cache, and a sync's pages were made and freed
            // by the hundred thousand.
            if (state.db.isOpen())
                releaseReadMemory(state.db);
        },
        StoreActor::Access::unchecked);
}

QCoro::Task<QList<LocalSong>> LocalDatabase::storeCollectionSongs(LocalAlbum album, QList<Song> songs)
{
    return m_d->write([album, songs](StoreState &s) { return StoreWrites::storeAlbumSongs(s, album, songs); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::storeCollectionSongs(LocalArtist artist, QList<Song> songs)
{
    return m_d->write([artist, songs](StoreState &s) { return StoreWrites::storeArtistSongs(s, artist, songs); });
}

QCoro::Task<void> LocalDatabase::addLibrarySongs(QList<Song> songs)
{
    return m_d->write([songs](StoreState &s) { StoreWrites::addLibrarySongs(s, songs); });
}

QCoro::Task<void> LocalDatabase::removeLibraryItems(LibraryKind kind, QStringList ids)
{
    return m_d->write([kind, ids](StoreState &s) { StoreWrites::removeLibraryItems(s, kind, ids); });
}

QCoro::Task<QList<LocalPlaylist>> LocalDatabase::playlistsWithoutContents()
{
    return m_d->actor.run([](StoreState &s) { return StoreReads::playlistsWithoutContents(s.db); });
}

QCoro::Task<std::optional<QDateTime>> LocalDatabase::latestSongAddedDate()
{
    return m_d->actor.run([](StoreState &s) { return StoreReads::latestSongAddedDate(s.db); });
}

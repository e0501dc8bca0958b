#include "Platform/LocalLibrary/LocalLibraryService.h"

#include "Platform/LocalLibrary/FolderScanner.h"
#include "Platform/LocalLibrary/FolderWatcher.h"
#include "Platform/LocalLibrary/ScanCache.h"
#include "Platform/LocalLibrary/LibraryIndex.h"
#include "Platform/LocalLibrary/LocalIdentifiers.h"
#include "Platform/LocalLibrary/LocalRecommendations.h"
#include "Support/Allocator.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/OwnerGuard.h"
#include "Support/Task.h"
#include "Support/UserDefaults.h"

#include <QCoroFuture>
#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <algorithm>
#include <unistd.h>

struct LocalLibraryService::Snapshot {
    LibraryIndex index;
    LocalRecommendations recommendations;
    QByteArray revision;
    ScannedFolders folders;
    QList<QByteArray> playlistFiles;
    // The latest changes of the library, oldest first, the last one leading to revision.
    QList<LibraryChange> changes;
};

namespace {

// Changes remembered for a store that is behind by a few: more than this and it syncs whole.
constexpr qsizetype keptChanges = 16;
// Nor are large imports kept: their songs would stay in memory, and a whole sync is as quick.
constexpr qsizetype keptChangedSongs = 20000;

// A page of count items, limit of them from offset; only the page's items are made.
template <typename Make>
auto pageOf(qsizetype count, int offset, int limit, Make make)
{
    LibraryPage<typename decltype(make(0, 0))::value_type> page;
    page.totalCount = int(count);
    page.offset = std::clamp(offset, 0, page.totalCount);
    if (limit > 0)
        page.items = make(page.offset, limit);
    return page;
}

// The folders in blocks of their own. A scan names its folders among its files; kept for the
// library's life, those names would hold every page of the files' freed names in memory.
ScannedFolders packedCopy(const ScannedFolders &folders)
{
    ScannedFolders copy;
    copy.reserve(folders.size());
    for (auto it = folders.cbegin(); it != folders.cend(); ++it)
        copy.insert(QByteArray(it.key().constData(), it.key().size()), it.value());
    return copy;
}

} // namespace

QUrl LocalLibraryService::localFileURL(const QByteArray &path)
{
    // Built from the bytes, percent-encoded: a name that is not UTF-8 survives the trip to the
    // audio engine, which opens the file by the same bytes.
    return QUrl::fromEncoded(QByteArray("file://") + path.toPercentEncoding("/"), QUrl::StrictMode);
}

LocalLibraryService::LocalLibraryService(QString folder, QString artworkCacheFolder, QObject *parent)
    : MusicService(parent),
      m_folder(QDir::cleanPath(QFileInfo(folder).absoluteFilePath())),
      m_artworkCacheFolder(artworkCacheFolder.isEmpty()
                               ? QStandardPaths::writableLocation(QStandardPaths::CacheLocation) + QStringLiteral("/LocalLibraryArtwork")
                               : std::move(artworkCacheFolder)),
      m_status(checkFolder()),
      m_stopScan(std::make_shared<std::atomic<bool>>(false)),
      m_lastBuilt(std::make_shared<std::shared_ptr<const Snapshot>>())
{
    m_scanPool.setMaxThreadCount(1);
    m_scanCache = std::make_shared<ScanCache>(QFile::encodeName(m_folder), scanCacheFile());
}

QString LocalLibraryService::scanCacheFile() const
{
    const QByteArray key = QCryptographicHash::hash(QFile::encodeName(m_folder), QCryptographicHash::Sha1).toHex().left(16);
    return m_artworkCacheFolder + QStringLiteral("/scans/") + QString::fromLatin1(key) + QStringLiteral(".cache");
}

LocalLibraryService::~LocalLibraryService()
{
    // A running scan stops at its next file; the pool's destructor then waits for it.
    m_stopScan->store(true);
}

QString LocalLibraryService::defaultMusicFolder()
{
    const QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    return music.isEmpty() ? QDir::homePath() + QStringLiteral("/Music") : music;
}

QString LocalLibraryService::resolveLibraryFolder(const QString &explicitPath, UserDefaults *defaults)
{
    const auto absolute = [](const QString &path) { return QDir::cleanPath(QFileInfo(path).absoluteFilePath()); };
    if (!explicitPath.trimmed().isEmpty())
        return absolute(explicitPath.trimmed());
    const std::optional<QString> stored = (defaults ? *defaults : UserDefaults::standard()).stringValue(libraryFolderKey);
    if (stored && !stored->trimmed().isEmpty())
        return absolute(stored->trimmed());
    return absolute(defaultMusicFolder());
}

MusicAuthorizationStatus LocalLibraryService::checkFolder() const
{
    const QFileInfo info(m_folder);
    return info.isDir() && info.isReadable() && info.isExecutable() ? MusicAuthorizationStatus::authorized
                                                                    : MusicAuthorizationStatus::denied;
}

MusicAuthorizationStatus LocalLibraryService::authorizationStatus() const { return m_status; }

QString LocalLibraryService::displayName() const
{
    const QString name = QFileInfo(m_folder).fileName();
    return name.isEmpty() ? m_folder : name; // the root folder has no name of its own
}

QString LocalLibraryService::playFailureAdvice() const
{
    return QStringLiteral("Please ensure the song's file is still in the music folder “%1” and can be read.").arg(m_folder);
}

QString LocalLibraryService::unavailableReason() const
{
    const QFileInfo info(m_folder);
    if (!info.exists())
        return QStringLiteral("The music folder “%1” does not exist. If it is on a disk, connect the disk and try again.")
            .arg(m_folder);
    if (!info.isDir())
        return QStringLiteral("“%1” is not a folder. Lumevar needs the folder that holds your music.").arg(m_folder);
    if (!info.isReadable() || !info.isExecutable())
        return QStringLiteral("Lumevar is not allowed to read the music folder “%1”. Check its permissions and try again.")
            .arg(m_folder);
    return {};
}

QCoro::Task<MusicAuthorizationStatus> LocalLibraryService::requestAuthorization()
{
    m_status = checkFolder();
    if (m_status != MusicAuthorizationStatus::authorized)
        LUMEVAR_NOTICE(Log::collection(), "Music folder %@ is missing or not readable", m_folder);
    co_return m_status;
}

void LocalLibraryService::startScan(QSet<QByteArray> changedFolders, bool rereadTags)
{
    const int generation = ++m_scanGeneration;
    LUMEVAR_DEBUG(Log::collection(), "Scanning %@ (scan %d, %d changed folders)", m_folder, generation, int(changedFolders.size()));
    using Scan = PoolResult<std::shared_ptr<const Snapshot>>;
    m_scan = Scan::start(m_scanPool, [folder = m_folder, cache = m_artworkCacheFolder, stop = m_stopScan,
                                      scanCache = m_scanCache, lastBuilt = m_lastBuilt,
                                      changedFolders = std::move(changedFolders), rereadTags] {
        // The library of the scan before this one, from the same cache: what this scan finds
        // changed is applied to it. Cleared while the scan runs, so that a scan that fails or
        // stops leaves the next one to build the library whole.
        const std::shared_ptr<const Snapshot> base = std::exchange(*lastBuilt, nullptr);
        const FolderScanner scanner(folder, cache);
        std::optional<ScanResult> partial;
        // After a change in some watched folders only they are listed, against the last library
        // and the entries the cache file holds for them.
        if (base && !changedFolders.isEmpty()) {
            const LibraryIndex &index = base->index;
            const FolderScanner::Previous previous{base->folders, base->playlistFiles, [&index](const QByteArray &identity) {
                                                       return index.contains(LocalIdentifiers::songID(identity));
                                                   }};
            partial = scanner.rescan(previous, changedFolders, stop.get(), *scanCache);
        }
        // A whole scan reads the cache back from disk; it leaves memory again once written.
        if (!partial && !scanCache->isLoaded())
            scanCache->load();
        ScanResult scan = partial ? std::move(*partial) : scanner.scan(stop.get(), scanCache.get(), rereadTags);
        partial.reset();
        QElapsedTimer timer;
        timer.start();
        auto snapshot = std::make_shared<Snapshot>();
        LibraryChange change;
        if (base) {
            change.fromRevision = QString::fromLatin1(base->revision);
            change.toRevision = QString::fromLatin1(scan.revision);
            snapshot->index = LibraryIndex(base->index, scan, change);
            snapshot->changes = base->changes;
            if (base->revision != scan.revision) {
                snapshot->changes.append(change);
                qsizetype songs = 0;
                for (const LibraryChange &kept : std::as_const(snapshot->changes))
                    songs += kept.songs.size();
                while (snapshot->changes.size() > keptChanges || (songs > keptChangedSongs && !snapshot->changes.isEmpty()))
                    songs -= snapshot->changes.takeFirst().songs.size();
            }
        } else {
            snapshot->index = LibraryIndex(scan);
        }
        const qint64 indexed = timer.elapsed();
        snapshot->recommendations = base && change.isEmpty() ? base->recommendations : LocalRecommendations(snapshot->index);
        LUMEVAR_DEBUG(Log::collection(), "Library %s in %d ms, recommendations in %d ms", base ? "updated" : "built",
                      int(indexed), int(timer.elapsed() - indexed));
        snapshot->revision = scan.revision;
        snapshot->playlistFiles = std::move(scan.playlistFiles);
        const ScannedFolders folders = std::move(scan.folders);
        // The scan's own lists go with this job; what it leaves is the snapshot and the cache.
        scan = ScanResult();
        snapshot->folders = packedCopy(folders);
        if (!stop->load())
            *lastBuilt = snapshot;
        return std::shared_ptr<const Snapshot>(std::move(snapshot));
    });
    // The library is handed out first and the scan cache written after it, before any later scan
    // (the pool runs one job at a time), which is what lets a partial scan read the file. A
    // stopped scan leaves the cache as it was, so what is there is always whole and is written
    // even while the service closes. Its entries then leave memory.
    // Then the heap the scan freed goes back to the system: done here, after the hand-out, a trim
    // of a few hundred megabytes of heap costs the waiting callers nothing.
    startOnPool(m_scanPool, [scanCache = m_scanCache] {
        if (scanCache->isDirty())
            scanCache->save();
        scanCache->release();
        Allocator::releaseFreeMemory();
    });
}

QCoro::Task<std::shared_ptr<const LocalLibraryService::Snapshot>> LocalLibraryService::library()
{
    // A copy: QCoro 0.8's return_value moves from a non-const lvalue, which would empty the member.
    if (m_snapshot && !m_scan)
        co_return std::shared_ptr<const Snapshot>(m_snapshot);
    if (!m_scan) {
        m_status = checkFolder();
        if (m_status != MusicAuthorizationStatus::authorized)
            throw MusicError(MusicError::notAuthorized, QStringLiteral("The music folder %1 is missing or not readable").arg(m_folder));
        startScan();
    }

    const PoolResult<std::shared_ptr<const Snapshot>> scan = *m_scan;
    const int generation = m_scanGeneration;
    const OwnerGuard guard(this);
    co_await scan.ended();
    guard.check();

    std::shared_ptr<const Snapshot> snapshot;
    try {
        snapshot = scan.get();
    } catch (...) {
        const Error error = errorFromCurrentException();
        if (generation == m_scanGeneration)
            m_scan.reset(); // the next call tries again
        LUMEVAR_ERROR(Log::collection(), "Failed to scan the music folder: %@", error);
        throw MusicError(MusicError::serviceFailed, error.localizedDescription());
    }
    // The first waiter to resume installs the result; a newer scan's result wins over an older one.
    if (generation == m_scanGeneration && m_scan) {
        m_scan.reset();
        m_snapshot = snapshot;
        m_stationQueues.clear();
        // From the first scan on, the folders it found are watched.
        if (!m_watcher) {
            m_watcher = new FolderWatcher(this);
            connect(m_watcher, &FolderWatcher::changed, this, [this](const QList<QByteArray> &folders) {
                // A watcher that misses some folders cannot name every change: the whole folder
                // is read again.
                detach(readFolderChange(m_watcher->isComplete() ? QSet<QByteArray>(folders.cbegin(), folders.cend())
                                                                : QSet<QByteArray>()));
            });
        }
        QList<QByteArray> folders = snapshot->folders.keys();
        // The root first: past the watcher's limit, the folders nearest it are the ones watched.
        std::sort(folders.begin(), folders.end());
        m_watcher->watch(folders);
        Q_EMIT libraryChanged();
    }
    co_return snapshot;
}

QCoro::Task<void> LocalLibraryService::readFolderChange(QSet<QByteArray> changedFolders)
{
    const QByteArray before = m_snapshot ? m_snapshot->revision : QByteArray();
    try {
        co_await OwnerGuard(this)(scanAgain(std::move(changedFolders)));
    } catch (const CancellationError &) {
        co_return;
    } catch (const Error &error) {
        // A folder that went away (an unmounted disk) keeps the library as it was.
        LUMEVAR_NOTICE(Log::collection(), "Failed to read a change of the music folder: %@", error);
        co_return;
    }
    if (!m_snapshot || m_snapshot->revision == before)
        co_return;
    Q_EMIT folderChangeRead();
    Q_EMIT libraryDidChange();
}

QCoro::Task<std::optional<QString>> LocalLibraryService::libraryRevision()
{
    const OwnerGuard guard(this);
    // A library read once and watched whole is current; otherwise the folder is read again,
    // which costs a look at each file and a read of the new ones only.
    if (m_snapshot && !m_scan && !(m_watcher && m_watcher->isComplete()))
        co_await guard(rescan());
    else
        co_await guard(library());
    if (!m_snapshot)
        co_return std::nullopt;
    co_return QString::fromLatin1(m_snapshot->revision);
}

QCoro::Task<std::optional<QList<LibraryChange>>> LocalLibraryService::libraryChanges(QString since, QString until)
{
    const auto snapshot = co_await library();
    QList<LibraryChange> chain;
    if (since == until)
        co_return chain;
    const QList<LibraryChange> &changes = snapshot->changes;
    qsizetype last = changes.size() - 1;
    while (last >= 0 && changes[last].toRevision != until)
        --last;
    for (qsizetype first = last; first >= 0; --first) {
        if (first < last && changes[first].toRevision != changes[first + 1].fromRevision)
            break;
        if (changes[first].fromRevision == since)
            co_return changes.mid(first, last - first + 1);
    }
    co_return std::nullopt;
}

QCoro::Task<void> LocalLibraryService::rescan() { return scanAgain({}); }

QCoro::Task<void> LocalLibraryService::readLibraryAgain() { return scanAgain({}, true); }

QCoro::Task<void> LocalLibraryService::scanAgain(QSet<QByteArray> changedFolders, bool rereadTags)
{
    m_status = checkFolder();
    if (m_status != MusicAuthorizationStatus::authorized)
        throw MusicError(MusicError::notAuthorized, QStringLiteral("The music folder %1 is missing or not readable").arg(m_folder));
    startScan(std::move(changedFolders), rereadTags);
    co_await library();
}

QCoro::Task<LibraryPage<Playlist>> LocalLibraryService::libraryPlaylists(int offset, int limit)
{
    const auto snapshot = co_await library();
    const QList<Playlist> &playlists = snapshot->index.playlists();
    co_return pageOf(playlists.size(), offset, limit, [&](int first, int count) { return playlists.mid(first, count); });
}

QCoro::Task<LibraryPage<Album>> LocalLibraryService::libraryAlbums(int offset, int limit)
{
    const auto snapshot = co_await library();
    co_return pageOf(snapshot->index.albumCount(), offset, limit, [&](int first, int count) { return snapshot->index.albums(first, count); });
}

QCoro::Task<LibraryPage<Artist>> LocalLibraryService::libraryArtists(int offset, int limit)
{
    const auto snapshot = co_await library();
    co_return pageOf(snapshot->index.artistCount(), offset, limit, [&](int first, int count) { return snapshot->index.artists(first, count); });
}

QCoro::Task<LibraryPage<Song>> LocalLibraryService::librarySongs(int offset, int limit)
{
    const auto snapshot = co_await library();
    co_return pageOf(snapshot->index.songCount(), offset, limit, [&](int first, int count) { return snapshot->index.songs(first, count); });
}

QCoro::Task<QList<Song>> LocalLibraryService::librarySongsAdded(QDateTime since)
{
    const auto snapshot = co_await library();
    co_return snapshot->index.songs(snapshot->index.newestSongIDs(-1, since));
}

QCoro::Task<QList<Song>> LocalLibraryService::tracks(Playlist playlist)
{
    const auto snapshot = co_await library();
    if (auto songs = snapshot->index.playlistTracks(playlist.id))
        co_return *songs;
    if (const QList<MusicItemID> *mix = snapshot->recommendations.mixSongs(playlist.id))
        co_return snapshot->index.songs(*mix);
    throw MusicError(MusicError::notFound, QStringLiteral("No playlist %1").arg(playlist.id.rawValue()));
}

QCoro::Task<QList<Song>> LocalLibraryService::tracks(Album album)
{
    const auto snapshot = co_await library();
    if (auto songs = snapshot->index.albumTracks(album.id))
        co_return *songs;
    throw MusicError(MusicError::notFound, QStringLiteral("No album %1").arg(album.id.rawValue()));
}

QCoro::Task<QList<Song>> LocalLibraryService::tracks(Artist artist)
{
    const auto snapshot = co_await library();
    if (auto songs = snapshot->index.artistTracks(artist.id))
        co_return *songs;
    throw MusicError(MusicError::notFound, QStringLiteral("No artist %1").arg(artist.id.rawValue()));
}

QCoro::Task<QList<MusicPersonalRecommendation>> LocalLibraryService::personalRecommendations()
{
    const auto snapshot = co_await library();
    co_return snapshot->recommendations.groups();
}

QCoro::Task<QList<Song>> LocalLibraryService::stationSongs(Station station, int count)
{
    const auto snapshot = co_await library();
    const std::optional<QList<MusicItemID>> pool = snapshot->recommendations.stationSongs(snapshot->index, station.id);
    if (!pool)
        throw MusicError(MusicError::notFound, QStringLiteral("No station %1").arg(station.id.rawValue()));
    co_return snapshot->index.songs(nextStationSongs(station.id, *pool, count));
}

QList<MusicItemID> LocalLibraryService::nextStationSongs(const MusicItemID &stationID, const QList<MusicItemID> &pool,
                                                         int count)
{
    // A shuffled pass over the station's songs, then another: random, endless, and no song comes
    // back before the others have played (nor twice in a row across passes).
    QList<MusicItemID> &queue = m_stationQueues[stationID];
    QList<MusicItemID> picked;
    auto *random = QRandomGenerator::global();
    while (picked.size() < count && !pool.isEmpty()) {
        if (queue.isEmpty()) {
            queue = pool;
            for (qsizetype i = queue.size() - 1; i > 0; --i)
                std::swap(queue[i], queue[qsizetype(random->bounded(quint64(i + 1)))]);
            if (queue.size() > 1 && !picked.isEmpty() && queue.last() == picked.last())
                std::swap(queue.first(), queue.last());
        }
        picked.append(queue.takeLast());
    }
    return picked;
}

QCoro::Task<CatalogSearchResponse> LocalLibraryService::searchCatalog(QString, int)
{
    // The music folder has no catalog beyond the library itself.
    co_return CatalogSearchResponse{};
}

QCoro::Task<Artist> LocalLibraryService::catalogArtistWithTopSongs(MusicItemID artistID)
{
    const auto snapshot = co_await library();
    const std::optional<Artist> artist = snapshot->index.artist(artistID);
    if (!artist)
        throw MusicError(MusicError::notFound, QStringLiteral("No artist %1").arg(artistID.rawValue()));
    Artist answer = *artist;
    answer.topSongs.reset(); // no play counts to rank songs by
    co_return answer;
}

QCoro::Task<void> LocalLibraryService::addToLibrary(MusicItemID songID)
{
    // Every song of the folder is in the library already.
    const auto snapshot = co_await library();
    if (!snapshot->index.contains(songID))
        throw MusicError(MusicError::notFound, QStringLiteral("No song %1").arg(songID.rawValue()));
}

QCoro::Task<QUrl> LocalLibraryService::playableURL(PlayParameters parameters)
{
    const auto snapshot = co_await library();
    const QByteArray path = snapshot->index.filePath(parameters.id);
    if (path.isEmpty() || (!parameters.kind.isEmpty() && parameters.kind != QLatin1String("song")))
        throw MusicError(MusicError::unplayable, QStringLiteral("%1 is not a song of the library").arg(parameters.id.rawValue()));
    if (::access(path.constData(), R_OK) != 0)
        throw MusicError(MusicError::unplayable, QStringLiteral("%1 has been removed").arg(QString::fromUtf8(path)));
    co_return localFileURL(path);
}

#pragma once
// The embedded music service: the user's music folder, scanned with TagLib. Songs, albums, artists
// and .m3u playlists come from the folder; recommendations are made from it; there is no remote
// catalog. The folder is scanned lazily, on the first call that needs the library, on a worker
// thread; callers that arrive while a scan runs wait for that same scan. A scan reads only the
// files that are new or changed since the last one (ScanCache, kept in the cache folder across
// runs, in memory only while a scan uses it). After the first scan the folder is watched: a
// change is read in the background, listing only the folders that changed, and announced with
// MusicService::libraryDidChange(). A scan after the first updates the library it
// follows in place and remembers what changed, so the store can apply just that.

#include "Platform/Music/MusicService.h"
#include "Support/PoolJobs.h"

#include <QHash>
#include <QSet>
#include <QThreadPool>
#include <atomic>
#include <memory>

class FolderWatcher;
class ScanCache;
class UserDefaults;

class LocalLibraryService : public MusicService {
    Q_OBJECT

public:
    // artworkCacheFolder receives the embedded pictures; empty means a folder in the user's cache.
    explicit LocalLibraryService(QString folder, QString artworkCacheFolder = {}, QObject *parent = nullptr);
    ~LocalLibraryService() override;

    // The user's music folder (XDG_MUSIC_DIR), the default library.
    static QString defaultMusicFolder();

    // The stored setting that names the library folder.
    static inline const QString libraryFolderKey = QStringLiteral("libraryFolder");

    // The folder to read: explicitPath (the "--library" option) when not empty, else the stored
    // setting "libraryFolder" when not empty, else the user's music folder. Relative paths are
    // made absolute against the working directory. defaults: nullptr means the standard ones.
    static QString resolveLibraryFolder(const QString &explicitPath = {}, UserDefaults *defaults = nullptr);

    const QString &folder() const { return m_folder; }

    // The file: URL of a path given as bytes; the bytes come back from
    // QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()).
    static QUrl localFileURL(const QByteArray &path);

    // Reads the folder again (only what changed). Calls made meanwhile wait for the new library.
    QCoro::Task<void> rescan();
    // Update Library: reads the tags of every file again, also of files whose size and time are
    // as the scan cache has them (a tag editor may keep both).
    QCoro::Task<void> readLibraryAgain() override;
    // The library's revision. Reads the folder first unless it is watched whole and read already.
    QCoro::Task<std::optional<QString>> libraryRevision() override;
    // The changes between two revisions of the last few that scans of this run found.
    QCoro::Task<std::optional<QList<LibraryChange>>> libraryChanges(QString since, QString until) override;
    // Where the scan cache of this folder is kept.
    QString scanCacheFile() const;

    // The music folder's own name.
    QString displayName() const override;
    // A song that does not play has lost its file, or the folder its disk.
    QString playFailureAdvice() const override;

    MusicAuthorizationStatus authorizationStatus() const override;
    QCoro::Task<MusicAuthorizationStatus> requestAuthorization() override;
    // Names the folder and says what is wrong with it: missing, not a folder, not readable.
    QString unavailableReason() const override;

    QCoro::Task<LibraryPage<Playlist>> libraryPlaylists(int offset, int limit) override;
    QCoro::Task<LibraryPage<Album>> libraryAlbums(int offset, int limit) override;
    QCoro::Task<LibraryPage<Artist>> libraryArtists(int offset, int limit) override;
    QCoro::Task<LibraryPage<Song>> librarySongs(int offset, int limit) override;
    QCoro::Task<QList<Song>> librarySongsAdded(QDateTime since) override;

    QCoro::Task<QList<Song>> tracks(Playlist playlist) override;
    QCoro::Task<QList<Song>> tracks(Album album) override;
    QCoro::Task<QList<Song>> tracks(Artist artist) override;

    QCoro::Task<QList<MusicPersonalRecommendation>> personalRecommendations() override;
    QCoro::Task<QList<Song>> stationSongs(Station station, int count) override;

    QCoro::Task<CatalogSearchResponse> searchCatalog(QString term, int limit) override;
    QCoro::Task<Artist> catalogArtistWithTopSongs(MusicItemID artistID) override;
    // Files on this machine have no public page.
    bool hasPublicSongPages() const override { return false; }
    QCoro::Task<void> addToLibrary(MusicItemID songID) override;
    QCoro::Task<QUrl> playableURL(PlayParameters parameters) override;

Q_SIGNALS:
    // A scan finished and the library may have changed.
    void libraryChanged();
    // A change on disk was read; emitted with the notification.
    void folderChangeRead();

private:
    struct Snapshot;

    // The current library, scanning first when there is none or a scan is running.
    QCoro::Task<std::shared_ptr<const Snapshot>> library();
    // A scan of the whole folder, or after a change, of the folders that changed.
    // rereadTags: every file's tags are read, whatever the scan cache holds.
    void startScan(QSet<QByteArray> changedFolders = {}, bool rereadTags = false);
    QCoro::Task<void> scanAgain(QSet<QByteArray> changedFolders, bool rereadTags = false);
    QCoro::Task<void> readFolderChange(QSet<QByteArray> changedFolders);
    MusicAuthorizationStatus checkFolder() const;
    QList<MusicItemID> nextStationSongs(const MusicItemID &stationID, const QList<MusicItemID> &pool, int count);

    QString m_folder;
    QString m_artworkCacheFolder;
    MusicAuthorizationStatus m_status;
    QThreadPool m_scanPool;
    std::shared_ptr<std::atomic<bool>> m_stopScan;
    // Touched only by scans, which run one at a time on m_scanPool.
    std::shared_ptr<ScanCache> m_scanCache;
    // The library the last finished scan built, the base of the next scan's; touched only by scans.
    std::shared_ptr<std::shared_ptr<const Snapshot>> m_lastBuilt;
    FolderWatcher *m_watcher = nullptr;
    std::shared_ptr<const Snapshot> m_snapshot;
    std::optional<PoolResult<std::shared_ptr<const Snapshot>>> m_scan;
    int m_scanGeneration = 0;
    // What each station still has to play before it reshuffles.
    QHash<MusicItemID, QList<MusicItemID>> m_stationQueues;
};

#pragma once
// The embedded music service: the user's music folder, scanned with TagLib. Songs, albums, artists
// and .m3u playlists come from the folder; recommendations are made from it; there is no remote
// catalog. The folder is scanned once, lazily, on the first call that needs the library, on a
// worker thread; callers that arrive while a scan runs wait for that same scan.

#include "Platform/Music/MusicService.h"

#include <QFuture>
#include <QHash>
#include <QObject>
#include <QThreadPool>
#include <atomic>
#include <memory>

class UserDefaults;

class LocalLibraryService : public QObject, public MusicService {
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

    // Reads the folder again. Calls made meanwhile wait for the new library.
    QCoro::Task<void> rescan();

    MusicAuthorizationStatus authorizationStatus() const override;
    QCoro::Task<MusicAuthorizationStatus> requestAuthorization() override;

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

private:
    struct Snapshot;

    // The current library, scanning first when there is none or a scan is running.
    QCoro::Task<std::shared_ptr<const Snapshot>> library();
    void startScan();
    MusicAuthorizationStatus checkFolder() const;
    QList<MusicItemID> nextStationSongs(const MusicItemID &stationID, const QList<MusicItemID> &pool, int count);

    QString m_folder;
    QString m_artworkCacheFolder;
    MusicAuthorizationStatus m_status;
    QThreadPool m_scanPool;
    std::shared_ptr<std::atomic<bool>> m_stopScan;
    std::shared_ptr<const Snapshot> m_snapshot;
    std::optional<QFuture<std::shared_ptr<const Snapshot>>> m_scan;
    int m_scanGeneration = 0;
    // What each station still has to play before it reshuffles.
    QHash<MusicItemID, QList<MusicItemID>> m_stationQueues;
};

#pragma once
// The root object of the process. Made once on the main thread, it brings the application up in a
// fixed order, and every object it makes lives until the process ends:
//   1. the failure and usage outlets (so nothing reported during start-up is lost), with the
//      telemetry client when the user shares usage statistics (UsageStatistics),
//   2. the updater (none on Linux),
//   3. the one store, LocalDatabase::shared(), opening in the background,
//   4. the fallback values of the stored settings,
//   5. the models: MainViewModel, the detail songs, search, the Songs container, then albums,
//      playlists, artists, Made for You and stations, each with the main model and the detail songs.
// The music service, the player, the clock and the defaults are the process's shared instances,
// installed before (main.cpp, or a test).
//
// The main window calls firstAppear() when it is first shown: authorization, MainViewModel::start(),
// and the preload of Made for You unless the machine saves power. A refused authorization sets
// _notAuthorized, and tryAgain() asks once more. resetData() forgets everything stored and quits.

#include "Lumevar/App/UsageStatistics.h"
#include "Lumevar/Library/CollectionViewModel.h"
#include "Lumevar/Library/RecommendationViewModels.h"
#include "Lumevar/Library/SongListViewModels.h"
#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/Search/SearchModels.h"
#include "Lumevar/Search/SearchViewModel.h"
#include "Support/Observable.h"

#include <QCoroTask>
#include <QObject>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <optional>

class Updater;

class LumevarApp : public QObject {
    Q_OBJECT
public:
    // The fallback values of the stored settings, registered at start.
    static QVariantMap registeredDefaults();

    // Hooks with the process's behaviour as default; tests replace them.
    struct Environment {
        // Whether the machine runs in power-saving mode (power-profiles-daemon).
        std::function<QCoro::Task<bool>()> isLowPowerMode;
        // Ends the process (QCoreApplication::quit).
        std::function<void()> terminate;
        // The file of the store that Reset Data deletes.
        QString databasePath;
        // Where usage statistics go when the user shares them; without it (tests) the failure
        // reporter's outlets are left as they are and no telemetry client is ever made.
        std::optional<UsageStatistics::Deployment> usageStatistics = std::nullopt;
    };
    static Environment defaultEnvironment();

    explicit LumevarApp(Environment environment = defaultEnvironment(), QObject *parent = nullptr);
    ~LumevarApp() override;

    Updater *updater() const { return m_updater; }
    MainViewModel &mainViewModel() { return *m_mainViewModel; }
    DetailSongsViewModel &songsViewModel() { return *m_songsViewModel; }
    TopLevelSongsViewModel &topLevelSongsViewModel() { return *m_topLevelSongsViewModel; }
    AlbumsViewModel &albumsViewModel() { return *m_albumsViewModel; }
    PlaylistsViewModel &playlistsViewModel() { return *m_playlistsViewModel; }
    ArtistsViewModel &artistsViewModel() { return *m_artistsViewModel; }
    MadeForYouViewModel &madeForYouViewModel() { return *m_madeForYouViewModel; }
    StationsViewModel &stationsViewModel() { return *m_stationsViewModel; }
    SearchViewModel &searchViewModel() { return *m_searchViewModel; }
    // The models the search surface searches and plays through.
    SearchModels searchModels();

    // The main view's state: true after the service refused access, until "Try Again" succeeds.
    Observable<bool> _notAuthorized{false};
    // The service's own words for why it refused (e.g. which music folder is missing); empty when
    // the screen's standard words apply.
    Observable<QString> _unavailableReason;

    // As the main window first appears: authorization, then start, then the preload.
    QCoro::Task<void> firstAppear();
    // "Try Again" on the unavailable screen: authorization, and start when granted. No preload.
    QCoro::Task<void> tryAgain();
    // Closes the store, forgets every stored setting, deletes the store's file, and terminates —
    // also when the file could not be deleted (that is reported and logged).
    QCoro::Task<void> resetData();

private:
    QCoro::Task<bool> authorize();

    Environment m_env;
    std::unique_ptr<UsageStatistics> m_usageStatistics;
    Updater *m_updater = nullptr;
    std::unique_ptr<MainViewModel> m_mainViewModel;
    std::unique_ptr<DetailSongsViewModel> m_songsViewModel;
    std::unique_ptr<SearchViewModel> m_searchViewModel;
    std::unique_ptr<TopLevelSongsViewModel> m_topLevelSongsViewModel;
    std::unique_ptr<AlbumsViewModel> m_albumsViewModel;
    std::unique_ptr<PlaylistsViewModel> m_playlistsViewModel;
    std::unique_ptr<ArtistsViewModel> m_artistsViewModel;
    std::unique_ptr<MadeForYouViewModel> m_madeForYouViewModel;
    std::unique_ptr<StationsViewModel> m_stationsViewModel;
};

#include "Lumevar/App/LumevarApp.h"

#include "Lumevar/App/PowerProfile.h"
#include "Lumevar/App/Updater.h"
#include "Lumevar/App/UsageStatistics.h"
#include "Lumevar/Model/ErrorReporting.h"
#include "LumevarCore/LocalDatabase.h"
#include "Platform/Music/MusicService.h"
#include "Support/Log.h"
#include "Support/UserDefaults.h"
#include "Support/OwnerGuard.h"

#include <QCoreApplication>
#include <QFile>
#include <QPointer>

QVariantMap LumevarApp::registeredDefaults()
{
    return {
        {QStringLiteral("showSubtitles"), true},
        {QStringLiteral("padding"), 2},
        {QStringLiteral("fontWeight"), 2},
        {QStringLiteral("artworkSize"), 32},
    };
}

LumevarApp::Environment LumevarApp::defaultEnvironment()
{
    return Environment{
        [] { return PowerProfile::isPowerSaverActive(); },
        [] { QCoreApplication::quit(); },
        LocalDatabase::defaultPath(),
        UsageStatistics::Deployment::fromBuildAndEnvironment(),
    };
}

LumevarApp::LumevarApp(Environment environment, QObject *parent) : QObject(parent), m_env(std::move(environment))
{
    // 1. Failures and usage signals have their road before any model exists; the telemetry
    //    client starts here when the user shares usage statistics.
    ErrorReporter::shared();
    if (m_env.usageStatistics)
        m_usageStatistics = std::make_unique<UsageStatistics>(*m_env.usageStatistics, UserDefaults::standard());
    // 2. The updater, when this platform has one.
    m_updater = Updater::shared();
    if (m_updater)
        m_updater->setAutomaticallyChecksForUpdates(true);
    // 3. The one store, opening in the background; a damaged one is rebuilt, one that cannot be
    //    written is kept in memory (MainViewModel::start() tells the user).
    LocalDatabase::shared();
    // 4. Fallback values of the settings.
    UserDefaults::standard().registerDefaults(registeredDefaults());
    // 5. The models, in their order.
    m_mainViewModel = std::make_unique<MainViewModel>();
    m_songsViewModel = std::make_unique<DetailSongsViewModel>(*m_mainViewModel);
    m_searchViewModel = std::make_unique<SearchViewModel>();
    m_topLevelSongsViewModel = std::make_unique<TopLevelSongsViewModel>(*m_mainViewModel);
    m_albumsViewModel = std::make_unique<AlbumsViewModel>(*m_mainViewModel, *m_songsViewModel);
    m_playlistsViewModel = std::make_unique<PlaylistsViewModel>(*m_mainViewModel, *m_songsViewModel);
    m_artistsViewModel = std::make_unique<ArtistsViewModel>(*m_mainViewModel, *m_songsViewModel);
    m_madeForYouViewModel = std::make_unique<MadeForYouViewModel>(*m_mainViewModel, *m_songsViewModel);
    m_stationsViewModel = std::make_unique<StationsViewModel>(*m_mainViewModel, *m_songsViewModel);
}

LumevarApp::~LumevarApp() = default;

SearchModels LumevarApp::searchModels()
{
    return SearchModels{*m_searchViewModel,      *m_mainViewModel,        *m_playlistsViewModel,  *m_albumsViewModel,
                        *m_artistsViewModel,     *m_topLevelSongsViewModel, *m_madeForYouViewModel, *m_stationsViewModel};
}

QCoro::Task<bool> LumevarApp::authorize()
{
    const OwnerGuard guard(this);
    const MusicAuthorizationStatus status = co_await guard(MusicService::shared().requestAuthorization());
    const bool authorized = status == MusicAuthorizationStatus::authorized;
    _unavailableReason.set(authorized ? QString() : MusicService::shared().unavailableReason());
    co_return authorized;
}

QCoro::Task<void> LumevarApp::firstAppear()
{
    const OwnerGuard guard(this);
    const bool authorized = co_await authorize();
    if (!authorized) {
        _notAuthorized.set(true);
        co_return;
    }
    co_await guard(m_mainViewModel->start());
    const bool lowPower = m_env.isLowPowerMode ? co_await guard(m_env.isLowPowerMode()) : false;
    if (lowPower)
        co_return;
    co_await m_madeForYouViewModel->loadMadeForYou();
}

QCoro::Task<void> LumevarApp::tryAgain()
{
    const bool authorized = co_await authorize();
    if (!authorized)
        co_return;
    _notAuthorized.set(false);
    co_await m_mainViewModel->start();
}

QCoro::Task<void> LumevarApp::resetData()
{
    QPointer<LumevarApp> self(this);
    co_await LocalDatabase::shared().close();
    if (!self)
        co_return;
    UserDefaults::standard().removePersistentDomain();
    // A store that is not there cannot be removed either: that too is reported and logged.
    QFile file(m_env.databasePath);
    if (!file.remove()) {
        const Error error(QStringLiteral("LumevarFileError"), int(file.error()), file.errorString());
        reportError(error, QStringLiteral("remove_local_database"));
        LUMEVAR_ERROR(Log::app(), "Failed to remove local database: %@", error);
    }
    // The store's journal files go with it, so that the next launch starts from nothing.
    QFile::remove(m_env.databasePath + QStringLiteral("-wal"));
    QFile::remove(m_env.databasePath + QStringLiteral("-shm"));
    if (m_env.terminate)
        m_env.terminate();
}

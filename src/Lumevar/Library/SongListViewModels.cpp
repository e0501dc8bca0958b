#include "Lumevar/Library/SongListViewModels.h"

#include "Lumevar/Library/SyncThrottle.h"
#include "Lumevar/Model/ErrorReporting.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Support/Clock.h"
#include "Support/Log.h"

#include <QPointer>

namespace {

QCoro::Task<void> syncLibrarySongs()
{
    SyncEngine engine(LocalDatabase::shared());
    co_await engine.syncSongs();
}

} // namespace

// ---- DetailSongsViewModel ----

DetailSongsViewModel::DetailSongsViewModel(MainViewModel &mainViewModel, QObject *parent)
    : QObject(parent), m_main(mainViewModel)
{
}

void DetailSongsViewModel::showDetailSongs(QList<LocalSong> songs, QString id, std::optional<QString> title)
{
    const NavigationItem item = NavigationItem::songCollection(std::move(id), title.value_or(QString()));
    // A change of selection replaces the third pane instead of deepening the path.
    m_main._navigationPath.modify([&item](QList<NavigationItem> &path) {
        if (path.size() == 3)
            path[2] = item;
        else
            path.append(item);
    });
    m_main._detailSongs.set(std::move(songs));
    if (!m_main.detailSongIDToRestore) {
        m_main._selectedDetailSongID.set(SongSelection::playID);
        return;
    }
    m_main.listScrollState().withScrollRequest([this] { restoreDetailSongSelection(); });
}

void DetailSongsViewModel::restoreDetailSongSelection()
{
    std::optional<QString> found;
    for (const LocalSong &song : m_main._detailSongs()) {
        if (song.matchesPlayingSong(m_main.detailSongIDToRestore)) {
            found = song.identifier;
            break;
        }
    }
    m_main._selectedDetailSongID.set(found);
    m_main.detailSongIDToRestore.reset();
}

QCoro::Task<void> DetailSongsViewModel::playSelection(QString id)
{
    QPointer<MainViewModel> main(&m_main);
    try {
        co_await m_main.playSelection(m_main._detailSongs(), id);
    } catch (...) {
        const Error error = errorFromCurrentException();
        if (main)
            main->reportPlayFailure(error);
    }
}

QCoro::Task<void> DetailSongsViewModel::playSongs(QList<LocalSong> songs, bool shuffle)
{
    return m_main.playSongs(std::move(songs), shuffle);
}

// ---- TopLevelSongsViewModel ----

TopLevelSongsViewModel::TopLevelSongsViewModel(MainViewModel &mainViewModel, QObject *parent)
    : QObject(parent), m_main(mainViewModel), m_sort(UserDefaults::standard(), [this] { return loadSongs(false); })
{
}

QCoro::Task<void> TopLevelSongsViewModel::loadSongs(bool sync)
{
    QPointer<MainViewModel> main(&m_main);
    try {
        const QList<LocalSong> songs = co_await LocalDatabase::shared().allLibrarySongs(sortDescriptor());
        if (!main)
            co_return;
        main->_topLevelSongs.set(songs);
        if (!main->_selectedTopLevelSongID())
            main->_selectedTopLevelSongID.set(SongSelection::playID);
        if (!sync)
            co_return;
        // The list is not reloaded after the sync: what it brought shows at the next load.
        co_await runThrottledListSync(SyncThrottle(UserDefaults::standard(), Clock::shared()), songSyncKey,
                                      "Skipping song sync because there was a recent one", syncLibrarySongs);
    } catch (...) {
        const Error error = errorFromCurrentException();
        ErrorReporter::shared().reportError(error, QStringLiteral("load_songs"));
        LUMEVAR_ERROR(Log::sync(), "Failed to load songs: %@", error);
    }
}

QCoro::Task<void> TopLevelSongsViewModel::playSelection(QString id)
{
    QPointer<MainViewModel> main(&m_main);
    if (m_main._topLevelSongs().isEmpty()) {
        co_await loadSongs(false);
        if (!main)
            co_return;
    }
    co_await main->playSelection(main->_topLevelSongs(), id);
}

QCoro::Task<void> TopLevelSongsViewModel::playSongs(QList<LocalSong> songs, bool shuffle)
{
    return m_main.playSongs(std::move(songs), shuffle);
}

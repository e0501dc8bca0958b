#include "Lumevar/Library/CollectionViewModel.h"

#include "Lumevar/Library/SongListViewModels.h"
#include "Lumevar/Model/ErrorReporting.h"
#include "Platform/Music/MusicService.h"
#include "Support/Clock.h"
#include "Support/Log.h"
#include "Support/OwnerGuard.h"

#include <QCoroFuture>
#include <QPointer>
#include <QPromise>
#include <algorithm>

namespace {

// Song lists are compared by song id only: the same songs in the same order.
bool sameSongIDs(const QList<LocalSong> &a, const QList<LocalSong> &b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const LocalSong &x, const LocalSong &y) { return x.id == y.id; });
}

// The store and the service outlive every model, so the references are safe across the wait.
template <typename Kind>
QCoro::Task<void> syncList(LocalDatabase &database, MusicService &service)
{
    SyncEngine engine(database, service);
    co_await (engine.*Kind::syncAll)();
}

} // namespace

template <typename Kind>
CollectionViewModel<Kind>::CollectionViewModel(MainViewModel &mainViewModel, DetailSongsViewModel &songsViewModel,
                                               QObject *parent)
    : QObject(parent), m_main(mainViewModel), m_songs(songsViewModel),
      m_sort(UserDefaults::standard(), [this] { return load(false); })
{
}

template <typename Kind>
QString CollectionViewModel<Kind>::trackSyncKey(const QString &collectionID)
{
    return QLatin1String(Kind::trackSyncKeyPrefix) + collectionID;
}

template <typename Kind>
SyncThrottle CollectionViewModel<Kind>::throttle() const
{
    return SyncThrottle(UserDefaults::standard(), Clock::shared());
}

template <typename Kind>
std::optional<typename Kind::Element> CollectionViewModel<Kind>::selectedElement() const
{
    const std::optional<QString> &id = (m_main.*Kind::selection)();
    if (!id)
        return std::nullopt;
    for (const Element &element : _items())
        if (element.id == *id)
            return element;
    return std::nullopt;
}

template <typename Kind>
QCoro::Task<void> CollectionViewModel<Kind>::load(bool sync)
{
    const OwnerGuard guard(this);
    LocalDatabase &database = LocalDatabase::shared();
    MusicService &service = MusicService::shared();
    ErrorReporter &reporter = ErrorReporter::shared();
    try {
        const QList<Element> loaded = co_await guard((database.*Kind::readAll)(sortDescriptor()));
        _items.set(loaded);
        auto &selection = m_main.*Kind::selection;
        if (!selection()) {
            if (!loaded.isEmpty())
                selection.set(loaded.first().identifier);
        } else {
            publishSelectedSongs();
        }
        if (!sync)
            co_return;
        // Nothing is reloaded after the sync: what it brought shows at the next load.
        co_await runThrottledListSync(throttle(), QLatin1String(Kind::listSyncKey), Kind::listSyncSkippedLine,
                                      [&database, &service] { return syncList<Kind>(database, service); });
    } catch (const OwnerGone &) {
    } catch (...) {
        const Error error = errorFromCurrentException();
        reporter.reportError(error, QLatin1String(Kind::listErrorLabel));
        LUMEVAR_ERROR(Log::sync(), Kind::listFailedLine, error);
    }
}

template <typename Kind>
void CollectionViewModel<Kind>::reloadSelected()
{
    m_selectedLoadID = (m_main.*Kind::selection)();
    for (SelectedLoad &task : tasks)
        task.handle.cancel();
    tasks.clear();
    tasks.append(startSelectedLoad());
}

template <typename Kind>
void CollectionViewModel<Kind>::followSelection()
{
    if ((m_main.*Kind::selection)() != m_selectedLoadID)
        reloadSelected();
}

template <typename Kind>
typename CollectionViewModel<Kind>::SelectedLoad CollectionViewModel<Kind>::startSelectedLoad()
{
    auto done = std::make_shared<QPromise<void>>();
    done->start();
    QFuture<void> finished = done->future();
    QPointer self(this);
    TaskHandle handle = startTask([self, done](CancellationToken token) -> QCoro::Task<void> {
        return [](QPointer<CollectionViewModel> model, std::shared_ptr<QPromise<void>> promise,
                  CancellationToken token) -> QCoro::Task<void> {
            if (model)
                co_await model->loadSelectedSongs(token);
            promise->finish();
        }(self, done, token);
    });
    return SelectedLoad{handle, finished};
}

template <typename Kind>
QCoro::Task<void> CollectionViewModel<Kind>::loadSelectedSongs(CancellationToken token)
{
    const std::optional<Element> selected = selectedElement();
    if (!selected)
        co_return;
    const OwnerGuard guard(this);
    LocalDatabase &database = LocalDatabase::shared();
    MusicService &service = MusicService::shared();
    ErrorReporter &reporter = ErrorReporter::shared();
    SyncThrottle throttle = this->throttle();
    try {
        token.checkCancellation();
        const QList<LocalSong> stored = co_await guard(database.songs(*selected));
        // No check here: a load cancelled during the store read still shows what it read, and
        // the newer load that replaced it overwrites that a moment later.
        if (!stored.isEmpty())
            selectedSongs = stored;
        // Stored songs reach the screen before any network work starts.
        publishSelectedSongs();

        const QString key = trackSyncKey(selected->id);
        if (!throttle.isDue(key)) {
            if constexpr (Kind::clearsUnstoredSongsWhenRecent) {
                if (stored.isEmpty()) {
                    selectedSongs.clear();
                    publishSelectedSongs();
                }
            }
            LUMEVAR_NOTICE(Log::sync(), Kind::trackSyncSkippedLine);
            co_return;
        }

        token.checkCancellation();
        // The sync is not handed the token: once started it runs to its end, and its result is
        // kept even when a newer load has started meanwhile (that one overwrites it).
        SyncEngine engine(database, service);
        const QList<LocalSong> synced = co_await engine.syncRemoteTracks(*selected);
        throttle.recordSuccess(key);
        guard.check();
        selectedSongs = synced;
        publishSelectedSongs();
    } catch (const OwnerGone &) {
    } catch (...) {
        // Cancellation takes this road too: the reporter drops it, the line is written.
        const Error error = errorFromCurrentException();
        reporter.reportError(error, QLatin1String(Kind::selectedErrorLabel));
        LUMEVAR_ERROR(Log::sync(), Kind::selectedFailedLine, error);
    }
}

template <typename Kind>
void CollectionViewModel<Kind>::publishSelectedSongs()
{
    // A load that ends once the user has gone on to another container (an album's track sync still
    // under way when Songs was chosen) must not bring this container's songs back as a third pane:
    // the container's own pane publishes them again when it is shown.
    const QList<NavigationItem> &path = m_main._navigationPath();
    if (path.size() >= 2 && path[1].containerKind() && *path[1].containerKind() != ContainerKind(Kind::container))
        return;
    if (sameSongIDs(m_main._detailSongs(), selectedSongs) && path.size() == 3)
        return;
    const std::optional<Element> selected = selectedElement();
    m_songs.showDetailSongs(selectedSongs, selected ? selected->id : QString(),
                            selected ? title(*selected) : QString());
}

template <typename Kind>
ObservationTrackingToken CollectionViewModel<Kind>::observeSelection()
{
    QPointer self(this);
    return observeChanges(m_main.*Kind::selection,
                          [self](const std::optional<QString> &old, const std::optional<QString> &now) {
                              // Absent to absent and equal ids are no change.
                              if (self && old != now)
                                  self->followSelection();
                          });
}

template <typename Kind>
QCoro::Task<QList<LocalSong>> CollectionViewModel<Kind>::songs(QString id, CancellationToken token)
{
    const QList<Element> &items = _items();
    const auto found = std::find_if(items.begin(), items.end(), [&id](const Element &e) { return e.id == id; });
    if (found == items.end())
        throw PlaybackError(PlaybackError::noSongs);
    const Element element = *found;
    LocalDatabase &database = LocalDatabase::shared();
    MusicService &service = MusicService::shared();
    SyncThrottle throttle = this->throttle();

    token.checkCancellation();
    QList<LocalSong> stored = co_await database.songs(element);
    const QString key = trackSyncKey(element.id);
    if (!throttle.isDue(key)) {
        LUMEVAR_NOTICE(Log::sync(), Kind::trackSyncSkippedLine);
        co_return stored;
    }
    token.checkCancellation();
    SyncEngine engine(database, service);
    QList<LocalSong> synced = co_await engine.syncRemoteTracks(element);
    throttle.recordSuccess(key);
    co_return synced;
}

template <typename Kind>
QCoro::Task<void> CollectionViewModel<Kind>::play(QString id, bool shuffle, CancellationToken token)
{
    const OwnerGuard guard(this);
    if (_items().isEmpty())
        co_await guard(load(false));
    const QList<LocalSong> songs = co_await guard(this->songs(id, token));
    co_await m_songs.playSongs(songs, shuffle);
}

template <typename Kind>
QCoro::Task<void> CollectionViewModel<Kind>::playSelected()
{
    const OwnerGuard guard(this);
    // A song list still loading for the selection lands before playback starts.
    const QList<SelectedLoad> pending = tasks;
    for (const SelectedLoad &task : pending)
        co_await QFuture<void>(task.finished);
    guard.check();
    m_main._selectedDetailSongID.set(SongSelection::playID);
    if (const std::optional<QString> id = m_main._selectedDetailSongID())
        detach(m_songs.playSelection(*id));
}

template class CollectionViewModel<PlaylistCollection>;
template class CollectionViewModel<AlbumCollection>;
template class CollectionViewModel<ArtistCollection>;

#pragma once
// The model behind a two-level library list (playlists, albums, artists): the list itself, read
// from the local store in the user's sort order, and the songs of the selected collection, handed
// to the shared detail list. Both are kept fresh by syncs against the music service, each at most
// once a day (SyncThrottle). Main thread only.
//
// The selection lives in MainViewModel (Kind::selection), not here. When it changes, the owner of
// the list view calls reloadSelected() (or keeps the token of observeSelection()), which replaces
// any selected load under way by a new one. List loads are not tracked: two may overlap and the
// later write wins.
//
// Failures of background loads are reported and logged (category "sync") and leave what the
// model showed; only play requests throw to their caller.

#include "Lumevar/Library/CollectionKinds.h"
#include "Lumevar/Library/SortSetting.h"
#include "Lumevar/Library/SyncThrottle.h"

#include <QFuture>
#include <QList>
#include <QObject>
#include <optional>

class DetailSongsViewModel;

template <typename Kind>
class CollectionViewModel : public QObject {
public:
    using Element = typename Kind::Element;
    using Order = typename Kind::Order;

    // One selected load under way: its cancel handle and a future that finishes with it.
    struct SelectedLoad {
        TaskHandle handle;
        QFuture<void> finished;
    };

    // The store, the service, the defaults and the clock are the ones of mainViewModel.
    CollectionViewModel(MainViewModel &mainViewModel, DetailSongsViewModel &songsViewModel, QObject *parent = nullptr);

    MainViewModel &mainViewModel() const { return m_main; }

    // The list as shown, in the current sort order.
    Observable<QList<Element>> _items;
    // The songs of the selected collection as last loaded; not observed.
    QList<LocalSong> selectedSongs;
    // The selected loads under way: after reloadSelected() exactly the newest one. Finished loads
    // stay until the next reload.
    QList<SelectedLoad> tasks;

    // The element of the list whose id is the selection, if any.
    std::optional<Element> selectedElement() const;

    Order sortOrder() const { return m_sort.sortOrder(); }
    void setSortOrder(Order order) { m_sort.setSortOrder(order); }
    MusicSortDirection sortDirection() const { return m_sort.sortDirection(); }
    void setSortDirection(MusicSortDirection direction) { m_sort.setSortDirection(direction); }
    SortDescriptor<Element> sortDescriptor() const { return m_sort.sortDescriptor(); }
    // Raised by every write of the sort order or direction.
    const Observable<int> &sortChanges() const { return m_sort._changes; }

    // Reads the list from the store and, with sync, runs the throttled sync of the list. Selects
    // the first element when nothing is selected, and otherwise republishes the selected songs.
    // Never throws.
    QCoro::Task<void> load(bool sync);
    // Cancels the selected loads under way and starts a new one.
    void reloadSelected();
    // reloadSelected() unless the newest selected load was started for the current selection: a
    // list calls it when it starts to follow the selection (which may have been made before any
    // list did, as on a first launch, when a load ran before the window had built its panes) and
    // at every change of it.
    void followSelection();
    // The body of a selected load: the stored songs first, then, when the collection's track sync
    // is due, the songs from the service. Cancellation is checked before the store read and before
    // the sync, nowhere else. Never throws.
    QCoro::Task<void> loadSelectedSongs(CancellationToken token = {});
    // Hands selectedSongs to the detail list unless it already shows them in a third pane.
    void publishSelectedSongs();
    // Follows the selection field: each change to a value not loaded yet reloads the selected songs.
    [[nodiscard]] ObservationTrackingToken observeSelection();

    // The songs of the collection with that id, synced when due. Touches nothing of the model
    // but the collection's sync key. Throws PlaybackError::noSongs for an id not in the list.
    QCoro::Task<QList<LocalSong>> songs(QString id, CancellationToken token = {});
    // Plays a whole collection without selecting it; loads the list first (without a sync) when
    // it is empty. Throws what fails.
    QCoro::Task<void> play(QString id, bool shuffle, CancellationToken token = {});
    // Plays the selected collection from its Play row, after the selected loads under way.
    QCoro::Task<void> playSelected();

    // Stored key of one collection's track sync.
    static QString trackSyncKey(const QString &collectionID);

private:
    SelectedLoad startSelectedLoad();
    SyncThrottle throttle() const;

    MainViewModel &m_main;
    DetailSongsViewModel &m_songs;
    SortSetting<Order> m_sort;
    // The selection the newest selected load was started for.
    std::optional<QString> m_selectedLoadID;
};

using PlaylistsViewModel = CollectionViewModel<PlaylistCollection>;
using AlbumsViewModel = CollectionViewModel<AlbumCollection>;
using ArtistsViewModel = CollectionViewModel<ArtistCollection>;

extern template class CollectionViewModel<PlaylistCollection>;
extern template class CollectionViewModel<AlbumCollection>;
extern template class CollectionViewModel<ArtistCollection>;

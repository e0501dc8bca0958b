// Navigation state and Library SnapBack: where the user is in the drill-down, the window title
// that follows it, and the one remembered place from which the current music was started.

#include "Lumevar/Model/MainViewModel.h"

#include "Lumevar/Model/ErrorReporting.h"
#include "Support/Animation.h"

namespace {

constexpr double navigationAnimationDuration = 0.3;

QString titleOf(const NavigationItem &item)
{
    if (const auto kind = item.containerKind())
        return kind->title();
    if (const auto *collection = item.collection())
        return collection->title;
    return MainViewModel::productName;
}

} // namespace

std::optional<ContainerKind> MainViewModel::selectedContainerKind() const
{
    if (!_selectedContainerKindID())
        return std::nullopt;
    return ContainerKind::fromID(*_selectedContainerKindID());
}

QString MainViewModel::windowTitle() const
{
    const QList<NavigationItem> &path = _navigationPath();
    if (_isSingleColumn()) {
        const int pane = _activePane();
        if (pane >= 0 && pane < path.size())
            return titleOf(path.at(pane));
    }
    if (_isDoubleColumn() && path.size() >= 2)
        return titleOf(path.at(1));
    return productName;
}

void MainViewModel::navigateBack()
{
    if (_activePane() <= 0)
        return;
    // The path stays: a pane to the right remains until the next publication.
    runAnimationGroup(navigationAnimationDuration, true, [this] { _activePane.set(_activePane() - 1); });
}

SavedSnapbackState MainViewModel::stateWithCurrentSelections(QList<NavigationItem> path) const
{
    SavedSnapbackState state;
    state.path = std::move(path);
    state.activePane = _activePane();
    state.selectedPlaylistID = _selectedPlaylistID();
    state.selectedAlbumID = _selectedAlbumID();
    state.selectedArtistID = _selectedArtistID();
    state.selectedMadeForYouID = _selectedMadeForYouID();
    state.selectedStationID = _selectedStationID();
    return state;
}

void MainViewModel::saveSnapback() { _lastSavedSnapbackState.set(stateWithCurrentSelections(_navigationPath())); }

// The places of items started from search, which the user never visited: pane 1 of a path to
// the item's container, and the item's own selection over the current ones.

namespace {

// Pane 1 of the path to a searched collection, with that collection as the container's selection.
SavedSnapbackState searchedCollectionState(SavedSnapbackState state,
                                           std::optional<QString> SavedSnapbackState::*selection, const QString &id)
{
    state.activePane = 1;
    state.*selection = id;
    return state;
}

QList<NavigationItem> pathToCollection(ContainerKind kind, const QString &id, const QString &name)
{
    return {NavigationItem::root(), NavigationItem::container(kind), NavigationItem::songCollection(id, name)};
}

} // namespace

void MainViewModel::saveSnapback(const LocalPlaylist &playlist)
{
    _lastSavedSnapbackState.set(searchedCollectionState(
        stateWithCurrentSelections(pathToCollection(ContainerKind::playlists, playlist.id, playlist.name)),
        &SavedSnapbackState::selectedPlaylistID, playlist.id));
}

void MainViewModel::saveSnapback(const LocalAlbum &album)
{
    _lastSavedSnapbackState.set(searchedCollectionState(
        stateWithCurrentSelections(pathToCollection(ContainerKind::albums, album.id, album.title)),
        &SavedSnapbackState::selectedAlbumID, album.id));
}

void MainViewModel::saveSnapback(const LocalArtist &artist)
{
    _lastSavedSnapbackState.set(searchedCollectionState(
        stateWithCurrentSelections(pathToCollection(ContainerKind::artists, artist.id, artist.name)),
        &SavedSnapbackState::selectedArtistID, artist.id));
}

void MainViewModel::saveSnapback(const LocalSong &)
{
    SavedSnapbackState state = stateWithCurrentSelections({NavigationItem::root(), NavigationItem::container(ContainerKind::songs)});
    state.activePane = 1;
    _lastSavedSnapbackState.set(state);
}

void MainViewModel::saveSnapback(const MusicPersonalRecommendation::Item &item, ContainerKind kind)
{
    Q_ASSERT(kind == ContainerKind::madeForYou || kind == ContainerKind::stations);
    SavedSnapbackState state = stateWithCurrentSelections({NavigationItem::root(), NavigationItem::container(kind)});
    state.activePane = 1;
    if (kind == ContainerKind::stations)
        state.selectedStationID = item.id();
    else
        state.selectedMadeForYouID = item.id();
    _lastSavedSnapbackState.set(state);
}

void MainViewModel::snapBack()
{
    const std::optional<SavedSnapbackState> saved = _lastSavedSnapbackState();
    if (!saved)
        return;
    ErrorReporter::shared().sendAppSignal(AppSignal::snapBack);
    _navigationPath.set(saved->path);
    _activePane.set(saved->activePane);
    // No list goes back to an old scroll offset; each scrolls to its restored selection instead.
    m_listScrollState.savedScrollPositions().clear();
    m_listScrollState.withScrollRequest([this, &saved] { restoreSelections(*saved); });
}

void MainViewModel::restoreSelections(const SavedSnapbackState &state)
{
    const std::optional<MusicPlayer::Queue::Entry> currentEntry = player().queue().currentEntry();
    for (const NavigationItem &item : _navigationPath()) {
        if (const auto kind = item.containerKind()) {
            _selectedContainerKindID.set(kind->id());
            switch (kind->value()) {
            case ContainerKind::playlists: _selectedPlaylistID.set(state.selectedPlaylistID); break;
            case ContainerKind::albums: _selectedAlbumID.set(state.selectedAlbumID); break;
            case ContainerKind::artists: _selectedArtistID.set(state.selectedArtistID); break;
            case ContainerKind::madeForYou: _selectedMadeForYouID.set(state.selectedMadeForYouID); break;
            case ContainerKind::stations: _selectedStationID.set(state.selectedStationID); break;
            case ContainerKind::songs: {
                std::optional<QString> found;
                for (const LocalSong &song : _topLevelSongs()) {
                    if (song.matchesPlayingSong(currentEntry)) {
                        found = song.identifier;
                        break;
                    }
                }
                _selectedTopLevelSongID.set(found);
                break;
            }
            }
        } else if (item.collection()) {
            const std::optional<ContainerKind> kind = selectedContainerKind();
            if (!kind || !(*kind == ContainerKind::playlists || *kind == ContainerKind::albums || *kind == ContainerKind::artists))
                continue;
            std::optional<QString> found;
            for (const LocalSong &song : _detailSongs()) {
                if (song.matchesPlayingSong(currentEntry)) {
                    found = song.identifier;
                    break;
                }
            }
            if (found) {
                _selectedDetailSongID.set(found);
            } else {
                // Usually the collection's songs are still loading: the detail list selects the
                // song when it publishes them.
                detailSongIDToRestore = currentEntry ? songID(*currentEntry) : std::nullopt;
            }
        }
    }
}

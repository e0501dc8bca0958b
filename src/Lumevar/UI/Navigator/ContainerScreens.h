#pragma once
// The eight lists of the navigator, each one PaneScreen built for a navigation item: the root
// list of containers, the playlists, albums, artists, songs, Made for You and stations lists, and
// the songs of the selected collection. One table of decisions per list (items, selection field,
// pane index, saved-place name, cell, activation, context menu, the work started on appearing)
// over one pattern of three observers: the selected id (loading its detail when it changed), the
// model's items, and the active pane.

#include "Lumevar/Model/NavigationTypes.h"

#include <memory>

class MainViewModel;
class PaneScreen;
class DetailSongsViewModel;
class TopLevelSongsViewModel;
class MadeForYouViewModel;
class StationsViewModel;
template <typename Kind>
class CollectionViewModel;
struct PlaylistCollection;
struct AlbumCollection;
struct ArtistCollection;
struct ArtworkSource;

struct NavigatorModels {
    MainViewModel &main;
    CollectionViewModel<PlaylistCollection> &playlists;
    CollectionViewModel<AlbumCollection> &albums;
    CollectionViewModel<ArtistCollection> &artists;
    TopLevelSongsViewModel &topLevelSongs;
    MadeForYouViewModel &madeForYou;
    StationsViewModel &stations;
    DetailSongsViewModel &detailSongs;
};

namespace ContainerScreens {

std::unique_ptr<PaneScreen> make(const NavigationItem &item, NavigatorModels &models, const ArtworkSource &artwork);

} // namespace ContainerScreens

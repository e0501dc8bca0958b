#pragma once
// The models a search draws on and a chosen result plays through, handed to the surface when it
// is made. References to the application's models, which outlive every surface.

#include "Lumevar/Library/CollectionViewModel.h"
#include "Lumevar/Library/RecommendationViewModels.h"
#include "Lumevar/Library/SongListViewModels.h"

class MainViewModel;
class SearchViewModel;

struct SearchModels {
    SearchViewModel &searchViewModel;
    MainViewModel &mainViewModel;
    PlaylistsViewModel &playlistsViewModel;
    AlbumsViewModel &albumsViewModel;
    ArtistsViewModel &artistsViewModel;
    TopLevelSongsViewModel &topLevelSongsViewModel;
    MadeForYouViewModel &madeForYouViewModel;
    StationsViewModel &stationsViewModel;
};

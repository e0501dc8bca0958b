#include "Lumevar/Search/SearchActivation.h"

#include "Lumevar/Model/MainViewModel.h"
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "Platform/Music/MusicService.h"

namespace {

// The catalog road: no SnapBack target, the item (or an artist's top songs) as the whole queue.
// Shuffle, the eager entry and the stopped flag stay as they are; the mirror follows the player.
QCoro::Task<void> playCatalogResult(SearchResult result, MainViewModel &main)
{
    main._lastSavedSnapbackState.set(std::nullopt);
    ApplicationMusicPlayer &player = ApplicationMusicPlayer::shared();
    if (const Artist *artist = result.payload<Artist>()) {
        const MusicItemID artistID = artist->id;
        const Artist fetched = co_await MusicService::shared().catalogArtistWithTopSongs(artistID);
        if (!fetched.topSongs || fetched.topSongs->isEmpty())
            co_return;
        player.setQueue(*fetched.topSongs);
    } else if (const Song *song = result.payload<Song>()) {
        player.setQueue(*song);
    } else if (const Album *album = result.payload<Album>()) {
        player.setQueue(*album);
    } else if (const Playlist *playlist = result.payload<Playlist>()) {
        player.setQueue(*playlist);
    }
    co_await player.prepareToPlay();
    co_await player.play();
}

} // namespace

// Arguments of the awaited calls are locals, never temporaries inside the co_await expression,
// which GCC 12 may destroy twice.
QCoro::Task<void> activateSearchResult(SearchResult result, SearchModels models)
{
    MainViewModel &main = models.mainViewModel;
    const CancellationToken token;
    switch (result.kind()) {
    case SearchResult::Kind::playlist: {
        const LocalPlaylist playlist = *result.payload<LocalPlaylist>();
        const QString id = playlist.id;
        co_await models.playlistsViewModel.play(id, false, token);
        main.saveSnapback(playlist);
        break;
    }
    case SearchResult::Kind::album: {
        const LocalAlbum album = *result.payload<LocalAlbum>();
        const QString id = album.id;
        co_await models.albumsViewModel.play(id, false, token);
        main.saveSnapback(album);
        break;
    }
    case SearchResult::Kind::artist: {
        const LocalArtist artist = *result.payload<LocalArtist>();
        const QString id = artist.id;
        co_await models.artistsViewModel.play(id, false, token);
        main.saveSnapback(artist);
        break;
    }
    case SearchResult::Kind::song: {
        const LocalSong song = *result.payload<LocalSong>();
        const QString id = song.identifier;
        co_await models.topLevelSongsViewModel.playSelection(id);
        main.saveSnapback(song);
        break;
    }
    // The recommendation models report their own failures and raise the alert.
    case SearchResult::Kind::madeForYou: {
        const MusicPersonalRecommendation::Item item = *result.payload<MusicPersonalRecommendation::Item>();
        const std::optional<MusicItemID> id = item.id();
        co_await models.madeForYouViewModel.play(id, false);
        main.saveSnapback(item, ContainerKind::madeForYou);
        break;
    }
    case SearchResult::Kind::station: {
        const MusicPersonalRecommendation::Item item = *result.payload<MusicPersonalRecommendation::Item>();
        const MusicItemID id = item.id();
        co_await models.stationsViewModel.play(id);
        main.saveSnapback(item, ContainerKind::stations);
        break;
    }
    case SearchResult::Kind::catalogSong:
    case SearchResult::Kind::catalogAlbum:
    case SearchResult::Kind::catalogArtist:
    case SearchResult::Kind::catalogPlaylist:
        co_await playCatalogResult(result, main);
        break;
    }
}

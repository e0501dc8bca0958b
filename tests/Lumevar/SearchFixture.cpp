#include "SearchFixture.h"

#include "TestKit/AsyncTest.h"
#include "TestKit/Lists.h"

namespace {

MusicPersonalRecommendation group(const QString &id, const QString &title, MusicPersonalRecommendation::Item item)
{
    MusicPersonalRecommendation recommendation;
    recommendation.id = MusicItemID(id);
    recommendation.title = title;
    recommendation.items = {std::move(item)};
    return recommendation;
}

} // namespace

SearchFixture::SearchFixture()
{
    LumevarApp::Environment environment;
    environment.isLowPowerMode = []() -> QCoro::Task<bool> { co_return true; };
    environment.terminate = [] {};
    environment.databasePath = database->path();
    app = std::make_unique<LumevarApp>(environment);

    const Song first = FakeMusicService::song(QStringLiteral("s1"), QStringLiteral("Harbor Song"), QStringLiteral("Harbor Band"));
    const Song second = FakeMusicService::song(QStringLiteral("s2"), QStringLiteral("Quiet Water"), QStringLiteral("Harbor Band"));
    const Song third = FakeMusicService::song(QStringLiteral("s3"), QStringLiteral("Harbor Dawn"), QStringLiteral("Other Band"));
    service.library.songs = {first, second, third};
    const Playlist playlist = FakeMusicService::playlist(QStringLiteral("p1"), QStringLiteral("Harbor Mix"));
    const Album album = FakeMusicService::album(QStringLiteral("al1"), QStringLiteral("Harbor Lights"), QStringLiteral("Harbor Band"));
    const Artist artist = FakeMusicService::artist(QStringLiteral("ar1"), QStringLiteral("Harbor Band"));
    service.library.playlists = {playlist};
    service.library.albums = {album};
    service.library.artists = {artist};
    service.playlistTracks.insert(playlist.id, {third, first});
    service.albumTracks.insert(album.id, {first, second});
    service.artistTracks.insert(artist.id, {first, second});

    const Album mix = FakeMusicService::album(QStringLiteral("mfy1"), QStringLiteral("Harbor Weekly"));
    service.albumTracks.insert(mix.id, {second});
    const Station station = FakeMusicService::station(QStringLiteral("st1"), QStringLiteral("Harbor Radio"));
    service.stationPools.insert(station.id, {third});
    service.recommendations = {group(QStringLiteral("g1"), QStringLiteral("Made for You"), {mix}),
                               group(QStringLiteral("g2"), QStringLiteral("Stations for You"), {station})};

    service.catalog.songs = {FakeMusicService::song(QStringLiteral("c1"), QStringLiteral("Harbor Catalog Song"))};
    service.catalog.albums = {FakeMusicService::album(QStringLiteral("c2"), QStringLiteral("Harbor Catalog Album"))};
    service.catalog.artists = {FakeMusicService::artist(QStringLiteral("c3"), QStringLiteral("Harbor Catalog Artist"))};
}

SearchFixture::~SearchFixture() { app.reset(); }

void SearchFixture::syncLibrary()
{
    finish(app->mainViewModel().performFullSync());
    finish(app->madeForYouViewModel().loadMadeForYou());
    finish(app->stationsViewModel().loadStations());
}

QStringList SearchFixture::queueTitles() { return textsOf(player.queue().entries(), &MusicPlayerQueueEntry::title); }

std::optional<SearchResult> SearchFixture::resultIn(const QList<SearchSection> &sections, const QString &section)
{
    for (const SearchSection &candidate : sections) {
        if (candidate.name == section && !candidate.results.isEmpty())
            return candidate.results.first();
    }
    return std::nullopt;
}

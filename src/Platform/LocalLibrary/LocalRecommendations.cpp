#include "Platform/LocalLibrary/LocalRecommendations.h"

#include "Platform/LocalLibrary/LocalIdentifiers.h"

#include <algorithm>
#include <random>

namespace {

// A shuffle seeded by the mix's identifier: varied across mixes, fixed across runs.
QList<MusicItemID> seededShuffle(QList<MusicItemID> ids, const MusicItemID &seedID)
{
    std::mt19937_64 generator(seedID.rawValue().section(u'.', 1).toULongLong(nullptr, 16));
    for (qsizetype i = ids.size() - 1; i > 0; --i)
        std::swap(ids[i], ids[qsizetype(generator() % quint64(i + 1))]);
    return ids;
}

std::optional<Artwork> firstArtwork(const LibraryIndex &index, const QList<MusicItemID> &ids)
{
    for (const MusicItemID &id : ids) {
        if (const std::optional<Song> song = index.song(id); song && song->artwork)
            return song->artwork;
    }
    return std::nullopt;
}

} // namespace

LocalRecommendations::LocalRecommendations(const LibraryIndex &index)
{
    MusicPersonalRecommendation madeForYou;
    madeForYou.id = LocalIdentifiers::make(LocalIdentifiers::recommendation, QStringLiteral("made-for-you"));
    madeForYou.title = madeForYouTitle;
    // The newest songs first; equal dates by identifier so the mix is the same on every run.
    if (index.songCount() > 0)
        madeForYou.items.append({makeMix(index, QStringLiteral("recently-added"), QStringLiteral("Recently Added Mix"),
                                         index.newestSongIDs(mixLength))});
    const QList<LibraryIndex::Genre> genres = index.genres();
    for (qsizetype i = 0; i < genres.size() && i < genreMixCount; ++i) {
        const LibraryIndex::Genre &genre = genres[i];
        const QString key = QStringLiteral("genre:") + LocalIdentifiers::nameKey(genre.name);
        const MusicItemID id = LocalIdentifiers::make(LocalIdentifiers::mix, key);
        madeForYou.items.append({makeMix(index, key, genre.name + QStringLiteral(" Mix"),
                                         seededShuffle(genre.songIDs, id).mid(0, mixLength))});
    }

    MusicPersonalRecommendation stations;
    stations.id = LocalIdentifiers::make(LocalIdentifiers::recommendation, QStringLiteral("stations"));
    stations.title = stationsTitle;
    for (qsizetype i = 0; i < genres.size() && i < stationCount; ++i) {
        const LibraryIndex::Genre &genre = genres[i];
        Station station;
        station.id = LocalIdentifiers::make(LocalIdentifiers::station, LocalIdentifiers::nameKey(genre.name));
        station.name = genre.name + QStringLiteral(" Station");
        station.artwork = firstArtwork(index, genre.songIDs);
        station.playParameters = PlayParameters{station.id, QStringLiteral("station")};
        m_stationGenres.insert(station.id, genre.name);
        stations.items.append({station});
    }

    m_groups = {madeForYou, stations};
}

Playlist LocalRecommendations::makeMix(const LibraryIndex &index, const QString &key, const QString &name,
                                       QList<MusicItemID> songIDs)
{
    Playlist mix;
    mix.id = LocalIdentifiers::make(LocalIdentifiers::mix, key);
    mix.name = name;
    mix.curatorName = QStringLiteral("Lumevar");
    mix.artwork = firstArtwork(index, songIDs);
    mix.playParameters = PlayParameters{mix.id, QStringLiteral("playlist")};
    m_mixSongs.insert(mix.id, std::move(songIDs));
    return mix;
}

const QList<MusicItemID> *LocalRecommendations::mixSongs(const MusicItemID &id) const
{
    const auto found = m_mixSongs.constFind(id);
    return found == m_mixSongs.constEnd() ? nullptr : &*found;
}

std::optional<QList<MusicItemID>> LocalRecommendations::stationSongs(const LibraryIndex &index, const MusicItemID &id) const
{
    const auto found = m_stationGenres.constFind(id);
    return found == m_stationGenres.constEnd() ? std::nullopt : index.genreSongIDs(*found);
}

#pragma once
// Personal recommendations made from the library itself: a "Made for You" group of generated
// mixes (the newest songs, and one mix for each of the biggest genres) and a "Stations for You"
// group of genre stations. Deterministic for a given library.

#include "Platform/LocalLibrary/LibraryIndex.h"

class LocalRecommendations {
public:
    static inline const QString madeForYouTitle = QStringLiteral("Made for You");
    static inline const QString stationsTitle = QStringLiteral("Stations for You");
    static constexpr int mixLength = 25;
    static constexpr int genreMixCount = 3;
    static constexpr int stationCount = 8;

    LocalRecommendations() = default;
    explicit LocalRecommendations(const LibraryIndex &index);

    const QList<MusicPersonalRecommendation> &groups() const { return m_groups; }

    // The songs of a generated mix in order, or nullptr for an identifier that is not a mix.
    const QList<MusicItemID> *mixSongs(const MusicItemID &id) const;
    // The songs a station plays from, or nullptr for an unknown station.
    const QList<MusicItemID> *stationSongs(const MusicItemID &id) const;

private:
    Playlist makeMix(const LibraryIndex &index, const QString &key, const QString &name, QList<MusicItemID> songIDs);

    QList<MusicPersonalRecommendation> m_groups;
    QHash<MusicItemID, QList<MusicItemID>> m_mixSongs;
    QHash<MusicItemID, QList<MusicItemID>> m_stationSongs;
};

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
    // The songs a station plays from (its genre's, from the index it was made from), or nothing
    // for an unknown station.
    std::optional<QList<MusicItemID>> stationSongs(const LibraryIndex &index, const MusicItemID &id) const;

private:
    Playlist makeMix(const LibraryIndex &index, const QString &key, const QString &name, QList<MusicItemID> songIDs);

    QList<MusicPersonalRecommendation> m_groups;
    QHash<MusicItemID, QList<MusicItemID>> m_mixSongs;
    // Each station's genre: its songs are listed when it plays, not kept.
    QHash<MusicItemID, QString> m_stationGenres;
};

#pragma once
// The two containers that are not in the local store: Made for You and Stations for You. Their
// rows come straight from the music service's personal recommendations, are kept only in memory
// and are fetched anew at each load. Both ask the same request and keep the groups whose title is
// exactly the one they know (so a service answering in another language yields an empty list).
// Choosing a row plays the item itself. Main thread only.
//
// RecommendationViewModel<Kind> is the one implementation; the Kind structs hold the words that
// differ, and whether a play takes a shuffle flag (stations always clear the shuffle mode).

#include "Lumevar/Model/MainViewModel.h"
#include "LumevarCore/SearchResult.h"

#include <QObject>

class DetailSongsViewModel;

struct MadeForYouRecommendations {
    static constexpr ContainerKind::Case kind = ContainerKind::madeForYou;
    static constexpr auto selection = &MainViewModel::_selectedMadeForYouID;
    static constexpr const char *groupTitle = "Made for You";
    static constexpr const char *loadErrorLabel = "load_made_for_you";
    static constexpr const char *playErrorLabel = "play_made_for_you";
    static constexpr const char *loadFailedLine = "Failed to load Made for You: %@";
    static constexpr const char *playFailedLine = "Failed to play Made for You: %@";
    static constexpr bool playTakesShuffle = true;
    static SearchResult result(const MusicPersonalRecommendation::Item &item) { return SearchResult::madeForYou(item); }
};

struct StationRecommendations {
    static constexpr ContainerKind::Case kind = ContainerKind::stations;
    static constexpr auto selection = &MainViewModel::_selectedStationID;
    static constexpr const char *groupTitle = "Stations for You";
    static constexpr const char *loadErrorLabel = "load_stations";
    static constexpr const char *playErrorLabel = "play_station";
    static constexpr const char *loadFailedLine = "Failed to load stations: %@";
    static constexpr const char *playFailedLine = "Failed to play station: %@";
    static constexpr bool playTakesShuffle = false;
    static SearchResult result(const MusicPersonalRecommendation::Item &item) { return SearchResult::station(item); }
};

template <typename Kind>
class RecommendationViewModel : public QObject {
public:
    RecommendationViewModel(MainViewModel &mainViewModel, DetailSongsViewModel &songsViewModel, QObject *parent = nullptr)
        : QObject(parent), m_main(mainViewModel), m_songs(songsViewModel)
    {
    }

    MainViewModel &mainViewModel() const { return m_main; }
    DetailSongsViewModel &songsViewModel() const { return m_songs; }

    // The kept groups, and their items flattened in order (what the list shows).
    Observable<QList<MusicPersonalRecommendation>> _groups;
    Observable<QList<MusicPersonalRecommendation::Item>> _items;

    // Asks the service, keeps the groups of the known title, and selects the first item when
    // nothing is selected. A failure is reported and logged ("sync") and keeps the last list.
    QCoro::Task<void> load(CancellationToken token = {});
    // Plays the item with that id; nothing happens for an absent id or one the list does not hold.
    // The shuffle flag is ignored by stations. A failure is reported, logged ("playback") and
    // raises the play-error alert; nothing is thrown.
    QCoro::Task<void> play(std::optional<MusicItemID> id, bool shuffle);
    // No section or one, named after the group, with the items whose title holds the trimmed text.
    QList<SearchSection> searchSections(const QString &text) const;

private:
    MainViewModel &m_main;
    DetailSongsViewModel &m_songs;
};

extern template class RecommendationViewModel<MadeForYouRecommendations>;
extern template class RecommendationViewModel<StationRecommendations>;

class MadeForYouViewModel : public RecommendationViewModel<MadeForYouRecommendations> {
public:
    using RecommendationViewModel::RecommendationViewModel;
    const Observable<QList<MusicPersonalRecommendation>> &madeForYou() const { return _groups; }
    const Observable<QList<MusicPersonalRecommendation::Item>> &madeForYouItems() const { return _items; }
    QCoro::Task<void> loadMadeForYou() { return load(); }
};

class StationsViewModel : public RecommendationViewModel<StationRecommendations> {
public:
    using RecommendationViewModel::RecommendationViewModel;
    const Observable<QList<MusicPersonalRecommendation>> &stations() const { return _groups; }
    const Observable<QList<MusicPersonalRecommendation::Item>> &stationItems() const { return _items; }
    QCoro::Task<void> loadStations() { return load(); }
    QCoro::Task<void> play(MusicItemID id) { return RecommendationViewModel::play(std::move(id), false); }
};

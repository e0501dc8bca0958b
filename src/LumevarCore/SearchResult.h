#pragma once
// One search hit and the named sections that group them.

#include "LumevarCore/Records.h"

#include <variant>

class SearchResult {
public:
    enum class Kind { song, album, artist, playlist, madeForYou, station, catalogSong, catalogAlbum, catalogArtist, catalogPlaylist };

    static SearchResult song(LocalSong value) { return SearchResult(Kind::song, std::move(value)); }
    static SearchResult album(LocalAlbum value) { return SearchResult(Kind::album, std::move(value)); }
    static SearchResult artist(LocalArtist value) { return SearchResult(Kind::artist, std::move(value)); }
    static SearchResult playlist(LocalPlaylist value) { return SearchResult(Kind::playlist, std::move(value)); }
    static SearchResult madeForYou(MusicPersonalRecommendation::Item value) { return SearchResult(Kind::madeForYou, std::move(value)); }
    static SearchResult station(MusicPersonalRecommendation::Item value) { return SearchResult(Kind::station, std::move(value)); }
    static SearchResult catalogSong(Song value) { return SearchResult(Kind::catalogSong, std::move(value)); }
    static SearchResult catalogAlbum(Album value) { return SearchResult(Kind::catalogAlbum, std::move(value)); }
    static SearchResult catalogArtist(Artist value) { return SearchResult(Kind::catalogArtist, std::move(value)); }
    static SearchResult catalogPlaylist(Playlist value) { return SearchResult(Kind::catalogPlaylist, std::move(value)); }

    Kind kind() const { return m_kind; }
    // The payload of the case, e.g. result.payload<LocalSong>(); nullptr for another case.
    template <typename T>
    const T *payload() const { return std::get_if<T>(&m_value); }

    // Identifiable: unique across cases.
    QString id() const;
    QString name() const;
    std::optional<QUrl> artworkURL() const;
    QString thumbnailID() const;

    friend bool operator==(const SearchResult &, const SearchResult &) = default;

private:
    using Value = std::variant<LocalSong, LocalAlbum, LocalArtist, LocalPlaylist, MusicPersonalRecommendation::Item, Song, Album, Artist, Playlist>;
    SearchResult(Kind kind, Value value) : m_kind(kind), m_value(std::move(value)) {}
    Kind m_kind;
    Value m_value;
};
size_t qHash(const SearchResult &result, size_t seed = 0);

struct SearchSection {
    SearchSection(QString name, QList<SearchResult> results) : id(name), name(std::move(name)), results(std::move(results)) {}
    QString id;
    QString name;
    QList<SearchResult> results;
    friend bool operator==(const SearchSection &, const SearchSection &) = default;
};

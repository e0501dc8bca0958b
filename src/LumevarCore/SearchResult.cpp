#include "LumevarCore/SearchResult.h"

#include <QHash>

namespace {

// The prefix that keeps ids and thumbnail keys of different cases apart.
QString kindPrefix(SearchResult::Kind kind)
{
    switch (kind) {
    case SearchResult::Kind::song: return QStringLiteral("song-");
    case SearchResult::Kind::album: return QStringLiteral("album-");
    case SearchResult::Kind::artist: return QStringLiteral("artist-");
    case SearchResult::Kind::playlist: return QStringLiteral("playlist-");
    case SearchResult::Kind::madeForYou: return QStringLiteral("made-for-you-");
    case SearchResult::Kind::station: return QStringLiteral("station-");
    case SearchResult::Kind::catalogSong: return QStringLiteral("catalog-song-");
    case SearchResult::Kind::catalogAlbum: return QStringLiteral("catalog-album-");
    case SearchResult::Kind::catalogArtist: return QStringLiteral("catalog-artist-");
    case SearchResult::Kind::catalogPlaylist: return QStringLiteral("catalog-playlist-");
    }
    return {};
}

struct Fields {
    QString rawID;
    QString name;
    std::optional<QUrl> artworkURL;
    QString thumbnailID; // empty: derived from the id
};

std::optional<QUrl> urlOf(const std::optional<Artwork> &artwork)
{
    if (!artwork)
        return std::nullopt;
    return artwork->url(recordArtworkSize, recordArtworkSize);
}

Fields fieldsOf(const LocalSong &v) { return {v.id.rawValue(), v.title, v.artworkURL, {}}; }
Fields fieldsOf(const LocalAlbum &v) { return {v.id, v.title, v.artworkURL, v.thumbnailID}; }
Fields fieldsOf(const LocalArtist &v) { return {v.id, v.name, v.artworkURL, v.thumbnailID}; }
Fields fieldsOf(const LocalPlaylist &v) { return {v.id, v.name, v.artworkURL, v.thumbnailID}; }
Fields fieldsOf(const MusicPersonalRecommendation::Item &v) { return {v.id().rawValue(), v.title(), urlOf(v.artwork()), {}}; }
Fields fieldsOf(const Song &v) { return {v.id.rawValue(), v.title, urlOf(v.artwork), {}}; }
Fields fieldsOf(const Album &v) { return {v.id.rawValue(), v.title, urlOf(v.artwork), {}}; }
Fields fieldsOf(const Artist &v) { return {v.id.rawValue(), v.name, urlOf(v.artwork), {}}; }
Fields fieldsOf(const Playlist &v) { return {v.id.rawValue(), v.name, urlOf(v.artwork), {}}; }

template <typename Value>
Fields fields(const Value &value)
{
    return std::visit([](const auto &payload) { return fieldsOf(payload); }, value);
}

} // namespace

QString SearchResult::id() const { return kindPrefix(m_kind) + fields(m_value).rawID; }

QString SearchResult::name() const { return fields(m_value).name; }

std::optional<QUrl> SearchResult::artworkURL() const { return fields(m_value).artworkURL; }

QString SearchResult::thumbnailID() const
{
    // Library collections share the thumbnail key of their list rows; the rest key by result id.
    Fields f = fields(m_value);
    return f.thumbnailID.isEmpty() ? id() : f.thumbnailID;
}

size_t qHash(const SearchResult &result, size_t seed) { return qHash(result.id(), seed); }

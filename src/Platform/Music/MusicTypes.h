#pragma once
// Value types of the music platform: identifiers, artwork, play parameters and the item kinds the
// service hands out. Plain copyable values, compared field by field.

#include <QDateTime>
#include <QHashFunctions>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <optional>
#include <variant>

// The platform's item identifier: a text wrapper, compared as text.
class MusicItemID {
public:
    MusicItemID() = default;
    explicit MusicItemID(QString rawValue) : m_rawValue(std::move(rawValue)) {}
    const QString &rawValue() const { return m_rawValue; }
    bool isEmpty() const { return m_rawValue.isEmpty(); }
    friend bool operator==(const MusicItemID &, const MusicItemID &) = default;
    friend auto operator<=>(const MusicItemID &a, const MusicItemID &b) { return a.m_rawValue.compare(b.m_rawValue) <=> 0; }

private:
    QString m_rawValue;
};
inline size_t qHash(const MusicItemID &id, size_t seed = 0) { return qHash(id.rawValue(), seed); }

// An artwork handle: either a URL template holding "{w}" and "{h}" or a fixed URL.
class Artwork {
public:
    Artwork() = default;
    explicit Artwork(QString urlTemplate, int maximumWidth = 0, int maximumHeight = 0)
        : m_urlTemplate(std::move(urlTemplate)), m_maximumWidth(maximumWidth), m_maximumHeight(maximumHeight) {}

    // The template with "{w}" and "{h}" filled in, or the fixed URL when there are none.
    QUrl url(int width, int height) const;
    const QString &urlTemplate() const { return m_urlTemplate; }
    int maximumWidth() const { return m_maximumWidth; }
    int maximumHeight() const { return m_maximumHeight; }
    friend bool operator==(const Artwork &, const Artwork &) = default;

private:
    QString m_urlTemplate;
    int m_maximumWidth = 0;
    int m_maximumHeight = 0;
};

// What the service needs to play an item: its identifier and its kind ("song", "album",
// "playlist", "station").
struct PlayParameters {
    MusicItemID id;
    QString kind;
    friend bool operator==(const PlayParameters &, const PlayParameters &) = default;
};

struct Song {
    MusicItemID id;
    QString title;
    std::optional<QString> artistName;
    std::optional<QString> albumTitle;
    std::optional<QString> albumArtistName;
    QStringList genreNames;
    double duration = 0; // seconds
    std::optional<QDateTime> releaseDate;
    std::optional<QDateTime> libraryAddedDate;
    std::optional<int> trackNumber;
    std::optional<int> discNumber;
    std::optional<Artwork> artwork;
    std::optional<PlayParameters> playParameters;
    friend bool operator==(const Song &, const Song &) = default;
};

struct Album {
    MusicItemID id;
    QString title;
    std::optional<QString> artistName;
    QStringList genreNames;
    std::optional<QDateTime> releaseDate;
    std::optional<QDateTime> libraryAddedDate;
    int trackCount = 0;
    std::optional<Artwork> artwork;
    std::optional<PlayParameters> playParameters;
    friend bool operator==(const Album &, const Album &) = default;
};

struct Artist {
    MusicItemID id;
    QString name;
    QStringList genreNames;
    std::optional<Artwork> artwork;
    // Filled only when asked for (catalog artist with top songs).
    std::optional<QList<Song>> topSongs;
    friend bool operator==(const Artist &, const Artist &) = default;
};

struct Playlist {
    MusicItemID id;
    QString name;
    std::optional<QString> curatorName;
    std::optional<QDateTime> libraryAddedDate;
    std::optional<QDateTime> lastModifiedDate;
    std::optional<Artwork> artwork;
    std::optional<PlayParameters> playParameters;
    friend bool operator==(const Playlist &, const Playlist &) = default;
};

// A station plays endlessly: the service keeps producing songs for it.
struct Station {
    MusicItemID id;
    QString name;
    std::optional<Artwork> artwork;
    std::optional<PlayParameters> playParameters;
    friend bool operator==(const Station &, const Station &) = default;
};

// A group of personal recommendations ("Made for You", "Stations for You", …).
struct MusicPersonalRecommendation {
    // One recommended item: an album, a playlist or a station.
    struct Item {
        std::variant<Album, Playlist, Station> value;
        MusicItemID id() const;
        QString title() const;
        std::optional<Artwork> artwork() const;
        friend bool operator==(const Item &, const Item &) = default;
    };

    MusicItemID id;
    std::optional<QString> title;
    QList<Item> items;
    friend bool operator==(const MusicPersonalRecommendation &, const MusicPersonalRecommendation &) = default;
};

// One entry of the player's queue. The id is stable for the life of the entry and distinct from
// every other entry's, even when the same song is queued twice.
struct MusicPlayerQueueEntry {
    // What stands behind an entry that is not a song (a music video, say): its id and kind.
    struct OtherItem {
        MusicItemID id;
        QString kind;
        friend bool operator==(const OtherItem &, const OtherItem &) = default;
    };
    using Item = std::variant<Song, OtherItem>;

    QString id;
    QString title;
    std::optional<QString> subtitle;
    std::optional<Item> item;
    std::optional<Artwork> artwork;

    // The song behind the entry, if the entry is a song.
    const Song *song() const { return item ? std::get_if<Song>(&*item) : nullptr; }
    friend bool operator==(const MusicPlayerQueueEntry &, const MusicPlayerQueueEntry &) = default;
};

namespace MusicPlayer::Queue {
using Entry = MusicPlayerQueueEntry;
}

// A catalog search answer, one list per kind.
struct CatalogSearchResponse {
    QList<Song> songs;
    QList<Album> albums;
    QList<Artist> artists;
    QList<Playlist> playlists;
};

enum class MusicAuthorizationStatus { notDetermined, denied, restricted, authorized };

#pragma once
// The records of the local store: immutable values, compared field by field, that cross from the
// store's thread to the main thread freely.

#include "Platform/Music/MusicTypes.h"

#include <QDateTime>
#include <QString>
#include <QUrl>
#include <optional>

enum class SortOrder { forward, reverse };

// A sort on one key of a record. Text keys compare as localizedStandard (case-insensitive,
// numbers in text by value, accents by the locale); other keys in natural order. Absent values
// come before present ones in forward order and after them in reverse.
template <typename Record>
struct SortDescriptor {
    typename Record::SortKey key;
    SortOrder order = SortOrder::forward;
    friend bool operator==(const SortDescriptor &, const SortDescriptor &) = default;
};

struct LocalSong {
    enum class SortKey { title, artistName, albumTitle, duration, genre, releaseDate, order };

    MusicItemID id;
    QString identifier; // always id's text
    QString title;
    std::optional<QString> artistName;
    std::optional<QString> albumTitle;
    double duration = 0; // seconds
    std::optional<QString> genre;
    std::optional<QDateTime> releaseDate;
    // Position inside its collection (detail lists), or in the library's date-added order.
    std::optional<int> order;
    std::optional<QUrl> artworkURL;
    // A row is enabled only when present.
    std::optional<PlayParameters> playParameters;

    // True when this record is the song of the entry; false for no entry.
    bool matchesPlayingSong(const std::optional<MusicPlayer::Queue::Entry> &entry) const;
    // The same test against an entry's songID.
    bool matchesPlayingSong(const std::optional<QString> &songID) const;

    // The platform song the player queues for this record.
    Song song() const;
    // A record from a platform song; order as given.
    static LocalSong from(const Song &song, std::optional<int> order = std::nullopt);

    friend bool operator==(const LocalSong &, const LocalSong &) = default;
};
size_t qHash(const LocalSong &song, size_t seed = 0);

struct LocalAlbum {
    enum class SortKey { title, artistName, genre, releaseDate, dateAdded };

    QString id;
    QString identifier;
    QString title;
    std::optional<QString> artistName;
    std::optional<QString> genre;
    std::optional<QDateTime> releaseDate;
    std::optional<QDateTime> dateAdded;
    std::optional<QUrl> artworkURL;
    QString thumbnailID; // stable across launches, unique across albums, artists and playlists

    friend bool operator==(const LocalAlbum &, const LocalAlbum &) = default;
};

struct LocalArtist {
    enum class SortKey { name, genre };

    QString id;
    QString identifier;
    QString name;
    std::optional<QString> genre;
    std::optional<QUrl> artworkURL;
    QString thumbnailID;

    friend bool operator==(const LocalArtist &, const LocalArtist &) = default;
};

struct LocalPlaylist {
    enum class SortKey { name, dateAdded };

    QString id;
    QString identifier;
    QString name;
    std::optional<QDateTime> dateAdded;
    std::optional<QUrl> artworkURL;
    QString thumbnailID;

    friend bool operator==(const LocalPlaylist &, const LocalPlaylist &) = default;
};

// Edge of the square artwork the records' artworkURL asks for.
inline constexpr int recordArtworkSize = 256;

// What the player surface shows: made from a LocalSong (the eager entry) or a queue entry.
struct PlaybackItem {
    QString title;
    std::optional<QString> subtitle;
    std::optional<QString> artist;
    std::optional<QString> album;
    double duration = 0;
    std::optional<Artwork> artwork;
    // The catalog song id; nil for an entry without a song behind it.
    std::optional<QString> songID;
    // The key of the item's artwork; compared to decide that the song really changed.
    QString songIDForArtwork;

    static PlaybackItem from(const LocalSong &song);
    static PlaybackItem from(const MusicPlayer::Queue::Entry &entry);
    friend bool operator==(const PlaybackItem &, const PlaybackItem &) = default;
};

// songID and songIDForArtwork of a queue entry, as the player surface and notifications use them.
std::optional<QString> songID(const MusicPlayer::Queue::Entry &entry);
QString songIDForArtwork(const MusicPlayer::Queue::Entry &entry);

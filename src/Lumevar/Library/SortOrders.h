#pragma once
// The user's sort choices for the four library lists: one order type per list and a shared
// direction, their picker titles, the defaults keys they are kept under, and the store's sort
// descriptor each choice stands for.
//
// Every type is described by one table (SortChoiceTable<T>); the functions below read the tables,
// so adding a case means adding a row, not code.

#include "LumevarCore/Records.h"

#include <QList>
#include <QString>
#include <array>
#include <cstddef>

enum class SongSortOrder { album, artist, dateAdded, duration, genre, releaseDate, title };
enum class AlbumSortOrder { title, artist, genre, releaseDate, dateAdded };
enum class ArtistsSortOrder { name, genre };
enum class PlaylistSortOrder { title, dateAdded };
enum class MusicSortDirection { ascending, descending };

// One row of a table: the case (its raw value is its place in the table), its title, and for
// orders the key of the record it sorts on.
template <typename Case, typename Key>
struct SortChoiceRow {
    Case value;
    const char *title;
    Key key;
};

template <typename T>
struct SortChoiceTable;

template <>
struct SortChoiceTable<SongSortOrder> {
    using Record = LocalSong;
    using K = LocalSong::SortKey;
    static constexpr const char *orderKey = "sortSongsBy";
    static constexpr const char *directionKey = "sortSongsDirection";
    static constexpr const char *sectionTitle = "Sort Songs";
    // A stored value outside the cases reads as this one. Note that it is not the first case:
    // an absent key reads as 0, which is album.
    static constexpr SongSortOrder fallback = SongSortOrder::title;
    static constexpr std::array rows{
        SortChoiceRow<SongSortOrder, K>{SongSortOrder::album, "Album", K::albumTitle},
        SortChoiceRow<SongSortOrder, K>{SongSortOrder::artist, "Artist", K::artistName},
        // Songs sort their date added on the store's integer position, not on a date.
        SortChoiceRow<SongSortOrder, K>{SongSortOrder::dateAdded, "Date Added", K::order},
        SortChoiceRow<SongSortOrder, K>{SongSortOrder::duration, "Duration", K::duration},
        SortChoiceRow<SongSortOrder, K>{SongSortOrder::genre, "Genre", K::genre},
        SortChoiceRow<SongSortOrder, K>{SongSortOrder::releaseDate, "Release Date", K::releaseDate},
        SortChoiceRow<SongSortOrder, K>{SongSortOrder::title, "Title", K::title},
    };
};

template <>
struct SortChoiceTable<AlbumSortOrder> {
    using Record = LocalAlbum;
    using K = LocalAlbum::SortKey;
    static constexpr const char *orderKey = "sortAlbumsBy";
    static constexpr const char *directionKey = "sortAlbumsDirection";
    static constexpr const char *sectionTitle = "Sort Albums";
    static constexpr AlbumSortOrder fallback = AlbumSortOrder::title;
    static constexpr std::array rows{
        SortChoiceRow<AlbumSortOrder, K>{AlbumSortOrder::title, "Title", K::title},
        SortChoiceRow<AlbumSortOrder, K>{AlbumSortOrder::artist, "Artist", K::artistName},
        SortChoiceRow<AlbumSortOrder, K>{AlbumSortOrder::genre, "Genre", K::genre},
        SortChoiceRow<AlbumSortOrder, K>{AlbumSortOrder::releaseDate, "Release Date", K::releaseDate},
        SortChoiceRow<AlbumSortOrder, K>{AlbumSortOrder::dateAdded, "Date Added", K::dateAdded},
    };
};

template <>
struct SortChoiceTable<ArtistsSortOrder> {
    using Record = LocalArtist;
    using K = LocalArtist::SortKey;
    static constexpr const char *orderKey = "sortArtistsBy";
    static constexpr const char *directionKey = "sortArtistsDirection";
    static constexpr const char *sectionTitle = "Sort Artists";
    static constexpr ArtistsSortOrder fallback = ArtistsSortOrder::name;
    static constexpr std::array rows{
        SortChoiceRow<ArtistsSortOrder, K>{ArtistsSortOrder::name, "Name", K::name},
        SortChoiceRow<ArtistsSortOrder, K>{ArtistsSortOrder::genre, "Genre", K::genre},
    };
};

template <>
struct SortChoiceTable<PlaylistSortOrder> {
    using Record = LocalPlaylist;
    using K = LocalPlaylist::SortKey;
    static constexpr const char *orderKey = "sortPlaylistsBy";
    static constexpr const char *directionKey = "sortPlaylistsDirection";
    static constexpr const char *sectionTitle = "Sort Playlists";
    static constexpr PlaylistSortOrder fallback = PlaylistSortOrder::title;
    static constexpr std::array rows{
        SortChoiceRow<PlaylistSortOrder, K>{PlaylistSortOrder::title, "Title", K::name},
        SortChoiceRow<PlaylistSortOrder, K>{PlaylistSortOrder::dateAdded, "Date Added", K::dateAdded},
    };
};

template <>
struct SortChoiceTable<MusicSortDirection> {
    static constexpr MusicSortDirection fallback = MusicSortDirection::ascending;
    static constexpr std::array rows{
        SortChoiceRow<MusicSortDirection, SortOrder>{MusicSortDirection::ascending, "Ascending", SortOrder::forward},
        SortChoiceRow<MusicSortDirection, SortOrder>{MusicSortDirection::descending, "Descending", SortOrder::reverse},
    };
};

// The tables list their cases in raw-value order; checked here once for all of them.
template <typename T>
constexpr bool rowsAreInRawOrder()
{
    for (std::size_t i = 0; i < SortChoiceTable<T>::rows.size(); ++i)
        if (static_cast<std::size_t>(SortChoiceTable<T>::rows[i].value) != i)
            return false;
    return true;
}
static_assert(rowsAreInRawOrder<SongSortOrder>() && rowsAreInRawOrder<AlbumSortOrder>()
              && rowsAreInRawOrder<ArtistsSortOrder>() && rowsAreInRawOrder<PlaylistSortOrder>()
              && rowsAreInRawOrder<MusicSortDirection>());

// All cases, in picker order.
template <typename T>
QList<T> allSortCases()
{
    QList<T> cases;
    for (const auto &row : SortChoiceTable<T>::rows)
        cases.append(row.value);
    return cases;
}

template <typename T>
QString sortTitle(T value)
{
    return QString::fromUtf8(SortChoiceTable<T>::rows[static_cast<std::size_t>(value)].title);
}

template <typename T>
int rawSortValue(T value)
{
    return static_cast<int>(value);
}

// The case a stored number stands for: its own case when it is one, the table's fallback
// otherwise (negative numbers and numbers past the last case alike).
template <typename T>
T sortCaseFromRaw(qint64 raw)
{
    constexpr auto &rows = SortChoiceTable<T>::rows;
    if (raw < 0 || raw >= static_cast<qint64>(rows.size()))
        return SortChoiceTable<T>::fallback;
    return rows[static_cast<std::size_t>(raw)].value;
}

// The store's descriptor for an order and a direction.
template <typename Order>
SortDescriptor<typename SortChoiceTable<Order>::Record> sortDescriptor(Order order, MusicSortDirection direction)
{
    return {SortChoiceTable<Order>::rows[static_cast<std::size_t>(order)].key,
            SortChoiceTable<MusicSortDirection>::rows[static_cast<std::size_t>(direction)].key};
}

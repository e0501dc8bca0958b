#pragma once
// The application's navigation values: the six root containers, the steps of the drill-down path,
// the rows of a song list and a remembered place in the library (for Library SnapBack).

#include "LumevarCore/Records.h"

#include <QList>
#include <QString>
#include <optional>
#include <variant>

// The six root containers, in the order of the root list.
class ContainerKind {
public:
    enum Case { playlists = 0, albums = 1, artists = 2, songs = 3, madeForYou = 4, stations = 5 };
    static constexpr int count = 6;

    constexpr ContainerKind(Case value) : m_case(value) {}
    // From a raw identifier, compared exactly. An unknown identifier is a programmer error and
    // stops the process with "Unsupported container kind ID: <id>".
    static ContainerKind fromID(const QString &id);
    static QList<ContainerKind> allCases();

    Case value() const { return m_case; }
    QString id() const;
    QString title() const;
    QString symbolName() const;

    friend bool operator==(ContainerKind, ContainerKind) = default;

private:
    Case m_case;
};
size_t qHash(ContainerKind kind, size_t seed = 0); // by title text

// One step of the navigation path: root, then a container, then optionally a song collection.
class NavigationItem {
public:
    struct SongCollection {
        QString id;
        QString title;
        friend bool operator==(const SongCollection &, const SongCollection &) = default;
    };

    static NavigationItem root() { return NavigationItem(std::monostate{}); }
    static NavigationItem container(ContainerKind kind) { return NavigationItem(kind); }
    static NavigationItem songCollection(QString id, QString title) { return NavigationItem(SongCollection{std::move(id), std::move(title)}); }

    bool isRoot() const { return std::holds_alternative<std::monostate>(m_value); }
    std::optional<ContainerKind> containerKind() const;
    const SongCollection *collection() const { return std::get_if<SongCollection>(&m_value); }

    QString id() const;
    friend bool operator==(const NavigationItem &, const NavigationItem &) = default;

private:
    using Value = std::variant<std::monostate, ContainerKind, SongCollection>;
    explicit NavigationItem(Value value) : m_value(std::move(value)) {}
    Value m_value;
};
size_t qHash(const NavigationItem &item, size_t seed = 0);

// One row of a song list: a song, or one of the synthetic Play and Shuffle rows above the songs.
class SongSelection {
public:
    static inline const QString playID = QStringLiteral("play");
    static inline const QString shuffleID = QStringLiteral("shuffle");

    static SongSelection song(LocalSong song) { return SongSelection(std::move(song)); }
    static SongSelection play() { return SongSelection(Synthetic::play); }
    static SongSelection shuffle() { return SongSelection(Synthetic::shuffle); }

    const LocalSong *localSong() const { return std::get_if<LocalSong>(&m_value); }
    QString id() const;
    QString title() const;
    friend bool operator==(const SongSelection &, const SongSelection &) = default;


private:
    enum class Synthetic { play, shuffle };
    explicit SongSelection(std::variant<LocalSong, Synthetic> value) : m_value(std::move(value)) {}
    std::variant<LocalSong, Synthetic> m_value;
};

// A remembered place in the library: path, active pane and the selections of the five lists.
struct SavedSnapbackState {
    QList<NavigationItem> path;
    int activePane = 0;
    std::optional<QString> selectedPlaylistID;
    std::optional<QString> selectedAlbumID;
    std::optional<QString> selectedArtistID;
    std::optional<MusicItemID> selectedMadeForYouID;
    std::optional<MusicItemID> selectedStationID;
    friend bool operator==(const SavedSnapbackState &, const SavedSnapbackState &) = default;
};

// The title the lists show for a row of any kind.
inline QString title(ContainerKind kind) { return kind.title(); }
inline QString title(const SongSelection &selection) { return selection.title(); }
inline QString title(const LocalAlbum &album) { return album.title; }
inline QString title(const LocalArtist &artist) { return artist.name; }
inline QString title(const LocalPlaylist &playlist) { return playlist.name; }
inline QString title(const MusicPersonalRecommendation::Item &item) { return item.title(); }

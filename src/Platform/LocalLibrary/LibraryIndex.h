#pragma once
// The library as the music service hands it out, built from a scan: songs, albums grouped by
// album artist and title, artists from the tracks' artists and album artists, playlists from
// playlist files, and the songs of each genre. Immutable after construction, so it can be built
// on a worker thread and read on the main thread. A later scan that found a few files changed
// makes the next index from the last one, redoing only the albums and artists those files take
// part in, and says what changed (LibraryChange) for the store that mirrors it.
// Songs are held compactly (StoredSong: texts shared with the scan, dates as milliseconds, the file
// beside them) and made into Song values only when handed out: the index lives as long as the
// application, and 100,000 Song values with their look-up tables took three times the memory.

#include "Platform/LocalLibrary/ScannedTrack.h"
#include "Platform/Music/MusicTypes.h"

#include <QHash>
#include <limits>
#include <vector>

struct LibraryChange;
class LibraryNames;

class LibraryIndex {
public:
    struct Genre {
        QString name;
        QList<MusicItemID> songIDs; // in library order
    };

    LibraryIndex() = default;
    explicit LibraryIndex(const ScanResult &scan);
    // The index of scan, made from previous, the index of the scan before it, and the changes the
    // scan found against that one (ScanResult::readTracks and goneIdentities). Fills change with
    // the items added, changed and removed; its revisions are left to the caller.
    LibraryIndex(const LibraryIndex &previous, const ScanResult &scan, LibraryChange &change);

    // Every list is in a stable order: by identifier. Songs are made on demand: limit songs from
    // offset (all of them by default).
    qsizetype songCount() const { return qsizetype(m_songs.size()); }
    QList<Song> songs(qsizetype offset = 0, qsizetype limit = -1) const;
    const QList<Album> &albums() const { return m_albums; }
    const QList<Artist> &artists() const { return m_artists; }
    const QList<Playlist> &playlists() const { return m_playlists; }
    // Genres by number of songs, most first (ties by name).
    const QList<Genre> &genres() const { return m_genres; }

    std::optional<Song> song(const MusicItemID &id) const;
    bool contains(const MusicItemID &songID) const { return find(songID) != nullptr; }
    const Artist *artist(const MusicItemID &id) const;
    // The song's file as the file system names it (bytes); empty for an unknown song.
    QByteArray filePath(const MusicItemID &songID) const;
    // Up to count songs (all: -1) added at or after since, newest first, equal dates by identifier.
    QList<MusicItemID> newestSongIDs(qsizetype count, const std::optional<QDateTime> &since = std::nullopt) const;

    // The tracks of a collection in its order: a playlist's own, an album's by disc and track, an
    // artist's by album, then disc and track. Nothing for an unknown identifier.
    std::optional<QList<Song>> playlistTracks(const MusicItemID &id) const;
    std::optional<QList<Song>> albumTracks(const MusicItemID &id) const;
    std::optional<QList<Song>> artistTracks(const MusicItemID &id) const;

    // The songs of the given identifiers, unknown ones left out.
    QList<Song> songs(const QList<MusicItemID> &ids) const;

    // A fixed artwork for a file path, nothing for an empty path.
    static std::optional<Artwork> artworkForFile(const QString &path);

private:
    // A text of one song (its title as UTF-8, its file's bytes), packed in m_texts: 100,000 small
    // allocations would cost their headers and, freed among the scan's short-lived data, leave the
    // heap in pieces the system cannot take back.
    struct PackedText {
        quint32 offset = 0;
        quint32 size = 0;
    };
    // A song as the index keeps it. Empty texts are absent values; the artist, album and genre
    // texts and the artwork URL are shared with every other song that has them.
    struct StoredSong {
        static constexpr qint64 noDate = std::numeric_limits<qint64>::min();
        static constexpr int noNumber = std::numeric_limits<int>::min();
        MusicItemID id;
        PackedText title;
        QString artistName;
        QString albumTitle;
        QString albumArtistName;
        QString genre;
        QString artworkURL;
        PackedText file;
        double duration = 0;
        qint64 releaseDate = noDate; // milliseconds since the epoch, UTC
        qint64 addedDate = noDate;
        int trackNumber = noNumber;
        int discNumber = noNumber;
    };
    using SongRefs = std::vector<const StoredSong *>;

    const StoredSong *find(const MusicItemID &id) const;
    // What the index keeps of a track, its texts packed; artworkURLs shares each cover's URL.
    StoredSong storedOf(const ScannedTrack &track, const MusicItemID &id, QHash<QString, QString> &artworkURLs);
    Song songOf(const StoredSong &stored) const;
    PackedText pack(QByteArrayView bytes);
    QByteArrayView unpacked(PackedText text) const { return {m_texts.constData() + text.offset, qsizetype(text.size)}; }
    QString titleOf(const StoredSong &song) const { return QString::fromUtf8(unpacked(song.title)); }
    // Packs the texts of the songs there anew when those of songs gone are half of m_texts or more.
    void dropGoneTexts();
    // Disc, then track number, then title: the order of an album's songs.
    bool inAlbumOrder(const StoredSong &a, const StoredSong &b) const;
    void addPlaylists(const QList<ScannedPlaylist> &playlists, const QHash<QByteArray, MusicItemID> &songByFile);
    void addGenres();
    QHash<QByteArray, MusicItemID> songsByFile() const;
    // An album or artist made from its songs; songIDs receives them in the collection's order.
    Album makeAlbum(const MusicItemID &id, SongRefs songs, QList<MusicItemID> &songIDs) const;
    Artist makeArtist(const MusicItemID &id, const QString &name, const SongRefs &songs, LibraryNames &names,
                      QList<MusicItemID> &songIDs) const;
    void updateAlbums(const LibraryIndex &previous, const QSet<MusicItemID> &replaced,
                      const QHash<MusicItemID, QList<MusicItemID>> &addedByAlbum, LibraryChange &change);
    void updateArtists(const LibraryIndex &previous, const QSet<MusicItemID> &replaced,
                       const QHash<MusicItemID, QList<MusicItemID>> &addedByArtist, LibraryNames &names,
                       LibraryChange &change);
    void updatePlaylists(const LibraryIndex &previous, const QList<ScannedPlaylist> &playlists, LibraryChange &change);
    std::optional<Artwork> firstArtwork(const QList<MusicItemID> &songIDs) const;
    std::optional<QList<Song>> tracksOf(const QHash<MusicItemID, QList<MusicItemID>> &map, const MusicItemID &id) const;

    std::vector<StoredSong> m_songs; // by identifier
    QByteArray m_texts;              // the songs' packed texts, end to end
    QList<Album> m_albums;
    QList<Artist> m_artists;
    QList<Playlist> m_playlists;
    QList<Genre> m_genres;
    QHash<MusicItemID, qsizetype> m_artistIndex;
    QHash<MusicItemID, QList<MusicItemID>> m_albumSongs;
    QHash<MusicItemID, QList<MusicItemID>> m_artistSongs;
    QHash<MusicItemID, QList<MusicItemID>> m_playlistSongs;
};

#pragma once
// The library as the music service hands it out, built from a scan: songs, albums grouped by
// album artist and title, artists from the tracks' artists and album artists, playlists from
// playlist files, and the songs of each genre. Immutable after construction, so it can be built
// on a worker thread and read on the main thread. A later scan that found a few files changed
// makes the next index from the last one, redoing only the albums and artists those files take
// part in, and says what changed (LibraryChange) for the store that mirrors it.
//
// The index lives as long as the application, so it is held in a few large blocks and nothing
// else: songs, albums, artists and genres as plain records in vectors sorted by identifier, their
// identifiers as the numbers they are made of, every text (titles, files, names) packed end to end
// in one buffer, each collection's songs as a run of one shared vector of identifiers. Song,
// Album and Artist values are made only when handed out. Small blocks kept for the application's
// life would pin the pages of the scan's freed data they were allocated among; 100,000 songs of
// such blocks held three times the memory the index needs.

#include "Platform/LocalLibrary/ScannedTrack.h"
#include "Platform/Music/MusicTypes.h"

#include <QHash>
#include <QSet>
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

    // Every list is in a stable order: by identifier. Items are made on demand: limit items from
    // offset (all of them by default).
    qsizetype songCount() const { return qsizetype(m_songs.size()); }
    QList<Song> songs(qsizetype offset = 0, qsizetype limit = -1) const;
    qsizetype albumCount() const { return qsizetype(m_albums.size()); }
    QList<Album> albums(qsizetype offset = 0, qsizetype limit = -1) const;
    qsizetype artistCount() const { return qsizetype(m_artists.size()); }
    QList<Artist> artists(qsizetype offset = 0, qsizetype limit = -1) const;
    const QList<Playlist> &playlists() const { return m_playlists; }
    // Genres by number of songs, most first (ties by name).
    QList<Genre> genres() const;
    // The songs of the genre named so, in library order; nothing for an unknown genre.
    std::optional<QList<MusicItemID>> genreSongIDs(const QString &name) const;

    std::optional<Song> song(const MusicItemID &id) const;
    bool contains(const MusicItemID &songID) const { return find(songID) != nullptr; }
    std::optional<Artist> artist(const MusicItemID &id) const;
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
    // A text packed in m_texts (UTF-8; a file's bytes as they are). Empty is an absent value.
    struct Text {
        quint32 offset = 0;
        quint32 size = 0;
    };
    // A run of m_members (song identifiers) or of m_textLists (genre names).
    struct Run {
        quint32 offset = 0;
        quint32 count = 0;
    };
    struct StoredSong {
        static constexpr qint64 noDate = std::numeric_limits<qint64>::min();
        static constexpr int noNumber = std::numeric_limits<int>::min();
        quint64 id = 0;
        Text title;
        Text file;
        Text artistName;
        Text albumTitle;
        Text albumArtistName;
        Text genre;
        Text artworkURL;
        double duration = 0;
        qint64 releaseDate = noDate; // milliseconds since the epoch, UTC
        qint64 addedDate = noDate;
        int trackNumber = noNumber;
        int discNumber = noNumber;
    };
    struct StoredAlbum {
        quint64 id = 0;
        Text title;
        Text artistName;
        Run genres;
        Run songs; // in album order
        Text artworkURL; // its first song's with artwork
        qint64 releaseDate = StoredSong::noDate;
        qint64 addedDate = StoredSong::noDate;
    };
    struct StoredArtist {
        quint64 id = 0;
        Text name;
        Run genres;
        Run songs; // by album, then in album order
        Text artworkURL;
    };
    struct StoredGenre {
        Text name;
        Run songs; // by identifier
    };
    // Runs made while grouping, on any thread, before they join m_members and m_textLists.
    struct Runs {
        std::vector<quint64> members;
        std::vector<Text> texts;
    };
    class Packer;
    using SongRefs = std::vector<const StoredSong *>;

    const StoredSong *find(quint64 id) const;
    const StoredSong *find(const MusicItemID &id) const;
    const StoredAlbum *findAlbum(quint64 id) const;
    const StoredArtist *findArtist(quint64 id) const;
    StoredSong storedOf(const ScannedTrack &track, quint64 id, Packer &packer);
    Song songOf(const StoredSong &stored, QHash<quint32, QString> &names) const;
    Album albumOf(const StoredAlbum &stored, QHash<quint32, QString> &names) const;
    Artist artistOf(const StoredArtist &stored, QHash<quint32, QString> &names) const;
    QByteArrayView view(Text text) const { return {m_texts.constData() + text.offset, qsizetype(text.size)}; }
    QString string(Text text) const { return QString::fromUtf8(view(text)); }
    // A name's text, the same QString for every item of one list that has it.
    QString shared(Text text, QHash<quint32, QString> &names) const;
    QStringList namesOf(Run run, QHash<quint32, QString> &names) const;
    QList<MusicItemID> songIDsOf(Run run) const;
    QList<Song> songsOf(Run run) const;
    // Disc, then track number, then title: the order of an album's songs.
    bool inAlbumOrder(const StoredSong &a, const StoredSong &b) const;
    QByteArrayView albumArtistOf(const StoredSong &song) const;
    // An album or artist made from its songs, its runs added to runs.
    StoredAlbum makeAlbum(quint64 id, SongRefs songs, Runs &runs) const;
    StoredArtist makeArtist(quint64 id, Text name, const SongRefs &songs, LibraryNames &names, Runs &runs) const;
    Run genresOf(const SongRefs &songs, Runs &runs) const;
    // The artwork of the first song with one, of songs in a collection's order.
    Text firstArtwork(const SongRefs &songs) const;
    // Appends runs to m_members and m_textLists; the offsets of the items made with them move along.
    template <typename Stored>
    void adopt(Runs &runs, std::vector<Stored> &items);
    void updateAlbums(const LibraryIndex &previous, const QSet<quint64> &replaced,
                      const QHash<quint64, QList<quint64>> &addedByAlbum, LibraryChange &change);
    void updateArtists(const LibraryIndex &previous, const QSet<quint64> &replaced,
                       const QHash<quint64, QList<quint64>> &addedByArtist, LibraryNames &names, LibraryChange &change);
    void updatePlaylists(const LibraryIndex &previous, const QList<ScannedPlaylist> &playlists, LibraryChange &change);
    void addPlaylists(const QList<ScannedPlaylist> &playlists);
    void addGenres();
    // Packs the texts and runs anew when those of items gone are half of them or more.
    void dropGoneTexts();
    void dropGoneRuns();

    std::vector<StoredSong> m_songs; // by identifier
    std::vector<StoredAlbum> m_albums;
    std::vector<StoredArtist> m_artists;
    std::vector<StoredGenre> m_genres; // most songs first
    QList<Playlist> m_playlists;
    std::vector<Run> m_playlistSongs; // beside m_playlists
    QByteArray m_texts;
    std::vector<quint64> m_members;
    std::vector<Text> m_textLists;
};

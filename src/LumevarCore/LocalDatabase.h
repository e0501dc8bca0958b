#pragma once
// The local mirror of the user's library, in SQLite. An actor: one worker thread owns the one
// connection and runs one call at a time; every call is awaited from the main thread and resumes
// there, and reports failures by throwing (StoreError when the store is not open or a query
// fails). Made closed; open() creates or migrates the schema. A failed open() makes later calls
// fail in their callers, never crash.

#include "LumevarCore/Records.h"
#include "LumevarCore/SearchResult.h"
#include "LumevarCore/StoreCondition.h"

#include <QCoroTask>
#include <QString>
#include <memory>
#include <utility>


class LocalDatabase {
public:
    // A closed store at the file path (init(path:)).
    explicit LocalDatabase(QString path);
    ~LocalDatabase();
    LocalDatabase(const LocalDatabase &) = delete;
    LocalDatabase &operator=(const LocalDatabase &) = delete;

    // The store of the process: "local.db" in the folder "Lumevar" of the application data
    // directory, opened in the background with openOrRebuild() on first use. A folder that cannot
    // be made is logged; the store then lives in memory for the run (see condition()).
    static LocalDatabase &shared();
    // Tests and start-up may install another instance.
    static void setShared(LocalDatabase *database);
    // Where shared() keeps its file.
    static QString defaultPath();

    const QString &path() const;

    // Opens the file as it is; throws StoreError when it cannot (later calls then throw too).
    QCoro::Task<void> open();
    // Opens the file, healing what can be healed: a damaged file is moved aside and a new store
    // made; a file or folder that cannot be written leaves the run with a store in memory. Never
    // throws for the file's sake. See StoreRecovery.h.
    QCoro::Task<StoreCondition> openOrRebuild();
    // What the last openOrRebuild() found; waits for it when it is still running. A store opened
    // with open() reports ready.
    QCoro::Task<StoreCondition> condition();
    // Checkpoints, then closes.
    QCoro::Task<void> close();

    QCoro::Task<QList<LocalPlaylist>> allPlaylists(SortDescriptor<LocalPlaylist> sortDescriptor);
    QCoro::Task<QList<LocalAlbum>> allAlbums(SortDescriptor<LocalAlbum> sortDescriptor);
    QCoro::Task<QList<LocalArtist>> allArtists(SortDescriptor<LocalArtist> sortDescriptor);
    QCoro::Task<QList<LocalSong>> allLibrarySongs(SortDescriptor<LocalSong> sortDescriptor);

    // A playlist's songs in playlist order, an album's by disc and track, an artist's grouped by
    // album; order holds the position in the collection. Only library songs belong to an album
    // or an artist. An album's songs are those of its title whose album artist (or, lacking one,
    // artist) is the album's artist: never a same-named album's. An artist's songs are those
    // with the artist as their artist or as their album artist.
    QCoro::Task<QList<LocalSong>> songs(LocalPlaylist playlist);
    QCoro::Task<QList<LocalSong>> songs(LocalAlbum album);
    QCoro::Task<QList<LocalSong>> songs(LocalArtist artist);

    // Search as you type over songs, albums, artists and playlists. Empty text: no sections.
    // Sections come in the order Artists, Albums, Songs, Playlists (see StoreSearch.h).
    QCoro::Task<QList<SearchSection>> search(QString text);

    // Whether the library holds a song of that title (and artist and album when given). Texts
    // match once folded: case, accents, surrounding and repeated white space are ignored, and the
    // whole text must be equal ("hello world" matches "Héllo  World", "Hello" does not). The artist
    // matches the song's artist or its album artist; an absent or blank artist or album is not
    // checked. Songs known only from playlists do not count.
    QCoro::Task<bool> hasSong(QString title, std::optional<QString> artist, std::optional<QString> album);

    // ---- The write side, used by SyncEngine. Records come in already cleaned of bad input. ----

    // A full listing is mirrored with mark and sweep: beginSync() hands out a new generation, each
    // stored batch marks its rows with it (one transaction per batch), and finishSync() removes
    // the rows no batch of that generation saw. A library song found unchanged is not rewritten:
    // the store remembers in memory that the sync saw it. A sync that dies between the two
    // leaves the old rows beside the new ones; the next finished sync of that kind removes what
    // is stale. A sync into an empty table builds the table's indexes once, in finishSync().
    enum class LibraryKind { playlists, albums, artists, songs };
    QCoro::Task<qint64> beginSync(LibraryKind kind);
    QCoro::Task<void> storePlaylists(QList<Playlist> playlists, qint64 generation);
    QCoro::Task<void> storeAlbums(QList<Album> albums, qint64 generation);
    QCoro::Task<void> storeArtists(QList<Artist> artists, qint64 generation);
    // Library songs in the service's order; firstPosition is the library order of the first one.
    // The songs are cleaned and keyed on a pool thread before the store's thread writes them.
    QCoro::Task<void> storeLibrarySongs(QList<Song> songs, qint64 generation, int firstPosition);
    // Returns how many rows were removed.
    QCoro::Task<int> finishSync(LibraryKind kind, qint64 generation);
    // Ends a sync that stops before finishSync(): makes again the indexes that a sync into an
    // empty table leaves out until its end, and forgets what it saw. Rows it stored stay;
    // nothing is swept.
    QCoro::Task<void> abandonSync(LibraryKind kind, qint64 generation);

    // How writes find the stored row of each song they are sent: one indexed query per song, or,
    // for a sync of the whole library, an index of every song's id read once and kept in memory
    // (about 10 MB for 100,000 songs) until releaseSongIndex().
    enum class SongLookup { perSong, wholeLibrary };
    // Replaces the contents of each playlist (by id) with its songs, in order, in one transaction,
    // and marks them as fetched. Songs not in the library are kept for the playlist alone.
    // Playlists unknown to the store are skipped.
    QCoro::Task<void> storePlaylistContents(QList<std::pair<QString, QList<Song>>> contents,
                                            SongLookup lookup = SongLookup::perSong);
    // Lets go of the index a sync of the whole library read (see SongLookup), and of the keys of
    // the texts its songs repeat; the next sync makes them again.
    QCoro::Task<void> releaseSongIndex();
    // Stores an album's or an artist's songs as the service lists them now: they join the library
    // (keeping the library order of those already there). No song leaves the library here, only
    // through a sync of the library's songs. Returns the collection as songs(for:) reads it
    // afterwards (listed songs it does not find follow at the end), order set to the position.
    QCoro::Task<QList<LocalSong>> storeCollectionSongs(LocalAlbum album, QList<Song> songs);
    QCoro::Task<QList<LocalSong>> storeCollectionSongs(LocalArtist artist, QList<Song> songs);
    // Adds songs to the end of the library's order (or refreshes them if already there).
    QCoro::Task<void> addLibrarySongs(QList<Song> songs);
    // Takes the items of those identifiers out of the library, in one transaction: playlists,
    // albums and artists are deleted; songs leave the library and are kept while a playlist holds
    // them. Unknown identifiers are passed over.
    QCoro::Task<void> removeLibraryItems(LibraryKind kind, QStringList ids);
    // Playlists whose contents were never fetched.
    QCoro::Task<QList<LocalPlaylist>> playlistsWithoutContents();
    // The latest date a library song was added, if any song has one.
    QCoro::Task<std::optional<QDateTime>> latestSongAddedDate();

private:
    class Private;
    std::unique_ptr<Private> m_d;
};

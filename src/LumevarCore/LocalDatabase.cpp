#include "LumevarCore/LocalDatabase.h"

#include "LumevarCore/StoreActor.h"
#include "LumevarCore/StoreReads.h"
#include "LumevarCore/StoreSchema.h"
#include "LumevarCore/StoreSearch.h"
#include "LumevarCore/StoreWrites.h"
#include "Support/Log.h"

#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

class LocalDatabase::Private {
public:
    explicit Private(QString path) : path(std::move(path)) {}
    QString path;
    StoreActor actor;
};

namespace {

LocalDatabase *installedDatabase = nullptr;

QCoro::Task<void> openQuietly(LocalDatabase *database)
{
    try {
        co_await database->open();
    } catch (...) {
        // Callers meet the failure again as a StoreError on their first call.
    }
}

} // namespace

LocalDatabase::LocalDatabase(QString path) : m_d(std::make_unique<Private>(std::move(path))) {}

LocalDatabase::~LocalDatabase() = default;

LocalDatabase &LocalDatabase::shared()
{
    if (installedDatabase)
        return *installedDatabase;
    static LocalDatabase *database = [] {
        const QString path = defaultPath();
        const QString folder = QFileInfo(path).absolutePath();
        if (!QDir().mkpath(folder))
            qFatal("Failed to create LocalDatabase: %s", qUtf8Printable(QStringLiteral("cannot create the folder %1").arg(folder)));
        auto *made = new LocalDatabase(path);
        openQuietly(made);
        return made;
    }();
    return *database;
}

void LocalDatabase::setShared(LocalDatabase *database) { installedDatabase = database; }

QString LocalDatabase::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Lumevar/local.db");
}

const QString &LocalDatabase::path() const { return m_d->path; }

QCoro::Task<void> LocalDatabase::open()
{
    StoreActor *actor = &m_d->actor;
    return actor->runUnchecked([actor, path = m_d->path](SqliteConnection &connection) {
        try {
            actor->openFailure.reset();
            connection.open(path);
            StoreSchema::prepare(connection);
        } catch (const StoreError &error) {
            connection.close();
            actor->openFailure = error;
            Log::error(Log::app(), "Failed to open the local store: %@", error);
            throw;
        }
    });
}

QCoro::Task<void> LocalDatabase::close()
{
    return m_d->actor.runUnchecked([](SqliteConnection &connection) { connection.close(); });
}

QCoro::Task<QList<LocalPlaylist>> LocalDatabase::allPlaylists(SortDescriptor<LocalPlaylist> sortDescriptor)
{
    return m_d->actor.run([sortDescriptor](SqliteConnection &c) { return StoreReads::allPlaylists(c, sortDescriptor); });
}

QCoro::Task<QList<LocalAlbum>> LocalDatabase::allAlbums(SortDescriptor<LocalAlbum> sortDescriptor)
{
    return m_d->actor.run([sortDescriptor](SqliteConnection &c) { return StoreReads::allAlbums(c, sortDescriptor); });
}

QCoro::Task<QList<LocalArtist>> LocalDatabase::allArtists(SortDescriptor<LocalArtist> sortDescriptor)
{
    return m_d->actor.run([sortDescriptor](SqliteConnection &c) { return StoreReads::allArtists(c, sortDescriptor); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::allLibrarySongs(SortDescriptor<LocalSong> sortDescriptor)
{
    return m_d->actor.run([sortDescriptor](SqliteConnection &c) { return StoreReads::allLibrarySongs(c, sortDescriptor); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::songs(LocalPlaylist playlist)
{
    return m_d->actor.run([id = playlist.id](SqliteConnection &c) { return StoreReads::playlistSongs(c, id); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::songs(LocalAlbum album)
{
    return m_d->actor.run([album](SqliteConnection &c) { return StoreReads::albumSongs(c, album.title, album.artistName); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::songs(LocalArtist artist)
{
    return m_d->actor.run([name = artist.name](SqliteConnection &c) { return StoreReads::artistSongs(c, name); });
}

QCoro::Task<QList<SearchSection>> LocalDatabase::search(QString text)
{
    return m_d->actor.run([text](SqliteConnection &c) { return StoreSearch::search(c, text); });
}

QCoro::Task<bool> LocalDatabase::hasSong(QString title, std::optional<QString> artist, std::optional<QString> album)
{
    return m_d->actor.run([title, artist, album](SqliteConnection &c) { return StoreReads::hasSong(c, title, artist, album); });
}

QCoro::Task<qint64> LocalDatabase::beginSync(LibraryKind kind)
{
    return m_d->actor.run([kind](SqliteConnection &c) { return StoreWrites::beginSync(c, kind); });
}

QCoro::Task<void> LocalDatabase::storePlaylists(QList<Playlist> playlists, qint64 generation)
{
    return m_d->actor.run([playlists, generation](SqliteConnection &c) { StoreWrites::storePlaylists(c, playlists, generation); });
}

QCoro::Task<void> LocalDatabase::storeAlbums(QList<Album> albums, qint64 generation)
{
    return m_d->actor.run([albums, generation](SqliteConnection &c) { StoreWrites::storeAlbums(c, albums, generation); });
}

QCoro::Task<void> LocalDatabase::storeArtists(QList<Artist> artists, qint64 generation)
{
    return m_d->actor.run([artists, generation](SqliteConnection &c) { StoreWrites::storeArtists(c, artists, generation); });
}

QCoro::Task<void> LocalDatabase::storeLibrarySongs(QList<Song> songs, qint64 generation, int firstPosition)
{
    return m_d->actor.run([songs, generation, firstPosition](SqliteConnection &c) {
        StoreWrites::storeLibrarySongs(c, songs, generation, firstPosition);
    });
}

QCoro::Task<int> LocalDatabase::finishSync(LibraryKind kind, qint64 generation)
{
    return m_d->actor.run([kind, generation](SqliteConnection &c) { return StoreWrites::finishSync(c, kind, generation); });
}

QCoro::Task<void> LocalDatabase::storePlaylistContents(QList<std::pair<QString, QList<Song>>> contents)
{
    return m_d->actor.run([contents](SqliteConnection &c) { StoreWrites::storePlaylistContents(c, contents); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::storeCollectionSongs(LocalAlbum album, QList<Song> songs)
{
    return m_d->actor.run([album, songs](SqliteConnection &c) { return StoreWrites::storeAlbumSongs(c, album, songs); });
}

QCoro::Task<QList<LocalSong>> LocalDatabase::storeCollectionSongs(LocalArtist artist, QList<Song> songs)
{
    return m_d->actor.run([artist, songs](SqliteConnection &c) { return StoreWrites::storeArtistSongs(c, artist, songs); });
}

QCoro::Task<void> LocalDatabase::addLibrarySongs(QList<Song> songs)
{
    return m_d->actor.run([songs](SqliteConnection &c) { StoreWrites::addLibrarySongs(c, songs); });
}

QCoro::Task<QList<LocalPlaylist>> LocalDatabase::playlistsWithoutContents()
{
    return m_d->actor.run([](SqliteConnection &c) { return StoreReads::playlistsWithoutContents(c); });
}

QCoro::Task<std::optional<QDateTime>> LocalDatabase::latestSongAddedDate()
{
    return m_d->actor.run([](SqliteConnection &c) { return StoreReads::latestSongAddedDate(c); });
}

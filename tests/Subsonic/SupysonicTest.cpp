// The server backend against a real Subsonic-API server: supysonic on a free loopback port over a
// copy of the demo library. One server serves the whole suite (starting one costs seconds); the
// test that stops it runs last. Supysonic knows only the password form of signing in, so every
// test here goes through the fallback from the token form.
#include "SupysonicServer.h"

#include "DemoLibrary/DemoLibrary.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Platform/Music/MpvAudioEngine.h"
#include "Platform/Subsonic/SubsonicItems.h"
#include "Platform/Subsonic/SubsonicService.h"
#include "Support/Error.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/Lists.h"
#include "TestKit/Waits.h"

#include <QCoroNetworkReply>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <clocale>
#include <functional>
#include <gtest/gtest.h>

namespace {

struct Shared {
    SupysonicServer *server = nullptr;
    QString failure;
    QList<QString> playlistOrder; // the song ids of the test playlist, in its order
};
Shared *shared = nullptr;

// The demo library is written once per build tree and copied for each run, which adds to it.
QString demoLibrary(QString *error)
{
    const QString folder = QStringLiteral(LUMEVAR_TEST_CACHE) + QStringLiteral("/demo-library");
    if (QFile::exists(folder + QStringLiteral("/.complete")))
        return folder;
    DemoLibrary::Summary summary;
    return DemoLibrary::generate(folder, &summary, error) ? folder : QString();
}

bool copyFolder(const QString &from, const QString &to)
{
    QDirIterator it(from, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString file = it.next();
        const QString target = to + file.mid(from.size());
        QDir().mkpath(QFileInfo(target).absolutePath());
        if (!QFile::copy(file, target))
            return false;
    }
    return true;
}

SubsonicAccount account(QString password = SupysonicServer::password)
{
    return SubsonicAccount{shared->server->root(), SupysonicServer::user, std::move(password), {}};
}

// A method's answer as the server gives it.
QCoro::Task<QJsonObject> raw(SubsonicService &service, QString method, QUrlQuery query = QUrlQuery())
{
    if (service.authorizationStatus() != MusicAuthorizationStatus::authorized)
        co_await service.requestAuthorization();
    co_return co_await service.client().call(method, query);
}

QUrlQuery queryOf(std::initializer_list<std::pair<QString, QString>> items)
{
    QUrlQuery query;
    for (const auto &[key, value] : items)
        query.addQueryItem(key, value);
    return query;
}

} // namespace

class Supysonic : public ::testing::Test {
public:
    static void SetUpTestSuite()
    {
        shared = new Shared;
        if (!SupysonicServer::missingReason().isEmpty())
            return;
        shared->server = SupysonicServer::shared(&shared->failure, [](const QString &folder, QString *error) {
            const QString library = demoLibrary(error);
            return !library.isEmpty() && copyFolder(library, folder);
        });
        if (!shared->server)
            return;
        // Supysonic reads no playlist files: one is made through the API, in an order of its own.
        SubsonicService service(account());
        try {
            const QJsonObject albums = runTask(raw(service, QStringLiteral("getAlbumList2"),
                                                   queryOf({{QStringLiteral("type"), QStringLiteral("alphabeticalByName")},
                                                            {QStringLiteral("size"), QStringLiteral("3")}})));
            QUrlQuery create = queryOf({{QStringLiteral("name"), QStringLiteral("Road Trip")}});
            for (const QJsonValue &album : SubsonicItems::list(albums.value(QStringLiteral("albumList2")).toObject(), QStringLiteral("album"))) {
                const QList<Song> songs = runTask(service.tracks(SubsonicItems::album(album.toObject(), shared->server->root())));
                // Last track first, so that the order is the playlist's own.
                for (qsizetype i = songs.size() - 1; i >= 0 && i >= songs.size() - 2; --i) {
                    create.addQueryItem(QStringLiteral("songId"), songs[i].id.rawValue());
                    shared->playlistOrder.append(songs[i].id.rawValue());
                }
            }
            runTask(raw(service, QStringLiteral("createPlaylist"), create));
        } catch (const Error &failure) {
            shared->failure = failure.debugDescription();
        }
    }

    static void TearDownTestSuite()
    {
        delete shared;
        shared = nullptr;
    }

protected:
    void SetUp() override
    {
        if (const QString missing = SupysonicServer::missingReason(); !missing.isEmpty())
            GTEST_SKIP() << "No Subsonic server to test against: " << missing.toStdString();
        ASSERT_TRUE(shared->failure.isEmpty()) << shared->failure.toStdString();
        ASSERT_TRUE(shared->server && shared->server->isRunning());
        ASSERT_TRUE(dir.isValid());
        database = std::make_unique<LocalDatabase>(dir.filePath(QStringLiteral("local.db")));
        runTask(database->open());
        service = std::make_unique<SubsonicService>(account());
        ASSERT_EQ(runTask(service->requestAuthorization()), MusicAuthorizationStatus::authorized) << service->unavailableReason().toStdString();
    }

    void TearDown() override
    {
        if (database)
            runTask(database->close());
    }

    void syncAll()
    {
        SyncEngine engine(*database, *service);
        runTask(engine.syncAll(nullptr));
    }

    int serverSongCount()
    {
        int count = 0;
        for (const Album &album : runTask(service->libraryAlbums(0, 100000)).items)
            count += album.trackCount;
        return count;
    }

    QTemporaryDir dir;
    std::unique_ptr<LocalDatabase> database;
    std::unique_ptr<SubsonicService> service;
};

TEST_F(Supysonic, AFullSyncMirrorsTheServersArtistsAlbumsSongsAndPlaylists)
{
    EXPECT_EQ(service->client().authForm(), SubsonicClient::AuthForm::password);
    const int before = service->client().requestCount();
    syncAll();
    const int syncRequests = service->client().requestCount() - before;

    // The server's own answers, read raw.
    SubsonicService reader(account());
    QList<QJsonObject> artists;
    for (const QJsonValue &index : SubsonicItems::list(runTask(raw(reader, QStringLiteral("getArtists"))).value(QStringLiteral("artists")).toObject(),
                                                       QStringLiteral("index")))
        for (const QJsonValue &artist : SubsonicItems::list(index.toObject(), QStringLiteral("artist")))
            artists.append(artist.toObject());
    const QJsonArray albums = SubsonicItems::list(runTask(raw(reader, QStringLiteral("getAlbumList2"),
                                                              queryOf({{QStringLiteral("type"), QStringLiteral("alphabeticalByName")},
                                                                       {QStringLiteral("size"), QStringLiteral("500")}})))
                                                      .value(QStringLiteral("albumList2")).toObject(),
                                                  QStringLiteral("album"));

    const QList<LocalArtist> storedArtists = runTask(database->allArtists({LocalArtist::SortKey::name}));
    const QList<LocalAlbum> storedAlbums = runTask(database->allAlbums({LocalAlbum::SortKey::title}));
    const QList<LocalSong> storedSongs = runTask(database->allLibrarySongs({LocalSong::SortKey::title}));
    const QList<LocalPlaylist> storedPlaylists = runTask(database->allPlaylists({LocalPlaylist::SortKey::name}));
    ASSERT_GT(albums.size(), 3);
    EXPECT_EQ(storedArtists.size(), artists.size());
    EXPECT_EQ(storedAlbums.size(), albums.size());
    EXPECT_EQ(storedSongs.size(), serverSongCount());
    ASSERT_EQ(storedPlaylists.size(), 1);
    EXPECT_EQ(storedPlaylists.first().name, QStringLiteral("Road Trip"));
    // Supysonic lists every song for an empty search, which the sync takes instead of asking for
    // each album: the three lists, the songs' one page and the playlist's.
    EXPECT_LT(syncRequests, albums.size()) << syncRequests << " requests";

    // A sample compared field by field: every song of the first album with a cover.
    const auto sample = std::find_if(albums.begin(), albums.end(), [](const QJsonValue &a) { return a.toObject().contains(QStringLiteral("coverArt")); });
    ASSERT_NE(sample, albums.end());
    const QJsonObject album = sample->toObject();
    const QJsonObject full = runTask(raw(reader, QStringLiteral("getAlbum"), queryOf({{QStringLiteral("id"), album.value(QStringLiteral("id")).toString()}})))
                                 .value(QStringLiteral("album")).toObject();
    const auto storedAlbum = std::find_if(storedAlbums.cbegin(), storedAlbums.cend(),
                                          [&](const LocalAlbum &a) { return a.id == album.value(QStringLiteral("id")).toString(); });
    ASSERT_NE(storedAlbum, storedAlbums.cend());
    EXPECT_EQ(storedAlbum->title, album.value(QStringLiteral("name")).toString());
    EXPECT_EQ(storedAlbum->artistName, album.value(QStringLiteral("artist")).toString());
    EXPECT_TRUE(storedAlbum->artworkURL.has_value());
    for (const QJsonValue &value : SubsonicItems::list(full, QStringLiteral("song"))) {
        const QJsonObject song = value.toObject();
        const auto stored = std::find_if(storedSongs.cbegin(), storedSongs.cend(),
                                         [&](const LocalSong &s) { return s.identifier == song.value(QStringLiteral("id")).toString(); });
        ASSERT_NE(stored, storedSongs.cend()) << song.value(QStringLiteral("title")).toString().toStdString();
        EXPECT_EQ(stored->title, song.value(QStringLiteral("title")).toString());
        EXPECT_EQ(stored->artistName, song.value(QStringLiteral("artist")).toString());
        EXPECT_EQ(stored->albumTitle, song.value(QStringLiteral("album")).toString());
        EXPECT_EQ(stored->duration, song.value(QStringLiteral("duration")).toDouble());
        EXPECT_EQ(stored->genre, song.value(QStringLiteral("genre")).toString());
        EXPECT_EQ(stored->releaseDate->date().year(), song.value(QStringLiteral("year")).toInt());
        EXPECT_TRUE(stored->playParameters.has_value());
    }

    // The playlist keeps its order in the store.
    EXPECT_EQ(textsOf(runTask(database->songs(storedPlaylists.first())), &LocalSong::identifier), QStringList(shared->playlistOrder));
}

TEST_F(Supysonic, CoverArtOfARowLoadsThroughTheSignedURLAndSearchFindsATitleTypedInPart)
{
    const QList<Album> albums = runTask(service->libraryAlbums(0, 100)).items;
    const auto withCover = std::find_if(albums.cbegin(), albums.cend(), [](const Album &album) { return album.artwork.has_value(); });
    ASSERT_NE(withCover, albums.cend());
    const QUrl stored = withCover->artwork->url(64, 64);
    QNetworkAccessManager network;
    auto download = [&](QUrl url) -> QCoro::Task<QByteArray> {
        std::unique_ptr<QNetworkReply> reply(network.get(QNetworkRequest(url)));
        co_await reply.get();
        co_return reply->readAll();
    };
    // Unsigned, the server refuses it; signed, it is a picture.
    EXPECT_TRUE(QImage::fromData(runTask(download(stored))).isNull());
    const QImage cover = QImage::fromData(runTask(download(service->authorizedURL(stored))));
    ASSERT_FALSE(cover.isNull());
    EXPECT_LE(std::max(cover.width(), cover.height()), 64);

    const Song some = runTask(service->tracks(albums.first())).first();
    const QString part = some.title.mid(1, 4).toLower();
    const CatalogSearchResponse found = runTask(service->searchCatalog(part, 25));
    EXPECT_TRUE(std::any_of(found.songs.cbegin(), found.songs.cend(), [&](const Song &song) { return song.id == some.id; }))
        << part.toStdString();
}

TEST_F(Supysonic, AddingToTheLibraryStarsTheSongAndAPlaylistKeepsItsOrder)
{
    const Playlist playlist = runTask(service->libraryPlaylists(0, 10)).items.value(0);
    const QList<Song> tracks = runTask(service->tracks(playlist));
    EXPECT_EQ(textsOf(tracks, [](const Song &song) { return song.id.rawValue(); }), QStringList(shared->playlistOrder));

    const MusicItemID chosen = tracks.last().id;
    runTask(service->addToLibrary(chosen));
    const QJsonObject starred = runTask(raw(*service, QStringLiteral("getStarred2"))).value(QStringLiteral("starred2")).toObject();
    const QJsonArray songs = SubsonicItems::list(starred, QStringLiteral("song"));
    EXPECT_TRUE(std::any_of(songs.begin(), songs.end(),
                            [&](const QJsonValue &song) { return song.toObject().value(QStringLiteral("id")).toString() == chosen.rawValue(); }));
}

TEST_F(Supysonic, RecommendationsOfferAlbumMixesAndAGenreStationThatPlaysItsGenre)
{
    const QList<MusicPersonalRecommendation> groups = runTask(service->personalRecommendations());
    ASSERT_EQ(groups.size(), 2);
    EXPECT_EQ(groups[0].title, QStringLiteral("Made for You"));
    ASSERT_FALSE(groups[0].items.isEmpty());
    const auto &mix = std::get<Playlist>(groups[0].items.first().value);
    EXPECT_FALSE(runTask(service->tracks(mix)).isEmpty());
    EXPECT_EQ(groups[1].title, QStringLiteral("Stations for You"));
    ASSERT_FALSE(groups[1].items.isEmpty());
    const auto &station = std::get<Station>(groups[1].items.first().value);
    const QList<Song> songs = runTask(service->stationSongs(station, 5));
    ASSERT_FALSE(songs.isEmpty());
    for (const Song &song : songs)
        EXPECT_EQ(song.genreNames.value(0) + QStringLiteral(" Station"), station.name);
}

TEST_F(Supysonic, ASongStreamsThroughMpvsNullOutputAndItsPositionAdvances)
{
    std::setlocale(LC_NUMERIC, "C");
    const Song song = runTask(service->tracks(runTask(service->libraryAlbums(0, 1)).items.first())).first();
    const QUrl url = runTask(service->playableURL(*song.playParameters));
    MpvAudioEngine::Options options;
    options.audioOutput = QStringLiteral("null");
    MpvAudioEngine engine(options);
    QString failure;
    QObject::connect(&engine, &AudioEngine::failed, [&](const QString &message) { failure = message; });
    engine.load(url);
    engine.play();
    EXPECT_TRUE(waitUntil([&] { return engine.position() > 0.2 || !failure.isEmpty(); }, "the first position of playback", 15000));
    EXPECT_TRUE(failure.isEmpty()) << failure.toStdString();
    EXPECT_GT(engine.position(), 0.2);
    engine.stop();
}

TEST_F(Supysonic, AFileAddedOnTheServerAppearsAfterUpdateLibrary)
{
    syncAll();
    const qsizetype before = runTask(database->allLibrarySongs({LocalSong::SortKey::title})).size();
    const std::optional<QString> revision = runTask(service->libraryRevision());

    // A copy of one file under a new name is one more song to the server.
    QDirIterator files(shared->server->musicFolder(), {QStringLiteral("*.flac")}, QDir::Files, QDirIterator::Subdirectories);
    ASSERT_TRUE(files.hasNext());
    const QString original = files.next();
    ASSERT_TRUE(QFile::copy(original, QFileInfo(original).absolutePath() + QStringLiteral("/99 Bonus Take.flac")));
    QString error;
    ASSERT_TRUE(shared->server->scan(&error)) << error.toStdString();

    EXPECT_NE(runTask(service->libraryRevision()), revision);
    runTask(service->readLibraryAgain());
    syncAll();
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::title})).size(), before + 1);
}

// Last: it stops the server.
TEST_F(Supysonic, WithTheServerStoppedTheMirrorStaysBrowsableAndPlayingSaysItCannotBeReached)
{
    syncAll();
    const QList<LocalSong> mirrored = runTask(database->allLibrarySongs({LocalSong::SortKey::title}));
    const qsizetype albums = runTask(database->allAlbums({LocalAlbum::SortKey::title})).size();
    ASSERT_FALSE(mirrored.isEmpty());
    shared->server->stop();
    runTask(service->readLibraryAgain());

    try {
        runTask(service->playableURL(*mirrored.first().playParameters));
        ADD_FAILURE() << "played from a stopped server";
    } catch (const MusicError &error) {
        EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("cannot be reached"))) << error.debugDescription().toStdString();
    }
    // The play alert says so too.
    EXPECT_TRUE(service->playFailureText().contains(QStringLiteral("cannot be reached")));
    // A sync that fails leaves the mirror as it was.
    SyncEngine engine(*database, *service);
    EXPECT_THROW(runTask(engine.syncAll(nullptr)), MusicError);
    EXPECT_EQ(runTask(database->allLibrarySongs({LocalSong::SortKey::title})).size(), mirrored.size());
    EXPECT_EQ(runTask(database->allAlbums({LocalAlbum::SortKey::title})).size(), albums);
}

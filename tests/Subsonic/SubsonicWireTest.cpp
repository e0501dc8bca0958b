// The Subsonic client against a loopback peer that answers fixed bytes: the forms of signing in
// and the fallback between them, error replies, broken and foreign answers, redirects, time-outs,
// the bound on requests in flight, and credentials kept out of everything but the request.
#include "ScriptedPeer.h"

#include "Platform/Subsonic/SubsonicClient.h"
#include "Platform/Subsonic/SubsonicItems.h"
#include "Platform/Subsonic/SubsonicService.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/ManualClock.h"

#include <QCryptographicHash>
#include <QScopeGuard>
#include <QTimeZone>
#include <QTimer>
#include <gtest/gtest.h>
#include <vector>

namespace {

const QString password = QStringLiteral("s3cret pass");

SubsonicAccount accountOf(const ScriptedPeer &peer, QString apiKey = {})
{
    return SubsonicAccount{peer.root(), QStringLiteral("alice"), password, std::move(apiKey)};
}

bool tokenMatches(const QUrlQuery &query)
{
    const QByteArray expected =
        QCryptographicHash::hash((password + query.queryItemValue(QStringLiteral("s"))).toUtf8(), QCryptographicHash::Md5).toHex();
    return query.hasQueryItem(QStringLiteral("s")) && query.queryItemValue(QStringLiteral("t")) == QString::fromLatin1(expected);
}

bool passwordMatches(const QUrlQuery &query)
{
    return query.queryItemValue(QStringLiteral("p")) == QStringLiteral("enc:") + QString::fromLatin1(password.toUtf8().toHex());
}

template <typename Failure>
Failure failureOf(QCoro::Task<void> task)
{
    try {
        runTask(std::move(task));
    } catch (const Failure &failure) {
        return failure;
    }
    ADD_FAILURE() << "no failure of the expected kind";
    throw std::runtime_error("no failure");
}

// An answer to the empty search of an OpenSubsonic server: count songs from offset on.
QByteArray songPage(int offset, int count)
{
    QByteArray songs;
    for (int i = offset; i < offset + count; ++i)
        songs += (songs.isEmpty() ? "" : ",") + QByteArray(R"({"id":"s)") + QByteArray::number(i) + R"(","title":"Song )" +
                 QByteArray::number(i) + R"(","duration":61,"genres":[{"name":"Jazz"},{"name":"Soul"}]})";
    return ScriptedPeer::ok(R"("searchResult3":{"song":[)" + songs + "]}");
}

QCoro::Task<void> callOnce(SubsonicClient &client, QString method)
{
    const QUrlQuery none;
    co_await client.call(method, none);
}

} // namespace

TEST(SubsonicWire, SignsInWithASaltedTokenAndFallsBackToThePasswordFormForServersWithoutTokens)
{
    // A modern server: the token checks out, and no password ever travels.
    ScriptedPeer modern([](const QString &, const QUrlQuery &query) {
        return tokenMatches(query) ? ScriptedPeer::ok() : ScriptedPeer::failed(40, "Wrong username or password");
    });
    SubsonicClient tokenClient(accountOf(modern));
    runTask(tokenClient.signIn());
    EXPECT_EQ(tokenClient.authForm(), SubsonicClient::AuthForm::token);
    runTask(callOnce(tokenClient, QStringLiteral("getGenres")));
    for (const QUrlQuery &query : modern.queries()) {
        EXPECT_FALSE(query.hasQueryItem(QStringLiteral("p")));
        EXPECT_EQ(query.queryItemValue(QStringLiteral("f")), QStringLiteral("json"));
        EXPECT_EQ(query.queryItemValue(QStringLiteral("u")), QStringLiteral("alice"));
    }
    // Each request has a salt of its own.
    ASSERT_EQ(modern.queries().size(), 2);
    EXPECT_NE(modern.queries()[0].queryItemValue(QStringLiteral("s")), modern.queries()[1].queryItemValue(QStringLiteral("s")));

    // An older server (as supysonic) says a parameter is missing for t and s; the password form
    // is taken and kept.
    ScriptedPeer older([](const QString &, const QUrlQuery &query) {
        if (query.hasQueryItem(QStringLiteral("t")))
            return ScriptedPeer::failed(10, "Missing parameter: 'p'");
        return passwordMatches(query) ? ScriptedPeer::ok() : ScriptedPeer::failed(40, "Wrong username or password");
    });
    SubsonicClient passwordClient(accountOf(older));
    runTask(passwordClient.signIn());
    EXPECT_EQ(passwordClient.authForm(), SubsonicClient::AuthForm::password);
    EXPECT_EQ(passwordClient.serverVersion(), QStringLiteral("1.16.1"));
    runTask(callOnce(passwordClient, QStringLiteral("getGenres")));
    EXPECT_EQ(older.requests(), 3);
    EXPECT_TRUE(passwordMatches(older.queries().last()));

    // An API key goes alone, without user or password.
    ScriptedPeer keyed([](const QString &, const QUrlQuery &query) {
        return query.queryItemValue(QStringLiteral("apiKey")) == u"k-123" && !query.hasQueryItem(QStringLiteral("u"))
                   ? ScriptedPeer::ok(R"("openSubsonic":true)")
                   : ScriptedPeer::failed(43, "Multiple conflicting authentication mechanisms provided");
    });
    SubsonicClient keyClient(accountOf(keyed, QStringLiteral("k-123")));
    runTask(keyClient.signIn());
    EXPECT_EQ(keyClient.authForm(), SubsonicClient::AuthForm::apiKey);
    EXPECT_TRUE(keyClient.isOpenSubsonic());
}

TEST(SubsonicWire, ARefusedPasswordAndErrorRepliesBecomeMessagesThatSayWhatHappened)
{
    ScriptedPeer peer([](const QString &path, const QUrlQuery &) -> std::optional<QByteArray> {
        if (path.endsWith(u"/ping.view"))
            return ScriptedPeer::failed(40, "Wrong username or password");
        if (path.endsWith(u"/getAlbum.view"))
            return ScriptedPeer::failed(70, "Album not found");
        return ScriptedPeer::failed(0, "Database is locked");
    });
    SubsonicClient client(accountOf(peer));
    const MusicError refused = failureOf<MusicError>(client.signIn());
    EXPECT_EQ(refused.code(), MusicError::notAuthorized);
    EXPECT_TRUE(refused.localizedDescription().contains(QStringLiteral("did not accept the user name or password")));
    // A wrong password is not a reason to try the weaker form.
    EXPECT_EQ(peer.requests(), 1);

    EXPECT_EQ(failureOf<MusicError>(callOnce(client, QStringLiteral("getAlbum"))).code(), MusicError::notFound);
    const MusicError failed = failureOf<MusicError>(callOnce(client, QStringLiteral("getGenres")));
    EXPECT_EQ(failed.code(), MusicError::serviceFailed);
    EXPECT_TRUE(failed.localizedDescription().contains(QStringLiteral("Database is locked")));

    // The service keeps the reason for the unavailable screen.
    SubsonicService service(accountOf(peer));
    EXPECT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::denied);
    EXPECT_TRUE(service.unavailableReason().contains(QStringLiteral("Sign in again")));
}

TEST(SubsonicWire, BrokenJsonForeignPagesAndRedirectsAreRefusedClearly)
{
    ScriptedPeer peer([](const QString &path, const QUrlQuery &) -> std::optional<QByteArray> {
        if (path.endsWith(u"/getGenres.view"))
            return ScriptedPeer::json(R"({"subsonic-response":{"status":"ok","genres":{"genre":[{"va)");
        if (path.endsWith(u"/getPlaylists.view"))
            return ScriptedPeer::json(R"({"error":"this is some other JSON API"})");
        if (path.endsWith(u"/getArtists.view"))
            return QByteArray("HTTP/1.1 301 Moved Permanently\r\nLocation: https://music.example.org/rest/getArtists.view\r\n"
                              "Content-Length: 0\r\nConnection: close\r\n\r\n");
        return QByteArray("HTTP/1.1 404 Not Found\r\nContent-Type: text/html\r\nContent-Length: 22\r\nConnection: close\r\n\r\n"
                          "<html>not found</html>");
    });
    SubsonicClient client(accountOf(peer));
    const DecodingError cut = failureOf<DecodingError>(callOnce(client, QStringLiteral("getGenres")));
    EXPECT_TRUE(cut.debugDescription().contains(QStringLiteral("DecodingError")));
    EXPECT_NO_THROW(failureOf<DecodingError>(callOnce(client, QStringLiteral("getPlaylists"))));

    const MusicError foreign = failureOf<MusicError>(callOnce(client, QStringLiteral("ping")));
    EXPECT_TRUE(foreign.localizedDescription().contains(QStringLiteral("does not answer as a Subsonic server (HTTP 404)")));

    const MusicError moved = failureOf<MusicError>(callOnce(client, QStringLiteral("getArtists")));
    EXPECT_TRUE(moved.localizedDescription().contains(QStringLiteral("https://music.example.org/rest/getArtists.view")));
    EXPECT_TRUE(moved.localizedDescription().contains(QStringLiteral("Enter that address instead")));
    // Only the one request: the redirect was not followed.
    EXPECT_EQ(peer.requests(), 4);
}

// Song lists are read straight from the answer's text; what that reader does not take fails as
// any answer does.
TEST(SubsonicWire, SongListsThatAreCutShortOrRefusedFailAsEveryOtherAnswer)
{
    ScriptedPeer peer([](const QString &path, const QUrlQuery &query) -> std::optional<QByteArray> {
        if (path.endsWith(u"/ping.view"))
            return ScriptedPeer::ok();
        if (path.endsWith(u"/getPlaylist.view"))
            return ScriptedPeer::failed(70, "Playlist not found");
        if (query.queryItemValue(QStringLiteral("id")) == u"cut")
            return ScriptedPeer::json(R"({"subsonic-response":{"status":"ok","album":{"song":[{"id":"s1","title":"On)");
        return ScriptedPeer::ok(R"("album":{"artist":"Band","song":[{"id":"s2","track":2},{"id":"s1","track":1,"title":"A\u00e9"}]})");
    });
    SubsonicService service(accountOf(peer));
    Album album;
    album.id = MusicItemID(QStringLiteral("cut"));
    EXPECT_NO_THROW(failureOf<DecodingError>([](SubsonicService &service, Album album) -> QCoro::Task<void> {
        co_await service.tracks(album);
    }(service, album)));
    Playlist playlist;
    playlist.id = MusicItemID(QStringLiteral("gone"));
    EXPECT_EQ(failureOf<MusicError>([](SubsonicService &service, Playlist playlist) -> QCoro::Task<void> {
        co_await service.tracks(playlist);
    }(service, playlist)).code(), MusicError::notFound);

    album.id = MusicItemID(QStringLiteral("whole"));
    const QList<Song> songs = runTask(service.tracks(album));
    ASSERT_EQ(songs.size(), 2);
    EXPECT_EQ(songs[0].title, QStringLiteral("A\u00e9"));
    EXPECT_EQ(songs[0].albumArtistName, QStringLiteral("Band"));
}

TEST(SubsonicWire, ASilentServerTimesOutAndNoMoreThanTheBoundAreInFlight)
{
    ScriptedPeer silent([](const QString &, const QUrlQuery &) { return std::optional<QByteArray>(); });
    SubsonicClient client(accountOf(silent));
    client.setMaxInFlight(2);
    client.setTimeoutMilliseconds(300);
    std::vector<QCoro::Task<void>> calls;
    for (int i = 0; i < 5; ++i)
        calls.push_back(callOnce(client, QStringLiteral("getGenres")));
    // Before the first time-out only the bound's worth have reached the server.
    int beforeTimeOut = -1;
    QTimer::singleShot(150, [&] { beforeTimeOut = silent.requests(); });
    int timedOut = 0;
    for (QCoro::Task<void> &call : calls) {
        try {
            runTask(std::move(call));
        } catch (const MusicError &failure) {
            timedOut += failure.localizedDescription().contains(QStringLiteral("did not answer in time")) ? 1 : 0;
        }
    }
    EXPECT_EQ(timedOut, 5);
    EXPECT_EQ(silent.requests(), 5);
    EXPECT_EQ(beforeTimeOut, 2);
}

TEST(SubsonicWire, PlainHttpIsOnlyForThisMachineAndTheLocalNetwork)
{
    for (const char *host : {"127.0.0.1", "localhost", "::1", "192.168.1.20", "10.0.0.5", "172.20.1.1", "nas", "nas.local",
                             "fe80::1", "fd00::5"})
        EXPECT_TRUE(SubsonicClient::isLocalHost(QString::fromLatin1(host))) << host;
    for (const char *host : {"music.example.org", "8.8.8.8", "172.32.0.1", "2001:db8::1"})
        EXPECT_FALSE(SubsonicClient::isLocalHost(QString::fromLatin1(host))) << host;

    SubsonicClient remote({QUrl(QStringLiteral("http://music.example.org")), QStringLiteral("alice"), password, {}});
    const MusicError refused = failureOf<MusicError>(remote.signIn());
    EXPECT_TRUE(refused.localizedDescription().contains(QStringLiteral("https://")));

    EXPECT_EQ(SubsonicClient::normalizedServer(QStringLiteral(" music.example.org/ ")), QUrl(QStringLiteral("https://music.example.org")));
    EXPECT_EQ(SubsonicClient::normalizedServer(QStringLiteral("http://nas:4533/music/rest/")), QUrl(QStringLiteral("http://nas:4533/music")));
    EXPECT_FALSE(SubsonicClient::normalizedServer(QStringLiteral("ftp://nas")).isValid());

    // An address typed without a scheme is tried over HTTPS first; a local server that gives no
    // TLS answer (this one waits for a request that never comes) is reached over plain HTTP. A
    // scheme typed is kept to.
    ScriptedPeer plain([](const QString &, const QUrlQuery &) { return ScriptedPeer::ok(); });
    const QString typed = QStringLiteral("127.0.0.1:%1").arg(plain.root().port());
    SubsonicClient assumed(SubsonicClient::typedAccount(typed, QStringLiteral("alice"), password));
    assumed.setTimeoutMilliseconds(300);
    runTask(assumed.signIn());
    EXPECT_EQ(assumed.account().server.scheme(), u"http");
    EXPECT_EQ(plain.requests(), 1);
    SubsonicClient typedHttps(SubsonicClient::typedAccount(QStringLiteral("https://") + typed, QStringLiteral("alice"), password));
    typedHttps.setTimeoutMilliseconds(300);
    EXPECT_TRUE(failureOf<MusicError>(typedHttps.signIn()).localizedDescription().contains(u"did not answer in time"));
}

TEST(SubsonicWire, CredentialsTravelOnlyInTheRequestNeverInStoredShownOrLoggedText)
{
    ScriptedPeer peer([](const QString &, const QUrlQuery &) { return ScriptedPeer::ok(); });
    SubsonicClient client(accountOf(peer));
    runTask(client.signIn());
    QUrlQuery id;
    id.addQueryItem(QStringLiteral("id"), QStringLiteral("tr-7"));
    const QUrl stream = client.signedURL(QStringLiteral("stream"), id);
    EXPECT_TRUE(QUrlQuery(stream).hasQueryItem(QStringLiteral("t")));

    // What is stored for artwork holds no credentials; the fetch signs it.
    const Artwork cover = *SubsonicItems::artwork(peer.root(), QStringLiteral("al-3"));
    const QUrl stored = cover.url(64, 64);
    EXPECT_EQ(QUrlQuery(stored).queryItemValue(QStringLiteral("size")), QStringLiteral("64"));
    for (const char *key : {"u", "t", "s", "p", "apiKey"})
        EXPECT_FALSE(QUrlQuery(stored).hasQueryItem(QString::fromLatin1(key))) << key;
    const QUrl signedCover = client.signURL(stored);
    EXPECT_TRUE(tokenMatches(QUrlQuery(signedCover)));
    EXPECT_EQ(QUrlQuery(signedCover).queryItemValue(QStringLiteral("id")), QStringLiteral("al-3"));
    EXPECT_EQ(client.signURL(QUrl(QStringLiteral("https://elsewhere.org/a.png"))), QUrl(QStringLiteral("https://elsewhere.org/a.png")));

    // Any line that would carry a signed URL is cleaned on its way into the log.
    const QString cleaned = Log::withoutCredentials(QStringLiteral("Cannot play ") + stream.toString() + QStringLiteral(": 404"));
    EXPECT_FALSE(cleaned.contains(QUrlQuery(stream).queryItemValue(QStringLiteral("t"))));
    EXPECT_TRUE(cleaned.contains(QStringLiteral("id=tr-7")));
    EXPECT_TRUE(cleaned.endsWith(QStringLiteral(": 404")));
    const QString passwordForm = QStringLiteral("GET /rest/ping.view?u=alice&p=enc:733363726574&v=1.10.2");
    EXPECT_FALSE(Log::withoutCredentials(passwordForm).contains(QStringLiteral("733363726574")));
}

TEST(SubsonicWire, AnOpenSubsonicServerListsItsSongsThroughEmptySearchesInPages)
{
    constexpr int total = SubsonicService::songPageSize + 3;
    ScriptedPeer peer([](const QString &path, const QUrlQuery &query) -> std::optional<QByteArray> {
        if (path.endsWith(u"/ping.view"))
            return ScriptedPeer::ok(R"("openSubsonic":true)");
        if (!path.endsWith(u"/search3.view") || !query.queryItemValue(QStringLiteral("query")).isEmpty())
            return ScriptedPeer::failed(0, "unexpected");
        const int offset = query.queryItemValue(QStringLiteral("songOffset")).toInt();
        return songPage(offset, std::min(query.queryItemValue(QStringLiteral("songCount")).toInt(), total - offset));
    });
    SubsonicService service(accountOf(peer));
    ASSERT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::authorized);
    const LibraryPage<Song> first = runTask(service.librarySongs(0, 1000));
    ASSERT_EQ(first.totalCount, total);
    EXPECT_EQ(first.items.last().title, QStringLiteral("Song %1").arg(total - 1));
    EXPECT_EQ(first.items.first().genreNames, (QStringList{QStringLiteral("Jazz"), QStringLiteral("Soul")}));
    EXPECT_EQ(first.items.first().duration, 61);
    // Two pages of songs, and the later page of the sync comes from the same listing.
    const int requests = peer.requests();
    EXPECT_EQ(runTask(service.librarySongs(500, 1000)).items.size(), 3);
    EXPECT_EQ(peer.requests(), requests);
}

TEST(SubsonicWire, AClassicServersEmptySearchIsTakenOnlyWhenWholeAndListsWhatAlbumByAlbumLists)
{
    // Album a0 by Ann holds songs 0-499, a1 by Bob 500-599, on the wire last track first. The
    // empty search lists them in another order (a step of 7 through all 600), or one short.
    constexpr int total = 600;
    int searchable = total;
    bool searchBroken = false;
    QHash<QString, int> asked;
    auto song = [](int i) {
        return R"({"id":"s)" + QByteArray::number(i) + R"(","title":"Song )" + QByteArray::number(i) + R"(","albumId":"a)" +
               QByteArray::number(i / 500) + R"(","track":)" + QByteArray::number(i % 500 + 1) + "}";
    };
    ScriptedPeer peer([&](const QString &path, const QUrlQuery &query) -> std::optional<QByteArray> {
        const QString method = path.section(u'/', -1).section(u'.', 0, 0);
        ++asked[method];
        if (method == u"ping")
            return ScriptedPeer::ok();
        if (method == u"getAlbumList2")
            return ScriptedPeer::ok(R"("albumList2":{"album":[{"id":"a0","name":"A","artist":"Ann","songCount":500},)"
                                    R"({"id":"a1","name":"B","artist":"Bob","songCount":100}]})");
        QByteArray songs;
        if (method == u"search3" && searchBroken)
            return ScriptedPeer::json(R"({"subsonic-response":{"status":"ok","searchResult3":{"song":[{"id")");
        if (method == u"search3") {
            const int offset = query.queryItemValue(QStringLiteral("songOffset")).toInt();
            for (int i = offset; i < std::min(searchable, offset + SubsonicService::songPageSize); ++i)
                songs += (songs.isEmpty() ? "" : ",") + song(i * 7 % total);
            return ScriptedPeer::ok(R"("searchResult3":{"song":[)" + songs + "]}");
        }
        if (method == u"getAlbum") {
            const int album = query.queryItemValue(QStringLiteral("id")).mid(1).toInt();
            for (int i = album ? total - 1 : 499; i >= album * 500; --i)
                songs += (songs.isEmpty() ? "" : ",") + song(i);
            return ScriptedPeer::ok(R"("album":{"artist":")" + QByteArray(album ? "Bob" : "Ann") + R"(","song":[)" + songs + "]}");
        }
        return ScriptedPeer::failed(0, "unexpected");
    });
    SubsonicService service(accountOf(peer));
    ASSERT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::authorized);
    // Each listing starts anew, as after Update Library.
    auto listAll = [&service] {
        runTask(service.readLibraryAgain());
        service.beginLibraryListing();
        return runTask(service.librarySongs(0, 1000)).items;
    };

    // Whole: two pages of the search and no album asked for, each told as it came in.
    QList<std::pair<int, int>> told;
    QObject::connect(&service, &MusicService::librarySongsListed, [&told](int listed, int expected) { told.append({listed, expected}); });
    const QList<Song> searched = listAll();
    EXPECT_EQ(asked.value(QStringLiteral("search3")), 2);
    EXPECT_EQ(asked.value(QStringLiteral("getAlbum")), 0);
    EXPECT_EQ(told, (QList<std::pair<int, int>>{{500, total}, {total, total}}));

    // One short: album by album, and not searched again this session.
    searchable = total - 1;
    asked.clear();
    const QList<Song> byAlbum = listAll();
    EXPECT_EQ(asked.value(QStringLiteral("getAlbum")), 2);
    asked.clear();
    EXPECT_EQ(listAll().size(), total);
    EXPECT_EQ(asked.value(QStringLiteral("search3")), 0);

    // Both ways give the same songs in the same order, album artists included.
    ASSERT_EQ(byAlbum.size(), total);
    EXPECT_EQ(byAlbum[0].title, u"Song 0");
    EXPECT_EQ(byAlbum[599].albumArtistName, QStringLiteral("Bob"));
    EXPECT_EQ(searched, byAlbum);

    // A search answer that does not read sends the listing album by album as well.
    searchBroken = true;
    SubsonicService another(accountOf(peer));
    another.beginLibraryListing();
    EXPECT_EQ(runTask(another.librarySongs(0, 1000)).items, byAlbum);
}

TEST(SubsonicWire, AServerThatIgnoresTheOffsetEndsTheListingInsteadOfRepeatingItsFirstPageForever)
{
    ScriptedPeer peer([](const QString &path, const QUrlQuery &) -> std::optional<QByteArray> {
        if (path.endsWith(u"/ping.view"))
            return ScriptedPeer::ok(R"("openSubsonic":true)");
        return songPage(0, SubsonicService::songPageSize);
    });
    SubsonicService service(accountOf(peer));
    ASSERT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::authorized);
    LogStore::shared().clear();
    const LibraryPage<Song> listed = runTask(service.librarySongs(0, 5 * SubsonicService::songPageSize));
    EXPECT_EQ(listed.totalCount, SubsonicService::songPageSize);
    EXPECT_EQ(peer.requests(), 3); // the ping, the first page and its repetition
    ASSERT_EQ(LogStore::shared().entries().size(), 1);
}

TEST(SubsonicWire, AShareLinkIsTheServersOwnWithoutCredentialsAndAServerWithoutSharesSaysSo)
{
    // The server's link, as a careless server might give it: with the asking user's credentials.
    QString sharing = QStringLiteral("on");
    ScriptedPeer peer([&sharing](const QString &path, const QUrlQuery &query) -> std::optional<QByteArray> {
        if (path.endsWith(u"/ping.view"))
            return ScriptedPeer::ok();
        if (!path.endsWith(u"/createShare.view"))
            return ScriptedPeer::failed(70, "Not found");
        if (sharing == u"off")
            return ScriptedPeer::failed(0, "Sharing is disabled");
        if (sharing == u"forbidden")
            return ScriptedPeer::failed(50, "User is not allowed to share");
        if (sharing == u"unknown")
            return QByteArray("HTTP/1.1 404 Not Found\r\nContent-Length: 9\r\nConnection: close\r\n\r\nNot Found");
        return ScriptedPeer::ok(R"("shares":{"share":[{"id":"9","url":"https://alice:pw@music.example.org/share/Ab3?u=alice&t=)" +
                                query.queryItemValue(QStringLiteral("t")).toUtf8() + R"(&s=x&p=enc:00&apiKey=k&lang=en","songs":[]}]})");
    });
    SubsonicService service(accountOf(peer));
    ASSERT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::authorized);
    EXPECT_TRUE(service.makesShareLinks());
    const QUrl link = runTask(service.makeShareLink(MusicItemID(QStringLiteral("song-1"))));
    EXPECT_EQ(link, QUrl(QStringLiteral("https://music.example.org/share/Ab3?lang=en")));
    EXPECT_EQ(peer.queries().last().queryItemValue(QStringLiteral("id")), QStringLiteral("song-1"));

    const struct {
        QString sharing;
        QString expected;
    } refusals[] = {
        {QStringLiteral("off"), QStringLiteral("does not make share links")},
        {QStringLiteral("unknown"), QStringLiteral("does not make share links")},
        {QStringLiteral("forbidden"), QStringLiteral("is not allowed")},
    };
    for (const auto &each : refusals) {
        sharing = each.sharing;
        try {
            runTask(service.makeShareLink(MusicItemID(QStringLiteral("song-1"))));
            ADD_FAILURE() << each.sharing.toStdString() << ": a link was made";
        } catch (const MusicError &error) {
            EXPECT_TRUE(error.localizedDescription().contains(each.expected)) << error.localizedDescription().toStdString();
            EXPECT_FALSE(error.localizedDescription().contains(password));
        }
    }
}

TEST(SubsonicWire, SongPagesAreHandedOutAsTheirAlbumsArriveAndPlaylistsAreFetchedAllAtOnceWhenListed)
{
    // 40 albums of 2 songs; from the 20th on the server stays silent (until the time-out).
    constexpr int albums = 40;
    ScriptedPeer peer([](const QString &path, const QUrlQuery &query) -> std::optional<QByteArray> {
        if (path.endsWith(u"/ping.view"))
            return ScriptedPeer::ok();
        if (path.endsWith(u"/getAlbumList2.view")) {
            QByteArray list;
            for (int a = query.queryItemValue(QStringLiteral("offset")).toInt(); a < albums; ++a)
                list += (list.isEmpty() ? "" : ",") + QByteArray(R"({"id":"al)") + QByteArray::number(a) + R"(","name":"Album )" +
                        QByteArray::number(a) + R"(","songCount":2})";
            return ScriptedPeer::ok(R"("albumList2":{"album":[)" + list + "]}");
        }
        if (path.endsWith(u"/getAlbum.view")) {
            const int a = query.queryItemValue(QStringLiteral("id")).mid(2).toInt();
            if (a >= 20)
                return std::nullopt;
            // Second track first on the wire: the album's own order is by track.
            const QByteArray id = QByteArray::number(a);
            return ScriptedPeer::ok(R"("album":{"id":"al)" + id + R"(","song":[{"id":"s)" + id + R"(-2","title":"t","track":2},)" +
                                    R"({"id":"s)" + id + R"(-1","title":"t","track":1}]})");
        }
        if (path.endsWith(u"/getPlaylists.view"))
            return ScriptedPeer::ok(R"("playlists":{"playlist":[{"id":"p1","name":"One"},{"id":"p2","name":"Two"}]})");
        if (path.endsWith(u"/getPlaylist.view")) {
            const QByteArray id = query.queryItemValue(QStringLiteral("id")).toUtf8();
            return ScriptedPeer::ok(R"("playlist":{"id":")" + id + R"(","entry":[{"id":")" + id + R"(-b","title":"b"},{"id":")" + id +
                                    R"(-a","title":"a"}]})");
        }
        return ScriptedPeer::failed(0, "unexpected");
    });
    SubsonicService service(accountOf(peer));
    ASSERT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::authorized);
    service.client().setTimeoutMilliseconds(1500);

    // Listing the playlists starts fetching their songs; asking for them sends nothing more.
    ASSERT_EQ(runTask(service.libraryPlaylists(0, 100)).items.size(), 2);
    const auto playlistRequests = [&peer] {
        int count = 0;
        for (const QUrlQuery &query : peer.queries())
            count += query.hasQueryItem(QStringLiteral("id")) && query.queryItemValue(QStringLiteral("id")).startsWith(u'p');
        return count;
    };
    for (const char *id : {"p2", "p1"}) {
        Playlist playlist;
        playlist.id = MusicItemID(QString::fromLatin1(id));
        const QList<Song> songs = runTask(service.tracks(playlist));
        ASSERT_EQ(songs.size(), 2);
        EXPECT_EQ(songs[0].id.rawValue(), QString::fromLatin1(id) + QStringLiteral("-b"));
    }
    EXPECT_EQ(playlistRequests(), 2);

    // The first page comes while later albums are still unanswered, in the albums' order, and
    // says more is coming.
    runTask(service.libraryAlbums(0, 0));
    const LibraryPage<Song> first = runTask(service.librarySongs(0, 10));
    ASSERT_EQ(first.items.size(), 10);
    EXPECT_EQ(first.items[0].id.rawValue(), QStringLiteral("s0-1"));
    EXPECT_EQ(first.items[9].id.rawValue(), QStringLiteral("s4-2"));
    EXPECT_TRUE(first.hasMore());
    EXPECT_GE(first.totalCount, albums * 2);
    // A page past the silent albums fails with the time-out, and the next listing starts anew.
    try {
        runTask(service.librarySongs(40, 10));
        ADD_FAILURE() << "a page of unanswered albums was handed out";
    } catch (const MusicError &error) {
        EXPECT_TRUE(error.localizedDescription().contains(QStringLiteral("did not answer in time"))) << error.localizedDescription().toStdString();
    }
}

TEST(SubsonicWire, AWholeListingAsksForEachListOnceHoweverManyWaitForItAndAFailedListIsAskedForAgain)
{
    QHash<QString, int> asked;
    bool albumsFail = true;
    ScriptedPeer peer([&asked, &albumsFail](const QString &path, const QUrlQuery &query) -> std::optional<QByteArray> {
        const QString method = path.section(u'/', -1).section(u'.', 0, 0);
        ++asked[method];
        if (method == u"ping")
            return ScriptedPeer::ok();
        if (method == u"getPlaylists")
            return ScriptedPeer::ok(R"("playlists":{"playlist":[{"id":"p1","name":"One"}]})");
        if (method == u"getPlaylist")
            return ScriptedPeer::ok(R"("playlist":{"id":"p1","entry":[{"id":"s1-1","title":"t"}]})");
        if (method == u"getArtists")
            return ScriptedPeer::ok(R"("artists":{"index":[{"name":"A","artist":[{"id":"ar1","name":"Ann"}]}]})");
        if (method == u"getAlbumList2")
            return albumsFail ? ScriptedPeer::failed(0, "busy") : ScriptedPeer::ok(R"("albumList2":{"album":[{"id":"al1","name":"One","songCount":2},{"id":"al2","name":"Two","songCount":1}]})");
        if (method == u"getAlbum") {
            const QByteArray id = query.queryItemValue(QStringLiteral("id")).toUtf8();
            return ScriptedPeer::ok(R"("album":{"id":")" + id + R"(","song":[{"id":"s)" + id + R"(-1","title":"t"})" +
                                    (id == "al1" ? R"(,{"id":"sal1-2","title":"t","track":2})" : "") + "]}");
        }
        return ScriptedPeer::failed(0, "unexpected");
    });
    SubsonicService service(accountOf(peer));
    ASSERT_EQ(runTask(service.requestAuthorization()), MusicAuthorizationStatus::authorized);

    // The songs' listing needs the albums', which fails: it says so, and the failure is not kept:
    // the next call asks anew.
    service.beginLibraryListing();
    EXPECT_THROW(runTask(service.librarySongs(0, 10)), MusicError);
    EXPECT_EQ(asked.value(QStringLiteral("getAlbumList2")), 1);
    EXPECT_THROW(runTask(service.libraryAlbums(0, 10)), MusicError);
    EXPECT_EQ(asked.value(QStringLiteral("getAlbumList2")), 2);

    // Asked again, each list is fetched once, though the songs and the sync both wait for albums.
    albumsFail = false;
    service.beginLibraryListing();
    const LibraryPage<Song> songs = runTask(service.librarySongs(0, 10));
    ASSERT_EQ(songs.items.size(), 3);
    EXPECT_EQ(songs.items[1].id.rawValue(), QStringLiteral("sal1-2"));
    EXPECT_EQ(songs.items[2].id.rawValue(), QStringLiteral("sal2-1"));
    EXPECT_EQ(runTask(service.libraryAlbums(0, 10)).items.size(), 2);
    EXPECT_EQ(runTask(service.libraryArtists(0, 10)).items.first().name, QStringLiteral("Ann"));
    EXPECT_EQ(runTask(service.libraryPlaylists(0, 10)).items.first().name, QStringLiteral("One"));
    Playlist one;
    one.id = MusicItemID(QStringLiteral("p1"));
    EXPECT_EQ(runTask(service.tracks(one)).size(), 1);
    EXPECT_EQ(asked.value(QStringLiteral("getAlbumList2")), 3);
    EXPECT_EQ(asked.value(QStringLiteral("getAlbum")), 2);
    EXPECT_EQ(asked.value(QStringLiteral("getArtists")), 1);
    EXPECT_EQ(asked.value(QStringLiteral("getPlaylists")), 1);
    EXPECT_EQ(asked.value(QStringLiteral("getPlaylist")), 1);

    // A service that has not signed in yet when every list is asked for signs in once for all.
    asked.clear();
    SubsonicService fresh(accountOf(peer));
    fresh.beginLibraryListing();
    EXPECT_EQ(runTask(fresh.librarySongs(0, 10)).items.size(), 3);
    EXPECT_EQ(runTask(fresh.libraryPlaylists(0, 10)).items.size(), 1);
    EXPECT_EQ(asked.value(QStringLiteral("ping")), 1);

    // A listing stays while a sync keeps using it, however long that takes, and goes two idle
    // minutes later: the next listing asks again.
    ManualClock clock;
    Clock::setShared(&clock);
    const auto restoreClock = qScopeGuard([] { Clock::setShared(nullptr); });
    SubsonicService timed(accountOf(peer));
    timed.beginLibraryListing();
    runTask(timed.librarySongs(0, 10));
    asked.clear();
    for (int use = 0; use < 3; ++use) {
        clock.advance(100);
        runTask(timed.libraryAlbums(0, 10));
    }
    EXPECT_EQ(asked.value(QStringLiteral("getAlbumList2")), 0);
    clock.advance(121);
    runTask(timed.libraryAlbums(0, 10));
    EXPECT_EQ(asked.value(QStringLiteral("getAlbumList2")), 1);
}

TEST(SubsonicWire, DatesAndCoverURLsReadAsTheGeneralReadersReadThemWhateverFormTheServerWrites)
{
    const QUrl server(QStringLiteral("https://music.example.org/sub"));
    // What Qt's general ISO reader makes of a time, a zone-less one taken as UTC.
    const auto general = [](const QString &text) -> std::optional<QDateTime> {
        QDateTime parsed = QDateTime::fromString(text, Qt::ISODateWithMs);
        if (!parsed.isValid())
            return std::nullopt;
        if (parsed.timeSpec() == Qt::LocalTime)
            parsed.setTimeZone(QTimeZone::utc());
        return parsed.toUTC();
    };
    for (const char *text : {"2024-03-01T10:00:00Z", "2024-03-01T10:00:00.123Z", "2024-03-01T10:00:00.5+02:00",
                             "2024-03-01T23:30:00-01:30", "2024-03-01T10:00:00+0530", "2024-03-01T10:00:00",
                             "2024-03-01T10:00:00.123456Z", "2024-12-31T23:59:59.999-12:00", "2024-02-30T10:00:00Z",
                             "2024-03-01T25:00:00Z", "2024-03-01T10:00:00.Z", "2024-03-01T10:00:00+02", "2024-03-01",
                             "2024-03-01T10:00", "not a date"}) {
        QJsonObject child{{QStringLiteral("id"), QStringLiteral("s1")}, {QStringLiteral("created"), QString::fromLatin1(text)}};
        const Song song = SubsonicItems::song(child, server);
        const std::optional<QDateTime> expected = general(QString::fromLatin1(text));
        ASSERT_EQ(song.libraryAddedDate.has_value(), expected.has_value()) << text;
        if (expected) {
            EXPECT_EQ(song.libraryAddedDate->toMSecsSinceEpoch(), expected->toMSecsSinceEpoch()) << text;
        }
    }
    const Song dated = SubsonicItems::song(QJsonObject{{QStringLiteral("year"), 1999}}, server);
    EXPECT_EQ(dated.releaseDate, QDateTime(QDate(1999, 1, 1), QTime(0, 0), QTimeZone::utc()));

    // Cover URLs as a QUrl makes them, whether or not the id needs encoding.
    for (const char *id : {"al-3_x.y~z", "a b&c=d#e", "ü/ö?", "mf-1:2"}) {
        QUrl url = server;
        url.setPath(url.path() + QStringLiteral("/rest/getCoverArt.view"));
        url.setQuery(QUrlQuery{{QStringLiteral("id"), QString::fromUtf8(id)}});
        EXPECT_EQ(SubsonicItems::artwork(server, QString::fromUtf8(id))->urlTemplate(),
                  url.toString(QUrl::FullyEncoded) + QStringLiteral("&size={w}"))
            << id;
    }
}

// A music server's answers on arbitrary bytes: the input is the body of every answer but the
// sign-in's, served over loopback HTTP, and the server backend is asked for everything the app
// asks of it (the library's lists and pages, a playlist's, an album's and an artist's songs, the
// recommendations, a station, the search, the revision). Each call must end in its value or an
// error, never in a fault or a hang.

#include "FuzzKit.h"

#include "Platform/Subsonic/SubsonicService.h"
#include "ScriptedPeer.h"

#include <QCoroTask>

#include <cstdio>

namespace {

// Any error the backend throws is an answer; only a fault or a hang is a finding. The error is
// caught inside the awaited coroutine: QCoro's waitFor never returns from a task that throws.
template <typename T>
QCoro::Task<void> settled(QCoro::Task<T> task)
{
    try {
        co_await std::move(task);
    } catch (...) {
    }
}

template <typename T>
void ask(QCoro::Task<T> task)
{
    QCoro::waitFor(settled(std::move(task)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzKit::setUp();
    static QByteArray body;
    static ScriptedPeer *peer = new ScriptedPeer([](const QString &path, const QUrlQuery &) -> std::optional<QByteArray> {
        if (path.endsWith(QLatin1String("/ping.view")))
            return ScriptedPeer::ok(R"("type":"fuzz","openSubsonic":true)");
        return ScriptedPeer::json(body);
    });
    body = FuzzKit::bytes(data, size);

    SubsonicService service(SubsonicAccount{peer->root(), QStringLiteral("fuzz"), QStringLiteral("secret"), {}});
    service.client().setTimeoutMilliseconds(500);
    ask(service.requestAuthorization());
    ask(service.libraryRevision());
    ask(service.libraryPlaylists(0, 100));
    ask(service.libraryArtists(0, 100));
    ask(service.libraryAlbums(0, 100));
    ask(service.librarySongs(0, 100));
    ask(service.librarySongsAdded(QDateTime::fromSecsSinceEpoch(0)));
    ask(service.tracks(Playlist{MusicItemID(QStringLiteral("p1")), QStringLiteral("P"), {}, {}, {}, {}, {}}));
    Album album;
    album.id = MusicItemID(QStringLiteral("al1"));
    ask(service.tracks(album));
    Artist artist;
    artist.id = MusicItemID(QStringLiteral("ar1"));
    ask(service.tracks(artist));
    ask(service.personalRecommendations());
    ask(service.stationSongs(Station{MusicItemID(QStringLiteral("genre:Rock")), QStringLiteral("Rock"), {}, {}}, 10));
    ask(service.searchCatalog(QStringLiteral("a"), 10));
    ask(service.catalogArtistWithTopSongs(MusicItemID(QStringLiteral("ar1"))));
    if (qEnvironmentVariableIsSet("LUMEVAR_FUZZ_LOG"))
        std::fprintf(stderr, "%d requests answered so far\n", peer->requests());
    return 0;
}

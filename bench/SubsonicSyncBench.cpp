// The first full sync of a 10,000-song Subsonic server (1,000 albums of 10 songs, 300 artists,
// 20 playlists) into an empty store, against its floor: the same pages fetched raw, with the same
// bound on requests in flight, neither parsed nor stored. The server is synthetic, on loopback,
// in a thread of its own, answering prepared bytes, so the figures are the client's. The sync and
// its floor run in turns, pair after pair, so that a change in the machine's load touches both.
// The sync's time runs from opening the new store (while signing in, as the app does at launch)
// to the Songs list read back from it, which is what the window shows when a first sync ends; closing the store (a quit's work, which folds the
// log back and saves the song records) is timed apart.
// Also the time from asking to play a streamed song to mpv's position > 0, through the same
// server (a WAV file as the stream, mpv's null output).
//   cmake --build build/default --target SubsonicSyncBench && build/default/bench/SubsonicSyncBench
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Platform/Music/MpvAudioEngine.h"
#include "Platform/Subsonic/SubsonicService.h"
#include "Common/BenchMain.h"
#include "Support/WaitForTask.h"

#include <QCoreApplication>
#include <QCoroNetworkReply>
#include <QCoroTimer>
#include <QtEndian>
#include <QEventLoop>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QThread>
#include <QUrlQuery>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <clocale>
#include <ctime>
#include <deque>
#include <memory>

namespace {

constexpr int albumCount = 1000;
constexpr int songsPerAlbum = 10;
constexpr int artistCount = 300;
constexpr int playlistCount = 20;
constexpr int inFlight = 6;

QByteArray envelope(const QByteArray &members)
{
    return R"({"subsonic-response":{"status":"ok","version":"1.16.1",)" + members + "}}";
}

QByteArray albumJson(int a)
{
    return R"({"id":"al-)" + QByteArray::number(a) + R"(","name":"Album )" + QByteArray::number(a) + R"(","artist":"Artist )" +
           QByteArray::number(a % artistCount) + R"(","artistId":"ar-)" + QByteArray::number(a % artistCount) +
           R"(","coverArt":"al-)" + QByteArray::number(a) + R"(","songCount":10,"duration":2400,"created":"2024-03-01T10:00:00Z","year":)" +
           QByteArray::number(1970 + a % 50) + R"(,"genre":"Genre )" + QByteArray::number(a % 12) + "\"}";
}

QByteArray songJson(int a, int t)
{
    const QByteArray id = QByteArray::number(a * songsPerAlbum + t);
    return R"({"id":"tr-)" + id + R"(","parent":"al-)" + QByteArray::number(a) + R"(","title":"Song )" + id +
           R"( of the album","album":"Album )" + QByteArray::number(a) + R"(","artist":"Artist )" + QByteArray::number(a % artistCount) +
           R"(","track":)" + QByteArray::number(t + 1) + R"(,"discNumber":1,"year":)" + QByteArray::number(1970 + a % 50) +
           R"(,"genre":"Genre )" + QByteArray::number(a % 12) + R"(","coverArt":"al-)" + QByteArray::number(a) +
           R"(","duration":240,"created":"2024-03-01T10:00:00Z","albumId":"al-)" + QByteArray::number(a) + "\"}";
}

// Two seconds of a quiet tone, 16-bit mono at 44.1 kHz, as a WAV file.
QByteArray waveFile()
{
    constexpr int rate = 44100, samples = 2 * rate;
    QByteArray data(samples * 2, Qt::Uninitialized);
    for (int i = 0; i < samples; ++i)
        qToLittleEndian<qint16>(qint16((i % 100) * 20 - 1000), data.data() + 2 * i);
    QByteArray file = "RIFF" + QByteArray(4, 0) + "WAVEfmt " + QByteArray(20, 0) + "data" + QByteArray(4, 0) + data;
    char *h = file.data();
    qToLittleEndian<quint32>(quint32(file.size() - 8), h + 4);
    qToLittleEndian<quint32>(16, h + 16);
    qToLittleEndian<quint16>(1, h + 20); // PCM
    qToLittleEndian<quint16>(1, h + 22); // mono
    qToLittleEndian<quint32>(rate, h + 24);
    qToLittleEndian<quint32>(rate * 2, h + 28);
    qToLittleEndian<quint16>(2, h + 32);
    qToLittleEndian<quint16>(16, h + 34);
    qToLittleEndian<quint32>(quint32(data.size()), h + 40);
    return file;
}

// Every answer the sync asks for, made once.
struct Answers {
    QHash<QByteArray, QByteArray> byKey; // "method" or "method?id" or "getAlbumList2?offset"
    Answers()
    {
        byKey.insert("ping", envelope(R"("x":0)"));
        byKey.insert("stream", waveFile());
        byKey.insert("getIndexes", envelope(R"("indexes":{"lastModified":1700000000000,"index":[]})"));
        QByteArray playlists;
        for (int p = 0; p < playlistCount; ++p) {
            playlists += (p ? "," : "") + QByteArray(R"({"id":"pl-)") + QByteArray::number(p) + R"(","name":"Playlist )" +
                         QByteArray::number(p) + R"(","songCount":50,"changed":"2024-03-01T10:00:00Z","created":"2024-03-01T10:00:00Z"})";
            QByteArray entries;
            for (int e = 0; e < 50; ++e)
                entries += (e ? "," : "") + songJson((p * 37 + e * 11) % albumCount, e % songsPerAlbum);
            byKey.insert("getPlaylist?pl-" + QByteArray::number(p),
                         envelope(R"("playlist":{"id":"pl-)" + QByteArray::number(p) + R"(","name":"Playlist","entry":[)" + entries + "]}"));
        }
        byKey.insert("getPlaylists", envelope(R"("playlists":{"playlist":[)" + playlists + "]}"));
        QByteArray artists;
        for (int r = 0; r < artistCount; ++r)
            artists += (r ? "," : "") + QByteArray(R"({"id":"ar-)") + QByteArray::number(r) + R"(","name":"Artist )" +
                       QByteArray::number(r) + R"(","albumCount":3})";
        byKey.insert("getArtists", envelope(R"("artists":{"index":[{"name":"A","artist":[)" + artists + "]}]}"));
        for (int offset = 0; offset <= albumCount; offset += SubsonicService::albumPageSize) {
            QByteArray albums;
            for (int a = offset; a < std::min(albumCount, offset + SubsonicService::albumPageSize); ++a)
                albums += (a > offset ? "," : "") + albumJson(a);
            byKey.insert("getAlbumList2?" + QByteArray::number(offset), envelope(R"("albumList2":{"album":[)" + albums + "]}"));
        }
        for (int a = 0; a < albumCount; ++a) {
            QByteArray songs;
            for (int t = 0; t < songsPerAlbum; ++t)
                songs += (t ? "," : "") + songJson(a, t);
            QByteArray album = albumJson(a);
            album.chop(1);
            byKey.insert("getAlbum?al-" + QByteArray::number(a), envelope(R"("album":)" + album + R"(,"song":[)" + songs + "]}"));
        }
    }
};

// The server: keep-alive HTTP/1.1 on loopback in its own thread.
class Server : public QObject {
public:
    explicit Server(const Answers &answers) : m_answers(answers), m_server(this) {}
    quint16 listen()
    {
        m_server.listen(QHostAddress::LocalHost);
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = m_server.nextPendingConnection()) {
                socket->setParent(this);
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { serve(socket); });
            }
        });
        return m_server.serverPort();
    }

private:
    void serve(QTcpSocket *socket)
    {
        QByteArray &buffer = m_buffers[socket];
        buffer += socket->readAll();
        qsizetype end;
        while ((end = buffer.indexOf("\r\n\r\n")) >= 0) {
            const QByteArray line = buffer.left(buffer.indexOf("\r\n"));
            buffer.remove(0, end + 4);
            const QUrl url(QStringLiteral("http://x") + QString::fromLatin1(line.split(' ').value(1)));
            const QUrlQuery query(url);
            QByteArray method = url.path().section(u'/', -1).section(u'.', 0, 0).toLatin1();
            QByteArray key = method;
            if (method == "getAlbum" || method == "getPlaylist")
                key += "?" + query.queryItemValue(QStringLiteral("id")).toLatin1();
            else if (method == "getAlbumList2")
                key += "?" + query.queryItemValue(QStringLiteral("offset")).toLatin1();
            const QByteArray body = m_answers.byKey.value(key, envelope(R"("x":1)"));
            const QByteArray type = method == "stream" ? "audio/wav" : "application/json";
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: " + type + "\r\nContent-Length: " + QByteArray::number(body.size()) +
                          "\r\n\r\n" + body);
        }
    }

    const Answers &m_answers;
    QTcpServer m_server;
    QHash<QTcpSocket *, QByteArray> m_buffers;
};

struct Fixture {
    Answers answers;
    QThread thread;
    std::unique_ptr<Server> server;
    QUrl root;
    Fixture()
    {
        server = std::make_unique<Server>(answers);
        const quint16 port = server->listen();
        server->moveToThread(&thread);
        thread.start();
        root = QUrl(QStringLiteral("http://127.0.0.1:%1").arg(port));
    }
};

// Made at the first use and left to the end of the process with its thread.
Fixture &fixture()
{
    static Fixture *instance = new Fixture;
    return *instance;
}

// A task run to its end from the benchmark's loop; what it throws is rethrown.
template <typename T>
T run(QCoro::Task<T> task)
{
    return waitForTask(std::move(task));
}

// The moment the sync's list was read back, on each of the three clocks.
struct Moment {
    std::chrono::steady_clock::time_point wall;
    double threadCpu = 0;
    double processCpu = 0;
};
Moment momentNow();

// Where a sync is measured: the server and the account the sync signs in with.
struct Target {
    QUrl root;
    QString user;
    QString password;
};

QCoro::Task<int> syncOnce(Target target, int *requests, Moment *listed)
{
    QTemporaryDir dir;
    LocalDatabase database(dir.filePath(QStringLiteral("local.db")));
    // The store opens while the service signs in, as at the app's launch.
    QCoro::Task<void> opening = database.open();
    SubsonicService service(SubsonicAccount{target.root, target.user, target.password, {}});
    co_await service.requestAuthorization();
    co_await std::move(opening);
    SyncEngine engine(database, service);
    co_await engine.syncAll(nullptr);
    *requests = service.client().requestCount();
    const QList<LocalSong> songs = co_await database.allLibrarySongs({LocalSong::SortKey::title});
    *listed = momentNow();
    co_await database.close();
    co_return int(songs.size());
}

// The methods (with their own parameters) the sync of the synthetic server asks for.
QStringList syntheticPages()
{
    QStringList paths = {QStringLiteral("ping"), QStringLiteral("getPlaylists"), QStringLiteral("getArtists"),
                         QStringLiteral("search3?query=&artistCount=0&albumCount=0&songCount=%1&songOffset=0").arg(SubsonicService::songPageSize)};
    for (int offset = 0; offset <= albumCount; offset += SubsonicService::albumPageSize)
        paths.append(QStringLiteral("getAlbumList2?type=alphabeticalByName&size=%1&offset=%2").arg(SubsonicService::albumPageSize).arg(offset));
    for (int a = 0; a < albumCount; ++a)
        paths.append(QStringLiteral("getAlbum?id=al-%1").arg(a));
    for (int p = 0; p < playlistCount; ++p)
        paths.append(QStringLiteral("getPlaylist?id=pl-%1").arg(p));
    return paths;
}

QUrl pageURL(const Target &target, const QString &path)
{
    const QString method = path.section(u'?', 0, 0);
    const QString query = path.section(u'?', 1);
    QUrlQuery credentials;
    credentials.addQueryItem(QStringLiteral("u"), target.user);
    credentials.addQueryItem(QStringLiteral("p"), target.password);
    return QUrl(target.root.toString() + QStringLiteral("/rest/") + method + QStringLiteral(".view?") +
                credentials.query(QUrl::FullyEncoded) + QStringLiteral("&v=1.16.1&c=bench&f=json&") + query);
}

// The same pages, fetched raw at the same bound in flight.
QCoro::Task<int> fetchRaw(Target target, QStringList paths)
{
    QNetworkAccessManager network;
    qint64 bytes = 0;
    std::deque<std::unique_ptr<QNetworkReply>> window;
    auto finishOne = [&]() -> QCoro::Task<void> {
        std::unique_ptr<QNetworkReply> reply = std::move(window.front());
        window.pop_front();
        co_await reply.get();
        bytes += reply->readAll().size();
    };
    for (const QString &path : paths) {
        window.emplace_back(network.get(QNetworkRequest(pageURL(target, path))));
        if (window.size() >= size_t(inFlight))
            co_await finishOne();
    }
    while (!window.empty())
        co_await finishOne();
    co_return int(paths.size());
}

// The pages a sync of a real server asks for, read (untimed) from its lists: its albums page by
// page, then its songs through empty searches where those list them all (as the sync checks),
// else album by album, and every playlist.
QCoro::Task<QStringList> serverPages(Target target)
{
    QNetworkAccessManager network;
    auto answer = [&](QString path) -> QCoro::Task<QJsonObject> {
        std::unique_ptr<QNetworkReply> reply(network.get(QNetworkRequest(pageURL(target, path))));
        co_await reply.get();
        co_return QJsonDocument::fromJson(reply->readAll()).object().value(QStringLiteral("subsonic-response")).toObject();
    };
    auto searchPage = [](int offset) {
        return QStringLiteral("search3?query=&artistCount=0&albumCount=0&songCount=%1&songOffset=%2").arg(SubsonicService::songPageSize).arg(offset);
    };
    QStringList paths = {QStringLiteral("ping"), QStringLiteral("getPlaylists"), QStringLiteral("getArtists")};
    QStringList albums;
    int announced = 0;
    for (int offset = 0;; offset += SubsonicService::albumPageSize) {
        const QString page = QStringLiteral("getAlbumList2?type=alphabeticalByName&size=%1&offset=%2").arg(SubsonicService::albumPageSize).arg(offset);
        paths.append(page);
        const QJsonArray listed = (co_await answer(page)).value(QStringLiteral("albumList2")).toObject().value(QStringLiteral("album")).toArray();
        for (const QJsonValue &album : listed) {
            albums.append(QStringLiteral("getAlbum?id=") + album.toObject().value(QStringLiteral("id")).toString());
            announced += album.toObject().value(QStringLiteral("songCount")).toInt();
        }
        if (listed.size() < SubsonicService::albumPageSize)
            break;
    }
    const QJsonArray searched = (co_await answer(searchPage(0))).value(QStringLiteral("searchResult3")).toObject().value(QStringLiteral("song")).toArray();
    if (searched.size() == std::min(announced, SubsonicService::songPageSize)) {
        for (int offset = 0; offset <= announced; offset += SubsonicService::songPageSize)
            paths.append(searchPage(offset));
    } else {
        paths += albums;
    }
    const QJsonArray playlists =
        (co_await answer(QStringLiteral("getPlaylists"))).value(QStringLiteral("playlists")).toObject().value(QStringLiteral("playlist")).toArray();
    for (const QJsonValue &playlist : playlists)
        paths.append(QStringLiteral("getPlaylist?id=") + playlist.toObject().value(QStringLiteral("id")).toString());
    co_return paths;
}

double cpuMs(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}
// The main thread's own processor time, in milliseconds: what parsing and handing pages over
// cost the thread that also paints the window.
double threadCpuMs() { return cpuMs(CLOCK_THREAD_CPUTIME_ID); }
// Every thread's, the loopback server's included (the same in both halves): on two cores the
// sync cannot end sooner than half of it, and it holds steadier than wall time under load.
double processCpuMs() { return cpuMs(CLOCK_PROCESS_CPUTIME_ID); }

Moment momentNow() { return Moment{std::chrono::steady_clock::now(), threadCpuMs(), processCpuMs()}; }

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

// The floor, then the sync, in each iteration; the ratio is the median of the pairs' ratios.
void firstSyncAgainstFloor(benchmark::State &state, const Target &target, const QStringList &pages)
{
    int songs = 0, requests = 0, rawRequests = 0;
    std::vector<double> syncs, floors, ratios, closes, syncCpu, floorCpu, syncProcessCpu, floorProcessCpu;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        double cpu = threadCpuMs(), processCpu = processCpuMs();
        rawRequests = run(fetchRaw(target, pages));
        const double floorMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        floorCpu.push_back(threadCpuMs() - cpu);
        floorProcessCpu.push_back(processCpuMs() - processCpu);
        start = std::chrono::steady_clock::now();
        cpu = threadCpuMs(), processCpu = processCpuMs();
        Moment listed;
        songs = run(syncOnce(target, &requests, &listed));
        const double syncMs = std::chrono::duration<double, std::milli>(listed.wall - start).count();
        closes.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - listed.wall).count());
        syncCpu.push_back(listed.threadCpu - cpu);
        syncProcessCpu.push_back(listed.processCpu - processCpu);
        state.SetIterationTime(syncMs / 1000);
        syncs.push_back(syncMs);
        floors.push_back(floorMs);
        ratios.push_back(syncMs / floorMs);
    }
    state.counters["songs"] = songs;
    state.counters["requests"] = requests;
    state.counters["raw_requests"] = rawRequests;
    state.counters["sync_ms_median"] = median(syncs);
    state.counters["floor_ms_median"] = median(floors);
    state.counters["close_ms_median"] = median(closes);
    state.counters["sync_main_cpu_ms"] = median(syncCpu);
    state.counters["floor_main_cpu_ms"] = median(floorCpu);
    state.counters["sync_process_cpu_ms"] = median(syncProcessCpu);
    state.counters["floor_process_cpu_ms"] = median(floorProcessCpu);
    state.counters["ratio_median"] = median(ratios);
    state.counters["ratio_min"] = *std::min_element(ratios.begin(), ratios.end());
    state.counters["ratio_max"] = *std::max_element(ratios.begin(), ratios.end());
}

void BM_FirstSyncAgainstFloor(benchmark::State &state)
{
    firstSyncAgainstFloor(state, Target{fixture().root, QStringLiteral("alice"), QStringLiteral("secret")}, syntheticPages());
}
BENCHMARK(BM_FirstSyncAgainstFloor)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(7);

// From asking to play (the engine's start if it has not, the service's ping and stream URL, as
// the player does) to mpv's position past zero.
QCoro::Task<double> playOnce(SubsonicService &service, MpvAudioEngine &engine)
{
    const auto start = std::chrono::steady_clock::now();
    engine.prepare();
    const QUrl url = co_await service.playableURL(PlayParameters{MusicItemID(QStringLiteral("tr-1")), QStringLiteral("song")});
    engine.load(url);
    engine.play();
    while (engine.position() <= 0) {
        if (std::chrono::steady_clock::now() - start > std::chrono::seconds(10))
            co_return -1.0;
        co_await QCoro::sleepFor(std::chrono::milliseconds(1));
    }
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    engine.stop();
    co_return ms;
}

void BM_PlayToPosition(benchmark::State &state)
{
    SubsonicService service(SubsonicAccount{fixture().root, QStringLiteral("alice"), QStringLiteral("secret"), {}});
    run(service.requestAuthorization());
    MpvAudioEngine::Options options;
    options.audioOutput = QStringLiteral("null");
    MpvAudioEngine engine(options);
    // The first play also starts mpv, which the running app has done long before.
    const double cold = run(playOnce(service, engine));
    std::vector<double> times;
    for (auto _ : state) {
        const double ms = run(playOnce(service, engine));
        if (ms < 0) {
            state.SkipWithError("no position within 10 s");
            return;
        }
        state.SetIterationTime(ms / 1000);
        times.push_back(ms);
    }
    state.counters["first_play_ms"] = cold;
    state.counters["ms_median"] = median(times);
    state.counters["ms_max"] = *std::max_element(times.begin(), times.end());
}
BENCHMARK(BM_PlayToPosition)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);

// The first play of a session whose engine was started ahead (at a song's selection) and has
// finished starting. Meaningful as the process's first play only: run it alone
// (--benchmark_filter=BM_FirstPlayPrepared).
void BM_FirstPlayPrepared(benchmark::State &state)
{
    SubsonicService service(SubsonicAccount{fixture().root, QStringLiteral("alice"), QStringLiteral("secret"), {}});
    run(service.requestAuthorization());
    MpvAudioEngine::Options options;
    options.audioOutput = QStringLiteral("null");
    for (auto _ : state) {
        MpvAudioEngine engine(options);
        const auto start = std::chrono::steady_clock::now();
        engine.prepare();
        if (!engine.isAvailable()) {
            state.SkipWithError("mpv did not start");
            return;
        }
        state.counters["engine_start_ms"] = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        const double ms = run(playOnce(service, engine));
        if (ms < 0) {
            state.SkipWithError("no position within 10 s");
            return;
        }
        state.SetIterationTime(ms / 1000);
        state.counters["first_play_ms"] = ms;
    }
}
BENCHMARK(BM_FirstPlayPrepared)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    // libmpv parses numbers in the C locale only.
    std::setlocale(LC_NUMERIC, "C");
    // A real server's first sync, when one is named (bench/server-sync.sh starts one): its
    // answers cost the server what they cost, so this is the sync a user of that server meets.
    if (const QString server = qEnvironmentVariable("LUMEVAR_BENCH_SERVER"); !server.isEmpty()) {
        benchmark::RegisterBenchmark("BM_FirstSyncOfServer", [server](benchmark::State &state) {
            const Target target{QUrl(server), qEnvironmentVariable("LUMEVAR_BENCH_USER"), qEnvironmentVariable("LUMEVAR_SERVER_PASSWORD")};
            // A first sync, untimed, fills the server's own caches as a user's earlier visits would.
            Moment listed;
            int requests = 0;
            run(syncOnce(target, &requests, &listed));
            firstSyncAgainstFloor(state, target, run(serverPages(target)));
        })->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
    }
    return BenchMain::run(argc, argv);
}

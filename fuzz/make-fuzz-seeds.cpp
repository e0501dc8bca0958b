// Writes the seed corpus of every fuzz target with the project's own writers: a small library of
// tagged tracks (the demo library's encoder and tagger, with and without embedded covers), its
// playlists, and the store, song records snapshot and scan cache that scanning and syncing it
// leave behind. Usage: make-fuzz-seeds OUTPUT_FOLDER (one folder per target is made inside).

#include "DemoLibrary/DemoLibrary.h"
#include "DemoLibrary/DemoTags.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SongSnapshot.h"
#include "LumevarCore/SyncEngine.h"
#include "Platform/LocalLibrary/LocalLibraryService.h"
#include "TelemetryDeck/SignalPostBody.h"
#include "TestKit/AsyncTest.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <cstdio>

namespace {

// The track reader's first byte: the index of the extension among those it reads.
const QStringList trackExtensions = {"mp3", "flac", "ogg", "oga", "opus", "m4a", "m4b", "mp4",
                                     "aac", "wav", "aif", "aiff", "wv",  "ape", "mpc", "wma"};

bool put(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Track {
    QString name;
    DemoTags::Tags tags;
    bool cover;
};

QList<Track> tracks()
{
    DemoTags::Tags plain{QStringLiteral("Morning"), QStringLiteral("Ana Ruiz"), QStringLiteral("Days"),
                         QStringLiteral("Ana Ruiz"), QStringLiteral("Folk"), QStringLiteral("2019-05-03"), 1, 1};
    DemoTags::Tags many = plain;
    many.title = QStringLiteral("Line\nbreak\t\u202Eflipped\u202C and  spaces");
    many.moreArtists = {QStringLiteral("Bo Li"), QStringLiteral("ana ruiz"), QStringLiteral("Čeněk")};
    many.compilation = true;
    many.albumArtist.clear();
    many.trackText = QStringLiteral("3/12");
    DemoTags::Tags riff = plain;
    riff.title = QStringLiteral("Info only");
    riff.riffInfoOnly = true;
    DemoTags::Tags untitled = plain;
    untitled.title.clear();
    untitled.date = QStringLiteral("99999");
    untitled.track = 0;
    return {
        {QStringLiteral("Ana Ruiz/Days/01 Morning.mp3"), plain, true},
        {QStringLiteral("Ana Ruiz/Days/02 Many.mp3"), many, false},
        {QStringLiteral("Ana Ruiz/Days/03 Morning.flac"), plain, true},
        {QStringLiteral("Ana Ruiz/Days/04 Many.flac"), many, false},
        {QStringLiteral("Bo Li/Nights/01 Morning.ogg"), plain, true},
        {QStringLiteral("Bo Li/Nights/02 Many.ogg"), many, false},
        {QStringLiteral("Bo Li/Nights/03 Info.wav"), riff, false},
        {QStringLiteral("Bo Li/Nights/04 Tagged.wav"), plain, true},
        {QStringLiteral("Singles/caf\u00e9 untitled.mp3"), untitled, false},
    };
}

bool writeLibrary(const QString &folder, const QString &out)
{
    const QByteArray cover = DemoTags::drawCover(QStringLiteral("Days"), QStringLiteral("Ana Ruiz"), Qt::darkBlue,
                                                 Qt::darkMagenta, 7, 24);
    quint32 seed = 1;
    for (const Track &track : tracks()) {
        const QString path = folder + u'/' + track.name;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QString error;
        if (!DemoLibrary::writeTrack(path, track.tags, seed++, 0.25, track.cover ? cover : QByteArray(), &error)) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(path), qPrintable(error));
            return false;
        }
        // The track reader's seed: the extension's number, then the file.
        const QString suffix = QFileInfo(path).suffix();
        const QByteArray bytes = contents(path);
        put(out + QStringLiteral("/track_reader/") + QFileInfo(path).completeBaseName() + u'.' + suffix,
            char(trackExtensions.indexOf(suffix)) + bytes);
    }
    // The same bytes under extensions of the same family, and texts for the tag cleaning.
    put(out + QStringLiteral("/track_reader/as-opus"), char(trackExtensions.indexOf(QStringLiteral("opus"))) +
                                                         contents(folder + QStringLiteral("/Bo Li/Nights/01 Morning.ogg")));
    put(out + QStringLiteral("/track_reader/as-aiff"), char(trackExtensions.indexOf(QStringLiteral("aiff"))) +
                                                         contents(folder + QStringLiteral("/Bo Li/Nights/04 Tagged.wav")));
    put(out + QStringLiteral("/track_reader/text"), char(trackExtensions.size()) +
                                                      QStringLiteral("A\u200F\nB\tC  \u2066x\u2069\uFEFF 2019-05-03 3/12").toUtf8());

    const QByteArray latin1Cafe = QByteArray("Singles/caf\xe9 untitled.mp3");
    const QList<std::pair<QString, QByteArray>> playlists = {
        {QStringLiteral("Road Trip.m3u"), "#EXTM3U\n#EXTINF:1,Ana Ruiz - Morning\nAna Ruiz/Days/01 Morning.mp3\n"
                                          "Bo Li\\Nights\\02 Many.ogg\n" + latin1Cafe + "\nmissing.mp3\nhttp://example.com/x.mp3\n"},
        {QStringLiteral("Lists/Evening.m3u8"), "\xEF\xBB\xBF#PLAYLIST:Evening \xE2\x98\x85\r\n../Bo Li/Nights/01 Morning.ogg\r\n"
                                               "file://" + QFile::encodeName(folder) + "/Ana%20Ruiz/Days/03%20Morning.flac\r\n"
                                               + QFile::encodeName(folder) + "/Bo Li/Nights/03 Info.wav\r\n"},
    };
    for (const auto &[name, bytes] : playlists) {
        put(folder + u'/' + name, bytes);
        put(out + QStringLiteral("/playlist/") + QFileInfo(name).fileName(), bytes);
    }
    return true;
}

void copyInto(const QString &from, const QString &to)
{
    if (!QFile::exists(from)) {
        std::fprintf(stderr, "warning: %s was not written\n", qPrintable(from));
        return;
    }
    put(to, contents(from));
}

// A music server's answer carrying every member the backend reads, the way a Subsonic server
// writes them (songs as "song" or "entry", artists under "index", genres with "value").
QByteArray serverAnswer()
{
    const QByteArray song = R"({"id":"s1","title":"Morning Light","album":"Days","albumId":"al1","artist":"Ana Ruiz",)"
                            R"("artistId":"ar1","track":3,"discNumber":1,"year":2019,"genre":"Jazz","duration":245,)"
                            R"("coverArt":"al1","created":"2024-05-17T09:30:12.000Z","displayAlbumArtist":"Ana Ruiz"})";
    const QByteArray album = R"({"id":"al1","name":"Days","artist":"Ana Ruiz","artistId":"ar1","songCount":2,"year":2019,)"
                             R"("genre":"Jazz","coverArt":"al1","created":"2024-05-17T09:30:12Z","song":[)" + song + "]}";
    return R"({"subsonic-response":{"status":"ok","version":"1.16.1","openSubsonic":true,)"
           R"("playlists":{"playlist":[{"id":"p1","name":"Evening","owner":"fuzz","songCount":1,"created":"2024-01-01T00:00:00Z",)"
           R"("changed":"2024-02-01T00:00:00Z","coverArt":"pl-p1"}]},)"
           R"("playlist":{"id":"p1","name":"Evening","entry":[)" + song + "]},"
           R"("artists":{"index":[{"name":"A","artist":[{"id":"ar1","name":"Ana Ruiz","albumCount":1,"coverArt":"ar-ar1"}]}]},)"
           R"("indexes":{"lastModified":1716000000000,"index":[]},)"
           R"("artist":{"id":"ar1","name":"Ana Ruiz","album":[)" + album + "]},"
           R"("album":)" + album + ","
           R"("albumList2":{"album":[)" + album + "]},"
           R"("searchResult3":{"artist":[{"id":"ar1","name":"Ana Ruiz"}],"album":[)" + album + R"(],"song":[)" + song + "]},"
           R"("randomSongs":{"song":[)" + song + "]},"
           R"("similarSongs2":{"song":[)" + song + "]},"
           R"("topSongs":{"song":[)" + song + "]},"
           R"("genres":{"genre":[{"value":"Jazz","songCount":1,"albumCount":1}]}}})";
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv); // the covers' text needs fonts
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false"));
    if (argc != 2) {
        std::fprintf(stderr, "usage: make-fuzz-seeds OUTPUT_FOLDER\n");
        return 2;
    }
    const QString out = QDir(QFile::decodeName(argv[1])).absolutePath();
    QTemporaryDir work;
    const QString music = work.filePath(QStringLiteral("music"));
    if (!work.isValid() || !writeLibrary(music, out))
        return 1;

    // Scanned and synced as the application does: the store, the snapshot its close leaves and the
    // scan cache.
    const QString artwork = work.filePath(QStringLiteral("artwork"));
    const QString storePath = work.filePath(QStringLiteral("local.db"));
    {
        LocalLibraryService service(music, artwork);
        LocalDatabase database(storePath);
        runTask(database.open());
        runTask(SyncEngine(database, service).syncAll(nullptr));
        runTask(database.allLibrarySongs({LocalSong::SortKey::artistName}));
        runTask(database.close());
        // The scan cache is saved by the scan's pool after the library is handed out.
        QElapsedTimer waited;
        waited.start();
        while (!QFile::exists(service.scanCacheFile()) && waited.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        copyInto(service.scanCacheFile(), out + QStringLiteral("/scan_cache/library.cache"));
    }
    // The snapshot's target takes the payload alone and puts the header its scratch store needs.
    put(out + QStringLiteral("/song_snapshot/synced"), contents(SongSnapshot::pathBeside(storePath)).mid(SongSnapshot::headerSize));
    copyInto(storePath, out + QStringLiteral("/store_open/synced.db"));

    // Texts typed into the search field: the first byte 0 reads the rest as UTF-8.
    const QStringList queries = {QStringLiteral("mor"), QStringLiteral("ana ruiz days"), QStringLiteral("\"Many\" OR NEAR(a b)*"),
                                 QStringLiteral("café müller"), QStringLiteral("東京"), QStringLiteral("b"), QStringLiteral("-^:*")};
    for (int i = 0; i < queries.size(); ++i)
        put(out + QStringLiteral("/store_search/query-%1").arg(i), '\0' + queries[i].toUtf8());
    // The telemetry queue's cache file as a quit leaves it.
    QList<SignalPostBody> queued(2);
    queued[0].receivedAt = 738'000'000.25;
    queued[0].type = QStringLiteral("TelemetryDeck.Session.started");
    queued[0].payload.insert(QStringLiteral("TelemetryDeck.Device.platform"), QStringLiteral("Linux"));
    queued[1].floatValue = 2.5;
    queued[1].isTestMode = QStringLiteral("true");
    put(out + QStringLiteral("/telemetry_cache/two"), SignalPostBody::encodeForCache(queued));
    put(out + QStringLiteral("/subsonic_reply/everything"), serverAnswer());
    std::printf("seeds written into %s\n", qPrintable(out));
    return 0;
}

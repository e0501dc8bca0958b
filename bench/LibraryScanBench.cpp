// Scanning a music folder of 6,000 small tagged files (MP3 and WAV, accented names, some with
// embedded covers, a few playlists), once into a temporary folder, then read again and again:
// the folder walk and TagLib reading alone, and the whole library build (index and
// recommendations) on top. Reports files per second.
//
// Then a large folder (LUMEVAR_BENCH_FILES files, 100,000 unless set; small MP3s whose ID3v2.4
// tags are written directly, which is fast) for what a relaunch costs with the scan cache: a new
// service brought to a current library when nothing changed, against the floor of only listing
// the folder (what the file system alone costs); and one file added while the library is
// watched and mirrored in a store: from the write until the store holds the new song, the change
// applied as the application applies it. Last, the longest pause of the main thread's event loop
// while the large folder is scanned and mirrored into an empty store.
// LUMEVAR_BENCH_KEEP=1 keeps that folder (its path is printed) to run the application on it.
//
//   cmake --build build/default --target LibraryScanBench && build/default/bench/LibraryScanBench

#include "Common/LargeFolder.h"

#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Platform/LocalLibrary/FolderScanner.h"
#include "Platform/LocalLibrary/FolderWalk.h"
#include "Platform/LocalLibrary/LibraryIndex.h"
#include "Platform/LocalLibrary/LocalLibraryService.h"
#include "Platform/LocalLibrary/LocalRecommendations.h"
#include "Platform/Music/MusicService.h"
#include "Common/BenchMain.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QDir>
#include <QEventLoop>
#include <QTimer>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/id3v2tag.h>
#include <taglib/mpegfile.h>
#include <taglib/tpropertymap.h>

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

constexpr int fileCount = 6000;
using LargeFolder::albumsPerArtist;
using LargeFolder::tracksPerAlbum;

// A tenth of a second of silence as 16-bit stereo PCM WAV.
QByteArray silentWav()
{
    const int frames = 4410;
    QByteArray bytes;
    const auto u32 = [&bytes](quint32 v) { bytes.append(reinterpret_cast<const char *>(&v), 4); };
    const auto u16 = [&bytes](quint16 v) { bytes.append(reinterpret_cast<const char *>(&v), 2); };
    bytes.append("RIFF");
    u32(36 + frames * 4);
    bytes.append("WAVEfmt ");
    u32(16);
    u16(1);
    u16(2);
    u32(44100);
    u32(44100 * 4);
    u16(4);
    u16(16);
    bytes.append("data");
    u32(frames * 4);
    bytes.append(QByteArray(frames * 4, '\0'));
    return bytes;
}

TagLib::String text(const QString &value) { return TagLib::String(value.toStdString(), TagLib::String::UTF8); }

class Library {
public:
    static Library &shared()
    {
        static Library library;
        return library;
    }
    QString folder() const { return m_music.path(); }
    QString cache() const { return m_cache.path(); }

private:
    Library()
    {
        QElapsedTimer timer;
        timer.start();
        const QByteArray wav = silentWav();
        const QByteArray mp3 = LargeFolder::silentMp3();
        static const char *genres[] = {"Jazz", "Rock", "Électronique", "Ambient", "Pop", "Folk", "Hip-Hop", "Klassik"};
        QStringList playlist;
        for (int i = 0; i < fileCount; ++i) {
            const int album = i / tracksPerAlbum;
            const int artist = album / albumsPerArtist;
            const QString artistName = QStringLiteral("Artíst %1").arg(artist);
            const QString albumTitle = QStringLiteral("Álbum nº %1").arg(album);
            const QString directory = QStringLiteral("%1/%2/%3").arg(folder(), artistName, albumTitle);
            QDir().mkpath(directory);
            const bool isMp3 = i % 2 == 0;
            const QString path = QStringLiteral("%1/%2 Sóng %3.%4").arg(directory).arg(i % tracksPerAlbum + 1, 2, 10, QLatin1Char('0')).arg(i).arg(isMp3 ? QStringLiteral("mp3") : QStringLiteral("wav"));
            QFile file(path);
            if (!file.open(QIODevice::WriteOnly) || file.write(isMp3 ? mp3 : wav) < 0)
                std::abort();
            file.close();

            const QByteArray encoded = QFile::encodeName(path);
            TagLib::FileRef ref(encoded.constData(), false);
            TagLib::PropertyMap map;
            map.replace("TITLE", TagLib::StringList(text(QStringLiteral("Sóng %1 — Part %2").arg(i).arg(i % 7))));
            map.replace("ARTIST", TagLib::StringList(text(artistName)));
            map.replace("ALBUM", TagLib::StringList(text(albumTitle)));
            map.replace("GENRE", TagLib::StringList(text(QString::fromUtf8(genres[artist % 8]))));
            map.replace("DATE", TagLib::StringList(text(QString::number(1970 + album % 50))));
            map.replace("TRACKNUMBER", TagLib::StringList(text(QString::number(i % tracksPerAlbum + 1))));
            ref.file()->setProperties(map);
            // Every fifth album carries its own small embedded cover.
            if (auto *mpeg = dynamic_cast<TagLib::MPEG::File *>(ref.file()); mpeg && album % 5 == 0) {
                auto *picture = new TagLib::ID3v2::AttachedPictureFrame;
                picture->setMimeType("image/jpeg");
                picture->setType(TagLib::ID3v2::AttachedPictureFrame::FrontCover);
                const QByteArray bytes = QByteArray("\xFF\xD8\xFF\xE0 cover of album ") + QByteArray::number(album) + QByteArray(2000, 'x');
                picture->setPicture(TagLib::ByteVector(bytes.constData(), unsigned(bytes.size())));
                mpeg->ID3v2Tag(true)->addFrame(picture);
            }
            ref.save();
            if (i % 37 == 0)
                playlist.append(QDir(folder()).relativeFilePath(path));
        }
        for (int p = 0; p < 5; ++p) {
            QFile file(QStringLiteral("%1/List %2.m3u8").arg(folder()).arg(p));
            if (!file.open(QIODevice::WriteOnly))
                std::abort();
            file.write("#EXTM3U\n");
            for (qsizetype k = p; k < playlist.size(); k += 2)
                file.write(playlist[k].toUtf8() + '\n');
        }
        std::fprintf(stderr, "Wrote %d files to %s in %.1f s\n", fileCount, qPrintable(folder()), timer.elapsed() / 1000.0);
    }

    QTemporaryDir m_music;
    QTemporaryDir m_cache;
};

void BM_ScanFolder(benchmark::State &state)
{
    Library &library = Library::shared();
    int tracks = 0;
    for (auto _ : state) {
        const ScanResult scan = FolderScanner(library.folder(), library.cache()).scan();
        tracks = int(scan.tracks.size());
        benchmark::DoNotOptimize(scan.tracks.data());
    }
    if (tracks != fileCount)
        state.SkipWithError("not every file was read");
    state.counters["files/s"] = benchmark::Counter(double(fileCount), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ScanFolder)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

void BM_ScanAndBuildLibrary(benchmark::State &state)
{
    Library &library = Library::shared();
    for (auto _ : state) {
        const ScanResult scan = FolderScanner(library.folder(), library.cache()).scan();
        const LibraryIndex index(scan);
        const LocalRecommendations recommendations(index);
        benchmark::DoNotOptimize(recommendations.groups().data());
        if (index.albums().size() != fileCount / tracksPerAlbum)
            state.SkipWithError("albums were not grouped");
    }
    state.counters["files/s"] = benchmark::Counter(double(fileCount), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ScanAndBuildLibrary)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(3.0);

// The same files read from a cold artwork cache: every embedded cover is written again.
void BM_ScanWithEmptyArtworkCache(benchmark::State &state)
{
    Library &library = Library::shared();
    for (auto _ : state) {
        state.PauseTiming();
        auto cache = std::make_unique<QTemporaryDir>();
        state.ResumeTiming();
        const ScanResult scan = FolderScanner(library.folder(), cache->path()).scan();
        benchmark::DoNotOptimize(scan.tracks.data());
        state.PauseTiming();
        cache.reset();
        state.ResumeTiming();
    }
    state.counters["files/s"] = benchmark::Counter(double(fileCount), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ScanWithEmptyArtworkCache)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// ---- A large folder ----

class LargeLibrary {
public:
    static LargeLibrary &shared()
    {
        static LargeLibrary library;
        return library;
    }
    QString folder() const { return m_music.path(); }
    QString cache() const { return m_cache.path(); }
    int count() const { return m_count; }

private:
    LargeLibrary() : m_count(LargeFolder::fileCount())
    {
        // LUMEVAR_BENCH_KEEP=1 leaves the folder for a run of the application on it.
        if (qEnvironmentVariableIntValue("LUMEVAR_BENCH_KEEP") == 1)
            m_music.setAutoRemove(false);
        LargeFolder::write(folder(), m_count);
        QElapsedTimer timer;
        // The first launch: everything read once, the scan cache written.
        timer.start();
        LocalLibraryService service(folder(), cache());
        if (!QCoro::waitFor(service.libraryRevision()))
            std::abort();
        std::fprintf(stderr, "First scan of %d files in %.1f s\n", m_count, timer.elapsed() / 1000.0);
    }

    int m_count;
    QTemporaryDir m_music;
    QTemporaryDir m_cache;
};

// The floor of a relaunch: listing the folder and looking at each file, nothing read.
void BM_Large_ListFolderFloor(benchmark::State &state)
{
    LargeLibrary &library = LargeLibrary::shared();
    const QByteArray root = QFile::encodeName(library.folder());
    for (auto _ : state) {
        const FolderWalk::Listing listing = FolderWalk::list(root, [](const QByteArray &name) { return FolderScanner::isAudioFileName(name); });
        if (listing.files.size() != library.count())
            state.SkipWithError("files missing from the listing");
    }
    state.counters["files"] = library.count();
}
BENCHMARK(BM_Large_ListFolderFloor)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// A relaunch with nothing changed: a new service, its cache read from disk, every file looked
// at, the library built; the revision is what the application compares with the store's.
void BM_Large_RelaunchUnchanged(benchmark::State &state)
{
    LargeLibrary &library = LargeLibrary::shared();
    for (auto _ : state) {
        std::optional<LocalLibraryService> service(std::in_place, library.folder(), library.cache());
        if (!QCoro::waitFor(service->libraryRevision()))
            state.SkipWithError("no revision");
        // The previous run's teardown is no part of a launch.
        state.PauseTiming();
        service.reset();
        state.ResumeTiming();
    }
    state.counters["files"] = library.count();
}
BENCHMARK(BM_Large_RelaunchUnchanged)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// One file added while the application runs: from the write, through the watcher, the scan of
// what changed and the store's sync, until the store holds the song.
void BM_Large_OneFileAddedVisible(benchmark::State &state)
{
    LargeLibrary &library = LargeLibrary::shared();
    QTemporaryDir storeFolder;
    LocalDatabase database(storeFolder.filePath(QStringLiteral("local.db")));
    QCoro::waitFor(database.open());
    LocalLibraryService service(library.folder(), library.cache());
    QCoro::waitFor(SyncEngine(database, service).syncAll(nullptr));
    const QString added = QStringLiteral("%1/Added").arg(library.folder());
    QDir().mkpath(added);
    // Let the watcher settle on the new folder before timing.
    QCoro::waitFor(service.rescan());
    // As the application follows a change: what changed since the revision the store mirrors.
    QString synced = QCoro::waitFor(service.libraryRevision()).value_or(QString());
    int next = library.count();
    for (auto _ : state) {
        QEventLoop loop;
        QObject::connect(&service, &MusicService::libraryDidChange, &loop, &QEventLoop::quit);
        QTimer::singleShot(10000, &loop, &QEventLoop::quit);
        QFile file(QStringLiteral("%1/new %2.mp3").arg(added).arg(next));
        if (!file.open(QIODevice::WriteOnly) || file.write(LargeFolder::file(next)) < 0)
            std::abort();
        file.close();
        ++next;
        loop.exec();
        const QString revision = QCoro::waitFor(service.libraryRevision()).value_or(QString());
        const std::optional<QList<LibraryChange>> changes = QCoro::waitFor(service.libraryChanges(synced, revision));
        if (!changes)
            state.SkipWithError("the change was not known");
        else
            QCoro::waitFor(SyncEngine(database, service).applyChanges(*changes));
        synced = revision;
        const QString title = QStringLiteral("Sóng %1").arg(next - 1);
        if (!QCoro::waitFor(database.hasSong(title, std::nullopt, std::nullopt)))
            state.SkipWithError("the new song did not arrive");
    }
    QCoro::waitFor(database.close());
    state.counters["files"] = library.count();
}
BENCHMARK(BM_Large_OneFileAddedVisible)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The longest pause of the main thread's event loop while a large folder is read and mirrored
// into an empty store, as at a first launch (the scan cache is warm, so the scan lists the folder
// and reads no tags): a timer on the main thread ticks every 2 ms, and the longest gap between
// two ticks is what the window would have frozen for. Gaps over 16 ms (a missed frame) and over
// 100 ms are counted too.
void BM_Large_FirstScanAndSyncLongestPause(benchmark::State &state)
{
    LargeLibrary &library = LargeLibrary::shared();
    qint64 longest = 0;
    int overFrame = 0, overTenth = 0;
    for (auto _ : state) {
        QTemporaryDir storeFolder;
        LocalDatabase database(storeFolder.filePath(QStringLiteral("local.db")));
        QCoro::waitFor(database.open());
        LocalLibraryService service(library.folder(), library.cache());
        QElapsedTimer sinceTick;
        QTimer ticker;
        ticker.setTimerType(Qt::PreciseTimer);
        ticker.setInterval(2);
        // LUMEVAR_BENCH_PAUSES=1 prints each pause over 100 ms (LUMEVAR_BENCH_PAUSE_MS to choose) and
        // every log line with the time since the start, to tell which step held the thread.
        static QElapsedTimer sinceStart;
        static bool tracing = qEnvironmentVariableIntValue("LUMEVAR_BENCH_PAUSES") == 1;
        static const qint64 tracedPause = qEnvironmentVariableIsSet("LUMEVAR_BENCH_PAUSE_MS")
                                              ? qEnvironmentVariableIntValue("LUMEVAR_BENCH_PAUSE_MS") : 100;
        sinceStart.start();
        const QtMessageHandler previousHandler = tracing ? qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &message) {
            std::fprintf(stderr, "%7lld ms  %s\n", static_cast<long long>(sinceStart.elapsed()), qPrintable(message));
        }) : nullptr;
        QObject::connect(&ticker, &QTimer::timeout, [&] {
            const qint64 gap = sinceTick.restart();
            longest = std::max(longest, gap);
            overFrame += gap > 16;
            overTenth += gap > 100;
            if (tracing && gap > tracedPause)
                std::fprintf(stderr, "%7lld ms  pause of %lld ms\n", static_cast<long long>(sinceStart.elapsed()), static_cast<long long>(gap));
        });
        sinceTick.start();
        ticker.start();
        QCoro::waitFor(SyncEngine(database, service).syncAll(nullptr));
        ticker.stop();
        if (tracing)
            qInstallMessageHandler(previousHandler);
        state.PauseTiming();
        QCoro::waitFor(database.close());
        state.ResumeTiming();
    }
    state.counters["files"] = library.count();
    state.counters["longest_pause_ms"] = double(longest);
    state.counters["pauses_over_16ms"] = double(overFrame) / double(state.iterations());
    state.counters["pauses_over_100ms"] = double(overTenth) / double(state.iterations());
}
BENCHMARK(BM_Large_FirstScanAndSyncLongestPause)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    // One summary line per scan is enough; the per-file notices would drown the results.
    QLoggingCategory::setFilterRules(QStringLiteral("com.dunmoor.Lumevar.collection.info=false\ncom.dunmoor.Lumevar.sync.info=false"));
    return BenchMain::run(argc, argv);
}

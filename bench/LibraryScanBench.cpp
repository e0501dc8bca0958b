// Scanning a music folder of 6,000 small tagged files (MP3 and WAV, accented names, some with
// embedded covers, a few playlists), once into a temporary folder, then read again and again:
// the folder walk and TagLib reading alone, and the whole library build (index and
// recommendations) on top. Reports files per second.
//
//   cmake --build build/default --target LibraryScanBench && build/default/bench/LibraryScanBench

#include "Platform/LocalLibrary/FolderScanner.h"
#include "Platform/LocalLibrary/LibraryIndex.h"
#include "Platform/LocalLibrary/LocalRecommendations.h"

#include <QCoreApplication>
#include <QDir>
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

#include <cstdio>
#include <memory>

namespace {

constexpr int fileCount = 6000;
constexpr int tracksPerAlbum = 12;
constexpr int albumsPerArtist = 4;

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

// Twenty silent MPEG-1 Layer III frames at 128 kbit/s, 44.1 kHz: about half a second.
QByteArray silentMp3()
{
    QByteArray frame(417, '\0');
    frame[0] = char(0xFF);
    frame[1] = char(0xFB);
    frame[2] = char(0x90);
    frame[3] = char(0x64);
    return frame.repeated(20);
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
        const QByteArray mp3 = silentMp3();
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

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    // One summary line per scan is enough; the per-file notices would drown the results.
    QLoggingCategory::setFilterRules(QStringLiteral("com.dunmoor.Lumevar.collection.info=false"));
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    Library::shared();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

// The artwork cache on 1,000 distinct 1,500 x 1,500 covers (half JPEG, half PNG), written once
// into a folder kept between runs (ARTWORK_BENCH_COVERS, default /var/tmp/lumevar-artwork-bench):
//   - memory hit: cachedThumbnail() of a key in memory, beside the floor of a QHash lookup;
//   - cold load: every cover from its file to a 64-pixel thumbnail (decode, PNG write) through
//     thumbnail(), all asked at once as a scrolled list would (all, JPEGs only, PNGs only),
//     beside the floor of Qt's plain decode of the same files on the same two pool threads;
//   - disk hit: one key's PNG read back through thumbnail() after the memory level is cleared,
//     beside the floor of decoding that PNG on the calling thread;
//   - the memory held by 10,000 cached thumbnails.
//
//   cmake --build build/default --target ArtworkBench && build/default/bench/ArtworkBench

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Common/BenchMain.h"

#include <QCoroTask>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QHash>
#include <QImageReader>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtConcurrent>
#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

constexpr int coverCount = 1000;
constexpr int coverEdge = 1500;

QString coverFolder()
{
    const QString configured = qEnvironmentVariable("ARTWORK_BENCH_COVERS");
    return configured.isEmpty() ? QStringLiteral("/var/tmp/lumevar-artwork-bench") : configured;
}

QString coverPath(int index)
{
    return coverFolder() + QStringLiteral("/cover-%1.%2").arg(index, 4, 10, QLatin1Char('0')).arg(index % 2 ? QStringLiteral("png") : QStringLiteral("jpg"));
}

// A drawn cover like the demo library's, with grain so that neither format gets it for nothing.
void writeCover(int index)
{
    QImage image(coverEdge, coverEdge, QImage::Format_RGB32);
    QRandomGenerator random(quint32(index) + 1);
    QLinearGradient wash(0, 0, coverEdge, coverEdge);
    wash.setColorAt(0, QColor::fromHsv(int(random.bounded(360)), 160, 220));
    wash.setColorAt(1, QColor::fromHsv(int(random.bounded(360)), 200, 90));
    QPainter painter(&image);
    painter.fillRect(image.rect(), wash);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int shape = 0; shape < 12; ++shape) {
        painter.setBrush(QColor::fromHsv(int(random.bounded(360)), 180, 230, 160));
        painter.setPen(Qt::NoPen);
        const int r = 80 + int(random.bounded(300));
        painter.drawEllipse(QPoint(int(random.bounded(coverEdge)), int(random.bounded(coverEdge))), r, r);
    }
    painter.end();
    for (int y = 0; y < coverEdge; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < coverEdge; x += 3)
            line[x] ^= random.generate() & 0x070707;
    }
    image.save(coverPath(index), index % 2 ? "png" : "jpg", index % 2 ? -1 : 85);
}

void ensureCovers()
{
    QDir().mkpath(coverFolder());
    QList<int> missing;
    for (int i = 0; i < coverCount; ++i) {
        if (!QFile::exists(coverPath(i)))
            missing.append(i);
    }
    if (missing.isEmpty())
        return;
    std::fprintf(stderr, "Writing %d covers into %s ...\n", int(missing.size()), qPrintable(coverFolder()));
    QtConcurrent::blockingMap(missing, [](int index) { writeCover(index); });
}

template <typename T>
T await(QCoro::Task<T> task)
{
    QEventLoop loop;
    std::optional<T> result;
    [](QCoro::Task<T> task, std::optional<T> &result, QEventLoop &loop) -> QCoro::Task<void> {
        result.emplace(co_await std::move(task));
        loop.quit();
    }(std::move(task), result, loop);
    if (!result)
        loop.exec();
    return *result;
}

QString keyOf(int index) { return QStringLiteral("album-%1").arg(index); }

enum Covers { all = 0, jpegOnly = 1, pngOnly = 2 };

QList<int> coversOf(int which)
{
    QList<int> indexes;
    for (int i = 0; i < coverCount; ++i) {
        if (which == all || (which == jpegOnly) == (i % 2 == 0))
            indexes.append(i);
    }
    return indexes;
}

// The given covers asked at once, as a scrolled list would; returns when all are in. Without
// sources, each key is asked without a URL (served by memory or its file).
void loadAll(ArtworkImageCache &cache, const QList<int> &indexes, bool withSources = true)
{
    QEventLoop loop;
    qsizetype left = indexes.size();
    for (const int i : indexes) {
        [](ArtworkImageCache &cache, int i, bool withSources, qsizetype &left, QEventLoop &loop) -> QCoro::Task<void> {
            std::optional<QUrl> url;
            if (withSources)
                url = QUrl::fromLocalFile(coverPath(i));
            QCoro::Task<QImage> task = cache.thumbnail(url, keyOf(i));
            const QImage image = co_await std::move(task);
            benchmark::DoNotOptimize(image.constBits());
            if (--left == 0)
                loop.quit();
        }(cache, i, withSources, left, loop);
    }
    if (left > 0)
        loop.exec();
}

ArtworkImageCache::Options optionsIn(const QString &folder)
{
    ArtworkImageCache::Options options;
    options.directory = folder;
    return options;
}

// A disk level holding the thumbnails of all covers, loaded once for the benchmarks that need it.
const QString &warmFolder()
{
    static QTemporaryDir folder;
    static const bool filled = [] {
        ArtworkImageCache cache(optionsIn(folder.path()));
        loadAll(cache, coversOf(all));
        return true;
    }();
    Q_UNUSED(filled);
    static const QString path = folder.path();
    return path;
}

void BM_MemoryHit(benchmark::State &state)
{
    ArtworkImageCache cache(optionsIn(warmFolder()));
    loadAll(cache, coversOf(all), false); // 1,000 thumbnails: 16 MB of the 48 MB budget
    QList<QString> keys;
    for (int i = 0; i < coverCount; ++i)
        keys.append(keyOf(i));
    int i = 0;
    for (auto _ : state) {
        QImage image = cache.cachedThumbnail(keys[i]);
        benchmark::DoNotOptimize(image);
        i = (i + 1) % coverCount;
    }
}
BENCHMARK(BM_MemoryHit)->Unit(benchmark::kNanosecond);

void BM_MemoryHitFloor_QHash(benchmark::State &state)
{
    QHash<QString, QImage> images;
    QList<QString> keys;
    for (int i = 0; i < coverCount; ++i) {
        keys.append(keyOf(i));
        images.insert(keys.last(), QImage(64, 64, QImage::Format_RGB32));
    }
    int i = 0;
    for (auto _ : state) {
        QImage image = images.value(keys[i]);
        benchmark::DoNotOptimize(image);
        i = (i + 1) % coverCount;
    }
}
BENCHMARK(BM_MemoryHitFloor_QHash)->Unit(benchmark::kNanosecond);

// Arg: 0 all covers, 1 the JPEGs, 2 the PNGs.
void BM_ColdLoad(benchmark::State &state)
{
    const QList<int> indexes = coversOf(int(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir folder;
        ArtworkImageCache cache(optionsIn(folder.path()));
        state.ResumeTiming();
        loadAll(cache, indexes);
    }
    state.counters["covers/s"] = benchmark::Counter(double(indexes.size()), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ColdLoad)->Arg(all)->Arg(jpegOnly)->Arg(pngOnly)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->Iterations(2);

// What Qt alone costs for the same pictures on the same two pool threads: the plain decode (JPEG
// at the scaled size its decoder makes, PNG whole), no scaling, no PNG write, no cache.
void BM_ColdLoadFloor_QImageReader(benchmark::State &state)
{
    const QList<int> indexes = coversOf(int(state.range(0)));
    for (auto _ : state) {
        QtConcurrent::blockingMap(indexes, [](int i) {
            QImageReader reader(coverPath(i));
            if (i % 2 == 0)
                reader.setScaledSize(QSize(64, 64));
            benchmark::DoNotOptimize(reader.read().constBits());
        });
    }
    state.counters["covers/s"] = benchmark::Counter(double(indexes.size()), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ColdLoadFloor_QImageReader)->Arg(all)->Arg(jpegOnly)->Arg(pngOnly)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->Iterations(2);

void BM_DiskHit(benchmark::State &state)
{
    ArtworkImageCache cache(optionsIn(warmFolder()));
    int i = 0;
    for (auto _ : state) {
        cache.clearMemory();
        benchmark::DoNotOptimize(await(cache.thumbnail(std::optional<QUrl>(), keyOf(i))).constBits());
        i = (i + 1) % coverCount;
    }
}
BENCHMARK(BM_DiskHit)->Unit(benchmark::kMicrosecond)->UseRealTime()->MeasureProcessCPUTime();

void BM_DiskHitFloor_DecodePngHere(benchmark::State &state)
{
    ArtworkImageCache cache(optionsIn(warmFolder()));
    int i = 0;
    for (auto _ : state) {
        QImageReader reader(cache.fileOfKey(keyOf(i)));
        benchmark::DoNotOptimize(reader.read().constBits());
        i = (i + 1) % coverCount;
    }
}
BENCHMARK(BM_DiskHitFloor_DecodePngHere)->Unit(benchmark::kMicrosecond)->UseRealTime()->MeasureProcessCPUTime();

long residentBytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toLong() * 4096 : 0;
}

// 10,000 distinct thumbnails held in a cache without a byte bound. Their sources are 100 small
// square JPEGs, each asked under 100 URLs, so that the loads are quick and every key loads.
void BM_MemoryOf10000Thumbnails(benchmark::State &state)
{
    QTemporaryDir sources;
    for (int i = 0; i < 100; ++i) {
        QImage image(200, 200, QImage::Format_RGB32);
        image.fill(QColor::fromHsv(i * 3, 200, 200));
        image.save(sources.filePath(QStringLiteral("%1.jpg").arg(i)), "jpg");
    }
    for (auto _ : state) {
        QTemporaryDir folder;
        ArtworkImageCache::Options options = optionsIn(folder.path());
        options.memoryCostLimit = qint64(1) << 40;
        ArtworkImageCache cache(options);
        const long before = residentBytes();
        QEventLoop loop;
        int left = 10'000;
        for (int i = 0; i < 10'000; ++i) {
            const QUrl url(QUrl::fromLocalFile(sources.filePath(QStringLiteral("%1.jpg").arg(i % 100))).toString()
                           + QStringLiteral("?%1").arg(i));
            [](ArtworkImageCache &cache, QUrl url, int i, int &left, QEventLoop &loop) -> QCoro::Task<void> {
                QCoro::Task<QImage> task = cache.thumbnail(std::optional<QUrl>(url), QStringLiteral("song-%1").arg(i));
                benchmark::DoNotOptimize((co_await std::move(task)).constBits());
                if (--left == 0)
                    loop.quit();
            }(cache, url, i, left, loop);
        }
        if (left > 0)
            loop.exec();
        state.counters["cost_MB"] = double(cache.memoryCost()) / 1e6;
        state.counters["rss_growth_MB"] = double(residentBytes() - before) / 1e6;
    }
}
BENCHMARK(BM_MemoryOf10000Thumbnails)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    return BenchMain::run(argc, argv, ensureCovers);
}

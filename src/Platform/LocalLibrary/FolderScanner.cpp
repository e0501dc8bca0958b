#include "Platform/LocalLibrary/FolderScanner.h"

#include "Platform/LocalLibrary/ArtworkExtractor.h"
#include "Platform/LocalLibrary/PlaylistFileReader.h"
#include "Platform/LocalLibrary/TrackReader.h"
#include "Support/Log.h"

#include <QDir>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QSet>
#include <QThread>
#include <QtConcurrent>
#include <algorithm>

FolderScanner::FolderScanner(QString folder, QString artworkCacheFolder)
    : m_folder(QDir::cleanPath(QFileInfo(folder).absoluteFilePath())), m_artworkCacheFolder(std::move(artworkCacheFolder))
{
}

bool FolderScanner::isAudioFile(const QString &path)
{
    static const QSet<QString> suffixes = {
        QStringLiteral("mp3"), QStringLiteral("flac"), QStringLiteral("ogg"), QStringLiteral("oga"),
        QStringLiteral("opus"), QStringLiteral("m4a"), QStringLiteral("m4b"), QStringLiteral("mp4"),
        QStringLiteral("aac"), QStringLiteral("wav"), QStringLiteral("aif"), QStringLiteral("aiff"),
        QStringLiteral("wv"), QStringLiteral("ape"), QStringLiteral("mpc"), QStringLiteral("wma"),
    };
    return suffixes.contains(QFileInfo(path).suffix().toLower());
}

ScanResult FolderScanner::scan(const std::atomic<bool> *stop) const
{
    QElapsedTimer timer;
    timer.start();

    const auto stopped = [stop] { return stop && stop->load(std::memory_order_relaxed); };
    QStringList audioPaths;
    QStringList playlistPaths;
    QDirIterator it(m_folder, QDir::Files | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext() && !stopped()) {
        const QString path = QDir::cleanPath(it.next());
        if (isAudioFile(path))
            audioPaths.append(path);
        else if (PlaylistFileReader::isPlaylistFile(path))
            playlistPaths.append(path);
    }
    // Directory order depends on the file system; sorted paths make every scan alike.
    audioPaths.sort();
    playlistPaths.sort();

    // Reading tags is most of the work: contiguous runs of the sorted paths go to the worker
    // threads, so the files of one directory mostly share one extractor (and its cover lookup).
    // Embedded pictures are named by their content, so two workers may store the same one safely.
    struct Chunk {
        QList<ScannedTrack> tracks;
        int skipped = 0;
    };
    constexpr qsizetype filesPerWorkerAtLeast = 64;
    const qsizetype workers = std::clamp<qsizetype>(audioPaths.size() / filesPerWorkerAtLeast, 1,
                                                    std::max(1, QThread::idealThreadCount()));
    QList<QStringList> runs;
    for (qsizetype w = 0; w < workers; ++w) {
        const qsizetype begin = audioPaths.size() * w / workers;
        const qsizetype end = audioPaths.size() * (w + 1) / workers;
        runs.append(audioPaths.mid(begin, end - begin));
    }
    const auto readRun = [this, &stopped](const QStringList &paths) {
        Chunk chunk;
        ArtworkExtractor artwork(m_artworkCacheFolder);
        chunk.tracks.reserve(paths.size());
        for (const QString &path : paths) {
            if (stopped())
                break;
            if (auto track = TrackReader::read(path, m_folder, artwork))
                chunk.tracks.append(std::move(*track));
            else
                ++chunk.skipped;
        }
        return chunk;
    };
    QList<Chunk> chunks;
    if (runs.size() == 1)
        chunks.append(readRun(runs.first()));
    else
        chunks = QtConcurrent::blockingMapped<QList<Chunk>>(runs, readRun);

    ScanResult result;
    result.tracks.reserve(audioPaths.size());
    for (Chunk &chunk : chunks) {
        result.tracks.append(std::move(chunk.tracks));
        result.skippedFiles += chunk.skipped;
    }
    if (stopped())
        return result;
    for (const QString &path : std::as_const(playlistPaths)) {
        if (auto playlist = PlaylistFileReader::read(path)) {
            playlist->relativePath = QDir(m_folder).relativeFilePath(playlist->path);
            result.playlists.append(std::move(*playlist));
        }
    }

    Log::info(Log::collection(), "Scanned %@: %d songs, %d playlists, %d unreadable files in %d ms", m_folder,
              int(result.tracks.size()), int(result.playlists.size()), result.skippedFiles, int(timer.elapsed()));
    return result;
}

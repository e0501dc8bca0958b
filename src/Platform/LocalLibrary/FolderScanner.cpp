#include "Platform/LocalLibrary/FolderScanner.h"

#include "Platform/LocalLibrary/ArtworkExtractor.h"
#include "Platform/LocalLibrary/FolderWalk.h"
#include "Platform/LocalLibrary/PlaylistFileReader.h"
#include "Platform/LocalLibrary/ScanCache.h"
#include "Platform/LocalLibrary/SharedTexts.h"
#include "Platform/LocalLibrary/TrackReader.h"
#include "Support/Log.h"

#include <QCryptographicHash>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QThread>
#include <QtConcurrent>
#include <algorithm>

namespace {

QByteArray suffixOf(const QByteArray &name)
{
    const qsizetype dot = name.lastIndexOf('.');
    return dot < 0 ? QByteArray() : name.mid(dot + 1).toLower();
}

bool isListed(const QByteArray &name)
{
    return FolderScanner::isAudioFileName(name) || PlaylistFileReader::isPlaylistFile(QString::fromUtf8(name));
}

struct MoveKey {
    quint64 inode;
    qint64 size;
    qint64 modifiedNs;
    bool operator==(const MoveKey &) const = default;
};

size_t qHash(const MoveKey &key, size_t seed = 0) { return qHashMulti(seed, key.inode, key.size, key.modifiedNs); }

} // namespace

FolderScanner::FolderScanner(QString folder, QString artworkCacheFolder)
    : m_folder(QDir::cleanPath(QFileInfo(folder).absoluteFilePath())), m_artworkCacheFolder(std::move(artworkCacheFolder))
{
}

bool FolderScanner::isAudioFileName(const QByteArray &name)
{
    static const QSet<QByteArray> suffixes = {"mp3", "flac", "ogg", "oga", "opus", "m4a", "m4b", "mp4",
                                              "aac", "wav", "aif", "aiff", "wv",  "ape", "mpc", "wma"};
    return suffixes.contains(suffixOf(name));
}

bool FolderScanner::isAudioFile(const QString &path) { return isAudioFileName(QFileInfo(path).fileName().toUtf8()); }

ScanResult FolderScanner::scan(const std::atomic<bool> *stop, ScanCache *cache) const
{
    QElapsedTimer timer;
    timer.start();
    const auto stopped = [stop] { return stop && stop->load(std::memory_order_relaxed); };

    const QByteArray root = QFile::encodeName(m_folder);
    FolderWalk::Listing listing = FolderWalk::list(root, &isListed, stop);
    QList<FolderWalk::Entry> audio;
    QList<FolderWalk::Entry> playlistFiles;
    QCryptographicHash revision(QCryptographicHash::Sha1);
    for (FolderWalk::Entry &entry : listing.files) {
        revision.addData(entry.path);
        revision.addData(QByteArrayView(reinterpret_cast<const char *>(&entry.size), sizeof entry.size));
        revision.addData(QByteArrayView(reinterpret_cast<const char *>(&entry.modifiedNs), sizeof entry.modifiedNs));
        const qsizetype slash = entry.path.lastIndexOf('/');
        (isAudioFileName(entry.path.mid(slash + 1)) ? audio : playlistFiles).append(std::move(entry));
    }

    // What the last scan read and still holds: files with the same size and time are taken as
    // they were. Files that are gone may have moved: a new file with the inode, size and time of
    // a vanished one keeps its identity.
    const QHash<QByteArray, ScanCache::Entry> previous = cache ? cache->entries() : QHash<QByteArray, ScanCache::Entry>();
    const qsizetype rootLength = root.size() + (root.endsWith('/') ? 0 : 1);
    QSet<QByteArray> present;
    present.reserve(audio.size());
    for (const FolderWalk::Entry &entry : std::as_const(audio))
        present.insert(entry.path);
    QHash<MoveKey, QByteArray> vanished;
    QList<QByteArray> goneIdentities;
    for (auto it = previous.cbegin(); it != previous.cend(); ++it) {
        if (it->track && !present.contains(it.key())) {
            vanished.insert({it->inode, it->size, it->modifiedNs}, it->track->identity);
            goneIdentities.append(it->track->identity);
        }
    }

    QList<std::optional<ScannedTrack>> tracks(audio.size());
    QList<qsizetype> toRead;
    QSet<QByteArray> identities;
    // The songs of one album share their picture: each picture file is looked for once.
    QHash<QString, bool> pictureExists;
    const auto pictureIsThere = [&pictureExists](const QString &path) {
        auto known = pictureExists.constFind(path);
        if (known == pictureExists.constEnd())
            known = pictureExists.insert(path, QFileInfo::exists(path));
        return *known;
    };
    for (qsizetype i = 0; i < audio.size(); ++i) {
        const FolderWalk::Entry &entry = audio[i];
        const auto cached = previous.constFind(entry.path);
        const bool unchanged = cached != previous.cend() && cached->size == entry.size && cached->modifiedNs == entry.modifiedNs;
        // A reused track whose extracted picture was cleaned away is read again to restore it.
        if (unchanged && cached->track && (cached->track->artworkPath.isEmpty() || pictureIsThere(cached->track->artworkPath))) {
            tracks[i] = cached->track;
            // The cache keeps the path as bytes only; its text forms are made again here.
            tracks[i]->path = FolderWalk::displayName(entry.path);
            tracks[i]->relativePath = FolderWalk::displayName(entry.path.mid(rootLength));
            identities.insert(cached->track->identity);
        } else if (!unchanged || cached->track) {
            toRead.append(i);
            if (cached != previous.cend() && cached->track)
                goneIdentities.append(cached->track->identity);
        }
    }

    // Reading tags is most of the work: contiguous runs of the sorted paths go to the worker
    // threads, so the files of one directory mostly share one extractor (and its cover lookup).
    // Embedded pictures are named by their content, so two workers may store the same one safely.
    constexpr qsizetype filesPerWorkerAtLeast = 64;
    const qsizetype workers = std::clamp<qsizetype>(toRead.size() / filesPerWorkerAtLeast, 1,
                                                    std::max(1, QThread::idealThreadCount()));
    QList<QList<qsizetype>> runs;
    for (qsizetype w = 0; w < workers; ++w) {
        const qsizetype begin = toRead.size() * w / workers;
        const qsizetype end = toRead.size() * (w + 1) / workers;
        runs.append(toRead.mid(begin, end - begin));
    }
    const auto readRun = [&](const QList<qsizetype> &indexes) {
        ArtworkExtractor artwork(m_artworkCacheFolder);
        for (const qsizetype index : indexes) {
            if (stopped())
                break;
            tracks[index] = TrackReader::read(audio[index].path, root, artwork);
        }
        return 0;
    };
    if (runs.size() == 1)
        readRun(runs.first());
    else
        QtConcurrent::blockingMapped<QList<int>>(runs, readRun);

    // Tracks read now share their repeated texts (those taken from the cache already do).
    SharedTexts texts;
    for (const qsizetype index : std::as_const(toRead)) {
        if (tracks[index])
            texts.shareRepeated(*tracks[index]);
    }

    ScanResult result;
    result.readFiles = int(toRead.size());
    result.tracks.reserve(audio.size());
    // Only a folder that changed rewrites the cache; an unchanged one (the usual launch) does not
    // even build the new entries.
    const bool changed = !toRead.isEmpty() || !vanished.isEmpty() || audio.size() != previous.size();
    QHash<QByteArray, ScanCache::Entry> entries;
    if (changed)
        entries.reserve(audio.size());
    std::vector<bool> readNow(size_t(audio.size()), false);
    for (const qsizetype index : std::as_const(toRead))
        readNow[size_t(index)] = true;
    for (qsizetype i = 0; i < audio.size(); ++i) {
        const FolderWalk::Entry &entry = audio[i];
        std::optional<ScannedTrack> &track = tracks[i];
        if (track && track->identity.isEmpty()) {
            // A file read again keeps its identity; one read for the first time was moved from a
            // vanished path, or is new at its own path.
            const auto cached = previous.constFind(entry.path);
            QByteArray identity = cached != previous.cend() && cached->track ? cached->track->identity
                                                                             : vanished.take({entry.inode, entry.size, entry.modifiedNs});
            if (identity.isEmpty() || identities.contains(identity))
                identity = entry.path.mid(rootLength);
            // A new file at a path that a moved one still uses as its identity.
            while (identities.contains(identity))
                identity += '~';
            track->identity = identity;
            identities.insert(identity);
        }
        if (track && readNow[size_t(i)])
            result.readTracks.append(result.tracks.size());
        if (!track)
            ++result.skippedFiles;
        else if (!changed)
            result.tracks.append(std::move(*track));
        else
            result.tracks.append(*track);
        if (changed && (!stopped() || track)) {
            // Without the text forms of the path: a third of a track's size, made again on reuse.
            std::optional<ScannedTrack> kept = std::move(track);
            if (kept) {
                kept->path.clear();
                kept->relativePath.clear();
            }
            entries.insert(entry.path, {entry.size, entry.modifiedNs, entry.inode, std::move(kept)});
        }
    }
    if (stopped())
        return result;
    if (cache && changed)
        cache->replace(std::move(entries));

    for (const FolderWalk::Entry &entry : std::as_const(playlistFiles)) {
        if (auto playlist = PlaylistFileReader::read(entry.path)) {
            playlist->relativePath = QDir(m_folder).relativeFilePath(playlist->path);
            result.playlists.append(std::move(*playlist));
        }
    }
    result.goneIdentities = std::move(goneIdentities);
    result.revision = revision.result().toHex();
    result.folders = std::move(listing.folders);

    Log::info(Log::collection(), "Scanned %@: %d songs (%d read now), %d playlists, %d unreadable files in %d ms", m_folder,
              int(result.tracks.size()), result.readFiles, int(result.playlists.size()), result.skippedFiles, int(timer.elapsed()));
    return result;
}

#include "Platform/LocalLibrary/FolderScanner.h"

#include "Platform/LocalLibrary/ArtworkExtractor.h"
#include "Platform/LocalLibrary/FolderWalk.h"
#include "Platform/LocalLibrary/PlaylistFileReader.h"
#include "Platform/LocalLibrary/ScanCache.h"
#include "Platform/LocalLibrary/SharedTexts.h"
#include "Platform/LocalLibrary/ListingDigest.h"
#include "Platform/LocalLibrary/TrackReader.h"
#include "Support/Log.h"
#include "Support/PoolJobs.h"
#include "Support/WorkerPools.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QThread>
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

// Adds each listed file to the digest of the folder it is directly in. The files come sorted by
// path, so most follow one of the same folder.
void addToFolders(ScannedFolders &folders, const QList<FolderWalk::Entry> &files)
{
    QByteArray lastFolder;
    ScannedFolder *last = nullptr;
    for (const FolderWalk::Entry &file : files) {
        const qsizetype length = lastFolder.size();
        const bool sameFolder = last && file.path.size() > length && file.path.startsWith(lastFolder) &&
                                file.path[length] == '/' && file.path.indexOf('/', length + 1) < 0;
        if (!sameFolder) {
            lastFolder = FolderWalk::parentOf(file.path);
            last = &folders[lastFolder];
        }
        last->files.add(file);
    }
}

QByteArray revisionOf(const ScannedFolders &folders)
{
    ListingDigest all;
    for (const ScannedFolder &folder : folders)
        all.add(folder.files);
    return all.toHex();
}

// Whether path is below one of folders.
bool isBelow(const QByteArray &path, const QSet<QByteArray> &folders)
{
    for (qsizetype slash = path.lastIndexOf('/'); slash > 0; slash = path.lastIndexOf('/', slash - 1)) {
        if (folders.contains(QByteArray::fromRawData(path.constData(), slash)))
            return true;
    }
    return false;
}

// The files of a listing: audio files to read, the rest (playlists) by path.
void sortFiles(QList<FolderWalk::Entry> &files, QList<FolderWalk::Entry> &audio, QList<QByteArray> &playlistFiles)
{
    audio.reserve(audio.size() + files.size());
    for (FolderWalk::Entry &entry : files) {
        const qsizetype slash = entry.path.lastIndexOf('/');
        if (FolderScanner::isAudioFileName(entry.path.mid(slash + 1)))
            audio.append(std::move(entry));
        else
            playlistFiles.append(std::move(entry.path));
    }
}

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

struct FolderScanner::Reading {
    QList<FolderWalk::Entry> audio; // sorted by path
    // What the cache held for the folders of audio (for a whole scan, for every file).
    ScanCache::Entries previous;
    // Whether unchanged tracks are handed out too (a whole scan) or only those read now.
    bool everyTrack = true;
    // Whether files that previous holds at their size and time are read again all the same.
    bool rereadTags = false;
    // Whether a song outside audio and previous holds an identity (a partial scan).
    std::function<bool(const QByteArray &identity)> heldElsewhere;
    qsizetype rootLength = 0;

    ScanResult result;
    // Whether the entries differ from previous; then entries holds the new ones.
    bool changed = false;
    ScanCache::Entries entries;
};

ScanResult FolderScanner::scan(const std::atomic<bool> *stop, ScanCache *cache, bool rereadTags) const
{
    QElapsedTimer timer;
    timer.start();
    const QByteArray root = QFile::encodeName(m_folder);
    FolderWalk::Listing listing = FolderWalk::list(root, &isListed, stop);
    ScannedFolders folders;
    folders.reserve(listing.folders.size());
    for (const FolderWalk::Folder &folder : std::as_const(listing.folders))
        folders.insert(folder.path, {folder.key, {}});
    addToFolders(folders, listing.files);

    Reading reading;
    reading.rootLength = root.size() + (root.endsWith('/') ? 0 : 1);
    reading.rereadTags = rereadTags;
    QList<QByteArray> playlistFiles;
    sortFiles(listing.files, reading.audio, playlistFiles);
    listing.files.clear();
    if (cache)
        reading.previous = cache->takeEntries();
    read(reading, stop);
    ScanResult result = std::move(reading.result);
    if (stop && stop->load())
        return result;
    // Only a folder that changed rewrites the cache.
    if (cache && reading.changed)
        cache->replace(std::move(reading.entries));
    result.playlists = readPlaylists(playlistFiles);
    result.playlistFiles = std::move(playlistFiles);
    result.revision = revisionOf(folders);
    result.folders = std::move(folders);

    LUMEVAR_INFO(Log::collection(), "Scanned %@: %d songs (%d read now), %d playlists, %d unreadable files in %d ms", m_folder,
                 int(result.tracks.size()), result.readFiles, int(result.playlists.size()), result.skippedFiles, int(timer.elapsed()));
    return result;
}

std::optional<ScanResult> FolderScanner::rescan(const Previous &previous, const QSet<QByteArray> &changedFolders,
                                                const std::atomic<bool> *stop, ScanCache &cache) const
{
    QElapsedTimer timer;
    timer.start();
    const QByteArray root = QFile::encodeName(m_folder);
    const ScannedFolders &before = previous.folders;

    // A changed folder is listed again; one that is gone, or is another folder now, leaves with
    // every folder below it, and so does such a folder directly in a changed one.
    QList<QByteArray> roots;
    QSet<QByteArray> gone;
    for (const QByteArray &folder : changedFolders) {
        const auto known = before.constFind(folder);
        if (known == before.cend())
            continue; // no longer part of the library
        const std::optional<FolderWalk::FolderKey> key = FolderWalk::folderAt(folder);
        if (key)
            roots.append(folder);
        if (key != known->key)
            gone.insert(folder);
    }
    for (auto it = before.cbegin(); it != before.cend(); ++it) {
        if (it.key() != root && changedFolders.contains(FolderWalk::parentOf(it.key())) &&
            FolderWalk::folderAt(it.key()) != it->key)
            gone.insert(it.key());
    }
    std::sort(roots.begin(), roots.end());
    QSet<QByteArray> replaced(roots.cbegin(), roots.cend());
    replaced.unite(gone);
    if (!gone.isEmpty()) {
        for (auto it = before.cbegin(); it != before.cend(); ++it) {
            if (isBelow(it.key(), gone))
                replaced.insert(it.key());
        }
    }
    ScannedFolders folders = before;
    QSet<FolderWalk::FolderKey> known;
    for (const QByteArray &folder : std::as_const(replaced))
        folders.remove(folder);
    known.reserve(folders.size());
    for (const ScannedFolder &folder : std::as_const(folders))
        known.insert(folder.key);

    FolderWalk::Listing listing = FolderWalk::list(roots, &isListed, stop, std::move(known));
    for (const FolderWalk::Folder &folder : std::as_const(listing.folders)) {
        folders.insert(folder.path, {folder.key, {}});
        replaced.insert(folder.path);
    }
    addToFolders(folders, listing.files);
    std::optional<ScanCache::Entries> cached = cache.readFolders(replaced);
    if (!cached)
        return std::nullopt;

    Reading reading;
    reading.rootLength = root.size() + (root.endsWith('/') ? 0 : 1);
    reading.previous = std::move(*cached);
    reading.everyTrack = false;
    reading.heldElsewhere = previous.hasIdentity;
    QList<QByteArray> playlistFiles;
    for (const QByteArray &file : previous.playlistFiles) {
        if (!replaced.contains(FolderWalk::parentOf(file)))
            playlistFiles.append(file);
    }
    sortFiles(listing.files, reading.audio, playlistFiles);
    std::sort(playlistFiles.begin(), playlistFiles.end());
    read(reading, stop);
    if (stop && stop->load())
        return std::nullopt;
    if (reading.changed)
        cache.updateFolders(std::move(replaced), std::move(reading.entries));

    ScanResult result = std::move(reading.result);
    result.partial = true;
    result.playlists = readPlaylists(playlistFiles);
    result.playlistFiles = std::move(playlistFiles);
    result.revision = revisionOf(folders);
    result.folders = std::move(folders);
    LUMEVAR_INFO(Log::collection(), "Scanned %d changed folders of %@: %d files read, %d gone, in %d ms", int(roots.size()),
                 m_folder, result.readFiles, int(result.goneIdentities.size()), int(timer.elapsed()));
    return result;
}

QList<ScannedPlaylist> FolderScanner::readPlaylists(const QList<QByteArray> &files) const
{
    QList<ScannedPlaylist> playlists;
    for (const QByteArray &file : files) {
        if (auto playlist = PlaylistFileReader::read(file)) {
            playlist->relativePath = QDir(m_folder).relativeFilePath(playlist->path);
            playlists.append(std::move(*playlist));
        }
    }
    return playlists;
}

namespace {

// What a scan makes of the last one's cache: the tracks it keeps, the files it reads again, the
// identities already taken, and the songs whose files are gone, by what a moved file keeps (its
// inode, size and time), so that a file found elsewhere keeps its song's identity.
struct ReadPlan {
    // A slot per audio file, holding a track where readable says so. The scan's result is made in
    // this list, so a library's tracks are never held twice.
    QList<ScannedTrack> tracks;
    std::vector<quint8> readable; // bytes, not bits: workers set their files' side by side
    QList<qsizetype> toRead;
    QSet<QByteArray> identities;
    QHash<MoveKey, QByteArray> vanished;
    QList<QByteArray> goneIdentities;
};

ReadPlan planReading(const QList<FolderWalk::Entry> &audio, const ScanCache::Entries &previous, bool rereadTags)
{
    ReadPlan plan;
    // What the last scan read and still holds: files with the same size and time are taken as
    // they were. Files that are gone may have moved.
    QSet<QByteArray> present;
    present.reserve(audio.size());
    for (const FolderWalk::Entry &entry : audio)
        present.insert(entry.path);
    for (auto it = previous.cbegin(); it != previous.cend(); ++it) {
        if (it->track && !present.contains(it.key())) {
            plan.vanished.insert({it->inode, it->size, it->modifiedNs}, it->track->identity);
            plan.goneIdentities.append(it->track->identity);
        }
    }

    plan.tracks.resize(audio.size());
    plan.readable.resize(size_t(audio.size()), false);
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
        const bool unchanged = !rereadTags && cached != previous.cend() && cached->size == entry.size &&
                               cached->modifiedNs == entry.modifiedNs;
        // A reused track whose extracted picture was cleaned away is read again to restore it.
        if (unchanged && cached->track && (cached->track->artworkPath.isEmpty() || pictureIsThere(cached->track->artworkPath))) {
            ScannedTrack &track = plan.tracks[i];
            track = *cached->track;
            // The listing's bytes, so that the cache's copy leaves with the cache.
            track.fileName = entry.path;
            plan.readable[size_t(i)] = true;
            plan.identities.insert(track.identity);
        } else if (!unchanged || cached->track) {
            plan.toRead.append(i);
            if (cached != previous.cend() && cached->track)
                plan.goneIdentities.append(cached->track->identity);
        }
    }
    return plan;
}

// Reading tags is most of the work: contiguous runs of the sorted paths go to the worker threads,
// so the files of one directory mostly share one extractor (and its cover lookup). Embedded
// pictures are named by their content, so two workers may store the same one safely.
void readTags(ReadPlan &plan, const QList<FolderWalk::Entry> &audio, const QString &artworkFolder,
              const std::atomic<bool> *stop)
{
    constexpr qsizetype filesPerWorkerAtLeast = 64;
    const QList<qsizetype> &toRead = plan.toRead;
    const qsizetype workers = std::clamp<qsizetype>(toRead.size() / filesPerWorkerAtLeast, 1,
                                                    std::max(1, QThread::idealThreadCount()));
    QList<QList<qsizetype>> runs;
    for (qsizetype w = 0; w < workers; ++w) {
        const qsizetype begin = toRead.size() * w / workers;
        const qsizetype end = toRead.size() * (w + 1) / workers;
        runs.append(toRead.mid(begin, end - begin));
    }
    // Each worker writes only its own files' slots.
    ScannedTrack *const tracks = plan.tracks.data();
    quint8 *const readable = plan.readable.data();
    const auto readRun = [&](const QList<qsizetype> &indexes) {
        ArtworkExtractor artwork(artworkFolder);
        for (const qsizetype index : indexes) {
            if (stop && stop->load(std::memory_order_relaxed))
                break;
            if (std::optional<ScannedTrack> track = TrackReader::read(audio[index].path, artwork)) {
                tracks[index] = std::move(*track);
                readable[size_t(index)] = true;
            }
        }
    };
    forEachOnPool(WorkerPools::library(), runs.size(), [&](qsizetype run) { readRun(runs[run]); });
}

} // namespace

void FolderScanner::read(Reading &reading, const std::atomic<bool> *stop) const
{
    const auto stopped = [stop] { return stop && stop->load(std::memory_order_relaxed); };
    const QList<FolderWalk::Entry> &audio = reading.audio;
    ScanCache::Entries &previous = reading.previous;
    ReadPlan plan = planReading(audio, previous, reading.rereadTags);
    const QList<qsizetype> &toRead = plan.toRead;
    QHash<MoveKey, QByteArray> &vanished = plan.vanished;
    // Only a folder that changed rewrites the cache; an unchanged one (the usual launch) does not
    // even build the new entries, and its tracks are all taken already: the last scan's entries
    // leave memory before the result is made.
    const bool changed = !toRead.isEmpty() || !vanished.isEmpty() || audio.size() != previous.size();
    reading.changed = changed;
    if (!changed)
        previous = ScanCache::Entries();

    readTags(plan, audio, m_artworkCacheFolder, stop);
    QList<ScannedTrack> &tracks = plan.tracks;
    const std::vector<quint8> &readable = plan.readable;
    QSet<QByteArray> &identities = plan.identities;
    QList<QByteArray> &goneIdentities = plan.goneIdentities;
    const qsizetype rootLength = reading.rootLength;

    // Tracks read now share their repeated texts (those taken from the cache already do).
    SharedTexts texts;
    for (const qsizetype index : std::as_const(toRead)) {
        if (readable[size_t(index)])
            texts.shareRepeated(tracks[index]);
    }

    // An identity is taken when a track of this scan has it, or a song elsewhere in the library
    // that did not leave.
    const QSet<QByteArray> goneSet = reading.heldElsewhere ? QSet<QByteArray>(goneIdentities.cbegin(), goneIdentities.cend())
                                                           : QSet<QByteArray>();
    const auto taken = [&](const QByteArray &identity) {
        return identities.contains(identity) ||
               (reading.heldElsewhere && !goneSet.contains(identity) && reading.heldElsewhere(identity));
    };

    ScanResult &result = reading.result;
    result.readFiles = int(toRead.size());
    ScanCache::Entries &entries = reading.entries;
    if (changed)
        entries.reserve(audio.size());
    std::vector<bool> readNow(size_t(audio.size()), false);
    for (const qsizetype index : std::as_const(toRead))
        readNow[size_t(index)] = true;
    // The tracks handed out move to the front of the list, in order; the rest is cut off after.
    qsizetype handedOut = 0;
    for (qsizetype i = 0; i < audio.size(); ++i) {
        const FolderWalk::Entry &entry = audio[i];
        const bool isTrack = readable[size_t(i)];
        ScannedTrack &track = tracks[i];
        if (isTrack && track.identity.isEmpty()) {
            // A file read again keeps its identity; one read for the first time was moved from a
            // vanished path, or is new at its own path.
            const auto cached = previous.constFind(entry.path);
            QByteArray identity = cached != previous.cend() && cached->track ? cached->track->identity
                                                                             : vanished.take({entry.inode, entry.size, entry.modifiedNs});
            if (identity.isEmpty() || taken(identity))
                identity = entry.path.mid(rootLength);
            // A new file at a path that a moved one still uses as its identity.
            while (taken(identity))
                identity += '~';
            track.identity = identity;
            identities.insert(identity);
        }
        if (!isTrack)
            ++result.skippedFiles;
        if (changed && (!stopped() || isTrack))
            entries.insert(entry.path, {entry.size, entry.modifiedNs, entry.inode,
                                        isTrack ? std::optional<ScannedTrack>(track) : std::nullopt});
        if (!isTrack || !(reading.everyTrack || readNow[size_t(i)]))
            continue;
        if (readNow[size_t(i)])
            result.readTracks.append(handedOut);
        if (handedOut != i)
            tracks[handedOut] = std::move(track);
        ++handedOut;
    }
    tracks.resize(handedOut);
    result.tracks = std::move(tracks);
    result.goneIdentities = std::move(goneIdentities);
}

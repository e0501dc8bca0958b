#include "Platform/LocalLibrary/ScanCache.h"

#include "Platform/LocalLibrary/FolderWalk.h"
#include "Platform/LocalLibrary/SharedTexts.h"
#include "Support/Log.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace {

constexpr quint32 magic = 0x4c565343; // "LVSC"
// The trailer: where the folder index starts, and the magic again.
constexpr qint64 trailerSize = sizeof(qint64) + sizeof(quint32);

template <typename T>
void writeOptional(QDataStream &out, const std::optional<T> &value)
{
    out << bool(value);
    if (value)
        out << *value;
}

template <typename T>
void readOptional(QDataStream &in, std::optional<T> &value)
{
    bool present = false;
    in >> present;
    if (present) {
        T read{};
        in >> read;
        value = std::move(read);
    } else {
        value.reset();
    }
}

// A list of texts as QDataStream writes it. Read here, not by QDataStream: Qt 6.4 reserves room
// for as many texts as the count in the file says before reading one, gigabytes for a damaged
// count; here the list grows only by the texts actually read.
void readTexts(QDataStream &in, QStringList &texts)
{
    texts.clear();
    quint32 count = 0;
    in >> count;
    for (quint32 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        QString text;
        in >> text;
        texts.append(std::move(text));
    }
    if (in.status() != QDataStream::Ok)
        texts.clear();
}

void writeTrack(QDataStream &out, const ScannedTrack &t)
{
    out << t.identity << t.title << t.artist << t.artists << t.album
        << t.albumArtist << t.genre;
    writeOptional(out, t.releaseDate);
    writeOptional(out, t.trackNumber);
    writeOptional(out, t.discNumber);
    out << t.duration << t.modified << t.artworkPath;
}

// The track's file is the entry's path, not stored twice.
void readTrack(QDataStream &in, ScannedTrack &t)
{
    in >> t.identity >> t.title >> t.artist;
    readTexts(in, t.artists);
    in >> t.album >> t.albumArtist >> t.genre;
    readOptional(in, t.releaseDate);
    readOptional(in, t.trackNumber);
    readOptional(in, t.discNumber);
    in >> t.duration >> t.modified >> t.artworkPath;
}

void writeEntry(QDataStream &out, const QByteArray &path, const ScanCache::Entry &entry)
{
    out << path << entry.size << entry.modifiedNs << entry.inode << bool(entry.track);
    if (entry.track)
        writeTrack(out, *entry.track);
}

QByteArray readEntry(QDataStream &in, ScanCache::Entry &entry)
{
    QByteArray path;
    bool readable = false;
    in >> path >> entry.size >> entry.modifiedNs >> entry.inode >> readable;
    if (readable) {
        entry.track.emplace();
        entry.track->fileName = path;
        readTrack(in, *entry.track);
    }
    return path;
}

// Where one folder's entries are in the file.
struct Block {
    qint64 offset = 0;
    qint64 length = 0;
    qint64 count = 0;
};

struct Index {
    QList<std::pair<QByteArray, Block>> blocks; // in the file's order
};

// Checks the header and the trailer of an open cache file and reads its folder index.
std::optional<Index> readIndex(QFile &file, const QByteArray &expectedRoot)
{
    const qint64 size = file.size();
    if (size < trailerSize)
        return std::nullopt;
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_6_4);
    quint32 readMagic = 0, version = 0;
    QByteArray root;
    in >> readMagic >> version >> root;
    if (in.status() != QDataStream::Ok || readMagic != magic || version != ScanCache::formatVersion || root != expectedRoot)
        return std::nullopt;
    qint64 indexOffset = 0;
    quint32 trailerMagic = 0;
    if (!file.seek(size - trailerSize))
        return std::nullopt;
    in >> indexOffset >> trailerMagic;
    if (in.status() != QDataStream::Ok || trailerMagic != magic || indexOffset <= 0 || indexOffset > size - trailerSize ||
        !file.seek(indexOffset))
        return std::nullopt;
    qint64 count = 0;
    in >> count;
    if (count < 0)
        return std::nullopt;
    Index index;
    for (qint64 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        QByteArray folder;
        Block block;
        in >> folder >> block.offset >> block.length >> block.count;
        if (block.offset < 0 || block.length < 0 || block.offset > indexOffset || block.length > indexOffset - block.offset)
            return std::nullopt;
        index.blocks.append({std::move(folder), block});
    }
    if (in.status() != QDataStream::Ok)
        return std::nullopt;
    return index;
}

// Writes a cache file: the header, the blocks of entries one folder each, the index, the trailer.
class Writer {
public:
    Writer(QSaveFile &file, const QByteArray &root, qint64 entryCount) : m_file(file), m_out(&file)
    {
        m_out.setVersion(QDataStream::Qt_6_4);
        m_out << magic << ScanCache::formatVersion << root << entryCount;
    }
    // Entries of one folder, written by the caller between begin and end.
    QDataStream &begin() { m_start = m_file.pos(); return m_out; }
    void end(const QByteArray &folder, qint64 count) { m_index.append({folder, {m_start, m_file.pos() - m_start, count}}); }
    void copy(const QByteArray &folder, const Block &block, const QByteArray &bytes)
    {
        begin();
        m_out.writeRawData(bytes.constData(), int(bytes.size()));
        end(folder, block.count);
    }
    bool finish()
    {
        const qint64 indexOffset = m_file.pos();
        m_out << qint64(m_index.size());
        for (const auto &[folder, block] : std::as_const(m_index))
            m_out << folder << block.offset << block.length << block.count;
        m_out << indexOffset << magic;
        return m_out.status() == QDataStream::Ok;
    }

private:
    QSaveFile &m_file;
    QDataStream m_out;
    qint64 m_start = 0;
    QList<std::pair<QByteArray, Block>> m_index;
};

// The entries by the folder they are directly in.
QHash<QByteArray, QList<ScanCache::Entries::const_iterator>> byFolder(const ScanCache::Entries &entries)
{
    QHash<QByteArray, QList<ScanCache::Entries::const_iterator>> folders;
    for (auto it = entries.cbegin(); it != entries.cend(); ++it)
        folders[FolderWalk::parentOf(it.key())].append(it);
    return folders;
}

// Each folder's entries, side by side.
void writeFolders(Writer &writer, const ScanCache::Entries &entries)
{
    const auto folders = byFolder(entries);
    for (auto it = folders.cbegin(); it != folders.cend(); ++it) {
        QDataStream &out = writer.begin();
        for (const auto &entry : it.value())
            writeEntry(out, entry.key(), entry.value());
        writer.end(it.key(), it->size());
    }
}

} // namespace

ScanCache::ScanCache(QByteArray root, QString file) : m_root(std::move(root)), m_file(std::move(file)) {}

bool ScanCache::load()
{
    m_entries.clear();
    m_pendingFolders.clear();
    m_pendingEntries.clear();
    m_dirty = false;
    m_loaded = true;
    m_fileCurrent = false;
    QFile file(m_file);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_6_4);
    quint32 readMagic = 0, version = 0;
    QByteArray root;
    qint64 count = 0;
    in >> readMagic >> version >> root >> count;
    if (in.status() != QDataStream::Ok || readMagic != magic || version != formatVersion || root != m_root || count < 0)
        return false;
    // Room for no more entries than the file's bytes can hold (a path and a few numbers each).
    constexpr qint64 smallestEntry = 29;
    Entries entries;
    entries.reserve(std::min(count, file.size() / smallestEntry));
    SharedTexts texts;
    for (qint64 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        Entry entry;
        QByteArray path = readEntry(in, entry);
        if (entry.track)
            texts.shareRepeated(*entry.track);
        entries.insert(std::move(path), std::move(entry));
    }
    if (in.status() != QDataStream::Ok) {
        LUMEVAR_NOTICE(Log::collection(), "The scan cache %@ is damaged; reading the whole folder", m_file);
        return false;
    }
    m_entries = std::move(entries);
    m_fileCurrent = true;
    return true;
}

ScanCache::Entries ScanCache::takeEntries()
{
    if (m_dirty)
        return m_entries;
    m_loaded = false;
    return std::exchange(m_entries, Entries());
}

void ScanCache::release()
{
    // A cache whose changes could not be written keeps them for the next scan.
    if (m_dirty)
        return;
    m_entries = Entries();
    m_loaded = false;
}

std::optional<ScanCache::Entries> ScanCache::readFolders(const QSet<QByteArray> &folders) const
{
    if (!m_fileCurrent || m_dirty)
        return std::nullopt;
    QFile file(m_file);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const std::optional<Index> index = readIndex(file, m_root);
    if (!index)
        return std::nullopt;
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_6_4);
    Entries entries;
    for (const auto &[folder, block] : index->blocks) {
        if (!folders.contains(folder))
            continue;
        if (!file.seek(block.offset))
            return std::nullopt;
        for (qint64 i = 0; i < block.count && in.status() == QDataStream::Ok; ++i) {
            Entry entry;
            QByteArray path = readEntry(in, entry);
            entries.insert(std::move(path), std::move(entry));
        }
        if (in.status() != QDataStream::Ok || file.pos() != block.offset + block.length)
            return std::nullopt;
    }
    return entries;
}

void ScanCache::updateFolders(QSet<QByteArray> folders, Entries entries)
{
    m_pendingFolders = std::move(folders);
    m_pendingEntries = std::move(entries);
    m_dirty = true;
}

bool ScanCache::save()
{
    if (m_file.isEmpty())
        return false;
    m_fileCurrent = false;
    QDir().mkpath(QFileInfo(m_file).absolutePath());
    const bool saved = m_loaded ? saveAll() : saveFolders();
    if (saved) {
        m_dirty = false;
        m_fileCurrent = true;
        m_pendingFolders.clear();
        m_pendingEntries.clear();
    }
    return saved;
}

bool ScanCache::saveAll()
{
    QSaveFile file(m_file);
    if (!file.open(QIODevice::WriteOnly)) {
        LUMEVAR_NOTICE(Log::collection(), "Cannot write the scan cache %@: %@", m_file, file.errorString());
        return false;
    }
    Writer writer(file, m_root, m_entries.size());
    writeFolders(writer, m_entries);
    if (!writer.finish() || !file.commit()) {
        LUMEVAR_NOTICE(Log::collection(), "Cannot write the scan cache %@: %@", m_file, file.errorString());
        return false;
    }
    return true;
}

bool ScanCache::saveFolders()
{
    // The folders that did not change are copied as bytes; their entries are never decoded.
    QFile old(m_file);
    std::optional<Index> index;
    if (old.open(QIODevice::ReadOnly))
        index = readIndex(old, m_root);
    if (!index) {
        LUMEVAR_NOTICE(Log::collection(), "Cannot update the scan cache %@: it is gone or damaged", m_file);
        return false;
    }
    qint64 count = m_pendingEntries.size();
    for (const auto &[folder, block] : std::as_const(index->blocks)) {
        if (!m_pendingFolders.contains(folder))
            count += block.count;
    }
    QSaveFile file(m_file);
    if (!file.open(QIODevice::WriteOnly)) {
        LUMEVAR_NOTICE(Log::collection(), "Cannot write the scan cache %@: %@", m_file, file.errorString());
        return false;
    }
    Writer writer(file, m_root, count);
    for (const auto &[folder, block] : std::as_const(index->blocks)) {
        if (m_pendingFolders.contains(folder))
            continue;
        if (!old.seek(block.offset)) {
            file.cancelWriting();
            return false;
        }
        const QByteArray bytes = old.read(block.length);
        if (bytes.size() != block.length) {
            LUMEVAR_NOTICE(Log::collection(), "Cannot update the scan cache %@: it is damaged", m_file);
            file.cancelWriting();
            return false;
        }
        writer.copy(folder, block, bytes);
    }
    writeFolders(writer, m_pendingEntries);
    if (!writer.finish() || !file.commit()) {
        LUMEVAR_NOTICE(Log::collection(), "Cannot write the scan cache %@: %@", m_file, file.errorString());
        return false;
    }
    return true;
}

#include "Platform/LocalLibrary/ScanCache.h"

#include "Platform/LocalLibrary/SharedTexts.h"
#include "Support/Log.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace {

constexpr quint32 magic = 0x4c565343; // "LVSC"

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

void writeTrack(QDataStream &out, const ScannedTrack &t)
{
    out << t.fileName << t.path << t.relativePath << t.identity << t.title << t.artist << t.artists << t.album
        << t.albumArtist << t.genre;
    writeOptional(out, t.releaseDate);
    writeOptional(out, t.trackNumber);
    writeOptional(out, t.discNumber);
    out << t.duration << t.modified << t.artworkPath;
}

void readTrack(QDataStream &in, ScannedTrack &t)
{
    in >> t.fileName >> t.path >> t.relativePath >> t.identity >> t.title >> t.artist >> t.artists >> t.album
        >> t.albumArtist >> t.genre;
    readOptional(in, t.releaseDate);
    readOptional(in, t.trackNumber);
    readOptional(in, t.discNumber);
    in >> t.duration >> t.modified >> t.artworkPath;
}

} // namespace

ScanCache::ScanCache(QByteArray root, QString file) : m_root(std::move(root)), m_file(std::move(file)) {}

bool ScanCache::load()
{
    m_entries.clear();
    m_dirty = false;
    m_loaded = true;
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
    QHash<QByteArray, Entry> entries;
    entries.reserve(count);
    SharedTexts texts;
    for (qint64 i = 0; i < count && in.status() == QDataStream::Ok; ++i) {
        QByteArray path;
        Entry entry;
        bool readable = false;
        in >> path >> entry.size >> entry.modifiedNs >> entry.inode >> readable;
        if (readable) {
            entry.track.emplace();
            readTrack(in, *entry.track);
            texts.shareRepeated(*entry.track);
        }
        entries.insert(path, std::move(entry));
    }
    if (in.status() != QDataStream::Ok) {
        Log::notice(Log::collection(), "The scan cache %@ is damaged; reading the whole folder", m_file);
        return false;
    }
    m_entries = std::move(entries);
    return true;
}

bool ScanCache::save() const
{
    if (m_file.isEmpty())
        return false;
    QDir().mkpath(QFileInfo(m_file).absolutePath());
    QSaveFile file(m_file);
    if (!file.open(QIODevice::WriteOnly)) {
        Log::notice(Log::collection(), "Cannot write the scan cache %@: %@", m_file, file.errorString());
        return false;
    }
    QDataStream out(&file);
    out.setVersion(QDataStream::Qt_6_4);
    out << magic << formatVersion << m_root << qint64(m_entries.size());
    for (auto it = m_entries.cbegin(); it != m_entries.cend(); ++it) {
        const Entry &entry = it.value();
        out << it.key() << entry.size << entry.modifiedNs << entry.inode << bool(entry.track);
        if (entry.track)
            writeTrack(out, *entry.track);
    }
    if (out.status() != QDataStream::Ok || !file.commit()) {
        Log::notice(Log::collection(), "Cannot write the scan cache %@: %@", m_file, file.errorString());
        return false;
    }
    m_dirty = false;
    return true;
}

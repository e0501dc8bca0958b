#include "LumevarCore/SongSnapshot.h"

#include "Support/Log.h"

#include <QFile>
#include <QHash>
#include <QTemporaryFile>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <sys/stat.h>

namespace {

constexpr char magic[8] = {'L', 'u', 'm', 'S', 'o', 'n', 'g', 's'};
// Raised with every change of the layout below: a file of another version is refused.
constexpr quint32 formatVersion = 2;
constexpr quint32 noText = 0xffffffff;
constexpr quint8 hasReleaseDate = 1;
constexpr quint8 hasOrder = 2;
// The bytes of one record: its row, eight text numbers, duration, date, position and flags.
constexpr qint64 recordSize = sizeof(qint64) + 8 * sizeof(quint32) + sizeof(double) + sizeof(qint64) + sizeof(qint32) + sizeof(quint8);

// Which store file, in which state, the records were saved beside.
struct StoreIdentity {
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    qint64 modifiedNs = 0;
    friend bool operator==(const StoreIdentity &, const StoreIdentity &) = default;
};

struct Header {
    char magic[8];
    quint32 version;
    quint32 reserved;
    StoreIdentity store;
    quint64 payloadSize;
    quint64 payloadHash;
};

struct Refused : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A digest that is the same in every process: the file is written by one run and read by the next.
// (Qt's qHashBits mixes in a seed chosen per process, so a file checked with it always looked
// damaged to the next run.) FNV-1a over eight bytes at a time: damage, not tampering, is what it
// finds, at a few milliseconds for 100,000 songs.
quint64 hashOf(const char *data, qsizetype size)
{
    constexpr quint64 prime = 0x100000001b3;
    quint64 hash = 0xcbf29ce484222325;
    qsizetype i = 0;
    for (; i + 8 <= size; i += 8) {
        quint64 word;
        std::memcpy(&word, data + i, 8);
        hash = (hash ^ word) * prime;
    }
    for (; i < size; ++i)
        hash = (hash ^ quint8(data[i])) * prime;
    return hash;
}

std::optional<StoreIdentity> identityOf(const QString &storePath)
{
    struct stat info {};
    if (::stat(QFile::encodeName(storePath).constData(), &info) != 0)
        return std::nullopt;
    return StoreIdentity{quint64(info.st_dev), quint64(info.st_ino), qint64(info.st_size),
                         qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec};
}

// True when the store's write-ahead log holds no page: the file alone is the whole store.
bool logIsEmpty(const QString &storePath)
{
    QFile log(storePath + QStringLiteral("-wal"));
    return !log.exists() || log.size() == 0;
}

class Writer {
public:
    template <typename T>
    void put(T value)
    {
        m_bytes.append(reinterpret_cast<const char *>(&value), sizeof value);
    }
    void putText(const QString &text)
    {
        put(quint32(text.size()));
        m_bytes.append(reinterpret_cast<const char *>(text.constData()), text.size() * qsizetype(sizeof(QChar)));
    }
    QByteArray &bytes() { return m_bytes; }
    void reserve(qsizetype size) { m_bytes.reserve(size); }

private:
    QByteArray m_bytes;
};

class Reader {
public:
    Reader(const char *begin, const char *end) : m_at(begin), m_end(end) {}
    template <typename T>
    T get()
    {
        T value;
        need(sizeof value);
        std::memcpy(&value, m_at, sizeof value);
        m_at += sizeof value;
        return value;
    }
    QString getText()
    {
        const auto length = get<quint32>();
        need(size_t(length) * sizeof(QChar));
        QString text(reinterpret_cast<const QChar *>(m_at), qsizetype(length));
        m_at += size_t(length) * sizeof(QChar);
        return text;
    }
    bool atEnd() const { return m_at == m_end; }
    qint64 remaining() const { return m_end - m_at; }
    // A count read from the file, refused unless that many items of at least itemSize bytes
    // could follow: a damaged count must not size an allocation.
    quint32 getCount(size_t itemSize)
    {
        const auto count = get<quint32>();
        if (size_t(m_end - m_at) / itemSize < count)
            throw Refused("it names more items than it holds");
        return count;
    }

private:
    void need(size_t size) const
    {
        if (size_t(m_end - m_at) < size)
            throw Refused("it ends too early");
    }
    const char *m_at;
    const char *m_end;
};

// The texts of the records, numbered. A text the records share (an artist, an album, a song's
// identifier and play id) is one string in memory, so it is found by where its characters are,
// without hashing or comparing them: hashing 200,000 texts was most of what saving took. Equal
// texts held apart are saved apart, and read back apart, as they were.
class TextTable {
public:
    explicit TextTable(qsizetype expected) { m_indexes.reserve(expected); }
    quint32 indexOf(const QString &text) { return indexOf(text.constData(), [&text] { return text; }); }
    quint32 indexOf(const std::optional<QString> &text) { return text ? indexOf(*text) : noText; }
    // A URL shared by the records (an album's artwork) is one QUrl: its text is made once.
    quint32 indexOf(const QUrl &url)
    {
        return indexOf(const_cast<QUrl &>(url).data_ptr(), [&url] { return url.toString(QUrl::FullyEncoded); });
    }
    const QList<QString> &texts() const { return m_texts; }

private:
    template <typename Make>
    quint32 indexOf(const void *data, Make make)
    {
        const auto found = m_indexes.constFind(data);
        if (found != m_indexes.constEnd())
            return found.value();
        const auto index = quint32(m_texts.size());
        m_indexes.insert(data, index);
        m_texts.append(make());
        return index;
    }

    QHash<const void *, quint32> m_indexes;
    QList<QString> m_texts;
};

void putRecord(Writer &out, TextTable &texts, qint64 row, const LocalSong &song)
{
    out.put(row);
    out.put(texts.indexOf(song.identifier));
    out.put(texts.indexOf(song.title));
    out.put(texts.indexOf(song.artistName));
    out.put(texts.indexOf(song.albumTitle));
    out.put(texts.indexOf(song.genre));
    out.put(song.artworkURL ? texts.indexOf(*song.artworkURL) : noText);
    out.put(song.playParameters ? texts.indexOf(song.playParameters->id.rawValue()) : noText);
    out.put(song.playParameters ? texts.indexOf(song.playParameters->kind) : noText);
    out.put(song.duration);
    out.put(song.releaseDate ? song.releaseDate->toMSecsSinceEpoch() : qint64(0));
    out.put(qint32(song.order.value_or(0)));
    out.put(quint8((song.releaseDate ? hasReleaseDate : 0) | (song.order ? hasOrder : 0)));
}

QByteArray payloadOf(const SongImage &image)
{
    // The records go first into their own buffer: the texts they number must precede them.
    const qsizetype count = image.list.size() + image.others.size();
    // Sized at once: grown by doubling, the buffers were copied and their fresh pages faulted in
    // again and again, at every quit.
    constexpr qsizetype recordSize = 8 + 8 * 4 + 8 + 8 + 4 + 1;
    TextTable texts(count * 2);
    Writer records;
    records.reserve(count * recordSize);
    for (size_t i = 0; i < image.listRows.size(); ++i)
        putRecord(records, texts, image.listRows[i], image.list[qsizetype(i)]);
    for (size_t i = 0; i < image.otherRows.size(); ++i)
        putRecord(records, texts, image.otherRows[i], image.others[qsizetype(i)]);

    qsizetype size = 4 + 3 + 8 + records.bytes().size();
    for (const QString &text : texts.texts())
        size += 4 + text.size() * qsizetype(sizeof(QChar));
    for (const std::vector<qint64> &rows : image.sorted)
        size += 4 + qsizetype(rows.size() * sizeof(qint64));
    Writer out;
    out.reserve(size);
    out.put(quint32(texts.texts().size()));
    for (const QString &text : texts.texts())
        out.putText(text);
    out.put(quint8(image.listOrder.has_value()));
    out.put(quint8(image.listOrder ? int(image.listOrder->key) : 0));
    out.put(quint8(image.listOrder ? int(image.listOrder->order) : 0));
    out.put(quint32(image.listRows.size()));
    out.put(quint32(image.otherRows.size()));
    out.bytes().append(records.bytes());
    for (const std::vector<qint64> &rows : image.sorted) {
        out.put(quint32(rows.size()));
        out.bytes().append(reinterpret_cast<const char *>(rows.data()), qsizetype(rows.size() * sizeof(qint64)));
    }
    return std::move(out.bytes());
}

SongImage imageOf(Reader &in)
{
    SongImage image;
    const auto textCount = in.getCount(sizeof(quint32));
    std::vector<QString> texts;
    texts.reserve(textCount);
    for (quint32 i = 0; i < textCount; ++i)
        texts.push_back(in.getText());
    std::vector<bool> shared(textCount, false);
    std::vector<std::optional<QUrl>> urls(textCount);

    auto text = [&texts](quint32 index) -> const QString & {
        if (index >= texts.size())
            throw Refused("a record names a text it does not hold");
        return texts[index];
    };
    auto sharedText = [&](quint32 index) -> std::optional<QString> {
        if (index == noText)
            return std::nullopt;
        const QString &found = text(index);
        shared[index] = true;
        return found;
    };
    auto url = [&](quint32 index) -> std::optional<QUrl> {
        if (index == noText)
            return std::nullopt;
        const QString &source = text(index); // checks the number first
        std::optional<QUrl> &made = urls[index];
        if (!made)
            made = QUrl(source);
        return made;
    };

    const bool hasList = in.get<quint8>() != 0;
    const auto key = in.get<quint8>();
    const auto order = in.get<quint8>();
    if (hasList) {
        if (key > quint8(LocalSong::SortKey::order) || order > quint8(SortOrder::reverse))
            throw Refused("it names an unknown sort");
        image.listOrder = SortDescriptor<LocalSong>{LocalSong::SortKey(key), SortOrder(order)};
    }
    const auto listCount = in.get<quint32>();
    const auto otherCount = in.get<quint32>();
    if (qint64(listCount) + otherCount > in.remaining() / recordSize)
        throw Refused("it names more records than it holds");
    auto readRecords = [&](quint32 count, QList<LocalSong> &songs, std::vector<qint64> &rows) {
        songs.reserve(count);
        rows.reserve(count);
        for (quint32 i = 0; i < count; ++i) {
            // SQLite numbers the store's rows from 1 upwards; the records are looked up by
            // distances between rows, which other numbers would overflow.
            const auto row = in.get<qint64>();
            if (row <= 0)
                throw Refused("a record names a row the store cannot have");
            rows.push_back(row);
            LocalSong &song = songs.emplace_back();
            song.identifier = text(in.get<quint32>());
            song.id = MusicItemID(song.identifier);
            song.title = text(in.get<quint32>());
            song.artistName = sharedText(in.get<quint32>());
            song.albumTitle = sharedText(in.get<quint32>());
            song.genre = sharedText(in.get<quint32>());
            song.artworkURL = url(in.get<quint32>());
            const auto playID = in.get<quint32>();
            const auto playKind = in.get<quint32>();
            if (playID != noText)
                song.playParameters = PlayParameters{MusicItemID(text(playID)), sharedText(playKind).value_or(QString())};
            song.duration = in.get<double>();
            const auto releaseDate = in.get<qint64>();
            const auto position = in.get<qint32>();
            const auto flags = in.get<quint8>();
            if (flags & hasReleaseDate)
                song.releaseDate = QDateTime::fromMSecsSinceEpoch(releaseDate, Qt::UTC);
            if (flags & hasOrder)
                song.order = position;
        }
    };
    readRecords(listCount, image.list, image.listRows);
    readRecords(otherCount, image.others, image.otherRows);
    for (std::vector<qint64> &rows : image.sorted) {
        const auto count = in.getCount(sizeof(qint64));
        rows.resize(count);
        for (qint64 &row : rows)
            row = in.get<qint64>();
    }
    if (!in.atEnd())
        throw Refused("it holds more than it names");

    for (quint32 i = 0; i < textCount; ++i) {
        if (shared[i])
            image.sharedTexts.append(texts[i]);
        if (urls[i])
            image.urls.append({texts[i], *urls[i]});
    }
    return image;
}

} // namespace

namespace SongSnapshot {

QString pathBeside(const QString &storePath) { return storePath + QStringLiteral("-songs"); }

static_assert(sizeof(Header) == SongSnapshot::headerSize);

std::optional<QByteArray> headerFor(const QString &storePath, const QByteArray &payload)
{
    const std::optional<StoreIdentity> store = identityOf(storePath);
    if (!store || !logIsEmpty(storePath))
        return std::nullopt;
    Header header{};
    std::memcpy(header.magic, magic, sizeof magic);
    header.version = formatVersion;
    header.store = *store;
    header.payloadSize = quint64(payload.size());
    header.payloadHash = hashOf(payload.constData(), payload.size());
    return QByteArray(reinterpret_cast<const char *>(&header), sizeof header);
}

void write(const QString &storePath, const SongImage &image)
{
    const QString path = pathBeside(storePath);
    const QByteArray payload = payloadOf(image);
    const std::optional<QByteArray> header = headerFor(storePath, payload);
    if (!header) {
        // Records saved now would describe a store the file alone does not hold.
        QFile::remove(path);
        LUMEVAR_NOTICE(Log::app(), "The song records are not saved beside the store: its file is not whole");
        return;
    }

    // Written beside its name and renamed over it, so a reader never sees half a file. Unlike
    // QSaveFile this does not wait for the disk (fsync), which a quit would wait for: a file cut
    // short by a power loss fails its digest and the next open reads the table instead.
    QTemporaryFile file(path + QStringLiteral(".XXXXXX"));
    bool written = file.open() &&
                   file.write(*header) == header->size() &&
                   file.write(payload) == payload.size() && file.flush();
    QString failure = file.errorString();
    file.close();
    if (written && std::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(path).constData()) != 0) {
        written = false;
        failure = QString::fromLocal8Bit(std::strerror(errno));
    }
    if (written) {
        file.setAutoRemove(false); // renamed away
    } else {
        LUMEVAR_ERROR(Log::app(), "Failed to save the song records beside the store at %@: %@", path, failure);
        QFile::remove(path);
    }
}

std::optional<SongImage> take(const QString &storePath)
{
    const QString path = pathBeside(storePath);
    QFile file(path);
    if (!file.exists())
        return std::nullopt;
    QByteArray bytes;
    if (file.open(QIODevice::ReadOnly))
        bytes = file.readAll();
    file.close();

    try {
        Header header{};
        if (bytes.size() < qsizetype(sizeof header))
            throw Refused("it is too short");
        std::memcpy(&header, bytes.constData(), sizeof header);
        if (std::memcmp(header.magic, magic, sizeof magic) != 0)
            throw Refused("it is not a file of song records");
        if (header.version != formatVersion)
            throw Refused("it is of another version");
        if (identityOf(storePath) != header.store || !logIsEmpty(storePath))
            throw Refused("the store has changed since it was saved");
        const char *payload = bytes.constData() + sizeof header;
        if (header.payloadSize != quint64(bytes.size()) - sizeof header ||
            hashOf(payload, qsizetype(header.payloadSize)) != header.payloadHash)
            throw Refused("it is damaged");
        Reader in(payload, payload + header.payloadSize);
        return imageOf(in);
    } catch (const Refused &refused) {
        LUMEVAR_ERROR(Log::app(), "The song records saved beside the store are not used (%@); they are read from the store",
                    QString::fromUtf8(refused.what()));
        remove(storePath);
        return std::nullopt;
    }
}

bool remove(const QString &storePath)
{
    QFile file(pathBeside(storePath));
    if (!file.exists() || file.remove())
        return true;
    LUMEVAR_ERROR(Log::app(), "Failed to remove the song records saved beside the store: %@", file.errorString());
    return false;
}

} // namespace SongSnapshot

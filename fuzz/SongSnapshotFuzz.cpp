// The song records snapshot on arbitrary bytes. A snapshot is trusted only beside the store file
// it names and with a matching digest, which random bytes never reach; so the input's header is
// stamped with the scratch store's identity and the digest of the rest, and the reader then works
// on the payload as it would on a file it trusts. What it accepts is adopted by the song records
// and listed in every order, as the store does after an open.

#include "FuzzKit.h"

#include "LumevarCore/SongRecords.h"
#include "LumevarCore/SongSnapshot.h"
#include "LumevarCore/StoreSchema.h"
#include "LumevarCore/Sqlite.h"

#include <QFile>
#include <QFileInfo>
#include <cstring>
#include <sys/stat.h>

namespace {

// The header's layout: magic (8), version (4), reserved (4), the store's device, inode, size and
// modification time in nanoseconds (8 each), the payload's size and its digest (8 each).
constexpr size_t identityAt = 16;
constexpr size_t payloadSizeAt = 48;
constexpr size_t digestAt = 56;
constexpr size_t headerSize = 64;

// FNV-1a over eight-byte words, as the snapshot's digest is made.
quint64 digestOf(const char *data, size_t size)
{
    constexpr quint64 prime = 0x100000001b3;
    quint64 hash = 0xcbf29ce484222325;
    size_t i = 0;
    for (; i + 8 <= size; i += 8) {
        quint64 word;
        std::memcpy(&word, data + i, 8);
        hash = (hash ^ word) * prime;
    }
    for (; i < size; ++i)
        hash = (hash ^ quint8(data[i])) * prime;
    return hash;
}

template <typename T>
void put(QByteArray &bytes, size_t at, T value)
{
    std::memcpy(bytes.data() + at, &value, sizeof value);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzKit::setUp();
    static const QByteArray storeFile = FuzzKit::write(QStringLiteral("store.db"), "store");
    static SqliteConnection &db = *[] {
        auto *connection = new SqliteConnection; // lives as long as the process
        connection->open(QStringLiteral(":memory:"));
        StoreSchema::prepare(*connection);
        return connection;
    }();

    QByteArray bytes = FuzzKit::bytes(data, size);
    if (size_t(bytes.size()) >= headerSize) {
        struct stat info {};
        if (::stat(storeFile.constData(), &info) != 0)
            std::abort();
        put(bytes, identityAt, quint64(info.st_dev));
        put(bytes, identityAt + 8, quint64(info.st_ino));
        put(bytes, identityAt + 16, qint64(info.st_size));
        put(bytes, identityAt + 24, qint64(info.st_mtim.tv_sec) * 1'000'000'000 + info.st_mtim.tv_nsec);
        put(bytes, payloadSizeAt, quint64(size_t(bytes.size()) - headerSize));
        put(bytes, digestAt, digestOf(bytes.constData() + headerSize, size_t(bytes.size()) - headerSize));
    }
    const QString store = QFile::decodeName(storeFile);
    FuzzKit::write(QFileInfo(SongSnapshot::pathBeside(store)).fileName(), bytes);
    std::optional<SongImage> image = SongSnapshot::take(store);
    if (!image)
        return 0;
    SongRecords records;
    records.adopt(std::move(*image));
    for (int key = 0; key <= int(LocalSong::SortKey::order); ++key) {
        for (const SortOrder order : {SortOrder::forward, SortOrder::reverse})
            records.library(db, {LocalSong::SortKey(key), order});
    }
    records.image(db);
    return 0;
}

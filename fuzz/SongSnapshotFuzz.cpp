// The song records snapshot on arbitrary bytes. A snapshot is trusted only beside the store file
// it names and with a matching digest, which random bytes never reach; so the input is the payload,
// put behind the header the writer makes for the scratch store, and the reader then works on it as
// it would on a file it trusts. What it accepts is adopted by the song records
// and listed in every order, as the store does after an open.

#include "FuzzKit.h"

#include "LumevarCore/SongRecords.h"
#include "LumevarCore/SongSnapshot.h"
#include "LumevarCore/StoreSchema.h"
#include "LumevarCore/Sqlite.h"

#include <QFile>
#include <QFileInfo>
#include <cstdlib>

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

    const QString store = QFile::decodeName(storeFile);
    // The input is the payload, behind the header the writer would give it for this store.
    const QByteArray payload = FuzzKit::bytes(data, size);
    const std::optional<QByteArray> header = SongSnapshot::headerFor(store, payload);
    if (!header)
        std::abort(); // the scratch store itself cannot be read: no input can be judged
    const QByteArray bytes = *header + payload;
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

// Opening a store file of arbitrary bytes the way the application does: it is refused (moved
// aside, or left alone with a store in memory) or healed, and what opened answers the reads of a
// launch. A read may fail with a StoreError (damage the quick check does not see); anything else
// is a fault.

#include "FuzzKit.h"

#include "LumevarCore/LocalDatabase.h"
#include "Support/Error.h"
#include "TestKit/AsyncTest.h"

#include <QDir>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzKit::setUp();
    FuzzKit::clear(QStringLiteral("store"));
    QDir(FuzzKit::scratch()).mkpath(QStringLiteral("store"));
    const QByteArray file = FuzzKit::write(QStringLiteral("store/local.db"), FuzzKit::bytes(data, size));

    LocalDatabase database(QFile::decodeName(file));
    runTask(database.openOrRebuild());
    try {
        runTask(database.allLibrarySongs({LocalSong::SortKey::title}));
        runTask(database.allAlbums({LocalAlbum::SortKey::title}));
        runTask(database.allArtists({LocalArtist::SortKey::name}));
        for (const LocalPlaylist &playlist : runTask(database.allPlaylists({LocalPlaylist::SortKey::name})))
            runTask(database.songs(playlist));
        runTask(database.search(QStringLiteral("a")));
    } catch (const StoreError &) {
    }
    runTask(database.close());
    return 0;
}

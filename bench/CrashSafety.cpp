// The process that bench/crash-safety.sh kills: one launch of the library's mirror as the
// application runs it (the store opened and healed, the folder read, the library synced, the store
// closed), and the check that follows each kill. Not a benchmark; a plain program:
//
//   CrashSafety library FOLDER COUNT   writes COUNT small tagged MP3s (and 500 more in FOLDER/.Extra)
//   CrashSafety sync HOME FOLDER       a launch: open, read the folder, sync it all, quit
//   CrashSafety change HOME FOLDER     .Extra becomes Extra (500 songs come) and the change is applied
//   CrashSafety quit HOME FOLDER       open, read the song list, quit (the log folded back, the
//                                      song records saved beside the store)
//   CrashSafety check HOME FOLDER      after a kill: the store's integrity, the snapshot beside it
//                                      refused or current, and a launch that converges
//
// HOME holds the store (local.db) and the cache of the folder's scans. check prints one line,
// "ok …" or "FAIL …", and exits 0 or 1.

#include "Common/BenchLibrary.h"

#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SongSnapshot.h"
#include "LumevarCore/SyncEngine.h"
#include "Platform/LocalLibrary/LocalLibraryService.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLoggingCategory>

#include <sqlite3.h>

#include <cstdio>

namespace {

// A small MP3 whose ID3v2.4 tag is written by hand: TagLib would take minutes for 20,000 files.
QByteArray smallMp3(int i)
{
    const auto syncsafe = [](quint32 n) {
        QByteArray b(4, '\0');
        for (int k = 3; k >= 0; --k, n >>= 7)
            b[k] = char(n & 0x7f);
        return b;
    };
    QByteArray body;
    const int album = i / 12;
    for (const auto &[id, value] : {std::pair{"TIT2", QStringLiteral("Song %1").arg(i)},
                                    std::pair{"TPE1", QStringLiteral("Artist %1").arg(album / 4)},
                                    std::pair{"TALB", QStringLiteral("Album %1").arg(album)},
                                    std::pair{"TRCK", QString::number(i % 12 + 1)}}) {
        const QByteArray payload = '\x03' + value.toUtf8();
        body += QByteArray(id) + syncsafe(quint32(payload.size())) + QByteArray(2, '\0') + payload;
    }
    QByteArray frame(417, '\0'); // silent MPEG-1 Layer III frames, 128 kbit/s
    frame[0] = char(0xFF);
    frame[1] = char(0xFB);
    frame[2] = char(0x90);
    frame[3] = char(0x64);
    return QByteArray("ID3\x04\x00\x00", 6) + syncsafe(quint32(body.size())) + body + frame.repeated(8);
}

bool writeLibrary(const QString &folder, int count)
{
    const auto write = [](const QString &path, const QByteArray &bytes) {
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    };
    for (int i = 0; i < count + 500; ++i) {
        const QString sub = i < count ? QStringLiteral("Artist %1/Album %2").arg(i / 48).arg(i / 12)
                                      : QStringLiteral(".Extra/Album %1").arg(i / 12);
        if (!write(QStringLiteral("%1/%2/%3.mp3").arg(folder, sub).arg(i), smallMp3(i)))
            return false;
    }
    return true;
}

struct Launch {
    QString store;
    QString cache;
};

Launch launchIn(const QString &home)
{
    return {home + QStringLiteral("/local.db"), home + QStringLiteral("/cache")};
}

int libraryCount(LocalDatabase &database)
{
    return int(await(database.allLibrarySongs({LocalSong::SortKey::order})).size());
}

// The identifiers of the library's songs in library order, read from the file by a connection
// of its own (what the table says, whatever the snapshot holds).
QStringList tableLibrary(const QString &store)
{
    QStringList ids;
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(store).constData(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_stmt *statement = nullptr;
        if (sqlite3_prepare_v2(db, "SELECT id FROM songs WHERE library_order IS NOT NULL ORDER BY library_order, pk", -1,
                               &statement, nullptr) == SQLITE_OK) {
            while (sqlite3_step(statement) == SQLITE_ROW)
                ids.append(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0))));
        }
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    return ids;
}

QString integrity(const QString &store)
{
    QString answer = QStringLiteral("no answer");
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(store).constData(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
        sqlite3_stmt *statement = nullptr;
        if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &statement, nullptr) == SQLITE_OK &&
            sqlite3_step(statement) == SQLITE_ROW)
            answer = QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0)));
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    return answer;
}

void syncAll(LocalDatabase &database, LocalLibraryService &service)
{
    awaitVoid(SyncEngine(database, service).syncAll(nullptr));
}

int check(const QString &home, const QString &folder)
{
    const Launch launch = launchIn(home);
    const bool hadStore = QFile::exists(launch.store);
    const QString answer = hadStore ? integrity(launch.store) : QStringLiteral("ok");
    if (answer != QLatin1String("ok")) {
        std::printf("FAIL integrity: %s\n", qPrintable(answer));
        return 1;
    }
    // The snapshot is read by the open: what the first list shows must be what the table holds.
    const bool hadSnapshot = QFile::exists(SongSnapshot::pathBeside(launch.store));
    const QStringList table = hadStore ? tableLibrary(launch.store) : QStringList();
    LocalDatabase database(launch.store);
    const StoreCondition condition = await(database.openOrRebuild());
    // A first sync killed before its first songs were stored leaves a store that opens empty:
    // that is the store as it was, and the open says so to have the next launch sync it whole.
    const bool openedAsItWas = condition.kind == StoreCondition::Kind::ready
        || (condition.kind == StoreCondition::Kind::empty && table.isEmpty());
    if (!openedAsItWas) {
        std::printf("FAIL the store was not opened as it was (%s)\n", qPrintable(condition.reason));
        return 1;
    }
    QStringList listed;
    for (const LocalSong &song : await(database.allLibrarySongs({LocalSong::SortKey::order})))
        listed.append(song.identifier);
    if (listed != table) {
        std::printf("FAIL stale song records: %lld listed, %lld in the table\n", qlonglong(listed.size()), qlonglong(table.size()));
        return 1;
    }
    LocalLibraryService service(folder, launch.cache);
    syncAll(database, service);
    const int stored = libraryCount(database);
    const int expected = await(service.librarySongs(0, 1)).totalCount;
    awaitVoid(database.close());
    if (stored != expected) {
        std::printf("FAIL no convergence: %d of %d songs\n", stored, expected);
        return 1;
    }
    std::printf("ok integrity, %s, %d of %d songs after the next launch\n",
                hadSnapshot ? "snapshot refused or current" : "no snapshot", stored, expected);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false"));
    const QStringList args = app.arguments();
    if (args.size() != 4) {
        std::fprintf(stderr, "usage: CrashSafety library FOLDER COUNT | sync|change|quit|check HOME FOLDER\n");
        return 2;
    }
    const QString mode = args[1];
    if (mode == QLatin1String("library"))
        return writeLibrary(args[2], args[3].toInt()) ? 0 : 1;
    const QString home = args[2];
    const QString folder = args[3];
    if (mode == QLatin1String("check"))
        return check(home, folder);

    const Launch launch = launchIn(home);
    QDir().mkpath(home);
    LocalDatabase database(launch.store);
    await(database.openOrRebuild());
    if (mode == QLatin1String("quit")) {
        libraryCount(database);
    } else {
        LocalLibraryService service(folder, launch.cache);
        if (mode == QLatin1String("change")) {
            const std::optional<QString> before = await(service.libraryRevision());
            QDir(folder).rename(QStringLiteral(".Extra"), QStringLiteral("Extra"));
            awaitVoid(service.rescan());
            const std::optional<QString> after = await(service.libraryRevision());
            const auto changes = before && after ? await(service.libraryChanges(*before, *after)) : std::nullopt;
            if (changes)
                awaitVoid(SyncEngine(database, service).applyChanges(*changes));
            else
                syncAll(database, service);
        } else {
            syncAll(database, service);
        }
        std::printf("%d songs\n", libraryCount(database));
    }
    awaitVoid(database.close());
    return 0;
}

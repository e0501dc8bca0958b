#include "LumevarCore/StoreRecovery.h"

#include "LumevarCore/StoreSchema.h"
#include "LumevarCore/StoreState.h"
#include "Support/Log.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <sqlite3.h>

namespace StoreRecovery {

namespace {

enum class Verdict { opened, damaged, unusable };

struct Attempt {
    Verdict verdict;
    QString reason;
};

// Result codes that say the bytes of the file are not a sound database, as opposed to the file
// being out of reach (permissions, a full disk, a lock).
bool meansDamage(int code)
{
    const int primary = code & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB || code == SQLITE_IOERR_SHORT_READ;
}

Attempt tryOpen(StoreState &state, const QString &path)
{
    try {
        state.db.open(path);
        StoreSchema::prepare(state.db);
        // A file cut short or with overwritten pages often opens and answers the first queries;
        // the quick check reads every page once.
        QString answer;
        {
            SqliteQuery check = state.db.query("PRAGMA quick_check(1)");
            answer = check.next() ? check.text(0) : QStringLiteral("no answer");
        }
        if (answer != QLatin1String("ok")) {
            state.db.closeWithoutCheckpoint();
            return {Verdict::damaged, QStringLiteral("it failed its integrity check (%1)").arg(answer)};
        }
        if (state.db.isReadOnly()) {
            state.db.close();
            return {Verdict::unusable, QStringLiteral("%1 is read-only").arg(path)};
        }
        return {Verdict::opened, {}};
    } catch (const StoreError &error) {
        const int code = state.db.lastErrorCode();
        state.db.closeWithoutCheckpoint();
        return {meansDamage(code) ? Verdict::damaged : Verdict::unusable, error.localizedDescription()};
    }
}

// Renames the store and its journal files; the journal keeps its place beside the store so the
// pair can still be opened together. Returns the new name of the store, empty when it could not
// be moved.
QString moveAside(const QString &path)
{
    const QString target = damagedName(path, QDateTime::currentDateTimeUtc());
    if (!QFile::rename(path, target))
        return {};
    for (const char *suffix : {"-wal", "-shm"}) {
        const QString journal = path + QLatin1String(suffix);
        if (QFileInfo::exists(journal) && !QFile::rename(journal, target + QLatin1String(suffix)))
            LUMEVAR_ERROR(Log::app(), "Failed to move %@ aside", journal);
    }
    return target;
}

} // namespace

QString damagedName(const QString &path, const QDateTime &when)
{
    const QString base = path + QStringLiteral(".damaged-") + when.toUTC().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString name = base;
    for (int n = 2; QFileInfo::exists(name) || QFileInfo(name).isSymLink(); ++n)
        name = base + u'-' + QString::number(n);
    return name;
}

StoreCondition openOrRebuild(StoreState &state, const QString &path)
{
    state.openFailure.reset();
    state.songs.forget();
    state.songIndex.forget();

    const QFileInfo info(path);
    Attempt attempt = info.exists() && !info.isFile() ? Attempt{Verdict::damaged, QStringLiteral("it is not a file")}
                                                      : tryOpen(state, path);
    if (attempt.verdict == Verdict::opened) {
        // A store without songs was made just now or lost its contents: the library that the
        // settings say was mirrored is not here.
        SqliteQuery anySong = state.db.query("SELECT 1 FROM songs LIMIT 1");
        if (!anySong.next())
            return {StoreCondition::Kind::empty, {}, QStringLiteral("it holds no songs")};
        return {};
    }

    QString reason = attempt.reason;
    if (attempt.verdict == Verdict::damaged) {
        LUMEVAR_ERROR(Log::app(), "The local store %@ is damaged: %@", path, reason);
        const QString moved = moveAside(path);
        if (!moved.isEmpty()) {
            LUMEVAR_NOTICE(Log::app(), "Moved the damaged store to %@; making a new one", moved);
            const Attempt fresh = tryOpen(state, path);
            if (fresh.verdict == Verdict::opened)
                return {StoreCondition::Kind::rebuilt, moved, reason};
            reason = fresh.reason;
        } else {
            reason = QStringLiteral("%1 is damaged and cannot be moved aside").arg(path);
        }
    }

    LUMEVAR_ERROR(Log::app(), "Cannot use the local store %@ (%@); keeping the library in memory for this run", path, reason);
    const Attempt memory = tryOpen(state, QStringLiteral(":memory:"));
    if (memory.verdict != Verdict::opened)
        state.openFailure = StoreError(StoreError::openFailed, memory.reason);
    return {StoreCondition::Kind::temporary, {}, reason};
}

} // namespace StoreRecovery

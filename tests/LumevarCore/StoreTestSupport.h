#pragma once
// A fresh store in a temporary folder per test, and song makers with the fields the store keys on.

#include "FakeMusicService.h"
#include "LumevarCore/LocalDatabase.h"
#include "Support/Task.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/Lists.h"

#include <QTemporaryDir>
#include <sqlite3.h>
#include <gtest/gtest.h>
#include <memory>

// The first column of every row of a query on the store file, read through a connection of its own.
inline QStringList sqliteColumn(const QString &path, const char *sql)
{
    sqlite3 *db = nullptr;
    QStringList rows;
    if (sqlite3_open_v2(path.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
        sqlite3_stmt *statement = nullptr;
        if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) == SQLITE_OK)
            while (sqlite3_step(statement) == SQLITE_ROW)
                rows.append(QString::fromUtf8(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0))));
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    return rows;
}

// Runs sql on the store file through a connection of its own.
inline void runSql(const QString &path, const char *sql)
{
    sqlite3 *db = nullptr;
    ASSERT_EQ(sqlite3_open(path.toUtf8().constData(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
    sqlite3_close(db);
}

inline QStringList titles(const QList<LocalSong> &songs) { return textsOf(songs, &LocalSong::title); }

inline Song makeSong(const QString &id, const QString &title, std::optional<QString> artist = std::nullopt,
                     std::optional<QString> album = std::nullopt, double duration = 200)
{
    Song song = FakeMusicService::song(id, title, artist.value_or(QString()), duration);
    song.artistName = artist;
    song.albumTitle = album;
    return song;
}

// A service that cancels its handle when asked for the second page of songs: a sync stopped
// between pages.
class CancelAfterFirstSongPage : public FakeMusicService {
public:
    TaskHandle handle;
    QCoro::Task<LibraryPage<Song>> librarySongs(int offset, int limit) override
    {
        if (offset > 0)
            handle.cancel();
        return FakeMusicService::librarySongs(offset, limit);
    }
};

class StoreTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.isValid());
        database = std::make_unique<LocalDatabase>(dir.filePath(QStringLiteral("local.db")));
        runTask(database->open());
    }
    void TearDown() override
    {
        if (database)
            runTask(database->close());
    }

    // Mirrors the fake's library into the store.
    void syncAll();

    QTemporaryDir dir;
    std::unique_ptr<LocalDatabase> database;
    FakeMusicService service;
};

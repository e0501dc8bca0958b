#pragma once
// What the store's jobs work on: the connection and the song records kept beside it. Owned by
// the store's worker thread and touched only there.

#include "LumevarCore/SongIndex.h"
#include "LumevarCore/SongRecords.h"
#include "LumevarCore/StoreCondition.h"
#include "LumevarCore/Sqlite.h"
#include "LumevarCore/TextKeys.h"
#include "Support/Error.h"

#include <QHash>
#include <QSet>
#include <memory>
#include <optional>

struct StoreState {
    SqliteConnection db;
    SongRecords songs;
    // Loaded only while a sync runs.
    SongIndex songIndex;
    // Why the last open() failed, for the calls that follow it.
    std::optional<StoreError> openFailure;
    // What the last openOrRebuild() found.
    StoreCondition condition;
    // Per running song sync (by generation), the library songs it found unchanged and left
    // unwritten: its sweep keeps them. Lost with the process, as is the sweep it serves.
    QHash<qint64, QSet<qint64>> unchangedSongs;
    // A first sync of the songs left their indexes (lookups and full-text) to be built after the
    // lists it changed were read: StoreWrites::buildPendingIndexes() builds them (the full-text
    // index before any search). A process that ends first, or a build that failed, leaves them
    // suspended, and the next sync of the songs or the next open builds them.
    bool songIndexesPending = false;
    // This store's keys of repeated texts while a sync runs. Shared with the pool threads that
    // prepare a sync's songs, which reach it through StoreActor::repeatedTexts(); set once, here.
    const std::shared_ptr<TextKeys::RepeatedTexts> repeatedTexts = std::make_shared<TextKeys::RepeatedTexts>();
};

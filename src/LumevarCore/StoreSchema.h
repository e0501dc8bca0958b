#pragma once
// The store's schema: connection settings, numbered migrations kept in PRAGMA user_version, and
// the upkeep of the collation keys when the locale they were made for changes.

#include "LumevarCore/LocalDatabase.h"

class SqliteConnection;

namespace StoreSchema {

// The version a fully migrated store reports.
int currentVersion();

// Sets the connection up (WAL, foreign keys, …) and brings the schema to currentVersion(), all
// pending migrations in one transaction. Throws StoreError(migrationFailed) for a store made by a
// newer version, or when a migration fails (the store is left as it was).
void prepare(SqliteConnection &connection);

// The secondary indexes and full-text triggers of a library table. A sync that fills an empty
// table suspends them (building them afterwards from all rows is several times cheaper) and
// restores them when it ends; restoring rebuilds the full-text index when it was suspended, and
// does nothing when it was not. prepare() restores them all, should a sync have died half-way or a
// process have ended before the indexes a first sync of the songs left for later were built.
void suspendIndexes(SqliteConnection &connection, LocalDatabase::LibraryKind kind);
void restoreIndexes(SqliteConnection &connection, LocalDatabase::LibraryKind kind);
// restoreIndexes() in two halves: the secondary (lookup) indexes alone, and the full-text index
// with its triggers alone (after which indexesSuspended() is false).
void restoreLookups(SqliteConnection &connection, LocalDatabase::LibraryKind kind);
void restoreSearch(SqliteConnection &connection, LocalDatabase::LibraryKind kind);
// True while the table's full-text index is suspended (its insert trigger is missing), and with
// it the lookups unless restoreLookups() made them.
bool indexesSuspended(SqliteConnection &connection, LocalDatabase::LibraryKind kind);

} // namespace StoreSchema

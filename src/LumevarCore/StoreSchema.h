#pragma once
// The store's schema: connection settings, numbered migrations kept in PRAGMA user_version, and
// the upkeep of the collation keys when the locale they were made for changes.

class SqliteConnection;

namespace StoreSchema {

// The version a fully migrated store reports.
int currentVersion();

// Sets the connection up (WAL, foreign keys, …) and brings the schema to currentVersion(), all
// pending migrations in one transaction. Throws StoreError(migrationFailed) for a store made by a
// newer version, or when a migration fails (the store is left as it was).
void prepare(SqliteConnection &connection);

} // namespace StoreSchema

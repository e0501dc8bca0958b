#pragma once
// Opening the store so that the application always gets one it can use. A file SQLite cannot
// read as a database, or one that fails its quick check, is moved aside (never deleted) as
// "<file>.damaged-<date>" with its journal files, and a new store is made in its place. A store
// or folder that cannot be written (read-only, full, missing permissions), or a store made by a
// newer version, is left alone and the run uses a store in memory instead.

#include "LumevarCore/StoreCondition.h"

#include <QDateTime>

struct StoreState;

namespace StoreRecovery {

// Opens the store at path into state (schema ready). Never throws: the worst case is a store in
// memory. Logs what it did.
StoreCondition openOrRebuild(StoreState &state, const QString &path);

// The name a damaged store at path is moved to when it is found at the given time, e.g.
// "local.db.damaged-20261123-180312"; "-2", "-3", … is added while that name is taken.
QString damagedName(const QString &path, const QDateTime &when);

} // namespace StoreRecovery

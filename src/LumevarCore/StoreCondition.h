#pragma once
// What opening the store found, for the application to act on: a store ready as it was, one that
// opened but holds no song (its file was missing, emptied or cleared since the last run), one made
// anew because the old file was damaged (kept beside it under another name), or one held in
// memory for this run because the file cannot be written. All but the first start empty and need
// a full sync from the music service, whatever the settings remember of earlier syncs.

#include <QString>

struct StoreCondition {
    enum class Kind { ready, empty, rebuilt, temporary };
    Kind kind = Kind::ready;
    // rebuilt: where the damaged file now lies.
    QString damagedCopy;
    // rebuilt or temporary: what was wrong, for the log and the message.
    QString reason;

    bool startsEmpty() const { return kind != Kind::ready; }
    bool operator==(const StoreCondition &) const = default;
};

#pragma once
// Every stored song's id with its row, digest and library position, held on the store's thread
// while a sync runs. A sync looks up each song it is sent (100,000 of them in a large library,
// and as many playlist entries) here instead of with one indexed query each. Loaded by one scan
// of the table when a sync first needs it, kept equal to the rows by the writes made while it is
// loaded, and dropped when a write fails, when a change it cannot follow by id happens (a song
// leaving the library or removed), and when the sync ends.

#include <QHash>
#include <QString>
#include <optional>

class SqliteConnection;

class SongIndex {
public:
    struct Entry {
        qint64 pk = 0;
        std::optional<qint64> digest;
        std::optional<int> libraryOrder;
    };

    bool isLoaded() const { return m_loaded; }
    // Reads every row's id once, unless already loaded.
    void ensureLoaded(SqliteConnection &db);
    // The row stored under the id; nullptr when there is none. Only while loaded.
    const Entry *find(const QString &id) const;

    // ---- Kept equal to the rows by the write side; nothing to do while not loaded.
    void stored(const QString &id, const Entry &entry);
    void libraryOrderChanged(const QString &id, std::optional<int> libraryOrder);
    // Frees the memory; the next sync loads again.
    void forget();

private:
    bool m_loaded = false;
    QHash<QString, Entry> m_entries;
};

#pragma once
// The song records of the store, held in memory on its worker thread beside the connection.
// Making 100,000 LocalSong values from rows costs far more than copying them: the records are
// read from the table once, on first use, with their repeated texts (artists, albums, genres,
// artwork) shared, and the write side keeps them equal to the rows from then on. A write that
// fails drops them all, and the next read loads them again. Song lists are copies of the shared
// records, in an order worked out once per sort key; the last library list is kept whole, so
// asking again for it (a pane shown again) hands out the same implicitly shared list.

#include "LumevarCore/Records.h"

#include <QHash>
#include <array>
#include <vector>

class SqliteConnection;
struct SongImage;

// A song's values as the store holds them, already cleaned of bad input.
struct SongRow {
    QString id;
    QString title;
    std::optional<QString> artist;
    std::optional<QString> album;
    std::optional<QString> albumArtist;
    std::optional<QString> genre;
    double duration = 0;
    std::optional<QDateTime> releaseDate; // whole milliseconds, UTC
    std::optional<QDateTime> addedDate;
    std::optional<qint64> track;
    std::optional<qint64> disc;
    std::optional<QString> artwork; // the artwork URL's text
    std::optional<QString> playID;
    std::optional<QString> playKind;

    // A fingerprint of every stored value: equal digests mean the row needs no rewrite.
    qint64 digest() const;
};

class SongRecords {
public:
    // Reads every record now rather than at the first use.
    void preload(SqliteConnection &db) { ensureLoaded(db); }
    // The record of a row; nullptr when the store holds no such row.
    const LocalSong *find(SqliteConnection &db, qint64 pk);
    // Records of the rows in the order given, order set to the position; unknown rows skipped.
    QList<LocalSong> inOrder(SqliteConnection &db, const std::vector<qint64> &pks);
    // The library's songs (rows with a library order) sorted by the descriptor: absent values
    // first, ties by row, and the reverse order exactly the opposite.
    QList<LocalSong> library(SqliteConnection &db, SortDescriptor<LocalSong> sort);

    // ---- Saved beside the store when it closes, and taken back in place of the table's rows.
    bool isLoaded() const { return m_loaded; }
    // Every record, with the library list in the order last asked for (worked out now if a
    // change dropped it) and the orders already worked out. Only while loaded.
    SongImage image(SqliteConnection &db);
    // Takes the records of an image instead of reading the table; the image's list is kept as
    // the list last handed out.
    void adopt(SongImage image);

    // One past the highest library order, known without a query while the records are loaded.
    std::optional<int> nextLibraryPosition() const;

    // ---- Kept equal to the rows by the write side; nothing to do until the records are loaded.
    // The record of a row's values, made wherever the row is prepared (any thread); stored() shares
    // its repeated texts and sets its artwork URL and order.
    static LocalSong recordOf(const SongRow &row);
    void stored(qint64 pk, LocalSong record, const std::optional<QString> &artwork, std::optional<int> libraryOrder);
    void libraryOrderChanged(qint64 pk, std::optional<int> libraryOrder);
    void removed(qint64 pk);
    // Forgets every record (a failed write, a closed store, new sort keys); the next read loads.
    void forget();

private:
    void ensureLoaded(SqliteConnection &db);
    const std::vector<qint64> &sortedLibrary(SqliteConnection &db, LocalSong::SortKey key);
    // One instance of each text that repeats from song to song (artists, albums, genres, …).
    QString shared(const QString &text);
    QString shared(QByteArrayView utf8);
    std::optional<QString> sharedOptional(const std::optional<QString> &text);
    QUrl sharedURL(const QString &text);
    // The record of a row whose repeated texts are already shared.
    LocalSong record(const SongRow &row, std::optional<int> libraryOrder);
    void changed();

    // A record beside its row; a removed record leaves an empty slot until the slots are compacted.
    struct Entry {
        qint64 pk = 0;
        std::optional<LocalSong> record;
    };
    // The records by row. A vector, not a hash: 100,000 records in a hash took a third more
    // memory. SQLite numbers new rows past the highest, so records are nearly always added at
    // the end; removals only empty their slot, and the table is compacted when half is empty.
    std::vector<Entry>::iterator slotOf(qint64 pk);
    LocalSong *findRecord(qint64 pk);
    void putRecord(qint64 pk, LocalSong record);
    void removeRecord(qint64 pk);

    bool m_loaded = false;
    std::vector<Entry> m_records;
    size_t m_emptySlots = 0;
    // Library rows in forward order per sort key; empty until asked for, cleared by any change.
    std::array<std::vector<qint64>, 7> m_sorted;
    std::optional<SortDescriptor<LocalSong>> m_listOrder;
    QList<LocalSong> m_list;
    // The sort of the last library list asked for, kept across changes: the list a snapshot holds.
    std::optional<SortDescriptor<LocalSong>> m_lastSort;
    QHash<QString, QString> m_texts;
    QHash<QByteArray, QString> m_utf8Texts;
    QHash<QString, QUrl> m_urls;
};

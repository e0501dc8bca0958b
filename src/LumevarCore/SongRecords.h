#pragma once
// The song records of the store, held in memory on its worker thread beside the connection.
// Making 100,000 LocalSong values from rows costs far more than copying them: the records are
// read from the table once, on first use, with their repeated texts (artists, albums, genres,
// artwork) shared, and the write side keeps them equal to the rows from then on. A write that
// fails drops them all, and the next read loads them again.
//
// The library's records are kept in one list, in the order of the library list last asked for,
// and that list is what is handed out: the store and the window share one array of records
// (27 MB at 100,000 songs) instead of each holding its own. Asking for another order arranges
// the records anew (in place when nobody else holds the list); a write leaves a list that is
// shared alone and puts the changed record aside until the next arrangement.

#include "LumevarCore/Records.h"

#include <QHash>
#include <array>
#include <limits>
#include <utility>
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
    // True while the records are those of the last adopted image, unchanged and in its order.
    bool isAsAdopted() const { return m_asAdopted; }
    // Every record, with the library list in the order last asked for (worked out now if a
    // change dropped it) and the orders already worked out. Only while loaded.
    SongImage image(SqliteConnection &db);
    // Takes the records of an image instead of reading the table; the image's list is kept as
    // the list last handed out.
    void adopt(SongImage image);

    // True once after the records were read from the table: that read filled SQLite's page cache
    // and left the heap it stepped through free, which the caller may give back.
    bool takeTableRead() { return std::exchange(m_tableRead, false); }

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

    // Where a row's record stands: m_listed[at] when at >= 0, m_others[~at] when below, nowhere
    // when the row was removed. One slot per row, sorted by row: SQLite numbers new rows past the
    // highest, so slots are nearly always added at the end, and removed ones go at the next
    // arrangement.
    struct Slot {
        qint64 pk = 0;
        qint32 at = 0;
    };
    static constexpr qint32 removedRow = std::numeric_limits<qint32>::min();
    std::vector<Slot>::iterator slotOf(qint64 pk);
    const LocalSong *recordAt(qint32 at) const;
    // The record of a slot, ready to be changed. A record in a list someone else holds is first
    // copied aside, so the holder's list stays as it was and is never copied whole.
    LocalSong &writable(Slot &slot);
    void putRecord(qint64 pk, LocalSong record);
    void removeRecord(qint64 pk);
    // Makes m_listed the library's records in this order and m_others the rest; removed rows and
    // records left behind by writes go.
    void arrange(SqliteConnection &db, SortDescriptor<LocalSong> sort);

    bool m_loaded = false;
    bool m_tableRead = false;
    bool m_asAdopted = false;
    std::vector<Slot> m_slots;
    // The library's records, in m_listOrder when that is set; between a write and the next
    // arrangement also records that left the library or were replaced.
    QList<LocalSong> m_listed;
    // The records outside the library, and records changed since the last arrangement.
    QList<LocalSong> m_others;
    // Library rows in forward order per sort key; empty until asked for, cleared by any change.
    std::array<std::vector<qint64>, 7> m_sorted;
    // Set while m_listed is exactly the library list in this order.
    std::optional<SortDescriptor<LocalSong>> m_listOrder;
    // The sort of the last library list asked for, kept across changes: the list a snapshot holds.
    std::optional<SortDescriptor<LocalSong>> m_lastSort;
    QHash<QString, QString> m_texts;
    QHash<QByteArray, QString> m_utf8Texts;
    QHash<QString, QUrl> m_urls;
};

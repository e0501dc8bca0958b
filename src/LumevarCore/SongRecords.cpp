#include "LumevarCore/SongRecords.h"

#include "LumevarCore/SongSnapshot.h"
#include "LumevarCore/Sqlite.h"

#include <QSet>
#include <algorithm>
#include <cstring>

namespace {

template <typename T>
void mix(size_t &hash, const std::optional<T> &value)
{
    hash = qHashMulti(hash, value.has_value());
    if (value)
        hash = qHashMulti(hash, *value);
}

} // namespace

qint64 SongRow::digest() const
{
    // A fixed seed keeps digests equal across launches; a library with another hash function
    // makes every row look changed once, which costs one rewrite and nothing else.
    size_t hash = qHashMulti(size_t(0x4c756d65), id, title, duration);
    for (const auto *text : {&artist, &album, &albumArtist, &genre, &artwork, &playID, &playKind})
        mix(hash, *text);
    for (const auto *date : {&releaseDate, &addedDate})
        mix(hash, date->has_value() ? std::optional((*date)->toMSecsSinceEpoch()) : std::nullopt);
    mix(hash, track);
    mix(hash, disc);
    return qint64(hash);
}

const LocalSong *SongRecords::find(SqliteConnection &db, qint64 pk)
{
    ensureLoaded(db);
    return findRecord(pk);
}

QList<LocalSong> SongRecords::inOrder(SqliteConnection &db, const std::vector<qint64> &pks)
{
    ensureLoaded(db);
    QList<LocalSong> songs;
    songs.reserve(qsizetype(pks.size()));
    for (const qint64 pk : pks) {
        const LocalSong *found = findRecord(pk);
        if (!found)
            continue;
        songs.append(*found);
        songs.last().order = int(songs.size() - 1);
    }
    return songs;
}

QList<LocalSong> SongRecords::library(SqliteConnection &db, SortDescriptor<LocalSong> sort)
{
    if (m_loaded && m_listOrder == sort)
        return m_list;
    // The kept list goes first: its block can hold the new one, and three lists of 100,000 songs
    // (the caller's, the kept one, the new one) never stand at once.
    m_list = {};
    m_listOrder.reset();
    ensureLoaded(db);
    const std::vector<qint64> &sorted = sortedLibrary(db, sort.key);
    QList<LocalSong> songs;
    songs.reserve(qsizetype(sorted.size()));
    auto append = [this, &songs](qint64 pk) {
        if (const LocalSong *found = findRecord(pk))
            songs.append(*found);
    };
    if (sort.order == SortOrder::forward)
        std::for_each(sorted.begin(), sorted.end(), append);
    else
        std::for_each(sorted.rbegin(), sorted.rend(), append);
    m_list = songs;
    m_listOrder = sort;
    m_lastSort = sort;
    return songs;
}

SongImage SongRecords::image(SqliteConnection &db)
{
    SongImage image;
    if (!m_loaded)
        return image;
    // Whether each slot's record is in the list (the slots are in row order).
    std::vector<bool> listed(m_records.size(), false);
    if (m_lastSort) {
        const std::vector<qint64> &sorted = sortedLibrary(db, m_lastSort->key);
        // The kept list is that list already: it is shared, not copied record by record (a copy
        // of 100,000 records was most of what a quit cost).
        const bool kept = m_listOrder == m_lastSort;
        image.listOrder = m_lastSort;
        if (kept)
            image.list = m_list;
        else
            image.list.reserve(qsizetype(sorted.size()));
        image.listRows.reserve(sorted.size());
        auto add = [this, &image, &listed, kept](qint64 pk) {
            const auto slot = slotOf(pk);
            if (slot == m_records.end() || slot->pk != pk || !slot->record)
                return;
            image.listRows.push_back(pk);
            if (!kept)
                image.list.append(*slot->record);
            listed[size_t(slot - m_records.begin())] = true;
        };
        if (m_lastSort->order == SortOrder::forward)
            std::for_each(sorted.begin(), sorted.end(), add);
        else
            std::for_each(sorted.rbegin(), sorted.rend(), add);
    }
    for (size_t i = 0; i < m_records.size(); ++i) {
        const Entry &entry = m_records[i];
        if (!entry.record || listed[i])
            continue;
        image.otherRows.push_back(entry.pk);
        image.others.append(*entry.record);
    }
    image.sorted = m_sorted;
    return image;
}

void SongRecords::adopt(SongImage image)
{
    forget();
    // The records join in the order of their rows: the rows are sorted beside where each record
    // stands (the list's by position, the others' after them), and each record is taken once.
    std::vector<std::pair<qint64, qsizetype>> order;
    order.reserve(size_t(image.list.size() + image.others.size()));
    for (qsizetype i = 0; i < image.list.size(); ++i)
        order.emplace_back(image.listRows[size_t(i)], i);
    for (qsizetype i = 0; i < image.others.size(); ++i)
        order.emplace_back(image.otherRows[size_t(i)], image.list.size() + i);
    std::sort(order.begin(), order.end());
    m_records.reserve(order.size());
    for (const auto &[pk, at] : order) {
        // A row named twice (a damaged image) keeps its first record: the look-up by row needs
        // each row once.
        if (!m_records.empty() && m_records.back().pk == pk)
            continue;
        m_records.push_back({pk, at < image.list.size() ? image.list[at] : std::move(image.others[at - image.list.size()])});
    }
    image.others = {};
    for (const QString &text : std::as_const(image.sharedTexts))
        m_texts.insert(text, text);
    for (const auto &[text, url] : std::as_const(image.urls))
        m_urls.insert(text, url);
    m_sorted = std::move(image.sorted);
    m_list = std::move(image.list);
    m_listOrder = image.listOrder;
    m_lastSort = image.listOrder;
    m_loaded = true;
}

std::optional<int> SongRecords::nextLibraryPosition() const
{
    if (!m_loaded)
        return std::nullopt;
    int next = 0;
    for (const Entry &entry : m_records) {
        if (entry.record && entry.record->order)
            next = std::max(next, *entry.record->order + 1);
    }
    return next;
}

void SongRecords::stored(qint64 pk, LocalSong record, const std::optional<QString> &artwork, std::optional<int> libraryOrder)
{
    if (!m_loaded)
        return;
    for (auto *text : {&record.artistName, &record.albumTitle, &record.genre})
        *text = sharedOptional(*text);
    if (record.playParameters)
        record.playParameters->kind = shared(record.playParameters->kind);
    if (artwork)
        record.artworkURL = sharedURL(*artwork);
    record.order = libraryOrder;
    putRecord(pk, std::move(record));
    changed();
}

void SongRecords::libraryOrderChanged(qint64 pk, std::optional<int> libraryOrder)
{
    if (!m_loaded)
        return;
    if (LocalSong *found = findRecord(pk))
        found->order = libraryOrder;
    changed();
}

void SongRecords::removed(qint64 pk)
{
    if (!m_loaded)
        return;
    removeRecord(pk);
    changed();
}

void SongRecords::forget()
{
    m_loaded = false;
    m_records = {};
    m_emptySlots = 0;
    m_texts = {};
    m_utf8Texts = {};
    m_urls = {};
    changed();
}

void SongRecords::changed()
{
    for (std::vector<qint64> &sorted : m_sorted)
        std::vector<qint64>().swap(sorted);
    m_list = {};
    m_listOrder.reset();
}

void SongRecords::ensureLoaded(SqliteConnection &db)
{
    if (m_loaded)
        return;
    SqliteQuery query = db.query("SELECT pk, id, title, artist, album, duration, genre, release_date, artwork,"
                                 " play_id, play_kind, library_order FROM songs ORDER BY pk");
    std::vector<Entry> records;
    records.reserve(size_t(db.scalar("SELECT count(*) FROM songs")));
    auto sharedColumn = [this, &query](int column) -> std::optional<QString> {
        if (query.isNull(column))
            return std::nullopt;
        return shared(query.bytes(column));
    };
    SongRow row;
    while (query.next()) {
        row.id = query.text(1);
        row.title = query.text(2);
        row.artist = sharedColumn(3);
        row.album = sharedColumn(4);
        row.duration = query.real(5);
        row.genre = sharedColumn(6);
        row.releaseDate = query.optionalDate(7);
        row.artwork = sharedColumn(8);
        // Play parameters nearly always name the song itself.
        if (query.isNull(9))
            row.playID.reset();
        else
            row.playID = query.bytes(9) == query.bytes(1) ? row.id : query.text(9);
        row.playKind = sharedColumn(10);
        const std::optional<int> libraryOrder = query.isNull(11) ? std::nullopt : std::optional(int(query.int64(11)));
        records.push_back({query.int64(0), record(row, libraryOrder)});
    }
    m_records = std::move(records);
    m_emptySlots = 0;
    m_loaded = true;
    changed();
}

std::vector<SongRecords::Entry>::iterator SongRecords::slotOf(qint64 pk)
{
    // Rows are numbered upwards, so the slot of row pk is at most pk - first slots in, and at
    // least that minus the numbers missing between the first row and the last: with no rows
    // missing (a store synced once) the slot is found at once, with a few missing in a few steps.
    if (m_records.empty() || pk > m_records.back().pk)
        return m_records.end();
    if (pk <= m_records.front().pk)
        return m_records.begin();
    const auto count = qint64(m_records.size());
    const qint64 missing = m_records.back().pk - m_records.front().pk + 1 - count;
    const qint64 highest = std::min(count - 1, pk - m_records.front().pk);
    const qint64 lowest = std::max<qint64>(0, highest - missing);
    return std::lower_bound(m_records.begin() + lowest, m_records.begin() + highest + 1, pk,
                            [](const Entry &entry, qint64 key) { return entry.pk < key; });
}

LocalSong *SongRecords::findRecord(qint64 pk)
{
    const auto found = slotOf(pk);
    return found != m_records.end() && found->pk == pk && found->record ? &*found->record : nullptr;
}

void SongRecords::putRecord(qint64 pk, LocalSong record)
{
    if (m_records.empty() || m_records.back().pk < pk) {
        m_records.push_back({pk, std::move(record)});
        return;
    }
    const auto found = slotOf(pk);
    if (found != m_records.end() && found->pk == pk) {
        if (!found->record)
            --m_emptySlots;
        found->record = std::move(record);
        return;
    }
    m_records.insert(found, {pk, std::move(record)});
}

void SongRecords::removeRecord(qint64 pk)
{
    const auto found = slotOf(pk);
    if (found == m_records.end() || found->pk != pk || !found->record)
        return;
    found->record.reset();
    if (++m_emptySlots * 2 < m_records.size())
        return;
    m_records.erase(std::remove_if(m_records.begin(), m_records.end(), [](const Entry &entry) { return !entry.record; }),
                    m_records.end());
    m_emptySlots = 0;
}

const std::vector<qint64> &SongRecords::sortedLibrary(SqliteConnection &db, LocalSong::SortKey key)
{
    std::vector<qint64> &sorted = m_sorted[size_t(key)];
    if (!sorted.empty())
        return sorted;
    // The sort keys stay in the table (collation keys are large): one pass reads them.
    const char *column = "title_key";
    switch (key) {
    case LocalSong::SortKey::title: column = "title_key"; break;
    case LocalSong::SortKey::artistName: column = "artist_key"; break;
    case LocalSong::SortKey::albumTitle: column = "album_key"; break;
    case LocalSong::SortKey::duration: column = "duration"; break;
    case LocalSong::SortKey::genre: column = "genre_key"; break;
    case LocalSong::SortKey::releaseDate: column = "release_date"; break;
    case LocalSong::SortKey::order: column = "library_order"; break;
    }
    const bool textKey = key == LocalSong::SortKey::title || key == LocalSong::SortKey::artistName ||
                         key == LocalSong::SortKey::albumTitle || key == LocalSong::SortKey::genre;
    // Keys are copied into one buffer: a hundred thousand small allocations cost more than the sort.
    // Their first eight bytes also sit in the row as a number, which settles most comparisons
    // without reaching into the buffer (collation keys hold no zero bytes, so zero padding sorts
    // a shorter key first, as memcmp does).
    struct Row {
        quint64 prefix;
        qint64 pk;
        qsizetype offset;
        qsizetype length;
        double number;
        bool absent;
    };
    std::vector<Row> rows;
    rows.reserve(size_t(m_records.size()));
    QByteArray keys;
    SqliteQuery query = db.query(QByteArray("SELECT pk, ") + column + " FROM songs WHERE library_order IS NOT NULL");
    while (query.next()) {
        Row row{0, query.int64(0), 0, 0, 0, query.isNull(1)};
        if (!row.absent) {
            if (textKey) {
                const QByteArrayView key = query.bytes(1);
                row.offset = keys.size();
                row.length = key.size();
                keys.append(key);
                for (qsizetype i = 0; i < 8; ++i)
                    row.prefix = (row.prefix << 8) | (i < key.size() ? quint8(key[i]) : 0);
            } else {
                row.number = query.real(1);
            }
        }
        rows.push_back(row);
    }
    const char *arena = keys.constData();
    auto compareText = [arena](const Row &a, const Row &b) {
        if (a.prefix != b.prefix)
            return a.prefix < b.prefix ? -1 : 1;
        const qsizetype shorter = std::min(a.length, b.length);
        if (shorter > 8) {
            if (const int c = std::memcmp(arena + a.offset + 8, arena + b.offset + 8, size_t(shorter - 8)))
                return c;
        }
        return a.length < b.length ? -1 : a.length > b.length ? 1 : 0;
    };
    std::sort(rows.begin(), rows.end(), [textKey, &compareText](const Row &a, const Row &b) {
        if (a.absent != b.absent)
            return a.absent;
        if (!a.absent) {
            const int c = textKey ? compareText(a, b) : (a.number < b.number ? -1 : a.number > b.number ? 1 : 0);
            if (c != 0)
                return c < 0;
        }
        return a.pk < b.pk;
    });
    sorted.reserve(rows.size());
    for (const Row &row : rows)
        sorted.push_back(row.pk);
    return sorted;
}

QString SongRecords::shared(const QString &text)
{
    const auto found = m_texts.constFind(text);
    if (found != m_texts.constEnd())
        return found.value();
    m_texts.insert(text, text);
    return text;
}

QString SongRecords::shared(QByteArrayView utf8)
{
    const auto found = m_utf8Texts.constFind(QByteArray::fromRawData(utf8.data(), utf8.size()));
    if (found != m_utf8Texts.constEnd())
        return found.value();
    const QString text = shared(QString::fromUtf8(utf8));
    m_utf8Texts.insert(utf8.toByteArray(), text);
    return text;
}

std::optional<QString> SongRecords::sharedOptional(const std::optional<QString> &text)
{
    return text ? std::optional(shared(*text)) : std::nullopt;
}

QUrl SongRecords::sharedURL(const QString &text)
{
    auto found = m_urls.constFind(text);
    if (found == m_urls.constEnd())
        found = m_urls.insert(text, QUrl(text));
    return found.value();
}

LocalSong SongRecords::recordOf(const SongRow &row)
{
    LocalSong song;
    song.identifier = row.id;
    song.id = MusicItemID(row.id);
    song.title = row.title;
    song.artistName = row.artist;
    song.albumTitle = row.album;
    song.duration = row.duration;
    song.genre = row.genre;
    song.releaseDate = row.releaseDate;
    if (row.playID)
        song.playParameters = PlayParameters{MusicItemID(*row.playID == row.id ? row.id : *row.playID), row.playKind.value_or(QString())};
    return song;
}

LocalSong SongRecords::record(const SongRow &row, std::optional<int> libraryOrder)
{
    LocalSong song = recordOf(row);
    if (row.artwork)
        song.artworkURL = sharedURL(*row.artwork);
    song.order = libraryOrder;
    return song;
}

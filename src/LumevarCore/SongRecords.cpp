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
    const auto slot = slotOf(pk);
    return slot != m_slots.end() && slot->pk == pk ? recordAt(slot->at) : nullptr;
}

QList<LocalSong> SongRecords::inOrder(SqliteConnection &db, const std::vector<qint64> &pks)
{
    ensureLoaded(db);
    QList<LocalSong> songs;
    songs.reserve(qsizetype(pks.size()));
    for (const qint64 pk : pks) {
        const LocalSong *found = find(db, pk);
        if (!found)
            continue;
        songs.append(*found);
        songs.last().order = int(songs.size() - 1);
    }
    return songs;
}

QList<LocalSong> SongRecords::library(SqliteConnection &db, SortDescriptor<LocalSong> sort)
{
    ensureLoaded(db);
    if (m_listOrder != sort)
        arrange(db, sort);
    m_lastSort = sort;
    return m_listed;
}

SongImage SongRecords::image(SqliteConnection &db)
{
    SongImage image;
    if (!m_loaded)
        return image;
    if (m_lastSort && m_listOrder != m_lastSort)
        arrange(db, *m_lastSort);
    if (m_lastSort) {
        // The list is shared into the image, not copied record by record (a copy of 100,000
        // records was most of what a quit cost).
        image.listOrder = m_lastSort;
        image.list = m_listed;
        image.listRows.resize(size_t(m_listed.size()));
    }
    for (const Slot &slot : m_slots) {
        if (slot.at == removedRow)
            continue;
        if (slot.at >= 0 && m_lastSort) {
            image.listRows[size_t(slot.at)] = slot.pk;
            continue;
        }
        image.otherRows.push_back(slot.pk);
        image.others.append(*recordAt(slot.at));
    }
    image.sorted = m_sorted;
    return image;
}

void SongRecords::adopt(SongImage image)
{
    forget();
    // Rows are looked up by number: each row once, in order. A row named twice (a damaged image)
    // keeps its first record.
    const auto listed = qint32(std::min(image.listRows.size(), size_t(image.list.size())));
    const auto others = qint32(std::min(image.otherRows.size(), size_t(image.others.size())));
    m_slots.reserve(size_t(listed + others));
    for (qint32 i = 0; i < listed; ++i)
        m_slots.push_back({image.listRows[size_t(i)], i});
    for (qint32 i = 0; i < others; ++i)
        m_slots.push_back({image.otherRows[size_t(i)], ~i});
    std::stable_sort(m_slots.begin(), m_slots.end(), [](const Slot &a, const Slot &b) { return a.pk < b.pk; });
    m_slots.erase(std::unique(m_slots.begin(), m_slots.end(), [](const Slot &a, const Slot &b) { return a.pk == b.pk; }),
                  m_slots.end());
    for (const QString &text : std::as_const(image.sharedTexts))
        m_texts.insert(text, text);
    for (const auto &[text, url] : std::as_const(image.urls))
        m_urls.insert(text, url);
    m_sorted = std::move(image.sorted);
    m_listed = std::move(image.list);
    m_others = std::move(image.others);
    // A list with a row named twice is not the library list: the next ask arranges it anew.
    if (m_slots.size() == size_t(listed + others))
        m_listOrder = image.listOrder;
    m_lastSort = image.listOrder;
    m_loaded = true;
    m_asAdopted = true;
}

std::optional<int> SongRecords::nextLibraryPosition() const
{
    if (!m_loaded)
        return std::nullopt;
    int next = 0;
    for (const Slot &slot : m_slots) {
        const LocalSong *record = recordAt(slot.at);
        if (record && record->order)
            next = std::max(next, *record->order + 1);
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
    const auto slot = slotOf(pk);
    if (slot != m_slots.end() && slot->pk == pk && slot->at != removedRow)
        writable(*slot).order = libraryOrder;
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
    m_slots = {};
    m_listed = {};
    m_others = {};
    m_texts = {};
    m_utf8Texts = {};
    m_urls = {};
    changed();
}

void SongRecords::changed()
{
    m_asAdopted = false;
    for (std::vector<qint64> &sorted : m_sorted)
        std::vector<qint64>().swap(sorted);
    m_listOrder.reset();
}

void SongRecords::ensureLoaded(SqliteConnection &db)
{
    if (m_loaded)
        return;
    SqliteQuery counts = db.query("SELECT count(*), count(library_order) FROM songs");
    counts.next();
    const qint64 total = counts.int64(0);
    const qint64 inLibrary = counts.int64(1);
    SqliteQuery query = db.query("SELECT pk, id, title, artist, album, duration, genre, release_date, artwork,"
                                 " play_id, play_kind, library_order FROM songs ORDER BY pk");
    // The library's records go straight into the list that will be handed out, so that sorting
    // it for the first list moves records in place and no second array is ever made.
    m_listed.reserve(qsizetype(inLibrary));
    m_others.reserve(qsizetype(total - inLibrary));
    m_slots.reserve(size_t(total));
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
        QList<LocalSong> &into = libraryOrder ? m_listed : m_others;
        into.append(record(row, libraryOrder));
        const auto at = qint32(into.size() - 1);
        m_slots.push_back({query.int64(0), libraryOrder ? at : ~at});
    }
    m_loaded = true;
    m_tableRead = true;
    changed();
}

std::vector<SongRecords::Slot>::iterator SongRecords::slotOf(qint64 pk)
{
    // Rows are numbered upwards, so the slot of row pk is at most pk - first slots in, and at
    // least that minus the numbers missing between the first row and the last: with no rows
    // missing (a store synced once) the slot is found at once, with a few missing in a few steps.
    if (m_slots.empty() || pk > m_slots.back().pk)
        return m_slots.end();
    if (pk <= m_slots.front().pk)
        return m_slots.begin();
    const auto count = qint64(m_slots.size());
    const qint64 missing = m_slots.back().pk - m_slots.front().pk + 1 - count;
    const qint64 highest = std::min(count - 1, pk - m_slots.front().pk);
    const qint64 lowest = std::max<qint64>(0, highest - missing);
    return std::lower_bound(m_slots.begin() + lowest, m_slots.begin() + highest + 1, pk,
                            [](const Slot &slot, qint64 key) { return slot.pk < key; });
}

const LocalSong *SongRecords::recordAt(qint32 at) const
{
    if (at == removedRow)
        return nullptr;
    return at >= 0 ? &m_listed.at(at) : &m_others.at(~at);
}

LocalSong &SongRecords::writable(Slot &slot)
{
    if (slot.at >= 0 && !m_listed.isDetached()) {
        m_others.append(m_listed.at(slot.at));
        slot.at = ~qint32(m_others.size() - 1);
    }
    return slot.at >= 0 ? m_listed[slot.at] : m_others[~slot.at];
}

void SongRecords::putRecord(qint64 pk, LocalSong record)
{
    auto slot = slotOf(pk);
    if (slot != m_slots.end() && slot->pk == pk && slot->at != removedRow) {
        writable(*slot) = std::move(record);
        return;
    }
    m_others.append(std::move(record));
    const auto at = ~qint32(m_others.size() - 1);
    if (slot != m_slots.end() && slot->pk == pk)
        slot->at = at;
    else
        m_slots.insert(slot, {pk, at});
}

void SongRecords::removeRecord(qint64 pk)
{
    const auto slot = slotOf(pk);
    if (slot == m_slots.end() || slot->pk != pk || slot->at == removedRow)
        return;
    // The record's texts go now unless a list someone holds still shows it.
    if (slot->at < 0 || m_listed.isDetached())
        writable(*slot) = LocalSong();
    slot->at = removedRow;
}

void SongRecords::arrange(SqliteConnection &db, SortDescriptor<LocalSong> sort)
{
    m_asAdopted = false;
    const std::vector<qint64> &sorted = sortedLibrary(db, sort.key);
    // Where each slot's record goes: at >= 0 into the list, below into the others.
    constexpr qint32 unplaced = removedRow;
    std::vector<qint32> placed(m_slots.size(), unplaced);
    qint32 listed = 0;
    // A row named twice (an order read from a damaged file) is placed once: the permutation
    // below needs each record to have one place.
    auto place = [&](qint64 pk) {
        const auto slot = slotOf(pk);
        if (slot != m_slots.end() && slot->pk == pk && slot->at != removedRow && placed[size_t(slot - m_slots.begin())] == unplaced)
            placed[size_t(slot - m_slots.begin())] = listed++;
    };
    if (sort.order == SortOrder::forward)
        std::for_each(sorted.begin(), sorted.end(), place);
    else
        std::for_each(sorted.rbegin(), sorted.rend(), place);

    // The list held by nobody else, of exactly the library's records: sorted where it stands,
    // each record moved once along the cycles of the permutation.
    const bool inPlace = m_listed.isDetached() && listed == m_listed.size() &&
                         std::all_of(m_slots.begin(), m_slots.end(), [&](const Slot &slot) {
                             return slot.at != removedRow && (slot.at >= 0) == (placed[size_t(&slot - m_slots.data())] != unplaced);
                         });
    if (inPlace) {
        std::vector<qint32> target(size_t(m_listed.size()));
        for (size_t i = 0; i < m_slots.size(); ++i) {
            if (m_slots[i].at >= 0)
                target[size_t(m_slots[i].at)] = placed[i];
        }
        LocalSong *records = m_listed.data();
        for (qint32 i = 0; i < qint32(target.size()); ++i) {
            while (target[size_t(i)] != i) {
                const qint32 to = target[size_t(i)];
                std::swap(records[i], records[to]);
                std::swap(target[size_t(i)], target[size_t(to)]);
            }
        }
        for (size_t i = 0; i < m_slots.size(); ++i) {
            if (m_slots[i].at >= 0)
                m_slots[i].at = placed[i];
        }
        m_listOrder = sort;
        return;
    }

    // Else a new list. Records are moved out of lists only this object holds and copied from a
    // list someone else still shows; that list is let go here and freed when its holder drops it.
    const bool ownListed = m_listed.isDetached();
    auto take = [&](qint32 at) -> LocalSong {
        if (at < 0)
            return std::move(m_others[~at]);
        return ownListed ? std::move(m_listed[at]) : m_listed.at(at);
    };
    QList<LocalSong> list(listed);
    QList<LocalSong> others;
    std::vector<Slot> slots;
    slots.reserve(m_slots.size());
    for (size_t i = 0; i < m_slots.size(); ++i) {
        const Slot &slot = m_slots[i];
        if (slot.at == removedRow)
            continue;
        if (placed[i] != unplaced) {
            list[placed[i]] = take(slot.at);
            slots.push_back({slot.pk, placed[i]});
        } else {
            others.append(take(slot.at));
            slots.push_back({slot.pk, ~qint32(others.size() - 1)});
        }
    }
    m_listed = std::move(list);
    m_others = std::move(others);
    m_slots = std::move(slots);
    m_listOrder = sort;
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
    rows.reserve(m_slots.size());
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

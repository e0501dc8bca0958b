#include "LumevarCore/SongIndex.h"

#include "LumevarCore/Sqlite.h"

void SongIndex::ensureLoaded(SqliteConnection &db)
{
    if (m_loaded)
        return;
    m_entries.clear();
    m_entries.reserve(qsizetype(db.scalar("SELECT count(*) FROM songs")));
    SqliteQuery rows = db.query("SELECT id, pk, digest, library_order FROM songs");
    while (rows.next()) {
        Entry entry;
        entry.pk = rows.int64(1);
        if (!rows.isNull(2))
            entry.digest = rows.int64(2);
        if (!rows.isNull(3))
            entry.libraryOrder = int(rows.int64(3));
        m_entries.insert(rows.text(0), entry);
    }
    m_loaded = true;
}

const SongIndex::Entry *SongIndex::find(const QString &id) const
{
    const auto found = m_entries.constFind(id);
    return found == m_entries.constEnd() ? nullptr : &found.value();
}

void SongIndex::stored(const QString &id, const Entry &entry)
{
    if (m_loaded)
        m_entries.insert(id, entry);
}

void SongIndex::libraryOrderChanged(const QString &id, std::optional<int> libraryOrder)
{
    if (!m_loaded)
        return;
    const auto found = m_entries.find(id);
    if (found != m_entries.end())
        found->libraryOrder = libraryOrder;
}

void SongIndex::forget()
{
    m_loaded = false;
    m_entries = {};
}

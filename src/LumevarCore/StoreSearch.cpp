#include "LumevarCore/StoreSearch.h"

#include "LumevarCore/SongRecords.h"
#include "LumevarCore/Sqlite.h"
#include "LumevarCore/StoreReads.h"
#include "LumevarCore/TextKeys.h"

namespace {

// FTS5 query text: each token quoted (inner quotes doubled) and marked as a prefix; the tokens
// are joined with an implicit AND, so every word must match.
QString matchExpression(const QStringList &tokens)
{
    QStringList parts;
    parts.reserve(tokens.size());
    for (const QString &token : tokens) {
        QString quoted = token;
        quoted.replace(QLatin1Char('"'), QLatin1String("\"\""));
        parts.append(QLatin1Char('"') + quoted + QLatin1String("\"*"));
    }
    return parts.join(QLatin1Char(' '));
}

// A query of one very short word matches a large share of the library, and ranking every match
// would cost more than a keystroke may. Those queries match the start of the whole name instead,
// through the folded-name index, in name order: what a user typing one or two letters expects.
// Ranking costs a little for every match, and a common word matches thousands of songs. Hits are
// ranked among the first candidateLimit matches of each kind, which bounds the cost of a keystroke;
// a query specific enough to matter has fewer matches than that and is ranked in full.
constexpr int candidateLimit = 300;

bool isShortQuery(const QStringList &tokens) { return tokens.size() == 1 && tokens.first().size() <= 2; }

template <typename Make>
QList<SearchResult> collect(SqliteQuery &query, Make make)
{
    QList<SearchResult> results;
    while (query.next())
        results.append(make(query));
    return results;
}

} // namespace

namespace StoreSearch {

QStringList tokens(const QString &text)
{
    // unicode61 splits on every character that is neither a letter nor a digit; so do we, so that
    // "AC/DC" asks for the tokens "ac" and "dc" as the index holds them.
    const QString folded = TextKeys::fold(text);
    QStringList result;
    QString current;
    for (QChar c : folded) {
        if (c.isLetterOrNumber()) {
            current.append(c);
        } else if (!current.isEmpty()) {
            result.append(current);
            current.clear();
        }
    }
    if (!current.isEmpty())
        result.append(current);
    return result;
}

QList<SearchSection> search(SqliteConnection &db, SongRecords &records, const QString &text)
{
    const QStringList words = tokens(text);
    if (words.isEmpty())
        return {};

    QList<SearchSection> sections;
    auto add = [&sections](const char *name, QList<SearchResult> results) {
        if (!results.isEmpty())
            sections.append(SearchSection(QString::fromLatin1(name), std::move(results)));
    };
    auto songResults = [&db, &records](SqliteQuery &query) {
        QList<SearchResult> results;
        for (const LocalSong &song : records.inOrder(db, StoreReads::rowsOf(query)))
            results.append(SearchResult::song(song));
        return results;
    };

    if (isShortQuery(words)) {
        const QByteArray prefix = words.first().toUtf8();
        const QByteArray upper = TextKeys::prefixUpperBound(prefix);
        {
            SqliteQuery q = db.query(QByteArray("SELECT ") + StoreReads::artistColumns +
                                     " FROM artists r WHERE r.name_fold >= ?1 AND r.name_fold < ?2"
                                     " ORDER BY r.name_fold LIMIT ?3");
            q.bind(1, QString::fromUtf8(prefix));
            q.bind(2, QString::fromUtf8(upper));
            q.bind(3, collectionLimit);
            add("Artists", collect(q, [](const SqliteQuery &row) { return SearchResult::artist(StoreReads::artistFromRow(row)); }));
        }
        {
            SqliteQuery q = db.query(QByteArray("SELECT ") + StoreReads::albumColumns +
                                     " FROM albums a WHERE a.title_fold >= ?1 AND a.title_fold < ?2"
                                     " ORDER BY a.title_fold LIMIT ?3");
            q.bind(1, QString::fromUtf8(prefix));
            q.bind(2, QString::fromUtf8(upper));
            q.bind(3, collectionLimit);
            add("Albums", collect(q, [](const SqliteQuery &row) { return SearchResult::album(StoreReads::albumFromRow(row)); }));
        }
        {
            SqliteQuery q = db.query("SELECT s.pk FROM songs s WHERE s.title_fold >= ?1 AND s.title_fold < ?2"
                                     " AND s.library_order IS NOT NULL ORDER BY s.title_fold LIMIT ?3");
            q.bind(1, QString::fromUtf8(prefix));
            q.bind(2, QString::fromUtf8(upper));
            q.bind(3, songLimit);
            add("Songs", songResults(q));
        }
        {
            SqliteQuery q = db.query(QByteArray("SELECT ") + StoreReads::playlistColumns +
                                     " FROM playlists p WHERE p.name_fold >= ?1 AND p.name_fold < ?2"
                                     " ORDER BY p.name_fold LIMIT ?3");
            q.bind(1, QString::fromUtf8(prefix));
            q.bind(2, QString::fromUtf8(upper));
            q.bind(3, collectionLimit);
            add("Playlists", collect(q, [](const SqliteQuery &row) { return SearchResult::playlist(StoreReads::playlistFromRow(row)); }));
        }
        return sections;
    }

    const QString match = matchExpression(words);
    {
        SqliteQuery q = db.query(QByteArray("SELECT ") + StoreReads::artistColumns +
                                 " FROM (SELECT rowid, rank FROM artists_search WHERE artists_search MATCH ?1 LIMIT ?3) f"
                                 " JOIN artists r ON r.pk = f.rowid ORDER BY f.rank, r.name_key LIMIT ?2");
        q.bindAll(match, collectionLimit, candidateLimit);
        add("Artists", collect(q, [](const SqliteQuery &row) { return SearchResult::artist(StoreReads::artistFromRow(row)); }));
    }
    {
        // The title weighs more than the artist.
        SqliteQuery q = db.query(QByteArray("SELECT ") + StoreReads::albumColumns +
                                 " FROM (SELECT rowid, bm25(albums_search, 4.0, 1.0) AS score FROM albums_search"
                                 "   WHERE albums_search MATCH ?1 LIMIT ?3) f"
                                 " JOIN albums a ON a.pk = f.rowid ORDER BY f.score, a.title_key LIMIT ?2");
        q.bindAll(match, collectionLimit, candidateLimit);
        add("Albums", collect(q, [](const SqliteQuery &row) { return SearchResult::album(StoreReads::albumFromRow(row)); }));
    }
    {
        SqliteQuery q = db.query("SELECT s.pk FROM (SELECT rowid, bm25(songs_search, 4.0, 2.0, 1.0) AS score FROM songs_search"
                                 "   WHERE songs_search MATCH ?1 LIMIT ?3) f"
                                 " JOIN songs s ON s.pk = f.rowid WHERE s.library_order IS NOT NULL"
                                 " ORDER BY f.score, s.title_key LIMIT ?2");
        q.bindAll(match, songLimit, candidateLimit);
        add("Songs", songResults(q));
    }
    {
        SqliteQuery q = db.query(QByteArray("SELECT ") + StoreReads::playlistColumns +
                                 " FROM (SELECT rowid, rank FROM playlists_search WHERE playlists_search MATCH ?1 LIMIT ?3) f"
                                 " JOIN playlists p ON p.pk = f.rowid ORDER BY f.rank, p.name_key LIMIT ?2");
        q.bindAll(match, collectionLimit, candidateLimit);
        add("Playlists", collect(q, [](const SqliteQuery &row) { return SearchResult::playlist(StoreReads::playlistFromRow(row)); }));
    }
    return sections;
}

} // namespace StoreSearch

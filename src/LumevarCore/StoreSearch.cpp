#include "LumevarCore/StoreSearch.h"

#include "LumevarCore/SongRecords.h"
#include "LumevarCore/Sqlite.h"
#include "LumevarCore/StoreReads.h"
#include "LumevarCore/TextKeys.h"

#include <algorithm>
#include <array>
#include <optional>
#include <unordered_set>
#include <vector>

namespace {

// One section of the results: the table, its full-text index, the folded texts a hit is ranked
// on (the first is the name) with the weight of each, and how the section's records are read.
struct SectionKind {
    const char *name;
    const char *table;
    const char *searchTable;
    std::array<const char *, 3> foldColumns; // nullptr where the kind has fewer texts
    std::array<int, 3> weights;
    const char *onlyLibrary; // an extra condition on the rows, or ""
    int limit;
};

constexpr SectionKind artistsKind{"Artists", "artists", "artists_search", {"name_fold", nullptr, nullptr}, {4, 0, 0}, "",
                                  StoreSearch::collectionLimit};
constexpr SectionKind albumsKind{"Albums", "albums", "albums_search", {"title_fold", "artist_fold", nullptr}, {6, 1, 0}, "",
                                 StoreSearch::collectionLimit};
constexpr SectionKind songsKind{"Songs", "songs", "songs_search", {"title_fold", "artist_fold", "album_fold"}, {6, 2, 1},
                                " AND t.library_order IS NOT NULL", StoreSearch::songLimit};
constexpr SectionKind playlistsKind{"Playlists", "playlists", "playlists_search", {"name_fold", nullptr, nullptr}, {4, 0, 0}, "",
                                    StoreSearch::collectionLimit};
constexpr std::array<const SectionKind *, 4> sectionOrder{&artistsKind, &albumsKind, &songsKind, &playlistsKind};

// Each way of finding candidates (see rankedMatches) ranks at most this many of its hits, which
// bounds the cost of a keystroke whatever the query. The rows are filtered (library songs only)
// before this cut, never after it.
constexpr int candidatesPerTier = 500;
// Names that start with the query, taken in name order through the folded-name index.
constexpr int namePrefixCandidates = 200;

// A query of one very short word matches a large share of the library, and ranking every match
// would cost more than a keystroke may. Those queries match the start of the whole name instead,
// through the folded-name index, in name order: what a user typing one or two letters expects.
bool isShortQuery(const QStringList &tokens) { return tokens.size() == 1 && tokens.first().size() <= 2; }

// FTS5 query text: each token quoted (inner quotes doubled) and marked as a prefix, or as a
// whole word; the tokens are joined with an implicit AND, so every word must match. With a
// column, every word must match in that column.
enum class WordMatch { prefix, whole };
QString matchExpression(const QStringList &tokens, const char *column = nullptr, WordMatch match = WordMatch::prefix)
{
    QStringList parts;
    parts.reserve(tokens.size());
    for (const QString &token : tokens) {
        QString quoted = token;
        quoted.replace(QLatin1Char('"'), QLatin1String("\"\""));
        parts.append(QLatin1Char('"') + quoted + (match == WordMatch::prefix ? QLatin1String("\"*") : QLatin1String("\"")));
    }
    const QString all = parts.join(QLatin1Char(' '));
    if (!column)
        return all;
    return QLatin1Char('{') + QLatin1String(column) + QLatin1String("} : (") + all + QLatin1Char(')');
}

QByteArray foldSelectList(const SectionKind &kind)
{
    QByteArray columns;
    for (const char *column : kind.foldColumns)
        columns += column ? QByteArray(", t.") + column : QByteArray(", NULL");
    return columns;
}

// Folded texts are compared as UTF-8 in place. A byte of a character beyond ASCII counts as part
// of a word: nearly all such characters left after folding are letters.
bool isWordByte(char c)
{
    const auto u = static_cast<unsigned char>(c);
    return u >= 0x80 || (u >= '0' && u <= '9') || (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z');
}

// How well a text matches a query word: 0 when none of its words starts with it, 1 when one
// does, 2 when one is that very word. The text is folded, as the query word is.
int wordMatch(QByteArrayView text, QByteArrayView queryWord)
{
    int best = 0;
    for (qsizetype i = 0; i + queryWord.size() <= text.size(); ++i) {
        const bool wordStart = isWordByte(text[i]) && (i == 0 || !isWordByte(text[i - 1]));
        if (!wordStart || text.sliced(i, queryWord.size()) != queryWord)
            continue;
        const qsizetype end = i + queryWord.size();
        if (end == text.size() || !isWordByte(text[end]))
            return 2;
        best = 1;
    }
    return best;
}

struct Hit {
    qint64 pk = 0;
    int score = 0;
    int nameWords = 0;
    QByteArray name; // folded
};

// Better first: a higher score (for each query word, the weight of the best text holding a word
// that starts with it, twice that for the whole word, and a bonus when the name starts with the
// first query word: a title weighs more than an artist's name even matched in full), then fewer
// words in the name, then name order, then the older row.
bool better(int score, int nameWords, QByteArrayView name, qint64 pk, const Hit &other)
{
    if (score != other.score)
        return score > other.score;
    if (nameWords != other.nameWords)
        return nameWords < other.nameWords;
    const int byName = name.compare(other.name);
    if (byName != 0)
        return byName < 0;
    return pk < other.pk;
}

// The best hits seen so far, at most limit of them, best first; each row is ranked once.
class BestHits {
public:
    BestHits(const SectionKind &kind, const QList<QByteArray> &words) : m_kind(kind), m_words(words) {}

    // Ranks every row of a query that selects the pk and the kind's folded texts.
    void rankRows(SqliteQuery &rows)
    {
        while (rows.next()) {
            const qint64 pk = rows.int64(0);
            if (!m_seen.insert(pk).second)
                continue;
            std::array<QByteArrayView, 3> texts;
            for (size_t i = 0; i < texts.size(); ++i)
                texts[i] = m_kind.foldColumns[i] ? rows.bytes(int(i) + 1) : QByteArrayView();
            int score = 0;
            for (const QByteArray &word : m_words) {
                int best = 0;
                for (size_t i = 0; i < texts.size(); ++i)
                    best = std::max(best, m_kind.weights[i] * wordMatch(texts[i], word));
                score += best;
            }
            const QByteArrayView name = texts[0];
            if (name.startsWith(m_words.first()))
                score += m_kind.weights[0];
            offer(pk, score, int(std::count(name.begin(), name.end(), ' ')), name);
        }
    }

    // The score the last kept hit needs to beat, once limit hits are kept.
    std::optional<int> cutScore() const
    {
        if (qsizetype(m_kept.size()) < m_kind.limit)
            return std::nullopt;
        return m_kept.back().score;
    }

    std::vector<qint64> rows() const
    {
        std::vector<qint64> pks;
        for (const Hit &hit : m_kept)
            pks.push_back(hit.pk);
        return pks;
    }

private:
    void offer(qint64 pk, int score, int nameWords, QByteArrayView name)
    {
        if (qsizetype(m_kept.size()) == m_kind.limit && !better(score, nameWords, name, pk, m_kept.back()))
            return;
        auto at = m_kept.begin();
        while (at != m_kept.end() && !better(score, nameWords, name, pk, *at))
            ++at;
        m_kept.insert(at, Hit{pk, score, nameWords, name.toByteArray()});
        if (qsizetype(m_kept.size()) > m_kind.limit)
            m_kept.pop_back();
    }

    const SectionKind &m_kind;
    const QList<QByteArray> &m_words;
    std::unordered_set<qint64> m_seen;
    std::vector<Hit> m_kept;
};

// The rows of the kind whose folded name starts with ?1 (?2 bounds the range), in name order, at
// most ?3, with their texts.
QByteArray namesStartingWithSQL(const SectionKind &kind)
{
    const QByteArray nameColumn(kind.foldColumns[0]);
    return QByteArray("SELECT t.pk") + foldSelectList(kind) + " FROM " + kind.table + " t WHERE t." + nameColumn +
           " >= ?1 AND t." + nameColumn + " < ?2" + kind.onlyLibrary + " ORDER BY t." + nameColumn + " LIMIT ?3";
}

void bindNamePrefix(SqliteQuery &query, const QString &prefix, int limit)
{
    query.bindAll(prefix, QString::fromUtf8(TextKeys::prefixUpperBound(prefix.toUtf8())), limit);
}

// The best rows of the kind for the query words, at most kind.limit. Candidates come four ways,
// strongest first, each ranked in full up to its cut, so that no number of weak hits early in
// the table can hide a strong one: the names that start with the query (through the folded-name
// index), the rows whose name holds every word whole, the rows whose name holds every word, and
// the rows that hold every word in any text. The last way is skipped when the hits kept already
// beat anything it could add. Library songs are picked before the cut.
std::vector<qint64> rankedMatches(SqliteConnection &db, const SectionKind &kind, const QStringList &words)
{
    QList<QByteArray> utf8Words;
    for (const QString &word : words)
        utf8Words.append(word.toUtf8());
    BestHits best(kind, utf8Words);

    SqliteQuery startsWith = db.query(namesStartingWithSQL(kind));
    bindNamePrefix(startsWith, words.join(QLatin1Char(' ')), namePrefixCandidates);
    best.rankRows(startsWith);

    const QByteArray sql = QByteArray("SELECT t.pk") + foldSelectList(kind) + " FROM (SELECT rowid FROM " + kind.searchTable +
                           " WHERE " + kind.searchTable + " MATCH ?1) f JOIN " + kind.table +
                           " t ON t.pk = f.rowid WHERE 1" + kind.onlyLibrary + " LIMIT ?2";
    // Each runs the same cached statement, one after the other.
    const auto rankMatches = [&](const QString &match) {
        SqliteQuery matches = db.query(sql);
        matches.bindAll(match, candidatesPerTier);
        best.rankRows(matches);
    };
    rankMatches(matchExpression(words, kind.foldColumns[0], WordMatch::whole));
    rankMatches(matchExpression(words, kind.foldColumns[0]));
    if (!kind.foldColumns[1])
        return best.rows();
    // A hit with a word outside its name scores at most: every other word whole in the name, that
    // word whole in the best other text, and the bonus for a name that starts with the first.
    const int otherWeight = std::max(kind.weights[1], kind.weights[2]);
    const int bound = int(words.size() - 1) * 2 * kind.weights[0] + 2 * otherWeight + (words.size() > 1 ? kind.weights[0] : 0);
    if (const std::optional<int> cut = best.cutScore(); !cut || *cut <= bound)
        rankMatches(matchExpression(words));
    return best.rows();
}

// The first rows of the kind whose folded name starts with the prefix, in name order.
std::vector<qint64> namesInOrder(SqliteConnection &db, const SectionKind &kind, const QString &prefix)
{
    SqliteQuery query = db.query(namesStartingWithSQL(kind));
    bindNamePrefix(query, prefix, kind.limit);
    return StoreReads::rowsOf(query);
}

template <typename Record>
QList<SearchResult> collectionResults(SqliteConnection &db, const std::vector<qint64> &rows, const char *sql,
                                      Record (*fromRow)(const SqliteQuery &), SearchResult (*make)(Record))
{
    QList<SearchResult> results;
    SqliteQuery query = db.query(sql);
    for (const qint64 pk : rows) {
        query.bindAll(pk);
        if (query.next())
            results.append(make(fromRow(query)));
        query.reset();
    }
    return results;
}

QList<SearchResult> resultsOf(SqliteConnection &db, SongRecords &records, const SectionKind &kind,
                              const std::vector<qint64> &rows)
{
    if (&kind == &songsKind) {
        QList<SearchResult> results;
        for (const LocalSong &song : records.inOrder(db, rows))
            results.append(SearchResult::song(song));
        return results;
    }
    if (&kind == &artistsKind) {
        static const QByteArray sql = QByteArray("SELECT ") + StoreReads::artistColumns + " FROM artists r WHERE r.pk = ?1";
        return collectionResults<LocalArtist>(db, rows, sql.constData(), StoreReads::artistFromRow, SearchResult::artist);
    }
    if (&kind == &albumsKind) {
        static const QByteArray sql = QByteArray("SELECT ") + StoreReads::albumColumns + " FROM albums a WHERE a.pk = ?1";
        return collectionResults<LocalAlbum>(db, rows, sql.constData(), StoreReads::albumFromRow, SearchResult::album);
    }
    static const QByteArray sql = QByteArray("SELECT ") + StoreReads::playlistColumns + " FROM playlists p WHERE p.pk = ?1";
    return collectionResults<LocalPlaylist>(db, rows, sql.constData(), StoreReads::playlistFromRow, SearchResult::playlist);
}

// The words split again by the full-text index's own tokenizer. unicode61 follows an older
// Unicode than Qt: a character Qt now counts as a letter (U+19B5, once a spacing mark) splits a
// word in the index, and a quoted word the index splits is a phrase, which an index without
// positions refuses ("phrase queries are not supported"). The tokenizer is reached through a
// scratch full-text table of the connection's temporary schema and its vocabulary.
QStringList asTheIndexSplits(SqliteConnection &db, const QStringList &words)
{
    db.execute("CREATE VIRTUAL TABLE IF NOT EXISTS temp.query_words USING fts5(word, tokenize='unicode61 remove_diacritics 2');"
               "CREATE VIRTUAL TABLE IF NOT EXISTS temp.query_word_terms USING fts5vocab(temp, query_words, instance);"
               "DELETE FROM temp.query_words;");
    SqliteQuery insert = db.query("INSERT INTO temp.query_words(rowid, word) VALUES (1, ?1)");
    insert.bind(1, words.join(QLatin1Char(' ')));
    insert.next();
    QStringList split;
    SqliteQuery terms = db.query("SELECT term FROM temp.query_word_terms ORDER BY offset");
    while (terms.next() && split.size() < StoreSearch::maxQueryWords)
        split.append(terms.text(0));
    return split;
}

} // namespace

namespace StoreSearch {

QStringList tokens(const QString &text)
{
    // unicode61 splits on every character that is neither a letter nor a digit; so do we, so that
    // "AC/DC" asks for the tokens "ac" and "dc" as the index holds them. A text pasted into the
    // field may be long: only its start counts, so that no query can hold the store's thread.
    const QString folded = TextKeys::fold(text.left(maxQueryLength));
    QStringList result;
    QString current;
    for (QChar c : folded) {
        if (c.isLetterOrNumber()) {
            current.append(c);
        } else if (!current.isEmpty()) {
            result.append(current);
            current.clear();
        }
        if (result.size() == maxQueryWords)
            return result;
    }
    if (!current.isEmpty())
        result.append(current);
    return result;
}

QList<SearchSection> search(SqliteConnection &db, SongRecords &records, const QString &text)
{
    QStringList words = tokens(text);
    if (words.isEmpty())
        return {};
    words = asTheIndexSplits(db, words);
    if (words.isEmpty())
        return {};
    const bool shortQuery = isShortQuery(words);
    QList<SearchSection> sections;
    for (const SectionKind *kind : sectionOrder) {
        const std::vector<qint64> rows = shortQuery ? namesInOrder(db, *kind, words.first()) : rankedMatches(db, *kind, words);
        QList<SearchResult> results = resultsOf(db, records, *kind, rows);
        if (!results.isEmpty())
            sections.append(SearchSection(QString::fromLatin1(kind->name), std::move(results)));
    }
    return sections;
}

} // namespace StoreSearch

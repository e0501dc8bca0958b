#include "LumevarCore/StoreSearch.h"

#include "LumevarCore/SongRecords.h"
#include "LumevarCore/Sqlite.h"
#include "LumevarCore/StoreReads.h"
#include "LumevarCore/TextKeys.h"

#include <algorithm>
#include <array>
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
    std::array<bool, 3> foldRaw; // texts stored as written, folded here
    const char *onlyLibrary; // an extra condition on the rows, or ""
    int limit;
};

constexpr SectionKind artistsKind{"Artists", "artists", "artists_search", {"name_fold", nullptr, nullptr}, {4, 0, 0},
                                  {false, false, false}, "", StoreSearch::collectionLimit};
constexpr SectionKind albumsKind{"Albums", "albums", "albums_search", {"title_fold", "artist", nullptr}, {6, 1, 0},
                                 {false, true, false}, "", StoreSearch::collectionLimit};
constexpr SectionKind songsKind{"Songs", "songs", "songs_search", {"title_fold", "artist_fold", "album_fold"}, {6, 2, 1},
                                {false, false, false}, " AND t.library_order IS NOT NULL", StoreSearch::songLimit};
constexpr SectionKind playlistsKind{"Playlists", "playlists", "playlists_search", {"name_fold", nullptr, nullptr}, {4, 0, 0},
                                    {false, false, false}, "", StoreSearch::collectionLimit};
constexpr std::array<const SectionKind *, 4> sectionOrder{&artistsKind, &albumsKind, &songsKind, &playlistsKind};

// Hits are ranked among the first candidateLimit matches of the full-text index, which bounds the
// cost of a keystroke whatever the query; a query specific enough to matter has fewer matches.
constexpr int candidateLimit = 300;

// A query of one very short word matches a large share of the library, and ranking every match
// would cost more than a keystroke may. Those queries match the start of the whole name instead,
// through the folded-name index, in name order: what a user typing one or two letters expects.
bool isShortQuery(const QStringList &tokens) { return tokens.size() == 1 && tokens.first().size() <= 2; }

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

QByteArray foldSelectList(const SectionKind &kind)
{
    QByteArray columns;
    for (const char *column : kind.foldColumns)
        columns += column ? QByteArray(", t.") + column : QByteArray(", NULL");
    return columns;
}

struct Candidate {
    qint64 pk;
    int score;
    int nameWords;
    QString name; // folded
};

// How well a text matches a query word: 0 when none of its words starts with it, 1 when one
// does, 2 when one is that very word. The text is folded, as the query word is.
int wordMatch(QStringView text, QStringView queryWord)
{
    int best = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool wordStart = text[i].isLetterOrNumber() && (i == 0 || !text[i - 1].isLetterOrNumber());
        if (!wordStart || !text.mid(i).startsWith(queryWord))
            continue;
        const qsizetype end = i + queryWord.size();
        if (end == text.size() || !text[end].isLetterOrNumber())
            return 2;
        best = 1;
    }
    return best;
}

// How well the hit matches: for each query word, the weight of the best text holding a word that
// starts with it (twice that for the whole word), and a bonus when the name starts with the first
// query word. A title weighs more than an artist's name even matched in full. Texts are compared folded, as the full-text index compares them.
Candidate rank(const SqliteQuery &row, const SectionKind &kind, const QStringList &queryWords)
{
    Candidate candidate{row.int64(0), 0, 0, row.text(1)};
    std::array<QString, 3> texts;
    for (size_t i = 0; i < texts.size(); ++i) {
        if (kind.foldColumns[i] && !row.isNull(int(i) + 1))
            texts[i] = i == 0 ? candidate.name : row.text(int(i) + 1);
    }
    if (kind.foldRaw[1])
        texts[1] = TextKeys::fold(texts[1]);
    for (const QString &queryWord : queryWords) {
        int best = 0;
        for (size_t i = 0; i < texts.size(); ++i)
            best = std::max(best, kind.weights[i] * wordMatch(texts[i], queryWord));
        candidate.score += best;
    }
    const QStringView name(candidate.name);
    for (QChar c : name)
        candidate.nameWords += c == QLatin1Char(' ') ? 1 : 0;
    if (name.startsWith(queryWords.first()))
        candidate.score += kind.weights[0];
    return candidate;
}

// The rows of the kind that the full-text index matches, best first, at most kind.limit.
std::vector<qint64> rankedMatches(SqliteConnection &db, const SectionKind &kind, const QString &match, const QStringList &words)
{
    const QByteArray sql = QByteArray("SELECT t.pk") + foldSelectList(kind) + " FROM (SELECT rowid FROM " + kind.searchTable +
                           " WHERE " + kind.searchTable + " MATCH ?1 LIMIT ?2) f JOIN " + kind.table +
                           " t ON t.pk = f.rowid WHERE 1" + kind.onlyLibrary;
    SqliteQuery query = db.query(sql);
    query.bindAll(match, candidateLimit);
    std::vector<Candidate> candidates;
    while (query.next())
        candidates.push_back(rank(query, kind, words));
    const auto better = [](const Candidate &a, const Candidate &b) {
        if (a.score != b.score)
            return a.score > b.score;
        if (a.nameWords != b.nameWords)
            return a.nameWords < b.nameWords;
        if (a.name != b.name)
            return a.name < b.name;
        return a.pk < b.pk;
    };
    const size_t kept = std::min(candidates.size(), size_t(kind.limit));
    std::partial_sort(candidates.begin(), candidates.begin() + qsizetype(kept), candidates.end(), better);
    std::vector<qint64> rows;
    for (size_t i = 0; i < kept; ++i)
        rows.push_back(candidates[i].pk);
    return rows;
}

// The rows of the kind whose folded name starts with the prefix, in name order.
std::vector<qint64> namesStartingWith(SqliteConnection &db, const SectionKind &kind, const QString &prefix)
{
    const QByteArray nameColumn(kind.foldColumns[0]);
    SqliteQuery query = db.query(QByteArray("SELECT t.pk FROM ") + kind.table + " t WHERE t." + nameColumn + " >= ?1 AND t." +
                                 nameColumn + " < ?2" + kind.onlyLibrary + " ORDER BY t." + nameColumn + " LIMIT ?3");
    const QByteArray utf8 = prefix.toUtf8();
    query.bindAll(prefix, QString::fromUtf8(TextKeys::prefixUpperBound(utf8)), kind.limit);
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
    const bool shortQuery = isShortQuery(words);
    const QString match = shortQuery ? QString() : matchExpression(words);
    QList<SearchSection> sections;
    for (const SectionKind *kind : sectionOrder) {
        const std::vector<qint64> rows =
            shortQuery ? namesStartingWith(db, *kind, words.first()) : rankedMatches(db, *kind, match, words);
        QList<SearchResult> results = resultsOf(db, records, *kind, rows);
        if (!results.isEmpty())
            sections.append(SearchSection(QString::fromLatin1(kind->name), std::move(results)));
    }
    return sections;
}

} // namespace StoreSearch

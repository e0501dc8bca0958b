#pragma once
// Search as you type over the store, run on its worker thread.

#include "LumevarCore/SearchResult.h"

class SongRecords;
class SqliteConnection;

namespace StoreSearch {

// How many hits each section keeps at most.
inline constexpr int songLimit = 25;
inline constexpr int collectionLimit = 10;

// Only the start of a long text is searched: its first maxQueryLength characters, and of those
// the first maxQueryWords words.
inline constexpr int maxQueryLength = 256;
inline constexpr int maxQueryWords = 12;

// The words of the text, folded and split where the full-text index splits them. Empty when the
// text holds nothing to search for.
QStringList tokens(const QString &text);

// Sections in the fixed order Artists, Albums, Songs, Playlists; empty sections are left out,
// and text without words gives none. Every word must match the start of a word of the item
// (accents, case and compatibility forms ignored); hits are ranked by relevance, best first,
// whatever the order of the rows in the store. A single word of one or two letters matches the
// start of names, in name order.
QList<SearchSection> search(SqliteConnection &db, SongRecords &records, const QString &text);

} // namespace StoreSearch

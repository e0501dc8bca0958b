#pragma once
// Search as you type over the store, run on its worker thread.

#include "LumevarCore/SearchResult.h"

class SongRecords;
class SqliteConnection;

namespace StoreSearch {

// How many hits each section keeps at most.
inline constexpr int songLimit = 25;
inline constexpr int collectionLimit = 10;

// The words of the text, folded and split where the full-text index splits them. Empty when the
// text holds nothing to search for.
QStringList tokens(const QString &text);

// Sections in the fixed order Artists, Albums, Songs, Playlists; empty sections are left out,
// and text without words gives none. Every word must match the start of a word of the item
// (accents and case ignored); hits are ranked by relevance, best first.
QList<SearchSection> search(SqliteConnection &db, SongRecords &records, const QString &text);

} // namespace StoreSearch

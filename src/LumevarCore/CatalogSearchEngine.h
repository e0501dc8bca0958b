#pragma once
// Search over the whole catalog of the music service.

#include "LumevarCore/SearchResult.h"

#include <QCoroTask>

class MusicService;

class CatalogSearchEngine {
public:
    // Sections of catalog songs, albums, artists and playlists for the query; empty text gives none.
    static QCoro::Task<QList<SearchSection>> search(QString query);
    static QCoro::Task<QList<SearchSection>> search(QString query, MusicService &service);
};

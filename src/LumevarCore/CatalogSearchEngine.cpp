#include "LumevarCore/CatalogSearchEngine.h"

#include "Platform/Music/MusicService.h"

namespace {

// How many hits of each kind the catalog is asked for.
constexpr int catalogLimit = 25;

template <typename Item>
void appendSection(QList<SearchSection> &sections, const QString &name, const QList<Item> &items,
                   SearchResult (*make)(Item))
{
    if (items.isEmpty())
        return;
    QList<SearchResult> results;
    results.reserve(items.size());
    for (const Item &item : items)
        results.append(make(item));
    sections.append(SearchSection(name, std::move(results)));
}

} // namespace

QCoro::Task<QList<SearchSection>> CatalogSearchEngine::search(QString query)
{
    co_return co_await search(std::move(query), MusicService::shared());
}

QCoro::Task<QList<SearchSection>> CatalogSearchEngine::search(QString query, MusicService &service)
{
    const QString term = query.simplified();
    if (term.isEmpty())
        co_return QList<SearchSection>{};
    const CatalogSearchResponse response = co_await service.searchCatalog(term, catalogLimit);
    QList<SearchSection> sections;
    appendSection(sections, QStringLiteral("Songs"), response.songs, &SearchResult::catalogSong);
    appendSection(sections, QStringLiteral("Albums"), response.albums, &SearchResult::catalogAlbum);
    appendSection(sections, QStringLiteral("Artists"), response.artists, &SearchResult::catalogArtist);
    appendSection(sections, QStringLiteral("Playlists"), response.playlists, &SearchResult::catalogPlaylist);
    co_return sections;
}

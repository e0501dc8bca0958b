#include "Lumevar/Search/SearchSources.h"

#include "LumevarCore/CatalogSearchEngine.h"
#include "LumevarCore/LocalDatabase.h"

QCoro::Task<QList<SearchSection>> searchSections(SearchPickerSelection source, QString text, SearchModels models)
{
    const QString query = SearchViewModel::searchQuery(text);
    if (source == SearchPickerSelection::catalog) {
        QList<SearchSection> catalog = co_await CatalogSearchEngine::search(query);
        co_return catalog;
    }
    QList<SearchSection> sections = co_await LocalDatabase::shared().search(query);
    sections.append(models.madeForYouViewModel.searchSections(query));
    sections.append(models.stationsViewModel.searchSections(query));
    co_return sections;
}

#include "Lumevar/Search/SearchSources.h"

#include "LumevarCore/CatalogSearchEngine.h"
#include "LumevarCore/LocalDatabase.h"

#include <QPointer>

QCoro::Task<QList<SearchSection>> searchSections(SearchPickerSelection source, QString text, SearchModels models)
{
    const QString query = SearchViewModel::searchQuery(text);
    if (source == SearchPickerSelection::catalog) {
        QList<SearchSection> catalog = co_await CatalogSearchEngine::search(query);
        co_return catalog;
    }
    // The recommendation models are asked after the store's answer; one that went meanwhile (a
    // window's models torn down while a search was on its way) adds nothing.
    const QPointer<MadeForYouViewModel> madeForYou(&models.madeForYouViewModel);
    const QPointer<StationsViewModel> stations(&models.stationsViewModel);
    QList<SearchSection> sections = co_await LocalDatabase::shared().search(query);
    if (madeForYou)
        sections.append(madeForYou->searchSections(query));
    if (stations)
        sections.append(stations->searchSections(query));
    co_return sections;
}

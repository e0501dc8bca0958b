#pragma once
// Where a search looks: the library (the local store, then the Made for You and station items
// whose titles hold the text) or the service's catalog. The text goes in as the user typed it
// and is made a query here (SearchViewModel::searchQuery).

#include "Lumevar/Search/SearchModels.h"
#include "Lumevar/Search/SearchViewModel.h"

#include <QCoroTask>

// Throws what the store or the catalog throws.
QCoro::Task<QList<SearchSection>> searchSections(SearchPickerSelection source, QString text, SearchModels models);

#pragma once
// What a chosen search result does. A library record plays through its own model, so that the
// ordinary queue rules hold, and then becomes the Library SnapBack target (the place where the
// record lives, not where the user stood). A catalog item goes straight to the player and leaves
// no SnapBack target; a catalog artist plays its top songs, and nothing when it has none.

#include "Lumevar/Search/SearchModels.h"

#include <QCoroTask>

// Throws what fails; the SnapBack target moves only after a library result has started.
QCoro::Task<void> activateSearchResult(SearchResult result, SearchModels models);

#pragma once
// A library to search in, over the models' test world: the whole application's models
// (LumevarApp) and a store synced from the fake service, with one playlist, album and artist
// named "Harbor …", songs, a Made for You mix and a station, and a small catalog.

#include "ModelTestFixture.h"

#include "Lumevar/App/LumevarApp.h"

class SearchFixture : public ModelTest {
protected:
    SearchFixture();
    ~SearchFixture() override;

    // Syncs the library into the store and loads the recommendations.
    void syncLibrary();
    // The titles of the player's queue, in order.
    QStringList queueTitles();
    // The first result of the section with that name in sections.
    static std::optional<SearchResult> resultIn(const QList<SearchSection> &sections, const QString &section);

    std::unique_ptr<LumevarApp> app;
};

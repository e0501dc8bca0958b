// Search below the widgets: the surface's height rule, the query a typed text becomes, what the
// two sources answer (also to hostile input), and what a chosen result of each kind plays and
// where Library SnapBack then leads.

#include "SearchFixture.h"

#include "Lumevar/Search/SearchActivation.h"
#include "Lumevar/Search/SearchLayout.h"
#include "Lumevar/Search/SearchSources.h"
#include "TestKit/Lists.h"

namespace {

QList<SearchResult> songResults(int count)
{
    QList<SearchResult> results;
    for (int i = 0; i < count; ++i) {
        LocalSong song;
        song.identifier = QString::number(i);
        song.id = MusicItemID(song.identifier);
        song.title = QStringLiteral("Song ") + song.identifier;
        results.append(SearchResult::song(song));
    }
    return results;
}

} // namespace

class SearchTest : public SearchFixture {};

TEST(SearchLayoutTest, HeightCountsHeadersAndResultsUpToTheCap)
{
    EXPECT_EQ(SearchLayout::surfaceHeight({}), 44.0);
    // 20 + 8 × 40 = 340 stays under the cap; ten results in two sections (500) are held at it.
    EXPECT_EQ(SearchLayout::surfaceHeight({SearchSection(QStringLiteral("A"), songResults(3)),
                                           SearchSection(QStringLiteral("B"), songResults(3))}),
              384.0);
    EXPECT_EQ(SearchLayout::surfaceHeight({SearchSection(QStringLiteral("A"), songResults(4)),
                                           SearchSection(QStringLiteral("B"), songResults(6))}),
              424.0);
    // A section without results still takes its header's line.
    EXPECT_EQ(SearchLayout::listHeight({SearchSection(QStringLiteral("A"), {})}), 60.0);
}

TEST(SearchQueryTest, LongPastedAndControlTextBecomesOneShortLine)
{
    EXPECT_EQ(SearchViewModel::searchQuery(QString(5000, QLatin1Char('x'))).size(), SearchViewModel::maxQueryLength);
    EXPECT_EQ(SearchViewModel::searchQuery(QStringLiteral("one\ntwo\r\nthree\tfour")), QStringLiteral("one two  three four"));
    // An emoji (two UTF-16 units) across the cut is dropped whole, never halved.
    const QString emoji = QString::fromUtf8("\xF0\x9F\x8E\xB5");
    const QString query = SearchViewModel::searchQuery(QString(SearchViewModel::maxQueryLength - 1, QLatin1Char('a')) + emoji);
    EXPECT_EQ(query.size(), SearchViewModel::maxQueryLength - 1);
    EXPECT_FALSE(query.back().isHighSurrogate());
    EXPECT_EQ(SearchViewModel::searchQuery(QStringLiteral("Harbor")), QStringLiteral("Harbor"));
}

TEST_F(SearchTest, LibrarySearchAddsRecommendationsAfterTheStoreAndCatalogStandsAlone)
{
    syncLibrary();
    const QList<SearchSection> library = runTask(searchSections(SearchPickerSelection::library, QStringLiteral("harbor"), app->searchModels()));
    EXPECT_EQ(textsOf(library, &SearchSection::name), (QStringList{QStringLiteral("Artists"), QStringLiteral("Albums"), QStringLiteral("Songs"),
                                                                   QStringLiteral("Playlists"), QStringLiteral("Made for You"),
                                                                   QStringLiteral("Stations for You")}));

    const QList<SearchSection> catalog = runTask(searchSections(SearchPickerSelection::catalog, QStringLiteral("harbor"), app->searchModels()));
    ASSERT_EQ(catalog.size(), 3);
    EXPECT_EQ(catalog[0].results[0].kind(), SearchResult::Kind::catalogSong);
}

TEST_F(SearchTest, HostileTextNeitherThrowsNorBlocksTheStore)
{
    syncLibrary();
    const QStringList inputs = {
        QStringLiteral("   "),
        QString(5000, QLatin1Char('h')),
        QString::fromUtf8("\xF0\x9F\x8E\xB5\xF0\x9F\x94\xA5 harbor"),
        QString::fromUtf8("\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D \xD9\x85\xD8\xB1\xD8\xAD\xD8\xA8\xD8\xA7"),
        QString::fromUtf8("\xEF\xBC\xA8\xEF\xBD\x81\xEF\xBD\x92\xEF\xBD\x82\xEF\xBD\x8F\xEF\xBD\x92"),
        QStringLiteral("\"harbor NEAR(harb* title: song\n"),
        QStringLiteral("AND OR NOT ^ - ( ) :"),
    };
    for (const QString &input : inputs) {
        EXPECT_NO_THROW(runTask(searchSections(SearchPickerSelection::library, input, app->searchModels())))
            << input.left(40).toStdString();
    }
    // The store still answers the next ordinary search.
    const QList<SearchSection> after = runTask(searchSections(SearchPickerSelection::library, QStringLiteral("harbor"), app->searchModels()));
    EXPECT_TRUE(resultIn(after, QStringLiteral("Songs")).has_value());
    // Full-width letters fold to the plain ones.
    const QList<SearchSection> wide = runTask(searchSections(SearchPickerSelection::library, inputs[4], app->searchModels()));
    EXPECT_TRUE(resultIn(wide, QStringLiteral("Songs")).has_value());
}

TEST_F(SearchTest, EachLibraryKindPlaysThroughItsModelAndBecomesTheSnapBackTarget)
{
    syncLibrary();
    MainViewModel &main = app->mainViewModel();
    const QList<SearchSection> sections = runTask(searchSections(SearchPickerSelection::library, QStringLiteral("harbor"), app->searchModels()));

    struct Case {
        const char *section;
        QStringList queue;
        QList<NavigationItem> path;
    };
    const NavigationItem root = NavigationItem::root();
    const QList<Case> cases = {
        {"Playlists", {QStringLiteral("Harbor Dawn"), QStringLiteral("Harbor Song")},
         {root, NavigationItem::container(ContainerKind::playlists), NavigationItem::songCollection(QStringLiteral("p1"), QStringLiteral("Harbor Mix"))}},
        {"Albums", {QStringLiteral("Harbor Song"), QStringLiteral("Quiet Water")},
         {root, NavigationItem::container(ContainerKind::albums), NavigationItem::songCollection(QStringLiteral("al1"), QStringLiteral("Harbor Lights"))}},
        {"Artists", {QStringLiteral("Harbor Song"), QStringLiteral("Quiet Water")},
         {root, NavigationItem::container(ContainerKind::artists), NavigationItem::songCollection(QStringLiteral("ar1"), QStringLiteral("Harbor Band"))}},
        {"Made for You", {QStringLiteral("Quiet Water")}, {root, NavigationItem::container(ContainerKind::madeForYou)}},
        {"Stations for You", {}, {root, NavigationItem::container(ContainerKind::stations)}},
    };
    for (const Case &c : cases) {
        const QString section = QString::fromLatin1(c.section);
        const std::optional<SearchResult> result = resultIn(sections, section);
        ASSERT_TRUE(result) << c.section;
        finish(activateSearchResult(*result, app->searchModels()));
        if (!c.queue.isEmpty())
            EXPECT_EQ(queueTitles(), c.queue) << c.section;
        else
            EXPECT_EQ(queueTitles().value(0), QStringLiteral("Harbor Dawn")) << c.section; // the station's first song
        ASSERT_TRUE(main._lastSavedSnapbackState()) << c.section;
        EXPECT_EQ(main._lastSavedSnapbackState()->path, c.path) << c.section;
        EXPECT_EQ(main._lastSavedSnapbackState()->activePane, 1) << c.section;
    }
    EXPECT_EQ(main._lastSavedSnapbackState()->selectedStationID, MusicItemID(QStringLiteral("st1")));

    // A song plays the whole Songs container from that song on.
    const std::optional<SearchResult> song = resultIn(sections, QStringLiteral("Songs"));
    ASSERT_TRUE(song);
    finish(activateSearchResult(*song, app->searchModels()));
    ASSERT_FALSE(player.queue().entries().isEmpty());
    EXPECT_EQ(player.queue().currentEntry()->title, song->name());
    EXPECT_EQ(main._lastSavedSnapbackState()->path, (QList<NavigationItem>{root, NavigationItem::container(ContainerKind::songs)}));
    EXPECT_FALSE(main._showPlayError());

    // SnapBack then leads to the result's list, whatever was on screen.
    main._navigationPath.set({root, NavigationItem::container(ContainerKind::albums)});
    main.snapBack();
    EXPECT_EQ(main._selectedContainerKindID(), QStringLiteral("songs"));
}

TEST_F(SearchTest, AVanishedPlaylistFailsWithoutMovingTheTargetOrAlerting)
{
    syncLibrary();
    MainViewModel &main = app->mainViewModel();
    const std::optional<SearchResult> playlist =
        resultIn(runTask(searchSections(SearchPickerSelection::library, QStringLiteral("harbor mix"), app->searchModels())),
                 QStringLiteral("Playlists"));
    ASSERT_TRUE(playlist);
    const SavedSnapbackState before{{NavigationItem::root()}, 0, {}, {}, {}, {}, {}};
    main._lastSavedSnapbackState.set(before);
    // A playlist that left the list after the search ran.
    LocalPlaylist gone = *playlist->payload<LocalPlaylist>();
    gone.id = QStringLiteral("p-gone");
    EXPECT_THROW(runTask(activateSearchResult(SearchResult::playlist(gone), app->searchModels())), Error);
    EXPECT_EQ(main._lastSavedSnapbackState(), before);
    EXPECT_FALSE(main._showPlayError());
}

TEST_F(SearchTest, CatalogItemsPlayAloneAndClearTheSnapBackTarget)
{
    syncLibrary();
    MainViewModel &main = app->mainViewModel();
    main._lastSavedSnapbackState.set(SavedSnapbackState{{NavigationItem::root()}, 0, {}, {}, {}, {}, {}});
    player.state().setShuffleMode(MusicShuffleMode::songs);
    const QList<SearchSection> catalog = runTask(searchSections(SearchPickerSelection::catalog, QStringLiteral("harbor"), app->searchModels()));

    finish(activateSearchResult(*resultIn(catalog, QStringLiteral("Songs")), app->searchModels()));
    EXPECT_EQ(queueTitles(), QStringList{QStringLiteral("Harbor Catalog Song")});
    EXPECT_FALSE(main._lastSavedSnapbackState());
    // The shuffle mode that stood is kept.
    EXPECT_EQ(player.state().shuffleMode(), MusicShuffleMode::songs);

    // An artist without top songs plays nothing; the target is already gone.
    const SearchResult artist = *resultIn(catalog, QStringLiteral("Artists"));
    Artist bare = *artist.payload<Artist>();
    service.catalogArtists.insert(bare.id, bare);
    main._lastSavedSnapbackState.set(SavedSnapbackState{{NavigationItem::root()}, 0, {}, {}, {}, {}, {}});
    finish(activateSearchResult(artist, app->searchModels()));
    EXPECT_EQ(queueTitles(), QStringList{QStringLiteral("Harbor Catalog Song")});
    EXPECT_FALSE(main._lastSavedSnapbackState());

    // With top songs, those are the queue.
    bare.topSongs = QList<Song>{FakeMusicService::song(QStringLiteral("t1"), QStringLiteral("Top One")),
                                FakeMusicService::song(QStringLiteral("t2"), QStringLiteral("Top Two"))};
    service.catalogArtists.insert(bare.id, bare);
    finish(activateSearchResult(artist, app->searchModels()));
    EXPECT_EQ(queueTitles().size(), 2);
    EXPECT_TRUE(queueTitles().contains(QStringLiteral("Top One")));
}

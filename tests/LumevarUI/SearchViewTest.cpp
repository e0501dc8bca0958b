// The search surface driven through its real widgets offscreen: typing searches at once and only
// the newest search shows; the keyboard moves between field and list, plays and closes; the
// picker switches source; the catalog's empty answer and failures leave no error behind.

#include "SearchFixture.h"

#include "Lumevar/Search/SearchLayout.h"
#include "Lumevar/UI/Search/SearchPicker.h"
#include "Lumevar/UI/Search/SearchView.h"
#include "TestKit/Lists.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QLineEdit>
#include <QListView>
#include <QTest>

class SearchViewTest : public SearchFixture {
protected:
    SearchViewTest()
    {
        syncLibrary();
        view = std::make_unique<SearchView>(app->searchModels());
        view->onResize = [this](double height) {
            heights.append(height);
            shown.append(sectionNames());
        };
        view->onClose = [this] { ++closes; };
        // Every search typed in any test below resets the results under the model checker.
        new QAbstractItemModelTester(view->list()->model(), QAbstractItemModelTester::FailureReportingMode::Fatal,
                                     view->list()->model());
        view->resize(360, 424);
        view->show();
        QApplication::setActiveWindow(view.get());
        settle();
    }
    ~SearchViewTest() override
    {
        view.reset();
        settle();
    }

    void type(const QString &text) { QTest::keyClicks(view->field(), text); }
    // One search for the whole text, to its end.
    bool searchFor(const QString &text)
    {
        const int before = int(heights.size());
        view->field()->setText(text);
        return waitForSearches(before + 1);
    }
    ::testing::AssertionResult waitForSearches(int count) { return waitUntil([&] { return int(heights.size()) >= count; }); }
    QStringList sectionNames() const
    {
        return textsOf(view->sections(), &SearchSection::name);
    }
    QStringList resultNames() const
    {
        QStringList names;
        for (const SearchSection &section : view->sections())
            for (const SearchResult &result : section.results)
                names.append(result.name());
        return names;
    }
    const SearchResult &firstResult() const { return view->sections().first().results.first(); }

    std::unique_ptr<SearchView> view;
    QList<double> heights;
    QList<QStringList> shown;
    int closes = 0;
};

TEST_F(SearchViewTest, EachKeystrokeSearchesAndTheListEndsOnTheLastText)
{
    type(QStringLiteral("harbor"));
    ASSERT_TRUE(waitUntil([&] { return view->previousSearches().size() == 1 && resultNames().contains(QStringLiteral("Harbor Lights")); }));
    settle();
    // Every keystroke started a search and cancelled the one before; at most one per keystroke
    // reached the list, and the list stands on the last text.
    EXPECT_GE(heights.size(), 1);
    EXPECT_LE(heights.size(), 6);
    EXPECT_EQ(heights.last(), SearchLayout::surfaceHeight(view->sections()));
    EXPECT_EQ(view->list()->model()->rowCount(), view->sections().size() + resultNames().size());
    EXPECT_EQ(sectionNames().first(), QStringLiteral("Artists"));

    view->field()->setText(QStringLiteral("quiet"));
    view->field()->setText(QStringLiteral("harbor dawn"));
    // The album matches "harbor" alone: once it is gone, the list stands on "harbor dawn".
    ASSERT_TRUE(waitUntil([&] {
        return resultNames().contains(QStringLiteral("Harbor Dawn")) && !resultNames().contains(QStringLiteral("Harbor Lights"));
    }));
    settle();
    EXPECT_FALSE(resultNames().contains(QStringLiteral("Quiet Water")));

    // Nothing found: only the field row remains.
    const int before = int(heights.size());
    view->field()->setText(QStringLiteral("zzzz"));
    ASSERT_TRUE(waitForSearches(before + 1));
    EXPECT_EQ(heights.last(), 44.0);
    EXPECT_TRUE(view->sections().isEmpty());
    // Down still reaches the empty list, where Return does nothing, and Up comes back.
    QTest::keyClick(view->field(), Qt::Key_Down);
    EXPECT_TRUE(view->list()->hasFocus());
    EXPECT_FALSE(view->selection());
    QTest::keyClick(view->list(), Qt::Key_Return);
    EXPECT_EQ(closes, 0);
    QTest::keyClick(view->list(), Qt::Key_Up);
    EXPECT_TRUE(view->field()->hasFocus());
}

TEST_F(SearchViewTest, ArrowsMoveBetweenFieldAndResultsAndReturnPlaysAndCloses)
{
    ASSERT_TRUE(searchFor(QStringLiteral("harbor")));
    QWidget *field = view->field();
    QListView *list = view->list();

    // Return in the field does nothing.
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(closes, 0);

    QTest::keyClick(field, Qt::Key_Down);
    EXPECT_TRUE(list->hasFocus());
    ASSERT_TRUE(view->selection());
    EXPECT_EQ(*view->selection(), firstResult());
    // Down skips the next section's header; Up comes back; Up on the first result leaves the list.
    QTest::keyClick(list, Qt::Key_Down);
    ASSERT_TRUE(view->selection());
    EXPECT_EQ(*view->selection(), view->sections()[1].results.first());
    QTest::keyClick(list, Qt::Key_Up);
    EXPECT_EQ(*view->selection(), firstResult());
    EXPECT_TRUE(list->hasFocus());
    QTest::keyClick(list, Qt::Key_Up);
    EXPECT_TRUE(field->hasFocus());

    // Return on a result closes at once and plays it (the first result is the artist).
    QTest::keyClick(field, Qt::Key_Down);
    QTest::keyClick(list, Qt::Key_Return);
    EXPECT_EQ(closes, 1);
    ASSERT_TRUE(waitUntil([&] { return !player.queue().entries().isEmpty(); }));
    EXPECT_EQ(queueTitles(), (QStringList{QStringLiteral("Harbor Song"), QStringLiteral("Quiet Water")}));
    ASSERT_TRUE(waitUntil([&] { return app->mainViewModel()._lastSavedSnapbackState().has_value(); }));
    EXPECT_EQ(app->mainViewModel()._lastSavedSnapbackState()->selectedArtistID, QStringLiteral("ar1"));

    // Escape closes from the field and from the list.
    QTest::keyClick(field, Qt::Key_Escape);
    QTest::keyClick(list, Qt::Key_Escape);
    EXPECT_EQ(closes, 3);
}

TEST_F(SearchViewTest, ReopeningTakesTheFocusBackAndClearsTheHighlight)
{
    ASSERT_TRUE(searchFor(QStringLiteral("harbor")));
    QTest::keyClick(view->field(), Qt::Key_Down);
    ASSERT_TRUE(view->selection());
    app->searchViewModel().activate();
    EXPECT_EVENTUALLY_TRUE(view->field()->hasFocus());
    EXPECT_FALSE(view->selection());
    EXPECT_EQ(view->searchText(), QStringLiteral("harbor"));
    // The text stands selected: typing replaces it.
    type(QStringLiteral("Greatest Hits"));
    EXPECT_EQ(view->searchText(), QStringLiteral("Greatest Hits"));
}

TEST_F(SearchViewTest, PickerEmptiesTheListAtOnceAndTheHeightFollowsTheNewSearch)
{
    view->field()->setText(QStringLiteral("harbor"));
    ASSERT_TRUE(waitForSearches(1));
    service.latency = 1.0;
    QTest::keyClick(view.get(), Qt::Key_2, Qt::ControlModifier);
    EXPECT_EVENTUALLY_TRUE(view->sections().isEmpty());
    EXPECT_EQ(view->picker()->selection(), SearchPickerSelection::catalog);
    EXPECT_EQ(app->searchViewModel().selection(), SearchPickerSelection::catalog);
    EXPECT_EQ(heights.size(), 1); // no new height until the catalog answered
    clock.advance(1.0);
    ASSERT_TRUE(waitForSearches(2));
    EXPECT_EQ(sectionNames(), (QStringList{QStringLiteral("Songs"), QStringLiteral("Albums"), QStringLiteral("Artists")}));
    EXPECT_EQ(heights.last(), SearchLayout::surfaceHeight(view->sections()));

    // Choosing the source already shown searches nothing again.
    service.resetCallCounts();
    view->picker()->choose(SearchPickerSelection::catalog);
    settle();
    EXPECT_EQ(service.callCount(FakeMusicService::Operation::searchCatalog), 0);
}

TEST_F(SearchViewTest, CatalogFailuresAndOvertakenSearchesLeaveTheListAndReportNothing)
{
    app->searchViewModel().selection.set(SearchPickerSelection::catalog);
    ASSERT_TRUE(waitUntil([&] { return view->picker()->selection() == SearchPickerSelection::catalog; }));
    view->field()->setText(QStringLiteral("harbor"));
    ASSERT_TRUE(waitUntil([&] { return !view->sections().isEmpty(); }));
    const QList<SearchSection> before = view->sections();
    const int searches = int(heights.size());

    // Two fast keystrokes against a slow catalog: the first is overtaken and shows nothing.
    service.latency = 1.0;
    type(QStringLiteral(" c"));
    clock.advance(1.0);
    ASSERT_TRUE(waitForSearches(searches + 1));
    settle();
    EXPECT_EQ(heights.size(), searches + 1);

    // A failing catalog keeps what was shown and the height, and reports nothing.
    const QList<SearchSection> shownBefore = view->sections();
    service.latency = 0;
    service.fail(FakeMusicService::Operation::searchCatalog, MusicError(MusicError::serviceFailed, QStringLiteral("down")));
    type(QStringLiteral("a"));
    settle();
    EXPECT_EQ(view->sections(), shownBefore);
    EXPECT_EQ(heights.size(), searches + 1);
    EXPECT_TRUE(telemetry.errors.isEmpty());

    // A service without a catalog: the empty surface, no error.
    service.catalog = {};
    type(QStringLiteral("b"));
    ASSERT_TRUE(waitForSearches(searches + 2));
    EXPECT_TRUE(view->sections().isEmpty());
    EXPECT_EQ(heights.last(), 44.0);
    EXPECT_TRUE(telemetry.errors.isEmpty());
    EXPECT_FALSE(before.isEmpty());
}

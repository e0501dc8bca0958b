// The list controller against a recording table: reloads only when the row identifiers change,
// the two selections kept in step without feeding each other, the saved scroll place, the
// scroll requests of programmatic moves and coalesced repaints. (Focus and the active pane are
// tested through the window.)

#include "Lumevar/Model/ListScrollState.h"
#include "Lumevar/Navigator/CollectionListController.h"
#include "Lumevar/Navigator/ListTable.h"
#include "TestKit/ManualClock.h"
#include "TestKit/QtPrinters.h"
#include "TestKit/Waits.h"

#include <gtest/gtest.h>

namespace {

struct RecordingTable : ListTable {
    CollectionListController *controller = nullptr;
    int reloads = 0;
    QList<QList<int>> rowReloads;
    int selected = -1;
    QList<int> scrolledTo;
    QPointF position;
    bool focused = false;
    bool enabled = true;

    void reloadData() override { ++reloads; }
    void reloadRows(const QList<int> &rows) override { rowReloads.append(rows); }
    int selectedRow() const override { return selected; }
    void selectRow(int row) override
    {
        selected = row;
        controller->selectionDidChange(row); // a table reports every selection change
    }
    void scrollRowToVisible(int row) override { scrolledTo.append(row); }
    QList<int> visibleRows() const override { return {0, 1}; }
    void layoutIfNeeded() override {}
    QPointF scrollPosition() const override { return position; }
    void scrollToPoint(QPointF point) override { position = point; }
    bool hasKeyboardFocus() const override { return focused; }
    void takeKeyboardFocus() override { focused = true; }
    void setEnabled(bool on) override { enabled = on; }
};

LocalPlaylist playlist(const char *id)
{
    LocalPlaylist p;
    p.id = QString::fromLatin1(id);
    p.name = p.id.toUpper();
    return p;
}

QList<LocalPlaylist> playlists(std::initializer_list<const char *> ids)
{
    QList<LocalPlaylist> list;
    for (const char *id : ids)
        list.append(playlist(id));
    return list;
}

} // namespace

class CollectionListControllerTest : public ::testing::Test {
protected:
    CollectionListControllerTest()
    {
        Clock::setShared(&clock);
        model.setItems(playlists({"a", "b", "c"}));
    }
    ~CollectionListControllerTest() override { Clock::setShared(nullptr); }

    std::unique_ptr<CollectionListController> make(std::optional<QString> name = QStringLiteral("PlaylistsList"))
    {
        auto controller = std::make_unique<CollectionListController>(
            model, scrollState,
            CollectionListController::SelectionBinding{[this] { return selection; },
                                                       [this](const std::optional<QString> &id) {
                                                           selection = id;
                                                           ++selectionWrites;
                                                       }},
            1, name, [this](int row) { activated.append(row); });
        table.controller = controller.get();
        return controller;
    }

    ManualClock clock;
    ListScrollState scrollState;
    ItemListModel<LocalPlaylist> model{[](TableCellContent &cell, const LocalPlaylist &p, ConfigurationType) { cell.title = p.name; }};
    RecordingTable table;
    std::optional<QString> selection;
    int selectionWrites = 0;
    QList<int> activated;
};

TEST_F(CollectionListControllerTest, ReloadsOnlyWhenTheIdentifiersChangeAndFollowsTheSelectionWithoutReportingBack)
{
    selection = QStringLiteral("b");
    auto controller = make();
    controller->attach(&table);
    EXPECT_EQ(table.reloads, 1);
    EXPECT_EQ(table.selected, 1);
    EXPECT_EQ(selectionWrites, 0);

    // Same ids, new contents: the items are replaced, the table keeps its rows.
    QList<LocalPlaylist> renamed = playlists({"a", "b", "c"});
    renamed[0].name = QStringLiteral("Renamed");
    model.setItems(renamed);
    controller->reloadItems();
    EXPECT_EQ(table.reloads, 1);
    EXPECT_EQ(model.itemTitle(0), QStringLiteral("Renamed"));

    // Another order: a full reload, and the selected id's new row is selected, silently.
    model.setItems(playlists({"c", "b", "a", "d"}));
    controller->reloadItems();
    model.setItems(playlists({"b", "c", "a"}));
    controller->reloadItems();
    EXPECT_EQ(table.reloads, 3);
    EXPECT_EQ(table.selected, 0);
    EXPECT_EQ(selectionWrites, 0);
    EXPECT_EQ(controller->displayedItemIDs(), (QStringList{QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("a")}));

    // The selected id leaves the list: the table keeps its row, the selection stays.
    model.setItems(playlists({"c", "a"}));
    controller->reloadItems();
    EXPECT_EQ(table.selected, 0);
    EXPECT_EQ(selection, QStringLiteral("b"));
    EXPECT_EQ(selectionWrites, 0);
}

TEST_F(CollectionListControllerTest, TheUsersSelectionIsWrittenOnceAndNeverOverridden)
{
    auto controller = make();
    controller->attach(&table);
    ASSERT_TRUE(controller->shouldSelectRow(2));
    // While the user's selection is under way, a change of the application's selection waits.
    selection = QStringLiteral("a");
    controller->updateSelection();
    EXPECT_EQ(table.selected, -1);
    table.selected = 2;
    controller->selectionDidChange(2);
    EXPECT_EQ(selection, QStringLiteral("c"));
    EXPECT_EQ(selectionWrites, 1);
    // A report of the same id, or of no row, writes nothing.
    controller->selectionDidChange(2);
    controller->selectionDidChange(-1);
    EXPECT_EQ(selectionWrites, 1);

    // Activation takes the table's selected row; none, nothing.
    controller->activateSelectedRow();
    table.selected = -1;
    controller->activateSelectedRow();
    EXPECT_EQ(activated, QList<int>{2});
    // The hover play button selects its row and plays it once the new selection's observers
    // (queued for the next turn) have run; a row already selected plays at once.
    controller->playRequest(0);
    EXPECT_EQ(table.selected, 0);
    EXPECT_EQ(selection, QStringLiteral("a"));
    EXPECT_EQ(activated, (QList<int>{2}));
    ASSERT_TRUE(waitUntil([&] { return activated == QList<int>{2, 0}; }));
    controller->playRequest(0);
    EXPECT_EQ(activated, (QList<int>{2, 0, 0}));
}

TEST_F(CollectionListControllerTest, AReturningListOpensWhereItWasLeftWhileItsRowExists)
{
    selection = QStringLiteral("c");
    {
        auto controller = make();
        controller->attach(&table);
        table.position = QPointF(0, 480);
        controller->willDisappear();
    }
    RecordingTable second;
    auto controller = make();
    second.controller = controller.get();
    controller->attach(&second);
    EXPECT_EQ(second.position, QPointF(0, 480));

    // Its selected row is gone: the list opens at its top.
    selection = QStringLiteral("zz");
    RecordingTable third;
    auto another = make();
    third.controller = another.get();
    another->attach(&third);
    EXPECT_EQ(third.position, QPointF());

    // A list without a name is not remembered.
    selection = QStringLiteral("a");
    RecordingTable detail;
    auto unnamed = make(std::nullopt);
    detail.controller = unnamed.get();
    unnamed->attach(&detail);
    detail.position = QPointF(0, 99);
    unnamed->willDisappear();
    EXPECT_EQ(scrollState.savedScrollPositions().size(), 1);
}

TEST_F(CollectionListControllerTest, TheActivePaneTakesTheKeysAsItAppearsNotAfterItsLoad)
{
    auto controller = make();
    int activePane = 1;
    controller->focusedTag = CollectionListController::Binding<int>{[&] { return activePane; }, [&](const int &tag) { activePane = tag; }};
    bool loaded = false;
    // A load that waits on its throttled sync for a while.
    controller->task = [&]() -> QCoro::Task<void> {
        co_await Clock::shared().sleep(5);
        loaded = true;
    };
    controller->attach(&table);
    controller->didAppear();
    EXPECT_TRUE(table.focused);
    EXPECT_FALSE(loaded);
    clock.advance(5);
    EXPECT_TRUE(waitUntil([&] { return loaded; }));
}

TEST_F(CollectionListControllerTest, ProgrammaticMovesScrollTheSelectionIntoViewUntilTheCounterFalls)
{
    auto controller = make();
    controller->attach(&table);
    selection = QStringLiteral("b");
    controller->updateSelection();
    EXPECT_TRUE(table.scrolledTo.isEmpty()); // an ordinary selection change scrolls nothing

    scrollState.withScrollRequest([&] { selection = QStringLiteral("c"); });
    controller->updateSelection();
    controller->updateSelection(); // already selected: scrolled again all the same
    EXPECT_EQ(table.scrolledTo, (QList<int>{2, 2}));
    EXPECT_TRUE(waitUntil([&] { return scrollState.scrollRequestCount() == 0; }));
}

TEST_F(CollectionListControllerTest, RepaintsOfVisibleRowsAreCoalesced)
{
    auto controller = make();
    controller->attach(&table);
    controller->reloadVisibleRows();
    controller->reloadVisibleRows();
    EXPECT_TRUE(table.rowReloads.isEmpty());
    clock.advance(CollectionListController::visibleRowsReloadDelay);
    EXPECT_EQ(table.rowReloads, (QList<QList<int>>{{0, 1}}));
}

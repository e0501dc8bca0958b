// The navigator's arithmetic without a window: pane widths and strip offsets by width, the ordered
// difference of two paths, the row cell's chevron and heights, and the running row heights of a
// long list.

#include "Lumevar/Model/NavigationTypes.h"
#include "Lumevar/Navigator/CellLayout.h"
#include "Lumevar/Navigator/OrderedDifference.h"
#include "Lumevar/Navigator/PaneStripGeometry.h"
#include "Lumevar/Navigator/RowHeightIndex.h"
#include "TestKit/QtPrinters.h"

#include <gtest/gtest.h>
#include <random>

using namespace PaneStripGeometry;

TEST(PaneStripGeometryTest, PaneWidthAndOffsetFollowTheWidthBands)
{
    struct Case {
        double width;
        bool deep;
        int active;
        double pane;
        double offset;
    };
    const Case cases[] = {
        {400, true, 2, 400, 800},      // exactly 400 is one pane
        {401, true, 2, 200.5, 200.5},  // two panes: a deep container scrolls by one pane at most
        {800, false, 1, 400, 0},       // exactly 800 is two panes; Songs has nothing to scroll
        {800, true, 1, 400, 400},
        {801, true, 2, 267, 0},        // round(534) × 0.5: three panes never scroll
    };
    for (const Case &c : cases) {
        EXPECT_DOUBLE_EQ(paneWidth(c.width), c.pane) << c.width;
        EXPECT_DOUBLE_EQ(stripOffset(c.width, c.active, c.deep), c.offset) << c.width << " pane " << c.active;
    }
}

namespace {
using Change = OrderedChange<NavigationItem>;
const NavigationItem root = NavigationItem::root();
const NavigationItem albums = NavigationItem::container(ContainerKind::albums);
const NavigationItem songs = NavigationItem::container(ContainerKind::songs);
NavigationItem collection(const char *id) { return NavigationItem::songCollection(QString::fromLatin1(id), QStringLiteral("T")); }
} // namespace

TEST(OrderedDifferenceTest, PathGrowsShrinksAndReplacesOnlyWhatChanged)
{
    // From nothing: every item is inserted, lowest offset first.
    EXPECT_EQ(orderedDifference<NavigationItem>({}, {root, albums}),
              (QList<Change>{{Change::insertion, 0, root}, {Change::insertion, 1, albums}}));
    // A collection is published: one insertion at the end.
    EXPECT_EQ(orderedDifference<NavigationItem>({root, albums}, {root, albums, collection("a")}),
              (QList<Change>{{Change::insertion, 2, collection("a")}}));
    // Another collection: only the third pane is replaced.
    EXPECT_EQ(orderedDifference<NavigationItem>({root, albums, collection("a")}, {root, albums, collection("b")}),
              (QList<Change>{{Change::removal, 2, collection("a")}, {Change::insertion, 2, collection("b")}}));
    // Songs chosen in the root list: the container and the collection go, highest offset first.
    EXPECT_EQ(orderedDifference<NavigationItem>({root, albums, collection("a")}, {root, songs}),
              (QList<Change>{{Change::removal, 2, collection("a")}, {Change::removal, 1, albums}, {Change::insertion, 1, songs}}));
    EXPECT_TRUE(orderedDifference<NavigationItem>({root, songs}, {root, songs}).isEmpty());
}

TEST(CellLayoutTest, TheSelectedRowShowsAChevronWhereAllowedAndTheTextMakesRoom)
{
    CellLayout::Input in;
    in.width = 300;
    in.height = 58;
    in.titleHeight = 32;
    in.subtitleHeight = 14;
    in.hasSubtitle = true;
    EXPECT_TRUE(CellLayout::layout(in).chevron.isEmpty()); // not the selected row
    in.emphasized = true;
    const CellLayout::Frames frames = CellLayout::layout(in);
    EXPECT_EQ(frames.chevron, QRectF(292, 0, 8, 58));
    EXPECT_EQ(frames.title, QRectF(38, 6, 250, 32));
    in.canShowChevron = false;
    EXPECT_TRUE(CellLayout::layout(in).chevron.isEmpty());
    EXPECT_EQ(CellLayout::layout(in).title.width(), 262);
}

TEST(CellLayoutTest, ExtremeSettings)
{
    // Small padding and large artwork: the artwork sets the height; tiny artwork: the text does.
    EXPECT_EQ(CellLayout::rowHeight(64, 2, 16, 14, true), 68);
    EXPECT_EQ(CellLayout::rowHeight(16, 6, 32, 14, true), 58);
    // A width too narrow for any text gives a negative text width rather than a wrong frame elsewhere.
    EXPECT_EQ(CellLayout::textWidth(40, 32, true), -10);
}

TEST(RowHeightIndexTest, MeasuredRowsMoveTheRowsBelowThemAgreeingWithAPlainSum)
{
    RowHeightIndex index;
    index.reset(1000, 44);
    EXPECT_DOUBLE_EQ(index.total(), 44000);
    std::mt19937 random(7);
    std::vector<double> heights(1000, 44);
    for (int i = 0; i < 300; ++i) {
        const int row = int(random() % 1000);
        const double height = 30 + double(random() % 40);
        index.setMeasured(row, height);
        heights[row] = height;
    }
    double top = 0;
    for (int row = 0; row < 1000; ++row) {
        ASSERT_DOUBLE_EQ(index.top(row), top) << row;
        EXPECT_EQ(index.rowAt(top), row);
        EXPECT_EQ(index.rowAt(top + heights[row] - 0.5), row);
        top += heights[row];
    }
    EXPECT_DOUBLE_EQ(index.total(), top);
    EXPECT_EQ(index.rowAt(top + 100), 999); // past the end: the last row
    EXPECT_EQ(index.rowAt(-5), 0);
    index.invalidate(50);
    EXPECT_DOUBLE_EQ(index.total(), 50000);
    EXPECT_FALSE(index.isMeasured(0));
    RowHeightIndex empty;
    empty.reset(0, 44);
    EXPECT_EQ(empty.rowAt(10), -1);
}

// The navigator's arithmetic without a window: pane widths and strip offsets by width, the
// dividers, the ordered difference of two paths, the row cell's frames and heights, the running
// row heights of a long list and the artwork slot's display states.

#include "Lumevar/Model/NavigationTypes.h"
#include "Lumevar/Navigator/ArtworkDisplay.h"
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

TEST(PaneStripGeometryTest, DividersStandRightOfEveryPaneButTheLast)
{
    EXPECT_TRUE(dividerFrames(paneFrames(600, 300, 1), 300).isEmpty());
    const QList<QRectF> two = dividerFrames(paneFrames(600, 300, 2), 300);
    ASSERT_EQ(two.size(), 1);
    EXPECT_EQ(two[0], QRectF(300, 10, 1, 280));
    const QList<QRectF> panes = paneFrames(1000, 500, 3);
    EXPECT_EQ(panes[2], QRectF(667, 0, 333.5, 500));
    const QList<QRectF> three = dividerFrames(panes, 500);
    ASSERT_EQ(three.size(), 2);
    EXPECT_EQ(three[1], QRectF(667, 10, 1, 480));
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

TEST(CellLayoutTest, FramesAndHeightsAtTheDefaults)
{
    // One line of 16 and no subtitle: 44 high, the title centred.
    EXPECT_EQ(CellLayout::rowHeight(32, 6, 16, 0, false), 44);
    CellLayout::Input in;
    in.width = 300;
    in.height = 44;
    in.titleHeight = 16;
    CellLayout::Frames frames = CellLayout::layout(in);
    EXPECT_EQ(frames.artwork, QRectF(0, 6, 32, 32));
    EXPECT_EQ(frames.title, QRectF(38, 14, 300 - 32 - 6 - 12, 16));
    EXPECT_TRUE(frames.subtitle.isEmpty());
    EXPECT_TRUE(frames.chevron.isEmpty()); // not the selected row

    // Two title lines (32) and a subtitle (14): 58 high, text from the padding down.
    EXPECT_EQ(CellLayout::rowHeight(32, 6, 32, 14, true), 58);
    in.height = 58;
    in.titleHeight = 32;
    in.subtitleHeight = 14;
    in.hasSubtitle = true;
    in.emphasized = true;
    frames = CellLayout::layout(in);
    EXPECT_EQ(frames.artwork, QRectF(0, 13, 32, 32));
    EXPECT_EQ(frames.title, QRectF(38, 6, 250, 32));
    EXPECT_EQ(frames.subtitle, QRectF(38, 38, 250, 14));
    EXPECT_EQ(frames.chevron, QRectF(292, 0, 8, 58));

    // No chevron allowed: none on the selected row either, and the text gets 12 points more.
    in.canShowChevron = false;
    frames = CellLayout::layout(in);
    EXPECT_TRUE(frames.chevron.isEmpty());
    EXPECT_EQ(frames.title.width(), 262);
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

TEST(ArtworkDisplayTest, StatesPointerAndNowPlaying)
{
    const ArtworkDisplay unknown = ArtworkDisplay::of(ArtworkState::unknown, true, true);
    EXPECT_FALSE(unknown.showsImage || unknown.showsPlaceholder || unknown.showsOverlay || unknown.showsNowPlaying);

    const ArtworkDisplay failed = ArtworkDisplay::of(ArtworkState::failed, false, false);
    EXPECT_TRUE(failed.showsPlaceholder);
    EXPECT_FALSE(failed.showsOverlay || failed.showsNowPlaying || failed.showsImage);

    // The pointer swaps the bars for the pause button on the playing row.
    const ArtworkDisplay playing = ArtworkDisplay::of(ArtworkState::loaded, false, true);
    EXPECT_TRUE(playing.showsImage && playing.showsNowPlaying);
    EXPECT_FALSE(playing.showsOverlay);
    const ArtworkDisplay hovered = ArtworkDisplay::of(ArtworkState::loaded, true, true);
    EXPECT_TRUE(hovered.showsOverlay);
    EXPECT_FALSE(hovered.showsNowPlaying);
    EXPECT_EQ(hovered.overlaySymbol, QStringLiteral("pause.fill"));
    EXPECT_EQ(ArtworkDisplay::of(ArtworkState::failed, true, false).overlaySymbol, QStringLiteral("play.fill"));
}

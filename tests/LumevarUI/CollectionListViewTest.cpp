// The list view over 100,000 rows offscreen: it opens and scrolls measuring only the rows that
// come into view, keeps its geometry consistent while rows get their real heights, and its keys
// move and activate the selection through the controller; a row whose artwork load ends at once
// shows it.

#include "Lumevar/App/LumevarApp.h"
#include "Lumevar/Model/ListScrollState.h"
#include "Lumevar/Navigator/CollectionListController.h"
#include "Support/UserDefaults.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"
#include "Lumevar/UI/Navigator/RowArtwork.h"
#include "TestKit/QtPrinters.h"

#include <QScrollBar>
#include <QTest>
#include <QWheelEvent>
#include <gtest/gtest.h>

namespace {

QList<LocalSong> manySongs(int count)
{
    QList<LocalSong> songs;
    songs.reserve(count);
    for (int i = 0; i < count; ++i) {
        LocalSong song;
        song.id = MusicItemID(QStringLiteral("s%1").arg(i));
        song.identifier = song.id.rawValue();
        // Every seventh title is long enough to wrap onto a second line.
        song.title = i % 7 == 0 ? QStringLiteral("A very long song title number %1 that needs two lines to show").arg(i)
                                : QStringLiteral("Song %1").arg(i);
        song.artistName = QStringLiteral("Artist");
        songs.append(song);
    }
    return songs;
}

// Notes whether a paint is under way, so that a test can see what changes during one.
class PaintWatchingListView : public CollectionListView {
public:
    using CollectionListView::CollectionListView;
    bool painting = false;

protected:
    void paintEvent(QPaintEvent *event) override
    {
        painting = true;
        CollectionListView::paintEvent(event);
        painting = false;
    }
};

} // namespace

class CollectionListViewTest : public ::testing::Test {
protected:
    CollectionListViewTest()
    {
        UserDefaults::standard().registerDefaults(LumevarApp::registeredDefaults());
        model.setSongs(manySongs(100'000));
        view = std::make_unique<CollectionListView>(model);
        controller = std::make_unique<CollectionListController>(
            model, scrollState,
            CollectionListController::SelectionBinding{[this] { return selection; },
                                                       [this](const std::optional<QString> &id) { selection = id; }},
            1, std::nullopt, [this](int row) { activated.append(row); });
        view->setController(controller.get());
        view->resize(300, 440);
        view->show();
        controller->attach(view.get());
    }

    ListScrollState scrollState;
    SongRowsModel model{[](TableCellContent &cell, const LocalSong &song, ConfigurationType) {
        cell.title = song.title;
        cell.subtitle = song.artistName.value_or(QString());
    }};
    std::unique_ptr<CollectionListView> view;
    std::unique_ptr<CollectionListController> controller;
    std::optional<QString> selection;
    QList<int> activated;
};

TEST_F(CollectionListViewTest, OpensAndScrollsMeasuringOnlyRowsInView)
{
    view->grab();
    EXPECT_GT(view->measuredRowCount(), 5);
    EXPECT_LT(view->measuredRowCount(), 40);
    // Row 2 (the first song) has a long title: two lines, taller than a one-line row.
    EXPECT_GT(view->rowRect(2).height(), view->rowRect(3).height());
    EXPECT_EQ(view->rowRect(3).height(), 44); // artwork 32 and padding 6 at the defaults
    // Rows tile the list without gaps.
    for (int row = 0; row < 20; ++row)
        EXPECT_EQ(view->rowRect(row).bottom() + 1, view->rowRect(row + 1).top()) << row;

    QScrollBar *bar = view->verticalScrollBar();
    bar->setValue(bar->maximum() / 2);
    view->grab();
    bar->setValue(bar->maximum());
    view->grab();
    EXPECT_LT(view->measuredRowCount(), 150);
    // At the end the last row stands above the player's room.
    const QRect last = view->rowRect(model.count() - 1);
    EXPECT_LE(last.bottom(), view->viewport()->height() - CollectionListView::bottomInset);
    EXPECT_EQ(view->rowAt(last.center()), model.count() - 1);
}

TEST_F(CollectionListViewTest, KeysMoveAndActivateTheSelection)
{
    view->setFocus();
    QTest::keyClick(view.get(), Qt::Key_End);
    EXPECT_EQ(view->selectedRow(), model.count() - 1);
    EXPECT_EQ(selection, model.itemID(model.count() - 1));
    EXPECT_TRUE(view->viewport()->rect().intersects(view->rowRect(model.count() - 1)));
    QTest::keyClick(view.get(), Qt::Key_Home);
    QTest::keyClick(view.get(), Qt::Key_Down);
    EXPECT_EQ(selection, SongSelection::shuffleID);
    // Type-select by title.
    QTest::keyClicks(view.get(), QStringLiteral("song 12"));
    EXPECT_EQ(model.itemTitle(view->selectedRow()), QStringLiteral("Song 12"));
    QTest::keyClick(view.get(), Qt::Key_Return);
    QTest::keyClick(view.get(), Qt::Key_Enter, Qt::KeypadModifier);
    EXPECT_EQ(activated, (QList<int>{view->selectedRow(), view->selectedRow()}));
}

TEST_F(CollectionListViewTest, AfterAWheelScrollTheRowUnderThePointerIsTheHoveredOne)
{
    view->grab();
    const QPoint pointer = view->rowRect(4).center();
    QTest::mouseMove(view->viewport(), pointer);
    ASSERT_EQ(view->hoveredRow(), 4);
    // The pointer stays; the rows move under it.
    QWheelEvent wheel(pointer, view->viewport()->mapToGlobal(pointer), QPoint(), QPoint(0, -360), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(view->viewport(), &wheel);
    view->grab();
    ASSERT_GT(view->verticalScrollBar()->value(), 0);
    EXPECT_NE(view->rowAt(pointer), 4);
    EXPECT_EQ(view->hoveredRow(), view->rowAt(pointer));
}

TEST_F(CollectionListViewTest, TheItemViewGeometryReachesFarRowsAndTheSelectionModelIsTheSelection)
{
    view->grab();
    const int far = 60'000;
    const QModelIndex index = model.index(far, 0);
    view->scrollTo(index, QAbstractItemView::PositionAtCenter);
    const QRect rect = view->visualRect(index);
    EXPECT_TRUE(view->viewport()->rect().contains(rect.center()));
    EXPECT_EQ(view->indexAt(rect.center()), index);
    EXPECT_LT(view->measuredRowCount(), 80); // the jump measured the rows around it, no more

    // Selecting through the selection model (as a program or an assistive tool does) is a choice
    // the controller hears; the keys then move on from that row.
    view->selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    EXPECT_EQ(view->selectedRow(), far);
    EXPECT_EQ(selection, model.itemID(far));
    view->setFocus();
    QTest::keyClick(view.get(), Qt::Key_Down);
    EXPECT_EQ(selection, model.itemID(far + 1));
    EXPECT_EQ(view->selectionModel()->selectedRows(), QModelIndexList{model.index(far + 1, 0)});

    view->keyboardSearch(QString()); // a new search
    view->keyboardSearch(QStringLiteral("Song 4"));
    EXPECT_EQ(model.itemTitle(view->selectedRow()), QStringLiteral("Song 4"));
}

TEST_F(CollectionListViewTest, PaintingNeverChangesTheScrollRangeAndAResetKeepsTheSelectedRow)
{
    PaintWatchingListView watched(model);
    watched.resize(300, 440);
    watched.show();
    watched.reloadData();
    QScrollBar *bar = watched.verticalScrollBar();
    int changesWhilePainting = 0;
    const auto count = [&] { changesWhilePainting += watched.painting ? 1 : 0; };
    QObject::connect(bar, &QScrollBar::rangeChanged, count);
    QObject::connect(bar, &QScrollBar::valueChanged, count);
    watched.grab();
    watched.selectRow(10);

    // The items are replaced without the controller's reload: the view hears the model's reset.
    model.setSongs(manySongs(300));
    EXPECT_EQ(watched.selectedRow(), 10);
    watched.grab();
    bar->setValue(bar->maximum() / 2);
    watched.grab();
    bar->setValue(bar->maximum());
    watched.grab();
    watched.resize(500, 300);
    watched.grab();
    EXPECT_EQ(changesWhilePainting, 0);
    EXPECT_GT(watched.measuredRowCount(), 5);
    // Still at the end once the rows in view got their heights, above the player's room.
    const QRect last = watched.rowRect(model.count() - 1);
    EXPECT_LE(last.bottom(), watched.viewport()->height() - CollectionListView::bottomInset);
    EXPECT_GT(last.bottom(), watched.viewport()->height() - CollectionListView::bottomInset - 10);
}

TEST_F(CollectionListViewTest, EachListMeasuresItsRowsWithItsOwnWidth)
{
    view->grab();
    const int twoLines = view->rowRect(2).height(); // the long first song's title wraps
    CollectionListView wide(model);
    wide.resize(900, 440);
    wide.show();
    wide.reloadData();
    wide.grab();
    ASSERT_LT(wide.rowRect(2).height(), twoLines);

    // Squeezed below a usable width (as while a pane slides in), the list keeps measuring at the
    // width it last had, not at the other list's.
    view->resize(100, 440);
    view->grab();
    EXPECT_EQ(view->rowRect(2).height(), twoLines);
}

TEST(RowArtworkTest, ALoadThatEndsAtOnceFillsTheRowAndAFailureShowsAsOne)
{
    // The artwork cache ends a load at once when its file was read before the load was awaited:
    // the row must show that image, not stay unknown for good.
    const QImage cover(8, 8, QImage::Format_ARGB32);
    int loads = 0;
    RowArtwork artwork;
    artwork.setSource({[](const QString &) { return QImage(); },
                       [&cover, &loads](std::optional<QUrl>, QString id) -> QCoro::Task<QImage> {
                           ++loads;
                           if (id == QStringLiteral("broken"))
                               throw std::runtime_error("no picture");
                           co_return cover;
                       }});
    const QUrl url(QStringLiteral("file:///covers/a.jpg"));
    EXPECT_EQ(artwork.slot(url, QStringLiteral("a")).state, ArtworkState::loaded);
    EXPECT_EQ(artwork.slot(url, QStringLiteral("a")).image.size(), cover.size());
    EXPECT_EQ(artwork.slot(url, QStringLiteral("broken")).state, ArtworkState::failed);
    EXPECT_EQ(artwork.slot(std::nullopt, QStringLiteral("none")).state, ArtworkState::failed);
    EXPECT_EQ(loads, 2); // each id is asked once; an id without a URL not at all
}

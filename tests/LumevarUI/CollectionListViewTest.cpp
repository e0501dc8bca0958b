// The list view over 100,000 rows offscreen: it opens and scrolls measuring only the rows that
// come into view, keeps its geometry consistent while rows get their real heights, and its keys
// move and activate the selection through the controller; a row whose artwork load ends at once
// shows it.

#include "Lumevar/App/LumevarApp.h"
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

} // namespace

class CollectionListViewTest : public ::testing::Test {
protected:
    CollectionListViewTest()
    {
        UserDefaults::standard().registerDefaults(LumevarApp::registeredDefaults());
        model.setSongs(manySongs(100'000));
        view = std::make_unique<CollectionListView>(model);
        controller = std::make_unique<CollectionListController>(
            model,
            CollectionListController::SelectionBinding{[this] { return selection; },
                                                       [this](const std::optional<QString> &id) { selection = id; }},
            1, std::nullopt, [this](int row) { activated.append(row); });
        view->setController(controller.get());
        view->resize(300, 440);
        view->show();
        controller->attach(view.get());
    }

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

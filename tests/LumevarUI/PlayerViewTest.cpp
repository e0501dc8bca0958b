// The player bar and Up Next over the model's test world: what the bar shows idle and playing, its
// hover shortcuts, seeking by a click on the time bar, the mode buttons, and Up Next's edits of the
// real player queue.

#include "ModelTestFixture.h"

#include "Lumevar/UI/ColorScheme.h"
#include "Lumevar/UI/DockMenu.h"
#include "Lumevar/UI/Player/ArtworkView.h"
#include "Lumevar/UI/Player/PlaybackTimeView.h"
#include "Lumevar/UI/Player/PlayerButton.h"
#include "Lumevar/UI/Player/PlayerCentreBlock.h"
#include "Lumevar/UI/Player/PlayerView.h"
#include "Lumevar/UI/Player/UpNextModel.h"
#include "Lumevar/UI/Player/UpNextView.h"
#include "TestKit/Lists.h"
#include "TestKit/TestImages.h"

#include <QAbstractItemModelTester>
#include <QAction>
#include <QMenu>
#include <QMimeData>
#include <QSignalSpy>
#include <QEnterEvent>
#include <QLabel>
#include <QListView>
#include <QTest>
#include <QToolButton>

namespace {

// The numbers of the test songs ("Song s3" gives "s3").
QStringList titles(const QList<MusicPlayer::Queue::Entry> &entries)
{
    return textsOf(entries, [](const MusicPlayerQueueEntry &entry) { return entry.title.section(QLatin1Char(' '), -1); });
}

void hover(QWidget *widget, bool inside)
{
    if (inside) {
        QEnterEvent enter(QPointF(1, 1), QPointF(1, 1), QPointF(1, 1));
        QCoreApplication::sendEvent(widget, &enter);
    } else {
        QEvent leave(QEvent::Leave);
        QCoreApplication::sendEvent(widget, &leave);
    }
}

} // namespace

class PlayerViewTest : public ModelTest {
protected:
    PlayerViewTest()
    {
        model->subscribeToPlayer();
        view = std::make_unique<PlayerView>(*model);
        view->resize(560, 44);
        view->show();
    }
    ~PlayerViewTest() override { view.reset(); }

    PlayerCentreBlock *block() const { return view->centreBlock(); }
    void playFrom(const QList<LocalSong> &songs, const QString &id)
    {
        finish(model->playSelection(songs, id));
        clock.advance(0.1); // the debounced mirror refreshes
        QCoreApplication::processEvents();
    }

    std::unique_ptr<PlayerView> view;
};

TEST_F(PlayerViewTest, IdleBarShowsTheEmptyBlockAndPlayingFillsIt)
{
    // The transport buttons before the block, the mode buttons after it.
    EXPECT_LT(view->button(QStringLiteral("forward.fill"))->x(), block()->x());
    EXPECT_GT(view->button(QStringLiteral("repeat"))->x(), block()->x());
    EXPECT_EQ(block()->height(), 36);
    EXPECT_FALSE(block()->titleLabel()->isVisible());
    EXPECT_FALSE(block()->timeView()->isVisible());
    EXPECT_FALSE(block()->artworkView()->isVisible());

    const QList<LocalSong> songs = localSongs(3);
    playFrom(songs, songs[1].identifier);
    EXPECT_TRUE(block()->titleLabel()->isVisible());
    EXPECT_EQ(block()->titleLabel()->text(), songs[1].title);
    EXPECT_EQ(block()->subtitleLabel()->text(), songs[1].artistName.value_or(QString()));
    EXPECT_TRUE(block()->timeView()->isVisible());
    EXPECT_EQ(block()->timeView()->maxTime(), songs[1].duration);
    EXPECT_EQ(view->playPauseButton()->symbolName(), QStringLiteral("pause.fill"));

    // A title longer than the block is cut with an ellipsis; the tooltip keeps it whole.
    const QString longTitle = QString(QStringLiteral("Long title ")).repeated(30);
    model->_playingTitle.set(longTitle);
    EXPECT_EVENTUALLY_TRUE(block()->titleLabel()->text().endsWith(QChar(0x2026)));
    EXPECT_LE(block()->titleLabel()->fontMetrics().horizontalAdvance(block()->titleLabel()->text()), block()->width());
    EXPECT_EQ(block()->titleLabel()->toolTip(), longTitle);

    // The play button pauses and resumes through the model.
    view->playPauseButton()->click();
    clock.advance(0.1);
    EXPECT_EVENTUALLY_EQ(view->playPauseButton()->symbolName(), QStringLiteral("play.fill"));
    EXPECT_FALSE(model->_isPlaying());
}

TEST_F(PlayerViewTest, HoverOffersSnapBackOnlyForASavedPlaceAndAddOnlyWhenAddable)
{
    model->_playingTitle.set(QStringLiteral("Song"));
    model->_playingItemIDForArtwork.set(QStringLiteral("s1"));
    model->_canAddToLibrary.set(false);
    QCoreApplication::processEvents();

    // Over the block with nothing to add: the title row does not change.
    hover(block(), true);
    EXPECT_TRUE(block()->addButton()->isHidden());
    model->_canAddToLibrary.set(true);
    EXPECT_EVENTUALLY_TRUE(!(block()->addButton()->isHidden()));
    EXPECT_EQ(block()->addButton()->toolTip(), QStringLiteral("Add to Library"));
    EXPECT_TRUE(block()->titleRowIsBalanced()); // a short title stays centred
    hover(block(), false);
    EXPECT_TRUE(block()->addButton()->isHidden());

    // Over the artwork: the mark only once a place is saved.
    QWidget *slot = block()->artworkView()->parentWidget();
    hover(block(), true);
    hover(slot, true);
    EXPECT_TRUE(block()->snapBackMark()->isHidden());
    SavedSnapbackState saved;
    saved.path = {NavigationItem::root(), NavigationItem::container(ContainerKind::albums)};
    saved.activePane = 1;
    saved.selectedAlbumID = QStringLiteral("al1");
    model->_lastSavedSnapbackState.set(saved);
    EXPECT_EVENTUALLY_TRUE(!(block()->snapBackMark()->isHidden()));
    EXPECT_EQ(block()->snapBackMark()->toolTip(), QStringLiteral("Library SnapBack"));

    // A tap on the mark runs Library SnapBack.
    QTest::mouseClick(block()->snapBackMark(), Qt::LeftButton);
    EXPECT_EQ(model->_selectedContainerKindID(), QStringLiteral("albums"));
    EXPECT_EQ(model->_selectedAlbumID(), QStringLiteral("al1"));

    hover(slot, false);
    EXPECT_TRUE(block()->snapBackMark()->isHidden());
}

TEST_F(PlayerViewTest, ClickOnTheTimeBarSeeksToItsShareOfTheSong)
{
    EXPECT_EQ(PlaybackTimeView::fillWidth(200, 30, 120), 50);
    EXPECT_EQ(PlaybackTimeView::fillWidth(200, 30, 0), 0);

    const QList<LocalSong> songs = localSongs(2);
    playFrom(songs, songs[0].identifier);
    PlaybackTimeView *bar = block()->timeView();
    ASSERT_GT(bar->width(), 0);
    const double duration = model->_playingDuration();
    ASSERT_GT(duration, 0);
    const int x = bar->width() / 4;
    QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(x, 4));
    const double expected = double(x) / bar->width() * duration;
    EXPECT_NEAR(model->_currentPlayingTime(), expected, 1e-9);
    EXPECT_NEAR(player.playbackTime(), expected, 0.05);

    // Unknown length: a click writes 0.
    model->_playingDuration.set(0);
    QCoreApplication::processEvents();
    QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(x, 4));
    EXPECT_EQ(model->_currentPlayingTime(), 0);
}

TEST_F(PlayerViewTest, RepeatAndShuffleAreTintedWhileOn)
{
    PlayerButton *repeat = view->repeatButton();
    PlayerButton *shuffle = view->shuffleButton();
    EXPECT_FALSE(repeat->isTinted());
    const std::tuple<MusicRepeatMode, const char *, bool> cycle[] = {
        {MusicRepeatMode::all, "repeat", true}, {MusicRepeatMode::one, "repeat.1", true}, {MusicRepeatMode::none, "repeat", false}};
    for (const auto &[mode, symbol, tinted] : cycle) {
        repeat->click();
        EXPECT_TRUE(waitUntil([&] { return repeat->symbolName() == QLatin1String(symbol) && repeat->isTinted() == tinted; })) << symbol;
        EXPECT_EQ(model->repeatMode(), mode);
    }
    // Shuffle is on unless its mode is off: no mode requested (a song played from its row) counts
    // as on, and a click then turns it to songs.
    const std::pair<std::optional<MusicShuffleMode>, bool> modes[] = {
        {MusicShuffleMode::off, false}, {std::nullopt, true}, {MusicShuffleMode::songs, true}, {MusicShuffleMode::off, false}};
    for (const auto &[mode, tinted] : modes) {
        player.state().setShuffleMode(mode);
        EXPECT_EVENTUALLY_EQ(shuffle->isTinted(), tinted);
    }
    shuffle->click();
    EXPECT_EVENTUALLY_TRUE(shuffle->isTinted());
    EXPECT_TRUE(model->isShuffled());
}

TEST_F(PlayerViewTest, DeleteInUpNextRemovesEntriesOfTheRealQueueRowAfterRow)
{
    const QList<LocalSong> songs = localSongs(6);
    playFrom(songs, songs[1].identifier); // the queue holds s1 to s5
    view->showUpNext();
    UpNextView *upNext = view->upNext();
    ASSERT_NE(upNext, nullptr);
    QAbstractItemModelTester tester(upNext->model(), QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(upNext->size(), UpNextView::contentSize);
    EXPECT_FALSE(upNext->showsEmptyState());
    ASSERT_EQ(upNext->model()->rowCount(), 5);

    // Delete on the third row takes it out of the player's queue and the rows follow at once; the
    // next row takes its place, ready for the next Delete once the player has reported the edit.
    QListView *list = upNext->list();
    list->setCurrentIndex(upNext->model()->index(2));
    for (const QStringList &left : {QStringList{"s1", "s2", "s4", "s5"}, QStringList{"s1", "s2", "s5"}}) {
        QTest::keyClick(list, Qt::Key_Delete);
        EXPECT_EVENTUALLY_EQ(upNext->model()->rowCount(), left.size());
        clock.advance(0.1); // the player's own report of the edit, after the debounce
        settle();
        EXPECT_EQ(titles(player.queue().entries()), left);
        EXPECT_EQ(titles(model->_queue()), left);
        EXPECT_EQ(list->currentIndex().row(), 2);
    }
}

TEST_F(PlayerViewTest, UpNextKeepsItsRowsAndSelectionAcrossATrackChange)
{
    const QList<LocalSong> songs = localSongs(5);
    playFrom(songs, songs[0].identifier);
    view->showUpNext();
    UpNextView *upNext = view->upNext();
    QSignalSpy resets(upNext->model(), &QAbstractItemModel::modelReset);
    QListView *list = upNext->list();
    list->setCurrentIndex(upNext->model()->index(3)); // s3
    const QPersistentModelIndex chosen(list->currentIndex());

    finish(model->skipToNext());
    clock.advance(0.1);
    ASSERT_TRUE(waitUntil([&] { return titles(model->_queue()) == QStringList{"s1", "s2", "s3", "s4"}; }));
    // The row left at the top; s3 is still the chosen row, now one higher.
    EXPECT_EQ(resets.count(), 0);
    EXPECT_TRUE(chosen.isValid());
    EXPECT_EQ(list->currentIndex().row(), 2);
    EXPECT_TRUE(list->selectionModel()->isSelected(upNext->model()->index(2)));
    EXPECT_EQ(list->currentIndex().data().toString(), songs[3].title);
}

TEST_F(PlayerViewTest, UpNextShowsTheCoverOfEveryRowOfOneAlbum)
{
    // Five songs of one album: one cover file, five artwork keys never seen before.
    const QString cover = directory.filePath(QStringLiteral("album.png"));
    ASSERT_TRUE(TestImages::write(cover, TestImages::encoded(QSize(120, 120), "png", QColor(30, 160, 60))));
    QList<LocalSong> songs = localSongs(5, QStringLiteral("album-%1-").arg(QCoreApplication::applicationPid()));
    for (LocalSong &song : songs)
        song.artworkURL = QUrl::fromLocalFile(cover);
    playFrom(songs, songs[0].identifier);
    view->showUpNext();
    UpNextView *upNext = view->upNext();
    ASSERT_EQ(upNext->model()->rowCount(), 5);
    QListView *list = upNext->list();

    // The middle of each row's artwork, as painted.
    const QColor background = ArtworkView::backgroundColor(isDarkScheme(list->palette()));
    const auto coverShown = [&](int row) {
        const QRect rect = list->visualRect(upNext->model()->index(row));
        const QImage painted = list->viewport()->grab().toImage();
        return QColor(painted.pixel(rect.x() + 6 + 12, rect.y() + 2 + 12)) != background;
    };
    EXPECT_TRUE(waitUntil([&] {
        for (int row = 0; row < 5; ++row)
            if (!coverShown(row))
                return false;
        return true;
    }));
    for (int row = 0; row < 5; ++row)
        EXPECT_TRUE(coverShown(row)) << "row " << row;
}

TEST_F(PlayerViewTest, DraggingRowsInUpNextMovesThemInThePlayer)
{
    const QList<LocalSong> songs = localSongs(5);
    playFrom(songs, songs[0].identifier);
    view->showUpNext();
    UpNextModel *rows = view->upNext()->model();
    new QAbstractItemModelTester(rows, QAbstractItemModelTester::FailureReportingMode::Fatal, rows);
    // What the list view hands the model when two rows are dropped before the second row.
    std::unique_ptr<QMimeData> dragged(rows->mimeData({rows->index(3), rows->index(4)}));
    ASSERT_TRUE(rows->canDropMimeData(dragged.get(), Qt::MoveAction, 1, 0, {}));
    EXPECT_FALSE(rows->dropMimeData(dragged.get(), Qt::MoveAction, 1, 0, {})); // the view removes nothing itself
    QCoreApplication::processEvents();
    EXPECT_EQ(titles(player.queue().entries()), (QStringList{"s0", "s3", "s4", "s1", "s2"}));
    EXPECT_EQ(rows->rowCount(), 5);
    EXPECT_EQ(rows->data(rows->index(1), Qt::DisplayRole).toString(), songs[3].title);
    // A drop on the empty space below the rows goes to the end.
    dragged.reset(rows->mimeData({rows->index(1)}));
    rows->dropMimeData(dragged.get(), Qt::MoveAction, -1, -1, {});
    QCoreApplication::processEvents();
    EXPECT_EQ(titles(player.queue().entries()), (QStringList{"s0", "s4", "s1", "s2", "s3"}));

    // A removal and a track change: the rows follow by removals and moves, the model checker
    // watching each step.
    rows->removeEntriesAt({2});
    QCoreApplication::processEvents();
    EXPECT_EQ(titles(player.queue().entries()), (QStringList{"s0", "s4", "s2", "s3"}));
    finish(model->skipToNext());
    clock.advance(0.1);
    QCoreApplication::processEvents();
    ASSERT_EQ(rows->rowCount(), 3); // from the current entry on
    EXPECT_EQ(rows->data(rows->index(0), Qt::DisplayRole).toString(), player.queue().currentEntry()->title);
}

TEST_F(PlayerViewTest, UpNextShowsTheEmptyStateWhenNothingIsLeft)
{
    view->showUpNext();
    EXPECT_TRUE(view->upNext()->showsEmptyState());
    view->upNext()->close();
    QCoreApplication::processEvents();

    const QList<LocalSong> songs = localSongs(1);
    playFrom(songs, songs[0].identifier);
    view->showUpNext();
    UpNextView *upNext = view->upNext();
    ASSERT_FALSE(upNext->showsEmptyState());
    upNext->list()->setCurrentIndex(upNext->model()->index(0));
    QTest::keyClick(upNext->list(), Qt::Key_Backspace);
    EXPECT_EVENTUALLY_TRUE(upNext->showsEmptyState());
    EXPECT_TRUE(player.queue().entries().isEmpty());
}

TEST_F(PlayerViewTest, TrayMenuOffersThePlayerCommandsAsTheyStand)
{
    DockMenu dock(*model);
    const auto texts = [&dock] {
        Q_EMIT dock.menu()->aboutToShow();
        return textsOf(dock.menu()->actions(), [](QAction *action) { return action->isSeparator() ? QStringLiteral("-") : action->text(); });
    };
    EXPECT_EQ(texts(), (QStringList{"Play", "Next Track", "Previous Track", "-", "Show Lumevar", "Quit Lumevar"}));

    const QList<LocalSong> songs = localSongs(3);
    playFrom(songs, songs[0].identifier);
    EXPECT_EQ(texts().first(), QStringLiteral("Pause"));
    dock.menu()->findChild<QAction *>(QStringLiteral("nextTrack"))->trigger();
    clock.advance(0.5);
    EXPECT_EVENTUALLY_EQ(player.queue().currentEntry()->title, songs[1].title);
}

TEST_F(PlayerViewTest, ArtworkViewLoadsThroughTheCacheAndShowsAFailure)
{
    const QString path = directory.filePath(QStringLiteral("cover.png"));
    ASSERT_TRUE(TestImages::write(path, TestImages::encoded(QSize(90, 90), "png")));
    const QString id = QStringLiteral("artwork-view-%1").arg(QCoreApplication::applicationPid());

    ArtworkView artwork(QSize(36, 36), 0, false);
    artwork.setArtwork(std::nullopt, id); // no address: nothing to load
    EXPECT_EQ(artwork.state(), ArtworkView::State::unknown);
    artwork.setArtwork(QUrl::fromLocalFile(path), id);
    ASSERT_TRUE(waitUntil([&] { return artwork.state() != ArtworkView::State::unknown; }));
    EXPECT_EQ(artwork.state(), ArtworkView::State::loaded);

    // A second view of the same key starts loaded from memory.
    ArtworkView again(QSize(24, 24), 0, false);
    again.setArtwork(QUrl::fromLocalFile(path), id);
    EXPECT_EQ(again.state(), ArtworkView::State::loaded);

    // Another key whose address cannot be read ends failed (at once or a little later).
    artwork.setArtwork(QUrl::fromLocalFile(directory.filePath(QStringLiteral("missing.png"))), id + QStringLiteral("-missing"));
    EXPECT_TRUE(waitUntil([&] { return artwork.state() == ArtworkView::State::failed; }));
}

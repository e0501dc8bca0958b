// Navigation state and Library SnapBack.

#include "ModelTestFixture.h"

#include "Lumevar/Library/SongListViewModels.h"
#include "Lumevar/Model/ListScrollState.h"

class NavigationTest : public ModelTest {};

TEST_F(NavigationTest, WindowTitleFollowsTheColumns)
{
    model->_navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::albums),
                                NavigationItem::songCollection(QStringLiteral("al1"), QStringLiteral("First Album"))});
    EXPECT_EQ(model->windowTitle(), QStringLiteral("Lumevar")); // wide: always the product

    model->_isSingleColumn.set(true);
    model->_activePane.set(0);
    EXPECT_EQ(model->windowTitle(), QStringLiteral("Lumevar"));
    model->_activePane.set(1);
    EXPECT_EQ(model->windowTitle(), QStringLiteral("Albums"));
    model->_activePane.set(2);
    EXPECT_EQ(model->windowTitle(), QStringLiteral("First Album"));
    model->_activePane.set(3); // outside the path
    EXPECT_EQ(model->windowTitle(), QStringLiteral("Lumevar"));

    model->_isSingleColumn.set(false);
    model->_isDoubleColumn.set(true);
    model->_activePane.set(2);
    EXPECT_EQ(model->windowTitle(), QStringLiteral("Albums"));
}

TEST_F(NavigationTest, NavigateBackStopsAtTheFirstPaneAndKeepsThePath)
{
    model->_navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::songs)});
    model->_activePane.set(1);
    model->navigateBack();
    EXPECT_EQ(model->_activePane(), 0);
    model->navigateBack();
    EXPECT_EQ(model->_activePane(), 0);
    EXPECT_EQ(model->_navigationPath().size(), 2);
}

TEST_F(NavigationTest, SnapBackReturnsToTheAlbumPlayedFromAndSelectsThePlayingSongWhenItArrives)
{
    DetailSongsViewModel detail(*model);
    const QList<LocalSong> firstAlbum = localSongs(4, QStringLiteral("a"));
    const QList<LocalSong> secondAlbum = localSongs(3, QStringLiteral("b"));

    // Browse to the first album and play its third song.
    model->_selectedContainerKindID.set(QStringLiteral("albums"));
    model->_navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::albums)});
    model->_selectedAlbumID.set(QStringLiteral("al1"));
    detail.showDetailSongs(firstAlbum, QStringLiteral("al1"), QStringLiteral("First"));
    EXPECT_EQ(model->_navigationPath().size(), 3);
    EXPECT_EQ(model->_selectedDetailSongID(), SongSelection::playID);
    model->_activePane.set(2);
    finish(detail.playSelection(QStringLiteral("a2")));
    const SavedSnapbackState saved = *model->_lastSavedSnapbackState();
    EXPECT_EQ(saved.path.size(), 3);
    EXPECT_EQ(saved.activePane, 2);
    EXPECT_EQ(saved.selectedAlbumID, QStringLiteral("al1"));

    // Browse elsewhere: another album replaces the third pane.
    model->_selectedAlbumID.set(QStringLiteral("al2"));
    detail.showDetailSongs(secondAlbum, QStringLiteral("al2"), QStringLiteral("Second"));
    model->_activePane.set(1);
    model->listScrollState().savedScrollPositions().insert(QStringLiteral("albums"), QPointF(0, 300));

    model->snapBack();
    EXPECT_EQ(model->_navigationPath(), saved.path);
    EXPECT_EQ(model->_activePane(), 2);
    EXPECT_EQ(model->_selectedContainerKindID(), QStringLiteral("albums"));
    EXPECT_EQ(model->_selectedAlbumID(), QStringLiteral("al1"));
    EXPECT_TRUE(model->listScrollState().savedScrollPositions().isEmpty());
    EXPECT_EQ(model->listScrollState().scrollRequestCount(), 1);
    // The detail list still shows the second album: the song is selected at the next publish.
    EXPECT_EQ(model->detailSongIDToRestore, QStringLiteral("a2"));
    ASSERT_EQ(telemetry.signals_.size(), 1);
    EXPECT_EQ(telemetry.signals_[0].name, QStringLiteral("snap_back"));

    detail.showDetailSongs(firstAlbum, QStringLiteral("al1"), QStringLiteral("First"));
    EXPECT_EQ(model->_selectedDetailSongID(), QStringLiteral("a2"));
    EXPECT_FALSE(model->detailSongIDToRestore.has_value());
    EXPECT_EQ(model->_navigationPath().size(), 3); // replaced, not deepened

    // The counter falls two turns of the event loop later.
    EXPECT_TRUE(waitUntil([&] { return model->listScrollState().scrollRequestCount() == 0; }));
    EXPECT_TRUE(model->_lastSavedSnapbackState().has_value()); // SnapBack can be repeated
}

TEST_F(NavigationTest, RestoreThatFindsNoSongClearsWithoutSelection)
{
    DetailSongsViewModel detail(*model);
    model->detailSongIDToRestore = QStringLiteral("gone");
    detail.showDetailSongs(localSongs(2), QStringLiteral("p1"), std::nullopt);
    EXPECT_FALSE(model->_selectedDetailSongID().has_value());
    EXPECT_FALSE(model->detailSongIDToRestore.has_value());
    EXPECT_EQ(model->_navigationPath().last(), NavigationItem::songCollection(QStringLiteral("p1"), QString()));
    EXPECT_TRUE(waitUntil([&] { return model->listScrollState().scrollRequestCount() == 0; }));
}

TEST_F(NavigationTest, SnapBackToTheSongsContainerSelectsThePlayingRow)
{
    model->snapBack(); // nothing saved: nothing happens
    EXPECT_TRUE(model->_navigationPath().isEmpty());
    EXPECT_TRUE(telemetry.signals_.isEmpty());

    const QList<LocalSong> songs = localSongs(5);
    model->_topLevelSongs.set(songs);
    model->_navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::songs)});
    model->_activePane.set(1);
    finish(model->playSelection(songs, QStringLiteral("s3")));
    model->_navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::playlists)});
    model->_selectedTopLevelSongID.set(QStringLiteral("s0"));

    model->snapBack();
    EXPECT_EQ(model->_selectedContainerKindID(), QStringLiteral("songs"));
    EXPECT_EQ(model->_selectedTopLevelSongID(), QStringLiteral("s3"));
    ASSERT_TRUE(waitUntil([&] { return model->listScrollState().scrollRequestCount() == 0; }));
}

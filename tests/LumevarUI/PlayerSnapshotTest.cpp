// The player surface drawn offscreen in the light and the dark palette: the time bar's track and
// fill greys follow the scheme, so that the bar stays visible in both. Also the toasts' symbol and
// ring, and the application's built-in icon.

#include "ModelTestFixture.h"

#include "Lumevar/UI/Panels/FloatingPanel.h"
#include "Lumevar/UI/Panels/PanelFrames.h"
#include "Lumevar/UI/Player/PlaybackTimeView.h"
#include "Lumevar/UI/Player/PlayerCentreBlock.h"
#include "Lumevar/UI/Player/PlayerView.h"
#include "Lumevar/UI/ToastView.h"
#include "TestKit/TestPalettes.h"

#include <QApplication>
#include <QIcon>
#include <QStyle>

class PlayerSnapshotTest : public ModelTest, public ::testing::WithParamInterface<bool> {
protected:
    PlayerSnapshotTest()
    {
        QApplication::setPalette(dark() ? darkPalette() : QApplication::style()->standardPalette());
        window.resize(700, 140);
        window.setAutoFillBackground(true);
        view = new PlayerView(*model);
        new FloatingPanel(view, FloatingPanel::Material::bar, &PanelFrames::playerFrame, &window);
        window.show();
        model->subscribeToPlayer();
    }
    ~PlayerSnapshotTest() override { QApplication::setPalette(QApplication::style()->standardPalette()); }

    bool dark() const { return GetParam(); }

    QWidget window;
    PlayerView *view;
};

TEST_P(PlayerSnapshotTest, TheTimeBarIsDrawnInTheSchemesGreys)
{
    const QList<LocalSong> songs = localSongs(12);
    finish(model->playSelection(songs, songs[0].identifier));
    clock.advance(40.1);
    QCoreApplication::processEvents();

    const QImage image = view->centreBlock()->timeView()->grab().toImage();
    const int y = image.height() - 1;
    EXPECT_NEAR(qRed(image.pixel(image.width() - 2, y)), qRound(PlaybackTimeView::trackWhite(dark()) * 255), 1);
    EXPECT_NEAR(qRed(image.pixel(1, y)), qRound(PlaybackTimeView::fillWhite(dark()) * 255), 1);
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlayerSnapshotTest, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "dark" : "light"; });

TEST(ToastViewTest, TheSyncingSymbolTurnsUntilAProgressRingReplacesIt)
{
    ToastView syncing(QStringLiteral("arrow.trianglehead.2.clockwise.rotate.90"), QStringLiteral("Syncing Library"), true);
    syncing.show();
    EXPECT_TRUE(syncing.isRotating());
    syncing.setProgress(0.4);
    EXPECT_FALSE(syncing.showsSymbol());
    EXPECT_FALSE(syncing.isRotating());
}

TEST(ApplicationIconTest, IsBuiltInAndDraws)
{
    const QImage image = QIcon(QStringLiteral(":/icons/lumevar.svg")).pixmap(128, 128).toImage();
    ASSERT_FALSE(image.isNull());
    // Drawn, not blank: the lit disc in the middle, the tile's corner left clear.
    EXPECT_GT(qAlpha(image.pixel(64, 40)), 200);
    EXPECT_EQ(qAlpha(image.pixel(1, 1)), 0);
}

// The player surface drawn offscreen in the light and the dark palette: the time bar's track and
// fill greys follow the scheme. With LUMEVAR_SNAPSHOT_DIR set, every
// state is also written there as a PNG for a person to look at (bar idle, playing, hovered with the
// SnapBack mark and the add button; Up Next full and empty; the toasts; the shortcuts window).

#include "ModelTestFixture.h"

#include "Lumevar/UI/KeyboardShortcutsWindow.h"
#include "Lumevar/UI/Panels/FloatingPanel.h"
#include "Lumevar/UI/Panels/PanelFrames.h"
#include "Lumevar/UI/Player/ArtworkView.h"
#include "Lumevar/UI/Player/PlaybackTimeView.h"
#include "Lumevar/UI/Player/PlayerCentreBlock.h"
#include "Lumevar/UI/Player/PlayerView.h"
#include "Lumevar/UI/Player/UpNextView.h"
#include "Lumevar/UI/ToastView.h"

#include <QApplication>
#include <QDir>
#include <QEnterEvent>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QStyle>

namespace {

QPalette darkPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(40, 40, 42));
    palette.setColor(QPalette::WindowText, QColor(235, 235, 235));
    palette.setColor(QPalette::Base, QColor(30, 30, 32));
    palette.setColor(QPalette::AlternateBase, QColor(45, 45, 48));
    palette.setColor(QPalette::Text, QColor(235, 235, 235));
    palette.setColor(QPalette::Button, QColor(52, 52, 55));
    palette.setColor(QPalette::ButtonText, QColor(235, 235, 235));
    palette.setColor(QPalette::Highlight, QColor(10, 132, 255));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Mid, QColor(70, 70, 74));
    return palette;
}

void enter(QWidget *widget)
{
    QEnterEvent event(QPointF(1, 1), QPointF(1, 1), QPointF(1, 1));
    QCoreApplication::sendEvent(widget, &event);
}

} // namespace

class PlayerSnapshotTest : public ModelTest, public ::testing::WithParamInterface<bool> {
protected:
    PlayerSnapshotTest()
    {
        QApplication::setPalette(dark() ? darkPalette() : QApplication::style()->standardPalette());
        window.resize(700, 140);
        window.setAutoFillBackground(true);
        view = new PlayerView(*model);
        panel = new FloatingPanel(view, FloatingPanel::Material::bar, &PanelFrames::playerFrame, &window);
        window.show();
        model->subscribeToPlayer();
    }
    ~PlayerSnapshotTest() override { QApplication::setPalette(QApplication::style()->standardPalette()); }

    bool dark() const { return GetParam(); }
    // Writes the widget's picture when a folder for them is given.
    void keep(QWidget *widget, const QString &name)
    {
        const QString folder = qEnvironmentVariable("LUMEVAR_SNAPSHOT_DIR");
        QCoreApplication::processEvents();
        if (folder.isEmpty())
            return;
        QDir().mkpath(folder);
        widget->grab().save(QDir(folder).filePath(name + (dark() ? QStringLiteral("-dark.png") : QStringLiteral("-light.png"))));
    }

    QWidget window;
    PlayerView *view;
    FloatingPanel *panel;
};

TEST_P(PlayerSnapshotTest, PlayerSurfaceFollowsTheScheme)
{
    keep(&window, QStringLiteral("bar-idle"));
    const QList<LocalSong> songs = localSongs(12);
    finish(model->playSelection(songs, songs[0].identifier));
    clock.advance(40.1);
    model->_canAddToLibrary.set(true);
    QCoreApplication::processEvents();
    keep(&window, QStringLiteral("bar-playing"));

    // The time bar: track and fill in the scheme's greys.
    PlaybackTimeView *bar = view->centreBlock()->timeView();
    const QImage image = bar->grab().toImage();
    const int y = image.height() - 1;
    const int track = qRound(PlaybackTimeView::trackWhite(dark()) * 255);
    const int fill = qRound(PlaybackTimeView::fillWhite(dark()) * 255);
    EXPECT_NEAR(qRed(image.pixel(image.width() - 2, y)), track, 1);
    EXPECT_NEAR(qRed(image.pixel(1, y)), fill, 1);

    enter(view->centreBlock());
    keep(&window, QStringLiteral("bar-hover-add"));
    SavedSnapbackState saved;
    saved.path = {NavigationItem::root()};
    model->_lastSavedSnapbackState.set(saved);
    QCoreApplication::processEvents();
    enter(view->centreBlock()->artworkView()->parentWidget());
    EXPECT_TRUE(view->centreBlock()->snapBackMark()->isVisible());
    keep(&window, QStringLiteral("bar-hover-snapback"));

    view->showUpNext();
    ASSERT_NE(view->upNext(), nullptr);
    EXPECT_FALSE(view->upNext()->showsEmptyState());
    keep(view->upNext(), QStringLiteral("upnext-full"));
    view->upNext()->close();
}

TEST_P(PlayerSnapshotTest, EmptyUpNextToastsAndShortcuts)
{
    view->showUpNext();
    ASSERT_TRUE(view->upNext()->showsEmptyState());
    keep(view->upNext(), QStringLiteral("upnext-empty"));
    view->upNext()->close();

    ToastView added(QStringLiteral("checkmark.circle"), QStringLiteral("Added to Library"), false);
    added.adjustSize();
    keep(&added, QStringLiteral("toast-added"));
    ToastView syncing(QStringLiteral("arrow.trianglehead.2.clockwise.rotate.90"), QStringLiteral("Syncing Library"), true);
    syncing.show();
    EXPECT_TRUE(syncing.isRotating());
    keep(&syncing, QStringLiteral("toast-syncing"));
    // With a progress the ring replaces the symbol, which stops turning.
    syncing.setProgress(0.4);
    EXPECT_FALSE(syncing.showsSymbol());
    EXPECT_FALSE(syncing.isRotating());
    keep(&syncing, QStringLiteral("toast-progress"));

    KeyboardShortcutsWindow shortcuts;
    shortcuts.show();
    keep(&shortcuts, QStringLiteral("shortcuts"));
}

TEST_P(PlayerSnapshotTest, ApplicationIconIsBuiltInAndDraws)
{
    const QIcon icon(QStringLiteral(":/icons/lumevar.svg"));
    const QImage image = icon.pixmap(128, 128).toImage();
    ASSERT_FALSE(image.isNull());
    // Drawn, not blank: the lit disc in the middle, the tile's corner left clear.
    EXPECT_GT(qAlpha(image.pixel(64, 40)), 200);
    EXPECT_EQ(qAlpha(image.pixel(1, 1)), 0);
    QLabel label;
    label.setPixmap(icon.pixmap(128, 128));
    label.resize(136, 136);
    keep(&label, QStringLiteral("icon"));
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlayerSnapshotTest, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "dark" : "light"; });

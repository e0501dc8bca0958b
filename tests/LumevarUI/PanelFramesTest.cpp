// The floating panels' frame arithmetic, and the search panel's controller over a plain window:
// attach and detach, the focus, the content's height and dismissal when the focus leaves.

#include "Lumevar/UI/Panels/FloatingPanel.h"
#include "Lumevar/UI/Panels/PanelFrames.h"
#include "Lumevar/UI/Panels/SearchWindowController.h"

#include <QApplication>
#include <QLineEdit>
#include <QTest>
#include <gtest/gtest.h>

using namespace PanelFrames;

// Exact frames are checked with the panels below; here, the ends of the ranges.
TEST(PanelFramesTest, WidthIsCappedAndATooShortWindowGivesNoNegativeHeight)
{
    EXPECT_EQ(panelWidth(3000), 600);
    EXPECT_EQ(playerFrame({401, 500}).x(), 12.5); // an odd leftover splits in halves
    EXPECT_EQ(searchFrame({700, 100}, 44), QRectF(72, 60, 556, 16));
}

class SearchWindowControllerTest : public ::testing::Test {
protected:
    SearchWindowControllerTest()
    {
        window.resize(700, 500);
        field = new QLineEdit(&window);
        content = new QLineEdit;
        controller = new SearchWindowController(content, &window);
        controller->onClose = [this] {
            ++closes;
            controller->setVisible(false);
        };
        window.show();
        QApplication::setActiveWindow(&window);
        field->setFocus();
        QCoreApplication::processEvents();
    }

    QWidget window;
    QLineEdit *field;
    QLineEdit *content;
    SearchWindowController *controller;
    int closes = 0;
};

TEST_F(SearchWindowControllerTest, AttachFramesTheContentGivesItTheKeysAndOnlyTheFocusLeavingDismisses)
{
    auto *inner = new QLineEdit(content);
    EXPECT_FALSE(controller->panel()->isVisible());
    controller->setVisible(true);
    EXPECT_TRUE(controller->panel()->isVisible());
    EXPECT_EQ(controller->panel()->geometry(), QRect(72, 60, 556, 60));
    EXPECT_TRUE(content->hasFocus());
    EXPECT_EQ(content->geometry(), QRect(8, 8, 540, 44));
    // Attaching again changes nothing, and the focus is watched once: one dismissal per focus loss.
    // Moving inside the panel keeps it.
    controller->attach();
    inner->setFocus();
    EXPECT_EQ(closes, 0);
    field->setFocus();
    EXPECT_EQ(closes, 1);
    EXPECT_FALSE(controller->panel()->isVisible());
    EXPECT_FALSE(controller->isAttached());
    // Focus changes while detached are not the panel's business.
    content->setFocus();
    field->setFocus();
    EXPECT_EQ(closes, 1);
}

TEST_F(SearchWindowControllerTest, ContentHeightIsKeptAcrossClosingAndFollowsTheWindow)
{
    controller->onResize(200); // not attached: kept for later
    controller->setVisible(true);
    EXPECT_EQ(controller->panel()->geometry(), QRect(72, 60, 556, 216));
    window.resize(400, 300);
    EXPECT_EQ(controller->panel()->geometry(), QRect(12, 60, 376, 188));
    controller->onResize(100);
    EXPECT_EQ(controller->panel()->geometry(), QRect(12, 60, 376, 116));
    controller->setVisible(false);
    controller->setVisible(true);
    EXPECT_EQ(controller->lastHeight(), 100);
    EXPECT_EQ(controller->panel()->geometry().height(), 116);
}

TEST_F(SearchWindowControllerTest, ClosingFromInsideGivesTheKeysBack)
{
    controller->setVisible(true);
    ASSERT_TRUE(content->hasFocus());
    controller->setVisible(false);
    EXPECT_TRUE(field->hasFocus());
    EXPECT_EQ(closes, 0);
}

TEST(FloatingPanelTest, StaysAboveWidgetsAddedLater)
{
    QWidget window;
    window.resize(600, 400);
    auto *panel = new FloatingPanel(new QWidget, FloatingPanel::Material::bar, &playerFrame, &window);
    window.show();
    auto *later = new QWidget(&window);
    later->show();
    EXPECT_EQ(window.children().last(), panel);
    EXPECT_EQ(panel->geometry(), QRect(72, 340, 456, 60));
    EXPECT_EQ(panel->backdropRect(), QRectF(8, 8, 440, 44));
}

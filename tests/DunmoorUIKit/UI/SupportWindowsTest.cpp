// The Welcome and What's New windows through their widgets: recents followed through the
// host's notification, thumbnails with the type's icon as fall-back, the stored start-up switch,
// and the dismiss actions.
#include "DunmoorUIKit/UI/WelcomeView.h"
#include "DunmoorUIKit/UI/WelcomeWindowController.h"
#include "DunmoorUIKit/UI/WhatsNewView.h"
#include "Support/Log.h"
#include "Support/UserDefaults.h"

#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>

namespace {

class FakeDocuments : public RecentDocumentController {
public:
    QList<QUrl> recentDocumentURLs() const override { return urls; }
    void openDocument(const QUrl &url, bool display) override { opened.append({url, display}); }

    QList<QUrl> urls;
    QList<std::pair<QUrl, bool>> opened;
};

class WelcomeWindowTest : public ::testing::Test, public WelcomeWindowControllerDelegate {
protected:
    WelcomeWindowTest()
    {
        UserDefaults::standard().removeObject(QStringLiteral("showWelcome"));
        controller = std::make_unique<WelcomeWindowController>(
            documents, WelcomeWindowController::Options{QStringLiteral("Sketch"), QIcon(), QStringLiteral("showWelcome"), {}});
        controller->delegate = this;
        controller->showWindow();
    }
    void welcomeWindowControllerDidClose(WelcomeWindowController &) override { ++closes; }

    QString picture(const QString &name)
    {
        const QString path = folder.filePath(name);
        QImage image(300, 200, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        image.save(path);
        return path;
    }
    WelcomeView *view() const { return static_cast<WelcomeView *>(controller->window()); }

    QTemporaryDir folder;
    FakeDocuments documents;
    std::unique_ptr<WelcomeWindowController> controller;
    int closes = 0;
};

TEST_F(WelcomeWindowTest, FollowsTheRecentsAndOpensTheChosenOne)
{
    EXPECT_EQ(controller->window()->windowTitle(), QStringLiteral("Welcome to Sketch"));
    ASSERT_TRUE(QTest::qWaitFor([this] {
        for (QLabel *label : controller->window()->findChildren<QLabel *>())
            if (label->text() == QStringLiteral("No Recent Documents") && label->isVisible())
                return true;
        return false;
    }));

    const QString image = picture(QStringLiteral("Harbour.png"));
    const QString notes = folder.filePath(QStringLiteral("Notes.txt"));
    QFile file(notes);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    documents.urls = {QUrl::fromLocalFile(image), QUrl::fromLocalFile(notes)};
    LogStore::shared().clear();
    NotificationCenter::shared().post(WelcomeViewModel::recentsDidChangeNotification);
    QListWidget *list = view()->recentsList();
    ASSERT_EQ(list->count(), 2);
    EXPECT_EQ(list->item(0)->text(), QStringLiteral("Harbour.png"));
    EXPECT_TRUE(list->isVisible());

    // The picture gets its thumbnail at 128 points at scale 2; the text file keeps its icon, and
    // its failure is logged.
    WelcomeViewModel &model = controller->viewModel();
    ASSERT_TRUE(QTest::qWaitFor([&] { return model.recentsToThumbnails().size() == 1; }));
    EXPECT_EQ(model.recentsToThumbnails().value(model.recents()[0]).width(), 256);
    ASSERT_TRUE(QTest::qWaitFor([] { return !LogStore::shared().entries().isEmpty(); }));
    EXPECT_EQ(LogStore::shared().entries()[0].message,
              QStringLiteral("Failed to generate thumbnail for ") + QUrl::fromLocalFile(notes).toString());
    LogStore::shared().clear();

    Q_EMIT list->itemActivated(list->item(0));
    ASSERT_EQ(documents.opened.size(), 1);
    EXPECT_EQ(documents.opened[0].first, QUrl::fromLocalFile(image));
    EXPECT_TRUE(documents.opened[0].second);
    EXPECT_FALSE(controller->window()->isVisible());
    EXPECT_EQ(closes, 1);
}

TEST_F(WelcomeWindowTest, TheStartUpSwitchIsStoredUnderTheHostsKey)
{
    QCheckBox *toggle = view()->showOnLaunchSwitch();
    EXPECT_EQ(toggle->text(), QStringLiteral("Show this window when Sketch starts"));
    EXPECT_TRUE(toggle->isChecked());
    toggle->click();
    EXPECT_FALSE(UserDefaults::standard().boolValue(QStringLiteral("showWelcome")));
}

TEST(WhatsNewViewTest, ContinueClosesTheHostedWindow)
{
    QPointer<HostedWhatsNewView> view = new HostedWhatsNewView(
        QStringLiteral("Sketch"), {Feature(QStringLiteral("star"), QStringLiteral("Stars"), QStringLiteral("Mark favourites.")),
                                   Feature(QStringLiteral("bolt"), QStringLiteral("Speed"), QStringLiteral("Opens faster."),
                                           QStringLiteral("https://example.org"))});
    view->show();
    bool titled = false;
    for (QLabel *label : view->findChildren<QLabel *>())
        titled = titled || label->text() == QStringLiteral("What's New in Sketch");
    EXPECT_TRUE(titled);
    QPushButton *continueButton = nullptr;
    for (QPushButton *button : view->findChildren<QPushButton *>())
        if (button->text() == QStringLiteral("Continue"))
            continueButton = button;
    ASSERT_NE(continueButton, nullptr);
    continueButton->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return view.isNull(); }));
}

} // namespace

// Song-change notifications against a test notification service on a private session bus: posted
// once per real change of song after its artwork settled, with the cached picture when there is one
// and without it when the load failed, replacing the one before, not when switched off; and a bus
// without any notification service costs no error.

#include "ModelTestFixture.h"

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Lumevar/Notifications/DesktopNotifications.h"
#include "Lumevar/Notifications/SongChangeNotifier.h"
#include "Lumevar/Settings/AppearanceSettings.h"
#include "Support/UserDefaults.h"
#include "TestKit/LoopbackHttpServer.h"
#include "TestKit/TestImages.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFileInfo>
#include <QProcess>

namespace {

// What a desktop's notification service would show, recorded.
class TestNotificationService : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")
public:
    struct Received {
        QString app;
        uint replaces = 0;
        QString icon;
        QString summary;
        QString body;
        QVariantMap hints;
        int timeout = 0;
    };
    QList<Received> received;
    uint lastID = 40;

public Q_SLOTS:
    uint Notify(const QString &app, uint replaces, const QString &icon, const QString &summary, const QString &body,
                const QStringList &, const QVariantMap &hints, int timeout)
    {
        received.append({app, replaces, icon, summary, body, hints, timeout});
        return ++lastID;
    }
};

// A session bus of the test's own, so that no desktop sees the test's notifications.
class PrivateBus {
public:
    PrivateBus()
    {
        m_daemon.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
        if (m_daemon.waitForStarted(10'000) && m_daemon.waitForReadyRead(10'000))
            m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
    }
    ~PrivateBus()
    {
        for (const QString &name : std::as_const(m_names))
            QDBusConnection::disconnectFromBus(name);
        m_daemon.kill();
        m_daemon.waitForFinished();
    }
    bool isRunning() const { return !m_address.isEmpty(); }
    QDBusConnection connect(const QString &name)
    {
        m_names.append(name);
        return QDBusConnection::connectToBus(m_address, name);
    }

private:
    QProcess m_daemon;
    QString m_address;
    QStringList m_names;
};

} // namespace

class SongNotificationTest : public ModelTest {
protected:
    SongNotificationTest()
    {
        if (!bus.isRunning())
            return;
        serviceConnection = bus.connect(QStringLiteral("notification-service"));
        notifications = std::make_unique<DesktopNotifications>(bus.connect(QStringLiteral("notification-client")));
        notifier = std::make_unique<SongChangeNotifier>(*model, *notifications);
        notifier->install();
        UserDefaults::standard().set(AppearanceKeys::postNotificationsWhenSongChanges, true);
    }

    bool startService()
    {
        return serviceConnection.registerObject(DesktopNotifications::objectPath, &service, QDBusConnection::ExportAllSlots)
            && serviceConnection.registerService(DesktopNotifications::serviceName);
    }

    // Plays from songs[index] on, lets the mirror and the artwork task run.
    void play(const QList<LocalSong> &songs, int index)
    {
        finish(model->playSelection(songs, songs[index].identifier));
        settle(songs[index].identifier);
    }
    // Waits until the item's artwork settled, the song stayed long enough to be announced, and any
    // notification call came back.
    void settle(const QString &id)
    {
        clock.advance(0.1);
        ASSERT_TRUE(waitUntil([&] { return model->_playingItemIDForArtwork() == id; }));
        clock.advance(SongChangeNotifier::announceDelay);
        ASSERT_TRUE(waitUntil([&] { return notifications->postsInFlight() == 0; }));
    }

    // The song's artwork as a PNG file the cache can load.
    QUrl artworkFile(const QString &name)
    {
        const QString path = directory.filePath(name + QStringLiteral(".png"));
        EXPECT_TRUE(TestImages::write(path, TestImages::encoded(QSize(80, 80), "png")));
        return QUrl::fromLocalFile(path);
    }

    PrivateBus bus;
    QDBusConnection serviceConnection{QString()};
    TestNotificationService service;
    std::unique_ptr<DesktopNotifications> notifications;
    std::unique_ptr<SongChangeNotifier> notifier;
};

TEST_F(SongNotificationTest, OnePerRealChangeWithTheCachedArtworkReplacingTheOneBefore)
{
    ASSERT_TRUE(bus.isRunning());
    ASSERT_TRUE(startService());
    model->subscribeToPlayer();
    QList<LocalSong> songs = localSongs(3);
    songs[0].artworkURL = artworkFile(QStringLiteral("cover0"));
    songs[1].artworkURL = QUrl(QStringLiteral("fake://nowhere/cover1.png")); // fails to load

    play(songs, 0);
    ASSERT_EQ(service.received.size(), 1);
    const TestNotificationService::Received first = service.received.at(0);
    EXPECT_EQ(first.app, QStringLiteral("Lumevar"));
    EXPECT_EQ(first.replaces, 0u);
    EXPECT_EQ(first.icon, QStringLiteral("lumevar"));
    EXPECT_EQ(first.summary, songs[0].title);
    EXPECT_EQ(first.body, songs[0].artistName.value_or(QString()));
    EXPECT_EQ(first.hints.value(QStringLiteral("desktop-entry")).toString(), QStringLiteral("lumevar"));
    const QUrl image(first.hints.value(QStringLiteral("image-path")).toString());
    EXPECT_EQ(image.toLocalFile(), ArtworkImageCache::shared().fileOfKey(songs[0].identifier));
    EXPECT_TRUE(QFileInfo::exists(image.toLocalFile()));

    // The player catching up with the same song, a pause and a resume: no change of song.
    clock.advance(3);
    runTask(model->pausePlayback());
    runTask(model->resumePlayback());
    settle(songs[0].identifier);
    EXPECT_EQ(service.received.size(), 1);

    // The next song's artwork fails: announced without a picture, in place of the first.
    finish(model->skipToNext());
    settle(songs[1].identifier);
    ASSERT_EQ(service.received.size(), 2);
    EXPECT_EQ(service.received.at(1).summary, songs[1].title);
    EXPECT_FALSE(service.received.at(1).hints.contains(QStringLiteral("image-path")));
    EXPECT_EQ(service.received.at(1).replaces, service.lastID - 1);

    // Switched off: the change is recorded but not announced.
    UserDefaults::standard().set(AppearanceKeys::postNotificationsWhenSongChanges, false);
    finish(model->skipToNext());
    settle(songs[2].identifier);
    EXPECT_EQ(service.received.size(), 2);

    // After a stop the same song counts as a change again.
    UserDefaults::standard().set(AppearanceKeys::postNotificationsWhenSongChanges, true);
    finish(model->stopPlayback());
    EXPECT_FALSE(model->_playingItemIDForArtwork().has_value());
    play(songs, 2);
    ASSERT_EQ(service.received.size(), 3);
    EXPECT_EQ(service.received.at(2).summary, songs[2].title);
    EXPECT_TRUE(telemetry.errors.isEmpty());
}

TEST_F(SongNotificationTest, SkippingAnnouncesOnlyWhereItStoppedWhetherTheCoversLoadOrNot)
{
    ASSERT_TRUE(bus.isRunning());
    ASSERT_TRUE(startService());
    model->subscribeToPlayer();
    QList<LocalSong> songs = localSongs(8, QStringLiteral("skip%1-").arg(QCoreApplication::applicationPid()));
    // The covers of the first songs skipped past are still loading when the next skip comes,
    // whatever the speed of the machine: their server never answers. The later ones load at once.
    LoopbackHttpServer artworkServer;
    for (int i : {1, 2}) {
        const QString path = QStringLiteral("/cover%1.png").arg(i);
        artworkServer.setResponse(path, {.neverAnswer = true});
        songs[i].artworkURL = artworkServer.url(path);
    }
    for (int i = 3; i < songs.size(); ++i)
        songs[i].artworkURL = artworkFile(QStringLiteral("skip-cover%1").arg(i));
    play(songs, 0);
    ASSERT_EQ(service.received.size(), 1);

    // Three skips in a row: each shown item replaces the last one's task, so only the song where
    // the skipping stopped is announced.
    for (int i = 0; i < 3; ++i) {
        runTask(model->skipToNext());
        clock.advance(0.05);
    }
    settle(songs[3].identifier);
    ASSERT_EQ(service.received.size(), 2);
    EXPECT_EQ(service.received.at(1).summary, songs[3].title);

    // Four skips 30 ms apart, each song's cover settled before the next skip: still one.
    for (int i = 4; i <= 7; ++i) {
        runTask(model->skipToNext());
        ASSERT_TRUE(waitUntil([&] { return model->_playingItemIDForArtwork() == songs[i].identifier; }));
        clock.advance(0.03);
        QCoreApplication::processEvents();
    }
    settle(songs[7].identifier);
    ASSERT_EQ(service.received.size(), 3);
    EXPECT_EQ(service.received.at(2).summary, songs[7].title);
}

TEST_F(SongNotificationTest, NoNotificationServiceIsNoError)
{
    ASSERT_TRUE(bus.isRunning());
    model->subscribeToPlayer();
    const QList<LocalSong> songs = localSongs(2);
    play(songs, 0);
    finish(model->skipToNext());
    settle(songs[1].identifier);
    EXPECT_TRUE(telemetry.errors.isEmpty());
    EXPECT_EQ(notifications->lastID(), 0u);
}

#include "SongNotificationTest.moc"

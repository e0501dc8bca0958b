#include "Lumevar/Notifications/SongChangeNotifier.h"

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Lumevar/Model/ErrorReporting.h"
#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/Notifications/DesktopNotifications.h"
#include "Lumevar/Settings/AppearanceSettings.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/UserDefaults.h"
#include "Support/OwnerGuard.h"

#include <QFileInfo>
#include <QPointer>

SongChangeNotifier::SongChangeNotifier(MainViewModel &model, DesktopNotifications &notifications, QObject *parent)
    : QObject(parent), m_model(model), m_notifications(notifications),
      m_switchedOn(AppearanceSettings::postNotificationsWhenSongChanges())
{
    // The desktop asks no permission for notifications: turning the switch on is all it takes,
    // and that is counted once per turn from off to on.
    connect(&UserDefaults::standard(), &UserDefaults::changed, this, [this](const QString &key) {
        if (key != AppearanceKeys::postNotificationsWhenSongChanges)
            return;
        const bool on = AppearanceSettings::postNotificationsWhenSongChanges();
        if (on && !m_switchedOn)
            sendAppSignal(AppSignal::subscribeNotifications);
        m_switchedOn = on;
    });
}

void SongChangeNotifier::install()
{
    QPointer self(this);
    m_model.setArtworkTask([self](std::optional<PlaybackItem> item, CancellationToken token) -> QCoro::Task<void> {
        if (self)
            co_await self->settleArtwork(std::move(item), std::move(token));
    });
}

QCoro::Task<void> SongChangeNotifier::settleArtwork(std::optional<PlaybackItem> item, CancellationToken token)
{
    // Another song shown (or none) before the last one's moment was up: that one is not announced.
    if (!item || item->songIDForArtwork != m_pendingID) {
        m_pendingPost.reset();
        m_pendingID.clear();
    }
    if (!item)
        co_return;
    const OwnerGuard guard(this);
    const QString id = item->songIDForArtwork;
    const std::optional<QUrl> url = item->artwork ? std::optional<QUrl>(item->artwork->url(artworkPixels, artworkPixels)) : std::nullopt;
    try {
        co_await guard(ArtworkImageCache::shared().thumbnail(url, id));
    } catch (const OwnerGone &) {
        co_return;
    } catch (const CancellationError &) {
    } catch (...) {
        // A missing picture doesn't stop the rest: the notification goes out without one.
        LUMEVAR_ERROR(Log::images(), "Failed to load player artwork: %@", errorFromCurrentException());
    }
    if (token.isCancelled()) {
        LUMEVAR_DEBUG(Log::images(), "Loading player artwork cancelled");
        co_return;
    }
    notifyIfSongChanged(*item);
    m_model._playingItemIDForArtwork.set(id);
}

void SongChangeNotifier::notifyIfSongChanged(const PlaybackItem &item)
{
    // The same song refreshed (a queue change, a pause) is no change.
    if (m_model._playingItemIDForArtwork() == item.songIDForArtwork)
        return;
    postSongNotification(item);
}

void SongChangeNotifier::postSongNotification(const PlaybackItem &item)
{
    // Entries without a song behind them are not announced.
    if (!item.songID)
        return;
    if (!AppearanceSettings::postNotificationsWhenSongChanges()) {
        LUMEVAR_DEBUG(Log::app(), "Notifications are disabled, skipping notification post");
        return;
    }
    m_pendingID = item.songIDForArtwork;
    m_pendingPost = Clock::shared().schedule(announceDelay, [self = QPointer(this), item] {
        if (!self)
            return;
        self->m_pendingID.clear();
        self->post(item);
    });
}

void SongChangeNotifier::post(const PlaybackItem &item)
{
    detach([](DesktopNotifications &notifications, PlaybackItem item) -> QCoro::Task<void> {
        LUMEVAR_INFO(Log::app(), "Posting notification for song: %s", item.title);
        DesktopNotifications::Notification notification{item.title, item.subtitle.value_or(QString()), std::nullopt};
        // The service reads the cached file itself; without one the notification has no picture.
        const QString file = ArtworkImageCache::shared().fileOfKey(item.songIDForArtwork);
        if (!file.isEmpty() && QFileInfo(file).isReadable())
            notification.imagePath = file;
        try {
            co_await notifications.post(notification);
        } catch (...) {
            const Error error = errorFromCurrentException();
            LUMEVAR_ERROR(Log::app(), "Failed to add notification request: %@", error);
            reportError(error, QStringLiteral("notification_request"));
        }
    }(m_notifications, item));
}

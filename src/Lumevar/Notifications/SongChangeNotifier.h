#pragma once
// The player's artwork task and the song-change notification. Each time the player surface shows
// a new item, the task makes sure the item's artwork is in the artwork cache; once that settles
// (loaded or failed, not cancelled), it decides whether the song really changed: a different
// artwork key from the one settled before. If so, and the user switched notifications on, it posts
// a desktop notification with the title, subtitle and the cached artwork file, once the player has
// stayed on the song for a moment (announceDelay). Rapid skipping cancels all but the last
// artwork task, and a song left before its moment is up is not announced: one notification is
// posted, for the song where the skipping stopped, however fast each cover loads.
// Turning the user's switch on sends the usage signal "subscribe_notifications".

#include "LumevarCore/Records.h"
#include "Support/Clock.h"
#include "Support/Task.h"

#include <QCoroTask>
#include <QObject>
#include <memory>
#include <optional>

class DesktopNotifications;
class MainViewModel;

class SongChangeNotifier : public QObject {
    Q_OBJECT
public:
    // The artwork is asked for at the size the player bar shows it (36 points at scale 2, rounded up).
    static constexpr int artworkPixels = 64;
    // Seconds a newly shown song must stay before it is announced.
    static constexpr double announceDelay = 0.5;

    SongChangeNotifier(MainViewModel &model, DesktopNotifications &notifications, QObject *parent = nullptr);

    // Installs the artwork task in the model.
    void install();

    QCoro::Task<void> settleArtwork(std::optional<PlaybackItem> item, CancellationToken token);
    void notifyIfSongChanged(const PlaybackItem &item);
    void postSongNotification(const PlaybackItem &item);

private:
    void post(const PlaybackItem &item);

    MainViewModel &m_model;
    DesktopNotifications &m_notifications;
    bool m_switchedOn;
    std::unique_ptr<ScheduledCall> m_pendingPost; // the announcement waiting out announceDelay
    QString m_pendingID;                           // whose it is
};

#include "Lumevar/Mpris/MprisService.h"

#include "Lumevar/Model/MainViewModel.h"
#include "Lumevar/Mpris/MprisAdaptors.h"
#include "Lumevar/Mpris/MprisState.h"
#include "Support/Log.h"
#include "Support/Task.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <algorithm>

MprisService::MprisService(MainViewModel &model, Hooks hooks, QObject *parent)
    : QObject(parent), m_model(model), m_hooks(std::move(hooks)), m_player(new MprisPlayerAdaptor(this))
{
    new MprisRootAdaptor(this);
    const auto changed = [this] { schedulePublish(); };
    observeEach(m_tokens, changed, m_model._isPlaying, m_model._isStopped, m_model._playingTitle,
                m_model._playingSubtitle, m_model._playingArtwork, m_model._playingDuration,
                m_model._eagerEntry, m_model._queue, m_model._playingItemIDForArtwork);
    // Shuffle and repeat live in the player's state, which announces its changes beforehand.
    connect(&ApplicationMusicPlayer::shared().state(), &ApplicationMusicPlayerState::objectWillChange, this,
            &MprisService::schedulePublish);
    m_published = playerProperties();
}

MprisService::~MprisService() { unregister(); }

bool MprisService::registerOn(QDBusConnection bus)
{
    if (m_bus)
        unregister();
    if (!bus.isConnected()) {
        LUMEVAR_DEBUG(Log::app(), "No session bus; media controls stay off");
        return false;
    }
    if (!bus.registerObject(objectPath, this, QDBusConnection::ExportAdaptors)) {
        LUMEVAR_NOTICE(Log::app(), "Could not export the media player object: %@", bus.lastError().message());
        return false;
    }
    // A second running Lumevar keeps its own name, as media player names allow.
    QString name = serviceName;
    if (!bus.registerService(name)) {
        name = serviceName + QStringLiteral(".instance%1").arg(QCoreApplication::applicationPid());
        if (!bus.registerService(name)) {
            LUMEVAR_NOTICE(Log::app(), "Could not claim the media player name: %@", bus.lastError().message());
            bus.unregisterObject(objectPath);
            return false;
        }
    }
    m_bus = bus;
    m_registeredName = name;
    m_published = playerProperties();
    return true;
}

void MprisService::unregister()
{
    if (!m_bus)
        return;
    m_bus->unregisterService(m_registeredName);
    m_bus->unregisterObject(objectPath);
    m_bus.reset();
    m_registeredName.clear();
}

void MprisService::play()
{
    if (m_model._isStopped()) {
        if (m_hooks.playWhenStopped)
            m_hooks.playWhenStopped();
        return;
    }
    if (!m_model._isPlaying())
        detach(m_model.resumePlayback());
}

void MprisService::pause()
{
    if (m_model._isPlaying())
        detach(m_model.pausePlayback());
}

void MprisService::playPause()
{
    if (m_model._isPlaying())
        pause();
    else
        play();
}

void MprisService::stop()
{
    if (!m_model._isStopped())
        detach(m_model.stopPlayback());
}

void MprisService::next()
{
    if (!m_model._isStopped())
        detach(m_model.skipToNext());
}

void MprisService::previous()
{
    if (!m_model._isStopped())
        detach(m_model.skipToPrevious());
}

void MprisService::seek(qlonglong offsetMicroseconds)
{
    if (m_model._isStopped())
        return;
    const double target = m_model.currentPlayingTime() + double(offsetMicroseconds) / 1e6;
    // Past the end means the next track; before the start means the start.
    if (m_model._playingDuration() > 0 && target > m_model._playingDuration()) {
        next();
        return;
    }
    seekTo(std::max(0.0, target));
}

void MprisService::setPosition(const QDBusObjectPath &trackId, qlonglong positionMicroseconds)
{
    // A request for a track that is no longer current is stale and ignored, as is one off the track.
    if (m_model._isStopped() || trackId != Mpris::currentTrackPath(m_model))
        return;
    const double target = double(positionMicroseconds) / 1e6;
    if (target < 0 || (m_model._playingDuration() > 0 && target > m_model._playingDuration()))
        return;
    seekTo(target);
}

void MprisService::seekTo(double seconds)
{
    m_model.setCurrentPlayingTime(seconds);
    Q_EMIT m_player->Seeked(Mpris::microseconds(seconds));
}

void MprisService::openUri(const QString &uri)
{
    LUMEVAR_INFO(Log::app(), "Media controls asked to open %@, which Lumevar does not do", uri);
    if (calledFromDBus())
        sendErrorReply(QStringLiteral("org.mpris.MediaPlayer2.Lumevar.Error.NotSupported"),
                       QStringLiteral("Lumevar plays from its library and opens no addresses."));
}

QVariantMap MprisService::playerProperties() const
{
    const bool active = !m_model._isStopped();
    return {
        {QStringLiteral("PlaybackStatus"), Mpris::playbackStatus(m_model)},
        {QStringLiteral("LoopStatus"), Mpris::loopStatus(m_model.repeatMode())},
        {QStringLiteral("Shuffle"), m_model.isShuffled()},
        {QStringLiteral("Metadata"), Mpris::metadata(m_model)},
        {QStringLiteral("CanPlay"), m_player->canPlay()},
        {QStringLiteral("CanPause"), active},
        {QStringLiteral("CanGoNext"), active},
        {QStringLiteral("CanGoPrevious"), active},
        {QStringLiteral("CanSeek"), m_player->canSeek()},
    };
}

void MprisService::schedulePublish()
{
    // Many fields change in one turn (a play touches a dozen): announce them once, after the turn.
    if (m_publishScheduled)
        return;
    m_publishScheduled = true;
    QMetaObject::invokeMethod(this, &MprisService::publish, Qt::QueuedConnection);
}

void MprisService::publish()
{
    m_publishScheduled = false;
    QVariantMap now = playerProperties();
    // A new song whose cover has not settled yet keeps the last metadata: announced now, its title
    // would stand beside the previous song's picture.
    const std::optional<PlaybackItem> shown = Mpris::shownItem(m_model);
    if (m_hooks.artworkSettles && shown && m_model._playingItemIDForArtwork() != shown->songIDForArtwork
        && m_published.contains(QStringLiteral("Metadata")))
        now.insert(QStringLiteral("Metadata"), m_published.value(QStringLiteral("Metadata")));
    QVariantMap changed;
    for (auto it = now.constBegin(); it != now.constEnd(); ++it) {
        if (m_published.value(it.key()) != it.value())
            changed.insert(it.key(), it.value());
    }
    m_published = now;
    if (changed.isEmpty() || !m_bus)
        return;
    QDBusMessage signal = QDBusMessage::createSignal(objectPath, QStringLiteral("org.freedesktop.DBus.Properties"),
                                                     QStringLiteral("PropertiesChanged"));
    signal << playerInterface << changed << QStringList();
    m_bus->send(signal);
}

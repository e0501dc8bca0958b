#include "Lumevar/Mpris/MprisState.h"

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Lumevar/Model/MainViewModel.h"

#include <QDBusObjectPath>
#include <QFileInfo>
#include <QUrl>

namespace Mpris {

QDBusObjectPath noTrackPath() { return QDBusObjectPath(QStringLiteral("/org/mpris/MediaPlayer2/TrackList/NoTrack")); }

QDBusObjectPath trackPath(const QString &identifier)
{
    QString path = QStringLiteral("/org/lumevar/Lumevar/track/");
    if (identifier.isEmpty())
        return noTrackPath();
    for (const char byte : identifier.toUtf8()) {
        const auto c = static_cast<unsigned char>(byte);
        if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
            path += QLatin1Char(char(c));
        else
            path += QStringLiteral("_%1").arg(c, 2, 16, QLatin1Char('0'));
    }
    return QDBusObjectPath(path);
}

std::optional<PlaybackItem> shownItem(const MainViewModel &model)
{
    // The eager entry counts while the surface still shows its title; the player's entry after.
    if (const std::optional<LocalSong> &eager = model._eagerEntry(); eager && model._playingTitle() == eager->title)
        return PlaybackItem::from(*eager);
    if (!model._queue().isEmpty() && !model._isStopped())
        return PlaybackItem::from(model._queue().constFirst());
    return std::nullopt;
}

QDBusObjectPath currentTrackPath(const MainViewModel &model)
{
    const std::optional<PlaybackItem> item = shownItem(model);
    if (!item)
        return noTrackPath();
    return trackPath(item->songID.value_or(item->songIDForArtwork));
}

namespace {
// Only addresses a desktop client can load itself.
std::optional<QUrl> artURL(const std::optional<Artwork> &artwork)
{
    if (!artwork)
        return std::nullopt;
    const QUrl url = artwork->url(512, 512);
    const QString scheme = url.scheme();
    if (url.isValid() && (scheme == QLatin1String("file") || scheme == QLatin1String("http") || scheme == QLatin1String("https")))
        return url;
    return std::nullopt;
}

// The settled artwork's file in the artwork cache: the same picture the player bar and the
// song-change notification show.
std::optional<QUrl> cachedArtURL(const MainViewModel &model)
{
    const std::optional<QString> &id = model._playingItemIDForArtwork();
    if (!id)
        return std::nullopt;
    const QString file = ArtworkImageCache::shared().fileOfKey(*id);
    if (file.isEmpty() || !QFileInfo::exists(file))
        return std::nullopt;
    return QUrl::fromLocalFile(file);
}
} // namespace

QVariantMap metadata(const MainViewModel &model)
{
    QVariantMap map;
    const std::optional<PlaybackItem> item = shownItem(model);
    map.insert(QStringLiteral("mpris:trackid"), QVariant::fromValue(currentTrackPath(model)));
    if (!item)
        return map;
    map.insert(QStringLiteral("xesam:title"), model._playingTitle().value_or(item->title));
    if (const std::optional<QString> artist = item->artist ? item->artist : item->subtitle)
        map.insert(QStringLiteral("xesam:artist"), QStringList{*artist});
    if (item->album)
        map.insert(QStringLiteral("xesam:album"), *item->album);
    const double duration = model._playingDuration() > 0 ? model._playingDuration() : item->duration;
    if (duration > 0)
        map.insert(QStringLiteral("mpris:length"), microseconds(duration));
    if (const std::optional<QUrl> url = cachedArtURL(model))
        map.insert(QStringLiteral("mpris:artUrl"), url->toString());
    else if (const std::optional<QUrl> url = artURL(model._playingArtwork() ? model._playingArtwork() : item->artwork))
        map.insert(QStringLiteral("mpris:artUrl"), url->toString());
    return map;
}

QString playbackStatus(const MainViewModel &model)
{
    if (model._isStopped())
        return QStringLiteral("Stopped");
    return model._isPlaying() ? QStringLiteral("Playing") : QStringLiteral("Paused");
}

QString loopStatus(MusicRepeatMode mode)
{
    switch (mode) {
    case MusicRepeatMode::one:
        return QStringLiteral("Track");
    case MusicRepeatMode::all:
        return QStringLiteral("Playlist");
    case MusicRepeatMode::none:
        break;
    }
    return QStringLiteral("None");
}

std::optional<MusicRepeatMode> repeatMode(const QString &loopStatus)
{
    if (loopStatus == QLatin1String("None"))
        return MusicRepeatMode::none;
    if (loopStatus == QLatin1String("Track"))
        return MusicRepeatMode::one;
    if (loopStatus == QLatin1String("Playlist"))
        return MusicRepeatMode::all;
    return std::nullopt;
}

} // namespace Mpris

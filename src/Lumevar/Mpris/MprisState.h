#pragma once
// What the MPRIS player interface shows, read from MainViewModel's mirror fields: the shown item
// (the eager entry while it is on screen, else the player's current entry), its metadata map,
// the playback status and the loop status. Pure functions of the model, so that the bus object
// and its tests agree on one reading.

#include "LumevarCore/Records.h"
#include "Platform/Music/ApplicationMusicPlayer.h"

#include <QDBusObjectPath>
#include <QVariantMap>
#include <optional>

class MainViewModel;

namespace Mpris {

// The track id of "no track", a fixed path that MPRIS clients know.
QDBusObjectPath noTrackPath();
// A valid object path for an item identifier: ASCII letters and digits kept, every other byte
// written as "_" and two hex digits, so that distinct identifiers give distinct paths.
QDBusObjectPath trackPath(const QString &identifier);

// The item the player surface shows now, if any.
std::optional<PlaybackItem> shownItem(const MainViewModel &model);
// The track id of the shown item (noTrackPath() when none).
QDBusObjectPath currentTrackPath(const MainViewModel &model);
// mpris:trackid, xesam:title, xesam:artist, xesam:album, mpris:length, mpris:artUrl.
QVariantMap metadata(const MainViewModel &model);
// "Playing", "Paused" or "Stopped".
QString playbackStatus(const MainViewModel &model);

QString loopStatus(MusicRepeatMode mode);
// nullopt for a text that is not "None", "Track" or "Playlist".
std::optional<MusicRepeatMode> repeatMode(const QString &loopStatus);

inline qlonglong microseconds(double seconds) { return qlonglong(seconds * 1e6); }

} // namespace Mpris

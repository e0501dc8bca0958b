#pragma once
// Reads .m3u and .m3u8 playlists: one entry a line, relative to the playlist's folder or absolute
// (plain paths or file:// URLs), "#EXTINF" and other "#" lines ignored, a leading byte order mark
// tolerated, "#PLAYLIST:" naming the playlist. Entries whose file is missing are skipped with a
// log line.

#include "Platform/LocalLibrary/ScannedTrack.h"

#include <optional>

namespace PlaylistFileReader {

bool isPlaylistFile(const QString &path);

// The playlist from the file; nothing (with a log line) when the file cannot be read.
// relativePath is left empty for the caller.
std::optional<ScannedPlaylist> read(const QString &path);

// The same from text already read, for a playlist that lives in directory.
ScannedPlaylist parse(const QByteArray &contents, const QString &directory, const QString &displayPath);

} // namespace PlaylistFileReader

#pragma once
// Reads .m3u and .m3u8 playlists: one entry a line, relative to the playlist's folder or absolute
// (plain paths or file:// URLs), "#EXTINF" and other "#" lines ignored, a leading byte order mark
// tolerated, "#PLAYLIST:" naming the playlist. Entries whose file is missing are skipped.
//
// Entries are file names as bytes, like the names the scan lists: a name that is not UTF-8 (an
// old Latin-1 "café", any odd byte) finds the same file. An entry whose bytes name no file is
// tried once more in the other encoding (Latin-1 text for a UTF-8 name, or the reverse).
//
// What a playlist can make the reader hold is bounded: a file over maxFileSize is skipped whole,
// a line over maxLineLength (no file name is that long) is skipped. Each file's skipped lines and
// entries are logged once, by count, and no bytes of the file are copied into the log but a
// short, cleaned quote of the first entry that named no file.

#include "Platform/LocalLibrary/ScannedTrack.h"

#include <optional>

namespace PlaylistFileReader {

inline constexpr qint64 maxFileSize = 16 * 1024 * 1024;
inline constexpr qsizetype maxLineLength = 4096;

bool isPlaylistFile(const QString &path);

// The playlist from the file (an absolute name as bytes); nothing (with a log line) when the
// file cannot be read. relativePath is left empty for the caller.
std::optional<ScannedPlaylist> read(const QByteArray &fileName);

// The same from contents already read, for a playlist that lives in directory (bytes).
ScannedPlaylist parse(const QByteArray &contents, const QByteArray &directory, const QString &displayPath);

} // namespace PlaylistFileReader

#pragma once
// Reads one audio file with TagLib: its tags, its duration and its artwork.

#include "Platform/LocalLibrary/ScannedTrack.h"

#include <optional>

class ArtworkExtractor;

namespace TrackReader {

// The track, or nothing (with one log line) when TagLib cannot read the file or finds no audio.
// fileName is an absolute path as bytes. The identity is left for the scanner.
std::optional<ScannedTrack> read(const QByteArray &fileName, ArtworkExtractor &artwork);

// "2019-05-03", "2019-05", "2019" or "2019-05-03T10:00:00" as a UTC date; nothing when unreadable.
std::optional<QDateTime> parseReleaseDate(const QString &text);

// The leading number of "3" or "3/12", at most TagText::largestNumber; nothing for zero or text
// without a number.
std::optional<int> parseLeadingNumber(const QString &text);

} // namespace TrackReader

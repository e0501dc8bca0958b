#pragma once
// The demo library: a fixed set of short synthesised tracks in MP3, FLAC and Ogg Vorbis with real
// tags, drawn covers (embedded in some albums, a cover.jpg beside others), and three playlists.
// Writing it twice gives the same files, with the same modification times.

#include "DemoLibrary/DemoTags.h"

#include <QString>
#include <functional>

namespace DemoLibrary {

struct Summary {
    int tracks = 0;
    int albums = 0;
    int playlists = 0;
};

// The name of the marker file written last, once everything else is in place.
inline constexpr const char *completeMarker = ".complete";

// Writes the library into folder (made when missing; files of an earlier run are replaced).
// progress, when given, receives each written file. False with a message on the first failure.
bool generate(const QString &folder, Summary *summary = nullptr, QString *error = nullptr,
              const std::function<void(const QString &)> &progress = {});

// One tagged track: synthesises seconds of a tune from seed, encodes by the suffix of path, and
// writes the tags and an optional embedded cover.
bool writeTrack(const QString &path, const DemoTags::Tags &tags, quint32 seed, double seconds,
                const QByteArray &coverJpeg = {}, QString *error = nullptr);

} // namespace DemoLibrary

#pragma once
// What an artwork view does with the cache, for every view that shows one (rows, player, Up Next,
// search): it starts in the state the memory level allows, asks thumbnail() while shown, and on a
// failure logs "Failed to load artwork: %@" under "images" and shows its placeholder. It does not
// ask again by itself.

#include <QCoroTask>
#include <QImage>
#include <QString>
#include <QUrl>
#include <optional>

class ArtworkImageCache;

enum class ArtworkState { loaded, unknown, failed };

struct ArtworkLoad {
    ArtworkState state = ArtworkState::unknown;
    QImage image; // null unless loaded

    // The state a view is created in: loaded with the image when memory has the key, else unknown.
    static ArtworkLoad seeded(const QString &id, const ArtworkImageCache &cache);
};

// The outcome of a view's ask: loaded, or failed after its log line. A cache destroyed meanwhile
// (CancellationError) leaves the state unknown without a line.
QCoro::Task<ArtworkLoad> loadArtwork(std::optional<QUrl> url, QString id, ArtworkImageCache &cache);

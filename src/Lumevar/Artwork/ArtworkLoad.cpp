#include "Lumevar/Artwork/ArtworkLoad.h"

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Support/Log.h"

ArtworkLoad ArtworkLoad::seeded(const QString &id, const ArtworkImageCache &cache)
{
    QImage image = cache.cachedThumbnail(id);
    if (image.isNull())
        return {};
    return {ArtworkState::loaded, std::move(image)};
}

QCoro::Task<ArtworkLoad> loadArtwork(std::optional<QUrl> url, QString id, ArtworkImageCache &cache)
{
    ArtworkLoad outcome;
    try {
        QCoro::Task<QImage> asking = cache.thumbnail(std::move(url), std::move(id));
        outcome.image = co_await std::move(asking);
        outcome.state = ArtworkState::loaded;
    } catch (const CancellationError &) {
        outcome.state = ArtworkState::unknown;
    } catch (...) {
        LUMEVAR_ERROR(Log::images(), "Failed to load artwork: %@", errorFromCurrentException());
        outcome.state = ArtworkState::failed;
    }
    co_return outcome;
}

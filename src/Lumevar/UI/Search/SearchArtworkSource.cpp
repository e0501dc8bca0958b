#include "Lumevar/UI/Search/SearchArtworkSource.h"

#include "Lumevar/Artwork/ArtworkImageCache.h"
#include "Support/Log.h"
#include "Support/Task.h"

#include <QPointer>

QImage SearchArtworkSource::image(const SearchResult &result)
{
    const QString id = result.thumbnailID();
    QImage cached = ArtworkImageCache::shared().cachedThumbnail(id);
    if (!cached.isNull() || m_asked.contains(id))
        return cached;
    m_asked.insert(id);
    detach(load(result.artworkURL(), id));
    return {};
}

QCoro::Task<void> SearchArtworkSource::load(std::optional<QUrl> url, QString id)
{
    QPointer<SearchArtworkSource> self(this);
    try {
        const QImage image = co_await ArtworkImageCache::shared().thumbnail(url, id);
        if (self && !image.isNull())
            Q_EMIT self->imageArrived();
    } catch (const CancellationError &) {
    } catch (...) {
        LUMEVAR_INFO(Log::images(), "Failed to load artwork: %@", errorFromCurrentException());
    }
}

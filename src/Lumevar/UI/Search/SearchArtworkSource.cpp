#include "Lumevar/UI/Search/SearchArtworkSource.h"

QImage SearchArtworkSource::image(const SearchResult &result)
{
    const QString id = result.thumbnailID();
    if (const auto found = m_images.constFind(id); found != m_images.constEnd())
        return *found;
    m_requested.insert(id);
    return {};
}

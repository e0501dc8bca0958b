#pragma once
// Artwork of the search rows: an image already at hand is drawn at once; a missing one is
// loaded once in the background and imageArrived() asks the list to repaint.

#include "LumevarCore/SearchResult.h"

#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>

class SearchArtworkSource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // The thumbnail for the result when it is at hand, else a null image (and a load starts).
    QImage image(const SearchResult &result);

Q_SIGNALS:
    void imageArrived();

private:
    QHash<QString, QImage> m_images;
    QSet<QString> m_requested;
};

#pragma once
// Artwork of the search rows through the artwork cache: a thumbnail already in memory is drawn
// at once; a missing one is asked for once (from its file or its URL) in the background, and
// imageArrived() asks the list to repaint. A failed load logs its line and shows the placeholder;
// it is not asked again while the surface lives.

#include "LumevarCore/SearchResult.h"

#include <QCoroTask>
#include <QImage>
#include <QObject>
#include <QSet>

class SearchArtworkSource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // The thumbnail for the result when memory has it, else a null image (and a load starts).
    QImage image(const SearchResult &result);

Q_SIGNALS:
    void imageArrived();

private:
    QCoro::Task<void> load(std::optional<QUrl> url, QString id);

    QSet<QString> m_asked;
};

#pragma once
// The artwork of the rows a list shows, by artwork id: what the image cache holds in memory is
// taken at once; otherwise the slot is unknown (failed without a URL) while a load runs, then
// loaded or failed. A load whose id left the list meanwhile still fills the cache, and its
// result shows when the id comes back. Main thread only.

#include "Lumevar/Navigator/ArtworkDisplay.h"

#include <QCoroTask>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QUrl>
#include <functional>
#include <optional>

struct ArtworkSource {
    // The image held in memory for id, or a null image: synchronous, no disk or network.
    std::function<QImage(const QString &id)> cached;
    // Loads the thumbnail of id from url (the cache's disk and network path); throws on failure.
    std::function<QCoro::Task<QImage>(std::optional<QUrl> url, QString id)> load;
};

class RowArtwork : public QObject {
    Q_OBJECT
public:
    struct Slot {
        ArtworkState state = ArtworkState::unknown;
        QImage image;
    };

    explicit RowArtwork(QObject *parent = nullptr);
    void setSource(ArtworkSource source);
    // The slot of id, asking the cache or starting a load the first time the id is seen.
    Slot slot(const std::optional<QUrl> &url, const QString &id);
    // Forgets the slots of ids not in keep (those that scrolled away), keeping loads under way.
    void retainOnly(const QSet<QString> &keep);
    int slotCount() const { return int(m_slots.size()); }

Q_SIGNALS:
    void changed(const QString &id);

private:
    QCoro::Task<void> load(std::optional<QUrl> url, QString id);

    ArtworkSource m_source;
    QHash<QString, Slot> m_slots;
    QSet<QString> m_loading;
};

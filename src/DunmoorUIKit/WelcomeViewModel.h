#pragma once
// The model of the Welcome window of document-based hosts: the actions, the recent documents
// with their thumbnails, and how thumbnails are made.
//
// Recents come from the host's RecentDocumentController and are read again whenever the host
// posts recentsDidChangeNotification on NotificationCenter::shared(). Thumbnails are made on the
// global pool, at 128 by 128 points at scale 2.0; until one is ready, or when it fails, a recent
// shows its fast icon (the icon of its file type).

#include "Support/NotificationCenter.h"

#include <QHash>
#include <QIcon>
#include <QImage>
#include <QList>
#include <QObject>
#include <QUrl>
#include <functional>
#include <memory>

class WelcomeAction {
public:
    WelcomeAction(QString title, QString symbolName, std::function<void()> action)
        : title(std::move(title)), symbolName(std::move(symbolName)), action(std::move(action))
    {
    }
    QString title;
    QString symbolName;
    std::function<void()> action; // called on the main thread
};

struct WelcomeRecent {
    QUrl url;
    QString displayName;
    QIcon fastIcon;

    // By their fields: the icon by its cache key.
    bool operator==(const WelcomeRecent &other) const
    {
        return url == other.url && displayName == other.displayName && fastIcon.cacheKey() == other.fastIcon.cacheKey();
    }
};
size_t qHash(const WelcomeRecent &recent, size_t seed = 0);

// The host's list of recent documents and its way of opening one.
class RecentDocumentController {
public:
    virtual ~RecentDocumentController() = default;
    virtual QList<QUrl> recentDocumentURLs() const = 0;
    virtual void openDocument(const QUrl &url, bool display) = 0;
};

// Makes a thumbnail of the file at url fitting size points at scale; throws on failure. Called
// on a pool thread.
using ThumbnailGenerator = std::function<QImage(const QUrl &url, QSize size, qreal scale)>;

class WelcomeViewModel : public QObject {
    Q_OBJECT
public:
    static inline const QString recentsDidChangeNotification =
        QStringLiteral("Dunmoor.NSDocumentControllerRecentsDidChangeNotificationName");

    explicit WelcomeViewModel(RecentDocumentController &documents, QObject *parent = nullptr);

    const QList<WelcomeRecent> &recents() const { return m_recents; }
    const QList<std::shared_ptr<WelcomeAction>> &actions() const { return m_actions; }
    void setActions(QList<std::shared_ptr<WelcomeAction>> actions);
    const QHash<WelcomeRecent, QImage> &recentsToThumbnails() const { return m_recentsToThumbnails; }
    RecentDocumentController &documents() const { return m_documents; }

    bool useQuickLookThumbnails = true;
    bool allowsThumbnailInterpolation = true;
    ThumbnailGenerator thumbnailGenerator; // the kit's image thumbnails by default

    // Reads the recents again and asks for their thumbnails.
    void reloadRecents();

    // The kit's generator: an image file scaled to the size's pixels.
    static QImage imageThumbnail(const QUrl &url, QSize size, qreal scale);

Q_SIGNALS:
    void recentsChanged();
    void actionsChanged();
    void thumbnailsChanged();

private:
    void requestThumbnail(const WelcomeRecent &recent);

    RecentDocumentController &m_documents;
    QList<WelcomeRecent> m_recents;
    QList<std::shared_ptr<WelcomeAction>> m_actions;
    QHash<WelcomeRecent, QImage> m_recentsToThumbnails;
    NotificationToken m_recentsToken;
};

#include "DunmoorUIKit/WelcomeViewModel.h"

#include "DunmoorUIKit/ImageThumbnailGenerator.h"
#include "Support/Log.h"

#include <QCoroFuture>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QPointer>
#include <QtConcurrent>

#include "Support/Task.h"

namespace {

constexpr QSize thumbnailSize(128, 128);
constexpr qreal thumbnailScale = 2.0;

WelcomeRecent recentOf(const QUrl &url)
{
    static const QMimeDatabase mimeTypes;
    const QMimeType type = url.isLocalFile() ? mimeTypes.mimeTypeForFile(url.toLocalFile()) : mimeTypes.mimeTypeForUrl(url);
    const QString name = url.isLocalFile() ? QFileInfo(url.toLocalFile()).fileName() : url.fileName();
    return {url, name, QIcon::fromTheme(type.iconName(), QIcon::fromTheme(type.genericIconName()))};
}

QCoro::Task<void> makeThumbnail(QPointer<WelcomeViewModel> model, WelcomeRecent recent, ThumbnailGenerator generate,
                                std::function<void(const WelcomeRecent &, const QImage &)> store)
{
    QFuture<QImage> making = QtConcurrent::run([generate, url = recent.url] {
        return generate(url, thumbnailSize, thumbnailScale);
    });
    try {
        // Awaiting the finished future rethrows what the generator threw.
        co_await QFuture<void>(making);
        const QImage image = making.result();
        if (model)
            store(recent, image);
    } catch (...) {
        LUMEVAR_ERROR(Log::images(), "Failed to generate thumbnail for %@", recent.url.toString());
    }
}

} // namespace

size_t qHash(const WelcomeRecent &recent, size_t seed)
{
    return qHashMulti(seed, recent.url, recent.displayName, recent.fastIcon.cacheKey());
}

WelcomeViewModel::WelcomeViewModel(RecentDocumentController &documents, QObject *parent)
    : QObject(parent), thumbnailGenerator(&WelcomeViewModel::imageThumbnail), m_documents(documents)
{
    m_recentsToken = NotificationCenter::shared().addObserver(recentsDidChangeNotification, [this] { reloadRecents(); });
}

void WelcomeViewModel::setActions(QList<std::shared_ptr<WelcomeAction>> actions)
{
    m_actions = std::move(actions);
    Q_EMIT actionsChanged();
}

void WelcomeViewModel::reloadRecents()
{
    QList<WelcomeRecent> recents;
    for (const QUrl &url : m_documents.recentDocumentURLs())
        recents.append(recentOf(url));
    m_recents = recents;
    Q_EMIT recentsChanged();
    if (!useQuickLookThumbnails || !thumbnailGenerator)
        return;
    for (const WelcomeRecent &recent : std::as_const(m_recents)) {
        if (!m_recentsToThumbnails.contains(recent))
            requestThumbnail(recent);
    }
}

void WelcomeViewModel::requestThumbnail(const WelcomeRecent &recent)
{
    detach(makeThumbnail(this, recent, thumbnailGenerator, [this](const WelcomeRecent &r, const QImage &image) {
        m_recentsToThumbnails.insert(r, image);
        Q_EMIT thumbnailsChanged();
    }));
}

QImage WelcomeViewModel::imageThumbnail(const QUrl &url, QSize size, qreal scale)
{
    const int edge = int(std::max(size.width(), size.height()) * scale);
    return ImageThumbnailGenerator::createThumbnailOfImageAtURL(url, edge);
}

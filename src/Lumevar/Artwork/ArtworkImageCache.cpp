#include "Lumevar/Artwork/ArtworkImageCache.h"

#include "Lumevar/Artwork/ArtworkFiles.h"
#include "Lumevar/Artwork/SharedLoads.h"
#include "Platform/Music/MusicService.h"
#include "Support/Log.h"
#include "Support/TemporaryDirectory.h"
#include "Support/OwnerGuard.h"

#include <QCache>
#include <QCoroFuture>
#include <QCoroNetworkReply>
#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QThread>
#include <QThreadPool>
#include <QtConcurrent>

struct ArtworkImageCache::Private {
    explicit Private(Options o) : options(std::move(o)) { memory.setMaxCost(options.memoryCostLimit); }

    Options options;
    QCache<QString, QImage> memory;          // key -> thumbnail, cost in bytes
    SharedLoads<QString> readingKeys;        // file reads in flight, by key
    SharedLoads<QUrl> loadingURLs;           // loads in flight, by URL (not by key)
    QNetworkAccessManager *network = nullptr; // made at the first web load
    bool writeFailureLogged = false;
};

namespace {

// Artwork decodes on its own pool: a list asking for a thousand covers at once would otherwise
// queue seconds of decoding ahead of the sync's work on the global pool.
QThreadPool &artworkPool()
{
    static QThreadPool pool; // its end at exit waits for a decode still running
    static const bool sized = [] {
        pool.setMaxThreadCount(QThread::idealThreadCount());
        return true;
    }();
    Q_UNUSED(sized);
    return pool;
}

// Network-level failures become URLError; an answer with an HTTP error status still has its bytes
// judged by the decoder (a 404 page is no image).
std::optional<URLError::Code> urlErrorOf(QNetworkReply::NetworkError error)
{
    switch (error) {
    case QNetworkReply::NoError: return std::nullopt;
    case QNetworkReply::ConnectionRefusedError: return URLError::cannotConnectToHost;
    case QNetworkReply::RemoteHostClosedError: return URLError::networkConnectionLost;
    case QNetworkReply::HostNotFoundError: return URLError::cannotFindHost;
    case QNetworkReply::TimeoutError:
    case QNetworkReply::OperationCanceledError: return URLError::timedOut; // the transfer timeout aborts this way
    case QNetworkReply::ProtocolUnknownError:
    case QNetworkReply::ProtocolInvalidOperationError: return URLError::badURL;
    default: break;
    }
    if (error < QNetworkReply::ContentAccessDenied)
        return URLError::unknown; // connection, proxy and TLS failures
    return std::nullopt;
}

} // namespace

ArtworkImageCache::Options ArtworkImageCache::defaultOptions()
{
    Options options;
    const QString temporary = TemporaryDirectory::path();
    if (!temporary.isEmpty())
        options.directory = temporary + QStringLiteral("/ArtworkCache");
    return options;
}

ArtworkImageCache::ArtworkImageCache(Options options, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(std::move(options)))
{
    if (!d->options.directory.isEmpty())
        QDir().mkpath(d->options.directory); // a failure shows at the first write
}

ArtworkImageCache::~ArtworkImageCache() = default;

ArtworkImageCache &ArtworkImageCache::shared()
{
    // Lives until the process ends; never destroyed, so no row can outlive it.
    static ArtworkImageCache *cache = new ArtworkImageCache(defaultOptions());
    return *cache;
}

QImage ArtworkImageCache::cachedThumbnail(const QString &id) const
{
    if (const QImage *image = d->memory.object(id))
        return *image;
    return {};
}

QString ArtworkImageCache::fileOfKey(const QString &id) const
{
    if (d->options.directory.isEmpty())
        return {};
    return d->options.directory + QLatin1Char('/') + ArtworkFiles::fileNameOfKey(id);
}

void ArtworkImageCache::clearMemory()
{
    d->memory.clear();
}

qint64 ArtworkImageCache::memoryCost() const
{
    return d->memory.totalCost();
}

void ArtworkImageCache::store(const QString &id, const QImage &image)
{
    d->memory.insert(id, new QImage(image), qMax<qsizetype>(1, image.sizeInBytes()));
}

QCoro::Task<QImage> ArtworkImageCache::thumbnail(std::optional<QUrl> url, QString id)
{
    if (QImage hit = cachedThumbnail(id); !hit.isNull())
        co_return hit;

    const OwnerGuard guard(this);
    QFuture<QImage> reading = d->readingKeys.join(id, [this, id] { return readFile(id); });
    const QImage fromFile = co_await reading;
    if (!fromFile.isNull())
        co_return fromFile;
    guard.check();

    if (!url || url->isEmpty())
        throw ArtworkImageCacheError(ArtworkImageCacheError::noArtworkURL, id);
    const QUrl source = *url;
    QFuture<QImage> loading = d->loadingURLs.join(source, [this, source, id] { return load(source, id); });
    const QImage loaded = co_await loading;
    co_return loaded;
}

QCoro::Task<QImage> ArtworkImageCache::thumbnail(std::optional<Artwork> artwork, QString id)
{
    std::optional<QUrl> url;
    if (artwork)
        url = artwork->url(thumbnailEdge, thumbnailEdge);
    QCoro::Task<QImage> task = thumbnail(std::move(url), std::move(id));
    const QImage image = co_await std::move(task);
    co_return image;
}

QCoro::Task<QImage> ArtworkImageCache::readFile(QString id)
{
    QPointer<ArtworkImageCache> self(this);
    const QString path = fileOfKey(id);
    // Futures are awaited from named locals: GCC 12 may destroy a temporary of a co_await twice.
    QFuture<QImage> reading = QtConcurrent::run(&artworkPool(), &ArtworkFiles::readThumbnail, path, int(thumbnailEdge));
    const QImage image = co_await reading;
    if (self && !image.isNull())
        self->store(id, image);
    co_return image;
}

QCoro::Task<QImage> ArtworkImageCache::load(QUrl url, QString id)
{
    const OwnerGuard guard(this);
    const QString path = fileOfKey(id);
    ArtworkFiles::Outcome outcome;
    if (url.isLocalFile()) {
        QFuture<ArtworkFiles::Outcome> decoding =
            QtConcurrent::run(&artworkPool(), &ArtworkFiles::thumbnailFromFile, url.toLocalFile(), path, int(thumbnailEdge));
        outcome = co_await decoding;
    } else {
        QCoro::Task<QByteArray> fetching = fetch(url);
        const QByteArray bytes = co_await std::move(fetching);
        QFuture<ArtworkFiles::Outcome> decoding = QtConcurrent::run(&artworkPool(), &ArtworkFiles::thumbnailFromBytes, bytes, path, int(thumbnailEdge));
        outcome = co_await decoding;
    }
    guard.check();
    if (outcome.sourceMissing)
        throw URLError(URLError::fileDoesNotExist, outcome.detail);
    if (outcome.failure)
        throw ArtworkImageCacheError(*outcome.failure, url.toString());
    if (!outcome.writeError.isEmpty() && !d->writeFailureLogged) {
        // Once per run: the image is still served, only a later launch loads it again.
        d->writeFailureLogged = true;
        LUMEVAR_ERROR(Log::images(), "Failed to write artwork thumbnail %@: %@", path, outcome.writeError);
    }
    store(id, outcome.image);
    co_return outcome.image;
}

QCoro::Task<QByteArray> ArtworkImageCache::fetch(QUrl url)
{
    if (!d->network)
        d->network = new QNetworkAccessManager(this);
    // A server's artwork URL is fetched with its credentials, which only the request carries.
    const QUrl authorized = MusicService::hasShared() ? MusicService::shared().authorizedURL(url) : url;
    QNetworkRequest request(authorized);
    request.setTransferTimeout(d->options.transferTimeoutMilliseconds);
    std::unique_ptr<QNetworkReply, void (*)(QNetworkReply *)> reply(d->network->get(request),
                                                                   [](QNetworkReply *r) { r->deleteLater(); });
    co_await reply.get();
    if (const auto failure = urlErrorOf(reply->error())) {
        QString detail = reply->errorString();
        detail.replace(authorized.toString(), url.toString());
        throw URLError(*failure, url.toString() + QStringLiteral(": ") + detail);
    }
    const QByteArray bytes = reply->readAll();
    co_return bytes;
}

#pragma once
// The application's one source of small artwork images. A record's thumbnail key and artwork URL
// become a decoded image of at most 64 pixels on a side, served from memory when possible, else
// from the key's PNG file in the per-user temporary folder, else loaded from the URL once, however
// many rows ask at the same moment. Used on the main thread; file reads, decoding and PNG writes
// run on the artwork pool (one thread per core), web loads through one QNetworkAccessManager.
//
// The memory level is bounded by the bytes of its images (least recently used first), because
// nothing else on Linux would ever make it give way.

#include "Lumevar/Artwork/ArtworkImageCacheError.h"
#include "Platform/Music/MusicTypes.h"

#include <QCoroTask>
#include <QImage>
#include <QObject>
#include <QString>
#include <QUrl>
#include <memory>
#include <optional>

// A QObject for QPointer guards of its coroutines and as the parent of its network access; it has
// no signals, hence no Q_OBJECT.
class ArtworkImageCache : public QObject {
public:
    struct Options {
        QString directory;                                // the disk level; empty: no files at all
        qint64 memoryCostLimit = 48 * 1024 * 1024;        // bytes of decoded images kept in memory
        int transferTimeoutMilliseconds = 30'000;          // a web load that stalls this long fails
    };

    // The default options: "ArtworkCache" in the per-user temporary folder.
    static Options defaultOptions();

    explicit ArtworkImageCache(Options options, QObject *parent = nullptr);
    ~ArtworkImageCache() override;

    static ArtworkImageCache &shared();              // made at first use on the main thread

    // Memory level only: synchronous, no allocation beyond the lookup (a null QImage when absent).
    // Rows call it when they are made; a miss is followed by thumbnail(), which reads the file off
    // the main thread, so scrolling never waits on the disk.
    QImage cachedThumbnail(const QString &id) const;

    // Memory, then the file of the key (decoded off the main thread), then one load per URL.
    // Throws ArtworkImageCacheError, URLError (the load failed) or CancellationError (the cache
    // was destroyed meanwhile).
    QCoro::Task<QImage> thumbnail(std::optional<QUrl> url, QString id);
    QCoro::Task<QImage> thumbnail(std::optional<Artwork> artwork, QString id); // asks url(64, 64)

    // The PNG file of a key (exists or not): the song-change notification and MPRIS point at it.
    QString fileOfKey(const QString &id) const;

    // Forgets the memory level (the files stay).
    void clearMemory();
    // Bytes of decoded images held in memory now.
    qint64 memoryCost() const;

    static constexpr int thumbnailEdge = 64;

private:
    struct Private;
    QCoro::Task<QImage> readFile(QString id);
    QCoro::Task<QImage> load(QUrl url, QString id);
    QCoro::Task<QByteArray> fetch(QUrl url);
    void store(const QString &id, const QImage &image);

    std::unique_ptr<Private> d;
};

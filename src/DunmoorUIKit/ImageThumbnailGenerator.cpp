#include "DunmoorUIKit/ImageThumbnailGenerator.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QUrl>

ImageThumbnailGeneratorError::ImageThumbnailGeneratorError(Code code, QString detail)
    : Error(QStringLiteral("DunmoorUIKit.ImageThumbnailGeneratorError"), code,
            QStringLiteral("The operation couldn't be completed. (DunmoorUIKit.ImageThumbnailGeneratorError error %1.)").arg(int(code)),
            QStringLiteral("ImageThumbnailGeneratorError.%1%2")
                .arg(code == invalidSource ? QStringLiteral("invalidSource") : QStringLiteral("thumbnailCreationFailed"),
                     detail.isEmpty() ? QString() : QStringLiteral(": ") + detail))
{
}

namespace {

// Qt's JPEG reader turns a file cut short into a picture grey at the bottom and only warns. A
// complete JPEG has its end marker after the start of its last scan (entropy-coded data cannot
// hold one), which a cut file lacks.
bool isCutShortJpeg(QIODevice &device)
{
    if (device.isSequential())
        return false;
    const QByteArray bytes = device.peek(device.size() - device.pos());
    return bytes.lastIndexOf("\xFF\xD9") < bytes.lastIndexOf("\xFF\xDA");
}

// Qt refuses to decode a picture whose full size passes its allocation limit, 128 MB by default:
// a 6,000 x 6,000 cover. Formats other than JPEG decode whole before they are scaled, so covers
// up to 1 GB decoded (16,384 x 16,384) are let through; a larger one is still refused before any
// of its memory is taken. Every decode of the program goes through here.
constexpr int decodeLimitMegabytes = 1024;

void allowLargeCovers()
{
    static const bool raised = [] {
        QImageReader::setAllocationLimit(decodeLimitMegabytes);
        return true;
    }();
    Q_UNUSED(raised);
}

} // namespace

QImage ImageThumbnailGenerator::createThumbnail(QIODevice &device, int maxPixelSize)
{
    allowLargeCovers();
    QImageReader reader(&device);
    reader.setAutoTransform(true);
    if (!reader.canRead())
        throw ImageThumbnailGeneratorError(ImageThumbnailGeneratorError::invalidSource, reader.errorString());
    if (reader.format() == "jpeg" && isCutShortJpeg(device))
        throw ImageThumbnailGeneratorError(ImageThumbnailGeneratorError::thumbnailCreationFailed, QStringLiteral("JPEG data cut short"));

    const int edge = qMax(1, maxPixelSize);
    // JPEG makes the small size itself, decoding at a fraction of its size in the DCT. Other
    // formats are decoded whole and scaled below (Qt's own scaled PNG read also decodes whole, and
    // is slower); a picture past the allocation limit above fails instead of taking the memory.
    // The box is square, so orientation is no matter.
    const QSize size = reader.size();
    if (reader.format() == "jpeg" && size.isValid() && (size.width() > edge || size.height() > edge))
        reader.setScaledSize(size.scaled(edge, edge, Qt::KeepAspectRatio).expandedTo(QSize(1, 1)));
    QImage image = reader.read();
    if (image.isNull())
        throw ImageThumbnailGeneratorError(ImageThumbnailGeneratorError::thumbnailCreationFailed, reader.errorString());
    if (image.width() > edge || image.height() > edge) {
        // Averaging every source pixel of a 1,500-pixel picture costs more than its decoding
        // gains; sampling down to four times the edge first and averaging from there looks the
        // same at this size.
        if (image.width() > 4 * edge || image.height() > 4 * edge)
            image = image.scaled(4 * edge, 4 * edge, Qt::KeepAspectRatio, Qt::FastTransformation);
        image = image.scaled(edge, edge, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    return image;
}

QImage ImageThumbnailGenerator::createThumbnailOfImageAtPath(const QString &path, int maxPixelSize)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw ImageThumbnailGeneratorError(ImageThumbnailGeneratorError::invalidSource, file.errorString());
    return createThumbnail(file, maxPixelSize);
}

QImage ImageThumbnailGenerator::createThumbnailOfImageAtURL(const QUrl &url, int maxPixelSize)
{
    if (!url.isLocalFile())
        throw ImageThumbnailGeneratorError(ImageThumbnailGeneratorError::invalidSource,
                                           QStringLiteral("not a file URL: ") + url.toString());
    return createThumbnailOfImageAtPath(url.toLocalFile(), maxPixelSize);
}

QImage ImageThumbnailGenerator::createThumbnailOfImageWithSourceData(const QByteArray &data, int maxPixelSize)
{
    QByteArray bytes = data; // QBuffer wants a non-const array; this shares, it does not copy
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return createThumbnail(buffer, maxPixelSize);
}

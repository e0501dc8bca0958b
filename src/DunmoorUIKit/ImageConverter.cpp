#include "DunmoorUIKit/ImageConverter.h"

#include "DunmoorUIKit/ImageCoding.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QUrl>

ImageConverterError::ImageConverterError(Code code, QString detail)
    : Error(QStringLiteral("DunmoorUIKit.ImageConverterError"), code,
            QStringLiteral("The operation couldn't be completed. (DunmoorUIKit.ImageConverterError error %1.)").arg(int(code)),
            QStringLiteral("ImageConverterError.%1%2")
                .arg(code == invalidSource ? QStringLiteral("invalidSource") : QStringLiteral("conversionFailed"),
                     detail.isEmpty() ? QString() : QStringLiteral(": ") + detail))
{
}

namespace {

QByteArray convert(QIODevice &source, const QByteArray &fromType, const QByteArray &toType)
{
    QImageReader reader(&source, fromType.toLower());
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    if (!reader.canRead())
        throw ImageConverterError(ImageConverterError::invalidSource, reader.errorString());
    if (!ImageCoding::canEncode(toType))
        throw ImageConverterError(ImageConverterError::conversionFailed, QString::fromLatin1(toType));
    const QImage image = reader.read();
    if (image.isNull())
        throw ImageConverterError(ImageConverterError::conversionFailed, reader.errorString());
    try {
        return ImageCoding::encodedData(image, toType);
    } catch (const CGImageError &error) {
        throw ImageConverterError(ImageConverterError::conversionFailed, error.debugDescription());
    }
}

} // namespace

QByteArray ImageConverter::convertImageWithSourceData(const QByteArray &data, const QByteArray &fromType, const QByteArray &toType)
{
    QByteArray bytes = data;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return convert(buffer, fromType, toType);
}

QByteArray ImageConverter::convertImageAtSourceURL(const QUrl &url, const QByteArray &fromType, const QByteArray &toType)
{
    QFile file(url.toLocalFile());
    if (!url.isLocalFile() || !file.open(QIODevice::ReadOnly))
        throw ImageConverterError(ImageConverterError::invalidSource, url.toString() + QStringLiteral(": ") + file.errorString());
    return convert(file, fromType, toType);
}

#include "DunmoorUIKit/ImageCoding.h"

#include <QBuffer>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>
#include <QUrl>

namespace {

QString caseName(CGImageError::Code code)
{
    switch (code) {
    case CGImageError::invalidSourceData: return QStringLiteral("invalidSourceData");
    case CGImageError::destinationCreationFailed: return QStringLiteral("destinationCreationFailed");
    case CGImageError::imageCreationFailed: return QStringLiteral("imageCreationFailed");
    }
    return QStringLiteral("unknown");
}

QImage decode(QIODevice &device)
{
    QImageReader reader(&device);
    reader.setAutoTransform(true);
    if (!reader.canRead())
        throw CGImageError(CGImageError::invalidSourceData, reader.errorString());
    QImage image = reader.read();
    if (image.isNull())
        throw CGImageError(CGImageError::imageCreationFailed, reader.errorString());
    return image;
}

} // namespace

CGImageError::CGImageError(Code code, QString detail)
    : Error(QStringLiteral("DunmoorUIKit.CGImageError"), code,
            QStringLiteral("The operation couldn't be completed. (DunmoorUIKit.CGImageError error %1.)").arg(int(code)),
            QStringLiteral("CGImageError.%1%2").arg(caseName(code), detail.isEmpty() ? QString() : QStringLiteral(": ") + detail))
{
}

namespace ImageCoding {

QImage image(const QUrl &fileURL)
{
    QFile file(fileURL.toLocalFile());
    if (!fileURL.isLocalFile() || !file.open(QIODevice::ReadOnly))
        throw CGImageError(CGImageError::invalidSourceData, fileURL.toString() + QStringLiteral(": ") + file.errorString());
    return decode(file);
}

QImage image(const QByteArray &data)
{
    QByteArray bytes = data;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return decode(buffer);
}

bool canEncode(const QByteArray &type)
{
    return QImageWriter::supportedImageFormats().contains(type.toLower());
}

QByteArray encodedData(const QImage &image, const QByteArray &type)
{
    if (!canEncode(type))
        throw CGImageError(CGImageError::destinationCreationFailed, QString::fromLatin1(type));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, type.toLower());
    if (image.isNull() || !writer.write(image))
        throw CGImageError(CGImageError::imageCreationFailed, writer.errorString());
    return bytes;
}

} // namespace ImageCoding

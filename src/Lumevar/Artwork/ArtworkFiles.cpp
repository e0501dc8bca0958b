#include "Lumevar/Artwork/ArtworkFiles.h"

#include "DunmoorUIKit/ImageThumbnailGenerator.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageWriter>
#include <QTemporaryFile>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ArtworkFiles {

QString fileNameOfKey(const QString &id)
{
    const QByteArray digest = QCryptographicHash::hash(id.toUtf8(), QCryptographicHash::Sha256);
    return QString::fromLatin1(digest.toHex()) + QStringLiteral(".png");
}

QImage readThumbnail(const QString &pngPath, int edge)
{
    if (pngPath.isEmpty())
        return {};
    QFile file(pngPath);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    try {
        return ImageThumbnailGenerator::createThumbnail(file, edge);
    } catch (const ImageThumbnailGeneratorError &) {
        return {};
    }
}

namespace {

// Written beside its final name and renamed over it, so a reader never sees half a file. Unlike
// QSaveFile this does not wait for the disk (fsync): a thumbnail lost in a crash is only loaded
// again, and the wait made a first scroll through 10,000 new covers I/O-bound.
QString writePng(const QImage &image, const QString &pngPath)
{
    if (pngPath.isEmpty())
        return {};
    QTemporaryFile file(pngPath + QStringLiteral(".XXXXXX"));
    if (!file.open()) {
        // The folder may have been cleaned away since the cache was made.
        QDir().mkpath(QFileInfo(pngPath).absolutePath());
        if (!file.open())
            return file.errorString();
    }
    QImageWriter writer(&file, "png");
    if (!writer.write(image))
        return writer.errorString();
    // The writer's last bytes may still sit in the file's buffer: a full disk shows only when they
    // go out, and a thumbnail cut short must not be renamed into place.
    if (!file.flush())
        return file.errorString();
    file.close();
    if (std::rename(QFile::encodeName(file.fileName()).constData(), QFile::encodeName(pngPath).constData()) != 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    file.setAutoRemove(false); // renamed away
    return {};
}

Outcome decodeAndWrite(QIODevice &source, const QString &pngPath, int edge)
{
    Outcome outcome;
    try {
        outcome.image = ImageThumbnailGenerator::createThumbnail(source, edge);
    } catch (const ImageThumbnailGeneratorError &error) {
        outcome.failure = error.code() == ImageThumbnailGeneratorError::invalidSource
                              ? ArtworkImageCacheError::invalidImage
                              : ArtworkImageCacheError::unableToCreateThumbnail;
        outcome.detail = error.debugDescription();
        return outcome;
    }
    outcome.writeError = writePng(outcome.image, pngPath);
    return outcome;
}

} // namespace

Outcome thumbnailFromFile(const QString &sourcePath, const QString &pngPath, int edge)
{
    QFile file(sourcePath);
    if (!file.open(QIODevice::ReadOnly)) {
        Outcome outcome;
        outcome.sourceMissing = true;
        outcome.detail = sourcePath + QStringLiteral(": ") + file.errorString();
        return outcome;
    }
    return decodeAndWrite(file, pngPath, edge);
}

Outcome thumbnailFromBytes(const QByteArray &bytes, const QString &pngPath, int edge)
{
    QByteArray shared = bytes;
    QBuffer buffer(&shared);
    buffer.open(QIODevice::ReadOnly);
    return decodeAndWrite(buffer, pngPath, edge);
}

} // namespace ArtworkFiles

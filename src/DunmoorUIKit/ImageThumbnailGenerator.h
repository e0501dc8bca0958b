#pragma once
// Thumbnails with an edge limit: at most maxPixelSize pixels on the longer side, aspect ratio
// kept, the file's orientation honoured, never scaled up. A JPEG is decoded straight to about that
// size; other formats are decoded whole first, and one larger than Qt's allocation limit (128 MB
// decoded) is refused rather than allocated. Stateless and safe on any thread.

#include "Support/Error.h"

#include <QImage>

class QByteArray;
class QIODevice;
class QString;
class QUrl;

class ImageThumbnailGeneratorError : public Error {
public:
    enum Code { invalidSource = 0, thumbnailCreationFailed = 1 };
    explicit ImageThumbnailGeneratorError(Code code, QString detail = {});
};

class ImageThumbnailGenerator {
public:
    // Throw ImageThumbnailGeneratorError: invalidSource when the bytes are no image this build can
    // read, thumbnailCreationFailed when decoding fails (a damaged file).
    static QImage createThumbnailOfImageAtURL(const QUrl &url, int maxPixelSize);
    static QImage createThumbnailOfImageAtPath(const QString &path, int maxPixelSize);
    static QImage createThumbnailOfImageWithSourceData(const QByteArray &data, int maxPixelSize);
    static QImage createThumbnail(QIODevice &device, int maxPixelSize);
};

#pragma once
// Converting an image file from one type to another (types as in ImageCoding.h). Stateless, safe
// on any thread.

#include "Support/Error.h"

#include <QByteArray>

class QUrl;

class ImageConverterError : public Error {
public:
    enum Code { invalidSource = 0, conversionFailed = 1 };
    explicit ImageConverterError(Code code, QString detail = {});
};

class ImageConverter {
public:
    // The source read as fromType (a hint: the content decides) and written as toType. Throws
    // ImageConverterError: invalidSource when it is no image, conversionFailed when toType cannot
    // be written or the source cannot be decoded.
    static QByteArray convertImageWithSourceData(const QByteArray &data, const QByteArray &fromType, const QByteArray &toType);
    static QByteArray convertImageAtSourceURL(const QUrl &url, const QByteArray &fromType, const QByteArray &toType);
};

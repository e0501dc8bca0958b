#pragma once
// Decoding a whole image and encoding one as a file type. A file type is a Qt image format name
// ("png", "jpeg", "bmp"); it is also the extension of files of that type. Safe on any thread.

#include "Support/Error.h"

#include <QByteArray>
#include <QImage>

class QUrl;

class CGImageError : public Error {
public:
    enum Code {
        invalidSourceData = 0,         // the bytes are no image this build can read
        destinationCreationFailed = 1, // this build cannot write the type
        imageCreationFailed = 2,       // the source yields no image, or the encoder failed
    };
    explicit CGImageError(Code code, QString detail = {});
};

namespace ImageCoding {

// The first image of a file or of bytes, full size, with the file's orientation applied.
// Throws CGImageError (invalidSourceData, imageCreationFailed).
QImage image(const QUrl &fileURL);
QImage image(const QByteArray &data);

// The image encoded as type. Throws CGImageError (destinationCreationFailed, imageCreationFailed).
QByteArray encodedData(const QImage &image, const QByteArray &type);

// Whether this build can write the type.
bool canEncode(const QByteArray &type);

} // namespace ImageCoding

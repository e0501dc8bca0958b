#pragma once
// The pool-thread half of the artwork cache: reading a key's PNG, turning a source (a file or
// loaded bytes) into a thumbnail and writing it as the key's PNG. Plain functions, safe on any
// thread; failures come back as values because exceptions do not cross QtConcurrent cleanly.

#include "Lumevar/Artwork/ArtworkImageCacheError.h"

#include <QImage>
#include <QString>
#include <optional>

class QByteArray;

namespace ArtworkFiles {

// "<64 lower-case hex digits of SHA-256 of the key's UTF-8>.png"
QString fileNameOfKey(const QString &id);

// The thumbnail stored in a key's file; null when there is none or it cannot be decoded (a damaged
// file is left as it is: the next load overwrites it).
QImage readThumbnail(const QString &pngPath, int edge);

struct Outcome {
    QImage image;
    std::optional<ArtworkImageCacheError::Code> failure;
    bool sourceMissing = false; // the source file could not be opened
    QString detail;
    QString writeError; // empty when the PNG was written (or there was no path to write to)
};

// Decodes the source to at most edge pixels and, on success, writes it as PNG to pngPath (skipped
// when empty). A failed write still returns the image.
Outcome thumbnailFromFile(const QString &sourcePath, const QString &pngPath, int edge);
Outcome thumbnailFromBytes(const QByteArray &bytes, const QString &pngPath, int edge);

} // namespace ArtworkFiles

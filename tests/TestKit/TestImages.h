#pragma once
// Image files for tests of decoding and caches: drawn pictures encoded in memory, a damaged copy,
// and a PNG of huge dimensions that stays small on disk (it inflates to gigabytes if decoded whole).

#include <QByteArray>
#include <QColor>
#include <QSize>
#include <QString>

namespace TestImages {

// A picture of the given size (a colour wash with a diagonal, so scaling is visible) encoded in
// the format ("jpg", "png").
QByteArray encoded(QSize size, const char *format, QColor tint = QColor(200, 80, 40));

// A valid 1-bit greyscale PNG of width x height pixels, all black, a few hundred kilobytes at most.
QByteArray hugePng(int width, int height);

// Writes bytes to a file; false on failure.
bool write(const QString &path, const QByteArray &bytes);

} // namespace TestImages

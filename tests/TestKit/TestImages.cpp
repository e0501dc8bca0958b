#include "TestKit/TestImages.h"

#include <QBuffer>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QtEndian>

namespace TestImages {

QByteArray encoded(QSize size, const char *format, QColor tint)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(tint);
    QPainter painter(&image);
    painter.setPen(QPen(Qt::white, qMax(1, size.width() / 50)));
    painter.drawLine(0, 0, size.width(), size.height());
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

namespace {

quint32 crc32(const QByteArray &bytes)
{
    quint32 crc = 0xFFFFFFFFu;
    for (const char c : bytes) {
        crc ^= quint8(c);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return crc ^ 0xFFFFFFFFu;
}

QByteArray chunk(const char *type, const QByteArray &data)
{
    QByteArray typed = QByteArray(type, 4) + data;
    QByteArray out(4, '\0');
    qToBigEndian(quint32(data.size()), out.data());
    out += typed;
    QByteArray crc(4, '\0');
    qToBigEndian(crc32(typed), crc.data());
    return out + crc;
}

} // namespace

QByteArray hugePng(int width, int height)
{
    QByteArray header(13, '\0');
    qToBigEndian(quint32(width), header.data());
    qToBigEndian(quint32(height), header.data() + 4);
    header[8] = 1; // bit depth
    header[9] = 0; // greyscale
    // Every row: filter byte 0, then width/8 zero bytes. zlib shrinks that to almost nothing.
    const QByteArray raw(qsizetype(height) * (1 + (width + 7) / 8), '\0');
    const QByteArray zlib = qCompress(raw, 9).mid(4); // qCompress prefixes the length; PNG wants bare zlib
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + chunk("IHDR", header) + chunk("IDAT", zlib) + chunk("IEND", {});
}

bool write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace TestImages

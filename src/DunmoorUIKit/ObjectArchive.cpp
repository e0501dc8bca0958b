#include "DunmoorUIKit/ObjectArchive.h"

#include <QCryptographicHash>
#include <QIODevice>

namespace {

constexpr QDataStream::Version streamVersion = QDataStream::Qt_6_4;

QByteArray checkOf(const QByteArray &payload)
{
    return QCryptographicHash::hash(payload, QCryptographicHash::Sha256).left(8);
}

} // namespace

namespace ObjectArchive {

QByteArray archive(const char *type, const std::function<void(QDataStream &)> &writePayload)
{
    QByteArray payload;
    {
        QDataStream stream(&payload, QIODevice::WriteOnly);
        stream.setVersion(streamVersion);
        writePayload(stream);
    }
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setVersion(streamVersion);
    stream << magic << version << QByteArray(type) << payload << checkOf(payload);
    return bytes;
}

void unarchive(const QByteArray &bytes, const char *type, const std::function<void(QDataStream &)> &readPayload)
{
    QDataStream stream(bytes);
    stream.setVersion(streamVersion);
    quint32 foundMagic = 0;
    quint16 foundVersion = 0;
    stream >> foundMagic >> foundVersion;
    if (stream.status() != QDataStream::Ok || foundMagic != magic)
        throw DecodingError(QStringLiteral("not an object archive"));
    if (foundVersion != version)
        throw DecodingError(QStringLiteral("object archive of unknown version %1").arg(foundVersion));
    QByteArray foundType, payload, check;
    stream >> foundType >> payload >> check;
    if (stream.status() != QDataStream::Ok || !stream.atEnd())
        throw DecodingError(QStringLiteral("object archive cut short or followed by other bytes"));
    if (foundType != type)
        throw DecodingError(QStringLiteral("object archive holds %1, not %2").arg(QString::fromUtf8(foundType), QString::fromUtf8(type)));
    if (check != checkOf(payload))
        throw DecodingError(QStringLiteral("object archive damaged"));

    QDataStream payloadStream(payload);
    payloadStream.setVersion(streamVersion);
    readPayload(payloadStream);
    if (payloadStream.status() != QDataStream::Ok || !payloadStream.atEnd())
        throw DecodingError(QStringLiteral("object archive payload does not read as %1").arg(QString::fromUtf8(type)));
}

} // namespace ObjectArchive

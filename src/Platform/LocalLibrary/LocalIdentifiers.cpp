#include "Platform/LocalLibrary/LocalIdentifiers.h"

#include <QCryptographicHash>
#include <QStringDecoder>

namespace LocalIdentifiers {

MusicItemID make(const char *prefix, const QString &key)
{
    const QByteArray digest = QCryptographicHash::hash(key.normalized(QString::NormalizationForm_C).toUtf8(),
                                                       QCryptographicHash::Sha256);
    return MusicItemID(QString::fromLatin1(prefix) + u'.' + QString::fromLatin1(digest.left(8).toHex()));
}

MusicItemID songID(const QByteArray &identity)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(identity);
    if (!utf8.hasError())
        return make(song, text);
    const QByteArray digest = QCryptographicHash::hash(QByteArray("bytes:") + identity, QCryptographicHash::Sha256);
    return MusicItemID(QString::fromLatin1(song) + u'.' + QString::fromLatin1(digest.left(8).toHex()));
}

QString nameKey(const QString &name)
{
    return name.trimmed().normalized(QString::NormalizationForm_C).toCaseFolded();
}

bool hasKind(const MusicItemID &id, const char *prefix)
{
    const QString text = id.rawValue();
    const QString head = QString::fromLatin1(prefix) + u'.';
    return text.startsWith(head) && text.size() > head.size();
}

} // namespace LocalIdentifiers

#include "Platform/LocalLibrary/LocalIdentifiers.h"

#include <QCryptographicHash>
#include <QStringDecoder>
#include <QtEndian>

namespace LocalIdentifiers {

namespace {

quint64 firstEightBytes(const QByteArray &bytes)
{
    return qFromBigEndian<quint64>(QCryptographicHash::hash(bytes, QCryptographicHash::Sha256).constData());
}

} // namespace

quint64 digest(const QString &key) { return firstEightBytes(key.normalized(QString::NormalizationForm_C).toUtf8()); }

MusicItemID make(const char *prefix, const QString &key) { return fromDigest(prefix, digest(key)); }

quint64 songDigest(const QByteArray &identity)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(identity);
    if (!utf8.hasError())
        return digest(text);
    return firstEightBytes(QByteArray("bytes:") + identity);
}

MusicItemID songID(const QByteArray &identity) { return fromDigest(song, songDigest(identity)); }

MusicItemID fromDigest(const char *prefix, quint64 digest)
{
    // Written by hand: the index writes one for every song it hands out.
    const auto head = qsizetype(qstrlen(prefix));
    QString text(head + 17, Qt::Uninitialized);
    QChar *out = text.data();
    for (qsizetype i = 0; i < head; ++i)
        out[i] = QLatin1Char(prefix[i]);
    out[head] = u'.';
    for (qsizetype i = head + 16; i > head; --i, digest >>= 4)
        out[i] = QLatin1Char("0123456789abcdef"[digest & 0xf]);
    return MusicItemID(std::move(text));
}

std::optional<quint64> digestOf(const MusicItemID &id, const char *prefix)
{
    const QString &text = id.rawValue();
    const qsizetype head = qsizetype(qstrlen(prefix));
    if (text.size() != head + 17 || text[head] != u'.' || !text.startsWith(QLatin1StringView(prefix, head)))
        return std::nullopt;
    quint64 value = 0;
    for (qsizetype i = head + 1; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        const int digit = c >= u'0' && c <= u'9' ? c - u'0' : c >= u'a' && c <= u'f' ? c - u'a' + 10 : -1;
        if (digit < 0)
            return std::nullopt;
        value = (value << 4) | quint64(digit);
    }
    return value;
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

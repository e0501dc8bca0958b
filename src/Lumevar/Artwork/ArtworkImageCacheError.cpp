#include "Lumevar/Artwork/ArtworkImageCacheError.h"

namespace {

QString caseName(ArtworkImageCacheError::Code code)
{
    switch (code) {
    case ArtworkImageCacheError::invalidImage: return QStringLiteral("invalidImage");
    case ArtworkImageCacheError::unableToCreateThumbnail: return QStringLiteral("unableToCreateThumbnail");
    case ArtworkImageCacheError::noArtworkURL: return QStringLiteral("noArtworkURL");
    }
    return QStringLiteral("unknown");
}

} // namespace

ArtworkImageCacheError::ArtworkImageCacheError(Code code, QString detail)
    : Error(QStringLiteral("Lumevar.ArtworkImageCacheError"), code,
            QStringLiteral("The operation couldn't be completed. (Lumevar.ArtworkImageCacheError error %1.)").arg(int(code)),
            QStringLiteral("ArtworkImageCacheError.%1%2").arg(caseName(code), detail.isEmpty() ? QString() : QStringLiteral(": ") + detail))
{
}

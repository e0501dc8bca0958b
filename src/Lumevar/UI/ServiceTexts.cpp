#include "Lumevar/UI/ServiceTexts.h"

#include "Platform/Music/MusicService.h"

namespace ServiceTexts {

QString searchCatalogMenuItem(const MusicService &service) { return QStringLiteral("Search %1").arg(service.displayName()); }

QString searchButtonTooltip(const MusicService &service)
{
    return QStringLiteral("Search your library or the %1 catalog").arg(service.displayName());
}

QString searchCatalogShortcut(const MusicService &service)
{
    return QStringLiteral("Search the %1 catalog").arg(service.displayName());
}

QString playErrorMessage(const MusicService &service) { return service.playFailureAdvice(); }

QString unavailableDescription(const MusicService &service)
{
    return QStringLiteral("Lumevar is not able to access your music library. Make sure you are signed into %1 in the %1 app first.")
        .arg(service.displayName());
}

} // namespace ServiceTexts

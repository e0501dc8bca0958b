#pragma once
// The window's texts that name the music service, made from the backend in use: its display name
// and its word for the catalog. A streaming service named "Apple Music" reads exactly as that
// service's own player would; a music folder or a server is named for what it is.

#include <QString>

class MusicService;

namespace ServiceTexts {

QString searchCatalogMenuItem(const MusicService &service);  // "Search %1"
QString searchButtonTooltip(const MusicService &service);    // "Search your library or the %1 catalog"
QString searchCatalogShortcut(const MusicService &service);  // "Search the %1 catalog"
QString playErrorMessage(const MusicService &service);       // the service's advice
// The unavailable screen's words when the service gives no reason of its own.
QString unavailableDescription(const MusicService &service);

} // namespace ServiceTexts

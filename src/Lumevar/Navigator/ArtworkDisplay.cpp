#include "Lumevar/Navigator/ArtworkDisplay.h"

ArtworkDisplay ArtworkDisplay::of(ArtworkState state, bool pointerInside, bool showNowPlayingIndicator)
{
    ArtworkDisplay display;
    if (state == ArtworkState::unknown)
        return display;
    display.showsImage = state == ArtworkState::loaded;
    display.showsPlaceholder = state == ArtworkState::failed;
    display.showsOverlay = pointerInside;
    display.showsNowPlaying = showNowPlayingIndicator && !pointerInside;
    display.overlaySymbol = showNowPlayingIndicator ? QStringLiteral("pause.fill") : QStringLiteral("play.fill");
    return display;
}

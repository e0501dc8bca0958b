#pragma once
// The artwork slot of a row: its load state, and which of its layers show for that state, the
// pointer and the now-playing mark. Over a loaded or failed artwork, a pointer inside the slot
// shows the play button (pause on the playing row) in place of the now-playing bars; while the
// artwork is still unknown the slot shows nothing at all.

// ArtworkState (loaded, unknown, failed) is the artwork cache's, shared by every artwork view.
#include "Lumevar/Artwork/ArtworkLoad.h"

#include <QString>

struct ArtworkDisplay {
    bool showsImage = false;
    bool showsPlaceholder = false; // the "music.note" placeholder on its background
    bool showsOverlay = false;     // the dimmed play or pause button
    bool showsNowPlaying = false;  // the three bars
    QString overlaySymbol;         // "play.fill" or "pause.fill"

    static ArtworkDisplay of(ArtworkState state, bool pointerInside, bool showNowPlayingIndicator);
};

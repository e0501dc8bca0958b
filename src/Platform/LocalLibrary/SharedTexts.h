#pragma once
// One copy of each repeated text of a library's tracks. The artist, album, album artist, genre
// and cover picture of a track are the same strings for every song of its album (and the artist
// for every album of the artist); read from tags or from the scan cache each is a new string, so
// 100,000 songs would hold hundreds of thousands of equal copies. The pool hands out the first
// copy it saw of each text, implicitly shared.

#include "Platform/LocalLibrary/ScannedTrack.h"

#include <QSet>

class SharedTexts {
public:
    // The pool's copy of text (text itself when it is the first of its kind).
    QString share(const QString &text);
    // Shares the track's repeated texts: artists, album, album artist, genre, picture.
    void shareRepeated(ScannedTrack &track);

private:
    QSet<QString> m_texts;
};

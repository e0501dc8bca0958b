#include "Platform/LocalLibrary/SharedTexts.h"

QString SharedTexts::share(const QString &text)
{
    if (text.isEmpty())
        return {};
    const auto known = m_texts.constFind(text);
    if (known != m_texts.cend())
        return *known;
    m_texts.insert(text);
    return text;
}

void SharedTexts::shareRepeated(ScannedTrack &track)
{
    track.artist = share(track.artist);
    for (QString &artist : track.artists)
        artist = share(artist);
    track.album = share(track.album);
    track.albumArtist = share(track.albumArtist);
    track.genre = share(track.genre);
    track.artworkPath = share(track.artworkPath);
}

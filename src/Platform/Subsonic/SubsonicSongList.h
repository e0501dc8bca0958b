#pragma once
// The songs of an answer read straight from its text (JsonReader), without a QJsonDocument: a
// sync reads 10,000 songs and more, and decoding them this way costs a fraction of building the
// document and copying each member out of it. The songs are those SubsonicItems::song() makes
// of the same answer decoded as a document.

#include "Platform/Subsonic/SubsonicItems.h"

#include <QByteArrayView>

namespace SubsonicSongList {

struct Listed {
    QList<Song> songs;
    QStringList albumIDs;    // each song's "albumId", empty where it has none
    QString containerArtist; // the container's "artist", when asked for
};

// The songs at ["subsonic-response"][container][list] of an answer whose status is "ok" (a list
// or a single song, as SubsonicItems::list() reads them), e.g. "album" / "song". nullopt when the
// text is not such an answer in well-formed JSON: the caller then decodes it as a document, which
// says what is wrong with it.
std::optional<Listed> read(QByteArrayView answer, QByteArrayView container, QByteArrayView list, const QUrl &server);

} // namespace SubsonicSongList

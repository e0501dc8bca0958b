#pragma once
// The items of a Subsonic server's JSON answers as the music platform's values. Pure functions:
// what the server leaves out stays absent, and nothing here talks to the network.
//
// Cover art becomes an Artwork whose template is the server's getCoverArt URL without any
// credentials ("…/rest/getCoverArt.view?id=X&size={w}"), so it may be stored and shown; whoever
// downloads it signs it first (MusicService::authorizedURL).

#include "Platform/Music/MusicTypes.h"

#include <QJsonArray>
#include <QJsonObject>

namespace SubsonicItems {

// The getCoverArt templates under a server's root URL, its common start worked out once.
class CoverArt {
public:
    explicit CoverArt(const QUrl &server);
    // The template of an item's coverArt id; nullopt for none.
    std::optional<Artwork> of(const QString &coverArtID) const;

private:
    QUrl m_server;
    QString m_prefix; // "<server>/rest/getCoverArt.view?id=", empty when the server's URL needs QUrl
};

// The getCoverArt template of an item's coverArt id, under the server's root URL.
std::optional<Artwork> artwork(const QUrl &server, const QString &coverArtID);

// A song's members as an answer gives them, before they make a Song: read from a QJsonObject or
// straight from the answer's text (SubsonicSongList), so that both make the very same Song. A
// member of another type than expected counts as absent, as QJsonValue's toString() and
// toDouble() have it.
struct SongMembers {
    QString id, title, artist, album, albumId, displayAlbumArtist, genre, created, coverArt;
    std::optional<QString> firstAlbumArtist; // the name of OpenSubsonic's first "albumArtists"
    QStringList genreNames;                  // the names of OpenSubsonic's "genres"
    double duration = 0;
    std::optional<double> year, track, discNumber;
};
// Makes the songs of one answer from their members. The date and cover of songs next to each
// other that share them (an album's) are made once.
class SongMaker {
public:
    explicit SongMaker(const QUrl &server) : m_cover(server) {}
    Song operator()(const SongMembers &members);

private:
    CoverArt m_cover;
    QString m_created, m_coverArt; // of the last song
    std::optional<QDateTime> m_date;
    std::optional<Artwork> m_artwork;
};

Song song(const QJsonObject &child, const QUrl &server);
Album album(const QJsonObject &album, const QUrl &server);
Artist artist(const QJsonObject &artist, const QUrl &server);
Playlist playlist(const QJsonObject &playlist, const QUrl &server);

// The array at key, whether the server wrote an array, a single object, or nothing.
QJsonArray list(const QJsonObject &parent, const QString &key);

template <typename T, typename Make>
QList<T> all(const QJsonObject &parent, const QString &key, const QUrl &server, Make make)
{
    QList<T> items;
    const QJsonArray array = list(parent, key);
    items.reserve(array.size());
    for (const QJsonValue &value : array)
        items.append(make(value.toObject(), server));
    return items;
}

} // namespace SubsonicItems

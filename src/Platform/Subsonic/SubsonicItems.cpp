#include "Platform/Subsonic/SubsonicItems.h"

#include <QTimeZone>
#include <QUrlQuery>

namespace SubsonicItems {

namespace {

std::optional<QString> text(const QJsonObject &object, const QString &key)
{
    const QString value = object.value(key).toString().trimmed();
    return value.isEmpty() ? std::nullopt : std::optional<QString>(value);
}

std::optional<int> number(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    if (value.isDouble() && value.toInt() > 0)
        return value.toInt();
    return std::nullopt;
}

// ISO 8601 as servers write it, with or without milliseconds and zone; a zone-less time is UTC.
std::optional<QDateTime> date(const QJsonObject &object, const QString &key)
{
    const QString value = object.value(key).toString();
    if (value.isEmpty())
        return std::nullopt;
    QDateTime parsed = QDateTime::fromString(value, Qt::ISODateWithMs);
    if (!parsed.isValid())
        return std::nullopt;
    if (parsed.timeSpec() == Qt::LocalTime)
        parsed.setTimeZone(QTimeZone::utc());
    return parsed.toUTC();
}

std::optional<QDateTime> year(const QJsonObject &object)
{
    const std::optional<int> value = number(object, QStringLiteral("year"));
    if (!value)
        return std::nullopt;
    return QDateTime(QDate(*value, 1, 1), QTime(0, 0), QTimeZone::utc());
}

// OpenSubsonic's list of genres, else the one genre of the classic API.
QStringList genres(const QJsonObject &object)
{
    QStringList names;
    for (const QJsonValue &genre : list(object, QStringLiteral("genres")))
        if (const QString name = genre.toObject().value(QStringLiteral("name")).toString().trimmed(); !name.isEmpty())
            names.append(name);
    if (names.isEmpty())
        if (const std::optional<QString> genre = text(object, QStringLiteral("genre")))
            names.append(*genre);
    return names;
}

std::optional<PlayParameters> play(const MusicItemID &id, const QString &kind)
{
    if (id.isEmpty())
        return std::nullopt;
    return PlayParameters{id, kind};
}

} // namespace

QJsonArray list(const QJsonObject &parent, const QString &key)
{
    const QJsonValue value = parent.value(key);
    if (value.isArray())
        return value.toArray();
    if (value.isObject())
        return QJsonArray{value};
    return {};
}

std::optional<Artwork> artwork(const QUrl &server, const QString &coverArtID)
{
    if (coverArtID.isEmpty())
        return std::nullopt;
    QUrl url = server;
    url.setPath(url.path() + QStringLiteral("/rest/getCoverArt.view"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("id"), coverArtID);
    url.setQuery(query);
    // The size is filled in per use; the braces stay literal in the template.
    return Artwork(url.toString(QUrl::FullyEncoded) + QStringLiteral("&size={w}"));
}

Song song(const QJsonObject &child, const QUrl &server)
{
    Song song;
    song.id = MusicItemID(child.value(QStringLiteral("id")).toString());
    song.title = child.value(QStringLiteral("title")).toString();
    song.artistName = text(child, QStringLiteral("artist"));
    song.albumTitle = text(child, QStringLiteral("album"));
    song.albumArtistName = text(child, QStringLiteral("displayAlbumArtist"));
    if (!song.albumArtistName) {
        const QJsonArray albumArtists = list(child, QStringLiteral("albumArtists"));
        if (!albumArtists.isEmpty())
            song.albumArtistName = text(albumArtists.first().toObject(), QStringLiteral("name"));
    }
    song.genreNames = genres(child);
    song.duration = child.value(QStringLiteral("duration")).toDouble();
    song.releaseDate = year(child);
    song.libraryAddedDate = date(child, QStringLiteral("created"));
    song.trackNumber = number(child, QStringLiteral("track"));
    song.discNumber = number(child, QStringLiteral("discNumber"));
    song.artwork = artwork(server, child.value(QStringLiteral("coverArt")).toString());
    song.playParameters = play(song.id, QStringLiteral("song"));
    return song;
}

Album album(const QJsonObject &object, const QUrl &server)
{
    Album album;
    album.id = MusicItemID(object.value(QStringLiteral("id")).toString());
    // getAlbumList2 and getAlbum say "name"; the folder form says "title".
    album.title = text(object, QStringLiteral("name")).value_or(object.value(QStringLiteral("title")).toString());
    album.artistName = text(object, QStringLiteral("artist"));
    album.genreNames = genres(object);
    album.releaseDate = year(object);
    album.libraryAddedDate = date(object, QStringLiteral("created"));
    album.trackCount = object.value(QStringLiteral("songCount")).toInt();
    album.artwork = artwork(server, object.value(QStringLiteral("coverArt")).toString());
    album.playParameters = play(album.id, QStringLiteral("album"));
    return album;
}

Artist artist(const QJsonObject &object, const QUrl &server)
{
    Artist artist;
    artist.id = MusicItemID(object.value(QStringLiteral("id")).toString());
    artist.name = object.value(QStringLiteral("name")).toString();
    artist.genreNames = genres(object);
    artist.artwork = artwork(server, object.value(QStringLiteral("coverArt")).toString());
    return artist;
}

Playlist playlist(const QJsonObject &object, const QUrl &server)
{
    Playlist playlist;
    playlist.id = MusicItemID(object.value(QStringLiteral("id")).toString());
    playlist.name = object.value(QStringLiteral("name")).toString();
    playlist.curatorName = text(object, QStringLiteral("owner"));
    playlist.libraryAddedDate = date(object, QStringLiteral("created"));
    playlist.lastModifiedDate = date(object, QStringLiteral("changed"));
    playlist.artwork = artwork(server, object.value(QStringLiteral("coverArt")).toString());
    playlist.playParameters = play(playlist.id, QStringLiteral("playlist"));
    return playlist;
}

} // namespace SubsonicItems

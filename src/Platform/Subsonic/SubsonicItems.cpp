#include "Platform/Subsonic/SubsonicItems.h"

#include <QTimeZone>
#include <QUrlQuery>
#include <algorithm>
#include <cmath>
#include <limits>

namespace SubsonicItems {

namespace {

std::optional<QString> text(const QJsonObject &object, const QString &key)
{
    const QString value = object.value(key).toString().trimmed();
    return value.isEmpty() ? std::nullopt : std::optional<QString>(value);
}

// A number as QJsonValue::toInt() reads it (whole and within int), when positive.
std::optional<int> positive(std::optional<double> value)
{
    if (!value || !(*value >= 1 && *value <= std::numeric_limits<int>::max()) || std::trunc(*value) != *value)
        return std::nullopt;
    return int(*value);
}

std::optional<double> numberOf(const QJsonObject &object, const QString &key)
{
    const QJsonValue value = object.value(key);
    return value.isDouble() ? std::optional(value.toDouble()) : std::nullopt;
}

std::optional<QString> trimmedText(const QString &value)
{
    const QString trimmed = value.trimmed();
    return trimmed.isEmpty() ? std::nullopt : std::optional<QString>(trimmed);
}

// The digits of text[from, from + count) as a number; -1 when any is not a digit.
int digits(QStringView text, qsizetype from, qsizetype count)
{
    if (from + count > text.size())
        return -1;
    int value = 0;
    for (qsizetype i = from; i < from + count; ++i) {
        const char16_t c = text[i].unicode();
        if (c < u'0' || c > u'9')
            return -1;
        value = value * 10 + (c - u'0');
    }
    return value;
}

// "YYYY-MM-DDTHH:MM:SS", then optional fractions of a second and "Z" or "±HH:MM", as nearly every
// server writes it, read by hand: QDateTime's general reader is several times slower, and a sync
// reads one date per song. Anything else goes to that reader.
std::optional<QDateTime> commonIsoDate(QStringView value)
{
    if (value.size() < 19 || value[4] != u'-' || value[7] != u'-' || value[10] != u'T' || value[13] != u':' || value[16] != u':')
        return std::nullopt;
    const QDate day(digits(value, 0, 4), digits(value, 5, 2), digits(value, 8, 2));
    const QTime time(digits(value, 11, 2), digits(value, 14, 2), digits(value, 17, 2));
    if (!day.isValid() || !time.isValid())
        return std::nullopt;
    qsizetype at = 19;
    int milliseconds = 0;
    if (at < value.size() && value[at] == u'.') {
        qsizetype end = ++at;
        while (end < value.size() && value[end] >= u'0' && value[end] <= u'9')
            ++end;
        if (end == at)
            return std::nullopt;
        const QStringView fraction = value.mid(at, std::min<qsizetype>(end - at, 3));
        milliseconds = digits(fraction, 0, fraction.size());
        for (qsizetype i = fraction.size(); i < 3; ++i)
            milliseconds *= 10;
        at = end;
    }
    int offsetSeconds = 0;
    if (at < value.size() && value[at] == u'Z') {
        ++at;
    } else if (at < value.size() && (value[at] == u'+' || value[at] == u'-')) {
        const int sign = value[at] == u'-' ? -1 : 1;
        const qsizetype minutesAt = at + 3 < value.size() && value[at + 3] == u':' ? at + 4 : at + 3;
        const int hours = digits(value, at + 1, 2), minutes = digits(value, minutesAt, 2);
        if (hours < 0 || minutes < 0)
            return std::nullopt;
        offsetSeconds = sign * (hours * 3600 + minutes * 60);
        at = minutesAt + 2;
    }
    if (at != value.size())
        return std::nullopt;
    return QDateTime(day, time.addMSecs(milliseconds), Qt::UTC).addSecs(-offsetSeconds);
}

// ISO 8601 as servers write it, with or without milliseconds and zone; a zone-less time is UTC.
std::optional<QDateTime> dateOf(const QString &value)
{
    if (value.isEmpty())
        return std::nullopt;
    if (std::optional<QDateTime> common = commonIsoDate(value))
        return common;
    QDateTime parsed = QDateTime::fromString(value, Qt::ISODateWithMs);
    if (!parsed.isValid())
        return std::nullopt;
    if (parsed.timeSpec() == Qt::LocalTime)
        parsed.setTimeZone(QTimeZone::utc());
    return parsed.toUTC();
}

std::optional<QDateTime> date(const QJsonObject &object, const QString &key) { return dateOf(object.value(key).toString()); }

std::optional<QDateTime> yearOf(std::optional<double> number)
{
    const std::optional<int> value = positive(number);
    if (!value)
        return std::nullopt;
    return QDateTime(QDate(*value, 1, 1), QTime(0, 0), Qt::UTC);
}

std::optional<QDateTime> year(const QJsonObject &object) { return yearOf(numberOf(object, QStringLiteral("year"))); }

// OpenSubsonic's list of genres (names as given), else the one genre of the classic API.
QStringList genresOf(const QStringList &listed, const QString &genre)
{
    QStringList names;
    for (const QString &name : listed)
        if (const QString trimmed = name.trimmed(); !trimmed.isEmpty())
            names.append(trimmed);
    if (names.isEmpty())
        if (const std::optional<QString> single = trimmedText(genre))
            names.append(*single);
    return names;
}

QStringList listedGenres(const QJsonObject &object)
{
    QStringList names;
    for (const QJsonValue &genre : list(object, QStringLiteral("genres")))
        names.append(genre.toObject().value(QStringLiteral("name")).toString());
    return names;
}

QStringList genres(const QJsonObject &object)
{
    return genresOf(listedGenres(object), object.value(QStringLiteral("genre")).toString());
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

CoverArt::CoverArt(const QUrl &server) : m_server(server)
{
    if (!server.hasQuery() && !server.hasFragment())
        m_prefix = server.toString(QUrl::FullyEncoded) + QStringLiteral("/rest/getCoverArt.view?id=");
}

std::optional<Artwork> CoverArt::of(const QString &coverArtID) const
{
    if (coverArtID.isEmpty())
        return std::nullopt;
    // An id of letters, digits and "-._~" needs no encoding, and nearly every id is one: the URL
    // is then put together as text, which costs a fraction of building it as a QUrl (one per
    // song of a sync).
    const bool plain = std::all_of(coverArtID.begin(), coverArtID.end(), [](QChar c) {
        return c.unicode() < 128 && (c.isLetterOrNumber() || c == u'-' || c == u'.' || c == u'_' || c == u'~');
    });
    if (plain && !m_prefix.isEmpty())
        return Artwork(m_prefix + coverArtID + QStringLiteral("&size={w}"));
    QUrl url = m_server;
    url.setPath(url.path() + QStringLiteral("/rest/getCoverArt.view"));
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("id"), coverArtID);
    url.setQuery(query);
    // The size is filled in per use; the braces stay literal in the template.
    return Artwork(url.toString(QUrl::FullyEncoded) + QStringLiteral("&size={w}"));
}

std::optional<Artwork> artwork(const QUrl &server, const QString &coverArtID) { return CoverArt(server).of(coverArtID); }

Song SongMaker::operator()(const SongMembers &members)
{
    if (members.created != m_created || m_created.isNull()) {
        m_created = members.created;
        m_date = dateOf(m_created);
    }
    if (members.coverArt != m_coverArt || m_coverArt.isNull()) {
        m_coverArt = members.coverArt;
        m_artwork = m_cover.of(m_coverArt);
    }
    Song song;
    song.id = MusicItemID(members.id);
    song.title = members.title;
    song.artistName = trimmedText(members.artist);
    song.albumTitle = trimmedText(members.album);
    song.albumArtistName = trimmedText(members.displayAlbumArtist);
    if (!song.albumArtistName && members.firstAlbumArtist)
        song.albumArtistName = trimmedText(*members.firstAlbumArtist);
    song.genreNames = genresOf(members.genreNames, members.genre);
    song.duration = members.duration;
    song.releaseDate = yearOf(members.year);
    song.libraryAddedDate = m_date;
    song.trackNumber = positive(members.track);
    song.discNumber = positive(members.discNumber);
    song.artwork = m_artwork;
    song.playParameters = play(song.id, QStringLiteral("song"));
    return song;
}

Song song(const QJsonObject &child, const QUrl &server)
{
    SongMembers members;
    members.id = child.value(QStringLiteral("id")).toString();
    members.title = child.value(QStringLiteral("title")).toString();
    members.artist = child.value(QStringLiteral("artist")).toString();
    members.album = child.value(QStringLiteral("album")).toString();
    members.displayAlbumArtist = child.value(QStringLiteral("displayAlbumArtist")).toString();
    if (const QJsonArray albumArtists = list(child, QStringLiteral("albumArtists")); !albumArtists.isEmpty())
        members.firstAlbumArtist = albumArtists.first().toObject().value(QStringLiteral("name")).toString();
    members.genreNames = listedGenres(child);
    members.genre = child.value(QStringLiteral("genre")).toString();
    members.duration = child.value(QStringLiteral("duration")).toDouble();
    members.year = numberOf(child, QStringLiteral("year"));
    members.created = child.value(QStringLiteral("created")).toString();
    members.track = numberOf(child, QStringLiteral("track"));
    members.discNumber = numberOf(child, QStringLiteral("discNumber"));
    members.coverArt = child.value(QStringLiteral("coverArt")).toString();
    return SongMaker(server)(members);
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

#include "Platform/Subsonic/SubsonicSongList.h"

#include "Platform/Subsonic/JsonReader.h"

using SubsonicItems::SongMembers;

namespace {

// A member's text as QJsonValue::toString() gives it: empty unless the value is a string. Like
// the document, a member named twice keeps its last value.
QString textOf(JsonReader &reader)
{
    if (reader.peek() == JsonReader::Type::string)
        return reader.string();
    reader.skip();
    return {};
}

// A text that songs next to each other repeat (an album's name, artist, genre, date, cover),
// decoded once and shared for as long as it repeats.
class Repeated {
public:
    QString textOf(JsonReader &reader)
    {
        if (reader.peek() != JsonReader::Type::string)
            return ::textOf(reader);
        const QByteArrayView bytes = reader.stringBytes();
        if (reader.failed())
            return {};
        if (bytes != m_bytes || m_bytes.isNull()) {
            m_bytes = bytes.toByteArray();
            m_text = QString::fromUtf8(bytes);
        }
        return m_text;
    }

private:
    QByteArray m_bytes;
    QString m_text;
};

struct RepeatedMembers {
    Repeated artist, album, albumId, genre, created, coverArt, displayAlbumArtist;
};

std::optional<double> numberOf(JsonReader &reader)
{
    if (reader.peek() == JsonReader::Type::number)
        return reader.number();
    reader.skip();
    return std::nullopt;
}

// The "name" of an object, or empty for any other value.
QString nameOf(JsonReader &reader)
{
    if (reader.peek() != JsonReader::Type::object) {
        reader.skip();
        return {};
    }
    QString name;
    reader.beginObject();
    QByteArrayView member;
    while (reader.nextMember(member)) {
        if (member == "name")
            name = textOf(reader);
        else
            reader.skip();
    }
    return name;
}

// Each entry of a list (an array, a single object standing for a list of one, anything else for
// none) handed to readOne, positioned at it.
template <typename ReadOne>
void forEachListed(JsonReader &reader, ReadOne readOne)
{
    switch (reader.peek()) {
    case JsonReader::Type::array:
        reader.beginArray();
        while (reader.nextElement())
            readOne();
        break;
    case JsonReader::Type::object:
        readOne();
        break;
    default:
        reader.skip();
    }
}

// One song; any value but an object is a song without members, as QJsonValue::toObject() has it.
SongMembers songMembers(JsonReader &reader, RepeatedMembers &repeated)
{
    SongMembers song;
    if (reader.peek() != JsonReader::Type::object) {
        reader.skip();
        return song;
    }
    reader.beginObject();
    QByteArrayView member;
    while (reader.nextMember(member)) {
        if (member == "id")
            song.id = textOf(reader);
        else if (member == "title")
            song.title = textOf(reader);
        else if (member == "artist")
            song.artist = repeated.artist.textOf(reader);
        else if (member == "album")
            song.album = repeated.album.textOf(reader);
        else if (member == "albumId")
            song.albumId = repeated.albumId.textOf(reader);
        else if (member == "duration")
            song.duration = numberOf(reader).value_or(0);
        else if (member == "track")
            song.track = numberOf(reader);
        else if (member == "discNumber")
            song.discNumber = numberOf(reader);
        else if (member == "year")
            song.year = numberOf(reader);
        else if (member == "genre")
            song.genre = repeated.genre.textOf(reader);
        else if (member == "created")
            song.created = repeated.created.textOf(reader);
        else if (member == "coverArt")
            song.coverArt = repeated.coverArt.textOf(reader);
        else if (member == "displayAlbumArtist")
            song.displayAlbumArtist = repeated.displayAlbumArtist.textOf(reader);
        else if (member == "genres") {
            song.genreNames.clear();
            forEachListed(reader, [&] { song.genreNames.append(nameOf(reader)); });
        } else if (member == "albumArtists") {
            song.firstAlbumArtist.reset();
            forEachListed(reader, [&] {
                if (song.firstAlbumArtist)
                    reader.skip();
                else
                    song.firstAlbumArtist = nameOf(reader);
            });
        } else {
            reader.skip();
        }
    }
    return song;
}

} // namespace

namespace SubsonicSongList {

std::optional<Listed> read(QByteArrayView answer, QByteArrayView container, QByteArrayView list, const QUrl &server)
{
    JsonReader reader(answer);
    SubsonicItems::SongMaker makeSong(server);
    RepeatedMembers repeated;
    Listed listed;
    bool ok = false;
    // Reads the container's object, which replaces whatever an earlier one of the same name gave.
    auto readContainer = [&] {
        listed = Listed();
        if (reader.peek() != JsonReader::Type::object)
            return reader.skip();
        reader.beginObject();
        QByteArrayView member;
        while (reader.nextMember(member)) {
            if (member == list) {
                listed.songs.clear();
                listed.albumIDs.clear();
                forEachListed(reader, [&] {
                    const SongMembers members = songMembers(reader, repeated);
                    listed.albumIDs.append(members.albumId);
                    listed.songs.append(makeSong(members));
                });
            } else if (member == "artist") {
                listed.containerArtist = textOf(reader);
            } else {
                reader.skip();
            }
        }
    };
    bool answered = false;
    reader.beginObject();
    QByteArrayView member;
    while (reader.nextMember(member)) {
        if (member != "subsonic-response") {
            reader.skip();
            continue;
        }
        // As in the document, the last envelope counts.
        answered = reader.peek() == JsonReader::Type::object;
        ok = false;
        listed = Listed();
        if (!answered) {
            reader.skip();
            continue;
        }
        reader.beginObject();
        while (reader.nextMember(member)) {
            if (member == "status")
                ok = textOf(reader) == u"ok";
            else if (member == container)
                readContainer();
            else
                reader.skip();
        }
    }
    if (!reader.atEnd() || !answered || !ok)
        return std::nullopt;
    return listed;
}

} // namespace SubsonicSongList

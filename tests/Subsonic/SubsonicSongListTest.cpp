// Songs read straight from an answer's text against the same answer decoded as a QJsonDocument
// and made into songs member by member: the two must agree on every answer the reader takes, and
// the reader must take no answer the document refuses (those go to the document, which reports
// them).
#include "Platform/Subsonic/JsonReader.h"
#include "Platform/Subsonic/SubsonicItems.h"
#include "Platform/Subsonic/SubsonicSongList.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

const QUrl server(QStringLiteral("https://music.example.org/sub"));

// The songs at ["subsonic-response"]["album"]["song"] as the document reads them; nullopt when
// the document refuses the text or the answer is not "ok".
std::optional<SubsonicSongList::Listed> throughDocument(const QByteArray &text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    const QJsonObject response = document.object().value(QStringLiteral("subsonic-response")).toObject();
    if (error.error != QJsonParseError::NoError || response.value(QStringLiteral("status")).toString() != u"ok")
        return std::nullopt;
    const QJsonObject album = response.value(QStringLiteral("album")).toObject();
    QStringList albumIDs;
    for (const QJsonValue &song : SubsonicItems::list(album, QStringLiteral("song")))
        albumIDs.append(song.toObject().value(QStringLiteral("albumId")).toString());
    return SubsonicSongList::Listed{SubsonicItems::all<Song>(album, QStringLiteral("song"), server, &SubsonicItems::song), albumIDs,
                                    album.value(QStringLiteral("artist")).toString()};
}

std::optional<SubsonicSongList::Listed> throughReader(const QByteArray &text)
{
    return SubsonicSongList::read(text, "album", "song", server);
}

QByteArray answer(const QByteArray &album) { return R"({"subsonic-response":{"status":"ok","version":"1.16.1","album":)" + album + "}}"; }

// Songs in the forms servers write and some they should not: members in any order, unknown
// members holding objects, arrays and look-alike texts, escapes, numbers in every JSON form,
// members of unexpected types, members named twice, a single song instead of a list.
const QList<QByteArray> answers = {
    answer(R"({"id":"al-1","artist":"The Band","song":[
        {"id":"s1","title":"One","artist":" Ann ","album":"First","track":1,"discNumber":1,"year":1999,"duration":61.5,
         "genre":"Jazz","created":"2024-03-01T10:00:00Z","coverArt":"al-1","albumId":"al-1"},
        {"coverArt":"a b&c","created":"2024-03-01T10:00:00.5+02:00","duration":2,"year":2.0,"track":"3","title":"Two",
         "id":"s2","x":{"song":[{"id":"not this"}],"title":"nor this \"}]"},"y":[1,[2,{"z":null}],true,false,-0.5e-3]},
        {"id":"s3","title":"Esc \"q\" \\ \/ \b\f\n\r\t \u00e9 \ud83c\udfb5 \u0000","artist":"\u20ac","year":1e3,"track":1.5,
         "discNumber":-2,"duration":-1E+2,"genres":[{"name":" Soul "},{"name":""},"Rock",{"id":"x"},{"name":"Funk"}],
         "genre":"ignored"},
        {"id":"s4","albumId":"al-9","title":"Four","coverArt":"al-9","created":"2024-01-01T00:00:00Z","album":"Shared","albumArtists":[{"name":"  "},{"name":"Second"}],"displayAlbumArtist":"","track":4},
        {"id":"s5","albumId":"al-9","title":"Five","coverArt":"al-9","created":"2024-01-01T00:00:00Z","album":"Shared","albumArtists":{"name":"Solo"},"genres":{"name":"One genre"},"duration":"long"},
        {"id":5,"albumId":9,"title":null,"coverArt":"al-9","album":"Sha\u0072ed","artist":7,"track":12345678901,"year":99999999999999999999,"created":"yesterday"},
        "not a song", 17, null, [],
        {"id":"s6","title":"first","title":"last","track":1,"track":2,"genres":[{"name":"A"}],"genres":[]},
        {"id":"s7","title":"\u00fcnicode as is: üñí €  𝄞","album":"\/x"}
    ]})"),
    answer(R"({"song":{"id":"only","title":"Alone","track":3}})"),
    answer(R"({"song":[],"artist":"Nobody"})"),
    answer(R"({"song":"none"})"),
    answer(R"("no album here")"),
    answer(R"({"song":[{"id":"a"}]})") + " \n\t ",
    R"( {"other":{"deep":[[[{}]]]},"subsonic-response":{"album":{"song":[{"id":"late","title":"Status after"}]},"status":"ok"}} )",
    R"({"subsonic-response":{"status":"ok","album":{"song":[{"id":"x"}]},"album":{"artist":"Replaced"}}})",
    R"({"subsonic-response":{"status":"ok","album":{"song":[{"id":"x"}]},"status":"ok"},"subsonic-response":{"status":"ok"}})",
};

TEST(SubsonicSongList, ReadsTheSameSongsAsTheDocumentWhateverTheOrderFormsAndTypesOfTheMembers)
{
    for (const QByteArray &text : answers) {
        const std::optional<SubsonicSongList::Listed> expected = throughDocument(text);
        ASSERT_TRUE(expected) << text.constData();
        const std::optional<SubsonicSongList::Listed> read = throughReader(text);
        ASSERT_TRUE(read) << text.constData();
        EXPECT_EQ(read->songs, expected->songs) << text.constData();
        EXPECT_EQ(read->albumIDs, expected->albumIDs) << text.constData();
        EXPECT_EQ(read->containerArtist, expected->containerArtist) << text.constData();
    }
    // And what the document makes of them, spelled out for a few.
    const std::optional<SubsonicSongList::Listed> read = throughReader(answers.first());
    ASSERT_EQ(read->songs.size(), 12);
    EXPECT_EQ(read->containerArtist, u"The Band");
    const Song &escaped = read->songs[2];
    EXPECT_EQ(escaped.title, QStringLiteral("Esc \"q\" \\ / \b\f\n\r\t é ") + QString::fromUtf8("\xF0\x9F\x8E\xB5") + u' ' + QChar(0));
    EXPECT_EQ(escaped.artistName, QStringLiteral("€"));
    EXPECT_EQ(escaped.genreNames, (QStringList{QStringLiteral("Soul"), QStringLiteral("Funk")}));
    EXPECT_EQ(escaped.releaseDate, QDateTime(QDate(1000, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_EQ(escaped.trackNumber, std::nullopt);
    EXPECT_EQ(escaped.duration, -100);
    EXPECT_EQ(read->songs[3].albumArtistName, std::nullopt);
    EXPECT_EQ(read->songs[4].albumArtistName, QStringLiteral("Solo"));
    EXPECT_EQ(read->songs[1].trackNumber, std::nullopt);
    EXPECT_EQ(read->songs[5].id, MusicItemID());
    EXPECT_EQ(read->songs[10].title, u"last");
    EXPECT_EQ(read->songs[10].trackNumber, 2);
}

// Cut short, broken or refused answers are left to the document; so is anything the reader is
// stricter about than it needs to be. Every byte of an answer is cut at or replaced in turn by
// what most often breaks JSON: whatever the reader takes, the document takes too, with the same
// songs.
TEST(SubsonicSongList, TakesNoAnswerTheDocumentRefusesAndAgreesOnEveryAnswerItTakes)
{
    const QList<QByteArray> refused = {
        "",
        "{}",
        answer(R"({"song":[{"id":"a"}]})").chopped(1),
        answer(R"({"song":[{"id":"a"}]})") + "x",
        answer(R"({"song":[{"id":"a",}]})"),
        answer(R"({"song":[{"id":"a"},]})"),
        answer(R"({"song":[{"id":"\ud800"}]})"),
        answer(R"({"song":[{"id":"\udc00\ud800"}]})"),
        answer(R"({"song":[{"id":"\x"}]})"),
        answer(R"({"song":[{"id":"a)" "\x01" R"("}]})"),
        answer(R"({"song":[{"id":")" "\xC3\x28" R"("}]})"),
        answer(R"({"song":[{"track":01}]})"),
        answer(R"({"song":[{"track":1.}]})"),
        answer(R"({"song":[{"track":+1}]})"),
        answer(R"({"song":[{"track":1e999}]})"),
        answer(R"({"song":[{"x":tru}]})"),
        R"({"subsonic-response":{"status":"failed","error":{"code":40,"message":"Wrong"}}})",
        R"({"subsonic-response":{"album":{"song":[]}}})",
        R"({"subsonic-response":{"status":"ok"},"subsonic-response":"gone"})",
        R"(["subsonic-response"])",
        QByteArray(600, '[') + QByteArray(600, ']'),
        answer(R"({"song":[{"x":)" + QByteArray(600, '[') + QByteArray(600, ']') + "}]}"),
    };
    for (const QByteArray &text : refused)
        EXPECT_FALSE(throughReader(text)) << text.left(200).constData();

    const QByteArray sample = answers.first();
    auto agrees = [](const QByteArray &text) {
        const std::optional<SubsonicSongList::Listed> read = throughReader(text);
        if (!read)
            return true;
        const std::optional<SubsonicSongList::Listed> expected = throughDocument(text);
        return expected && read->songs == expected->songs && read->containerArtist == expected->containerArtist;
    };
    for (qsizetype length = 0; length < sample.size(); ++length)
        ASSERT_FALSE(throughReader(sample.left(length))) << length;
    for (qsizetype at = 0; at < sample.size(); ++at) {
        for (const char replacement : {'"', '\\', '}', ']', ',', ':', 'x', '0', ' ', '\x80', '\n'}) {
            QByteArray changed = sample;
            changed[at] = replacement;
            ASSERT_TRUE(agrees(changed)) << "byte " << at << " made " << replacement;
        }
    }
}

TEST(SubsonicSongList, TheReaderStepsThroughValuesAndStopsForGoodAtTheFirstFault)
{
    JsonReader reader(R"( {"a": [1, "two", {"b": null}, false], "c": -1.25e2 } )");
    reader.beginObject();
    QByteArrayView name;
    ASSERT_TRUE(reader.nextMember(name));
    EXPECT_EQ(name, "a");
    reader.beginArray();
    ASSERT_TRUE(reader.nextElement());
    EXPECT_EQ(reader.number(), 1);
    ASSERT_TRUE(reader.nextElement());
    EXPECT_EQ(reader.string(), u"two");
    ASSERT_TRUE(reader.nextElement());
    EXPECT_EQ(reader.peek(), JsonReader::Type::object);
    reader.skip();
    ASSERT_TRUE(reader.nextElement());
    EXPECT_FALSE(reader.boolean());
    EXPECT_FALSE(reader.nextElement());
    ASSERT_TRUE(reader.nextMember(name));
    EXPECT_EQ(name, "c");
    EXPECT_EQ(reader.number(), -125);
    EXPECT_FALSE(reader.nextMember(name));
    EXPECT_TRUE(reader.atEnd());
    EXPECT_FALSE(reader.failed());

    // Reading a value as another type fails, and nothing is read after that.
    JsonReader wrong(R"(["text", 2])");
    wrong.beginArray();
    ASSERT_TRUE(wrong.nextElement());
    EXPECT_EQ(wrong.number(), 0);
    EXPECT_TRUE(wrong.failed());
    EXPECT_FALSE(wrong.nextElement());
    EXPECT_EQ(wrong.peek(), JsonReader::Type::invalid);
    EXPECT_FALSE(wrong.atEnd());

    // Escaped member names are compared unescaped.
    JsonReader escaped(R"({"\u0074itle":"x"})");
    escaped.beginObject();
    ASSERT_TRUE(escaped.nextMember(name));
    EXPECT_EQ(name, "title");
}

} // namespace

// Bounds on what a file from outside can make the library reader hold, and what the log says when
// one is passed: once per file, with its name, and none of the file's bytes but a cleaned quote.

#include "LocalLibraryTestSupport.h"

#include "Platform/LocalLibrary/ArtworkExtractor.h"
#include "Platform/LocalLibrary/PlaylistFileReader.h"
#include "Platform/LocalLibrary/TagText.h"
#include "Platform/LocalLibrary/TrackReader.h"
#include "Support/Log.h"

using namespace LocalLibraryTestSupport;

namespace {

// The error lines logged since it was made.
class LoggedErrors {
public:
    LoggedErrors() : m_from(LogStore::shared().entries().size()) {}
    QStringList lines() const
    {
        QStringList found;
        const QList<LogStore::Entry> entries = LogStore::shared().entries();
        for (qsizetype i = m_from; i < entries.size(); ++i)
            found.append(entries[i].message);
        return found;
    }

private:
    qsizetype m_from;
};

} // namespace

TEST(InputLimits, APlaylistOverTheSizeBoundIsSkippedWithOneShortLine)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("huge.m3u"));
    writeFile(path, QByteArray(PlaylistFileReader::maxFileSize + 1, 'a')); // one line, as the 64 MB one was
    LoggedErrors errors;
    EXPECT_FALSE(PlaylistFileReader::read(QFile::encodeName(path)));
    ASSERT_EQ(errors.lines().size(), 1);
    EXPECT_TRUE(errors.lines().first().contains(QStringLiteral("huge.m3u")));
    EXPECT_LT(errors.lines().first().size(), 300);
}

TEST(InputLimits, LongLinesAreSkippedAndTheOtherEntriesKept)
{
    QTemporaryDir dir;
    writeFile(dir.filePath(QStringLiteral("a.mp3")), "a");
    writeFile(dir.filePath(QStringLiteral("b.mp3")), "b");
    const QByteArray longLine(PlaylistFileReader::maxLineLength + 1, '\x1b');
    const QString path = dir.filePath(QStringLiteral("mixed.m3u8"));
    writeFile(path, "a.mp3\n" + longLine + "\n" + longLine + "\r\nb.mp3\n\x1b]0;evil\x07.mp3\n");
    LoggedErrors errors;
    const std::optional<ScannedPlaylist> playlist = PlaylistFileReader::read(QFile::encodeName(path));
    ASSERT_TRUE(playlist);
    EXPECT_EQ(playlist->trackPaths, (QList<QByteArray>{QFile::encodeName(dir.filePath(QStringLiteral("a.mp3"))),
                                                       QFile::encodeName(dir.filePath(QStringLiteral("b.mp3")))}));
    // One line for both long lines; the entry naming no file is a notice, not an error.
    ASSERT_EQ(errors.lines().size(), 1);
    EXPECT_TRUE(errors.lines().first().contains(QStringLiteral("mixed.m3u8")));
    EXPECT_TRUE(errors.lines().first().contains(QStringLiteral("2")));
    EXPECT_FALSE(errors.lines().first().contains(QChar(0x1b)));
}

TEST(InputLimits, QuotesOfFileTextsCarryNoControlsAndAreShort)
{
    EXPECT_EQ(TagText::quoted(QStringLiteral("\x1b[31mred\a\u202Eok")), QStringLiteral("\uFFFD[31mred\uFFFD\uFFFDok"));
    EXPECT_EQ(TagText::quoted(QString(100, u'x'), 10), QString(10, u'x') + QStringLiteral("…"));
    // A pair of surrogates is a character and stays; half of one does not.
    EXPECT_EQ(TagText::quoted(QStringLiteral("🎵")), QStringLiteral("🎵"));
    EXPECT_EQ(TagText::quoted(QString(QChar(0xD83C)) + u'a'), QStringLiteral("\uFFFDa"));
}

TEST(InputLimits, TagTextsAreCutToTheBoundOnceNamingTheFile)
{
    QTemporaryDir dir;
    DemoTags::Tags long_ = tags(QString(5000, u'T'), QString(3 * TagText::maxLength, u'A'), QStringLiteral("Album"));
    writeTrack(dir.path(), QStringLiteral("long.mp3"), long_, {}, 0.3);
    ArtworkExtractor artwork(dir.filePath(QStringLiteral("art")));
    LoggedErrors errors;
    const std::optional<ScannedTrack> track =
        TrackReader::read(QFile::encodeName(dir.filePath(QStringLiteral("long.mp3"))), artwork);
    ASSERT_TRUE(track);
    EXPECT_EQ(track->title, QString(TagText::maxLength, u'T'));
    EXPECT_EQ(track->artist, QString(TagText::maxLength, u'A'));
    EXPECT_EQ(track->album, QStringLiteral("Album"));
    ASSERT_EQ(errors.lines().size(), 1);
    EXPECT_TRUE(errors.lines().first().contains(QStringLiteral("long.mp3")));
    EXPECT_LT(errors.lines().first().size(), 300);

    // The cut never leaves half of a surrogate pair, nor a space, at the end.
    EXPECT_EQ(TagText::clean(QString(TagText::maxLength - 1, u'x') + QStringLiteral("🎵🎵")).size(), TagText::maxLength - 1);
    EXPECT_EQ(TagText::clean(QString(TagText::maxLength - 1, u'x') + QStringLiteral(" yz")).size(), TagText::maxLength - 1);
}

TEST(InputLimits, AnEmbeddedPictureOverTheBoundIsPassedOver)
{
    QTemporaryDir dir;
    QByteArray picture(ArtworkExtractor::maxPictureSize + 1, '\0');
    picture.replace(0, 2, "\xFF\xD8");
    writeTrack(dir.path(), QStringLiteral("big cover.mp3"), tags(QStringLiteral("Song"), QStringLiteral("Artist")), picture, 0.3);
    writeTrack(dir.path(), QStringLiteral("small cover.mp3"), tags(QStringLiteral("Other"), QStringLiteral("Artist")),
               QByteArray("\xFF\xD8 small"), 0.3);
    ArtworkExtractor artwork(dir.filePath(QStringLiteral("art")));
    LoggedErrors errors;
    const auto read = [&](const char *name) {
        return TrackReader::read(QFile::encodeName(dir.filePath(QString::fromUtf8(name))), artwork);
    };
    const std::optional<ScannedTrack> big = read("big cover.mp3");
    ASSERT_TRUE(big);
    EXPECT_TRUE(big->artworkPath.isEmpty());
    ASSERT_EQ(errors.lines().size(), 1);
    EXPECT_TRUE(errors.lines().first().contains(QStringLiteral("big cover.mp3")));
    const std::optional<ScannedTrack> small = read("small cover.mp3");
    ASSERT_TRUE(small);
    EXPECT_FALSE(small->artworkPath.isEmpty());
    EXPECT_EQ(errors.lines().size(), 1);
}

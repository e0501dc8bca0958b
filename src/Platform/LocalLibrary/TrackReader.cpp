#include "Platform/LocalLibrary/TrackReader.h"

#include "Platform/LocalLibrary/ArtworkExtractor.h"
#include "Platform/LocalLibrary/FolderWalk.h"
#include "Platform/LocalLibrary/TagText.h"
#include "Support/Log.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <sys/stat.h>

#include <taglib/audioproperties.h>
#include <taglib/fileref.h>
#include <taglib/infotag.h>
#include <taglib/tag.h>
#include <taglib/tpropertymap.h>
#include <taglib/wavfile.h>

namespace TrackReader {

namespace {

// Tag texts of the file being read, cleaned and cut to TagText::maxLength; remembers whether one
// was longer, so the file is named once in the log.
class TagTexts {
public:
    QString operator()(const TagLib::String &text)
    {
        // Cleaning drops characters, so somewhat more than the bound is converted; never the
        // megabytes a damaged tag may hold.
        constexpr unsigned int converted = TagText::maxLength * 4;
        const bool longer = text.size() > converted;
        bool cut = false;
        QString cleaned = TagText::clean(QString::fromStdString((longer ? text.substr(0, converted) : text).to8Bit(true)), &cut);
        m_cut = m_cut || cut || longer;
        return cleaned;
    }
    QStringList all(const TagLib::PropertyMap &properties, const char *key)
    {
        QStringList values;
        const auto it = properties.find(key);
        if (it != properties.end()) {
            for (const TagLib::String &value : it->second)
                values.append((*this)(value));
        }
        return values;
    }
    QString first(const TagLib::PropertyMap &properties, const char *key)
    {
        const QStringList values = all(properties, key);
        return values.isEmpty() ? QString() : values.first();
    }
    bool cut() const { return m_cut; }

private:
    bool m_cut = false;
};

std::optional<int> clampedNumber(unsigned int number)
{
    if (number == 0)
        return std::nullopt;
    return int(std::min<unsigned int>(number, TagText::largestNumber));
}

// WAV files often carry their tags only in the RIFF INFO chunk, which the generic tag of a WAV
// file may not show: what the other tags left empty is taken from there.
void fillFromRiffInfo(TagLib::File *file, ScannedTrack &track, TagTexts &texts)
{
    auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(file);
    if (!wav || !wav->hasInfoTag())
        return;
    const TagLib::RIFF::Info::Tag *info = wav->InfoTag();
    if (track.title.isEmpty())
        track.title = texts(info->title());
    if (track.artists.isEmpty())
        track.artists = TagText::distinctNames({texts(info->artist())});
    if (track.album.isEmpty())
        track.album = texts(info->album());
    if (track.genre.isEmpty())
        track.genre = texts(info->genre());
    if (!track.trackNumber)
        track.trackNumber = clampedNumber(info->track());
    if (!track.releaseDate && info->year() > 0 && info->year() <= unsigned(TagText::largestNumber))
        track.releaseDate = QDateTime(QDate(int(info->year()), 1, 1), QTime(0, 0), Qt::UTC);
}

} // namespace

std::optional<QDateTime> parseReleaseDate(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\s*(\d{4})(?:-(\d{1,2})(?:-(\d{1,2}))?)?)"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const int year = match.captured(1).toInt();
    const int month = match.captured(2).isEmpty() ? 1 : match.captured(2).toInt();
    const int day = match.captured(3).isEmpty() ? 1 : match.captured(3).toInt();
    QDate date(year, month, day);
    if (!date.isValid())
        date = QDate(year, 1, 1);
    if (year <= 0 || !date.isValid())
        return std::nullopt;
    return QDateTime(date, QTime(0, 0), Qt::UTC);
}

std::optional<int> parseLeadingNumber(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral(R"(^\s*(\d+))"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    // Digits beyond what any real track or disc number has are clamped, not wrapped.
    bool fits = false;
    const qlonglong number = match.captured(1).left(12).toLongLong(&fits);
    if (!fits || number <= 0)
        return std::nullopt;
    return int(std::min<qlonglong>(number, TagText::largestNumber));
}

std::optional<ScannedTrack> read(const QByteArray &fileName, ArtworkExtractor &artwork)
{
    const QString path = FolderWalk::displayName(fileName);
    TagLib::FileRef ref(fileName.constData(), true, TagLib::AudioProperties::Average);
    if (ref.isNull() || !ref.audioProperties()) {
        LUMEVAR_NOTICE(Log::collection(), "Skipping %@: not a readable audio file", path);
        return std::nullopt;
    }
    const int milliseconds = ref.audioProperties()->lengthInMilliseconds();
    if (milliseconds <= 0) {
        LUMEVAR_NOTICE(Log::collection(), "Skipping %@: no audio found", path);
        return std::nullopt;
    }

    ScannedTrack track;
    track.fileName = fileName;
    track.duration = milliseconds / 1000.0;
    struct stat info {};
    if (::stat(fileName.constData(), &info) == 0)
        track.modified = QDateTime::fromMSecsSinceEpoch(qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000, Qt::UTC);

    const TagLib::PropertyMap properties = ref.file()->properties();
    TagTexts texts;
    track.title = texts.first(properties, "TITLE");
    // Several artists come as several values (an ID3v2.4 list, repeated Vorbis fields): kept
    // apart, where the generic tag would run them together with a space.
    track.artists = TagText::distinctNames(texts.all(properties, "ARTIST"));
    track.album = texts.first(properties, "ALBUM");
    track.albumArtist = TagText::joinArtists(texts.all(properties, "ALBUMARTIST"));
    track.genre = texts.first(properties, "GENRE");
    track.trackNumber = parseLeadingNumber(texts.first(properties, "TRACKNUMBER"));
    track.discNumber = parseLeadingNumber(texts.first(properties, "DISCNUMBER"));
    track.releaseDate = parseReleaseDate(texts.first(properties, "DATE"));
    if (const TagLib::Tag *tag = ref.tag()) {
        if (track.title.isEmpty())
            track.title = texts(tag->title());
        if (track.artists.isEmpty())
            track.artists = TagText::distinctNames({texts(tag->artist())});
        if (track.album.isEmpty())
            track.album = texts(tag->album());
        if (track.genre.isEmpty())
            track.genre = texts(tag->genre());
        if (!track.trackNumber)
            track.trackNumber = clampedNumber(tag->track());
        if (!track.releaseDate && tag->year() > 0 && tag->year() <= unsigned(TagText::largestNumber))
            track.releaseDate = QDateTime(QDate(int(tag->year()), 1, 1), QTime(0, 0), Qt::UTC);
    }
    fillFromRiffInfo(ref.file(), track, texts);
    track.artist = TagText::joinArtists(track.artists);
    // A compilation without an album artist is one album, not one per track artist.
    const QString compilation = texts.first(properties, "COMPILATION");
    if (track.albumArtist.isEmpty() && (compilation == QLatin1String("1") || compilation.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0))
        track.albumArtist = QStringLiteral("Various Artists");
    if (track.title.isEmpty())
        track.title = TagText::clean(QFileInfo(path).completeBaseName());

    if (texts.cut())
        LUMEVAR_ERROR(Log::collection(), "%@: tag texts longer than %@ characters were cut", path, QString::number(TagText::maxLength));

    track.artworkPath = artwork.extractEmbedded(*ref.file());
    if (track.artworkPath.isEmpty())
        track.artworkPath = artwork.coverBeside(QFileInfo(path).absolutePath());
    return track;
}

} // namespace TrackReader

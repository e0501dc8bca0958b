#include "Platform/LocalLibrary/TrackReader.h"

#include "Platform/LocalLibrary/ArtworkExtractor.h"
#include "Support/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <taglib/audioproperties.h>
#include <taglib/fileref.h>
#include <taglib/tag.h>
#include <taglib/tpropertymap.h>

namespace TrackReader {

namespace {

QString toQString(const TagLib::String &text) { return QString::fromStdString(text.to8Bit(true)).trimmed(); }

QString firstProperty(const TagLib::PropertyMap &properties, const char *key)
{
    const auto it = properties.find(key);
    if (it == properties.end() || it->second.isEmpty())
        return {};
    return toQString(it->second.front());
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
    const int number = match.captured(1).toInt();
    return number > 0 ? std::optional<int>(number) : std::nullopt;
}

std::optional<ScannedTrack> read(const QString &path, const QString &libraryFolder, ArtworkExtractor &artwork)
{
    const QFileInfo info(path);
    TagLib::FileRef ref(QFile::encodeName(path).constData(), true, TagLib::AudioProperties::Average);
    if (ref.isNull() || !ref.audioProperties()) {
        Log::notice(Log::collection(), "Skipping %@: not a readable audio file", path);
        return std::nullopt;
    }
    const int milliseconds = ref.audioProperties()->lengthInMilliseconds();
    if (milliseconds <= 0) {
        Log::notice(Log::collection(), "Skipping %@: no audio found", path);
        return std::nullopt;
    }

    ScannedTrack track;
    track.path = path;
    track.relativePath = QDir(libraryFolder).relativeFilePath(path);
    track.duration = milliseconds / 1000.0;
    track.modified = info.lastModified().toUTC();

    if (const TagLib::Tag *tag = ref.tag()) {
        track.title = toQString(tag->title());
        track.artist = toQString(tag->artist());
        track.album = toQString(tag->album());
        track.genre = toQString(tag->genre());
        if (tag->track() > 0)
            track.trackNumber = int(tag->track());
        if (tag->year() > 0)
            track.releaseDate = QDateTime(QDate(int(tag->year()), 1, 1), QTime(0, 0), Qt::UTC);
    }
    const TagLib::PropertyMap properties = ref.file()->properties();
    track.albumArtist = firstProperty(properties, "ALBUMARTIST");
    track.discNumber = parseLeadingNumber(firstProperty(properties, "DISCNUMBER"));
    // A full date is better than the year alone.
    if (const auto date = parseReleaseDate(firstProperty(properties, "DATE")))
        track.releaseDate = date;
    if (track.title.isEmpty())
        track.title = info.completeBaseName();

    track.artworkPath = artwork.extractEmbedded(*ref.file());
    if (track.artworkPath.isEmpty())
        track.artworkPath = artwork.coverBeside(info.absolutePath());
    return track;
}

} // namespace TrackReader

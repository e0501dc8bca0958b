#include "Platform/LocalLibrary/PlaylistFileReader.h"

#include "Support/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>
#include <QUrl>

namespace PlaylistFileReader {

namespace {

// M3U8 is UTF-8 by definition; an old .m3u may be Latin-1. Invalid UTF-8 falls back to Latin-1.
QString decode(QByteArray contents)
{
    if (contents.startsWith("\xEF\xBB\xBF"))
        contents.remove(0, 3);
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(contents);
    if (utf8.hasError())
        text = QString::fromLatin1(contents);
    return text;
}

// The absolute path of one entry line, or empty for an entry that is not a local file.
QString entryPath(QString entry, const QString &directory)
{
    if (entry.startsWith(QStringLiteral("file:"), Qt::CaseInsensitive))
        return QDir::cleanPath(QUrl(entry).toLocalFile());
    if (entry.contains(QStringLiteral("://")))
        return {};
    if (!QFileInfo::exists(QDir(directory).absoluteFilePath(entry)) && entry.contains(u'\\'))
        entry.replace(u'\\', u'/'); // written on Windows
    return QDir::cleanPath(QDir(directory).absoluteFilePath(entry));
}

} // namespace

bool isPlaylistFile(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("m3u") || suffix == QLatin1String("m3u8");
}

ScannedPlaylist parse(const QByteArray &contents, const QString &directory, const QString &displayPath)
{
    ScannedPlaylist playlist;
    playlist.name = QFileInfo(displayPath).completeBaseName();
    const QStringList lines = decode(contents).split(u'\n');
    for (const QString &rawLine : lines) {
        const QString line = rawLine.trimmed();
        if (line.isEmpty())
            continue;
        if (line.startsWith(u'#')) {
            if (line.startsWith(QStringLiteral("#PLAYLIST:")) && !line.mid(10).trimmed().isEmpty())
                playlist.name = line.mid(10).trimmed();
            continue;
        }
        const QString path = entryPath(line, directory);
        if (path.isEmpty()) {
            Log::notice(Log::collection(), "Playlist %@: skipping %@, not a local file", displayPath, line);
            continue;
        }
        if (!QFileInfo(path).isFile()) {
            Log::notice(Log::collection(), "Playlist %@: skipping missing file %@", displayPath, line);
            continue;
        }
        playlist.trackPaths.append(path);
    }
    return playlist;
}

std::optional<ScannedPlaylist> read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        Log::notice(Log::collection(), "Skipping playlist %@: %@", path, file.errorString());
        return std::nullopt;
    }
    const QFileInfo info(path);
    ScannedPlaylist playlist = parse(file.readAll(), info.absolutePath(), path);
    playlist.path = QDir::cleanPath(info.absoluteFilePath());
    playlist.modified = info.lastModified().toUTC();
    return playlist;
}

} // namespace PlaylistFileReader

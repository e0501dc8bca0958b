#include "Platform/LocalLibrary/PlaylistFileReader.h"

#include "Platform/LocalLibrary/FolderWalk.h"
#include "Support/Log.h"

#include <QFile>
#include <QFileInfo>
#include <QStringDecoder>

#include <QTimeZone>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace PlaylistFileReader {

namespace {

// M3U8 is UTF-8 by definition; an old .m3u may be Latin-1. Invalid UTF-8 falls back to Latin-1.
QString decode(const QByteArray &bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (utf8.hasError())
        text = QString::fromLatin1(bytes);
    return text;
}

bool isRegularFile(const QByteArray &path)
{
    struct stat info {};
    return ::stat(path.constData(), &info) == 0 && S_ISREG(info.st_mode);
}

// "." and ".." resolved and repeated slashes folded, on bytes: the name stays as the file system
// has it.
QByteArray cleanPath(const QByteArray &path)
{
    QList<QByteArray> parts;
    for (const QByteArray &part : path.split('/')) {
        if (part.isEmpty() || part == ".")
            continue;
        if (part == "..") {
            if (!parts.isEmpty())
                parts.removeLast();
            continue;
        }
        parts.append(part);
    }
    return '/' + parts.join('/');
}

// The same name in the other encoding: Latin-1 bytes as UTF-8, or UTF-8 as Latin-1 when every
// character fits. Empty when there is no other form.
QByteArray otherEncoding(const QByteArray &path)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = utf8.decode(path);
    if (utf8.hasError())
        return QString::fromLatin1(path).toUtf8();
    for (const QChar c : text) {
        if (c.unicode() > 0xff)
            return {};
    }
    const QByteArray latin1 = text.toLatin1();
    return latin1 == path ? QByteArray() : latin1;
}

// The absolute name of one entry line, or empty for an entry that is not a local file.
QByteArray entryPath(const QByteArray &entry, const QByteArray &directory)
{
    if (entry.left(5).toLower() == "file:") {
        // file:///path or file://localhost/path; the path is percent-encoded bytes.
        QByteArray rest = entry.mid(5);
        if (rest.startsWith("//")) {
            rest = rest.mid(2);
            const qsizetype slash = rest.indexOf('/');
            if (slash < 0)
                return {};
            rest = rest.mid(slash);
        }
        return cleanPath(QByteArray::fromPercentEncoding(rest));
    }
    if (entry.contains("://"))
        return {};
    const auto absolute = [&directory](const QByteArray &name) {
        return cleanPath(name.startsWith('/') ? name : directory + '/' + name);
    };
    QByteArray path = absolute(entry);
    if (!isRegularFile(path) && entry.contains('\\')) {
        QByteArray windows = entry;
        windows.replace('\\', '/'); // written on Windows
        path = absolute(windows);
    }
    return path;
}

} // namespace

bool isPlaylistFile(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix == QLatin1String("m3u") || suffix == QLatin1String("m3u8");
}

ScannedPlaylist parse(const QByteArray &contents, const QByteArray &directory, const QString &displayPath)
{
    ScannedPlaylist playlist;
    playlist.name = QFileInfo(displayPath).completeBaseName();
    const QByteArray text = contents.startsWith("\xEF\xBB\xBF") ? contents.mid(3) : contents;
    for (const QByteArray &rawLine : text.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (line.isEmpty())
            continue;
        if (line.startsWith('#')) {
            if (line.startsWith("#PLAYLIST:") && !line.mid(10).trimmed().isEmpty())
                playlist.name = decode(line.mid(10).trimmed());
            continue;
        }
        QByteArray path = entryPath(line, directory);
        if (path.isEmpty()) {
            Log::notice(Log::collection(), "Playlist %@: skipping %@, not a local file", displayPath, decode(line));
            continue;
        }
        if (!isRegularFile(path)) {
            const QByteArray other = otherEncoding(path);
            if (other.isEmpty() || !isRegularFile(other)) {
                Log::notice(Log::collection(), "Playlist %@: skipping missing file %@", displayPath, decode(line));
                continue;
            }
            path = other;
        }
        playlist.trackPaths.append(path);
    }
    return playlist;
}

std::optional<ScannedPlaylist> read(const QByteArray &fileName)
{
    const QString displayPath = FolderWalk::displayName(fileName);
    // Opened by its bytes: a playlist whose own name is not UTF-8 is read too.
    const int descriptor = ::open(fileName.constData(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    QFile file;
    if (descriptor < 0 || ::fstat(descriptor, &info) != 0 ||
        !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        if (descriptor >= 0 && !file.isOpen())
            ::close(descriptor);
        Log::notice(Log::collection(), "Skipping playlist %@: %@", displayPath, QString::fromLocal8Bit(std::strerror(errno)));
        return std::nullopt;
    }
    const qsizetype slash = fileName.lastIndexOf('/');
    ScannedPlaylist playlist = parse(file.readAll(), slash <= 0 ? QByteArray("/") : fileName.left(slash), displayPath);
    playlist.path = displayPath;
    playlist.modified = QDateTime::fromMSecsSinceEpoch(qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000,
                                                       QTimeZone::utc());
    return playlist;
}

} // namespace PlaylistFileReader

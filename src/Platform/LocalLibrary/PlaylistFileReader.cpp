#include "Platform/LocalLibrary/PlaylistFileReader.h"

#include "Platform/LocalLibrary/FolderWalk.h"
#include "Platform/LocalLibrary/TagText.h"
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
    const QByteArrayView text = contents.startsWith("\xEF\xBB\xBF") ? QByteArrayView(contents).sliced(3) : QByteArrayView(contents);
    qsizetype longLines = 0;
    qsizetype skipped = 0;
    QString firstSkipped;
    // Line by line, without a copy of the whole text.
    for (qsizetype start = 0; start < text.size();) {
        qsizetype end = text.indexOf('\n', start);
        if (end < 0)
            end = text.size();
        const QByteArrayView rawLine = text.sliced(start, end - start);
        start = end + 1;
        if (rawLine.size() > maxLineLength) {
            ++longLines;
            continue;
        }
        const QByteArray line = rawLine.trimmed().toByteArray();
        if (line.isEmpty())
            continue;
        if (line.startsWith('#')) {
            if (line.startsWith("#PLAYLIST:") && !line.mid(10).trimmed().isEmpty())
                playlist.name = decode(line.mid(10).trimmed());
            continue;
        }
        QByteArray path = entryPath(line, directory);
        if (!path.isEmpty() && !isRegularFile(path)) {
            const QByteArray other = otherEncoding(path);
            path = !other.isEmpty() && isRegularFile(other) ? other : QByteArray();
        }
        if (path.isEmpty()) {
            if (skipped++ == 0)
                firstSkipped = decode(line);
            continue;
        }
        playlist.trackPaths.append(path);
    }
    if (longLines > 0)
        LUMEVAR_ERROR(Log::collection(), "Playlist %@: skipped %@ lines longer than %@ bytes", displayPath,
                      QString::number(longLines), QString::number(maxLineLength));
    if (skipped > 0)
        LUMEVAR_NOTICE(Log::collection(), "Playlist %@: skipped %@ entries that name no local file (the first: \"%@\")",
                       displayPath, QString::number(skipped), TagText::quoted(firstSkipped));
    return playlist;
}

std::optional<ScannedPlaylist> read(const QByteArray &fileName)
{
    const QString displayPath = FolderWalk::displayName(fileName);
    // Opened by its bytes: a playlist whose own name is not UTF-8 is read too.
    // Opened by its bytes: a playlist whose own name is not UTF-8 is read too. Without blocking,
    // should a pipe have taken its name since the listing.
    const int descriptor = ::open(fileName.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat info {};
    QFile file;
    if (descriptor < 0 || ::fstat(descriptor, &info) != 0 ||
        !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        const int failure = errno;
        if (descriptor >= 0 && !file.isOpen())
            ::close(descriptor);
        LUMEVAR_NOTICE(Log::collection(), "Skipping playlist %@: %@", displayPath, QString::fromLocal8Bit(std::strerror(failure)));
        return std::nullopt;
    }
    if (!S_ISREG(info.st_mode)) {
        LUMEVAR_NOTICE(Log::collection(), "Skipping playlist %@: it is not a file", displayPath);
        return std::nullopt;
    }
    // The size is checked on what is read too, as the file may grow meanwhile; the buffer is
    // sized by the file, not by the bound (which every small playlist would pay for).
    QByteArray contents;
    if (info.st_size <= maxFileSize) {
        contents.reserve(qsizetype(info.st_size) + 1);
        char buffer[64 * 1024];
        qint64 got = 0;
        while (contents.size() <= maxFileSize && (got = file.read(buffer, sizeof buffer)) > 0)
            contents.append(buffer, qsizetype(got));
    }
    if (info.st_size > maxFileSize || contents.size() > maxFileSize) {
        LUMEVAR_ERROR(Log::collection(), "Skipping playlist %@: it is larger than %@ MB", displayPath,
                      QString::number(maxFileSize / (1024 * 1024)));
        return std::nullopt;
    }
    const qsizetype slash = fileName.lastIndexOf('/');
    ScannedPlaylist playlist = parse(contents, slash <= 0 ? QByteArray("/") : fileName.left(slash), displayPath);
    playlist.path = displayPath;
    playlist.modified = QDateTime::fromMSecsSinceEpoch(qint64(info.st_mtim.tv_sec) * 1000 + info.st_mtim.tv_nsec / 1000000,
                                                       QTimeZone::utc());
    return playlist;
}

} // namespace PlaylistFileReader

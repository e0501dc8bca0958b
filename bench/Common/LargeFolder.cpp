#include "Common/LargeFolder.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace LargeFolder {

namespace {

// An ID3v2.4 tag with UTF-8 text frames.
QByteArray id3Tag(const QList<std::pair<const char *, QString>> &frames)
{
    const auto syncsafe = [](quint32 n) {
        QByteArray b(4, '\0');
        for (int i = 3; i >= 0; --i, n >>= 7)
            b[i] = char(n & 0x7f);
        return b;
    };
    QByteArray body;
    for (const auto &[id, value] : frames) {
        const QByteArray payload = '\x03' + value.toUtf8();
        body += QByteArray(id) + syncsafe(quint32(payload.size())) + QByteArray(2, '\0') + payload;
    }
    return QByteArray("ID3\x04\x00\x00", 6) + syncsafe(quint32(body.size())) + body;
}

} // namespace

int fileCount()
{
    const int count = qEnvironmentVariableIntValue("LUMEVAR_BENCH_FILES");
    return count > 0 ? count : 100000;
}

QByteArray silentMp3()
{
    QByteArray frame(417, '\0');
    frame[0] = char(0xFF);
    frame[1] = char(0xFB);
    frame[2] = char(0x90);
    frame[3] = char(0x64);
    return frame.repeated(20);
}

QByteArray file(int i)
{
    static const QByteArray audio = silentMp3();
    const int album = i / tracksPerAlbum;
    return id3Tag({{"TIT2", QStringLiteral("Sóng %1").arg(i)},
                   {"TPE1", QStringLiteral("Artíst %1").arg(album / albumsPerArtist)},
                   {"TALB", QStringLiteral("Álbum %1").arg(album)},
                   {"TRCK", QString::number(i % tracksPerAlbum + 1)}}) +
           audio;
}

QString path(const QString &root, int i)
{
    const int album = i / tracksPerAlbum;
    return QStringLiteral("%1/Artíst %2/Álbum %3/%4 Sóng %5.mp3").arg(root).arg(album / albumsPerArtist).arg(album).arg(i % tracksPerAlbum + 1, 2, 10, QLatin1Char('0')).arg(i);
}

void write(const QString &root, int count)
{
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < count; ++i) {
        const QString at = path(root, i);
        if (i % tracksPerAlbum == 0)
            QDir().mkpath(QFileInfo(at).absolutePath());
        QFile out(at);
        if (!out.open(QIODevice::WriteOnly) || out.write(file(i)) < 0)
            std::abort();
    }
    std::fprintf(stderr, "Wrote %d files to %s in %.1f s\n", count, qPrintable(root), double(timer.elapsed()) / 1000.0);
}

QString kept(int count)
{
    const QString root = qEnvironmentVariableIsSet("LUMEVAR_BENCH_LIBRARY")
                             ? qEnvironmentVariable("LUMEVAR_BENCH_LIBRARY")
                             : QStringLiteral("/var/tmp/lumevar-bench-library-%1").arg(count);
    const QString marker = root + QStringLiteral(".complete");
    if (QFileInfo::exists(marker))
        return root;
    QDir(root).removeRecursively();
    write(root, count);
    QFile done(marker);
    if (!done.open(QIODevice::WriteOnly))
        std::abort();
    return root;
}

} // namespace LargeFolder

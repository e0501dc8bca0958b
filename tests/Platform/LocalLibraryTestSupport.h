#pragma once
// Small real audio files for the local library tests, written with the demo library's encoders
// and TagLib, and a scan helper.

#include "DemoLibrary/DemoLibrary.h"
#include "Platform/LocalLibrary/FolderScanner.h"
#include "Platform/LocalLibrary/LibraryIndex.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace LocalLibraryTestSupport {

// Writes a tagged track of about a second (the format from the suffix) under folder.
inline void writeTrack(const QString &folder, const QString &relativePath, const DemoTags::Tags &tags,
                       const QByteArray &cover = {}, double seconds = 1.0)
{
    const QString path = QDir(folder).filePath(relativePath);
    QDir().mkpath(QFileInfo(path).absolutePath());
    QString error;
    ASSERT_TRUE(DemoLibrary::writeTrack(path, tags, quint32(qHash(relativePath)), seconds, cover, &error))
        << error.toStdString();
}

inline void writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

inline DemoTags::Tags tags(const QString &title, const QString &artist, const QString &album = {},
                           const QString &albumArtist = {}, const QString &genre = {}, int track = 0, int disc = 0,
                           const QString &date = {})
{
    DemoTags::Tags t;
    t.title = title;
    t.artist = artist;
    t.album = album;
    t.albumArtist = albumArtist;
    t.genre = genre;
    t.track = track;
    t.disc = disc;
    t.date = date;
    return t;
}

// The first song of the index with this title.
inline std::optional<Song> songTitled(const LibraryIndex &index, const QString &title)
{
    for (const Song &song : index.songs()) {
        if (song.title == title)
            return song;
    }
    return std::nullopt;
}

inline QByteArray cover(quint32 seed) { return DemoTags::drawCover(QStringLiteral("Cover"), QStringLiteral("Test"), Qt::red, Qt::blue, seed, 64); }

} // namespace LocalLibraryTestSupport

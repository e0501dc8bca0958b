#pragma once
// Finds the artwork of an audio file: its embedded front picture (ID3v2 APIC, FLAC and Xiph
// pictures, MP4 "covr"), or else a cover image beside it ("cover", "folder", "front", "album").
// Embedded pictures are written once into a cache folder, named by the hash of their bytes, so the
// artwork cache can read them as plain files. Used on the scan's worker thread only.

#include <QByteArray>
#include <QHash>
#include <QSet>
#include <QString>

namespace TagLib {
class File;
}

class ArtworkExtractor {
public:
    explicit ArtworkExtractor(QString cacheFolder);

    // The path of the cached copy of the file's embedded picture, or an empty string.
    QString extractEmbedded(TagLib::File &file);

    // The path of a cover image in the directory, or an empty string. Looked up once per directory.
    QString coverBeside(const QString &directory);

    // The bytes of the file's embedded picture, front cover preferred, or empty.
    static QByteArray embeddedPicture(TagLib::File &file);

private:
    QString store(const QByteArray &picture);

    QString m_cacheFolder;
    bool m_cacheFolderReady = false;
    QSet<QString> m_stored;
    QHash<QString, QString> m_coverByDirectory;
};

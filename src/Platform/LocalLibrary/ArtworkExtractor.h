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

    // The bytes of the file's embedded picture, front cover preferred, or empty. Pictures over
    // maxPictureSize are passed over; tooLarge, when given, is set when one was.
    static QByteArray embeddedPicture(TagLib::File &file, bool *tooLarge = nullptr);

    // No cover needs more; a larger picture is a damaged or hostile tag, and would be copied into
    // the cache and decoded for every thumbnail.
    static constexpr qsizetype maxPictureSize = 16 * 1024 * 1024;

private:
    QString store(const QByteArray &picture);

    QString m_cacheFolder;
    bool m_cacheFolderReady = false;
    QSet<QString> m_stored;
    QHash<QString, QString> m_coverByDirectory;
};

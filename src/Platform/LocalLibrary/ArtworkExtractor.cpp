#include "Platform/LocalLibrary/ArtworkExtractor.h"

#include "Platform/LocalLibrary/FolderWalk.h"
#include "Support/Log.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/oggflacfile.h>
#include <taglib/opusfile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

namespace {

// The picture chosen among a tag's: the front cover, else the first; pictures over the bound
// are passed over (and noted).
class Choice {
public:
    explicit Choice(bool *tooLarge) : m_tooLarge(tooLarge) {}
    // Whether the search is over (a front cover was taken).
    bool offer(const TagLib::ByteVector &bytes, bool front)
    {
        if (bytes.isEmpty())
            return false;
        if (qsizetype(bytes.size()) > ArtworkExtractor::maxPictureSize) {
            if (m_tooLarge)
                *m_tooLarge = true;
            return false;
        }
        if (front || m_picture.isEmpty())
            m_picture = QByteArray(bytes.data(), qsizetype(bytes.size()));
        return front;
    }
    QByteArray picture() const { return m_picture; }

private:
    bool *m_tooLarge;
    QByteArray m_picture;
};

void pictureFromID3v2(const TagLib::ID3v2::Tag *tag, Choice &choice)
{
    if (!tag)
        return;
    for (const TagLib::ID3v2::Frame *frame : tag->frameListMap()["APIC"]) {
        const auto *picture = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame *>(frame);
        if (picture && choice.offer(picture->picture(), picture->type() == TagLib::ID3v2::AttachedPictureFrame::FrontCover))
            return;
    }
}

void pictureFromList(const TagLib::List<TagLib::FLAC::Picture *> &pictures, Choice &choice)
{
    for (const TagLib::FLAC::Picture *picture : pictures) {
        if (picture && choice.offer(picture->data(), picture->type() == TagLib::FLAC::Picture::FrontCover))
            return;
    }
}

void pictureFromXiph(TagLib::Ogg::XiphComment *comment, Choice &choice)
{
    if (comment)
        pictureFromList(comment->pictureList(), choice);
}

void pictureFromMP4(const TagLib::MP4::Tag *tag, Choice &choice)
{
    if (!tag || !tag->contains("covr"))
        return;
    for (const TagLib::MP4::CoverArt &art : tag->item("covr").toCoverArtList()) {
        if (choice.offer(art.data(), true)) // the first picture there is
            return;
    }
}

// The file extension for picture bytes, from their signature.
QString imageExtension(const QByteArray &bytes)
{
    if (bytes.startsWith("\x89PNG"))
        return QStringLiteral("png");
    if (bytes.startsWith("\xFF\xD8"))
        return QStringLiteral("jpg");
    if (bytes.startsWith("GIF8"))
        return QStringLiteral("gif");
    if (bytes.startsWith("BM"))
        return QStringLiteral("bmp");
    if (bytes.startsWith("RIFF") && bytes.mid(8, 4) == "WEBP")
        return QStringLiteral("webp");
    return QStringLiteral("img");
}

} // namespace

ArtworkExtractor::ArtworkExtractor(QString cacheFolder) : m_cacheFolder(std::move(cacheFolder)) {}

QByteArray ArtworkExtractor::embeddedPicture(TagLib::File &file, bool *tooLarge)
{
    Choice choice(tooLarge);
    if (auto *mpeg = dynamic_cast<TagLib::MPEG::File *>(&file)) {
        if (mpeg->hasID3v2Tag())
            pictureFromID3v2(mpeg->ID3v2Tag(), choice);
    } else if (auto *flac = dynamic_cast<TagLib::FLAC::File *>(&file)) {
        pictureFromList(flac->pictureList(), choice);
        if (choice.picture().isEmpty() && flac->hasXiphComment())
            pictureFromXiph(flac->xiphComment(), choice);
    } else if (auto *vorbis = dynamic_cast<TagLib::Ogg::Vorbis::File *>(&file)) {
        pictureFromXiph(vorbis->tag(), choice);
    } else if (auto *opus = dynamic_cast<TagLib::Ogg::Opus::File *>(&file)) {
        pictureFromXiph(opus->tag(), choice);
    } else if (auto *oggFlac = dynamic_cast<TagLib::Ogg::FLAC::File *>(&file)) {
        pictureFromXiph(oggFlac->tag(), choice);
    } else if (auto *mp4 = dynamic_cast<TagLib::MP4::File *>(&file)) {
        pictureFromMP4(mp4->tag(), choice);
    } else if (auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(&file)) {
        if (wav->hasID3v2Tag())
            pictureFromID3v2(wav->ID3v2Tag(), choice);
    } else if (auto *aiff = dynamic_cast<TagLib::RIFF::AIFF::File *>(&file)) {
        if (aiff->hasID3v2Tag())
            pictureFromID3v2(aiff->tag(), choice);
    }
    return choice.picture();
}

QString ArtworkExtractor::extractEmbedded(TagLib::File &file)
{
    bool tooLarge = false;
    const QByteArray picture = embeddedPicture(file, &tooLarge);
    if (tooLarge)
        LUMEVAR_ERROR(Log::collection(), "%@: an embedded picture larger than %@ MB was passed over",
                      FolderWalk::displayName(QByteArray(file.name())), QString::number(maxPictureSize / (1024 * 1024)));
    return picture.isEmpty() ? QString() : store(picture);
}

QString ArtworkExtractor::store(const QByteArray &picture)
{
    const QString name = QString::fromLatin1(QCryptographicHash::hash(picture, QCryptographicHash::Sha256).toHex())
                         + u'.' + imageExtension(picture);
    const QString path = m_cacheFolder + u'/' + name;
    if (m_stored.contains(name))
        return path;
    if (QFileInfo::exists(path)) { // written by an earlier scan
        m_stored.insert(name);
        return path;
    }
    if (!m_cacheFolderReady) {
        if (!QDir().mkpath(m_cacheFolder)) {
            LUMEVAR_ERROR(Log::collection(), "Failed to create the artwork folder %@", m_cacheFolder);
            return {};
        }
        m_cacheFolderReady = true;
    }
    QSaveFile out(path);
    if (!out.open(QIODevice::WriteOnly) || out.write(picture) != picture.size() || !out.commit()) {
        LUMEVAR_ERROR(Log::collection(), "Failed to write artwork %@: %@", path, out.errorString());
        return {};
    }
    m_stored.insert(name);
    return path;
}

QString ArtworkExtractor::coverBeside(const QString &directory)
{
    const auto known = m_coverByDirectory.constFind(directory);
    if (known != m_coverByDirectory.constEnd())
        return *known;

    static const QStringList baseNames = {QStringLiteral("cover"), QStringLiteral("folder"),
                                          QStringLiteral("front"), QStringLiteral("album")};
    static const QStringList extensions = {QStringLiteral("jpg"), QStringLiteral("jpeg"), QStringLiteral("png"),
                                           QStringLiteral("webp"), QStringLiteral("gif"), QStringLiteral("bmp")};
    QString found;
    int bestRank = int(baseNames.size());
    const QStringList files = QDir(directory).entryList(QDir::Files | QDir::Readable, QDir::Name);
    for (const QString &file : files) {
        const QFileInfo info(file);
        const int rank = int(baseNames.indexOf(info.completeBaseName().toLower()));
        if (rank < 0 || rank >= bestRank || !extensions.contains(info.suffix().toLower()))
            continue;
        bestRank = rank;
        found = directory + u'/' + file;
    }
    m_coverByDirectory.insert(directory, found);
    return found;
}

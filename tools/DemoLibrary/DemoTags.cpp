#include "DemoLibrary/DemoTags.h"

#include <QBuffer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <algorithm>
#include <random>

#include <taglib/attachedpictureframe.h>
#include <taglib/fileref.h>
#include <taglib/flacfile.h>
#include <taglib/flacpicture.h>
#include <taglib/id3v2tag.h>
#include <taglib/infotag.h>
#include <taglib/mpegfile.h>
#include <taglib/tpropertymap.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

namespace DemoTags {

namespace {

TagLib::String toTagLib(const QString &text) { return TagLib::String(text.toStdString(), TagLib::String::UTF8); }

TagLib::ByteVector toBytes(const QByteArray &bytes) { return TagLib::ByteVector(bytes.constData(), unsigned(bytes.size())); }

TagLib::ID3v2::AttachedPictureFrame *apicFrame(const QByteArray &jpeg)
{
    auto *frame = new TagLib::ID3v2::AttachedPictureFrame;
    frame->setMimeType("image/jpeg");
    frame->setType(TagLib::ID3v2::AttachedPictureFrame::FrontCover);
    frame->setPicture(toBytes(jpeg));
    return frame;
}

TagLib::FLAC::Picture *flacPicture(const QByteArray &jpeg)
{
    auto *picture = new TagLib::FLAC::Picture;
    picture->setMimeType("image/jpeg");
    picture->setType(TagLib::FLAC::Picture::FrontCover);
    picture->setData(toBytes(jpeg));
    return picture;
}

void setText(TagLib::PropertyMap &map, const char *key, const QString &value)
{
    if (value.isEmpty())
        map.erase(key);
    else
        map.replace(key, TagLib::StringList(toTagLib(value)));
}

} // namespace

bool write(const QString &path, const Tags &tags, const QByteArray &coverJpeg, QString *error)
{
    const QByteArray encodedPath = QFile::encodeName(path);
    TagLib::FileRef ref(encodedPath.constData(), false);
    if (ref.isNull()) {
        if (error)
            *error = QStringLiteral("TagLib cannot open %1").arg(path);
        return false;
    }
    if (tags.riffInfoOnly) {
        auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(ref.file());
        if (!wav) {
            if (error)
                *error = QStringLiteral("%1 is not a WAV file").arg(path);
            return false;
        }
        TagLib::RIFF::Info::Tag *info = wav->InfoTag();
        info->setTitle(toTagLib(tags.title));
        info->setArtist(toTagLib(tags.artist));
        info->setAlbum(toTagLib(tags.album));
        info->setGenre(toTagLib(tags.genre));
        info->setTrack(unsigned(std::max(0, tags.track)));
        if (!wav->save(TagLib::RIFF::WAV::File::Info)) {
            if (error)
                *error = QStringLiteral("TagLib cannot save %1").arg(path);
            return false;
        }
        return true;
    }
    TagLib::PropertyMap map = ref.file()->properties();
    setText(map, "TITLE", tags.title);
    setText(map, "ARTIST", tags.artist);
    for (const QString &artist : tags.moreArtists)
        map["ARTIST"].append(toTagLib(artist));
    if (tags.compilation)
        setText(map, "COMPILATION", QStringLiteral("1"));
    setText(map, "ALBUM", tags.album);
    setText(map, "ALBUMARTIST", tags.albumArtist);
    setText(map, "GENRE", tags.genre);
    setText(map, "DATE", tags.date);
    setText(map, "TRACKNUMBER", !tags.trackText.isEmpty() ? tags.trackText : tags.track > 0 ? QString::number(tags.track) : QString());
    setText(map, "DISCNUMBER", tags.disc > 0 ? QString::number(tags.disc) : QString());
    ref.file()->setProperties(map);

    if (!coverJpeg.isEmpty()) {
        TagLib::File *file = ref.file();
        if (auto *mpeg = dynamic_cast<TagLib::MPEG::File *>(file)) {
            mpeg->ID3v2Tag(true)->addFrame(apicFrame(coverJpeg));
        } else if (auto *wav = dynamic_cast<TagLib::RIFF::WAV::File *>(file)) {
            wav->ID3v2Tag()->addFrame(apicFrame(coverJpeg));
        } else if (auto *flac = dynamic_cast<TagLib::FLAC::File *>(file)) {
            flac->addPicture(flacPicture(coverJpeg));
        } else if (auto *vorbis = dynamic_cast<TagLib::Ogg::Vorbis::File *>(file)) {
            vorbis->tag()->addPicture(flacPicture(coverJpeg));
        }
    }
    if (!ref.save()) {
        if (error)
            *error = QStringLiteral("TagLib cannot save %1").arg(path);
        return false;
    }
    return true;
}

QByteArray drawCover(const QString &title, const QString &subtitle, QColor from, QColor to, quint32 seed, int size)
{
    QImage image(size, size, QImage::Format_RGB32);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient gradient(0, 0, size, size);
    gradient.setColorAt(0, from);
    gradient.setColorAt(1, to);
    painter.fillRect(image.rect(), gradient);

    std::mt19937 random(seed);
    painter.setPen(Qt::NoPen);
    for (int i = 0; i < 7; ++i) {
        QColor color = i % 2 ? from.lighter(130 + int(random() % 40)) : to.darker(110 + int(random() % 40));
        color.setAlpha(90 + int(random() % 80));
        painter.setBrush(color);
        const int radius = size / 10 + int(random() % unsigned(size / 4));
        painter.drawEllipse(QPoint(int(random() % unsigned(size)), int(random() % unsigned(size))), radius, radius);
    }

    painter.setPen(Qt::white);
    QFont font = painter.font();
    font.setPixelSize(size / 11);
    font.setBold(true);
    painter.setFont(font);
    const QRect textArea(size / 14, size / 2, size - size / 7, size / 2 - size / 14);
    painter.drawText(textArea, Qt::AlignLeft | Qt::AlignBottom | Qt::TextWordWrap, title + u'\n');
    font.setPixelSize(size / 18);
    font.setBold(false);
    painter.setFont(font);
    painter.drawText(textArea, Qt::AlignLeft | Qt::AlignBottom | Qt::TextWordWrap, subtitle);
    painter.end();

    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPG", 85);
    return jpeg;
}

} // namespace DemoTags

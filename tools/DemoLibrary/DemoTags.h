#pragma once
// Real tags for the demo files, written with TagLib, and cover pictures drawn with QPainter.

#include <QByteArray>
#include <QColor>
#include <QString>
#include <QStringList>
#include <optional>

namespace DemoTags {

struct Tags {
    QString title;       // empty: no title tag
    QString artist;
    QString album;
    QString albumArtist;
    QString genre;
    QString date;        // "2019" or "2019-05-03"
    int track = 0;       // 0: none
    int disc = 0;        // 0: none
    // What taggers write beyond the plain fields, for the library tests:
    QStringList moreArtists; // further ARTIST values after artist (an ID3v2.4 list, repeated fields)
    bool compilation = false; // COMPILATION=1 (ID3v2 TCMP, Vorbis COMPILATION)
    QString trackText;        // the track number's text as written, instead of track
    bool riffInfoOnly = false; // WAV: title, artist, album, genre and track in RIFF INFO, no ID3v2 tag
};

// Writes the tags, and the picture as the front cover when given (ID3v2 APIC for MP3 and WAV,
// a FLAC picture block, a Xiph METADATA_BLOCK_PICTURE for Ogg). False with a message on failure.
bool write(const QString &path, const Tags &tags, const QByteArray &coverJpeg = {}, QString *error = nullptr);

// A square cover: a gradient in the two colours, a few circles placed by the seed, and the title.
// JPEG bytes. Text needs a QGuiApplication.
QByteArray drawCover(const QString &title, const QString &subtitle, QColor from, QColor to, quint32 seed, int size = 400);

} // namespace DemoTags

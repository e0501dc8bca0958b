#pragma once
// A large music folder for the benchmarks: small MP3s (twenty silent frames) whose ID3v2.4 tags
// are written by hand (TagLib would take minutes for 100,000), 12 tracks an album, 4 albums an
// artist, accented names: "<root>/Artíst A/Álbum B/NN Sóng I.mp3".

#include <QByteArray>
#include <QString>

namespace LargeFolder {

constexpr int tracksPerAlbum = 12;
constexpr int albumsPerArtist = 4;

// LUMEVAR_BENCH_FILES, or 100,000 when unset.
int fileCount();
// Twenty silent MPEG-1 Layer III frames at 128 kbit/s, 44.1 kHz: about half a second.
QByteArray silentMp3();
// The bytes and the path of file i.
QByteArray file(int i);
QString path(const QString &root, int i);
// Writes files 0 to count - 1 below root.
void write(const QString &root, int count);
// A folder of count files kept between runs in /var/tmp (or $LUMEVAR_BENCH_LIBRARY), written at
// the first use; a marker file beside it tells it is complete.
QString kept(int count);

} // namespace LargeFolder

// The playlist reader on arbitrary bytes, read from a file as the scan reads it. The scratch
// folder holds a few songs (one named in UTF-8, which a Latin-1 entry finds too) so entries can name real files.

#include "FuzzKit.h"

#include "Platform/LocalLibrary/PlaylistFileReader.h"

#include <QDir>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzKit::setUp();
    static const bool songsMade = [] {
        QDir(FuzzKit::scratch()).mkpath(QStringLiteral("Album"));
        FuzzKit::write(QStringLiteral("Album/01 One.mp3"), "x");
        FuzzKit::write(QStringLiteral("caf\u00e9.flac"), "x");
        return true;
    }();
    (void)songsMade;
    // The first byte picks the extension; both are read alike, but that is the reader's to decide.
    const bool utf8 = size > 0 && (data[0] & 1);
    const QByteArray file = FuzzKit::write(utf8 ? QStringLiteral("list.m3u8") : QStringLiteral("list.m3u"),
                                           FuzzKit::bytes(data, size));
    PlaylistFileReader::read(file);
    return 0;
}

// The track reader on arbitrary bytes: the first byte picks the file's extension among those the
// scanner reads (TagLib picks its parser by it) or, past them, the tag-text cleaning on the rest
// as text; the rest is the file. Embedded pictures are extracted into the scratch folder.

#include "FuzzKit.h"

#include "Platform/LocalLibrary/ArtworkExtractor.h"
#include "Platform/LocalLibrary/TagText.h"
#include "Platform/LocalLibrary/TrackReader.h"

#include <QFile>

#include <iterator>

namespace {

const char *const extensions[] = {"mp3", "flac", "ogg", "oga", "opus", "m4a", "m4b", "mp4",
                                  "aac", "wav", "aif", "aiff", "wv",  "ape", "mpc", "wma"};

void cleanText(const QByteArray &bytes)
{
    // As UTF-8 and as UTF-16 (unpaired surrogates, any code unit).
    const QString texts[] = {QString::fromUtf8(bytes),
                             QString(reinterpret_cast<const QChar *>(bytes.constData()), bytes.size() / 2)};
    for (const QString &text : texts) {
        TagText::clean(text);
        TagText::joinArtists(text.split(u'\n'));
        TrackReader::parseReleaseDate(text);
        TrackReader::parseLeadingNumber(text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    FuzzKit::setUp();
    const size_t choice = data[0] % (std::size(extensions) + 1);
    const QByteArray body = FuzzKit::bytes(data + 1, size - 1);
    if (choice == std::size(extensions)) {
        cleanText(body);
        return 0;
    }
    const QByteArray file = FuzzKit::write(QStringLiteral("track.") + QLatin1String(extensions[choice]), body);
    ArtworkExtractor artwork(FuzzKit::scratch() + QStringLiteral("/artwork"));
    TrackReader::read(file, artwork);
    FuzzKit::clear(QStringLiteral("artwork"));
    return 0;
}

#include "Common/BenchLibrary.h"

#include "Support/Error.h"

#include <QFile>
#include <QRandomGenerator>
#include <QStringList>
#include <QTimeZone>
#include <sys/resource.h>
#include <unistd.h>

using namespace BenchLibrary;

const QStringList BenchLibrary::words = {
    QStringLiteral("Love"), QStringLiteral("Night"), QStringLiteral("Summer"), QStringLiteral("Beach"), QStringLiteral("Dream"),
    QStringLiteral("Café"), QStringLiteral("Señorita"), QStringLiteral("Über"), QStringLiteral("Noël"), QStringLiteral("Fire"),
    QStringLiteral("Heart"), QStringLiteral("Blue"), QStringLiteral("River"), QStringLiteral("Montaña"), QStringLiteral("Żółć"),
    QStringLiteral("Électrique"), QStringLiteral("Stars"), QStringLiteral("Midnight"), QStringLiteral("City"), QStringLiteral("Road"),
    QStringLiteral("Shadow"), QStringLiteral("Light"), QStringLiteral("Golden"), QStringLiteral("Wild"), QStringLiteral("Ocean"),
    QStringLiteral("Rain"), QStringLiteral("Bunny"), QStringLiteral("Honey"), QStringLiteral("Moon"), QStringLiteral("Sun"),
    QStringLiteral("Forever"), QStringLiteral("Lonely"), QStringLiteral("Dance"), QStringLiteral("Ghost"), QStringLiteral("Paradise"),
    QStringLiteral("Garden"), QStringLiteral("Mirror"), QStringLiteral("Echo"), QStringLiteral("Silver"), QStringLiteral("Thunder"),
    QStringLiteral("Bella"), QStringLiteral("Corazón"), QStringLiteral("Straße"), QStringLiteral("Jardín"), QStringLiteral("Ville"),
    QStringLiteral("Beat"), QStringLiteral("Bear"), QStringLiteral("Beautiful"), QStringLiteral("Sky"), QStringLiteral("Train"),
};

namespace {

const QStringList genres = {QStringLiteral("Rock"), QStringLiteral("Pop"), QStringLiteral("Électronique"), QStringLiteral("Jazz"),
                            QStringLiteral("Hip-Hop"), QStringLiteral("Classical"), QStringLiteral("Folk"), QStringLiteral("R&B")};

QString phrase(QRandomGenerator &random, int minimum, int maximum)
{
    const int count = minimum + int(random.bounded(maximum - minimum + 1));
    QStringList parts;
    for (int i = 0; i < count; ++i)
        parts.append(words[int(random.bounded(qsizetype(words.size())))]);
    switch (random.bounded(6)) {
    case 0: parts.append(QString::number(random.bounded(1, 120))); break;
    case 1: parts.prepend(QStringLiteral("Track %1").arg(random.bounded(1, 30))); break;
    case 2: parts.append(QStringLiteral("(Remastered %1)").arg(random.bounded(1960, 2024))); break;
    default: break;
    }
    return parts.join(QLatin1Char(' '));
}

} // namespace

double processCPUms()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return (double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3) + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
}

double residentMB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? double(fields[1].toLongLong()) * double(getpagesize()) / 1e6 : 0;
}

// Artwork URLs point at a loopback port where nothing listens: every row asks the artwork cache,
// whose loads fail at once, and no request leaves the machine.
SyntheticService::SyntheticService()
{
    QRandomGenerator random(20261123);
    for (int i = 0; i < artistCount; ++i) {
        Artist artist;
        artist.id = MusicItemID(QStringLiteral("r.%1").arg(i));
        artist.name = i % 7 == 0 ? QStringLiteral("The ") + phrase(random, 1, 2) : phrase(random, 1, 2);
        artist.genreNames = {genres[i % genres.size()]};
        artist.artwork = Artwork(QStringLiteral("http://127.0.0.1:9/r%1/{w}x{h}.jpg").arg(i));
        library.artists.append(artist);
    }
    for (int i = 0; i < albumCount; ++i) {
        Album album;
        album.id = MusicItemID(QStringLiteral("a.%1").arg(i));
        album.title = phrase(random, 1, 3);
        album.artistName = library.artists[i % artistCount].name;
        album.genreNames = {genres[i % genres.size()]};
        if (i % 5)
            album.releaseDate = QDateTime::fromSecsSinceEpoch(qint64(random.bounded(2'000'000'000)), QTimeZone::utc());
        album.libraryAddedDate = QDateTime::fromSecsSinceEpoch(1'500'000'000 + i * 60, QTimeZone::utc());
        album.artwork = Artwork(QStringLiteral("http://127.0.0.1:9/a%1/{w}x{h}.jpg").arg(i));
        library.albums.append(album);
    }
    for (int i = 0; i < songCount; ++i) {
        const Album &album = library.albums[i % albumCount];
        Song song;
        song.id = MusicItemID(QStringLiteral("i.%1").arg(i));
        song.title = phrase(random, 1, 4);
        song.artistName = i % 50 == 0 ? std::nullopt : std::optional(library.artists[(i / albumCount + i) % artistCount].name);
        song.albumTitle = album.title;
        song.albumArtistName = album.artistName;
        if (i % 9)
            song.genreNames = {genres[i % genres.size()]};
        song.duration = 60 + random.bounded(600);
        song.releaseDate = album.releaseDate;
        song.libraryAddedDate = QDateTime::fromSecsSinceEpoch(1'500'000'000 + i * 30, QTimeZone::utc());
        song.trackNumber = i / albumCount + 1;
        song.discNumber = 1;
        song.artwork = album.artwork;
        song.playParameters = PlayParameters{song.id, QStringLiteral("song")};
        library.songs.append(song);
    }
    for (int i = 0; i < playlistCount; ++i) {
        Playlist playlist;
        playlist.id = MusicItemID(QStringLiteral("p.%1").arg(i));
        playlist.name = phrase(random, 1, 3) + (i % 3 ? QString() : QStringLiteral(" Mix %1").arg(i));
        playlist.libraryAddedDate = QDateTime::fromSecsSinceEpoch(1'600'000'000 + i * 3600, QTimeZone::utc());
        library.playlists.append(playlist);
        QList<Song> tracks;
        const int size = i == 0 ? bigPlaylistSize : (entryCount - bigPlaylistSize) / (playlistCount - 1);
        for (int j = 0; j < size; ++j)
            tracks.append(library.songs[int(random.bounded(songCount))]);
        playlistTracks.insert(playlist.id, tracks);
    }
}


#include "DemoLibrary/DemoLibrary.h"

#include "DemoLibrary/DemoAudio.h"
#include "Support/PoolJobs.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QFileInfo>

namespace DemoLibrary {

namespace {

enum class CoverPlace { embedded, beside, none };

struct AlbumSpec {
    QString artist;      // album artist
    QString title;
    QString genre;
    QString date;
    QString suffix;      // mp3, flac, ogg
    CoverPlace cover;
    QColor from, to;
    QStringList titles;
    QStringList trackArtists = {}; // per track, for a compilation; empty: the album artist
    int discSplit = 0;             // tracks from this index on are on disc 2; 0: one disc
};

struct SingleSpec {
    QString fileName;   // relative to "Singles"
    QString title;      // empty: no title tag
    QString artist;
    QString genre;
    QString date;
};

const QList<AlbumSpec> &albums()
{
    static const QList<AlbumSpec> list = {
        {QStringLiteral("Åsa Lindqvist"), QStringLiteral("Nordlicht"), QStringLiteral("Ambient"), QStringLiteral("2019"),
         QStringLiteral("mp3"), CoverPlace::embedded, QColor(0x1d, 0x3b, 0x6e), QColor(0x3f, 0xc1, 0x9a),
         {QStringLiteral("Polarnacht"), QStringLiteral("Fjällvind"), QStringLiteral("Über den Wolken"),
          QStringLiteral("Aurora No. 5"), QStringLiteral("Tusen sjöar")}},
        {QStringLiteral("Les Étoiles"), QStringLiteral("Café Noir"), QStringLiteral("Jazz"), QStringLiteral("2016-04-22"),
         QStringLiteral("flac"), CoverPlace::beside, QColor(0x2b, 0x1a, 0x12), QColor(0xc8, 0x8a, 0x3c),
         {QStringLiteral("Crème brûlée"), QStringLiteral("Rue de l'Été"), QStringLiteral("Minuit à Montréal"),
          QStringLiteral("Valse nº 7"), QStringLiteral("Déjà vu")}},
        {QStringLiteral("The Midnight Drivers"), QStringLiteral("Route 66 Revisited"), QStringLiteral("Rock"),
         QStringLiteral("2021"), QStringLiteral("ogg"), CoverPlace::embedded, QColor(0x6e, 0x0f, 0x1a), QColor(0xf2, 0x9e, 0x3d),
         {QStringLiteral("Highway 9"), QStringLiteral("Neon Diner"), QStringLiteral("24 Hours to Tulsa"),
          QStringLiteral("Rear-View Mirror"), QStringLiteral("Last Exit (Live)")}},
        {QStringLiteral("Mariana Quiroga"), QStringLiteral("Señales"), QStringLiteral("Latin"), QStringLiteral("2018-09-14"),
         QStringLiteral("mp3"), CoverPlace::beside, QColor(0xe0, 0x4e, 0x39), QColor(0xf7, 0xd3, 0x5c),
         {QStringLiteral("Canción del Mañana"), QStringLiteral("Corazón de Papel"), QStringLiteral("Año 2000"),
          QStringLiteral("Niña de Sevilla")}},
        {QStringLiteral("Kōji Tanaka"), QStringLiteral("Electric Dreams Vol. 2"), QStringLiteral("Electronic"),
         QStringLiteral("2022-11-04"), QStringLiteral("flac"), CoverPlace::embedded, QColor(0x14, 0x0f, 0x3a), QColor(0xd9, 0x3f, 0xd1),
         {QStringLiteral("Shinjuku 3AM"), QStringLiteral("Pixel Rain"), QStringLiteral("1985"),
          QStringLiteral("Kyōto Express"), QStringLiteral("Synth Garden")},
         {}, 3},
        {QStringLiteral("Various Artists"), QStringLiteral("Summer Compilation 2023"), QStringLiteral("Pop"),
         QStringLiteral("2023"), QStringLiteral("ogg"), CoverPlace::beside, QColor(0x10, 0x8a, 0xc4), QColor(0xff, 0xc8, 0x57),
         {QStringLiteral("Sunburn"), QStringLiteral("Piña Colada Nights"), QStringLiteral("Beach Radio"),
          QStringLiteral("Two Hearts, One Summer"), QStringLiteral("Golden Hour")},
         {QStringLiteral("Mariana Quiroga"), QStringLiteral("Zoë & the Waves"), QStringLiteral("The Midnight Drivers"),
          QStringLiteral("Zoë & the Waves"), QStringLiteral("Kōji Tanaka")}},
        {QStringLiteral("Åsa Lindqvist"), QStringLiteral("Études"), QStringLiteral("Classical"), QStringLiteral("2020-02-29"),
         QStringLiteral("mp3"), CoverPlace::none, QColor(), QColor(),
         {QStringLiteral("Étude in A minor"), QStringLiteral("Étude No. 2"), QStringLiteral("Nocturne für Anna"),
          QStringLiteral("Prélude")}},
        {QStringLiteral("Zoë & the Waves"), QStringLiteral("Tidal"), QStringLiteral("Pop"), QStringLiteral("2024-06-21"),
         QStringLiteral("flac"), CoverPlace::embedded, QColor(0x05, 0x4f, 0x5e), QColor(0x9f, 0xe8, 0xe1),
         {QStringLiteral("Undertow"), QStringLiteral("Salt & Sugar"), QStringLiteral("Lighthouse 17")}},
    };
    return list;
}

const QList<SingleSpec> &singles()
{
    static const QList<SingleSpec> list = {
        {QStringLiteral("Untitled Sketch 4.mp3"), QString(), QStringLiteral("Mariana Quiroga"), QStringLiteral("Latin"), QStringLiteral("2025")},
        {QStringLiteral("Morning Loop.ogg"), QStringLiteral("Morning Loop"), QStringLiteral("Kōji Tanaka"),
         QStringLiteral("Electronic"), QStringLiteral("2025-03-01")},
    };
    return list;
}

// A name that is safe as one path component.
QString fileSafe(QString name)
{
    for (QChar &c : name) {
        if (c == u'/' || c == u'\\' || c == u':' || c == u'?' || c == u'*' || c == u'"')
            c = u'_';
    }
    return name;
}

bool writeText(const QString &path, const QString &text, QString *error)
{
    QSaveFile file(path);
    const QByteArray bytes = text.toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        if (error)
            *error = QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
        return false;
    }
    return true;
}

// Fixed modification times, a few days apart per album, so "date added" differs and stays the same
// on every run.
void setAddedDate(const QString &path, int daysAfterStart)
{
    const QDateTime start(QDate(2025, 6, 1), QTime(12, 0), Qt::UTC);
    QFile file(path);
    if (file.open(QIODevice::ReadWrite))
        file.setFileTime(start.addDays(daysAfterStart), QFileDevice::FileModificationTime);
}

struct TrackJob {
    QString path;
    DemoTags::Tags tags;
    quint32 seed;
    double seconds;
    QByteArray cover;
    int addedDay;
};

struct WrittenTrack {
    QString relativePath;
    QString title;
    QString artist;
    double seconds;
};

QString extinf(const WrittenTrack &track)
{
    return QStringLiteral("#EXTINF:%1,%2 - %3\n").arg(int(track.seconds)).arg(track.artist, track.title);
}

} // namespace

bool writeTrack(const QString &path, const DemoTags::Tags &tags, quint32 seed, double seconds,
                const QByteArray &coverJpeg, QString *error)
{
    const DemoAudio::Pcm pcm = DemoAudio::synthesize(seed, seconds);
    return DemoAudio::write(path, pcm, error) && DemoTags::write(path, tags, coverJpeg, error);
}

bool generate(const QString &folder, Summary *summary, QString *error, const std::function<void(const QString &)> &progress)
{
    QDir root(folder);
    if (!root.mkpath(QStringLiteral("."))) {
        if (error)
            *error = QStringLiteral("Cannot create %1").arg(folder);
        return false;
    }
    root.setPath(root.absolutePath());
    QFile::remove(root.filePath(QString::fromLatin1(completeMarker)));

    Summary done;
    QList<WrittenTrack> written;
    QList<TrackJob> jobs;
    quint32 seed = 1;
    int albumIndex = 0;
    for (const AlbumSpec &album : albums()) {
        const QString directory = fileSafe(album.artist) + u'/' + fileSafe(album.title);
        if (!root.mkpath(directory)) {
            if (error)
                *error = QStringLiteral("Cannot create %1").arg(root.filePath(directory));
            return false;
        }
        QByteArray cover;
        if (album.cover != CoverPlace::none)
            cover = DemoTags::drawCover(album.title, album.artist, album.from, album.to, seed * 7919u);
        if (album.cover == CoverPlace::beside) {
            QSaveFile file(root.filePath(directory + QStringLiteral("/cover.jpg")));
            if (!file.open(QIODevice::WriteOnly) || file.write(cover) != cover.size() || !file.commit()) {
                if (error)
                    *error = QStringLiteral("Cannot write %1: %2").arg(file.fileName(), file.errorString());
                return false;
            }
        }
        for (qsizetype i = 0; i < album.titles.size(); ++i, ++seed) {
            const bool secondDisc = album.discSplit > 0 && i >= album.discSplit;
            DemoTags::Tags tags;
            tags.title = album.titles[i];
            tags.artist = album.trackArtists.isEmpty() ? album.artist : album.trackArtists[i];
            tags.album = album.title;
            tags.albumArtist = album.artist;
            tags.genre = album.genre;
            tags.date = album.date;
            tags.track = int(secondDisc ? i - album.discSplit + 1 : i + 1);
            tags.disc = album.discSplit > 0 ? (secondDisc ? 2 : 1) : 0;
            const double seconds = 10 + (seed * 37 % 11);
            const QString relative = directory + u'/'
                                     + (tags.disc ? QString::number(tags.disc) + u'-' : QString())
                                     + QStringLiteral("%1 %2.%3").arg(tags.track, 2, 10, QLatin1Char('0')).arg(fileSafe(tags.title), album.suffix);
            jobs.append({root.filePath(relative), tags, seed, seconds,
                         album.cover == CoverPlace::embedded ? cover : QByteArray(), albumIndex * 9 + int(i)});
            written.append({relative, tags.title, tags.artist, seconds});
        }
        ++done.albums;
        ++albumIndex;
    }
    root.mkpath(QStringLiteral("Singles"));
    for (const SingleSpec &single : singles()) {
        const QString relative = QStringLiteral("Singles/") + single.fileName;
        const QString path = root.filePath(relative);
        DemoTags::Tags tags;
        tags.title = single.title;
        tags.artist = single.artist;
        tags.genre = single.genre;
        tags.date = single.date;
        const double seconds = 10 + (seed * 37 % 11);
        jobs.append({path, tags, seed++, seconds, {}, 120 + int(jobs.size())});
        written.append({relative, single.title.isEmpty() ? QFileInfo(path).completeBaseName() : single.title, single.artist, seconds});
    }

    // Encoding is most of the work: one track per core.
    QList<QString> failures(jobs.size());
    QString *failure = failures.data();
    forEachOnPool(*QThreadPool::globalInstance(), jobs.size(), [&](qsizetype i) {
        const TrackJob &job = std::as_const(jobs)[i];
        if (writeTrack(job.path, job.tags, job.seed, job.seconds, job.cover, &failure[i]))
            setAddedDate(job.path, job.addedDay);
    });
    for (qsizetype i = 0; i < jobs.size(); ++i) {
        if (!failures[i].isEmpty()) {
            if (error)
                *error = failures[i];
            return false;
        }
        ++done.tracks;
        if (progress)
            progress(jobs[i].path);
    }

    // Playlists: one beside the music with plain relative paths, one in a subfolder reaching up
    // with "../", and one with an absolute path among relative ones.
    const auto pick = [&written](std::initializer_list<int> indexes) {
        QList<WrittenTrack> tracks;
        for (int i : indexes)
            tracks.append(written[i]);
        return tracks;
    };
    QString roadTrip = QStringLiteral("#EXTM3U\n");
    for (const WrittenTrack &track : pick({10, 11, 12, 21, 13, 26, 14}))
        roadTrip += extinf(track) + track.relativePath + u'\n';
    QString evening = QStringLiteral("#EXTM3U\n#PLAYLIST:Evening Calm\n");
    for (const WrittenTrack &track : pick({0, 2, 29, 5, 8, 30, 4}))
        evening += extinf(track) + QStringLiteral("../") + track.relativePath + u'\n';
    QString favourites = QStringLiteral("#EXTM3U\n");
    const QList<WrittenTrack> favouriteTracks = pick({24, 1, 17, 33, 19, 6, 35});
    for (qsizetype i = 0; i < favouriteTracks.size(); ++i) {
        const WrittenTrack &track = favouriteTracks[i];
        favourites += extinf(track) + (i == 2 ? root.filePath(track.relativePath) : track.relativePath) + u'\n';
    }
    root.mkpath(QStringLiteral("Playlists"));
    const QList<std::pair<QString, QString>> playlists = {
        {QStringLiteral("Road Trip.m3u"), roadTrip},
        {QStringLiteral("Playlists/Evening Calm.m3u8"), evening},
        {QStringLiteral("Favourites ★ 2025.m3u8"), favourites},
    };
    for (const auto &[name, text] : playlists) {
        if (!writeText(root.filePath(name), text, error))
            return false;
        setAddedDate(root.filePath(name), 130 + done.playlists);
        ++done.playlists;
        if (progress)
            progress(root.filePath(name));
    }

    if (!writeText(root.filePath(QString::fromLatin1(completeMarker)), QStringLiteral("%1 tracks\n").arg(done.tracks), error))
        return false;
    if (summary)
        *summary = done;
    return true;
}

} // namespace DemoLibrary

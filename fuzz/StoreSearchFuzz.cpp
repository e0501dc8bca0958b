// Arbitrary user text into the store's search: the first byte picks whether the rest is read as
// UTF-8 or as UTF-16 (any code unit, unpaired surrogates too). The store holds a few songs,
// albums, artists and playlists in several scripts, written once per process.

#include "FuzzKit.h"

#include "LumevarCore/LocalDatabase.h"
#include "TestKit/AsyncTest.h"

namespace {

Song song(int n, const QString &title, const QString &artist, const QString &album)
{
    Song made;
    made.id = MusicItemID(QStringLiteral("s%1").arg(n));
    made.title = title;
    made.artistName = artist;
    made.albumTitle = album;
    made.genreNames = {QStringLiteral("Jazz")};
    made.duration = 100 + n;
    made.playParameters = PlayParameters{made.id, QStringLiteral("song")};
    return made;
}

LocalDatabase &store()
{
    static LocalDatabase *database = [] {
        auto *made = new LocalDatabase(FuzzKit::scratch() + QStringLiteral("/search.db")); // for the process
        runTask(made->open());
        const QList<Song> songs = {
            song(1, QStringLiteral("Blue in Green"), QStringLiteral("Miles Davis"), QStringLiteral("Kind of Blue")),
            song(2, QStringLiteral("Café Müller"), QStringLiteral("Ästhetik & Co"), QStringLiteral("Ｆｕｌｌ Ｗｉｄｔｈ")),
            song(3, QStringLiteral("東京の夜"), QStringLiteral("山田"), QStringLiteral("夜")),
            song(4, QStringLiteral("Σ (sigma) \"quoted\" OR NEAR*"), QStringLiteral("-^:"), QStringLiteral("a b c")),
            song(5, QStringLiteral("\u05e9\u05dc\u05d5\u05dd 1 2 3"), QStringLiteral("x"), QStringLiteral("y")),
        };
        const qint64 generation = runTask(made->beginSync(LocalDatabase::LibraryKind::songs));
        runTask(made->storeLibrarySongs(songs, generation, 0));
        runTask(made->finishSync(LocalDatabase::LibraryKind::songs, generation));
        Album album;
        album.id = MusicItemID(QStringLiteral("a1"));
        album.title = QStringLiteral("Kind of Blue");
        album.artistName = QStringLiteral("Miles Davis");
        const qint64 albums = runTask(made->beginSync(LocalDatabase::LibraryKind::albums));
        runTask(made->storeAlbums({album}, albums));
        runTask(made->finishSync(LocalDatabase::LibraryKind::albums, albums));
        Artist artist;
        artist.id = MusicItemID(QStringLiteral("r1"));
        artist.name = QStringLiteral("Miles Davis");
        const qint64 artists = runTask(made->beginSync(LocalDatabase::LibraryKind::artists));
        runTask(made->storeArtists({artist}, artists));
        runTask(made->finishSync(LocalDatabase::LibraryKind::artists, artists));
        Playlist playlist;
        playlist.id = MusicItemID(QStringLiteral("p1"));
        playlist.name = QStringLiteral("Late Night « Jazz »");
        const qint64 playlists = runTask(made->beginSync(LocalDatabase::LibraryKind::playlists));
        runTask(made->storePlaylists({playlist}, playlists));
        runTask(made->finishSync(LocalDatabase::LibraryKind::playlists, playlists));
        return made;
    }();
    return *database;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    FuzzKit::setUp();
    const QByteArray body = FuzzKit::bytes(data + 1, size - 1);
    const QString text = (data[0] & 1) ? QString(reinterpret_cast<const QChar *>(body.constData()), body.size() / 2)
                                       : QString::fromUtf8(body);
    runTask(store().search(text));
    return 0;
}

#pragma once
// An in-memory music service for tests. Fill its public collections, then hand it to the code
// under test (or install it with MusicService::setShared). Every operation counts its calls, can be
// made to fail (once, a few times or always), and can be made to take virtual time (latency, on
// Clock::shared()), so that callers can be tested while a request is in flight.

#include "Platform/Music/MusicService.h"

#include <QHash>
#include <QSet>
#include <exception>

class FakeMusicService : public MusicService {
public:
    enum class Operation {
        requestAuthorization,
        libraryPlaylists,
        libraryAlbums,
        libraryArtists,
        librarySongs,
        librarySongsAdded,
        playlistTracks,
        albumTracks,
        artistTracks,
        personalRecommendations,
        stationSongs,
        searchCatalog,
        catalogArtistWithTopSongs,
        addToLibrary,
        playableURL,
        readLibraryAgain,
    };

    // Handy item makers: play parameters and artwork filled in, ids used verbatim.
    static Song song(const QString &id, const QString &title = {}, const QString &artist = QStringLiteral("Artist"),
                     double duration = 180);
    static QList<Song> songs(int count, const QString &prefix = QStringLiteral("s"), double duration = 180);
    static Album album(const QString &id, const QString &title = {}, const QString &artist = QStringLiteral("Artist"));
    static Playlist playlist(const QString &id, const QString &name = {});
    static Artist artist(const QString &id, const QString &name = {});
    static Station station(const QString &id, const QString &name = {});
    // The URL playableURL() answers for a song id unless urls holds another.
    static QUrl defaultURL(const MusicItemID &id);

    // Authorization: the current status, and the one requestAuthorization() moves to.
    MusicAuthorizationStatus status = MusicAuthorizationStatus::authorized;
    MusicAuthorizationStatus statusAfterRequest = MusicAuthorizationStatus::authorized;
    // What displayName() and catalogLabel() answer (an empty word: the default one).
    QString name = QStringLiteral("Fake Music");
    QString catalogWord;
    // What unavailableReason() and libraryRevision() answer.
    QString reason;
    std::optional<QString> revision;

    // The library, in the order the pages hand it out.
    struct Library {
        QList<Playlist> playlists;
        QList<Album> albums;
        QList<Artist> artists;
        QList<Song> songs;
    } library;

    // Tracks by collection id. An album or artist missing here but listed in the library holds
    // the library songs filed under it (see tracks()); any other id missing here is "not found".
    QHash<MusicItemID, QList<Song>> playlistTracks;
    QHash<MusicItemID, QList<Song>> albumTracks;
    QHash<MusicItemID, QList<Song>> artistTracks;

    QList<MusicPersonalRecommendation> recommendations;

    // A station's songs, handed out in a cycle that never ends. A station missing here is "not found".
    QHash<MusicItemID, QList<Song>> stationPools;

    // The catalog: search matches the term in titles and names, case-insensitively.
    CatalogSearchResponse catalog;
    // Artists answered by catalogArtistWithTopSongs (with or without top songs).
    QHash<MusicItemID, Artist> catalogArtists;

    // Playable URLs by song id; ids in unplayable throw MusicError::unplayable.
    QHash<MusicItemID, QUrl> urls;
    QSet<MusicItemID> unplayable;

    // Answered by hasPublicSongPages(): a catalog's songs have public pages.
    bool publicSongPages = true;

    // Virtual seconds every call waits on Clock::shared() before answering (0: answers at once).
    double latency = 0;

    // Makes the next `times` calls of op throw error (times < 0: every call until cleared).
    template <typename E>
    void fail(Operation op, const E &error, int times = 1)
    {
        m_failures[op] = Failure{std::make_exception_ptr(error), times};
    }
    void clearFailure(Operation op) { m_failures.remove(op); }

    int callCount(Operation op) const { return m_calls.value(op); }
    void resetCallCounts() { m_calls.clear(); }
    // The songs added to the library, in order.
    QList<MusicItemID> addedToLibrary;

    MusicAuthorizationStatus authorizationStatus() const override { return status; }
    QCoro::Task<MusicAuthorizationStatus> requestAuthorization() override;
    QString unavailableReason() const override { return reason; }
    QString displayName() const override { return name; }
    QString catalogLabel() const override { return catalogWord.isEmpty() ? MusicService::catalogLabel() : catalogWord; }
    QCoro::Task<void> readLibraryAgain() override;
    QCoro::Task<std::optional<QString>> libraryRevision() override
    {
        std::optional<QString> answer = revision; // co_return of a member would move from it
        co_return answer;
    }

    QCoro::Task<LibraryPage<Playlist>> libraryPlaylists(int offset, int limit) override;
    QCoro::Task<LibraryPage<Album>> libraryAlbums(int offset, int limit) override;
    QCoro::Task<LibraryPage<Artist>> libraryArtists(int offset, int limit) override;
    QCoro::Task<LibraryPage<Song>> librarySongs(int offset, int limit) override;
    QCoro::Task<QList<Song>> librarySongsAdded(QDateTime since) override;

    QCoro::Task<QList<Song>> tracks(Playlist playlist) override;
    QCoro::Task<QList<Song>> tracks(Album album) override;
    QCoro::Task<QList<Song>> tracks(Artist artist) override;

    QCoro::Task<QList<MusicPersonalRecommendation>> personalRecommendations() override;
    QCoro::Task<QList<Song>> stationSongs(Station station, int count) override;

    QCoro::Task<CatalogSearchResponse> searchCatalog(QString term, int limit) override;
    QCoro::Task<Artist> catalogArtistWithTopSongs(MusicItemID artistID) override;
    bool hasPublicSongPages() const override { return publicSongPages; }
    QCoro::Task<void> addToLibrary(MusicItemID songID) override;
    QCoro::Task<QUrl> playableURL(PlayParameters parameters) override;

private:
    struct Failure {
        std::exception_ptr error;
        int remaining;
    };
    // Counts the call, waits the latency, and throws an armed failure.
    QCoro::Task<void> enter(Operation op);
    template <typename T>
    LibraryPage<T> page(const QList<T> &all, int offset, int limit);

    QHash<Operation, int> m_calls;
    QHash<Operation, Failure> m_failures;
    QHash<MusicItemID, int> m_stationCursors;
};

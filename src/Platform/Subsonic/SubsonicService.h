#pragma once
// The music service of a Subsonic-API server (Navidrome, Airsonic, Gonic, Supysonic, …): the
// user's library on the server, its search as the catalog, album lists and genre stations as
// recommendations, its stream as what the audio engine plays.
//
// The library is listed once per sync and served in pages from that listing: playlists and
// artists in one request each, albums through getAlbumList2 in pages, songs through the
// OpenSubsonic empty-query search3 in pages where the server offers it, else album by album
// (getAlbum, several at once). A sync asks for every list at its start (beginLibraryListing), so
// they are fetched while the store writes the first ones; big answers are decoded and made into
// items on a worker thread, song lists straight from their text (SubsonicSongList). Songs are listed in the background and each page is handed out as
// soon as its songs are in, so the store writes while later albums are fetched; every playlist's
// songs are fetched as soon as the playlists are listed, several at once. A listing is kept while a
// sync uses it and two minutes after (so that one sync's lists come from the same moment, however
// long it takes), then dropped with what it holds; Update Library drops it at once. While the server cannot be reached
// it is asked again every minute; when it answers, the library is announced as changed, so the
// sync that failed runs again.

#include "Platform/Music/MusicService.h"
#include "Platform/Subsonic/SubsonicClient.h"

#include <QHash>
#include <QTimer>
#include <functional>
#include <memory>

class ScheduledCall;

namespace SubsonicSongList {
struct Listed;
}

class SubsonicService : public MusicService {
    Q_OBJECT

public:
    // Reads the account's password when none was given (the keyring); throws MusicError with the
    // reason when there is none to be had.
    using PasswordSource = std::function<QCoro::Task<QString>(SubsonicAccount)>;

    explicit SubsonicService(SubsonicAccount account, PasswordSource passwordSource = {}, QObject *parent = nullptr);
    ~SubsonicService() override;

    SubsonicClient &client() { return *m_client; }
    // A password the user just gave for this account: the next request signs in with it.
    void setPassword(const QString &password);
    // Songs per request of the OpenSubsonic listing, albums per getAlbumList2 page.
    static constexpr int songPageSize = 500;
    static constexpr int albumPageSize = 500;

    MusicAuthorizationStatus authorizationStatus() const override { return m_status; }
    QCoro::Task<MusicAuthorizationStatus> requestAuthorization() override;
    QString unavailableReason() const override { return m_unavailableReason; }
    // The server as the user named it: its host.
    QString displayName() const override;
    QString playFailureAdvice() const override { return playFailureText(); }

    QCoro::Task<std::optional<QString>> libraryRevision() override;
    void beginLibraryListing() override;
    QCoro::Task<void> readLibraryAgain() override;

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
    QCoro::Task<void> addToLibrary(MusicItemID songID) override;
    // A share of the song (createShare); the server's own link, stripped of anything that signs.
    bool makesShareLinks() const override { return true; }
    QCoro::Task<QUrl> makeShareLink(MusicItemID songID) override;
    QCoro::Task<QUrl> playableURL(PlayParameters parameters) override;
    QUrl authorizedURL(const QUrl &url) const override;
    // The last failure's words when the last request failed, else where to look.
    // Why the last play failed in the server's terms, else what to check.
    QString playFailureText() const;

private:
    struct Listing;
    template <typename T>
    struct Pending;
    struct SongFeed;
    struct SignInAttempt;

    // Signs in first when not signed in yet; a call that fails for the network arms the retry.
    QCoro::Task<QJsonObject> call(const char *method);
    QCoro::Task<QJsonObject> call(const char *method, const QUrlQuery &parameters);
    // What make turns the answer into, made on the thread that decodes it (see SubsonicClient).
    template <typename T>
    QCoro::Task<T> fetch(const char *method, QUrlQuery parameters, std::function<T(const QJsonObject &)> make);
    // The same, trying fromText first: it makes the value straight from a successful answer's text,
    // or gives nullopt for anything else, which then goes through make.
    template <typename T>
    QCoro::Task<T> fetch(const char *method, QUrlQuery parameters, std::function<T(const QJsonObject &)> make,
                         std::function<std::optional<T>(QByteArrayView)> fromText);
    // Signs in when not signed in yet. Calls made meanwhile wait on the one attempt under way, so
    // a sync that asks for every list at once signs in once and reports a failure once.
    QCoro::Task<void> signedIn();
    QCoro::Task<void> signIn(std::shared_ptr<SignInAttempt> attempt);
    QCoro::Task<void> request(QString method, QUrlQuery parameters, SubsonicClient::Reader read,
                              SubsonicClient::TextReader readText);
    // A song list's songs straight from the text (see SubsonicSongList), made into make's value.
    using FinishSongs = QList<Song> (*)(QList<Song> songs, const QString &containerArtist);
    QCoro::Task<QList<Song>> fetchSongs(const char *method, QUrlQuery parameters, const char *container, const char *list,
                                        FinishSongs finish);
    QUrl server() const { return m_client->account().server; }

    // The listing and its lists, each fetched once in the background and awaited by any caller.
    std::shared_ptr<Listing> listing();
    void scheduleListingDrop();
    void dropIdleListing();
    void startPlaylists(const std::shared_ptr<Listing> &listed);
    // A page of one of the listing's lists once start has fetched it whole.
    template <typename T>
    QCoro::Task<LibraryPage<T>> listedPage(std::shared_ptr<Pending<T>> Listing::*list,
                                           void (SubsonicService::*start)(const std::shared_ptr<Listing> &), int offset, int limit);
    void startAlbums(const std::shared_ptr<Listing> &listed);
    void startArtists(const std::shared_ptr<Listing> &listed);
    void startSongs(const std::shared_ptr<Listing> &listed);
    QCoro::Task<void> listPlaylists(std::shared_ptr<Listing> listed, std::shared_ptr<Pending<Playlist>> pending);
    QCoro::Task<void> listAlbums(std::shared_ptr<Pending<Album>> pending);
    QCoro::Task<void> listArtists(std::shared_ptr<Pending<Artist>> pending);
    QCoro::Task<void> listSongs(std::shared_ptr<Listing> listed, std::shared_ptr<SongFeed> feed);
    // One page of every song as an empty search3 lists them, with each song's album id.
    QCoro::Task<SubsonicSongList::Listed> emptySearchPage(int offset);
    // Every song through empty searches, from a server that does not announce them (supysonic answers
    // them in 21 requests for 10,000 songs, against 841 album by album): taken only when whole, as
    // many distinct songs as the albums announce, and given the order and album artists album by
    // album gives; else nullopt, and the session keeps to albums.
    QCoro::Task<std::optional<QList<Song>>> songsOfEmptySearches(QList<Album> albums, int announced);
    QCoro::Task<void> prefetchPlaylist(QString playlistID, std::shared_ptr<Pending<Song>> fetch);
    QCoro::Task<QList<Song>> playlistEntries(QString playlistID);
    QCoro::Task<QList<Song>> albumSongs(QString albumID);
    QCoro::Task<QList<Album>> albumList(QString type, int size);
    void noteFailure(const std::exception_ptr &error);
    void retryContact();
    // One ping of the retry; an answer means whatever failed meanwhile is to be listed again.
    QCoro::Task<void> pingAgain();

    std::unique_ptr<SubsonicClient> m_client;
    PasswordSource m_passwordSource;
    MusicAuthorizationStatus m_status = MusicAuthorizationStatus::notDetermined;
    QString m_unavailableReason;
    QString m_lastFailure; // the words of the last request's failure; empty after a success
    bool m_signedIn = false;
    std::shared_ptr<SignInAttempt> m_signingIn; // the attempt under way, if any
    std::shared_ptr<Listing> m_listing;
    // Whether a server that does not announce OpenSubsonic lists every song for an empty search.
    enum class EmptySearch { untried, listsAll, listsPart };
    EmptySearch m_emptySearch = EmptySearch::untried;
    // Drops the listing once no sync has used it for a while (see listing()).
    std::unique_ptr<ScheduledCall> m_listingDrop;
    QTimer m_retry;
};

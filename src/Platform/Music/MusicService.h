#pragma once
// The music service as Lumevar sees it: the user's library, the catalog, recommendations,
// authorization, and the resolution of play parameters into something the audio engine can
// load. Each backend (the local music folder today, a catalog service later) implements it.
// Every asynchronous call resumes on the thread that awaited it (the main thread) and reports
// failures by throwing an Error. A service lives on the main thread and announces a change of
// its library with the libraryDidChange() signal.

#include "Platform/Music/LibraryChange.h"
#include "Platform/Music/MusicTypes.h"

#include <QCoroTask>
#include <QObject>

// One batch of a long library listing. offset is the index of items.first() in the whole list.
template <typename T>
struct LibraryPage {
    QList<T> items;
    int offset = 0;
    int totalCount = 0; // across all pages
    bool hasMore() const { return offset + items.size() < totalCount; }
};

class MusicService : public QObject {
    Q_OBJECT

public:
    explicit MusicService(QObject *parent = nullptr) : QObject(parent) {}
    ~MusicService() override = default;

    // The service of the process, installed at start-up (tests install a fake).
    static MusicService &shared();
    static void setShared(MusicService *service);
    static bool hasShared();

    // How the window names this service, in "Search %1" and "the %1 catalog": a streaming
    // service's own name, a server's name, the music folder's name.
    virtual QString displayName() const = 0;
    // The search picker's word for the catalog scope, beside "Library".
    virtual QString catalogLabel() const { return QStringLiteral("Catalog"); }
    // The advice of the alert shown when an item of this service could not be played.
    virtual QString playFailureAdvice() const;

    // Authorization. A denied backend makes the application show its unavailable screen.
    virtual MusicAuthorizationStatus authorizationStatus() const = 0;
    virtual QCoro::Task<MusicAuthorizationStatus> requestAuthorization() = 0;
    // Why access is refused, in words for the unavailable screen; empty when the screen's own
    // words (a streaming account not signed in) fit.
    virtual QString unavailableReason() const { return {}; }

    // A backend that can tell when its library changed (a local folder can; a remote service is
    // polled at most daily instead) answers with a text that changes whenever the library does,
    // and emits libraryDidChange() when it notices a change by itself. Others answer
    // nothing. May take as long as reading the library.
    virtual QCoro::Task<std::optional<QString>> libraryRevision();
    // Reads the library again where the backend keeps its own copy of it (a local folder), so that
    // a change it missed is seen: a watched folder on a network disk hears nothing of what other
    // machines change. What the user asks for with Update Library. Others do nothing.
    virtual QCoro::Task<void> readLibraryAgain();
    // The changes that lead from the library at revision `since` to the one at `until`, oldest
    // first, when the backend still knows them all; nothing otherwise (the caller then lists the
    // whole library). Empty when the two are equal.
    virtual QCoro::Task<std::optional<QList<LibraryChange>>> libraryChanges(QString since, QString until);

    // A whole listing follows (playlists, albums, artists, songs, each from its first page): a
    // backend that fetches its lists from far away may ask for them all at once.
    virtual void beginLibraryListing() {}
    // The library, in pages of at most limit items, in a stable order.
    virtual QCoro::Task<LibraryPage<Playlist>> libraryPlaylists(int offset, int limit) = 0;
    virtual QCoro::Task<LibraryPage<Album>> libraryAlbums(int offset, int limit) = 0;
    virtual QCoro::Task<LibraryPage<Artist>> libraryArtists(int offset, int limit) = 0;
    virtual QCoro::Task<LibraryPage<Song>> librarySongs(int offset, int limit) = 0;

    // Library songs added at or after the given time, newest first.
    virtual QCoro::Task<QList<Song>> librarySongsAdded(QDateTime since) = 0;

    // The tracks of one collection: a playlist in its order, an album by disc and track, an
    // artist's grouped by album. Throws MusicError::notFound for an unknown collection.
    virtual QCoro::Task<QList<Song>> tracks(Playlist playlist) = 0;
    virtual QCoro::Task<QList<Song>> tracks(Album album) = 0;
    virtual QCoro::Task<QList<Song>> tracks(Artist artist) = 0;

    // Personal recommendation groups, each with a title ("Made for You", "Stations for You", …).
    virtual QCoro::Task<QList<MusicPersonalRecommendation>> personalRecommendations() = 0;

    // The next songs of an endless station.
    virtual QCoro::Task<QList<Song>> stationSongs(Station station, int count) = 0;

    // The whole catalog. A backend without a catalog answers with empty lists.
    virtual QCoro::Task<CatalogSearchResponse> searchCatalog(QString term, int limit) = 0;
    // A catalog artist with its top songs; topSongs stays absent when the catalog has none.
    virtual QCoro::Task<Artist> catalogArtistWithTopSongs(MusicItemID artistID) = 0;

    // Whether the service's songs have public web pages that a link can point at (a catalog
    // service's do; a folder on this machine has none). Without them there is no link to share.
    virtual bool hasPublicSongPages() const { return false; }
    // Whether the service makes a link to a song when asked (a server's shares): the link is made
    // only when the user asks to copy one, as it creates something on the service.
    virtual bool makesShareLinks() const { return false; }
    // Makes a link that others can open to hear the song; it never carries the user's
    // credentials. Throws MusicError with the reason when the service cannot make one.
    virtual QCoro::Task<QUrl> makeShareLink(MusicItemID songID);

    // Adds a catalog song to the user's library. On return the song is in the library.
    virtual QCoro::Task<void> addToLibrary(MusicItemID songID) = 0;

    // The URL the audio engine loads for a song. Throws MusicError::unplayable when there is none.
    virtual QCoro::Task<QUrl> playableURL(PlayParameters parameters) = 0;

    // A URL this service handed out (artwork) as it must be fetched: with the credentials a
    // server wants, which the handed-out URL leaves out so it can be stored and shown. Other
    // URLs come back as they are. The result is never logged or shown.
    virtual QUrl authorizedURL(const QUrl &url) const { return url; }

Q_SIGNALS:
    // The library changed without being asked (a watched folder, a server back in reach): its
    // revision and changes are worth asking for again.
    void libraryDidChange();
    // A whole listing's songs are being gathered before their first page can be handed out (a
    // server that must list them all to put them in order): listed of about expected are in, so
    // that a sync's progress moves while it waits.
    void librarySongsListed(int listed, int expected);
};

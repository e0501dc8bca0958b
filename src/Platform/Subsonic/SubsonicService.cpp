#include "Platform/Subsonic/SubsonicService.h"

#include "Platform/Subsonic/SubsonicItems.h"
#include "Platform/Subsonic/SubsonicSongList.h"
#include "Support/Allocator.h"
#include "Support/Clock.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/OwnerGuard.h"
#include "Support/Task.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QSet>
#include <algorithm>
#include <coroutine>
#include <deque>
#include <limits>
#include <vector>

using namespace SubsonicItems;

namespace {

// Something being fetched in the background that coroutines wait on: they are resumed from the
// event loop each time it grows or ends.
struct Arrivals {
    bool done = false;
    std::exception_ptr failure;
    std::vector<std::coroutine_handle<>> waiting;

    void wake(QObject *context)
    {
        for (const std::coroutine_handle<> handle : std::exchange(waiting, {}))
            QMetaObject::invokeMethod(context, [handle] { handle.resume(); }, Qt::QueuedConnection);
    }
    void finish(QObject *context, std::exception_ptr error = {})
    {
        done = true;
        failure = std::move(error);
        wake(context);
    }
    // Suspends until the next wake when ready() is false.
    auto next(bool ready)
    {
        struct Awaiter {
            Arrivals *arrivals;
            bool ready;
            bool await_ready() const noexcept { return ready; }
            void await_suspend(std::coroutine_handle<> handle) { arrivals->waiting.push_back(handle); }
            void await_resume() const noexcept {}
        };
        return Awaiter{this, ready};
    }
};

} // namespace

// A list fetched in the background; its items are final once it is done.
template <typename T>
struct SubsonicService::Pending : Arrivals {
    QList<T> items;
};

// The library's songs as they arrive, in their final order; the expected count comes from the
// albums' song counts until the listing ends.
struct SubsonicService::SongFeed : Pending<Song> {
    int expected = 0;
};

struct SubsonicService::SignInAttempt : Arrivals {};

struct SubsonicService::Listing {
    std::shared_ptr<Pending<Playlist>> playlists;
    std::shared_ptr<Pending<Album>> albums;
    std::shared_ptr<Pending<Artist>> artists;
    std::shared_ptr<SongFeed> songs;
    // Every playlist's songs, fetched as soon as the playlists are listed, so that a sync's
    // playlist step finds them ready instead of asking one at a time.
    QHash<QString, std::shared_ptr<Pending<Song>>> playlistSongs;

    // Whether any of its lists is still being fetched.
    bool fetching() const
    {
        const auto busy = [](const auto &pending) { return pending && !pending->done; };
        return busy(playlists) || busy(albums) || busy(artists) || busy(songs) ||
               std::any_of(playlistSongs.cbegin(), playlistSongs.cend(), busy);
    }
};

namespace {

const QString madeForYouTitle = QStringLiteral("Made for You");
const QString stationsTitle = QStringLiteral("Stations for You");
// Album lists offered as mixes, and how many albums each takes in.
const QList<std::pair<QString, QString>> albumMixes = {{QStringLiteral("newest"), QStringLiteral("Newest Albums")},
                                                       {QStringLiteral("frequent"), QStringLiteral("Most Played")},
                                                       {QStringLiteral("recent"), QStringLiteral("Recently Played")},
                                                       {QStringLiteral("random"), QStringLiteral("Random Albums")}};
constexpr int mixAlbums = 8;
const QString mixPrefix = QStringLiteral("mix:");
const QString genrePrefix = QStringLiteral("genre:");
// getAlbum requests kept going at once while songs are listed album by album.
constexpr int albumWindow = 12;
constexpr int retryMilliseconds = 60000;
// How long a listing stays once no sync uses it.
constexpr double listingIdleSeconds = 120;

template <typename T>
LibraryPage<T> pageOf(const QList<T> &items, int offset, int limit)
{
    LibraryPage<T> page;
    page.totalCount = int(items.size());
    page.offset = std::clamp(offset, 0, page.totalCount);
    if (limit > 0)
        page.items = items.mid(page.offset, limit);
    return page;
}

// A query of key, value, key, value, … (no initializer lists: GCC 12 miscompiles them in
// coroutines).
template <typename... Texts>
QUrlQuery query(const Texts &...texts)
{
    const QString items[] = {QStringView(texts).toString()...};
    QUrlQuery result;
    for (size_t i = 0; i + 1 < sizeof...(texts); i += 2)
        result.addQueryItem(items[i], items[i + 1]);
    return result;
}

// Makes the items of type T listed at answer[key][listKey], on the thread that decodes the answer.
template <typename T>
std::function<QList<T>(const QJsonObject &)> itemsAt(QString key, QString listKey, QUrl server, T (*make)(const QJsonObject &, const QUrl &))
{
    return [key = std::move(key), listKey = std::move(listKey), server = std::move(server), make](const QJsonObject &answer) {
        return all<T>(answer.value(key).toObject(), listKey, server, make);
    };
}

// A song listed inside an album carries the album's artist as album artist when it has none.
QList<Song> songsOfAlbum(QList<Song> songs, const QString &albumArtist)
{
    for (Song &song : songs)
        if (!song.albumArtistName && !albumArtist.isEmpty())
            song.albumArtistName = albumArtist;
    std::stable_sort(songs.begin(), songs.end(), [](const Song &a, const Song &b) {
        return std::pair(a.discNumber.value_or(1), a.trackNumber.value_or(0)) < std::pair(b.discNumber.value_or(1), b.trackNumber.value_or(0));
    });
    return songs;
}

QList<Song> asListed(QList<Song> songs, const QString &) { return songs; }

// The songs of a whole listing as album by album lists them: in the albums' order (songs of an
// album not listed last), each album's as songsOfAlbum() gives them.
QList<Song> inAlbumOrder(SubsonicSongList::Listed listed, const QList<Album> &albums)
{
    QHash<QString, qsizetype> place;
    place.reserve(albums.size());
    for (qsizetype i = 0; i < albums.size(); ++i)
        place.insert(albums[i].id.rawValue(), i);
    std::vector<QList<Song>> byAlbum(albums.size() + 1);
    for (qsizetype i = 0; i < listed.songs.size(); ++i)
        byAlbum[place.value(listed.albumIDs.value(i), albums.size())].append(std::move(listed.songs[i]));
    QList<Song> songs;
    songs.reserve(listed.songs.size());
    for (qsizetype a = 0; a < qsizetype(byAlbum.size()); ++a)
        songs += songsOfAlbum(std::move(byAlbum[a]), a < albums.size() ? albums[a].artistName.value_or(QString()) : QString());
    return songs;
}

bool isNetworkFailure(const Error &error)
{
    return error.domain() == QStringLiteral("Lumevar.MusicError") && error.code() == MusicError::serviceFailed &&
           (error.localizedDescription().contains(QStringLiteral("cannot be reached")) ||
            error.localizedDescription().contains(QStringLiteral("did not answer in time")));
}

} // namespace

SubsonicService::SubsonicService(SubsonicAccount account, PasswordSource passwordSource, QObject *parent)
    : MusicService(parent), m_client(std::make_unique<SubsonicClient>(std::move(account))), m_passwordSource(std::move(passwordSource))
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(retryMilliseconds);
    connect(&m_retry, &QTimer::timeout, this, &SubsonicService::retryContact);
}

SubsonicService::~SubsonicService() = default;

void SubsonicService::setPassword(const QString &password)
{
    SubsonicAccount account = m_client->account();
    account.password = password;
    m_client = std::make_unique<SubsonicClient>(std::move(account));
    m_signedIn = false;
    m_signingIn.reset();
}

QCoro::Task<MusicAuthorizationStatus> SubsonicService::requestAuthorization()
{
    const OwnerGuard guard(this);
    try {
        const SubsonicAccount account = m_client->account();
        if (account.password.isEmpty() && account.apiKey.isEmpty() && m_passwordSource) {
            SubsonicAccount withPassword = account;
            withPassword.password = co_await guard(m_passwordSource(account));
            auto client = std::make_unique<SubsonicClient>(std::move(withPassword));
            m_client = std::move(client);
            m_signingIn.reset();
        }
        co_await guard(m_client->signIn());
        m_signedIn = true;
        m_status = MusicAuthorizationStatus::authorized;
        m_unavailableReason.clear();
    } catch (const CancellationError &) {
        throw;
    } catch (...) {
        const Error error = errorFromCurrentException();
        m_signedIn = false;
        m_status = MusicAuthorizationStatus::denied;
        m_unavailableReason = error.localizedDescription();
        LUMEVAR_ERROR(Log::sync(), "Failed to sign in to the server: %@", error);
    }
    co_return m_status;
}

QCoro::Task<QJsonObject> SubsonicService::call(const char *method) { return call(method, QUrlQuery()); }

QCoro::Task<QJsonObject> SubsonicService::call(const char *method, const QUrlQuery &parameters)
{
    std::function<QJsonObject(const QJsonObject &)> keep = [](const QJsonObject &answer) { return answer; };
    return fetch<QJsonObject>(method, parameters, std::move(keep));
}

template <typename T>
QCoro::Task<T> SubsonicService::fetch(const char *method, QUrlQuery parameters, std::function<T(const QJsonObject &)> make)
{
    return fetch<T>(method, std::move(parameters), std::move(make), {});
}

template <typename T>
QCoro::Task<T> SubsonicService::fetch(const char *method, QUrlQuery parameters, std::function<T(const QJsonObject &)> make,
                                      std::function<std::optional<T>(QByteArrayView)> fromText)
{
    auto made = std::make_shared<std::optional<T>>();
    SubsonicClient::Reader read = [made, make = std::move(make)](const QJsonObject &answer) { made->emplace(make(answer)); };
    SubsonicClient::TextReader readText;
    if (fromText)
        readText = [made, fromText = std::move(fromText)](QByteArrayView body) {
            *made = fromText(body);
            return made->has_value();
        };
    co_await request(QString::fromLatin1(method), std::move(parameters), std::move(read), std::move(readText));
    co_return std::move(**made);
}

QCoro::Task<QList<Song>> SubsonicService::fetchSongs(const char *method, QUrlQuery parameters, const char *container,
                                                     const char *list, FinishSongs finish)
{
    std::function<QList<Song>(const QJsonObject &)> make = [container, list, finish, server = server()](const QJsonObject &answer) {
        const QJsonObject listed = answer.value(QLatin1StringView(container)).toObject();
        return finish(all<Song>(listed, QString::fromLatin1(list), server, &SubsonicItems::song),
                      listed.value(QStringLiteral("artist")).toString());
    };
    std::function<std::optional<QList<Song>>(QByteArrayView)> fromText =
        [container, list, finish, server = server()](QByteArrayView body) -> std::optional<QList<Song>> {
        std::optional<SubsonicSongList::Listed> listed = SubsonicSongList::read(body, container, list, server);
        if (!listed)
            return std::nullopt;
        return finish(std::move(listed->songs), listed->containerArtist);
    };
    return fetch<QList<Song>>(method, std::move(parameters), std::move(make), std::move(fromText));
}

QCoro::Task<void> SubsonicService::signedIn()
{
    if (m_signedIn)
        co_return;
    std::shared_ptr<SignInAttempt> attempt = m_signingIn;
    if (!attempt) {
        attempt = m_signingIn = std::make_shared<SignInAttempt>();
        detach(signIn(attempt));
    }
    while (!attempt->done)
        co_await attempt->next(attempt->done);
    if (attempt->failure)
        std::rethrow_exception(attempt->failure);
}

QCoro::Task<void> SubsonicService::signIn(std::shared_ptr<SignInAttempt> attempt)
{
    const OwnerGuard guard(this);
    std::exception_ptr failure;
    try {
        co_await guard(m_client->signIn());
    } catch (const OwnerGone &) {
        co_return;
    } catch (...) {
        failure = std::current_exception();
    }
    if (m_signingIn == attempt) {
        m_signingIn.reset();
        if (!failure)
            m_signedIn = true;
    }
    attempt->finish(this, failure);
}

QCoro::Task<void> SubsonicService::request(QString method, QUrlQuery parameters, SubsonicClient::Reader read,
                                           SubsonicClient::TextReader readText)
{
    const OwnerGuard guard(this);
    try {
        co_await guard(signedIn());
        co_await guard(m_client->call(method, parameters, std::move(read), std::move(readText)));
        m_lastFailure.clear();
    } catch (const OwnerGone &) {
        throw;
    } catch (...) {
        noteFailure(std::current_exception());
        throw;
    }
}

void SubsonicService::noteFailure(const std::exception_ptr &failure)
{
    try {
        std::rethrow_exception(failure);
    } catch (const Error &error) {
        if (error.domain() != CancellationError().domain())
            m_lastFailure = error.localizedDescription();
        if (isNetworkFailure(error) && !m_retry.isActive()) {
            LUMEVAR_NOTICE(Log::sync(), "The server is out of reach; asking again in %d s", retryMilliseconds / 1000);
            m_retry.start();
        }
    } catch (...) {
    }
}

void SubsonicService::retryContact() { detach(pingAgain()); }

QCoro::Task<void> SubsonicService::pingAgain()
{
    const OwnerGuard guard(this);
    try {
        co_await guard(m_client->call(QStringLiteral("ping")));
    } catch (const OwnerGone &) {
        throw;
    } catch (const Error &) {
        m_retry.start();
        co_return;
    }
    // Back in reach: whatever failed meanwhile is synced again.
    LUMEVAR_INFO(Log::sync(), "The server answers again");
    m_listing.reset();
    Q_EMIT libraryDidChange();
}

QUrl SubsonicService::authorizedURL(const QUrl &url) const { return m_client->signURL(url); }

QString SubsonicService::displayName() const
{
    const QUrl &server = m_client->account().server;
    return server.port() > 0 ? server.host() + u':' + QString::number(server.port()) : server.host();
}

QString SubsonicService::playFailureText() const
{
    if (!m_lastFailure.isEmpty())
        return m_lastFailure;
    return QStringLiteral("Check that the server at %1 is running and that the song is still in its library.")
        .arg(displayName());
}

QCoro::Task<std::optional<QString>> SubsonicService::libraryRevision()
{
    // The folders' last change, and the playlists' (which getIndexes does not see).
    const QJsonObject indexAnswer = co_await call("getIndexes");
    const QJsonObject playlistAnswer = co_await call("getPlaylists");
    const QJsonObject indexes = indexAnswer.value(QStringLiteral("indexes")).toObject();
    const QJsonObject playlists = playlistAnswer.value(QStringLiteral("playlists")).toObject();
    QCryptographicHash hash(QCryptographicHash::Sha1);
    hash.addData(QByteArray::number(indexes.value(QStringLiteral("lastModified")).toInteger()));
    for (const QJsonValue &value : list(playlists, QStringLiteral("playlist"))) {
        const QJsonObject playlist = value.toObject();
        hash.addData(playlist.value(QStringLiteral("id")).toString().toUtf8());
        hash.addData(playlist.value(QStringLiteral("changed")).toString().toUtf8());
        hash.addData(QByteArray::number(playlist.value(QStringLiteral("songCount")).toInt()));
    }
    co_return QString::fromLatin1(hash.result().toHex().left(16));
}

QCoro::Task<void> SubsonicService::readLibraryAgain()
{
    // The next sync lists the library anew; a server that can rescan its folders is asked to.
    m_listing.reset();
    try {
        co_await call("startScan");
    } catch (const MusicError &error) {
        // Older servers lack it, and many let only administrators scan; the sync that follows
        // meets any real fault again and reports it.
        LUMEVAR_INFO(Log::sync(), "The server did not start a scan: %@", error);
    }
}

std::shared_ptr<SubsonicService::Listing> SubsonicService::listing()
{
    if (!m_listing)
        m_listing = std::make_shared<Listing>();
    // Each use puts the drop off again: a sync slower than the wait keeps its listing.
    scheduleListingDrop();
    return m_listing;
}

void SubsonicService::scheduleListingDrop()
{
    m_listingDrop = Clock::shared().schedule(listingIdleSeconds, [this] { dropIdleListing(); });
}

void SubsonicService::dropIdleListing()
{
    if (m_listing && m_listing->fetching()) {
        scheduleListingDrop();
        return;
    }
    m_listingDrop.reset();
    m_listing.reset();
    // A listing of a large library is tens of megabytes of songs the store already holds.
    Allocator::releaseFreeMemory();
}

void SubsonicService::beginLibraryListing()
{
    // Every list is asked for at once, in the order a sync stores them: the requests queue in
    // the client (bounded in flight), so the server is kept busy while the store writes.
    const std::shared_ptr<Listing> listed = listing();
    startPlaylists(listed);
    startAlbums(listed);
    startArtists(listed);
    startSongs(listed);
}

void SubsonicService::startPlaylists(const std::shared_ptr<Listing> &listed)
{
    if (!listed->playlists) {
        listed->playlists = std::make_shared<Pending<Playlist>>();
        detach(listPlaylists(listed, listed->playlists));
    }
}

void SubsonicService::startAlbums(const std::shared_ptr<Listing> &listed)
{
    if (!listed->albums) {
        listed->albums = std::make_shared<Pending<Album>>();
        detach(listAlbums(listed->albums));
    }
}

void SubsonicService::startArtists(const std::shared_ptr<Listing> &listed)
{
    if (!listed->artists) {
        listed->artists = std::make_shared<Pending<Artist>>();
        detach(listArtists(listed->artists));
    }
}

void SubsonicService::startSongs(const std::shared_ptr<Listing> &listed)
{
    if (!listed->songs) {
        listed->songs = std::make_shared<SongFeed>();
        detach(listSongs(listed, listed->songs));
    }
}

namespace {

// Waits until a background fetch has ended. A failed one is let go of (the next call fetches
// anew rather than meeting the same failure) and its failure thrown.
template <typename P>
QCoro::Task<void> ended(std::shared_ptr<P> &slot, std::shared_ptr<P> pending, OwnerGuard owner)
{
    while (!pending->done) {
        co_await pending->next(false);
        owner.check();
    }
    if (pending->failure) {
        if (slot == pending)
            slot.reset();
        std::rethrow_exception(pending->failure);
    }
}

// A server that ignores the offset answers its first page again and again: the listing stops at
// a page that starts as the last one did, rather than growing without end.
template <typename T>
bool repeatsLastPage(const QList<T> &page, const QList<T> &listed, qsizetype lastPageStart, const char *what)
{
    if (page.isEmpty() || lastPageStart >= listed.size() || !(page.first().id == listed[lastPageStart].id))
        return false;
    LUMEVAR_ERROR(Log::sync(), "The server answered the same page of %@ for a later offset; the listing stops at %d",
                  QString::fromLatin1(what), int(listed.size()));
    return true;
}

} // namespace

template <typename T>
QCoro::Task<LibraryPage<T>> SubsonicService::listedPage(std::shared_ptr<Pending<T>> Listing::*list,
                                                        void (SubsonicService::*start)(const std::shared_ptr<Listing> &), int offset,
                                                        int limit)
{
    const std::shared_ptr<Listing> listed = listing();
    (this->*start)(listed);
    const std::shared_ptr<Pending<T>> pending = (*listed).*list;
    co_await ended((*listed).*list, pending, OwnerGuard(this));
    co_return pageOf(pending->items, offset, limit);
}

QCoro::Task<LibraryPage<Playlist>> SubsonicService::libraryPlaylists(int offset, int limit)
{
    return listedPage(&Listing::playlists, &SubsonicService::startPlaylists, offset, limit);
}

QCoro::Task<LibraryPage<Album>> SubsonicService::libraryAlbums(int offset, int limit)
{
    return listedPage(&Listing::albums, &SubsonicService::startAlbums, offset, limit);
}

QCoro::Task<LibraryPage<Artist>> SubsonicService::libraryArtists(int offset, int limit)
{
    return listedPage(&Listing::artists, &SubsonicService::startArtists, offset, limit);
}

QCoro::Task<void> SubsonicService::listPlaylists(std::shared_ptr<Listing> listed, std::shared_ptr<Pending<Playlist>> pending)
{
    const OwnerGuard guard(this);
    try {
        auto read = itemsAt<Playlist>(QStringLiteral("playlists"), QStringLiteral("playlist"), server(), &SubsonicItems::playlist);
        QList<Playlist> playlists = co_await guard(fetch<QList<Playlist>>("getPlaylists", QUrlQuery(), std::move(read)));
        for (const Playlist &playlist : playlists) {
            auto fetch = std::make_shared<Pending<Song>>();
            listed->playlistSongs.insert(playlist.id.rawValue(), fetch);
            detach(prefetchPlaylist(playlist.id.rawValue(), fetch));
        }
        pending->items = std::move(playlists);
        pending->finish(this);
    } catch (const OwnerGone &) {
    } catch (...) {
        pending->finish(this, std::current_exception());
    }
}

QCoro::Task<void> SubsonicService::listAlbums(std::shared_ptr<Pending<Album>> pending)
{
    const OwnerGuard guard(this);
    try {
        QList<Album> albums;
        for (;;) {
            const QUrlQuery parameters = query(u"type", u"alphabeticalByName", u"size", QString::number(albumPageSize), u"offset",
                                               QString::number(albums.size()));
            auto read = itemsAt<Album>(QStringLiteral("albumList2"), QStringLiteral("album"), server(), &SubsonicItems::album);
            QList<Album> page = co_await guard(fetch<QList<Album>>("getAlbumList2", parameters, std::move(read)));
            if (albums.size() >= albumPageSize && repeatsLastPage(page, albums, albums.size() - albumPageSize, "albums"))
                break;
            const bool last = page.size() < albumPageSize;
            albums += std::move(page);
            if (last)
                break;
        }
        pending->items = std::move(albums);
        pending->finish(this);
    } catch (const OwnerGone &) {
    } catch (...) {
        pending->finish(this, std::current_exception());
    }
}

QCoro::Task<void> SubsonicService::listArtists(std::shared_ptr<Pending<Artist>> pending)
{
    const OwnerGuard guard(this);
    try {
        std::function<QList<Artist>(const QJsonObject &)> read = [server = server()](const QJsonObject &answer) {
            QList<Artist> artists;
            for (const QJsonValue &index : list(answer.value(QStringLiteral("artists")).toObject(), QStringLiteral("index")))
                artists += all<Artist>(index.toObject(), QStringLiteral("artist"), server, &SubsonicItems::artist);
            return artists;
        };
        QList<Artist> artists = co_await guard(fetch<QList<Artist>>("getArtists", QUrlQuery(), std::move(read)));
        pending->items = std::move(artists);
        pending->finish(this);
    } catch (const OwnerGone &) {
    } catch (...) {
        pending->finish(this, std::current_exception());
    }
}

QCoro::Task<LibraryPage<Song>> SubsonicService::librarySongs(int offset, int limit)
{
    const OwnerGuard guard(this);
    std::shared_ptr<Listing> listed = listing();
    // Listed in the background; each page is handed out as soon as its songs are in, so the
    // store writes one page while the next is still being fetched.
    startSongs(listed);
    const std::shared_ptr<SongFeed> feed = listed->songs;
    const qsizetype needed = qsizetype(offset) + std::max(limit, 0);
    while (!feed->done && feed->items.size() < needed) {
        co_await feed->next(false);
        guard.check();
    }
    if (feed->failure && feed->items.size() < needed) {
        // The next sync lists anew rather than meeting the same failure.
        if (listed->songs == feed)
            listed->songs.reset();
        std::rethrow_exception(feed->failure);
    }
    LibraryPage<Song> page = pageOf(feed->items, offset, limit);
    // While songs are still arriving there is at least one more page to ask for.
    if (!feed->done)
        page.totalCount = std::max<qsizetype>({qsizetype(feed->expected), page.offset + page.items.size() + 1, qsizetype(page.totalCount)});
    co_return page;
}

QCoro::Task<void> SubsonicService::listSongs(std::shared_ptr<Listing> listed, std::shared_ptr<SongFeed> feed)
{
    const OwnerGuard guard(this);
    try {
        // Which way songs are listed is known once signed in.
        co_await guard(signedIn());
        if (m_client->isOpenSubsonic()) {
            // OpenSubsonic servers list every song for an empty query, in pages.
            for (;;) {
                QList<Song> page = (co_await guard(emptySearchPage(int(feed->items.size())))).songs;
                if (feed->items.size() >= songPageSize &&
                    repeatsLastPage(page, feed->items, feed->items.size() - songPageSize, "songs"))
                    break;
                const bool last = page.size() < songPageSize;
                feed->items += std::move(page);
                if (last)
                    break;
                feed->expected = int(feed->items.size()) + songPageSize;
                feed->wake(this);
            }
            feed->finish(this);
            co_return;
        }
        startAlbums(listed);
        const std::shared_ptr<Pending<Album>> albumsListed = listed->albums;
        co_await ended(listed->albums, albumsListed, guard);
        const QList<Album> albums = albumsListed->items;
        // The counts are the server's word: summed without overflow, negative ones as none.
        qint64 announced = 0;
        for (const Album &album : albums)
            announced += std::max(album.trackCount, 0);
        feed->expected = int(std::min<qint64>(announced, std::numeric_limits<int>::max()));
        if (m_emptySearch != EmptySearch::listsPart && feed->expected > 0) {
            if (std::optional<QList<Song>> songs = co_await guard(songsOfEmptySearches(albums, feed->expected))) {
                feed->items = std::move(*songs);
                feed->finish(this);
                co_return;
            }
        }
        // Album by album, a window of requests at once, kept in the albums' order.
        // Room for the songs the albums announce (within reason), so that songs are not moved
        // again and again as the list grows.
        feed->items.reserve(std::min(feed->expected, 200000));
        std::deque<QCoro::Task<QList<Song>>> window;
        auto takeFront = [&window, feed]() -> QCoro::Task<void> {
            QCoro::Task<QList<Song>> front = std::move(window.front());
            window.pop_front();
            feed->items += co_await std::move(front);
        };
        for (const Album &album : albums) {
            const QString albumID = album.id.rawValue();
            window.push_back(albumSongs(albumID));
            if (window.size() >= albumWindow) {
                co_await guard(takeFront());
                feed->wake(this);
            }
        }
        while (!window.empty()) {
            co_await guard(takeFront());
            feed->wake(this);
        }
        feed->finish(this);
    } catch (const OwnerGone &) {
    } catch (...) {
        feed->finish(this, std::current_exception());
    }
}

QCoro::Task<SubsonicSongList::Listed> SubsonicService::emptySearchPage(int offset)
{
    const QUrlQuery parameters = query(u"query", QString(), u"artistCount", u"0", u"albumCount", u"0", u"songCount",
                                       QString::number(songPageSize), u"songOffset", QString::number(offset));
    std::function<SubsonicSongList::Listed(const QJsonObject &)> make = [server = server()](const QJsonObject &answer) {
        SubsonicSongList::Listed listed;
        for (const QJsonValue &child : list(answer.value(QStringLiteral("searchResult3")).toObject(), QStringLiteral("song"))) {
            listed.songs.append(SubsonicItems::song(child.toObject(), server));
            listed.albumIDs.append(child.toObject().value(QStringLiteral("albumId")).toString());
        }
        return listed;
    };
    std::function<std::optional<SubsonicSongList::Listed>(QByteArrayView)> fromText = [server = server()](QByteArrayView body) {
        return SubsonicSongList::read(body, "searchResult3", "song", server);
    };
    co_return co_await fetch<SubsonicSongList::Listed>("search3", parameters, std::move(make), std::move(fromText));
}

QCoro::Task<std::optional<QList<Song>>> SubsonicService::songsOfEmptySearches(QList<Album> albums, int announced)
{
    const OwnerGuard guard(this);
    SubsonicSongList::Listed listed;
    try {
        listed = co_await guard(emptySearchPage(0));
        Q_EMIT librarySongsListed(int(listed.songs.size()), announced);
        if (listed.songs.size() == std::min(announced, songPageSize)) {
            listed.songs.reserve(announced);
            listed.albumIDs.reserve(announced);
            // The pages up to the one past the announced count, which should come back short.
            std::deque<QCoro::Task<SubsonicSongList::Listed>> window;
            auto takeFront = [this, &guard, &window, &listed, announced]() -> QCoro::Task<void> {
                QCoro::Task<SubsonicSongList::Listed> front = std::move(window.front());
                window.pop_front();
                SubsonicSongList::Listed page = co_await guard(std::move(front));
                listed.songs += std::move(page.songs);
                listed.albumIDs += std::move(page.albumIDs);
                Q_EMIT librarySongsListed(int(listed.songs.size()), announced);
            };
            for (int offset = songPageSize; offset <= announced; offset += songPageSize) {
                window.push_back(emptySearchPage(offset));
                if (window.size() >= albumWindow)
                    co_await guard(takeFront());
            }
            while (!window.empty())
                co_await guard(takeFront());
        }
    } catch (const CancellationError &) {
        throw;
    } catch (const Error &error) {
        // A server out of reach fails the album listing as well; one that answered (a refusal, an
        // answer that does not read) keeps to albums.
        if (isNetworkFailure(error))
            throw;
        LUMEVAR_INFO(Log::sync(), "The server does not list its songs through an empty search (%@); listing them album by album",
                     error);
        m_emptySearch = EmptySearch::listsPart;
        co_return std::nullopt;
    }
    QSet<QString> distinct;
    distinct.reserve(listed.songs.size());
    for (const Song &song : listed.songs)
        distinct.insert(song.id.rawValue());
    if (listed.songs.size() != announced || distinct.size() != announced) {
        LUMEVAR_INFO(Log::sync(),
                     "The server's empty search listed %d songs (%d distinct) where its albums hold %d; listing them album by album",
                     int(listed.songs.size()), int(distinct.size()), announced);
        m_emptySearch = EmptySearch::listsPart;
        co_return std::nullopt;
    }
    m_emptySearch = EmptySearch::listsAll;
    co_return inAlbumOrder(std::move(listed), albums);
}

QCoro::Task<void> SubsonicService::prefetchPlaylist(QString playlistID, std::shared_ptr<Pending<Song>> fetch)
{
    const OwnerGuard guard(this);
    try {
        QList<Song> songs = co_await guard(playlistEntries(playlistID));
        fetch->items = std::move(songs);
        fetch->finish(this);
    } catch (const OwnerGone &) {
    } catch (...) {
        fetch->finish(this, std::current_exception());
    }
}

QCoro::Task<QList<Song>> SubsonicService::playlistEntries(QString playlistID)
{
    const QUrlQuery parameters = query(u"id", playlistID);
    co_return co_await fetchSongs("getPlaylist", parameters, "playlist", "entry", &asListed);
}

QCoro::Task<QList<Song>> SubsonicService::albumSongs(QString albumID)
{
    const QUrlQuery parameters = query(u"id", albumID);
    co_return co_await fetchSongs("getAlbum", parameters, "album", "song", &songsOfAlbum);
}

QCoro::Task<QList<Album>> SubsonicService::albumList(QString type, int size)
{
    const QUrlQuery parameters = query(u"type", type, u"size", QString::number(size));
    auto read = itemsAt<Album>(QStringLiteral("albumList2"), QStringLiteral("album"), server(), &SubsonicItems::album);
    co_return co_await fetch<QList<Album>>("getAlbumList2", parameters, std::move(read));
}

QCoro::Task<QList<Song>> SubsonicService::librarySongsAdded(QDateTime since)
{
    // The newest albums, and of their songs those added since then, newest first.
    const QString newestType = QStringLiteral("newest");
    const QList<Album> newest = co_await albumList(newestType, 50);
    QList<Song> added;
    for (const Album &album : newest) {
        if (album.libraryAddedDate && *album.libraryAddedDate < since)
            break;
        const QString albumID = album.id.rawValue();
        const QList<Song> songs = co_await albumSongs(albumID);
        for (const Song &song : songs)
            if (!song.libraryAddedDate || *song.libraryAddedDate >= since)
                added.append(song);
    }
    std::stable_sort(added.begin(), added.end(), [](const Song &a, const Song &b) {
        return a.libraryAddedDate.value_or(QDateTime()) > b.libraryAddedDate.value_or(QDateTime());
    });
    co_return added;
}

QCoro::Task<QList<Song>> SubsonicService::tracks(Playlist playlist)
{
    const QString id = playlist.id.rawValue();
    if (id.startsWith(mixPrefix)) {
        QList<Song> songs;
        const QString type = id.mid(mixPrefix.size());
        const QList<Album> albums = co_await albumList(type, mixAlbums);
        for (const Album &album : albums) {
            const QString albumID = album.id.rawValue();
            songs += co_await albumSongs(albumID);
        }
        co_return songs;
    }
    // The songs fetched when the playlists were listed, unless that fetch failed.
    const OwnerGuard guard(this);
    // (Only a sync's listing: a playlist opened later is asked for anew.)
    if (const std::shared_ptr<Pending<Song>> fetch = m_listing ? m_listing->playlistSongs.value(id) : nullptr) {
        while (!fetch->done) {
            co_await fetch->next(false);
            guard.check();
        }
        if (!fetch->failure)
            co_return fetch->items;
    }
    co_return co_await playlistEntries(id);
}

QCoro::Task<QList<Song>> SubsonicService::tracks(Album album) { return albumSongs(album.id.rawValue()); }

QCoro::Task<QList<Song>> SubsonicService::tracks(Artist artist)
{
    const QUrlQuery parameters = query(u"id", artist.id.rawValue());
    const QJsonObject answer = co_await call("getArtist", parameters);
    const QList<Album> albums = all<Album>(answer.value(QStringLiteral("artist")).toObject(), QStringLiteral("album"),
                                           m_client->account().server, &SubsonicItems::album);
    QList<Song> songs;
    for (const Album &album : albums) {
        const QString albumID = album.id.rawValue();
        songs += co_await albumSongs(albumID);
    }
    co_return songs;
}

QCoro::Task<QList<MusicPersonalRecommendation>> SubsonicService::personalRecommendations()
{
    MusicPersonalRecommendation madeForYou;
    madeForYou.id = MusicItemID(QStringLiteral("recommendation:made-for-you"));
    madeForYou.title = madeForYouTitle;
    for (const auto &[type, name] : albumMixes) {
        const QList<Album> albums = co_await albumList(type, mixAlbums);
        if (albums.isEmpty())
            continue;
        Playlist mix;
        mix.id = MusicItemID(mixPrefix + type);
        mix.name = name;
        mix.curatorName = QStringLiteral("Lumevar");
        mix.artwork = albums.first().artwork;
        mix.playParameters = PlayParameters{mix.id, QStringLiteral("playlist")};
        madeForYou.items.append({mix});
    }

    MusicPersonalRecommendation stations;
    stations.id = MusicItemID(QStringLiteral("recommendation:stations"));
    stations.title = stationsTitle;
    const QJsonObject answer = co_await call("getGenres");
    QList<std::pair<int, QString>> genres;
    for (const QJsonValue &value : list(answer.value(QStringLiteral("genres")).toObject(), QStringLiteral("genre"))) {
        const QJsonObject genre = value.toObject();
        const QString name = genre.value(QStringLiteral("value")).toString();
        if (!name.isEmpty() && genre.value(QStringLiteral("songCount")).toInt(1) > 0)
            genres.append({genre.value(QStringLiteral("songCount")).toInt(), name});
    }
    // The biggest genres first, then by name.
    std::stable_sort(genres.begin(), genres.end(), [](const auto &a, const auto &b) {
        return a.first != b.first ? a.first > b.first : a.second.localeAwareCompare(b.second) < 0;
    });
    for (const auto &[count, name] : genres) {
        Station station;
        station.id = MusicItemID(genrePrefix + name);
        station.name = name + QStringLiteral(" Station");
        station.playParameters = PlayParameters{station.id, QStringLiteral("station")};
        stations.items.append({station});
    }
    co_return QList<MusicPersonalRecommendation>{madeForYou, stations};
}

QCoro::Task<QList<Song>> SubsonicService::stationSongs(Station station, int count)
{
    const QString id = station.id.rawValue();
    const QUrl server = m_client->account().server;
    if (id.startsWith(genrePrefix)) {
        const QUrlQuery parameters = query(u"genre", id.mid(genrePrefix.size()), u"size", QString::number(count));
        const QJsonObject answer = co_await call("getRandomSongs", parameters);
        co_return all<Song>(answer.value(QStringLiteral("randomSongs")).toObject(), QStringLiteral("song"), server, &SubsonicItems::song);
    }
    // A station seeded by an artist or a song: the server's similar songs.
    const QUrlQuery parameters = query(u"id", id, u"count", QString::number(count));
    const QJsonObject answer = co_await call("getSimilarSongs2", parameters);
    co_return all<Song>(answer.value(QStringLiteral("similarSongs2")).toObject(), QStringLiteral("song"), server, &SubsonicItems::song);
}

QCoro::Task<CatalogSearchResponse> SubsonicService::searchCatalog(QString term, int limit)
{
    const QString count = QString::number(std::max(1, limit));
    const QUrlQuery parameters = query(u"query", term, u"artistCount", count, u"albumCount", count, u"songCount", count);
    const QJsonObject answer = co_await call("search3", parameters);
    const QJsonObject found = answer.value(QStringLiteral("searchResult3")).toObject();
    const QUrl server = m_client->account().server;
    CatalogSearchResponse response;
    response.songs = all<Song>(found, QStringLiteral("song"), server, &SubsonicItems::song);
    response.albums = all<Album>(found, QStringLiteral("album"), server, &SubsonicItems::album);
    response.artists = all<Artist>(found, QStringLiteral("artist"), server, &SubsonicItems::artist);
    co_return response;
}

QCoro::Task<Artist> SubsonicService::catalogArtistWithTopSongs(MusicItemID artistID)
{
    const QUrlQuery parameters = query(u"id", artistID.rawValue());
    const QJsonObject answer = co_await call("getArtist", parameters);
    Artist artist = SubsonicItems::artist(answer.value(QStringLiteral("artist")).toObject(), m_client->account().server);
    try {
        const QUrlQuery topParameters = query(u"artist", artist.name);
        const QJsonObject top = co_await call("getTopSongs", topParameters);
        QList<Song> songs = all<Song>(top.value(QStringLiteral("topSongs")).toObject(), QStringLiteral("song"),
                                      m_client->account().server, &SubsonicItems::song);
        if (!songs.isEmpty())
            artist.topSongs = std::move(songs);
    } catch (const MusicError &) {
        // Servers without play statistics have no top songs.
    }
    co_return artist;
}

QCoro::Task<void> SubsonicService::addToLibrary(MusicItemID songID)
{
    // Everything on the server is in the library; adding marks the song as a favourite.
    const QUrlQuery parameters = query(u"id", songID.rawValue());
    co_await call("star", parameters);
}

QCoro::Task<QUrl> SubsonicService::makeShareLink(MusicItemID songID)
{
    const OwnerGuard guard(this);
    const QString server = displayName();
    QJsonObject answer;
    try {
        answer = co_await guard(call("createShare", query(u"id", songID.rawValue())));
    } catch (const CancellationError &) {
        throw;
    } catch (...) {
        const Error error = errorFromCurrentException();
        LUMEVAR_ERROR(Log::sync(), "Failed to make a share link: %@", error);
        // A refusal for this user and an unreachable server say so in their own words; anything
        // else (an unknown method, shares turned off) means the server makes no links.
        if ((error.domain() == QStringLiteral("Lumevar.MusicError") && error.code() == MusicError::notAuthorized) || isNetworkFailure(error))
            throw;
        throw MusicError(MusicError::serviceFailed,
                         QStringLiteral("The server at %1 does not make share links, or has them turned off.").arg(server));
    }
    const QJsonArray shares = list(answer.value(QStringLiteral("shares")).toObject(), QStringLiteral("share"));
    const QUrl link(shares.isEmpty() ? QString() : shares.first().toObject().value(QStringLiteral("url")).toString());
    if (!link.isValid() || link.host().isEmpty()) {
        LUMEVAR_ERROR(Log::sync(), "The server's share of %@ has no link", songID.rawValue());
        throw MusicError(MusicError::serviceFailed, QStringLiteral("The server at %1 made a share without a link.").arg(server));
    }
    co_return SubsonicClient::withoutCredentials(link);
}

QCoro::Task<QUrl> SubsonicService::playableURL(PlayParameters parameters)
{
    if (parameters.id.isEmpty() || (!parameters.kind.isEmpty() && parameters.kind != QLatin1String("song")))
        throw MusicError(MusicError::unplayable, QStringLiteral("%1 is not a song of the server").arg(parameters.id.rawValue()));
    // A quick word with the server first: an unreachable server or refused password is said in
    // words, which the audio engine's failure to open a URL would not.
    co_await call("ping");
    co_return m_client->signedURL(QStringLiteral("stream"), query(u"id", parameters.id.rawValue()));
}

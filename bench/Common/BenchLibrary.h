#pragma once
// What the benchmarks share: a synthetic library at the size of a large one (100,000 songs,
// 10,000 albums, 3,000 artists, 1,000 playlists with 50,000 entries, one of them 5,000 songs
// long, with varied texts: accents, numbers in titles, shared prefixes) served by an in-memory
// music service from a fixed seed; running a task to its end on the event loop; and the
// process's CPU time and resident memory.

#include "Platform/Music/MusicService.h"
#include "Support/Error.h"

#include <QCoroTask>
#include <QEventLoop>
#include <QHash>
#include <QList>
#include <QStringList>
#include <benchmark/benchmark.h>
#include <exception>
#include <optional>

namespace BenchLibrary {

inline constexpr int songCount = 100'000;
inline constexpr int albumCount = 10'000;
inline constexpr int artistCount = 3'000;
inline constexpr int playlistCount = 1'000;
inline constexpr int entryCount = 50'000;
inline constexpr int bigPlaylistSize = 5'000;

// The vocabulary the synthetic texts are drawn from.
extern const QStringList words;

} // namespace BenchLibrary

namespace BenchDetail {
// Runs a task to its end on the calling thread's event loop and rethrows what it threw.
template <typename T>
QCoro::Task<void> drive(QCoro::Task<T> task, std::optional<T> &result, std::exception_ptr &error, bool &done, QEventLoop &loop)
{
    try {
        result.emplace(co_await std::move(task));
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}

inline QCoro::Task<void> driveVoid(QCoro::Task<void> task, std::exception_ptr &error, bool &done, QEventLoop &loop)
{
    try {
        co_await std::move(task);
    } catch (...) {
        error = std::current_exception();
    }
    done = true;
    loop.quit();
}

} // namespace BenchDetail

template <typename T>
T await(QCoro::Task<T> task)
{
    QEventLoop loop;
    std::optional<T> result;
    std::exception_ptr error;
    bool done = false;
    BenchDetail::drive(std::move(task), result, error, done, loop);
    if (!done)
        loop.exec();
    if (error)
        std::rethrow_exception(error);
    return std::move(*result);
}

inline void awaitVoid(QCoro::Task<void> task)
{
    QEventLoop loop;
    std::exception_ptr error;
    bool done = false;
    BenchDetail::driveVoid(std::move(task), error, done, loop);
    if (!done)
        loop.exec();
    if (error)
        std::rethrow_exception(error);
}

// CPU time of the whole process (main thread and the store's worker) in milliseconds: on a
// machine shared with other work it shows the cost that wall-clock time hides under waiting.
double processCPUms();
// Resident memory of the process in megabytes.
double residentMB();

// Records the process CPU time per iteration spent between its making and the end of the run.
class CPUCounter {
public:
    explicit CPUCounter(benchmark::State &state) : m_state(state), m_start(processCPUms()) {}
    ~CPUCounter()
    {
        if (m_state.iterations() > 0)
            m_state.counters["process_cpu_ms"] = (processCPUms() - m_start - m_excluded) / double(m_state.iterations());
    }
    // Leaves out work done while the timing was paused.
    void exclude(double ms) { m_excluded += ms; }

private:
    benchmark::State &m_state;
    double m_start;
    double m_excluded = 0;
};

// An in-memory service with the library above, generated from a fixed seed.
class SyntheticService : public MusicService {
public:
    SyntheticService();

    struct {
        QList<Playlist> playlists;
        QList<Album> albums;
        QList<Artist> artists;
        QList<Song> songs;
    } library;
    QHash<MusicItemID, QList<Song>> playlistTracks;

    QString displayName() const override { return QStringLiteral("Synthetic Library"); }
    MusicAuthorizationStatus authorizationStatus() const override { return MusicAuthorizationStatus::authorized; }
    QCoro::Task<MusicAuthorizationStatus> requestAuthorization() override { co_return MusicAuthorizationStatus::authorized; }
    QCoro::Task<LibraryPage<Playlist>> libraryPlaylists(int offset, int limit) override { co_return page(library.playlists, offset, limit); }
    QCoro::Task<LibraryPage<Album>> libraryAlbums(int offset, int limit) override { co_return page(library.albums, offset, limit); }
    QCoro::Task<LibraryPage<Artist>> libraryArtists(int offset, int limit) override { co_return page(library.artists, offset, limit); }
    QCoro::Task<LibraryPage<Song>> librarySongs(int offset, int limit) override { co_return page(library.songs, offset, limit); }
    QCoro::Task<QList<Song>> librarySongsAdded(QDateTime) override { co_return QList<Song>{}; }
    QCoro::Task<QList<Song>> tracks(Playlist playlist) override { co_return playlistTracks.value(playlist.id); }
    QCoro::Task<QList<Song>> tracks(Album) override { co_return QList<Song>{}; }
    QCoro::Task<QList<Song>> tracks(Artist) override { co_return QList<Song>{}; }
    QCoro::Task<QList<MusicPersonalRecommendation>> personalRecommendations() override { co_return QList<MusicPersonalRecommendation>{}; }
    QCoro::Task<QList<Song>> stationSongs(Station, int) override { co_return QList<Song>{}; }
    QCoro::Task<CatalogSearchResponse> searchCatalog(QString, int) override { co_return CatalogSearchResponse{}; }
    QCoro::Task<Artist> catalogArtistWithTopSongs(MusicItemID) override
    {
        throw MusicError(MusicError::notFound, QStringLiteral("no catalog"));
        co_return Artist{};
    }
    QCoro::Task<void> addToLibrary(MusicItemID) override { co_return; }
    QCoro::Task<QUrl> playableURL(PlayParameters) override { co_return QUrl(); }

private:
    template <typename T>
    static LibraryPage<T> page(const QList<T> &all, int offset, int limit)
    {
        LibraryPage<T> result;
        result.items = all.mid(offset, limit);
        result.offset = offset;
        result.totalCount = int(all.size());
        return result;
    }
};


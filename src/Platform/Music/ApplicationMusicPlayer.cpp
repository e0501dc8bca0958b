#include "Platform/Music/ApplicationMusicPlayer.h"

#include "Platform/Music/AudioEngine.h"
#include "Platform/Music/MusicService.h"
#include "Platform/Music/PlaybackQueue.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/OwnerGuard.h"
#include "Support/Task.h"

#include <QCoroSignal>
#include <QPointer>
#include <algorithm>

namespace {

ApplicationMusicPlayer *installedPlayer = nullptr;

// One load handed to the engine: settled by the engine's answer, or as superseded when something
// newer replaced it. The loading coroutine waits for settled().
class LoadTicket : public QObject {
    Q_OBJECT
public:
    enum class Outcome { pending, loaded, failed, superseded };
    Outcome outcome = Outcome::pending;
    QString message;

    void settle(Outcome result, QString text = {})
    {
        if (outcome != Outcome::pending)
            return;
        outcome = result;
        message = std::move(text);
        Q_EMIT settled();
    }

Q_SIGNALS:
    void settled();
};

// What a load came to. error is set when it failed.
struct LoadResult {
    enum class Kind { loaded, failed, superseded } kind;
    std::exception_ptr error;
    QString message;
};

PlayParameters parametersOf(const MusicPlayerQueueEntry &entry)
{
    if (const Song *song = entry.song())
        return song->playParameters.value_or(PlayParameters{song->id, QStringLiteral("song")});
    if (entry.item)
        if (const auto *other = std::get_if<MusicPlayerQueueEntry::OtherItem>(&*entry.item))
            return PlayParameters{other->id, other->kind};
    return PlayParameters{MusicItemID(entry.id), QStringLiteral("song")};
}

QString messageOf(const std::exception_ptr &error)
{
    try {
        std::rethrow_exception(error);
    } catch (...) {
        return errorFromCurrentException().localizedDescription();
    }
}

} // namespace

struct ApplicationMusicPlayer::Private {
    Private(ApplicationMusicPlayer *q, AudioEngine &engine, MusicService &service)
        : q(q), engine(engine), engineGuard(&engine), service(service)
    {
    }

    ApplicationMusicPlayer *q;
    AudioEngine &engine;
    QPointer<AudioEngine> engineGuard;
    MusicService &service;
    std::unique_ptr<Queue> queue;
    std::unique_ptr<State> state;

    PlaybackQueue entries;
    MusicPlaybackStatus status = MusicPlaybackStatus::stopped;
    std::optional<MusicShuffleMode> shuffleMode;
    std::optional<MusicRepeatMode> repeatMode;

    // The collection the queue was made from, until it is expanded into songs.
    std::optional<std::variant<Album, Playlist, Station>> pendingSource;
    // Set while the queue plays a station.
    std::optional<Station> station;
    bool refilling = false;

    // Bumped by every new queue: work for an older queue drops its result.
    quint64 queueGeneration = 0;
    // Bumped whenever what the engine holds is replaced or unloaded: an older load ends quietly.
    quint64 loadGeneration = 0;
    // Bumped by pause() and stop(): a play() that was waiting does not start the sound.
    quint64 intentGeneration = 0;
    std::shared_ptr<LoadTicket> ticket;
    bool loading = false;
    bool loaded = false;
    // The queue has not begun yet: switching shuffle may still choose its first entry.
    bool fresh = true;
    bool engineShouldPlay = false;
    double startTime = 0;

    bool isShuffleOn() const { return shuffleMode == MusicShuffleMode::songs; }
    bool isRepeatAll() const { return repeatMode == MusicRepeatMode::all; }

    void willChangeQueue() { Q_EMIT queue->objectWillChange(); }
    void setStatus(MusicPlaybackStatus newStatus)
    {
        if (newStatus == status)
            return;
        Q_EMIT state->objectWillChange();
        status = newStatus;
    }
    void setCurrentIndex(int index)
    {
        willChangeQueue();
        entries.setCurrentIndex(index);
    }

    void setEnginePlaying(bool playing)
    {
        engineShouldPlay = playing;
        playing ? engine.play() : engine.pause();
    }

    // Whatever is loaded or loading is dropped; the engine falls silent.
    void unload()
    {
        ++loadGeneration;
        if (ticket)
            ticket->settle(LoadTicket::Outcome::superseded);
        ticket.reset();
        loading = false;
        loaded = false;
        startTime = 0;
        engineShouldPlay = false;
        engine.stop();
    }

    // A new queue of songs (or of nothing, while a collection waits to be expanded).
    void resetQueue(QList<MusicPlayerQueueEntry> newEntries)
    {
        unload();
        ++queueGeneration;
        fillQueue(std::move(newEntries));
    }

    void fillQueue(QList<MusicPlayerQueueEntry> newEntries)
    {
        willChangeQueue();
        entries.reset(std::move(newEntries));
        fresh = true;
        if (isShuffleOn() && !station)
            entries.shuffle(false);
    }

    // Stopping at the end of the queue: it starts over from the first entry next time.
    void finishQueue()
    {
        unload();
        if (!entries.isEmpty())
            setCurrentIndex(0);
        setStatus(MusicPlaybackStatus::stopped);
    }

    QCoro::Task<void> expandSource();
    QCoro::Task<LoadResult> loadCurrent(bool startPlaying);
    QCoro::Task<bool> prepare(bool startPlaying);
    QCoro::Task<std::optional<int>> nextIndex(bool wrap);
    QCoro::Task<void> refillStation();
    void refillStationIfNeeded();
    QCoro::Task<void> skip(bool forward);
    QCoro::Task<void> playOnward(bool repeatCurrent);
    void currentEntryReplaced(bool wasPlaying);

    void engineLoaded();
    void engineFailed(const QString &message);
    void engineReachedEnd();
    void enginePausedChanged(bool paused);
};

// MARK: - Expanding, loading and advancing

QCoro::Task<void> ApplicationMusicPlayer::Private::expandSource()
{
    if (!pendingSource)
        co_return;
    const auto source = *pendingSource;
    const auto generation = queueGeneration;
    const OwnerGuard guard(q);
    QList<Song> songs;
    QString name;
    if (const auto *album = std::get_if<Album>(&source)) {
        name = album->title;
        songs = co_await guard(service.tracks(*album));
    } else if (const auto *playlist = std::get_if<Playlist>(&source)) {
        name = playlist->name;
        songs = co_await guard(service.tracks(*playlist));
    } else if (const auto *stationSource = std::get_if<Station>(&source)) {
        name = stationSource->name;
        songs = co_await guard(service.stationSongs(*stationSource, stationBatchSize));
    }
    // A newer queue, or a concurrent prepare that expanded the collection first, wins.
    if (queueGeneration != generation || !pendingSource)
        co_return;
    if (songs.isEmpty())
        throw MusicError(MusicError::emptyQueue, QStringLiteral("\u201c%1\u201d has no songs to play.").arg(name));
    pendingSource.reset();
    fillQueue(PlaybackQueue::makeEntries(songs));
}

QCoro::Task<LoadResult> ApplicationMusicPlayer::Private::loadCurrent(bool startPlaying)
{
    const auto *entry = entries.current();
    if (!entry)
        co_return LoadResult{LoadResult::Kind::failed,
                             std::make_exception_ptr(MusicError(MusicError::emptyQueue, QStringLiteral("The queue is empty."))),
                             QStringLiteral("The queue is empty.")};
    const auto parameters = parametersOf(*entry);
    const double start = startTime;
    unload();
    // Where the entry starts; a seek while it loads moves it.
    startTime = start;
    const auto generation = loadGeneration;
    loading = true;
    const OwnerGuard guard(q);
    auto superseded = [&] { return loadGeneration != generation; };

    QUrl url;
    try {
        url = co_await guard(service.playableURL(parameters));
    } catch (const OwnerGone &) {
        throw;
    } catch (...) {
        if (superseded())
            co_return LoadResult{LoadResult::Kind::superseded, {}, {}};
        loading = false;
        auto error = std::current_exception();
        co_return LoadResult{LoadResult::Kind::failed, error, messageOf(error)};
    }
    if (superseded())
        co_return LoadResult{LoadResult::Kind::superseded, {}, {}};

    auto pending = std::make_shared<LoadTicket>();
    ticket = pending;
    // The engine keeps its pause state across loads: set it first so the file starts (or not) at once.
    setEnginePlaying(startPlaying);
    engine.load(url);
    while (pending->outcome == LoadTicket::Outcome::pending)
        co_await qCoro(pending.get(), &LoadTicket::settled);
    guard.check();
    if (superseded() || pending->outcome == LoadTicket::Outcome::superseded)
        co_return LoadResult{LoadResult::Kind::superseded, {}, {}};
    ticket.reset();
    loading = false;
    if (pending->outcome == LoadTicket::Outcome::failed) {
        auto error = std::make_exception_ptr(MusicError(MusicError::unplayable, pending->message));
        co_return LoadResult{LoadResult::Kind::failed, error, pending->message};
    }
    loaded = true;
    fresh = false;
    if (startTime > 0)
        engine.seek(startTime);
    startTime = 0;
    co_return LoadResult{LoadResult::Kind::loaded, {}, {}};
}

// Expands and loads the current entry unless it is loaded; false when a newer command took over.
QCoro::Task<bool> ApplicationMusicPlayer::Private::prepare(bool startPlaying)
{
    // The engine starts (the first time) while the service expands the queue and finds the URL.
    engine.prepare();
    const OwnerGuard guard(q);
    const auto generation = queueGeneration;
    co_await guard(expandSource());
    if (queueGeneration != generation)
        co_return false;
    if (entries.isEmpty())
        throw MusicError(MusicError::emptyQueue, QStringLiteral("The queue is empty."));
    if (entries.currentIndex() < 0)
        setCurrentIndex(0);
    if (loaded)
        co_return true;
    const auto result = co_await guard(loadCurrent(startPlaying));
    if (result.kind == LoadResult::Kind::superseded)
        co_return false;
    if (result.kind == LoadResult::Kind::failed) {
        unload();
        setStatus(MusicPlaybackStatus::stopped);
        std::rethrow_exception(result.error);
    }
    co_return true;
}

// The entry to go to after the current one, growing a station when it runs out.
QCoro::Task<std::optional<int>> ApplicationMusicPlayer::Private::nextIndex(bool wrap)
{
    auto next = entries.nextIndex(wrap && !station);
    if (!next && station) {
        co_await OwnerGuard(q)(refillStation());
        next = entries.nextIndex(false);
    }
    co_return next;
}

QCoro::Task<void> ApplicationMusicPlayer::Private::refillStation()
{
    if (!station)
        co_return;
    const auto generation = queueGeneration;
    const auto playing = *station;
    const OwnerGuard guard(q);
    refilling = true;
    QList<Song> songs;
    try {
        songs = co_await guard(service.stationSongs(playing, stationBatchSize));
    } catch (const OwnerGone &) {
        throw;
    } catch (...) {
        refilling = false;
        LUMEVAR_ERROR(Log::playback(), "Failed to load more songs of station %@: %@", playing.name, errorFromCurrentException());
        co_return;
    }
    refilling = false;
    if (queueGeneration != generation || songs.isEmpty())
        co_return;
    willChangeQueue();
    entries.append(PlaybackQueue::makeEntries(songs));
}

void ApplicationMusicPlayer::Private::refillStationIfNeeded()
{
    if (station && !refilling && entries.size() - entries.currentIndex() - 1 < stationRefillMargin)
        detach(refillStation());
}

// Plays the current entry (again, with repeatCurrent) or the ones after it, on the player's own
// initiative: failures are logged and skipped, never thrown.
QCoro::Task<void> ApplicationMusicPlayer::Private::playOnward(bool repeatCurrent)
{
    const OwnerGuard guard(q);
    if (!repeatCurrent) {
        const int before = entries.currentIndex();
        const auto next = co_await guard(nextIndex(isRepeatAll()));
        if (!next) {
            finishQueue();
            co_return;
        }
        if (*next <= before && entries.isShuffled())
            willChangeQueue(), entries.reshuffleForNextPass();
        else
            setCurrentIndex(*next);
    }
    // Every entry of the queue may be broken: give up after trying each once.
    const int attempts = std::max(entries.size(), 1);
    for (int failures = 0;;) {
        const auto result = co_await guard(loadCurrent(true));
        if (result.kind == LoadResult::Kind::superseded)
            co_return;
        if (result.kind == LoadResult::Kind::loaded) {
            setStatus(MusicPlaybackStatus::playing);
            refillStationIfNeeded();
            co_return;
        }
        const QString title = entries.current() ? entries.current()->title : QString();
        LUMEVAR_ERROR(Log::playback(), "Failed to play \u201c%@\u201d, skipping it: %@", title, result.message);
        Q_EMIT q->playbackFailed(result.message);
        guard.check();
        if (++failures >= attempts) {
            LUMEVAR_ERROR(Log::playback(), "Stopped after %d entries in a row failed to play", failures);
            unload();
            setStatus(MusicPlaybackStatus::stopped);
            co_return;
        }
        const auto next = co_await guard(nextIndex(isRepeatAll()));
        if (!next) {
            finishQueue();
            co_return;
        }
        setCurrentIndex(*next);
    }
}

QCoro::Task<void> ApplicationMusicPlayer::Private::skip(bool forward)
{
    const OwnerGuard guard(q);
    const auto generation = queueGeneration;
    co_await guard(expandSource());
    if (queueGeneration != generation)
        co_return;
    if (entries.isEmpty())
        throw MusicError(MusicError::emptyQueue, QStringLiteral("The queue is empty."));
    const bool active = status == MusicPlaybackStatus::playing || status == MusicPlaybackStatus::interrupted;
    const int before = entries.currentIndex();

    if (forward) {
        const auto next = co_await guard(nextIndex(isRepeatAll()));
        if (queueGeneration != generation)
            co_return;
        if (!next) {
            finishQueue();
            co_return;
        }
        if (*next <= before && entries.isShuffled())
            willChangeQueue(), entries.reshuffleForNextPass();
        else
            setCurrentIndex(*next);
    } else {
        const auto previous = entries.previousIndex();
        if (q->playbackTime() > previousRestartThreshold || !previous) {
            q->setPlaybackTime(0);
            co_return;
        }
        setCurrentIndex(*previous);
    }

    if (!active) {
        unload();
        co_return;
    }
    const auto result = co_await guard(loadCurrent(true));
    if (result.kind == LoadResult::Kind::superseded)
        co_return;
    if (result.kind == LoadResult::Kind::failed) {
        unload();
        setStatus(MusicPlaybackStatus::stopped);
        std::rethrow_exception(result.error);
    }
    setStatus(MusicPlaybackStatus::playing);
    refillStationIfNeeded();
}

// After an edit removed the current entry: the entry now current takes over.
void ApplicationMusicPlayer::Private::currentEntryReplaced(bool wasPlaying)
{
    unload();
    if (entries.currentIndex() < 0) {
        setStatus(MusicPlaybackStatus::stopped);
        return;
    }
    if (wasPlaying)
        detach(playOnward(true));
}

// MARK: - Engine events

void ApplicationMusicPlayer::Private::engineLoaded()
{
    if (ticket)
        ticket->settle(LoadTicket::Outcome::loaded);
}

void ApplicationMusicPlayer::Private::engineFailed(const QString &message)
{
    if (ticket) {
        ticket->settle(LoadTicket::Outcome::failed, message);
        return;
    }
    if (!loaded)
        return;
    // The file broke while it played.
    const QString title = entries.current() ? entries.current()->title : QString();
    LUMEVAR_ERROR(Log::playback(), "Playback of \u201c%@\u201d failed: %@", title, message);
    loaded = false;
    Q_EMIT q->playbackFailed(message);
    detach(playOnward(false));
}

void ApplicationMusicPlayer::Private::engineReachedEnd()
{
    if (!loaded)
        return;
    loaded = false;
    detach(playOnward(repeatMode == MusicRepeatMode::one));
}

void ApplicationMusicPlayer::Private::enginePausedChanged(bool paused)
{
    if (paused && engineShouldPlay && status == MusicPlaybackStatus::playing)
        setStatus(MusicPlaybackStatus::interrupted);
    else if (!paused && status == MusicPlaybackStatus::interrupted)
        setStatus(MusicPlaybackStatus::playing);
}

// MARK: - The player

ApplicationMusicPlayer::ApplicationMusicPlayer(AudioEngine &engine, MusicService &service, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>(this, engine, service))
{
    d->queue.reset(new Queue(this));
    d->state.reset(new State(this));
    connect(&engine, &AudioEngine::loaded, this, [this] { d->engineLoaded(); });
    connect(&engine, &AudioEngine::failed, this, [this](const QString &message) { d->engineFailed(message); });
    connect(&engine, &AudioEngine::endOfFile, this, [this] { d->engineReachedEnd(); });
    connect(&engine, &AudioEngine::pausedChanged, this, [this](bool paused) { d->enginePausedChanged(paused); });
}

ApplicationMusicPlayer::ApplicationMusicPlayer(AudioEngine &engine, QObject *parent)
    : ApplicationMusicPlayer(engine, MusicService::shared(), parent)
{
}

ApplicationMusicPlayer::~ApplicationMusicPlayer()
{
    if (installedPlayer == this)
        installedPlayer = nullptr;
    // Silence the engine without waking the coroutines that wait on it: they belong to a player
    // that is going away, and stay suspended.
    d->ticket.reset();
    if (d->engineGuard) {
        disconnect(d->engineGuard, nullptr, this, nullptr);
        d->engineGuard->stop();
    }
}

ApplicationMusicPlayer &ApplicationMusicPlayer::shared()
{
    Q_ASSERT_X(installedPlayer, "ApplicationMusicPlayer::shared", "no music player installed");
    return *installedPlayer;
}

void ApplicationMusicPlayer::setShared(ApplicationMusicPlayer *player) { installedPlayer = player; }

ApplicationMusicPlayer::Queue &ApplicationMusicPlayer::queue() { return *d->queue; }

ApplicationMusicPlayer::State &ApplicationMusicPlayer::state() { return *d->state; }

void ApplicationMusicPlayer::setQueue(QueueSource source)
{
    d->pendingSource.reset();
    d->station.reset();
    QList<MusicPlayerQueueEntry> entries;
    if (const auto *songs = std::get_if<QList<Song>>(&source))
        entries = PlaybackQueue::makeEntries(*songs);
    else if (const auto *song = std::get_if<Song>(&source))
        entries = {PlaybackQueue::makeEntry(*song)};
    else if (const auto *album = std::get_if<Album>(&source))
        d->pendingSource = *album;
    else if (const auto *playlist = std::get_if<Playlist>(&source))
        d->pendingSource = *playlist;
    else if (const auto *station = std::get_if<Station>(&source))
        d->pendingSource = *station, d->station = *station;
    d->resetQueue(std::move(entries));
    d->setStatus(MusicPlaybackStatus::stopped);
}

double ApplicationMusicPlayer::playbackTime() const { return d->loaded ? d->engine.position() : d->startTime; }

void ApplicationMusicPlayer::setPlaybackTime(double seconds)
{
    seconds = std::max(0.0, seconds);
    if (d->loaded)
        d->engine.seek(seconds);
    else
        d->startTime = seconds;
}

QCoro::Task<void> ApplicationMusicPlayer::prepareToPlay() { co_await d->prepare(false); }

void ApplicationMusicPlayer::prepareEngine() { d->engine.prepare(); }

QCoro::Task<void> ApplicationMusicPlayer::play()
{
    const auto intent = d->intentGeneration;
    const bool ready = co_await OwnerGuard(this)(d->prepare(true));
    if (!ready || d->intentGeneration != intent)
        co_return;
    d->setEnginePlaying(true);
    d->setStatus(MusicPlaybackStatus::playing);
    d->refillStationIfNeeded();
}

void ApplicationMusicPlayer::pause()
{
    ++d->intentGeneration;
    d->setEnginePlaying(false);
    if (d->status != MusicPlaybackStatus::stopped || d->loaded || d->loading)
        d->setStatus(MusicPlaybackStatus::paused);
}

void ApplicationMusicPlayer::stop()
{
    ++d->intentGeneration;
    d->unload();
    d->setStatus(MusicPlaybackStatus::stopped);
}

QCoro::Task<void> ApplicationMusicPlayer::skipToNextEntry() { return d->skip(true); }

QCoro::Task<void> ApplicationMusicPlayer::skipToPreviousEntry() { return d->skip(false); }

void ApplicationMusicPlayer::setRandomSeed(quint32 seed) { d->entries.seed(seed); }

// MARK: - Queue and state

ApplicationMusicPlayerQueue::ApplicationMusicPlayerQueue(ApplicationMusicPlayer *player) : m_player(player) {}

const QList<ApplicationMusicPlayerQueue::Entry> &ApplicationMusicPlayerQueue::entries() const
{
    return m_player->d->entries.entries();
}

std::optional<ApplicationMusicPlayerQueue::Entry> ApplicationMusicPlayerQueue::currentEntry() const
{
    const auto *current = m_player->d->entries.current();
    return current ? std::optional<Entry>(*current) : std::nullopt;
}

void ApplicationMusicPlayerQueue::setEntries(QList<Entry> entries)
{
    auto &d = *m_player->d;
    if (entries.isEmpty()) {
        d.pendingSource.reset();
        d.station.reset();
        d.resetQueue({});
        d.setStatus(MusicPlaybackStatus::stopped);
        return;
    }
    const bool wasPlaying = d.status == MusicPlaybackStatus::playing;
    if (d.pendingSource) {
        // Entries given by hand win over a collection still waiting to be expanded.
        d.pendingSource.reset();
        ++d.queueGeneration;
    }
    d.willChangeQueue();
    if (d.entries.replace(std::move(entries)))
        d.currentEntryReplaced(wasPlaying);
}

void ApplicationMusicPlayerQueue::removeEntries(const QList<int> &offsets)
{
    auto &d = *m_player->d;
    const bool wasPlaying = d.status == MusicPlaybackStatus::playing;
    d.willChangeQueue();
    if (d.entries.remove(offsets)) {
        if (d.entries.isEmpty())
            d.station.reset();
        d.currentEntryReplaced(wasPlaying);
    }
}

void ApplicationMusicPlayerQueue::moveEntries(const QList<int> &offsets, int destination)
{
    auto &d = *m_player->d;
    d.willChangeQueue();
    d.entries.move(offsets, destination);
}

ApplicationMusicPlayerState::ApplicationMusicPlayerState(ApplicationMusicPlayer *player) : m_player(player) {}

const char *playbackStatusName(MusicPlaybackStatus status)
{
    switch (status) {
    case MusicPlaybackStatus::stopped: return "stopped";
    case MusicPlaybackStatus::playing: return "playing";
    case MusicPlaybackStatus::paused: return "paused";
    case MusicPlaybackStatus::interrupted: return "interrupted";
    case MusicPlaybackStatus::seekingForward: return "seekingForward";
    case MusicPlaybackStatus::seekingBackward: return "seekingBackward";
    }
    return "unknown";
}

MusicPlaybackStatus ApplicationMusicPlayerState::playbackStatus() const { return m_player->d->status; }

std::optional<MusicShuffleMode> ApplicationMusicPlayerState::shuffleMode() const { return m_player->d->shuffleMode; }

void ApplicationMusicPlayerState::setShuffleMode(std::optional<MusicShuffleMode> mode)
{
    auto &d = *m_player->d;
    if (mode == d.shuffleMode)
        return;
    const bool wasOn = d.isShuffleOn();
    Q_EMIT objectWillChange();
    d.shuffleMode = mode;
    const bool on = d.isShuffleOn();
    if (on == wasOn || d.station || d.entries.isEmpty())
        return;
    // Before the queue began nothing is loaded, so the first entry may change too.
    const bool choosesFirst = d.fresh && !d.loaded && !d.loading;
    d.willChangeQueue();
    if (on)
        d.entries.shuffle(!choosesFirst);
    else
        d.entries.unshuffle(choosesFirst);
}

std::optional<MusicRepeatMode> ApplicationMusicPlayerState::repeatMode() const { return m_player->d->repeatMode; }

void ApplicationMusicPlayerState::setRepeatMode(std::optional<MusicRepeatMode> mode)
{
    if (mode == m_player->d->repeatMode)
        return;
    Q_EMIT objectWillChange();
    m_player->d->repeatMode = mode;
}

#include "ApplicationMusicPlayer.moc"

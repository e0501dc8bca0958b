// The playback commands of MainViewModel. Each command sets the mirror fields first, so that the
// player surface moves before the player answers.

#include "Lumevar/Model/MainViewModel.h"

#include "Lumevar/Model/ErrorReporting.h"
#include "LumevarCore/AddLibraryRequest.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Support/Animation.h"
#include "Support/Clock.h"
#include "Support/Log.h"
#include "Support/OwnerGuard.h"

#include <QPointer>
#include <algorithm>

namespace {

QList<Song> platformSongs(const QList<LocalSong> &songs)
{
    QList<Song> result;
    result.reserve(songs.size());
    for (const LocalSong &song : songs)
        result.append(song.song());
    return result;
}

// The "Added to Library" toast appears with a short spring; a group of its response time stands
// in for it.
constexpr double toastAnimationDuration = 0.3;

// Takes a song just added at the service into the local store, a while after the toast went away.
QCoro::Task<void> syncInsertsLater(double delay)
{
    try {
        co_await Clock::shared().sleep(delay);
    } catch (const CancellationError &) {
        co_return;
    }
    SyncEngine engine(LocalDatabase::shared());
    co_await engine.syncInserts();
}

} // namespace

void MainViewModel::setPlayerQueue(QList<LocalSong> songs, std::optional<MusicShuffleMode> shuffleMode)
{
    ApplicationMusicPlayer &musicPlayer = player();
    musicPlayer.setQueue(platformSongs(songs));
    // An absent mode leaves the order to the player; it is not the same as off.
    musicPlayer.state().setShuffleMode(shuffleMode);
}

void MainViewModel::expectPlayback() { player().prepareEngine(); }

void MainViewModel::beginPlayback()
{
    LUMEVAR_INFO(Log::playback(), "Setting eager entries for playback");
    _isStopped.set(false);
    _eagerEntryDate.set(Clock::shared().now());
}

QCoro::Task<void> MainViewModel::startPlayer()
{
    // The player is the process's and outlives this call; nothing of the model is touched here.
    ApplicationMusicPlayer &musicPlayer = player();
    co_await musicPlayer.prepareToPlay();
    co_await musicPlayer.play();
}

QCoro::Task<void> MainViewModel::playSelection(QList<LocalSong> list, QString id)
{
    beginPlayback();
    if (id == SongSelection::playID) {
        _eagerEntry.set(list.isEmpty() ? std::nullopt : std::optional<LocalSong>(list.first()));
        setPlayerQueue(list.mid(0, maxQueueLength), std::nullopt);
    } else if (id == SongSelection::shuffleID) {
        // The player shuffles these first songs of the list, not the whole list.
        _eagerEntry.set(std::nullopt);
        setPlayerQueue(list.mid(0, maxQueueLength), MusicShuffleMode::songs);
    } else {
        const auto found = std::find_if(list.begin(), list.end(), [&id](const LocalSong &song) { return song.identifier == id; });
        if (found != list.end()) {
            // From the chosen song on; the songs above it are not queued and the queue does not wrap.
            const qsizetype index = found - list.begin();
            _eagerEntry.set(*found);
            setPlayerQueue(list.mid(index, maxQueueLength), std::nullopt);
        }
        // No such song: the queue and the shuffle mode stay as they were.
    }
    refreshPlayerEntry();
    saveSnapback();
    co_await startPlayer();
}

QCoro::Task<void> MainViewModel::playSongs(QList<LocalSong> songs, bool shuffle)
{
    beginPlayback();
    if (shuffle) {
        _eagerEntry.set(std::nullopt);
        setPlayerQueue(songs.mid(0, maxQueueLength), MusicShuffleMode::songs);
    } else {
        _eagerEntry.set(songs.isEmpty() ? std::nullopt : std::optional<LocalSong>(songs.first()));
        setPlayerQueue(songs.mid(0, maxQueueLength), std::nullopt);
    }
    // The callers save a place of their own before they call.
    refreshPlayerEntry();
    co_await startPlayer();
}

void MainViewModel::reportPlayFailure(const Error &error)
{
    ErrorReporter::shared().reportError(error, QStringLiteral("play_song"));
    LUMEVAR_ERROR(Log::playback(), "Failed to play song: %@", error);
    _showPlayError.set(true);
}

QCoro::Task<void> MainViewModel::pausePlayback()
{
    // _isPlaying follows through the state subscription.
    player().pause();
    co_return;
}

QCoro::Task<void> MainViewModel::resumePlayback()
{
    _isStopped.set(false);
    try {
        co_await player().play();
    } catch (...) {
        const Error error = errorFromCurrentException();
        ErrorReporter::shared().reportError(error, QStringLiteral("resume_playback"));
        LUMEVAR_ERROR(Log::playback(), "Failed to resume playback: %@", error);
    }
}

QCoro::Task<void> MainViewModel::stopPlayback()
{
    ApplicationMusicPlayer &musicPlayer = player();
    musicPlayer.stop();
    musicPlayer.queue().setEntries({});
    const OwnerGuard guard(this);
    try {
        // Lets the player settle before the mirror is blanked.
        co_await guard(Clock::shared().sleep(stopSettleDelay));
    } catch (const CancellationError &) {
        co_return;
    }
    _eagerEntry.set(std::nullopt);
    // With an empty queue this blanks every mirror field, and starts an artwork task ...
    refreshPlayerEntry();
    // ... which is cancelled at once: no trace of the song may stay, its artwork included.
    cancelArtworkTask();
    // The next song counts as a change, even the same one.
    _playingItemIDForArtwork.set(std::nullopt);
    _isStopped.set(true);
}

QCoro::Task<void> MainViewModel::skip(bool forward)
{
    _eagerEntry.set(std::nullopt);
    QPointer self(this);
    try {
        if (forward)
            co_await player().skipToNextEntry();
        else
            co_await player().skipToPreviousEntry();
        if (self)
            self->refreshPlayerEntry();
    } catch (...) {
        const Error error = errorFromCurrentException();
        if (forward) {
            ErrorReporter::shared().reportError(error, QStringLiteral("skip_next"));
            LUMEVAR_ERROR(Log::playback(), "Failed to skip to next entry: %@", error);
        } else {
            ErrorReporter::shared().reportError(error, QStringLiteral("skip_previous"));
            LUMEVAR_ERROR(Log::playback(), "Failed to skip to previous entry: %@", error);
        }
    }
}

QCoro::Task<void> MainViewModel::skipToNext() { return skip(true); }

QCoro::Task<void> MainViewModel::skipToPrevious() { return skip(false); }

bool MainViewModel::isShuffled() const { return player().state().shuffleMode() == MusicShuffleMode::songs; }

void MainViewModel::setShuffled(bool shuffled)
{
    if (shuffled == isShuffled())
        return;
    player().state().setShuffleMode(shuffled ? MusicShuffleMode::songs : MusicShuffleMode::off);
}

std::optional<MusicShuffleMode> MainViewModel::shuffleMode() const { return player().state().shuffleMode(); }

QMetaObject::Connection MainViewModel::observePlayerModes(QObject *context, std::function<void()> changed) const
{
    // The player's state announces a change before making it: the call waits a turn.
    return connect(&player().state(), &ApplicationMusicPlayerState::objectWillChange, context, std::move(changed),
                   Qt::QueuedConnection);
}

namespace {

// The offsets in the player's whole queue of the entries with these ids.
QList<int> queueOffsets(const QList<MusicPlayerQueueEntry> &entries, const QStringList &ids)
{
    QList<int> offsets;
    for (int offset = 0; offset < entries.size(); ++offset) {
        if (ids.contains(entries.at(offset).id))
            offsets.append(offset);
    }
    return offsets;
}

} // namespace

void MainViewModel::removeQueueEntries(const QStringList &entryIDs)
{
    ApplicationMusicPlayer::Queue &queue = player().queue();
    const QList<int> offsets = queueOffsets(queue.entries(), entryIDs);
    if (offsets.isEmpty())
        return;
    queue.removeEntries(offsets);
    refreshPlayerEntry();
}

void MainViewModel::moveQueueEntries(const QStringList &entryIDs, const std::optional<QString> &beforeEntryID)
{
    ApplicationMusicPlayer::Queue &queue = player().queue();
    const QList<MusicPlayerQueueEntry> &entries = queue.entries();
    const QList<int> offsets = queueOffsets(entries, entryIDs);
    if (offsets.isEmpty())
        return;
    int target = int(entries.size());
    if (beforeEntryID) {
        const auto found = std::find_if(entries.begin(), entries.end(), [&](const auto &entry) { return entry.id == *beforeEntryID; });
        if (found != entries.end())
            target = int(found - entries.begin());
    }
    queue.moveEntries(offsets, target);
    refreshPlayerEntry();
}

MusicRepeatMode MainViewModel::repeatMode() const { return player().state().repeatMode().value_or(MusicRepeatMode::none); }

void MainViewModel::setRepeatMode(MusicRepeatMode mode) { player().state().setRepeatMode(mode); }

void MainViewModel::cycleRepeatMode()
{
    switch (repeatMode()) {
    case MusicRepeatMode::none: setRepeatMode(MusicRepeatMode::all); break;
    case MusicRepeatMode::all: setRepeatMode(MusicRepeatMode::one); break;
    case MusicRepeatMode::one: setRepeatMode(MusicRepeatMode::none); break;
    }
}

void MainViewModel::setCurrentPlayingTime(double seconds)
{
    _currentPlayingTime.set(seconds);
    player().setPlaybackTime(seconds);
}

QCoro::Task<void> MainViewModel::addCurrentSongToLibrary()
{
    const std::optional<MusicPlayer::Queue::Entry> entry = player().queue().currentEntry();
    // Stations, music videos and other items cannot be added.
    if (!entry || !entry->song())
        co_return;
    const QString songID = entry->song()->id.rawValue();
    const OwnerGuard guard(this);
    try {
        co_await guard(AddLibraryRequest(songID).perform());
    } catch (const OwnerGone &) {
        co_return;
    } catch (...) {
        const Error error = errorFromCurrentException();
        ErrorReporter::shared().reportError(error, QStringLiteral("add_to_library"));
        LUMEVAR_ERROR(Log::playback(), "Failed to add song to library: %@", error);
        co_return;
    }
    _canAddToLibrary.set(false);
    runAnimationGroup(toastAnimationDuration, true, [this] { _showAddToast.set(true); });
    // The toast hides itself and the song reaches the store without anyone else's help.
    if (!m_holdingAddToast)
        detach(holdAddToast());
}

QCoro::Task<void> MainViewModel::holdAddToast(CancellationToken token)
{
    QPointer self(this);
    m_holdingAddToast = true;
    try {
        co_await Clock::shared().sleep(addToastDuration, token);
    } catch (const CancellationError &) {
        // Cut short: hide and go on at once.
    }
    if (self) {
        self->m_holdingAddToast = false;
        self->_showAddToast.set(false);
    }
    detach(syncInsertsLater(syncInsertsDelay));
}

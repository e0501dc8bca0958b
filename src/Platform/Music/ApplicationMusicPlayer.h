#pragma once
// The application's music player: a queue of entries with a current one, a playback state, and
// the commands that move through the queue. It resolves entries into URLs through the
// MusicService and sends them to an AudioEngine. Main thread only.
//
// Behaviour:
// - setQueue() replaces the queue and unloads what played; the first entry becomes current. An
//   album, playlist or station is expanded into songs by the next prepareToPlay() or play() (until
//   then the queue has no entries); a collection without songs fails with MusicError::emptyQueue.
// - prepareToPlay() loads the current entry paused; play() loads it if needed and starts it. Both
//   throw when the queue is empty, when a collection cannot be expanded, and when the entry cannot
//   be played (no URL, or the engine fails on it); the entry then stays current and nothing plays.
//   A command overtaken by a newer one (another play, a new queue, stop) ends quietly.
// - When a track ends, the next entry plays; at the end of the queue playback stops: the queue
//   stays, the first entry becomes current again (play() starts the queue over) and the status is
//   stopped. Repeat one replays the entry; repeat all wraps around to the first.
// - Shuffle (shuffleMode songs) reorders the entries themselves, so that what follows the current
//   entry is what plays next, and every entry plays once per pass. Switched on before the queue
//   has started, it draws the first entry too; switched on during playback, the current entry
//   moves to the front and the rest are shuffled behind it. With repeat all each pass draws a new
//   order. Switching shuffle off (off or absent) restores the original order. A queue set while
//   shuffle is on is shuffled when it gets its entries.
// - A station queue asks the service for stationBatchSize more songs whenever fewer than
//   stationRefillMargin entries follow the current one, so it never ends. Shuffle and repeat all
//   do not reorder or wrap a station; repeat one still replays.
// - skipToNextEntry() ignores repeat one; past the last entry it wraps with repeat all and
//   otherwise stops as at the end of the queue. skipToPreviousEntry() restarts the current entry
//   when more than previousRestartThreshold seconds have played, and goes to the previous entry
//   otherwise; at the first entry it restarts it (it never wraps backwards). A skip keeps the
//   player's mode: playing goes on playing the new entry (and throws if it cannot be played),
//   paused or stopped just moves the current entry.
// - pause() keeps the position; stop() unloads the entry and keeps the queue and the current entry
//   (empty the queue with queue().setEntries({})). playbackTime is the position in the current
//   entry; writing it seeks, or sets where the entry starts when it is not loaded yet.
// - When an entry fails while the player advances on its own (end of a track, a file that breaks
//   while playing), the failure is logged, playbackFailed is emitted and the next entry is tried;
//   after as many failures in a row as the queue has entries, playback stops.
// - Removing or replacing the current entry makes the entry that followed it current (and plays it
//   if the player was playing); with nothing after it, playback stops.
// - Statuses: stopped, playing, paused, and interrupted when the engine paused without being asked
//   (the output went away); seeking is instantaneous here, so the seeking statuses never show.
// - queue().objectWillChange and state().objectWillChange fire before each change, often several
//   times around one track change: observers are expected to coalesce them.
#include "Platform/Music/MusicTypes.h"

#include <QCoroTask>
#include <QObject>
#include <memory>

class AudioEngine;
class MusicService;

enum class MusicPlaybackStatus { stopped, playing, paused, interrupted, seekingForward, seekingBackward };
// The status by its name ("playing"), for log lines.
const char *playbackStatusName(MusicPlaybackStatus status);
enum class MusicShuffleMode { off, songs };
enum class MusicRepeatMode { none, one, all };

class ApplicationMusicPlayer;

// The queue: ordered entries with stable ids and the current one.
class ApplicationMusicPlayerQueue : public QObject {
    Q_OBJECT
public:
    using Entry = MusicPlayerQueueEntry;

    const QList<Entry> &entries() const;
    std::optional<Entry> currentEntry() const;

    // Replaces the entries (an empty list stops playback and empties the queue). The current
    // entry stays current when it is still in the list.
    void setEntries(QList<Entry> entries);
    // Removes the entries at the given offsets (offsets out of range are ignored).
    void removeEntries(const QList<int> &offsets);
    // Moves the entries at the given offsets before the entry at destination (offsets of the
    // list as it was before the move, as list views report them).
    void moveEntries(const QList<int> &offsets, int destination);

Q_SIGNALS:
    // Fires before the queue or its current entry changes.
    void objectWillChange();

private:
    friend class ApplicationMusicPlayer;
    explicit ApplicationMusicPlayerQueue(ApplicationMusicPlayer *player);
    ApplicationMusicPlayer *m_player;
};

// The playback state.
class ApplicationMusicPlayerState : public QObject {
    Q_OBJECT
public:
    MusicPlaybackStatus playbackStatus() const;
    // Absent means no explicit mode was requested (the player plays in order).
    std::optional<MusicShuffleMode> shuffleMode() const;
    void setShuffleMode(std::optional<MusicShuffleMode> mode);
    std::optional<MusicRepeatMode> repeatMode() const;
    void setRepeatMode(std::optional<MusicRepeatMode> mode);

Q_SIGNALS:
    // Fires before the state changes.
    void objectWillChange();

private:
    friend class ApplicationMusicPlayer;
    explicit ApplicationMusicPlayerState(ApplicationMusicPlayer *player);
    ApplicationMusicPlayer *m_player;
};

class ApplicationMusicPlayer : public QObject {
    Q_OBJECT
public:
    static constexpr double previousRestartThreshold = 3.0;
    static constexpr int stationBatchSize = 10;
    static constexpr int stationRefillMargin = 2;

    // What a queue can be made from.
    using QueueSource = std::variant<QList<Song>, Song, Album, Playlist, Station>;

    // ApplicationMusicPlayer::Queue and ::State, as the platform names them (moc cannot nest QObjects).
    using Queue = ApplicationMusicPlayerQueue;
    using State = ApplicationMusicPlayerState;

    // The service must outlive the player; the engine should (a player outliving it stays silent).
    ApplicationMusicPlayer(AudioEngine &engine, MusicService &service, QObject *parent = nullptr);
    // A player over the service of the process (MusicService::shared(), which must be installed).
    explicit ApplicationMusicPlayer(AudioEngine &engine, QObject *parent = nullptr);
    ~ApplicationMusicPlayer() override;

    // The player of the process, installed at start-up.
    static ApplicationMusicPlayer &shared();
    static void setShared(ApplicationMusicPlayer *player);

    Queue &queue();
    State &state();

    // Replaces the queue, starting at the first entry (the platform's Queue(for:startingAt: nil)).
    // Collections are expanded into their tracks when prepareToPlay() or play() runs.
    void setQueue(QueueSource source);

    double playbackTime() const;
    void setPlaybackTime(double seconds);

    QCoro::Task<void> prepareToPlay();
    QCoro::Task<void> play();
    // Starts the audio engine ahead of a play that is likely soon, without loading anything.
    void prepareEngine();
    void pause();
    void stop();
    QCoro::Task<void> skipToNextEntry();
    QCoro::Task<void> skipToPreviousEntry();

    // Seeds the shuffle order, so that tests can replay it.
    void setRandomSeed(quint32 seed);

Q_SIGNALS:
    // An entry failed while the player advanced on its own; the player moved on.
    void playbackFailed(const QString &message);

private:
    friend class ApplicationMusicPlayerQueue;
    friend class ApplicationMusicPlayerState;
    struct Private;
    std::unique_ptr<Private> d;
};

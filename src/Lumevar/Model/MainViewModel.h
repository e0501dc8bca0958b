#pragma once
// The central model of the application, on the main thread. It holds, in observable fields that
// the views follow:
// - a mirror of the music player (what plays, the position, the queue from the current entry on),
//   including the eager entry: the song the user just chose, shown at once while the player
//   catches up, trusted for eagerTrustWindow seconds (MainViewModelPlayerMirror.cpp);
// - the playback commands, and the one place where a list of songs becomes a player queue of at
//   most maxQueueLength songs (MainViewModelPlaybackCommands.cpp);
// - the navigation state: selections of every list, the drill-down path, the active pane, and
//   Library SnapBack, the jump back to where the current music was started
//   (MainViewModelNavigation.cpp);
// - the coordination of full library syncs, and start() (MainViewModelFullSync.cpp).
//
// Fields are public `Observable<T>` members named with a leading underscore; read them with
// `_isPlaying()` and write them with `_isPlaying.set(...)`. Collaborators are the process's shared
// instances: ApplicationMusicPlayer::shared(), LocalDatabase::shared(), MusicService::shared(),
// Clock::shared(), UserDefaults::standard(), NotificationCenter::shared() and
// ErrorReporter::shared(); tests install their own before making the model.

#include "Lumevar/Model/ListScrollState.h"
#include "Lumevar/Model/NavigationTypes.h"
#include "LumevarCore/Records.h"
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "Support/NotificationCenter.h"
#include "Support/Observable.h"
#include "Support/Task.h"

#include <QCoroTask>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>
#include <optional>

class Error;
class Progress;
class ScheduledCall;

class MainViewModel : public QObject {
    Q_OBJECT
public:
    // The artwork load of a newly shown item; it must honour the token and settle
    // _playingItemIDForArtwork when done. Receives no item when nothing is shown.
    using ArtworkTask = std::function<QCoro::Task<void>(std::optional<PlaybackItem> item, CancellationToken token)>;

    static constexpr double eagerTrustWindow = 5.0;      // seconds
    static constexpr double playerChangeDebounce = 0.033; // seconds
    static constexpr double positionTimerInterval = 1.0; // seconds
    static constexpr int maxQueueLength = 200;           // songs handed to the player at most
    static constexpr double stopSettleDelay = 0.1;       // seconds
    static constexpr double addToastDuration = 3.0;      // seconds
    static constexpr double syncInsertsDelay = 3.0;      // seconds after the toast went away
    static inline const QString performedFullSyncKey = QStringLiteral("performedFullSync");
    static inline const QString reloadVisibleRowsNotification = QStringLiteral("reloadVisibleRows");
    static inline const QString productName = QStringLiteral("Lumevar");
    // Public web endpoint of the share link; the region part of the path is always "us".
    static inline const QString shareLinkBase = QStringLiteral("https://music.apple.com/us/song/");

    explicit MainViewModel(QObject *parent = nullptr);
    ~MainViewModel() override;

    // The scroll places and scroll requests of this window's lists.
    ListScrollState &listScrollState() { return m_listScrollState; }

    // ---- Player mirror ----
    Observable<bool> _isPlaying{false};
    Observable<bool> _isStopped{true};
    Observable<std::optional<QString>> _playingTitle;
    Observable<std::optional<QString>> _playingSubtitle;
    Observable<std::optional<Artwork>> _playingArtwork;
    Observable<std::optional<QString>> _playingItemIDForArtwork;
    Observable<bool> _canAddToLibrary{false};
    Observable<std::optional<QUrl>> _shareLink;
    // The playing song, when the service makes its links on request (a server's share).
    Observable<std::optional<QString>> _shareableSongID;
    Observable<double> _playingDuration{0.0};
    Observable<double> _currentPlayingTime{0.0};
    Observable<std::optional<LocalSong>> _eagerEntry;
    Observable<std::optional<double>> _eagerEntryDate; // Clock seconds (since 2001-01-01 UTC)
    Observable<QList<MusicPlayer::Queue::Entry>> _queue;

    // Recomputes what the player surface shows (eager entry or the player's current entry), the
    // queue, the library check and share link, the artwork task, duration and position.
    void refreshPlayerEntry();
    // Mirrors the player's status into _isPlaying and runs the position timer.
    void refreshPlaybackStatus();
    // Drops the eager entry once the player plays an entry of the same title.
    void clearEagerEntryIfNeeded();
    // _eagerEntry and _eagerEntryDate set, and the date within eagerTrustWindow of now.
    bool hasFreshEagerEntry() const;
    // Connects the two debounced player subscriptions and runs refreshPlayerEntry() once.
    void subscribeToPlayer();

    // Whether a collection row is where the current playback was started from (by the place
    // saved at the last play, not by the queue).
    bool isPlayingSource(const LocalPlaylist &playlist) const;
    bool isPlayingSource(const LocalAlbum &album) const;
    bool isPlayingSource(const LocalArtist &artist) const;
    // kind is ContainerKind::madeForYou or ContainerKind::stations.
    bool isPlayingSource(const MusicPersonalRecommendation::Item &item, ContainerKind kind) const;
    bool isPlayingSource(ContainerKind kind, const QString &id) const;
    // Whether a song row gets the now-playing mark: playing, and the song is the current entry.
    bool isPlayingSong(const LocalSong &song) const;
    // Whether the position timer runs; for tests and diagnostics.
    bool hasPlaybackTimer() const;

    // Replaces the artwork task (default: does nothing).
    void setArtworkTask(ArtworkTask task);
    // Whether an artwork task is live; for tests and diagnostics.
    bool hasPendingPlayerThumbnailTask() const { return m_pendingPlayerThumbnailTask.has_value(); }

    // ---- Playback commands ----
    Observable<bool> _showPlayError{false};
    Observable<bool> _showAddToast{false};

    bool isShuffled() const;
    void setShuffled(bool shuffled);
    // The shuffle mode asked of the player; none when nothing was asked yet.
    std::optional<MusicShuffleMode> shuffleMode() const;
    // Calls changed (a turn later) whenever the player's shuffle, repeat or status is about to
    // change; the connection ends with context.
    QMetaObject::Connection observePlayerModes(QObject *context, std::function<void()> changed) const;
    // Edits the player's queue by the stable ids of its entries (ids no longer queued are
    // skipped), then refreshes the queue mirror at once.
    void removeQueueEntries(const QStringList &entryIDs);
    // Moves the entries before the entry beforeEntryID, or to the queue's end for none.
    void moveQueueEntries(const QStringList &entryIDs, const std::optional<QString> &beforeEntryID);
    MusicRepeatMode repeatMode() const;
    void setRepeatMode(MusicRepeatMode mode);
    double currentPlayingTime() const { return _currentPlayingTime(); }
    // Seeks: writes the mirror first, then the player.
    void setCurrentPlayingTime(double seconds);

    // The user chose something playable (a song, an album, a station): the player's engine
    // starts now rather than at the play that likely follows. Not at launch: a started engine
    // holds about 40 MB, which a session that only browses does without.
    void expectPlayback();
    QCoro::Task<void> pausePlayback();
    QCoro::Task<void> resumePlayback();
    // Stops and leaves no trace of the song, artwork included.
    QCoro::Task<void> stopPlayback();
    QCoro::Task<void> skipToNext();
    QCoro::Task<void> skipToPrevious();
    QCoro::Task<void> addCurrentSongToLibrary();
    // The link to copy for the playing song: _shareLink, else one the service makes now. Throws
    // with the service's reason when there is none.
    QCoro::Task<QUrl> linkToShare();
    void cycleRepeatMode();
    // While the "Added to Library" toast is up: waits addToastDuration (or less when the token is
    // cancelled), hides it, and takes the new song into the store syncInsertsDelay seconds later.
    // A successful addCurrentSongToLibrary() starts it; an add while the toast is up shares it.
    QCoro::Task<void> holdAddToast(CancellationToken token = {});

    // Plays a list handed in by a collection model or search: the first maxQueueLength songs,
    // shuffled or from the first. Does not save a place. Errors of the player reach the caller.
    QCoro::Task<void> playSongs(QList<LocalSong> songs, bool shuffle);
    // Plays a row of a song list: "play", "shuffle" or a song's identifier (then from that song
    // on). Shows the song at once, saves the place, then starts the player. Errors of the player
    // reach the caller.
    QCoro::Task<void> playSelection(QList<LocalSong> list, QString id);
    // What a song list does when a play failed: report "play_song", log, raise the alert.
    void reportPlayFailure(const Error &error);

    // ---- Navigation and Library SnapBack ----
    Observable<std::optional<QString>> _selectedContainerKindID;
    Observable<std::optional<QString>> _selectedPlaylistID;
    Observable<std::optional<QString>> _selectedAlbumID;
    Observable<std::optional<QString>> _selectedArtistID;
    Observable<std::optional<MusicItemID>> _selectedMadeForYouID;
    Observable<std::optional<MusicItemID>> _selectedStationID;
    Observable<std::optional<QString>> _selectedTopLevelSongID;
    Observable<std::optional<QString>> _selectedDetailSongID;
    Observable<QList<LocalSong>> _topLevelSongs;
    Observable<QList<LocalSong>> _detailSongs;
    Observable<QList<NavigationItem>> _navigationPath;
    Observable<int> _activePane{0};
    Observable<bool> _isSingleColumn{false};
    Observable<bool> _isDoubleColumn{false};
    Observable<std::optional<SavedSnapbackState>> _lastSavedSnapbackState;
    // A song to select in the detail list at its next publish; not observed.
    std::optional<QString> detailSongIDToRestore;

    std::optional<ContainerKind> selectedContainerKind() const;
    QString windowTitle() const;
    // One pane back, animated; the path stays.
    void navigateBack();
    // Records the current place as the place to snap back to.
    void saveSnapback();
    // Records the place of an item started from search, which the user never visited.
    void saveSnapback(const LocalPlaylist &playlist);
    void saveSnapback(const LocalAlbum &album);
    void saveSnapback(const LocalArtist &artist);
    void saveSnapback(const LocalSong &song); // the Songs container; the song itself is not stored
    // kind is ContainerKind::madeForYou or ContainerKind::stations.
    void saveSnapback(const MusicPersonalRecommendation::Item &item, ContainerKind kind);
    void snapBack();
    void restoreSelections(const SavedSnapbackState &state);

    // ---- Full sync ----
    Observable<bool> _showSyncingToast{false};
    Observable<std::shared_ptr<Progress>> _syncProgress;

    // A message about the store for the window to show, empty for none: the store was damaged
    // and rebuilt, or it cannot be written and the library lives in memory for this run.
    Observable<QString> _storeNotice;
    // Counts the syncs that changed the store behind the lists' backs; the window reloads the
    // lists on screen when it moves.
    Observable<int> _libraryVersion{0};
    // The revision of the service's library that the store last mirrored (see
    // MusicService::libraryRevision()).
    static inline const QString syncedLibraryRevisionKey = QStringLiteral("syncedLibraryRevision");

    // Mirrors the whole library into the store with the "Syncing Library" toast up. Reports its
    // own errors; on success remembers performedFullSyncKey.
    QCoro::Task<void> performFullSync();
    // Update Library: the service reads its library again (a folder watched on a network disk
    // misses what other machines change), then the whole library is mirrored as above.
    QCoro::Task<void> updateLibrary();
    // For a service that knows when its library changed: when its revision differs from the one
    // the store last mirrored, applies what changed since (when the service still knows it), else
    // mirrors it again, without the toast. Runs again when asked while it runs. Reports its own
    // errors.
    QCoro::Task<void> syncLibraryChanges();
    // Fills in playlists that are known but still empty; reports its own errors.
    QCoro::Task<void> syncEmptyPlaylistContents();
    // Launch: the first full sync if none succeeded yet, the empty-playlist task, the Playlists
    // container, the path, and the player subscriptions.
    QCoro::Task<void> start();

private:
    ListScrollState m_listScrollState;
    void startArtworkTask(std::optional<PlaybackItem> item);
    void cancelArtworkTask();
    void checkLibrary(PlaybackItem item);
    void setPlaybackTimerRunning(bool running);
    void postReloadVisibleRows();
    void beginPlayback();
    void setPlayerQueue(QList<LocalSong> songs, std::optional<MusicShuffleMode> shuffleMode);
    QCoro::Task<void> startPlayer();
    QCoro::Task<void> skip(bool forward);
    SavedSnapbackState stateWithCurrentSelections(QList<NavigationItem> path) const;
    std::optional<QString> currentEntryTitle() const;
    static ApplicationMusicPlayer &player();

    ArtworkTask m_artworkTask;
    std::optional<TaskHandle> m_pendingPlayerThumbnailTask;
    std::unique_ptr<ScheduledCall> m_playbackTimer;
    std::unique_ptr<ScheduledCall> m_statusDebounce;
    std::unique_ptr<ScheduledCall> m_queueDebounce;
    bool m_holdingAddToast = false;
    QList<QMetaObject::Connection> m_playerConnections;
    // Full sync state: the store lives in memory this run (nothing learnt may be remembered as
    // synced), a change sync runs, another was asked for meanwhile.
    QCoro::Task<bool> runSync(bool showToast);
    // Applies the service's changes from one revision to the next; false when they are not known
    // or could not be written (the caller then syncs whole).
    QCoro::Task<bool> applyLibraryChanges(QString synced, QString revision);
    void rememberSyncedRevision(const QString &revision);
    bool m_storeIsTemporary = false;
    bool m_changeSyncRunning = false;
    bool m_changeSyncAgain = false;
    std::optional<QString> m_syncedRevision;
    QMetaObject::Connection m_libraryChange;
};

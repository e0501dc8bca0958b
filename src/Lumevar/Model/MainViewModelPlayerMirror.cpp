// The player half of MainViewModel: a copy of what the music player does, in plain fields, plus
// the eager entry that covers the player's delay in reporting a newly started song.

#include "Lumevar/Model/MainViewModel.h"

#include "LumevarCore/LocalDatabase.h"
#include "Platform/Music/MusicService.h"
#include "Support/Clock.h"
#include "Support/Error.h"
#include "Support/Log.h"
#include "Support/NotificationCenter.h"
#include "Support/Progress.h"

#include <QPointer>
#include <algorithm>

MainViewModel::MainViewModel(QObject *parent) : QObject(parent)
{
    // Until the artwork half installs its loader, an item counts as settled as soon as it shows.
    m_artworkTask = [](std::optional<PlaybackItem>, CancellationToken) -> QCoro::Task<void> { co_return; };
}

MainViewModel::~MainViewModel()
{
    cancelArtworkTask();
    for (const QMetaObject::Connection &connection : std::as_const(m_playerConnections))
        QObject::disconnect(connection);
}

ApplicationMusicPlayer &MainViewModel::player() { return ApplicationMusicPlayer::shared(); }

void MainViewModel::setArtworkTask(ArtworkTask task) { m_artworkTask = std::move(task); }

bool MainViewModel::hasFreshEagerEntry() const
{
    return _eagerEntry().has_value() && _eagerEntryDate().has_value()
        && *_eagerEntryDate() > Clock::shared().now() - eagerTrustWindow;
}

void MainViewModel::subscribeToPlayer()
{
    for (const QMetaObject::Connection &connection : std::as_const(m_playerConnections))
        QObject::disconnect(connection);
    m_playerConnections.clear();

    // The player fires several change events around one track change; each subscription waits
    // until its events have been quiet for the debounce interval and then refreshes once.
    QPointer self(this);
    m_playerConnections.append(connect(&player().state(), &ApplicationMusicPlayerState::objectWillChange, this, [self] {
        if (!self)
            return;
        self->m_statusDebounce = Clock::shared().schedule(playerChangeDebounce, [self] {
            if (self)
                self->refreshPlaybackStatus();
        });
    }));
    m_playerConnections.append(connect(&player().queue(), &ApplicationMusicPlayerQueue::objectWillChange, this, [self] {
        if (!self)
            return;
        self->m_queueDebounce = Clock::shared().schedule(playerChangeDebounce, [self] {
            if (self)
                self->refreshPlayerEntry();
        });
    }));

    // A song already loaded in the player shows up at launch.
    refreshPlayerEntry();
}

std::optional<QString> MainViewModel::currentEntryTitle() const
{
    const std::optional<MusicPlayer::Queue::Entry> entry = player().queue().currentEntry();
    if (!entry)
        return std::nullopt;
    return entry->title;
}

void MainViewModel::refreshPlayerEntry()
{
    ApplicationMusicPlayer &musicPlayer = player();
    const std::optional<MusicPlayer::Queue::Entry> currentEntry = musicPlayer.queue().currentEntry();
    std::optional<PlaybackItem> item;
    if (currentEntry)
        item = PlaybackItem::from(*currentEntry);

    bool usedEager = false;
    if (hasFreshEagerEntry()) {
        const LocalSong &eager = *_eagerEntry();
        // Only titles are compared: an actual entry of the same title is taken as the same song.
        if ((!item || item->title != eager.title) && !_isStopped()) {
            item = PlaybackItem::from(eager);
            LUMEVAR_INFO(Log::playback(), "Using eager player entry: %s", eager.title);
            usedEager = true;
        }
    }
    if (!usedEager)
        LUMEVAR_INFO(Log::playback(), "Using actual player entry: %s", item ? item->title : QStringLiteral("nil"));

    _playingTitle.set(item ? std::optional<QString>(item->title) : std::nullopt);
    _playingSubtitle.set(item ? item->subtitle : std::nullopt);
    _playingArtwork.set(item ? item->artwork : std::nullopt);

    clearEagerEntryIfNeeded();

    // The queue from the current entry on (the whole queue when the current one is not found).
    const QList<MusicPlayer::Queue::Entry> &entries = musicPlayer.queue().entries();
    const std::optional<QString> currentSongID = currentEntry ? songID(*currentEntry) : std::nullopt;
    const auto from = std::find_if(entries.begin(), entries.end(), [&currentSongID](const MusicPlayer::Queue::Entry &entry) {
        return songID(entry) == currentSongID;
    });
    _queue.set(from == entries.end() ? entries : QList<MusicPlayer::Queue::Entry>(from, entries.end()));

    if (!item) {
        _canAddToLibrary.set(false);
        _shareLink.set(std::nullopt);
        _shareableSongID.set(std::nullopt);
    } else {
        checkLibrary(*item);
    }

    startArtworkTask(item);

    _playingDuration.set(item ? item->duration : 0.0);
    _currentPlayingTime.set(musicPlayer.playbackTime());
    postReloadVisibleRows();
}

void MainViewModel::checkLibrary(PlaybackItem item)
{
    // Not kept and not cancelled by a newer check: the last one to finish wins.
    QPointer self(this);
    detach([](QPointer<MainViewModel> self, PlaybackItem item) -> QCoro::Task<void> {
        const std::optional<QString> artist = item.artist ? item.artist : item.subtitle;
        bool inLibrary = false;
        try {
            inLibrary = co_await LocalDatabase::shared().hasSong(item.title, artist, item.album);
        } catch (...) {
            // The fields keep what they showed; nothing is logged or reported.
            co_return;
        }
        if (!self)
            co_return;
        self->_canAddToLibrary.set(!inLibrary);
        // A link to a page that does not exist is worse than none: the share entry then hides.
        if (item.songID && MusicService::shared().hasPublicSongPages())
            self->_shareLink.set(QUrl(shareLinkBase + *item.songID));
        else
            self->_shareLink.set(std::nullopt);
        const bool makesLinks = item.songID && !self->_shareLink() && MusicService::shared().makesShareLinks();
        self->_shareableSongID.set(makesLinks ? item.songID : std::nullopt);
    }(self, std::move(item)));
}

QCoro::Task<QUrl> MainViewModel::linkToShare()
{
    if (const std::optional<QUrl> link = _shareLink())
        co_return *link;
    const std::optional<QString> songID = _shareableSongID();
    if (!songID)
        throw MusicError(MusicError::notFound, QStringLiteral("No song is playing."));
    co_return co_await MusicService::shared().makeShareLink(MusicItemID(*songID));
}

void MainViewModel::cancelArtworkTask()
{
    if (m_pendingPlayerThumbnailTask) {
        m_pendingPlayerThumbnailTask->cancel();
        m_pendingPlayerThumbnailTask.reset();
    }
}

void MainViewModel::startArtworkTask(std::optional<PlaybackItem> item)
{
    cancelArtworkTask();
    ArtworkTask task = m_artworkTask;
    m_pendingPlayerThumbnailTask = startTask([task, item](CancellationToken token) { return task(item, token); });
}

void MainViewModel::clearEagerEntryIfNeeded()
{
    const std::optional<QString> currentTitle = currentEntryTitle();
    const std::optional<QString> eagerTitle = _eagerEntry() ? std::optional<QString>(_eagerEntry()->title) : std::nullopt;
    if (currentTitle.has_value() != eagerTitle.has_value())
        return;
    if (currentTitle && *currentTitle != *eagerTitle)
        return;
    if (player().state().playbackStatus() == MusicPlaybackStatus::playing) {
        LUMEVAR_DEBUG(Log::playback(), "Cleared eager entry");
        _eagerEntry.set(std::nullopt);
    }
}

void MainViewModel::refreshPlaybackStatus()
{
    ApplicationMusicPlayer &musicPlayer = player();
    const bool wasPlaying = _isPlaying();
    const MusicPlaybackStatus status = musicPlayer.state().playbackStatus();
    // A song just chosen counts as playing for the eager window, whatever the player says.
    const bool isPlaying = status == MusicPlaybackStatus::playing || hasFreshEagerEntry();
    _isPlaying.set(isPlaying);
    _currentPlayingTime.set(musicPlayer.playbackTime());
    LUMEVAR_DEBUG(Log::playback(), "Playback status: %@", playbackStatusName(status));

    if (!wasPlaying && isPlaying) {
        setPlaybackTimerRunning(true);
        postReloadVisibleRows();
    } else if (wasPlaying && !isPlaying) {
        setPlaybackTimerRunning(false);
        postReloadVisibleRows();
    }
    clearEagerEntryIfNeeded();
}

void MainViewModel::setPlaybackTimerRunning(bool running)
{
    if (!running) {
        m_playbackTimer.reset();
        return;
    }
    QPointer self(this);
    m_playbackTimer = Clock::shared().schedule(
        positionTimerInterval,
        [self] {
            if (self)
                self->_currentPlayingTime.set(player().playbackTime());
        },
        positionTimerInterval);
}

bool MainViewModel::hasPlaybackTimer() const { return m_playbackTimer != nullptr; }

void MainViewModel::postReloadVisibleRows() { NotificationCenter::shared().post(Notifications::reloadVisibleRows); }

bool MainViewModel::isPlayingSource(ContainerKind kind, const QString &id) const
{
    if (!_isPlaying())
        return false;
    const std::optional<SavedSnapbackState> &state = _lastSavedSnapbackState();
    if (!state || state->path.size() < 2)
        return false;
    if (state->path.at(1) != NavigationItem::container(kind))
        return false;
    switch (kind.value()) {
    case ContainerKind::playlists: return state->selectedPlaylistID == id;
    case ContainerKind::albums: return state->selectedAlbumID == id;
    case ContainerKind::artists: return state->selectedArtistID == id;
    case ContainerKind::madeForYou: return state->selectedMadeForYouID && state->selectedMadeForYouID->rawValue() == id;
    case ContainerKind::stations: return state->selectedStationID && state->selectedStationID->rawValue() == id;
    case ContainerKind::songs: return false;
    }
    return false;
}

bool MainViewModel::isPlayingSource(const LocalPlaylist &playlist) const
{
    return isPlayingSource(ContainerKind::playlists, playlist.id);
}

bool MainViewModel::isPlayingSource(const LocalAlbum &album) const { return isPlayingSource(ContainerKind::albums, album.id); }

bool MainViewModel::isPlayingSource(const LocalArtist &artist) const
{
    return isPlayingSource(ContainerKind::artists, artist.id);
}

bool MainViewModel::isPlayingSource(const MusicPersonalRecommendation::Item &item, ContainerKind kind) const
{
    return isPlayingSource(kind, item.id().rawValue());
}

bool MainViewModel::isPlayingSong(const LocalSong &song) const
{
    return _isPlaying() && song.matchesPlayingSong(player().queue().currentEntry());
}

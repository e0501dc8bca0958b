// Full sync coordination and the launch of the model: when the whole library is mirrored into
// the store, the progress toast that shows it, the filling-in of empty playlists, and the syncs
// that follow a library that changed by itself (a local folder).

#include "Lumevar/Model/MainViewModel.h"

#include "Lumevar/Model/ErrorReporting.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/StoreSpace.h"
#include "LumevarCore/SyncEngine.h"
#include "Platform/Music/MusicService.h"
#include "Support/Allocator.h"
#include "Support/Log.h"
#include "Support/Progress.h"
#include "Support/UserDefaults.h"
#include "Support/OwnerGuard.h"

#include <QFileInfo>
#include <QPointer>

namespace {

QString noticeFor(const StoreCondition &condition)
{
    switch (condition.kind) {
    case StoreCondition::Kind::ready:
    case StoreCondition::Kind::empty:
        return {};
    case StoreCondition::Kind::rebuilt:
        return QStringLiteral("Lumevar's library data was damaged and has been rebuilt from your music. The damaged file "
                              "was kept as %1.")
            .arg(QFileInfo(condition.damagedCopy).fileName());
    case StoreCondition::Kind::temporary:
        return QStringLiteral("Lumevar cannot save its library data (%1). Your music plays, but the library is read anew "
                              "at every launch.")
            .arg(condition.reason);
    }
    return {};
}

// Shown while a sync could not finish for want of disk space; the next sync that finishes clears it.
const QString outOfSpaceNotice = QStringLiteral(
    "Your disk is full, so Lumevar could save only part of your library. Free some space; the rest is "
    "added at the next sync (Update Library, or the next launch).");

} // namespace

QCoro::Task<bool> MainViewModel::runSync(bool showToast)
{
    if (showToast)
        _showSyncingToast.set(true);
    // The finished progress stays in the field until the next full sync replaces it.
    auto progress = std::make_shared<Progress>();
    _syncProgress.set(progress);
    QPointer self(this);
    bool succeeded = false;
    try {
        // The revision is taken before the listing, so a change made during the sync is seen
        // as a change afterwards, never missed.
        const std::optional<QString> revision = co_await MusicService::shared().libraryRevision();
        SyncEngine engine(LocalDatabase::shared());
        co_await engine.syncAll(progress.get());
        // A store in memory is gone at the next launch: what it mirrored is not remembered.
        const StoreCondition condition = co_await LocalDatabase::shared().condition();
        if (self)
            self->m_storeIsTemporary = condition.kind == StoreCondition::Kind::temporary;
        if (self && revision)
            self->rememberSyncedRevision(*revision);
        if (self && self->_storeNotice() == outOfSpaceNotice)
            self->_storeNotice.set(noticeFor(condition));
        succeeded = true;
    } catch (...) {
        const Error error = errorFromCurrentException();
        ErrorReporter::shared().reportError(error, QStringLiteral("sync"));
        LUMEVAR_ERROR(Log::sync(), "Failed to perform full sync: %@", error);
        // What was written stays (each batch is its own transaction); the user is told why the
        // library is short.
        if (self && isOutOfSpace(error))
            self->_storeNotice.set(outOfSpaceNotice);
    }
    if (self && showToast)
        self->_showSyncingToast.set(false);
    // A full sync makes and drops pages of songs by the hundred thousand.
    Allocator::releaseFreeMemory();
    co_return self && succeeded;
}

void MainViewModel::rememberSyncedRevision(const QString &revision)
{
    m_syncedRevision = revision;
    if (!m_storeIsTemporary)
        UserDefaults::standard().set(syncedLibraryRevisionKey, revision);
}

QCoro::Task<bool> MainViewModel::applyLibraryChanges(QString synced, QString revision)
{
    const OwnerGuard guard(this);
    try {
        const std::optional<QList<LibraryChange>> changes =
            co_await guard(MusicService::shared().libraryChanges(synced, revision));
        if (!changes)
            co_return false;
        SyncEngine engine(LocalDatabase::shared());
        co_await guard(engine.applyChanges(*changes));
    } catch (const OwnerGone &) {
        throw;
    } catch (...) {
        LUMEVAR_ERROR(Log::sync(), "Failed to apply the library's changes; syncing it whole: %@", errorFromCurrentException());
        co_return false;
    }
    rememberSyncedRevision(revision);
    co_return true;
}

QCoro::Task<void> MainViewModel::performFullSync()
{
    const OwnerGuard guard(this);
    const bool succeeded = co_await guard(runSync(true));
    // A failed sync leaves the stored flag as it was, so the next launch tries again. A store in
    // memory is gone at the next launch, which must sync again.
    if (!succeeded)
        co_return;
    if (!m_storeIsTemporary)
        UserDefaults::standard().set(performedFullSyncKey, true);
    _libraryVersion.set(_libraryVersion() + 1);
}

QCoro::Task<void> MainViewModel::updateLibrary()
{
    const OwnerGuard guard(this);
    try {
        co_await guard(MusicService::shared().readLibraryAgain());
    } catch (const OwnerGone &) {
        throw;
    } catch (...) {
        // The sync that follows meets the same fault and reports it.
        LUMEVAR_NOTICE(Log::sync(), "Failed to read the library again: %@", errorFromCurrentException());
    }
    co_await performFullSync();
}

QCoro::Task<void> MainViewModel::syncLibraryChanges()
{
    if (m_changeSyncRunning) {
        m_changeSyncAgain = true;
        co_return;
    }
    m_changeSyncRunning = true;
    const OwnerGuard guard(this);
    do {
        m_changeSyncAgain = false;
        std::optional<QString> revision;
        try {
            revision = co_await guard(MusicService::shared().libraryRevision());
        } catch (const OwnerGone &) {
            throw;
        } catch (...) {
            LUMEVAR_ERROR(Log::sync(), "Failed to read the library for changes: %@", errorFromCurrentException());
        }
        const std::optional<QString> synced =
            m_syncedRevision ? m_syncedRevision : UserDefaults::standard().stringValue(syncedLibraryRevisionKey);
        if (!revision || revision == synced)
            continue;
        LUMEVAR_INFO(Log::sync(), "The library changed; syncing it");
        bool succeeded = synced && co_await applyLibraryChanges(*synced, *revision);
        if (!succeeded)
            succeeded = co_await guard(runSync(false));
        if (succeeded)
            _libraryVersion.set(_libraryVersion() + 1);
    } while (m_changeSyncAgain);
    m_changeSyncRunning = false;
    // The folder read again (its scan cache, a new library beside the old one) and the store's
    // work of the same moments leave tens of megabytes of free heap, which glibc keeps unless
    // asked: at a relaunch 80 MB of 350.
    Allocator::releaseFreeMemory();
}

QCoro::Task<void> MainViewModel::syncEmptyPlaylistContents()
{
    try {
        SyncEngine engine(LocalDatabase::shared());
        co_await engine.syncEmptyPlaylistContents();
    } catch (...) {
        const Error error = errorFromCurrentException();
        ErrorReporter::shared().reportError(error, QStringLiteral("sync_empty_playlists"));
        LUMEVAR_ERROR(Log::sync(), "Failed to sync empty playlist contents: %@", error);
    }
}

QCoro::Task<void> MainViewModel::start()
{
    const OwnerGuard guard(this);
    // A first launch waits here for the whole mirror, so that the lists appear with content; a
    // failed sync lets the launch go on with what the store has.
    bool firstSync = !UserDefaults::standard().boolValue(performedFullSyncKey);
    // The Playlists container with the root list beside it, unless the user chose already.
    const auto showContainers = [this] {
        if (!_selectedContainerKindID())
            _selectedContainerKindID.set(ContainerKind(ContainerKind::playlists).id());
        if (_navigationPath().isEmpty())
            _navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::fromID(*_selectedContainerKindID()))});
    };
    if (firstSync) {
        co_await performFullSync();
    } else {
        // A relaunch shows the lists before the store has answered, so that a click made as the
        // window appears lands on a list; a store found empty below is filled and they reload.
        showContainers();
    }
    // A store that was rebuilt, lives in memory, or was emptied or deleted since the last run
    // starts empty, whatever the settings remember.
    const StoreCondition condition = co_await guard(LocalDatabase::shared().condition());
    m_storeIsTemporary = condition.kind == StoreCondition::Kind::temporary;
    // A first sync cut short by a full disk keeps its notice over that of a store opened as it was.
    const QString notice = noticeFor(condition);
    if (!notice.isEmpty() || _storeNotice() != outOfSpaceNotice)
        _storeNotice.set(notice);
    if (!firstSync && condition.startsEmpty()) {
        if (condition.kind == StoreCondition::Kind::empty)
            LUMEVAR_NOTICE(Log::sync(), "The local store holds no songs; mirroring the whole library again");
        firstSync = true;
        co_await performFullSync();
    }
    // Runs beside the first lists; nothing waits for it.
    detach(syncEmptyPlaylistContents());
    showContainers();
    subscribeToPlayer();
    // A library that changes by itself is followed from now on; one that changed while the
    // application was not running is caught up with in the background.
    disconnect(m_libraryChange);
    m_libraryChange = connect(&MusicService::shared(), &MusicService::libraryDidChange, this, [this] {
        detach(syncLibraryChanges());
    });
    if (!firstSync)
        detach(syncLibraryChanges());
}

// Full sync coordination and the launch of the model: when the whole library is mirrored into
// the store, the progress toast that shows it, and the filling-in of empty playlists.

#include "Lumevar/Model/MainViewModel.h"

#include "Lumevar/Model/ErrorReporting.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Support/Log.h"
#include "Support/Progress.h"
#include "Support/UserDefaults.h"

#include <QPointer>

QCoro::Task<void> MainViewModel::performFullSync()
{
    _showSyncingToast.set(true);
    // The finished progress stays in the field until the next full sync replaces it.
    auto progress = std::make_shared<Progress>();
    _syncProgress.set(progress);
    QPointer self(this);
    try {
        SyncEngine engine(LocalDatabase::shared());
        co_await engine.syncAll(progress.get());
        UserDefaults::standard().set(performedFullSyncKey, true);
    } catch (...) {
        // The stored flag stays as it was, so the next launch tries again.
        const Error error = errorFromCurrentException();
        ErrorReporter::shared().reportError(error, QStringLiteral("sync"));
        Log::error(Log::sync(), "Failed to perform full sync: %@", error);
    }
    if (self)
        self->_showSyncingToast.set(false);
}

QCoro::Task<void> MainViewModel::syncEmptyPlaylistContents()
{
    try {
        SyncEngine engine(LocalDatabase::shared());
        co_await engine.syncEmptyPlaylistContents();
    } catch (...) {
        const Error error = errorFromCurrentException();
        ErrorReporter::shared().reportError(error, QStringLiteral("sync_empty_playlists"));
        Log::error(Log::sync(), "Failed to sync empty playlist contents: %@", error);
    }
}

QCoro::Task<void> MainViewModel::start()
{
    QPointer self(this);
    // A first launch waits here for the whole mirror, so that the lists appear with content; a
    // failed sync lets the launch go on with what the store has.
    if (!UserDefaults::standard().boolValue(performedFullSyncKey)) {
        co_await performFullSync();
        if (!self)
            co_return;
    }
    // Runs beside the first lists; nothing waits for it.
    detach(syncEmptyPlaylistContents());
    _selectedContainerKindID.set(ContainerKind(ContainerKind::playlists).id());
    _navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::playlists)});
    subscribeToPlayer();
}

#include "Platform/Music/MusicService.h"

#include "Support/Error.h"

namespace {
MusicService *installedService = nullptr;
}

MusicService &MusicService::shared()
{
    Q_ASSERT_X(installedService, "MusicService::shared", "no music service installed");
    return *installedService;
}

void MusicService::setShared(MusicService *service) { installedService = service; }

QCoro::Task<QUrl> MusicService::makeShareLink(MusicItemID)
{
    throw MusicError(MusicError::serviceFailed, QStringLiteral("%1 makes no links to share.").arg(displayName()));
    co_return QUrl();
}

QString MusicService::playFailureAdvice() const
{
    return QStringLiteral("Please ensure you have a working Internet connection and the item is still available in the %1 catalog.")
        .arg(displayName());
}

bool MusicService::hasShared() { return installedService != nullptr; }

QCoro::Task<std::optional<QString>> MusicService::libraryRevision() { co_return std::nullopt; }

QCoro::Task<void> MusicService::readLibraryAgain() { co_return; }

QCoro::Task<std::optional<QList<LibraryChange>>> MusicService::libraryChanges(QString, QString)
{
    co_return std::nullopt;
}

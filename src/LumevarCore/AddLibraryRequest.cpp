#include "LumevarCore/AddLibraryRequest.h"

#include "Platform/Music/MusicService.h"

QCoro::Task<void> AddLibraryRequest::perform() const
{
    co_await perform(MusicService::shared());
}

QCoro::Task<void> AddLibraryRequest::perform(MusicService &service) const
{
    // Copied first: the request may be a temporary that is gone once the call suspends.
    const MusicItemID songID(m_songID);
    co_await service.addToLibrary(songID);
}

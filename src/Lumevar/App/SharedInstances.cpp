#include "Lumevar/App/SharedInstances.h"

#include "Lumevar/Model/ErrorReporting.h"
#include "LumevarCore/LocalDatabase.h"
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "Platform/Music/MusicService.h"
#include "Support/Clock.h"

SharedInstances::SharedInstances(const Parts &parts) : m_parts(parts)
{
    Clock::setShared(parts.clock);
    MusicService::setShared(parts.service);
    ApplicationMusicPlayer::setShared(parts.player);
    LocalDatabase::setShared(parts.store);
    ErrorReporter::shared().setTelemetryOutlet(parts.telemetry);
    ErrorReporter::shared().setFeedbackOutlet(parts.feedback);
}

SharedInstances::~SharedInstances()
{
    // Reverse order: nothing is left pointing at a part that goes before it.
    ErrorReporter::shared().setFeedbackOutlet(nullptr);
    ErrorReporter::shared().setTelemetryOutlet(nullptr);
    LocalDatabase::setShared(nullptr);
    ApplicationMusicPlayer::setShared(nullptr);
    MusicService::setShared(nullptr);
    Clock::setShared(nullptr);
}

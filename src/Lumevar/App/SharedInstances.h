#pragma once
// The process's shared instances, installed in one order and removed in the reverse one: the
// clock, the music service, the player over it, the store, then the failure reporter's outlets.
// main.cpp, the tests and the benchmarks compose through it, so that order is written once.
// Nothing is owned: each part must outlive this object. A part left out keeps the process's own
// (the system clock, the store at its default path opened on first use, outlets that drop).

class ApplicationMusicPlayer;
class Clock;
class FeedbackOutlet;
class LocalDatabase;
class MusicService;
class TelemetryOutlet;

class SharedInstances {
public:
    struct Parts {
        MusicService *service = nullptr;
        ApplicationMusicPlayer *player = nullptr;
        LocalDatabase *store = nullptr;
        Clock *clock = nullptr;
        TelemetryOutlet *telemetry = nullptr;
        FeedbackOutlet *feedback = nullptr;
    };

    explicit SharedInstances(const Parts &parts);
    ~SharedInstances();
    SharedInstances(const SharedInstances &) = delete;
    SharedInstances &operator=(const SharedInstances &) = delete;

    const Parts &parts() const { return m_parts; }

private:
    Parts m_parts;
};

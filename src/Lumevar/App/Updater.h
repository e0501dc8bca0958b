#pragma once
// The application's updater: checks for a newer version when asked. Platforms whose packages are
// updated by the system (Linux distributions) have none, and "Check for Updates…" then does nothing.

class Updater {
public:
    virtual ~Updater() = default;
    virtual void setAutomaticallyChecksForUpdates(bool on) = 0;
    virtual void checkForUpdates() = 0;

    // The updater of this build, or null when the platform has none.
    static Updater *shared() { return nullptr; }
};

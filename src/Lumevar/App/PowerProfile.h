#pragma once
// Whether the machine runs in its power-saving mode, read from power-profiles-daemon on the system
// bus. Without a system bus or without the daemon the answer is false, silently: most machines
// without the daemon have no such mode to respect.

#include <QCoroTask>

class QDBusConnection;

namespace PowerProfile {

// The daemon's well-known name, object and the profile that means "save power".
inline constexpr const char *serviceName = "net.hadess.PowerProfiles";
inline constexpr const char *objectPath = "/net/hadess/PowerProfiles";
inline constexpr const char *interfaceName = "net.hadess.PowerProfiles";
inline constexpr const char *powerSaverProfile = "power-saver";

// Asks the daemon on the given bus for its ActiveProfile.
QCoro::Task<bool> isPowerSaverActive(QDBusConnection bus);
// The same on the system bus.
QCoro::Task<bool> isPowerSaverActive();

} // namespace PowerProfile

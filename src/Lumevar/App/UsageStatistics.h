#pragma once
// Anonymous usage statistics, sent only with the user's consent: the switch "Share anonymous usage
// statistics" in Settings, stored as "shareUsageStatistics" in Lumevar.conf, off until the user
// turns it on.
//
// While it is off the telemetry client is never initialised: no timer, no request, no file. Turning
// it on initialises the client at once; turning it off drops what is queued, removes the cache
// file and stops the client, so nothing more leaves the machine.
//
// This object is also the failure reporter's telemetry outlet: reportError() and sendAppSignal()
// reach the client through it, and go nowhere while the switch is off.
//
// Where signals go comes from the build (CMake cache variables LUMEVAR_TELEMETRY_URL and
// LUMEVAR_TELEMETRY_APP_ID), overridden by the environment variables of the same names. A build
// without an app ID sends nothing, whatever the switch says.

#include "Lumevar/Model/ErrorReporting.h"

#include <QObject>
#include <QUrl>
#include <atomic>

class UserDefaults;

class UsageStatistics : public QObject, public TelemetryOutlet {
public:
    struct Deployment {
        QUrl baseURL;
        QString appID;
        // The build's values, each overridden by its environment variable when that is set.
        static Deployment fromBuildAndEnvironment();
    };

    // Installs itself as the process's telemetry outlet and applies the stored switch.
    explicit UsageStatistics(Deployment deployment, UserDefaults &defaults);
    ~UsageStatistics() override;

    bool isSharing() const { return m_sharing; }

    void signal(const QString &name, const SignalParameters &parameters) override;
    void errorOccurred(const QString &id, const QString &message, const SignalParameters &parameters) override;

private:
    void applyStoredSwitch();
    void start();
    void stop();

    Deployment m_deployment;
    UserDefaults &m_defaults;
    std::atomic<bool> m_sharing{false};
};

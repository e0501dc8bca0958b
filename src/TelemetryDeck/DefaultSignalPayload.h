#pragma once
// The parameters every signal carries, so the service can segment without the application doing
// anything: facts of the machine and the build, the user's locale and display, the calendar and
// the retention figures. All values are text. Keys without a dot repeat some facts under their
// short names. Built on the main thread for each signal; the facts that cannot change during a
// run (system, architecture, model) are read once.
//
// The display's facts (screen size, scale, colour scheme, layout direction) come from a provider
// the GUI installs; without one they read "N/A". There is no accessibility preference to read on
// this platform, so that block is left out.

#include "TelemetryDeck/SignalPostBody.h"

#include <QDateTime>
#include <QLocale>
#include <functional>
#include <optional>

class SessionManager;

namespace TelemetryDeck {
inline constexpr const char *sdkName = "SwiftSDK";
inline constexpr const char *sdkVersion = "2.9.4";
} // namespace TelemetryDeck

struct DisplayFacts {
    std::optional<double> screenWidth;
    std::optional<double> screenHeight;
    std::optional<double> scaleFactor;
    QString colorScheme = QStringLiteral("N/A");     // "Light", "Dark"
    QString layoutDirection = QStringLiteral("N/A"); // "leftToRight", "rightToLeft"
};

class DefaultSignalPayload {
public:
    // For the current moment, locale and display.
    static TelemetryDeck::Parameters parameters(const SessionManager *sessions);
    static TelemetryDeck::Parameters parameters(const SessionManager *sessions, const DisplayFacts &display,
                                                const QDateTime &localNow, const QLocale &locale,
                                                const QStringList &preferredLanguages);

    static void setDisplayFactsProvider(std::function<DisplayFacts()> provider);

    // "UTC+2", "UTC+5:30", and for negative offsets the sign twice: "UTC--5".
    static QString timeZoneText(int offsetFromUtcSeconds);
    static TelemetryDeck::Parameters calendar(const QDateTime &localNow);
};

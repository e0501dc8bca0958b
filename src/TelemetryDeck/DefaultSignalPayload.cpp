#include "TelemetryDeck/DefaultSignalPayload.h"

#include "Support/Clock.h"
#include "TelemetryDeck/SessionManager.h"
#include "TelemetryDeck/SystemFacts.h"

#include <QCoreApplication>
#include <QMutex>
#include <QRegularExpression>
#include <cmath>

namespace {

QMutex providerMutex;
std::function<DisplayFacts()> displayProvider;

// Points with their fraction, as "1080.0" or "1.5"; "N/A" without a screen.
QString number(std::optional<double> value)
{
    if (!value)
        return QStringLiteral("N/A");
    return std::floor(*value) == *value ? QString::number(*value, 'f', 1)
                                        : QString::number(*value, 'g', QLocale::FloatingPointShortest);
}

QStringList splitTag(const QString &tag)
{
    static const QRegularExpression separators(QStringLiteral("[-_]"));
    return tag.split(separators);
}

QString booleanText(bool value) { return value ? QStringLiteral("true") : QStringLiteral("false"); }

} // namespace

void DefaultSignalPayload::setDisplayFactsProvider(std::function<DisplayFacts()> provider)
{
    const QMutexLocker lock(&providerMutex);
    displayProvider = std::move(provider);
}

QString DefaultSignalPayload::timeZoneText(int offsetFromUtcSeconds)
{
    // The hours keep their own sign after the written one, as the service has always received them.
    const int hours = offsetFromUtcSeconds / 3600;
    const int minutes = (offsetFromUtcSeconds / 60) % 60;
    QString text = QStringLiteral("UTC") + (offsetFromUtcSeconds >= 0 ? QStringLiteral("+") : QStringLiteral("-"))
        + QString::number(hours);
    if (minutes != 0)
        text += QStringLiteral(":") + QString::asprintf("%02d", minutes);
    return text;
}

TelemetryDeck::Parameters DefaultSignalPayload::calendar(const QDateTime &localNow)
{
    const QDate date = localNow.date();
    const int dayOfWeek = date.dayOfWeek(); // Monday 1 … Sunday 7
    return {
        {QStringLiteral("TelemetryDeck.Calendar.dayOfMonth"), QString::number(date.day())},
        {QStringLiteral("TelemetryDeck.Calendar.dayOfWeek"), QString::number(dayOfWeek)},
        {QStringLiteral("TelemetryDeck.Calendar.dayOfYear"), QString::number(date.dayOfYear())},
        {QStringLiteral("TelemetryDeck.Calendar.weekOfYear"), QString::number(date.weekNumber())},
        {QStringLiteral("TelemetryDeck.Calendar.isWeekend"), booleanText(dayOfWeek > 5)},
        {QStringLiteral("TelemetryDeck.Calendar.monthOfYear"), QString::number(date.month())},
        {QStringLiteral("TelemetryDeck.Calendar.quarterOfYear"), QString::number((date.month() - 1) / 3 + 1)},
        {QStringLiteral("TelemetryDeck.Calendar.hourOfDay"), QString::number(localNow.time().hour() + 1)},
    };
}

TelemetryDeck::Parameters DefaultSignalPayload::parameters(const SessionManager *sessions)
{
    DisplayFacts display;
    {
        const QMutexLocker lock(&providerMutex);
        if (displayProvider)
            display = displayProvider();
    }
    const double unixNow = Clock::shared().now() + referenceDateOffsetFromUnixEpoch;
    const QDateTime localNow = QDateTime::fromMSecsSinceEpoch(qint64(unixNow * 1000.0), Qt::LocalTime);
    const QLocale locale = QLocale::system();
    return parameters(sessions, display, localNow, locale, locale.uiLanguages());
}

namespace {

// The facts that stay the same for the whole run, built at the first signal and shared by every
// later one (a copy of a QMap is a reference until it is changed).
const TelemetryDeck::Parameters &runFacts()
{
    static const TelemetryDeck::Parameters facts = [] {
        const SystemFacts &system = SystemFacts::current();
        const QString appVersion = QCoreApplication::applicationVersion().isEmpty()
            ? QStringLiteral("0") : QCoreApplication::applicationVersion();
        const QVariant build = QCoreApplication::instance() ? QCoreApplication::instance()->property("buildNumber") : QVariant();
        const QString buildNumber = build.typeId() == QMetaType::QString ? build.toString() : QStringLiteral("0");
        // No store receipt on this platform: never a test build, so "the store" by negation.
        const QString isTestFlight = QStringLiteral("false");
        const QString isAppStore = QStringLiteral("true");
        const QString sdk = QString::fromLatin1(TelemetryDeck::sdkName);
        const QString sdkVersion = QString::fromLatin1(TelemetryDeck::sdkVersion);
        const QString no = QStringLiteral("false");
        const QString native = QStringLiteral("native");
        return TelemetryDeck::Parameters{
            {QStringLiteral("platform"), system.operatingSystem},
            {QStringLiteral("systemVersion"), system.systemVersion()},
            {QStringLiteral("majorSystemVersion"), system.majorSystemVersion()},
            {QStringLiteral("majorMinorSystemVersion"), system.majorMinorSystemVersion()},
            {QStringLiteral("appVersion"), appVersion},
            {QStringLiteral("buildNumber"), buildNumber},
            {QStringLiteral("isSimulator"), no},
            {QStringLiteral("isDebug"), no},
            {QStringLiteral("isTestFlight"), isTestFlight},
            {QStringLiteral("isAppStore"), isAppStore},
            {QStringLiteral("modelName"), system.modelName},
            {QStringLiteral("architecture"), system.architecture},
            {QStringLiteral("operatingSystem"), system.operatingSystem},
            {QStringLiteral("targetEnvironment"), native},
            {QStringLiteral("telemetryClientVersion"), sdkVersion},
            {QStringLiteral("TelemetryDeck.AppInfo.buildNumber"), buildNumber},
            {QStringLiteral("TelemetryDeck.AppInfo.version"), appVersion},
            {QStringLiteral("TelemetryDeck.AppInfo.versionAndBuildNumber"),
             appVersion + QStringLiteral(" (build ") + buildNumber + QStringLiteral(")")},
            {QStringLiteral("TelemetryDeck.Device.architecture"), system.architecture},
            {QStringLiteral("TelemetryDeck.Device.modelName"), system.modelName},
            {QStringLiteral("TelemetryDeck.Device.operatingSystem"), system.operatingSystem},
            {QStringLiteral("TelemetryDeck.Device.orientation"), QStringLiteral("Fixed")},
            {QStringLiteral("TelemetryDeck.Device.platform"), system.operatingSystem},
            {QStringLiteral("TelemetryDeck.Device.systemMajorMinorVersion"), system.majorMinorSystemVersion()},
            {QStringLiteral("TelemetryDeck.Device.systemMajorVersion"), system.majorSystemVersion()},
            {QStringLiteral("TelemetryDeck.Device.systemVersion"), system.systemVersion()},
            {QStringLiteral("TelemetryDeck.RunContext.isAppStore"), isAppStore},
            {QStringLiteral("TelemetryDeck.RunContext.isDebug"), no},
            {QStringLiteral("TelemetryDeck.RunContext.isSimulator"), no},
            {QStringLiteral("TelemetryDeck.RunContext.isTestFlight"), isTestFlight},
            {QStringLiteral("TelemetryDeck.RunContext.targetEnvironment"), native},
            {QStringLiteral("TelemetryDeck.SDK.name"), sdk},
            {QStringLiteral("TelemetryDeck.SDK.nameAndVersion"), sdk + QStringLiteral(" ") + sdkVersion},
            {QStringLiteral("TelemetryDeck.SDK.version"), sdkVersion},
        };
    }();
    return facts;
}

} // namespace

TelemetryDeck::Parameters DefaultSignalPayload::parameters(const SessionManager *sessions, const DisplayFacts &display,
                                                           const QDateTime &localNow, const QLocale &locale,
                                                           const QStringList &preferredLanguages)
{
    const QString localeName = locale.name();
    const QStringList localeParts = splitTag(localeName);
    const QString region = locale.territory() != QLocale::AnyTerritory ? QLocale::territoryToCode(locale.territory())
                                                                        : localeParts.last();
    const QString language = locale.language() != QLocale::AnyLanguage ? QLocale::languageToCode(locale.language())
                                                                        : localeParts.first();
    const QString preferredLanguage = splitTag(preferredLanguages.value(0, QStringLiteral("zz-ZZ"))).first();

    TelemetryDeck::Parameters result = runFacts();
    result.insert(QStringLiteral("locale"), localeName);
    result.insert(QStringLiteral("region"), region);
    result.insert(QStringLiteral("appLanguage"), language);
    result.insert(QStringLiteral("preferredLanguage"), preferredLanguage);
    result.insert(QStringLiteral("TelemetryDeck.Device.screenResolutionHeight"), number(display.screenHeight));
    result.insert(QStringLiteral("TelemetryDeck.Device.screenResolutionWidth"), number(display.screenWidth));
    result.insert(QStringLiteral("TelemetryDeck.Device.screenScaleFactor"), number(display.scaleFactor));
    result.insert(QStringLiteral("TelemetryDeck.Device.timeZone"), timeZoneText(localNow.offsetFromUtc()));
    result.insert(QStringLiteral("TelemetryDeck.RunContext.language"), language);
    result.insert(QStringLiteral("TelemetryDeck.RunContext.locale"), localeName);
    result.insert(QStringLiteral("TelemetryDeck.UserPreference.colorScheme"), display.colorScheme);
    result.insert(QStringLiteral("TelemetryDeck.UserPreference.language"), preferredLanguage);
    result.insert(QStringLiteral("TelemetryDeck.UserPreference.layoutDirection"), display.layoutDirection);
    result.insert(QStringLiteral("TelemetryDeck.UserPreference.region"), region);
    result.insert(calendar(localNow));
    if (sessions) {
        result.insert(QStringLiteral("TelemetryDeck.Acquisition.firstSessionDate"), sessions->firstSessionDate());
        result.insert(QStringLiteral("TelemetryDeck.Retention.averageSessionSeconds"),
                      QString::number(sessions->averageSessionSeconds()));
        result.insert(QStringLiteral("TelemetryDeck.Retention.distinctDaysUsed"),
                      QString::number(sessions->distinctDaysUsed().size()));
        result.insert(QStringLiteral("TelemetryDeck.Retention.distinctDaysUsedLastMonth"),
                      QString::number(sessions->distinctDaysUsedLastMonth()));
        result.insert(QStringLiteral("TelemetryDeck.Retention.totalSessionsCount"),
                      QString::number(sessions->totalSessionsCount()));
        if (const auto previous = sessions->previousSessionSeconds())
            result.insert(QStringLiteral("TelemetryDeck.Retention.previousSessionSeconds"), QString::number(*previous));
    }
    return result;
}

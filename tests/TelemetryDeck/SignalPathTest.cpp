// From a call to the queued record: gates, prefixes, warnings, default parameters, the client's
// ready-made signals, and the facts every signal carries.

#include "TelemetryFixture.h"

#include "TelemetryDeck/ApplicationActivity.h"
#include "TelemetryDeck/DefaultSignalPayload.h"
#include "TelemetryDeck/SignalManager.h"
#include "TelemetryDeck/TelemetryDeck.h"
#include "TelemetryDeck/TelemetryManager.h"

namespace {

class SignalPathTest : public TelemetryFixture {
protected:
    void SetUp() override
    {
        TelemetryFixture::SetUp();
        m_configuration = makeConfiguration();
        m_configuration->sendNewSessionBeganSignal = false;
        m_configuration->sessionStatsEnabled = false;
        TelemetryDeck::initialize(m_configuration);
    }

    // The records queued so far, taken off the queue.
    QList<SignalPostBody> takeQueued()
    {
        settle();
        QList<SignalPostBody> all;
        auto &cache = TelemetryManager::shared()->signalManager().signalCache();
        while (cache.signalCount() > 0)
            all.append(cache.popBatch());
        return all;
    }

    int warnings()
    {
        const QStringList lines = logLines();
        return int(std::count_if(lines.cbegin(), lines.cend(),
                                 [](const QString &line) { return line.contains(QLatin1String("reserved")); }));
    }

    std::shared_ptr<TelemetryManagerConfiguration> m_configuration;
};

TEST_F(SignalPathTest, prefixesApplyToPublicSignalsAndReservedNamesWarn)
{
    m_configuration->defaultSignalPrefix.set(QStringLiteral("App."));
    m_configuration->defaultParameterPrefix.set(QStringLiteral("My."));
    TelemetryDeck::signal(QStringLiteral("snap_back"), {{QStringLiteral("size"), QStringLiteral("28")},
                                                        {QStringLiteral("TelemetryDeck.Custom"), QStringLiteral("kept")},
                                                        {QStringLiteral("telemetrydeck.lower"), QStringLiteral("x")}});
    const auto records = takeQueued();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].type, QStringLiteral("App.snap_back"));
    EXPECT_EQ(records[0].payload.value(QStringLiteral("My.size")), QStringLiteral("28"));
    EXPECT_EQ(records[0].payload.value(QStringLiteral("TelemetryDeck.Custom")), QStringLiteral("kept"));
    // The prefix test is case-sensitive: the lower-case key is prefixed, and then no longer warns.
    EXPECT_EQ(records[0].payload.value(QStringLiteral("My.telemetrydeck.lower")), QStringLiteral("x"));
    EXPECT_EQ(warnings(), 1);

    m_configuration->defaultSignalPrefix.set(std::nullopt);
    m_configuration->defaultParameterPrefix.set(std::nullopt);
    m_log->clear();
    TelemetryDeck::signal(QStringLiteral("Locale"), {{QStringLiteral("appVersion"), QStringLiteral("1")}});
    EXPECT_EQ(takeQueued().value(0).type, QStringLiteral("Locale"));
    EXPECT_EQ(warnings(), 2);
    const QString lines = logLines().join(u'\n');
    EXPECT_TRUE(lines.contains(QStringLiteral("Sending signal with reserved name 'Locale' will cause unexpected behavior. "
                                              "Please use another name instead."))) << lines.toStdString();
    EXPECT_TRUE(lines.contains(QStringLiteral("Sending parameter with reserved key 'appVersion' will cause unexpected "
                                              "behavior. Please use another key instead."))) << lines.toStdString();

    // Without warnings a public signal is quiet, while a reserved default parameter still warns.
    m_configuration->reservedParameterWarningsEnabled = false;
    m_configuration->defaultParameters.set([] { return TelemetryDeck::Parameters{{QStringLiteral("platform"), QStringLiteral("x")}}; });
    m_log->clear();
    TelemetryDeck::signal(QStringLiteral("type"), {{QStringLiteral("platform"), QStringLiteral("mine")}});
    const auto quiet = takeQueued();
    EXPECT_EQ(warnings(), 1);
    // The call's own value wins over a default parameter's.
    EXPECT_EQ(quiet.value(0).payload.value(QStringLiteral("platform")), QStringLiteral("mine"));
}

TEST_F(SignalPathTest, theGatesDropSignals)
{
    m_configuration->analyticsDisabled = true;
    TelemetryDeck::signal(QStringLiteral("snap_back"));
    TelemetryDeck::errorOccurred(QStringLiteral("error_sync"));
    EXPECT_TRUE(takeQueued().isEmpty());
    m_configuration->analyticsDisabled = false;

    qputenv("XCODE_RUNNING_FOR_PREVIEWS", "1");
    TelemetryDeck::signal(QStringLiteral("snap_back"));
    EXPECT_TRUE(takeQueued().isEmpty());
    qputenv("XCODE_RUNNING_FOR_PREVIEWS", "0");
    TelemetryDeck::signal(QStringLiteral("snap_back"));
    EXPECT_EQ(takeQueued().size(), 1);
    qunsetenv("XCODE_RUNNING_FOR_PREVIEWS");
}

TEST_F(SignalPathTest, aNewSessionRotatesTheIdentifierAndAnnouncesItself)
{
    const QUuid first = m_configuration->sessionID();
    TelemetryDeck::generateNewSession();
    EXPECT_NE(m_configuration->sessionID(), first);
    EXPECT_TRUE(takeQueued().isEmpty()); // both switches off: nothing else happens

    m_configuration->sendNewSessionBeganSignal = true;
    TelemetryDeck::generateNewSession();
    const auto records = takeQueued();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].type, QStringLiteral("TelemetryDeck.Session.started"));
    EXPECT_EQ(records[0].sessionID, m_configuration->sessionID().toString(QUuid::WithoutBraces).toUpper());
}

TEST_F(SignalPathTest, theFirstSessionStartsHalfASecondAfterLaunch)
{
    TelemetryDeck::terminate();
    auto configuration = makeConfiguration();
    configuration->sessionStatsEnabled = false;
    TelemetryDeck::initialize(configuration);
    const QUuid launchSession = configuration->sessionID();
    m_clock.advance(0.4);
    EXPECT_TRUE(takeQueued().isEmpty());
    m_clock.advance(0.1);
    const auto records = takeQueued();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].type, QStringLiteral("TelemetryDeck.Session.started"));
    EXPECT_NE(configuration->sessionID(), launchSession);
}

TEST_F(SignalPathTest, errorsNavigationAndDurationsCarryTheirFixedKeys)
{
    TelemetryDeck::errorOccurred(QStringLiteral("error_sync"), std::nullopt, QStringLiteral("Offline"),
                                 {{QStringLiteral("code"), QStringLiteral("-1009")}});
    TelemetryDeck::errorOccurred(QStringLiteral("bad_input"), TelemetryDeck::ErrorCategory::userInput);
    TelemetryDeck::navigate(QStringLiteral("playlists"));
    TelemetryDeck::navigate(QStringLiteral("albums"));
    TelemetryDeck::startDurationSignal(QStringLiteral("listen"), {{QStringLiteral("a"), QStringLiteral("start")}});
    m_clock.advance(1.23456);
    TelemetryDeck::stopAndSendDurationSignal(QStringLiteral("listen"), {{QStringLiteral("b"), QStringLiteral("stop")}});
    TelemetryDeck::stopAndSendDurationSignal(QStringLiteral("never started"));
    const auto records = takeQueued();
    ASSERT_EQ(records.size(), 5);

    EXPECT_EQ(records[0].type, QStringLiteral("TelemetryDeck.Error.occurred"));
    EXPECT_EQ(records[0].payload.value(QStringLiteral("TelemetryDeck.Error.id")), QStringLiteral("error_sync"));
    EXPECT_EQ(records[0].payload.value(QStringLiteral("TelemetryDeck.Error.message")), QStringLiteral("Offline"));
    EXPECT_EQ(records[0].payload.value(QStringLiteral("code")), QStringLiteral("-1009"));
    EXPECT_FALSE(records[0].payload.contains(QStringLiteral("TelemetryDeck.Error.category")));
    EXPECT_EQ(records[1].payload.value(QStringLiteral("TelemetryDeck.Error.category")), QStringLiteral("user-input"));

    EXPECT_EQ(records[2].type, QStringLiteral("TelemetryDeck.Navigation.pathChanged"));
    EXPECT_EQ(records[2].payload.value(QStringLiteral("TelemetryDeck.Navigation.identifier")), QStringLiteral(" -> playlists"));
    EXPECT_EQ(records[3].payload.value(QStringLiteral("TelemetryDeck.Navigation.identifier")), QStringLiteral("playlists -> albums"));
    EXPECT_EQ(records[3].payload.value(QStringLiteral("TelemetryDeck.Navigation.schemaVersion")), QStringLiteral("1"));

    EXPECT_EQ(records[4].type, QStringLiteral("listen"));
    EXPECT_EQ(records[4].payload.value(QStringLiteral("TelemetryDeck.Signal.durationInSeconds")), QStringLiteral("1.234"));
    EXPECT_EQ(records[4].payload.value(QStringLiteral("a")), QStringLiteral("start"));
    EXPECT_EQ(records[4].payload.value(QStringLiteral("b")), QStringLiteral("stop"));
}

TEST_F(SignalPathTest, durationsLeaveOutTimeAwayUnlessAskedToCountIt)
{
    ApplicationActivity::shared().setActive(true);
    TelemetryDeck::startDurationSignal(QStringLiteral("foreground"));
    TelemetryDeck::startDurationSignal(QStringLiteral("wall"), {}, true);
    m_clock.advance(2);
    ApplicationActivity::shared().setActive(false);
    m_clock.advance(60);
    ApplicationActivity::shared().setActive(true);
    TelemetryDeck::stopAndSendDurationSignal(QStringLiteral("foreground"));
    TelemetryDeck::stopAndSendDurationSignal(QStringLiteral("wall"));
    const auto records = takeQueued();
    ASSERT_EQ(records.size(), 2);
    EXPECT_EQ(records[0].payload.value(QStringLiteral("TelemetryDeck.Signal.durationInSeconds")), QStringLiteral("2"));
    EXPECT_EQ(records[1].payload.value(QStringLiteral("TelemetryDeck.Signal.durationInSeconds")), QStringLiteral("62"));
}

TEST(DefaultSignalPayloadTest, calendarTimeZoneAndFallbacks)
{
    EXPECT_EQ(DefaultSignalPayload::timeZoneText(0), QStringLiteral("UTC+0"));
    EXPECT_EQ(DefaultSignalPayload::timeZoneText(19800), QStringLiteral("UTC+5:30"));
    EXPECT_EQ(DefaultSignalPayload::timeZoneText(-18000), QStringLiteral("UTC--5"));

    // Sunday 19 May 2024, 23:30.
    const auto sunday = DefaultSignalPayload::calendar(QDateTime(QDate(2024, 5, 19), QTime(23, 30)));
    EXPECT_EQ(sunday.value(QStringLiteral("TelemetryDeck.Calendar.dayOfWeek")), QStringLiteral("7"));
    EXPECT_EQ(sunday.value(QStringLiteral("TelemetryDeck.Calendar.isWeekend")), QStringLiteral("true"));
    EXPECT_EQ(sunday.value(QStringLiteral("TelemetryDeck.Calendar.hourOfDay")), QStringLiteral("24"));
    EXPECT_EQ(sunday.value(QStringLiteral("TelemetryDeck.Calendar.quarterOfYear")), QStringLiteral("2"));
    const auto monday = DefaultSignalPayload::calendar(QDateTime(QDate(2024, 5, 20), QTime(0, 0)));
    EXPECT_EQ(monday.value(QStringLiteral("TelemetryDeck.Calendar.dayOfWeek")), QStringLiteral("1"));
    EXPECT_EQ(monday.value(QStringLiteral("TelemetryDeck.Calendar.isWeekend")), QStringLiteral("false"));

    const auto noScreen = DefaultSignalPayload::parameters(nullptr, DisplayFacts{}, QDateTime(QDate(2024, 5, 20), QTime(9, 0)),
                                                           QLocale(QStringLiteral("de_AT")), {});
    EXPECT_EQ(noScreen.value(QStringLiteral("TelemetryDeck.Device.screenScaleFactor")), QStringLiteral("N/A"));
    EXPECT_EQ(noScreen.value(QStringLiteral("region")), QStringLiteral("AT"));
    EXPECT_EQ(noScreen.value(QStringLiteral("appLanguage")), QStringLiteral("de"));
    EXPECT_EQ(noScreen.value(QStringLiteral("preferredLanguage")), QStringLiteral("zz"));
    EXPECT_EQ(noScreen.value(QStringLiteral("isAppStore")), QStringLiteral("true"));
    EXPECT_FALSE(noScreen.contains(QStringLiteral("TelemetryDeck.Retention.previousSessionSeconds")));
    DisplayFacts screen{1920.0, 1080.0, 1.5, QStringLiteral("Dark"), QStringLiteral("leftToRight")};
    const auto withScreen = DefaultSignalPayload::parameters(nullptr, screen, QDateTime::currentDateTime(), QLocale::c(), {});
    EXPECT_EQ(withScreen.value(QStringLiteral("TelemetryDeck.Device.screenResolutionHeight")), QStringLiteral("1080.0"));
    EXPECT_EQ(withScreen.value(QStringLiteral("TelemetryDeck.Device.screenScaleFactor")), QStringLiteral("1.5"));
}

} // namespace

namespace {

TEST_F(SignalPathTest, aConfigurationHandedToASecondManagerStillStartsSessions)
{
    m_configuration->sendNewSessionBeganSignal = true;
    TelemetryDeck::initialize(m_configuration); // the first manager ends here
    TelemetryDeck::generateNewSession();
    const auto records = takeQueued();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0].type, QStringLiteral("TelemetryDeck.Session.started"));
}

} // namespace

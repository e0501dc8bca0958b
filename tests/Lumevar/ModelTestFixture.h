#pragma once
// A MainViewModel world for tests: the manual clock, the fake music service, the virtual-time
// audio engine behind a real player, a real store in a temporary folder, and recording outlets
// for telemetry and feedback, all installed as the process's shared instances.

#include "Lumevar/App/SharedInstances.h"
#include "Lumevar/Model/ErrorReporting.h"
#include "Lumevar/Model/MainViewModel.h"
#include "LumevarCore/LocalDatabase.h"
#include "Platform/fakes/FakeMusicService.h"
#include "Platform/fakes/VirtualAudioEngine.h"
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "TestKit/AsyncTest.h"
#include "TestKit/ManualClock.h"
#include "TestKit/Waits.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>
#include <optional>

struct RecordingTelemetry : TelemetryOutlet {
    struct Sent {
        QString name;
        QString message;
        SignalParameters parameters;
    };
    QList<Sent> signals_;
    QList<Sent> errors;
    void signal(const QString &name, const SignalParameters &parameters) override { signals_.append({name, {}, parameters}); }
    void errorOccurred(const QString &id, const QString &message, const SignalParameters &parameters) override
    {
        errors.append({id, message, parameters});
    }
};

struct RecordingFeedback : FeedbackOutlet {
    struct Report {
        QString sender;
        QString title;
        QString text;
    };
    QList<Report> reports;
    void sendAutomaticReport(const QString &sender, const QString &title, const QString &text) override
    {
        reports.append({sender, title, text});
    }
};

class ModelTest : public ::testing::Test {
protected:
    ModelTest();
    ~ModelTest() override;

    // Starts task without waiting; the flag turns true when it has ended.
    static std::shared_ptr<bool> launch(QCoro::Task<void> task);
    // A few turns of the event loop, for a check that something did NOT happen (no condition can
    // say that work is done): coalesced observers and queued refreshes get their turns. Anything
    // expected to happen is waited for with waitUntil or EXPECT_EVENTUALLY_EQ instead.
    static void settle()
    {
        for (int i = 0; i < 6; ++i)
            QCoreApplication::processEvents();
    }
    // Returns once the store has answered every call made so far and their callers went on, and
    // the calls those callers then made: a call queued after them is answered after them.
    void waitForStoreCalls(int rounds = 3);
    // Runs the event loop and lets virtual time pass in steps until done() holds.
    ::testing::AssertionResult advanceUntil(const std::function<bool()> &done, const char *what, double step = 0.01);
    // Drives task to its end, letting virtual time pass in small steps when it waits on the clock.
    void finish(QCoro::Task<void> task, double step = 0.01);

    // Local songs of the given titles (id = title), playable through the fake service.
    static QList<LocalSong> localSongs(int count, const QString &prefix = QStringLiteral("s"));

    ManualClock clock;
    FakeMusicService service;
    VirtualAudioEngine engine{clock};
    ApplicationMusicPlayer player{engine, service};
    QTemporaryDir directory;
    std::unique_ptr<LocalDatabase> database;
    RecordingTelemetry telemetry;
    RecordingFeedback feedback;
    std::optional<SharedInstances> shared; // all of the above, installed for the test's length
    std::unique_ptr<MainViewModel> model;
};

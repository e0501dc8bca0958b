// The application's own first launch over a large music folder, as a user meets it: an empty
// home, the real composition of main.cpp (the folder as the music service, mpv with its null
// output, the models, the main window, offscreen), the Songs pane chosen as soon as the launch
// has chosen its list, until the first import (scan and first sync) has ended and the pane holds
// every song. A probe on the event loop resizes the window by a pixel and repaints it every
// 50 ms, as a user dragging its edge would: a stall is how late a probe ran plus how long its
// repaint took, and the longest one is how long the window stopped answering. Beside it, the main
// thread's own CPU time between two probes (`first_import_longest_busy_ms`): on a machine shared
// with other work a stall also holds the time the thread waited for a core, this does not.
//
// Each iteration is a new process (this executable with --first-import-child), so every launch
// starts cold: no scan cache, no store, no settings, no warm heap.
//
//   cmake --build build/default --target LaunchBench && build/default/bench/LaunchBench
//
// LUMEVAR_BENCH_FILES sets the folder's size (100,000 unless set); the folder is written once to
// /var/tmp and kept (bench/Common/LargeFolder.h). LAUNCHBENCH_TRACE=1 prints each stall, and each
// stretch of CPU time between two probes, over 50 ms beside the application's log lines, with
// times since the launch, to tell which step held the thread.

#include "Common/LargeFolder.h"

#include "Lumevar/App/LumevarApp.h"
#include "Lumevar/App/SharedInstances.h"
#include "Lumevar/Navigator/CollectionListModel.h"
#include "Lumevar/UI/MainWindow.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"
#include "Lumevar/UI/Navigator/PaneController.h"
#include "Lumevar/UI/Navigator/PaneScreen.h"
#include "Platform/LocalLibrary/LocalLibraryService.h"
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "Platform/Music/MpvAudioEngine.h"
#include "Common/BenchMain.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

constexpr int probeIntervalMs = 50;
const char *const childFlag = "--first-import-child";

// The process's resident and peak resident memory, in MB.
std::pair<double, double> residentMB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    double rss = 0, peak = 0;
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith("VmRSS:"))
                rss = line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
            else if (line.startsWith("VmHWM:"))
                peak = line.mid(6).trimmed().split(' ').first().toDouble() / 1024;
        }
    }
    return {rss, peak};
}

// CPU time of the calling thread, in ms.
double threadCPUms()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

QElapsedTimer sinceLaunch;
bool tracing = false;

void traceLine(QtMsgType, const QMessageLogContext &, const QString &message)
{
    std::fprintf(stderr, "%7lld ms  %s\n", static_cast<long long>(sinceLaunch.elapsed()), qPrintable(message));
}

// One first launch, in this process; prints one line of results.
int firstImport(int argc, char **argv, const QString &folder, int songs)
{
    sinceLaunch.start();
    tracing = qEnvironmentVariableIntValue("LAUNCHBENCH_TRACE") == 1;
    if (tracing)
        qInstallMessageHandler(traceLine);
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Lumevar"));
    QApplication::setQuitOnLastWindowClosed(false);
    std::setlocale(LC_NUMERIC, "C");

    // As main.cpp composes the application.
    LocalLibraryService service(folder);
    MpvAudioEngine::Options audio;
    audio.audioOutput = QStringLiteral("null");
    MpvAudioEngine engine(audio);
    ApplicationMusicPlayer player(engine, service);
    const SharedInstances shared({.service = &service, .player = &player});
    LumevarApp root;
    MainViewModel &model = root.mainViewModel();
    MainWindow window(root);
    window.resize(1000, 700);
    window.show();

    // The probe: a resize by a pixel and a repaint every 50 ms.
    double longest = 0, longestBusy = 0;
    double lastCPU = threadCPUms();
    int over50 = 0, over100 = 0, probes = 0;
    QElapsedTimer clock;
    clock.start();
    qint64 lastProbe = 0;
    QTimer probe;
    probe.setTimerType(Qt::PreciseTimer);
    probe.setInterval(probeIntervalMs);
    QObject::connect(&probe, &QTimer::timeout, [&] {
        const qint64 began = clock.nsecsElapsed();
        window.resize(window.width() == 1000 ? 1001 : 1000, 700);
        window.repaint();
        const qint64 ended = clock.nsecsElapsed();
        const double late = std::max(0.0, double(began - lastProbe) / 1e6 - probeIntervalMs);
        const double stall = late + double(ended - began) / 1e6;
        const double cpu = threadCPUms();
        const double busy = cpu - lastCPU;
        lastCPU = cpu;
        longestBusy = std::max(longestBusy, busy);
        lastProbe = began;
        ++probes;
        longest = std::max(longest, stall);
        over50 += stall > 50;
        over100 += stall > 100;
        if (tracing && (stall > 50 || busy > 50))
            std::fprintf(stderr, "%7lld ms  stall of %.0f ms (%.0f ms of it painting, %.0f ms of CPU)\n",
                         static_cast<long long>(sinceLaunch.elapsed()), stall, double(ended - began) / 1e6, busy);
    });
    lastProbe = clock.nsecsElapsed();
    probe.start();

    // The Songs pane as a user's first click, once the launch has chosen its list; done when the
    // first sync has come and gone and the pane holds every song.
    bool songsChosen = false, syncSeen = false;
    double syncedAt = 0;
    QTimer watch;
    watch.setInterval(10);
    QEventLoop loop;
    QObject::connect(&watch, &QTimer::timeout, [&] {
        if (!songsChosen && model._selectedContainerKindID().has_value()) {
            model._navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::songs)});
            model._selectedContainerKindID.set(ContainerKind(ContainerKind::songs).id());
            songsChosen = true;
        }
        syncSeen = syncSeen || model._showSyncingToast();
        PaneScreen *screen = window.paneController()->screen(1);
        const bool allShown = screen && screen->view() && screen->view()->model().count() >= songs;
        if (songsChosen && syncSeen && !model._showSyncingToast() && allShown) {
            syncedAt = double(sinceLaunch.elapsed());
            loop.quit();
        }
    });
    watch.start();
    QTimer::singleShot(15 * 60 * 1000, &loop, [&loop] {
        std::fprintf(stderr, "LaunchBench: the first import did not end within 15 minutes\n");
        loop.exit(1);
    });
    if (loop.exec() != 0)
        return 1;
    window.repaint();
    const auto [rss, peak] = residentMB();
    std::printf("RESULT %.1f %d %d %d %.0f %.0f %.0f %.1f\n", longest, over50, over100, probes, syncedAt, rss, peak, longestBusy);
    std::fflush(stdout);
    // The quit is no part of the import.
    std::_Exit(0);
}

void BM_FirstImportStalls(benchmark::State &state)
{
    const int songs = LargeFolder::fileCount();
    const QString folder = LargeFolder::kept(songs);
    double longest = 0, over50 = 0, over100 = 0, peak = 0, rss = 0, busy = 0;
    for (auto _ : state) {
        QTemporaryDir home;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"})
            environment.insert(QString::fromLatin1(name), home.path() + QLatin1Char('/') + QString::fromLatin1(name).toLower());
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        QProcess child;
        child.setProcessEnvironment(environment);
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(childFlag), folder});
        if (!child.waitForFinished(16 * 60 * 1000) || child.exitCode() != 0) {
            state.SkipWithError("the first launch did not end");
            break;
        }
        const QList<QByteArray> result = child.readAllStandardOutput().trimmed().split('\n').last().split(' ');
        if (result.size() != 9 || result[0] != "RESULT") {
            state.SkipWithError("the first launch gave no result");
            break;
        }
        longest = std::max(longest, result[1].toDouble());
        over50 += result[2].toDouble();
        over100 += result[3].toDouble();
        state.SetIterationTime(result[5].toDouble() / 1000);
        rss = std::max(rss, result[6].toDouble());
        peak = std::max(peak, result[7].toDouble());
        busy = std::max(busy, result[8].toDouble());
    }
    const double runs = double(std::max<benchmark::IterationCount>(1, state.iterations()));
    state.counters["files"] = songs;
    state.counters["first_import_longest_stall_ms"] = longest;
    state.counters["first_import_stalls_over_50ms"] = over50 / runs;
    state.counters["first_import_stalls_over_100ms"] = over100 / runs;
    state.counters["first_import_longest_busy_ms"] = busy;
    state.counters["resident_MB"] = rss;
    state.counters["peak_resident_MB"] = peak;
}
BENCHMARK(BM_FirstImportStalls)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    if (argc == 3 && std::strcmp(argv[1], childFlag) == 0) {
        int childArgc = 1;
        return firstImport(childArgc, argv, QString::fromLocal8Bit(argv[2]), LargeFolder::fileCount());
    }
    QCoreApplication app(argc, argv);
    return BenchMain::run(argc, argv);
}

// The window over a library of 100,000 songs, with the real widgets offscreen and the store on
// disk: from construction to the painted root and Songs panes, paint time per frame while the
// Songs pane scrolls page by page and line by line, switching the container pane between Songs,
// Albums and Artists, and resident memory after visiting every pane. Each figure comes with a
// floor measured in the same run: what the store, Qt's painting or a bare window alone cost for
// the same work.
//
// Search: real-looking queries typed letter by letter into the search panel of the window, each
// key event timed to the painted result list (the panel repainted after the keystroke's search
// has shown its sections), beside the store's own search for the same texts.
//
//   cmake --build build/default --target UiBench && build/default/bench/UiBench

#include "Common/BenchLibrary.h"

#include "Lumevar/App/LumevarApp.h"
#include "Lumevar/App/SharedInstances.h"
#include "Lumevar/Navigator/CollectionListModel.h"
#include "Lumevar/UI/MainWindow.h"
#include "Lumevar/UI/Navigator/CollectionListView.h"
#include "Lumevar/UI/Navigator/PaneController.h"
#include "Lumevar/UI/Navigator/PaneScreen.h"
#include "Lumevar/UI/Panels/FloatingPanel.h"
#include "Lumevar/UI/Panels/SearchWindowController.h"
#include "Lumevar/UI/Search/SearchView.h"
#include "LumevarCore/LocalDatabase.h"
#include "LumevarCore/SyncEngine.h"
#include "Platform/Music/ApplicationMusicPlayer.h"
#include "Platform/Music/MpvAudioEngine.h"
#include "Support/Clock.h"
#include "Support/Task.h"
#include "Support/UserDefaults.h"
#include "Common/BenchMain.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <QScrollBar>
#include <QTemporaryDir>
#include <algorithm>
#include <clocale>
#include <functional>
#include <memory>
#include <vector>

namespace {

using namespace BenchLibrary;

struct World {
    SyntheticService service;
    std::unique_ptr<MpvAudioEngine> engine;
    std::unique_ptr<ApplicationMusicPlayer> player;
    QTemporaryDir folder;
    std::unique_ptr<LocalDatabase> store;
    std::unique_ptr<SharedInstances> shared;
};

World &world()
{
    static World *instance = [] {
        auto *made = new World;
        MpvAudioEngine::Options audio;
        audio.audioOutput = QStringLiteral("null");
        made->engine = std::make_unique<MpvAudioEngine>(audio);
        made->player = std::make_unique<ApplicationMusicPlayer>(*made->engine, made->service);
        made->store = std::make_unique<LocalDatabase>(made->folder.filePath(QStringLiteral("local.db")));
        made->shared = std::make_unique<SharedInstances>(
            SharedInstances::Parts{.service = &made->service, .player = made->player.get(), .store = made->store.get()});
        awaitVoid(made->store->open());
        awaitVoid(SyncEngine(*made->store, made->service).syncAll(nullptr));
        // A launch after the first sync, with every list synced today: the panes read the store.
        UserDefaults &defaults = UserDefaults::standard();
        defaults.set(MainViewModel::performedFullSyncKey, true);
        for (const char *key : {"lastSongSync", "lastAlbumSync", "lastArtistSync", "lastPlaylistSync"})
            defaults.set(QString::fromLatin1(key), Clock::shared().now());
        return made;
    }();
    return *instance;
}

LumevarApp::Environment environment()
{
    return LumevarApp::Environment{[]() -> QCoro::Task<bool> { co_return true; }, [] {}, world().store->path()};
}

// Turns the event loop until pred holds; gives up (and says so) after a minute.
void spin(const std::function<bool()> &pred)
{
    QElapsedTimer waited;
    waited.start();
    while (!pred()) {
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 5);
        if (waited.elapsed() > 60'000)
            qFatal("UiBench: the window never reached the awaited state");
    }
}

CollectionListView *pane(MainWindow &window, int index)
{
    PaneScreen *screen = window.paneController()->screen(index);
    return screen ? screen->view() : nullptr;
}

// Shows a container in the second pane, as a selection in the root list does.
void showContainer(MainViewModel &model, ContainerKind kind)
{
    model._selectedContainerKindID.set(kind.id());
}

// Whether the strip shows kind's list as its second pane.
bool secondItemIs(MainWindow &window, ContainerKind kind)
{
    const QList<NavigationItem> &path = window.paneController()->displayedNavigationPath();
    return path.size() > 1 && path.at(1) == NavigationItem::container(kind);
}

bool showsRows(MainWindow &window, int index, int rows)
{
    CollectionListView *view = pane(window, index);
    return view && view->model().count() >= rows;
}

double percentile(std::vector<double> values, double p)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, size_t(p * double(values.size())))];
}

struct Session {
    std::unique_ptr<LumevarApp> app;
    std::unique_ptr<MainWindow> window;

    void open(int width = 1000)
    {
        // UIBENCH_TRACE=1 prints where the time of an opening goes.
        const bool trace = qEnvironmentVariableIsSet("UIBENCH_TRACE");
        QElapsedTimer clock;
        clock.start();
        const auto mark = [&](const char *what) {
            if (trace)
                fprintf(stderr, "  %-28s %7.1f ms\n", what, double(clock.nsecsElapsed()) / 1e6);
        };
        app = std::make_unique<LumevarApp>(environment());
        mark("models made");
        window = std::make_unique<MainWindow>(*app);
        window->resize(width, 700);
        window->show();
        mark("window shown");
        MainViewModel &model = app->mainViewModel();
        // The launch opens on Playlists once it has looked at the store; Songs is chosen then, as
        // a user's first click would.
        spin([&model] { return model._selectedContainerKindID().has_value(); });
        mark("launch chose its list");
        model._navigationPath.set({NavigationItem::root(), NavigationItem::container(ContainerKind::songs)});
        showContainer(model, ContainerKind::songs);
        spin([this] { return window->paneController()->paneCount() == 2; });
        mark("root and Songs panes made");
        spin([this] { return showsRows(*window, 1, songCount + 2); });
        mark("songs arrived");
        window->repaint();
        mark("painted");
    }
    void close()
    {
        window.reset();
        app.reset();
    }
};

void BM_WindowToPaintedSongs(benchmark::State &state)
{
    World &w = world();
    // As after a run of the application that showed its songs: the close before each launch
    // saves the song records beside the store.
    {
        const LumevarApp models(environment());
        await(w.store->allLibrarySongs(const_cast<LumevarApp &>(models).topLevelSongsViewModel().sortDescriptor()));
    }
    CPUCounter cpu(state);
    for (auto _ : state) {
        state.PauseTiming();
        awaitVoid(w.store->close());
        state.ResumeTiming();
        detach(w.store->open()); // as at launch: the store opens while the window is made
        Session session;
        session.open();
        state.PauseTiming();
        session.close();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_WindowToPaintedSongs)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// Floor: the store alone reopening and handing out the 100,000 songs in the Songs pane's order,
// and a bare window painted.
void BM_FloorStoreSongsAndBareWindow(benchmark::State &state)
{
    World &w = world();
    for (auto _ : state) {
        state.PauseTiming();
        awaitVoid(w.store->close());
        state.ResumeTiming();
        awaitVoid(w.store->open());
        // In the order the Songs pane asks for (the user's stored order, album at first).
        const LumevarApp models(environment());
        benchmark::DoNotOptimize(await(w.store->allLibrarySongs(const_cast<LumevarApp &>(models).topLevelSongsViewModel().sortDescriptor())).size());
        QWidget bare;
        bare.resize(1000, 700);
        bare.show();
        bare.repaint();
    }
}
BENCHMARK(BM_FloorStoreSongsAndBareWindow)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

// Paint time of the Songs pane per frame, moving by a page (range 0) or a line (range 1).
void BM_ScrollSongsPane(benchmark::State &state)
{
    Session session;
    session.open();
    CollectionListView *songs = pane(*session.window, 1);
    QScrollBar *bar = songs->verticalScrollBar();
    const int step = state.range(0) == 0 ? bar->pageStep() : bar->singleStep();
    std::vector<double> frames;
    QElapsedTimer timer;
    for (auto _ : state) {
        // A frame is the scroll and the paint: rows coming into view are measured as the list
        // scrolls, before the paint.
        timer.start();
        bar->setValue(bar->value() + step >= bar->maximum() ? 0 : bar->value() + step);
        songs->viewport()->repaint();
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        frames.push_back(ms);
        state.SetIterationTime(ms / 1e3);
    }
    state.counters["p50_ms"] = percentile(frames, 0.5);
    state.counters["p99_ms"] = percentile(frames, 0.99);
    state.counters["measured_rows"] = songs->measuredRowCount();
    session.close();
}
BENCHMARK(BM_ScrollSongsPane)->Arg(0)->Arg(1)->Iterations(400)->UseManualTime()->Unit(benchmark::kMillisecond);

// Floor: the same viewport filled with as many plain one-line texts by QPainter.
void BM_FloorPaintPlainRows(benchmark::State &state)
{
    QWidget canvas;
    canvas.resize(333, 700);
    canvas.show();
    const QList<Song> &songs = world().service.library.songs;
    int first = 0;
    std::vector<double> frames;
    QElapsedTimer timer;
    struct Painter : QObject {
        QWidget *canvas;
        const QList<Song> *songs;
        int *first;
        bool eventFilter(QObject *, QEvent *event) override
        {
            if (event->type() != QEvent::Paint)
                return false;
            QPainter painter(canvas);
            painter.fillRect(canvas->rect(), Qt::white);
            for (int i = 0; i < 16; ++i) {
                const Song &song = songs->at((*first + i) % songs->size());
                painter.drawText(QRect(44, i * 44 + 6, 270, 16), song.title);
                painter.drawText(QRect(44, i * 44 + 22, 270, 14), song.artistName.value_or(QString()));
            }
            return true;
        }
    } painter;
    painter.canvas = &canvas;
    painter.songs = &songs;
    painter.first = &first;
    canvas.installEventFilter(&painter);
    for (auto _ : state) {
        first += 16;
        timer.start();
        canvas.repaint();
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        frames.push_back(ms);
        state.SetIterationTime(ms / 1e3);
    }
    state.counters["p50_ms"] = percentile(frames, 0.5);
    state.counters["p99_ms"] = percentile(frames, 0.99);
}
BENCHMARK(BM_FloorPaintPlainRows)->Iterations(400)->UseManualTime()->Unit(benchmark::kMillisecond);

// Songs → Albums → Artists → Songs: from the root list's selection to the new pane painted; then
// the resident memory after every pane was shown.
void BM_SwitchContainers(benchmark::State &state)
{
    // The process already holds the synthetic service's library and what the sync left behind:
    // the window's share is the growth from here.
    const double residentBefore = residentMB();
    Session session;
    session.open();
    MainViewModel &model = session.app->mainViewModel();
    const ContainerKind order[] = {ContainerKind::albums, ContainerKind::artists, ContainerKind::songs};
    const int rows[] = {albumCount, artistCount, songCount + 2};
    int next = 0;
    std::vector<double> switches;
    QElapsedTimer timer;
    for (auto _ : state) {
        timer.start();
        showContainer(model, order[next]);
        const int expected = rows[next];
        const QString id = order[next].id();
        spin([&] {
            CollectionListView *view = pane(*session.window, 1);
            return view && view->objectName() != QString() && view->model().count() >= expected
                   && secondItemIs(*session.window, order[next]);
        });
        session.window->repaint();
        const double ms = double(timer.nsecsElapsed()) / 1e6;
        switches.push_back(ms);
        state.SetIterationTime(ms / 1e3);
        next = (next + 1) % 3;
    }
    state.counters["p50_ms"] = percentile(switches, 0.5);
    state.counters["max_ms"] = percentile(switches, 1.0);
    // Then every other pane, a collection of each deep container with its songs, and the
    // memory the process holds after all of them were shown with their artwork.
    for (const ContainerKind kind : ContainerKind::allCases()) {
        showContainer(model, kind);
        QElapsedTimer wait;
        wait.start();
        const bool deep = kind == ContainerKind::playlists || kind == ContainerKind::albums || kind == ContainerKind::artists;
        spin([&] {
            return wait.elapsed() > 3000
                   || (secondItemIs(*session.window, kind) && showsRows(*session.window, 1, 1) && (!deep || showsRows(*session.window, 2, 1)));
        });
        session.window->repaint();
    }
    state.counters["resident_MB"] = residentMB();
    state.counters["resident_growth_MB"] = residentMB() - residentBefore;
    session.close();
}
BENCHMARK(BM_SwitchContainers)->Iterations(12)->UseManualTime()->Unit(benchmark::kMillisecond);

// What a user might type, letter by letter (87 keystrokes per pass).
const QStringList typedQueries = {QStringLiteral("beach bunny"), QStringLiteral("cafe del"), QStringLiteral("midnight city"),
                                  QStringLiteral("love"), QStringLiteral("the golden river"), QStringLiteral("electrique 12"),
                                  QStringLiteral("senorita"), QStringLiteral("track 7 summer")};

void typeKey(QWidget *field, QChar letter)
{
    const int key = letter == QLatin1Char(' ') ? int(Qt::Key_Space) : int(letter.toUpper().unicode());
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString(letter));
    QCoreApplication::sendEvent(field, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, QString(letter));
    QCoreApplication::sendEvent(field, &release);
}

// From each key event in the search field to the panel painted with that keystroke's sections.
void BM_SearchTypingToPaintedResults(benchmark::State &state)
{
    Session session;
    session.open(700);
    MainWindow &window = *session.window;
    window.openSearch(SearchPickerSelection::library);
    spin([&] { return window.searchController()->isAttached(); });
    SearchView *view = window.searchView();
    QWidget *panel = window.searchController()->panel();
    std::vector<double> keystrokes;
    for (auto _ : state) {
        for (const QString &query : typedQueries) {
            if (!view->field()->text().isEmpty()) {
                const int cleared = view->completedSearches();
                view->field()->clear();
                spin([&] { return view->completedSearches() > cleared; });
            }
            for (const QChar letter : query) {
                const int before = view->completedSearches();
                QElapsedTimer timer;
                timer.start();
                typeKey(view->field(), letter);
                spin([&] { return view->completedSearches() > before; });
                panel->repaint();
                const double ms = double(timer.nsecsElapsed()) / 1e6;
                keystrokes.push_back(ms);
                state.SetIterationTime(ms / 1e3);
            }
        }
    }
    state.counters["p50_ms"] = percentile(keystrokes, 0.5);
    state.counters["p95_ms"] = percentile(keystrokes, 0.95);
    state.counters["p99_ms"] = percentile(keystrokes, 0.99);
    state.counters["max_ms"] = percentile(keystrokes, 1.0);
    state.counters["keystrokes"] = double(keystrokes.size());
    session.close();
}
BENCHMARK(BM_SearchTypingToPaintedResults)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

// Floor: the store's own search for the same texts, awaited on the main thread.
void BM_FloorStoreSearch(benchmark::State &state)
{
    LocalDatabase &store = *world().store;
    std::vector<double> searches;
    for (auto _ : state) {
        for (const QString &query : typedQueries) {
            for (int length = 1; length <= query.size(); ++length) {
                QElapsedTimer timer;
                timer.start();
                benchmark::DoNotOptimize(await(store.search(query.left(length))));
                searches.push_back(double(timer.nsecsElapsed()) / 1e6);
            }
        }
    }
    state.counters["p50_ms"] = percentile(searches, 0.5);
    state.counters["p95_ms"] = percentile(searches, 0.95);
    state.counters["p99_ms"] = percentile(searches, 0.99);
    state.counters["max_ms"] = percentile(searches, 1.0);
}
BENCHMARK(BM_FloorStoreSearch)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    // Offscreen unless a display was asked for.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir settings;
    qputenv("XDG_CONFIG_HOME", settings.path().toUtf8());
    qputenv("XDG_DATA_HOME", settings.path().toUtf8());
    QApplication app(argc, argv);
    std::setlocale(LC_NUMERIC, "C");
    return BenchMain::run(argc, argv, world);
}

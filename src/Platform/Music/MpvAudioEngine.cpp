#include "Platform/Music/MpvAudioEngine.h"

#include "Platform/Music/MpvClient.h"

#include "Support/Log.h"
#include "Support/PoolJobs.h"
#include "Support/WorkerPools.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QMetaObject>
#include <QPointer>
#include <algorithm>
#include <atomic>
#include <clocale>
#include <condition_variable>
#include <memory>
#include <mutex>

namespace {

// Loads libmpv and makes a player of it, on a worker thread; nullptr (logged) when that fails.
mpv_handle *createPlayer(const MpvAudioEngine::Options &options, bool paused)
{
    const MpvClient *api = MpvClient::shared();
    if (!api)
        return nullptr;
    mpv_handle *mpv = api->create();
    if (!mpv) {
        LUMEVAR_ERROR(Log::playback(), "Failed to create the mpv player: out of memory or bad locale");
        return nullptr;
    }
    const auto setOption = [api, mpv](const char *name, const QByteArray &value) {
        const int rc = api->set_option_string(mpv, name, value.constData());
        if (rc < 0)
            LUMEVAR_ERROR(Log::playback(), "mpv rejected the option %@=%@: %@", name, QString::fromUtf8(value),
                          api->error_string(rc));
    };
    // Audio only: no video track, no video output, no cover-art window, and nothing of the user's
    // mpv configuration, scripts or key bindings.
    setOption("vid", "no");
    setOption("vo", "null");
    setOption("audio-display", "no");
    setOption("force-window", "no");
    setOption("idle", "yes");
    setOption("keep-open", "no");
    setOption("terminal", "no");
    setOption("config", "no");
    setOption("input-default-bindings", "no");
    setOption("input-vo-keyboard", "no");
    setOption("osc", "no");
    setOption("ytdl", "no");
    setOption("load-scripts", "no");
    // mpv's built-in scripts (console, stats, auto profiles): mpv waits for them to start before
    // it opens the first file, and the console sets up the on-screen fonts (fontconfig), about
    // 20 ms of CPU and up to 70 ms of wall time in all, for nothing an audio player shows.
    setOption("load-osd-console", "no");
    setOption("load-stats-overlay", "no");
    setOption("load-auto-profiles", "no");
    // No subtitle or cover files looked up beside a local song: no listing of its folder.
    setOption("sub-auto", "no");
    setOption("cover-art-auto", "no");
    setOption("audio-client-name", "Lumevar");
    setOption("pause", paused ? "yes" : "no");
    setOption("volume", QByteArray::number(std::clamp(options.volume, 0, 100)));
    if (!options.audioOutput.isEmpty())
        setOption("ao", options.audioOutput.toUtf8());
    if (const int rc = api->initialize(mpv); rc < 0) {
        LUMEVAR_ERROR(Log::playback(), "Failed to start the mpv player: %@", api->error_string(rc));
        api->terminate_destroy(mpv);
        return nullptr;
    }
    return mpv;
}

// What a start made, handed from the worker thread to the engine. The engine lets go of it when
// it is destroyed before taking the player: a start still running then ends the player itself,
// so that a quit never waits for mpv.
struct StartHandOff {
    std::mutex mutex;
    std::condition_variable finishedChanged;
    MpvAudioEngine *engine = nullptr; // null once the engine is gone
    bool finished = false;
    mpv_handle *handle = nullptr;
};

} // namespace

struct MpvAudioEngine::Private {
    MpvAudioEngine *q = nullptr;
    MpvAudioEngine::Options options;
    const MpvClient *api = nullptr;
    mpv_handle *mpv = nullptr;
    // mpv starts at prepare() or the first load, on a worker thread (loading libmpv and its
    // codecs takes 0.2-0.4 s); a start that failed is not tried again.
    enum class State { idle, starting, running, failed } state = State::idle;
    std::shared_ptr<StartHandOff> handOff;
    QElapsedTimer startTimer;
    // A load asked for while mpv starts, of url.
    bool loadWaiting = false;
    // Set while a drain is queued on the main thread, so that a burst of wakeups queues one.
    std::atomic<bool> drainQueued{false};

    // mpv's playlist entry id of the current load; -1 when nothing is loaded or loading.
    int64_t entryID = -1;
    // No id came back from loadfile: the next file mpv starts is taken as the current load.
    bool takeNextStartedEntry = false;
    // The entry of mpv's latest start-file event: a file-loaded event belongs to it.
    int64_t startedEntryID = -1;
    bool loaded = false;
    bool paused = true;
    // Position and duration as mpv last reported them for the current file. They are observed
    // rather than read on demand, so that reading them never waits for mpv's core (which may be
    // busy opening a stream). Near the end of a file mpv has no position for a moment while the
    // output drains; the last one is kept then.
    double lastPosition = 0;
    double lastDuration = 0;
    QUrl url;
    // Bumped by every load and stop, so that a queued failure of an older load is dropped.
    quint64 loadGeneration = 0;

    static void wakeup(void *context)
    {
        // On an mpv thread: only queue the drain.
        auto *self = static_cast<Private *>(context);
        if (self->drainQueued.exchange(true))
            return;
        // By name: a functor would be copied into Qt's queue here and read on the main thread,
        // a hand-over inside Qt that a thread sanitizer cannot see.
        QMetaObject::invokeMethod(self->q, "drainEvents", Qt::QueuedConnection);
    }

    // Reports a failed load on the next turn of the event loop, as mpv's own failures arrive.
    void failLater(const QString &message)
    {
        const auto generation = loadGeneration;
        QMetaObject::invokeMethod(
            q,
            [this, generation, message] {
                if (generation != loadGeneration)
                    return;
                entryID = -1;
                loaded = false;
                Q_EMIT q->failed(message);
            },
            Qt::QueuedConnection);
    }

    double doubleProperty(const char *name) const
    {
        double value = 0;
        if (!mpv || api->get_property(mpv, name, MPV_FORMAT_DOUBLE, &value) < 0)
            return 0;
        return value;
    }
};

MpvAudioEngine::MpvAudioEngine(QObject *parent) : MpvAudioEngine(Options{}, parent) {}

MpvAudioEngine::MpvAudioEngine(Options options, QObject *parent) : AudioEngine(parent), d(std::make_unique<Private>())
{
    d->q = this;
    d->options = std::move(options);
    // mpv parses numbers with the C library and refuses to start under a locale with a decimal
    // comma; Qt's application object sets the locale from the environment, so reset it here.
    std::setlocale(LC_NUMERIC, "C");
}

MpvAudioEngine::~MpvAudioEngine()
{
    if (d->state == Private::State::starting) {
        mpv_handle *handle = nullptr;
        {
            const std::lock_guard lock(d->handOff->mutex);
            d->handOff->engine = nullptr;
            handle = std::exchange(d->handOff->handle, nullptr);
        }
        // Made but not yet taken; a start still running ends its player on its own thread.
        if (handle)
            MpvClient::shared()->terminate_destroy(handle);
        return;
    }
    if (!d->mpv)
        return;
    d->api->set_wakeup_callback(d->mpv, nullptr, nullptr);
    d->api->terminate_destroy(d->mpv);
    d->mpv = nullptr;
}

void MpvAudioEngine::start()
{
    if (d->state != Private::State::idle)
        return;
    d->state = Private::State::starting;
    d->startTimer.start();
    auto handOff = std::make_shared<StartHandOff>();
    handOff->engine = this;
    d->handOff = handOff;
    startOnPool(WorkerPools::background(), [handOff, options = d->options, paused = d->paused] {
        mpv_handle *handle = createPlayer(options, paused);
        {
            const std::lock_guard lock(handOff->mutex);
            if (handOff->engine) {
                handOff->handle = handle;
                handOff->finished = true;
                handle = nullptr;
                handOff->finishedChanged.notify_all();
                // Queued by name while the lock is held, so the engine cannot go meanwhile (its
                // destructor takes the lock, and a destroyed object's queued calls are dropped);
                // a queued functor would be a hand-over inside Qt that a thread sanitizer cannot see.
                QMetaObject::invokeMethod(handOff->engine, "takeStartedPlayer", Qt::QueuedConnection);
            }
        }
        if (handle)
            MpvClient::shared()->terminate_destroy(handle);
    });
}

void MpvAudioEngine::takeStartedPlayer()
{
    if (d->state != Private::State::starting)
        return;
    mpv_handle *handle = nullptr;
    {
        const std::lock_guard lock(d->handOff->mutex);
        if (!d->handOff->finished)
            return;
        handle = std::exchange(d->handOff->handle, nullptr);
    }
    d->handOff.reset();
    started(handle);
}

void MpvAudioEngine::started(mpv_handle *handle)
{
    if (!handle) {
        d->state = Private::State::failed;
        if (std::exchange(d->loadWaiting, false))
            d->failLater(QStringLiteral("Cannot play %1: the audio engine is not available").arg(Log::withoutCredentials(d->url.toDisplayString())));
        return;
    }
    d->state = Private::State::running;
    d->api = MpvClient::shared();
    d->mpv = handle;
    d->api->observe_property(d->mpv, 0, "time-pos", MPV_FORMAT_DOUBLE);
    d->api->request_log_messages(d->mpv, "error");
    d->api->set_wakeup_callback(d->mpv, &Private::wakeup, d.get());
    // A play or pause while mpv started.
    d->api->set_property_string(d->mpv, "pause", d->paused ? "yes" : "no");
    LUMEVAR_DEBUG(Log::playback(), "Started mpv in %d ms", int(d->startTimer.elapsed()));
    if (std::exchange(d->loadWaiting, false))
        loadFile();
}

bool MpvAudioEngine::isAvailable()
{
    start();
    if (d->state == Private::State::starting) {
        {
            std::unique_lock lock(d->handOff->mutex);
            d->handOff->finishedChanged.wait(lock, [this] { return d->handOff->finished; });
        }
        takeStartedPlayer();
    }
    return d->state == Private::State::running;
}

void MpvAudioEngine::prepare() { start(); }

void MpvAudioEngine::load(const QUrl &url)
{
    ++d->loadGeneration;
    d->loaded = false;
    d->lastPosition = 0;
    d->lastDuration = 0;
    d->entryID = -1;
    d->takeNextStartedEntry = false;
    d->url = url;
    d->loadWaiting = false;
    switch (d->state) {
    case Private::State::failed:
        d->failLater(QStringLiteral("Cannot play %1: the audio engine is not available").arg(Log::withoutCredentials(url.toDisplayString())));
        return;
    case Private::State::running:
        loadFile();
        return;
    default:
        // The file is opened once mpv runs.
        d->loadWaiting = true;
        start();
        return;
    }
}

void MpvAudioEngine::loadFile()
{
    const QUrl &url = d->url;
    // A local file goes by its bytes, decoded from the URL's percent-encoding rather than through
    // text, so a name that is not UTF-8 opens as it is.
    const QByteArray target = url.isLocalFile() ? QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1())
                                                : url.toString(QUrl::FullyEncoded).toUtf8();
    const char *args[] = {"loadfile", target.constData(), "replace", nullptr};
    mpv_node result{};
    if (const int rc = d->api->command_ret(d->mpv, args, &result); rc < 0) {
        d->failLater(QStringLiteral("Cannot play %1: %2").arg(Log::withoutCredentials(url.toDisplayString()), QString::fromUtf8(d->api->error_string(rc))));
        return;
    }
    if (result.format == MPV_FORMAT_NODE_MAP) {
        for (int i = 0; i < result.u.list->num; ++i) {
            const mpv_node &value = result.u.list->values[i];
            if (qstrcmp(result.u.list->keys[i], "playlist_entry_id") == 0 && value.format == MPV_FORMAT_INT64)
                d->entryID = value.u.int64;
        }
    }
    d->api->free_node_contents(&result);
    d->takeNextStartedEntry = d->entryID < 0;
}

void MpvAudioEngine::play()
{
    if (!d->paused)
        return;
    d->paused = false;
    if (d->mpv)
        d->api->set_property_string(d->mpv, "pause", "no");
    Q_EMIT pausedChanged(false);
}

void MpvAudioEngine::pause()
{
    if (d->paused)
        return;
    d->paused = true;
    if (d->mpv)
        d->api->set_property_string(d->mpv, "pause", "yes");
    Q_EMIT pausedChanged(true);
}

void MpvAudioEngine::stop()
{
    ++d->loadGeneration;
    d->loaded = false;
    d->lastPosition = 0;
    d->lastDuration = 0;
    d->entryID = -1;
    d->takeNextStartedEntry = false;
    d->loadWaiting = false;
    d->url.clear();
    if (!d->mpv)
        return;
    const char *args[] = {"stop", nullptr};
    d->api->command(d->mpv, args);
}

void MpvAudioEngine::seek(double seconds)
{
    if (!d->mpv || !d->loaded)
        return;
    d->lastPosition = std::max(0.0, seconds);
    const QByteArray target = QByteArray::number(d->lastPosition, 'f', 3);
    const char *args[] = {"seek", target.constData(), "absolute", nullptr};
    if (const int rc = d->api->command_async(d->mpv, 0, args); rc < 0)
        LUMEVAR_ERROR(Log::playback(), "Failed to seek to %.1f: %@", seconds, d->api->error_string(rc));
}

double MpvAudioEngine::position() const { return d->loaded ? d->lastPosition : 0; }

double MpvAudioEngine::duration() const { return d->loaded ? d->lastDuration : 0; }

bool MpvAudioEngine::isPaused() const { return d->paused; }

void MpvAudioEngine::drainEvents()
{
    d->drainQueued.store(false);
    QPointer<MpvAudioEngine> self(this);
    while (self && d->mpv) {
        mpv_event *event = d->api->wait_event(d->mpv, 0);
        if (event->event_id == MPV_EVENT_NONE)
            break;
        switch (event->event_id) {
        case MPV_EVENT_START_FILE: {
            const auto *started = static_cast<mpv_event_start_file *>(event->data);
            d->startedEntryID = started->playlist_entry_id;
            if (d->takeNextStartedEntry) {
                d->entryID = started->playlist_entry_id;
                d->takeNextStartedEntry = false;
            }
            break;
        }
        case MPV_EVENT_FILE_LOADED:
            if (d->entryID >= 0 && d->startedEntryID == d->entryID && !d->loaded) {
                d->loaded = true;
                // Known once the file is open; read here, when the core has just finished with it.
                d->lastDuration = std::max(0.0, d->doubleProperty("duration"));
                Q_EMIT loaded();
            }
            break;
        case MPV_EVENT_END_FILE: {
            const auto *ended = static_cast<mpv_event_end_file *>(event->data);
            // The end of a file replaced or stopped since is none of the player's business.
            if (d->entryID < 0 || ended->playlist_entry_id != d->entryID)
                break;
            const bool wasLoaded = d->loaded;
            const QString where = Log::withoutCredentials(d->url.toDisplayString());
            if (ended->reason == MPV_END_FILE_REASON_EOF && wasLoaded) {
                d->entryID = -1;
                d->loaded = false;
                Q_EMIT endOfFile();
            } else if (ended->reason == MPV_END_FILE_REASON_ERROR || ended->reason == MPV_END_FILE_REASON_EOF) {
                // An error, or a file that ended before it was ever loaded (nothing in it to play).
                d->entryID = -1;
                d->loaded = false;
                const QString reason = ended->reason == MPV_END_FILE_REASON_ERROR
                                           ? QString::fromUtf8(d->api->error_string(ended->error))
                                           : QStringLiteral("nothing to play");
                const QString message = QStringLiteral("Cannot play %1: %2").arg(where, reason);
                Q_EMIT failed(message);
            }
            break;
        }
        case MPV_EVENT_PROPERTY_CHANGE: {
            // Only time-pos is observed. Changes that were queued before the current file loaded
            // belong to an earlier one.
            const auto *property = static_cast<mpv_event_property *>(event->data);
            if (d->loaded && property->format == MPV_FORMAT_DOUBLE)
                d->lastPosition = std::max(0.0, *static_cast<double *>(property->data));
            break;
        }
        case MPV_EVENT_LOG_MESSAGE: {
            const auto *message = static_cast<mpv_event_log_message *>(event->data);
            LUMEVAR_ERROR(Log::playback(), "mpv [%@] %@", message->prefix, QString::fromUtf8(message->text).trimmed());
            break;
        }
        case MPV_EVENT_SHUTDOWN:
            LUMEVAR_ERROR(Log::playback(), "The mpv player shut down; playback is no longer available");
            d->api->set_wakeup_callback(d->mpv, nullptr, nullptr);
            d->api->terminate_destroy(d->mpv);
            d->mpv = nullptr;
            d->loaded = false;
            d->entryID = -1;
            break;
        default:
            break;
        }
    }
}

#include "Platform/Music/MpvAudioEngine.h"

#include "Support/Log.h"

#include <QByteArray>
#include <QMetaObject>
#include <QPointer>
#include <algorithm>
#include <atomic>
#include <clocale>
#include <mpv/client.h>

struct MpvAudioEngine::Private {
    MpvAudioEngine *q = nullptr;
    mpv_handle *mpv = nullptr;
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
        QMetaObject::invokeMethod(self->q, [engine = self->q] { engine->drainEvents(); }, Qt::QueuedConnection);
    }

    void setOption(const char *name, const QByteArray &value)
    {
        const int rc = mpv_set_option_string(mpv, name, value.constData());
        if (rc < 0)
            Log::error(Log::playback(), "mpv rejected the option %@=%@: %@", name, QString::fromUtf8(value),
                       mpv_error_string(rc));
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
        if (!mpv || mpv_get_property(mpv, name, MPV_FORMAT_DOUBLE, &value) < 0)
            return 0;
        return value;
    }
};

MpvAudioEngine::MpvAudioEngine(QObject *parent) : MpvAudioEngine(Options{}, parent) {}

MpvAudioEngine::MpvAudioEngine(Options options, QObject *parent) : AudioEngine(parent), d(std::make_unique<Private>())
{
    d->q = this;
    // mpv parses numbers with the C library and refuses to start under a locale with a decimal
    // comma; Qt's application object sets the locale from the environment, so reset it here.
    std::setlocale(LC_NUMERIC, "C");
    d->mpv = mpv_create();
    if (!d->mpv) {
        Log::error(Log::playback(), "Failed to create the mpv player: out of memory or bad locale");
        return;
    }
    // Audio only: no video track, no video output, no cover-art window, and nothing of the user's
    // mpv configuration, scripts or key bindings.
    d->setOption("vid", "no");
    d->setOption("vo", "null");
    d->setOption("audio-display", "no");
    d->setOption("force-window", "no");
    d->setOption("idle", "yes");
    d->setOption("keep-open", "no");
    d->setOption("terminal", "no");
    d->setOption("config", "no");
    d->setOption("input-default-bindings", "no");
    d->setOption("input-vo-keyboard", "no");
    d->setOption("osc", "no");
    d->setOption("ytdl", "no");
    d->setOption("load-scripts", "no");
    d->setOption("audio-client-name", "Lumevar");
    d->setOption("pause", "yes");
    d->setOption("volume", QByteArray::number(std::clamp(options.volume, 0, 100)));
    if (!options.audioOutput.isEmpty())
        d->setOption("ao", options.audioOutput.toUtf8());

    if (const int rc = mpv_initialize(d->mpv); rc < 0) {
        Log::error(Log::playback(), "Failed to start the mpv player: %@", mpv_error_string(rc));
        mpv_terminate_destroy(d->mpv);
        d->mpv = nullptr;
        return;
    }
    mpv_observe_property(d->mpv, 0, "time-pos", MPV_FORMAT_DOUBLE);
    mpv_request_log_messages(d->mpv, "error");
    mpv_set_wakeup_callback(d->mpv, &Private::wakeup, d.get());
}

MpvAudioEngine::~MpvAudioEngine()
{
    if (!d->mpv)
        return;
    mpv_set_wakeup_callback(d->mpv, nullptr, nullptr);
    mpv_terminate_destroy(d->mpv);
    d->mpv = nullptr;
}

bool MpvAudioEngine::isAvailable() const { return d->mpv != nullptr; }

void MpvAudioEngine::load(const QUrl &url)
{
    ++d->loadGeneration;
    d->loaded = false;
    d->lastPosition = 0;
    d->lastDuration = 0;
    d->entryID = -1;
    d->takeNextStartedEntry = false;
    d->url = url;
    if (!d->mpv) {
        d->failLater(QStringLiteral("Cannot play %1: the audio engine is not available").arg(url.toDisplayString()));
        return;
    }
    // A local file goes by its bytes, decoded from the URL's percent-encoding rather than through
    // text, so a name that is not UTF-8 opens as it is.
    const QByteArray target = url.isLocalFile() ? QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1())
                                                : url.toString(QUrl::FullyEncoded).toUtf8();
    const char *args[] = {"loadfile", target.constData(), "replace", nullptr};
    mpv_node result{};
    if (const int rc = mpv_command_ret(d->mpv, args, &result); rc < 0) {
        d->failLater(QStringLiteral("Cannot play %1: %2").arg(url.toDisplayString(), QString::fromUtf8(mpv_error_string(rc))));
        return;
    }
    if (result.format == MPV_FORMAT_NODE_MAP) {
        for (int i = 0; i < result.u.list->num; ++i) {
            const mpv_node &value = result.u.list->values[i];
            if (qstrcmp(result.u.list->keys[i], "playlist_entry_id") == 0 && value.format == MPV_FORMAT_INT64)
                d->entryID = value.u.int64;
        }
    }
    mpv_free_node_contents(&result);
    d->takeNextStartedEntry = d->entryID < 0;
}

void MpvAudioEngine::play()
{
    if (!d->paused)
        return;
    d->paused = false;
    if (d->mpv)
        mpv_set_property_string(d->mpv, "pause", "no");
    Q_EMIT pausedChanged(false);
}

void MpvAudioEngine::pause()
{
    if (d->paused)
        return;
    d->paused = true;
    if (d->mpv)
        mpv_set_property_string(d->mpv, "pause", "yes");
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
    d->url.clear();
    if (!d->mpv)
        return;
    const char *args[] = {"stop", nullptr};
    mpv_command(d->mpv, args);
}

void MpvAudioEngine::seek(double seconds)
{
    if (!d->mpv || !d->loaded)
        return;
    d->lastPosition = std::max(0.0, seconds);
    const QByteArray target = QByteArray::number(d->lastPosition, 'f', 3);
    const char *args[] = {"seek", target.constData(), "absolute", nullptr};
    if (const int rc = mpv_command_async(d->mpv, 0, args); rc < 0)
        Log::error(Log::playback(), "Failed to seek to %.1f: %@", seconds, mpv_error_string(rc));
}

double MpvAudioEngine::position() const { return d->loaded ? d->lastPosition : 0; }

double MpvAudioEngine::duration() const { return d->loaded ? d->lastDuration : 0; }

bool MpvAudioEngine::isPaused() const { return d->paused; }

void MpvAudioEngine::drainEvents()
{
    d->drainQueued.store(false);
    QPointer<MpvAudioEngine> self(this);
    while (self && d->mpv) {
        mpv_event *event = mpv_wait_event(d->mpv, 0);
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
            const QString where = d->url.toDisplayString();
            if (ended->reason == MPV_END_FILE_REASON_EOF && wasLoaded) {
                d->entryID = -1;
                d->loaded = false;
                Q_EMIT endOfFile();
            } else if (ended->reason == MPV_END_FILE_REASON_ERROR || ended->reason == MPV_END_FILE_REASON_EOF) {
                // An error, or a file that ended before it was ever loaded (nothing in it to play).
                d->entryID = -1;
                d->loaded = false;
                const QString reason = ended->reason == MPV_END_FILE_REASON_ERROR
                                           ? QString::fromUtf8(mpv_error_string(ended->error))
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
            Log::error(Log::playback(), "mpv [%@] %@", message->prefix, QString::fromUtf8(message->text).trimmed());
            break;
        }
        case MPV_EVENT_SHUTDOWN:
            Log::error(Log::playback(), "The mpv player shut down; playback is no longer available");
            mpv_set_wakeup_callback(d->mpv, nullptr, nullptr);
            mpv_terminate_destroy(d->mpv);
            d->mpv = nullptr;
            d->loaded = false;
            d->entryID = -1;
            break;
        default:
            break;
        }
    }
}

#pragma once
// The product's audio engine on libmpv, audio only (no video track, no video output, no window).
//
// mpv runs its own threads. Its wakeup callback only queues a drain of mpv's event queue onto the
// thread that owns the engine (the main thread), so every signal of AudioEngine is emitted there.
// The engine plays one file at a time: load() replaces whatever was loaded, and the pause state
// is kept across loads (a fresh engine is paused), as the player expects.
//
// Events are matched to the load that caused them by mpv's playlist entry id, so the end of a file
// that was replaced a moment ago never reaches the player as the end of the new one.
// mpv's end-of-file with an error (missing file, unknown format, nothing to play) becomes failed().

#include "Platform/Music/AudioEngine.h"

#include <QString>
#include <memory>

struct mpv_handle;

class MpvAudioEngine final : public AudioEngine {
    Q_OBJECT
public:
    struct Options {
        // mpv's audio output driver ("pulse", "alsa", "null" in tests); empty lets mpv choose.
        QString audioOutput;
        // 0 to 100.
        int volume = 100;
    };

    // Must be created on the main thread after the Qt application object exists. libmpv is loaded
    // and started on a worker thread at prepare() or the first load (or isAvailable()), and a load
    // asked for meanwhile opens its file once mpv runs; when the start fails, the engine logs why
    // and every load fails. Destroyed while mpv starts, the engine does not wait: the start ends
    // its player on the worker thread.
    explicit MpvAudioEngine(Options options, QObject *parent = nullptr);
    explicit MpvAudioEngine(QObject *parent = nullptr);
    ~MpvAudioEngine() override;

    // Whether mpv runs or can: starts it if nothing has yet, and waits for the start.
    bool isAvailable();

    // Starts mpv unless it runs, has started or failed to.
    void prepare() override;
    void load(const QUrl &url) override;
    void play() override;
    void pause() override;
    void stop() override;
    void seek(double seconds) override;

    double position() const override;
    double duration() const override;
    bool isPaused() const override;

private:
    // Loads libmpv and starts the player on a worker thread, once; started() takes the result.
    void start();
    // Takes the player a finished start made, on the main thread; started() sets it up.
    Q_INVOKABLE void takeStartedPlayer();
    void started(mpv_handle *handle);
    // Opens the file of the current load in the running player.
    void loadFile();
    // Invoked by name from mpv's threads (see Private::wakeup).
    Q_INVOKABLE void drainEvents();
    struct Private;
    std::unique_ptr<Private> d;
};

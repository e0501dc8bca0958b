#pragma once
// An audio engine on virtual time for tests. Nothing is decoded: a loaded URL "plays" while the
// clock advances, its position follows the clock, and end of file fires when the position reaches
// the URL's duration. URLs in `broken` fail to load. Like mpv, the engine starts paused, keeps its
// pause state across loads, and unloads the file at its end.

#include "Platform/Music/AudioEngine.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <memory>

class Clock;
class ScheduledCall;

class VirtualAudioEngine final : public AudioEngine {
    Q_OBJECT
public:
    explicit VirtualAudioEngine(Clock &clock, QObject *parent = nullptr);
    ~VirtualAudioEngine() override;

    // Seconds of each URL; others last defaultDuration.
    QHash<QUrl, double> durations;
    double defaultDuration = 180;
    // URLs whose load fails with "Failed to open <url>".
    QSet<QUrl> broken;
    // When set, loaded() and failed() of a load arrive on the next turn of the event loop instead
    // of inside load(), as a real engine's would.
    bool answersLater = false;

    // Every URL loaded, in order.
    QList<QUrl> loads;
    // How often the engine was asked to start ahead of a play.
    int prepares = 0;
    QUrl loadedURL() const { return m_loaded ? m_url : QUrl(); }
    bool isLoaded() const { return m_loaded; }

    // The output went away: the engine pauses on its own and reports it.
    void interrupt();
    // Decoding breaks in the middle of the loaded file.
    void breakDuringPlayback(const QString &message);

    void prepare() override { ++prepares; }
    void load(const QUrl &url) override;
    void play() override;
    void pause() override;
    void stop() override;
    void seek(double seconds) override;
    double position() const override;
    double duration() const override { return m_loaded ? m_duration : 0; }
    bool isPaused() const override { return m_paused; }

private:
    void setPaused(bool paused);
    void settleLoad();
    void scheduleEnd();
    void reachEnd();
    void unload();

    Clock &m_clock;
    QUrl m_url;
    bool m_loaded = false;
    bool m_paused = true;
    double m_duration = 0;
    double m_base = 0;  // position when the clock was last read into it
    double m_since = 0; // clock time of m_base while playing
    quint64 m_loadGeneration = 0;
    std::unique_ptr<ScheduledCall> m_end;
};

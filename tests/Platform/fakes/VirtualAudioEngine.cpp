#include "VirtualAudioEngine.h"

#include "Support/Clock.h"

#include <QPointer>
#include <QTimer>
#include <algorithm>

VirtualAudioEngine::VirtualAudioEngine(Clock &clock, QObject *parent) : AudioEngine(parent), m_clock(clock) {}

VirtualAudioEngine::~VirtualAudioEngine() = default;

void VirtualAudioEngine::load(const QUrl &url)
{
    unload();
    loads.append(url);
    m_url = url;
    const auto generation = ++m_loadGeneration;
    if (!answersLater) {
        settleLoad();
        return;
    }
    QTimer::singleShot(0, this, [this, generation] {
        if (generation == m_loadGeneration)
            settleLoad();
    });
}

void VirtualAudioEngine::settleLoad()
{
    if (broken.contains(m_url)) {
        Q_EMIT failed(QStringLiteral("Failed to open %1").arg(m_url.toString()));
        return;
    }
    m_loaded = true;
    m_duration = durations.value(m_url, defaultDuration);
    m_base = 0;
    m_since = m_clock.now();
    Q_EMIT loaded();
    scheduleEnd();
}

void VirtualAudioEngine::play() { setPaused(false); }

void VirtualAudioEngine::pause() { setPaused(true); }

void VirtualAudioEngine::setPaused(bool paused)
{
    if (paused == m_paused)
        return;
    m_base = position();
    m_since = m_clock.now();
    m_paused = paused;
    scheduleEnd();
    Q_EMIT pausedChanged(paused);
}

void VirtualAudioEngine::stop()
{
    ++m_loadGeneration;
    unload();
}

void VirtualAudioEngine::seek(double seconds)
{
    if (!m_loaded)
        return;
    m_base = std::clamp(seconds, 0.0, m_duration);
    m_since = m_clock.now();
    scheduleEnd();
}

double VirtualAudioEngine::position() const
{
    if (!m_loaded)
        return 0;
    const double elapsed = m_paused ? 0 : m_clock.now() - m_since;
    return std::min(m_duration, m_base + elapsed);
}

void VirtualAudioEngine::interrupt() { setPaused(true); }

void VirtualAudioEngine::breakDuringPlayback(const QString &message)
{
    unload();
    Q_EMIT failed(message);
}

void VirtualAudioEngine::scheduleEnd()
{
    m_end.reset();
    if (!m_loaded || m_paused)
        return;
    m_end = m_clock.schedule(m_duration - position(), [this] { reachEnd(); });
}

void VirtualAudioEngine::reachEnd()
{
    unload(); // clocks allow a call to be destroyed from inside itself
    Q_EMIT endOfFile();
}

void VirtualAudioEngine::unload()
{
    m_end.reset();
    m_loaded = false;
    m_base = 0;
    m_duration = 0;
}

#pragma once
// The sound-producing half of the player: loads one URL at a time and reports what happens to it.
// MpvAudioEngine is the product's; tests drive the player through an engine on virtual time.
// All signals are delivered on the main thread.

#include <QObject>
#include <QUrl>

class AudioEngine : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    ~AudioEngine() override = default;

    // A play is likely soon: an engine that takes a while to start (loading its libraries,
    // opening its output) starts now, off the calling thread, so that the first load need not
    // wait for it. Does nothing by default and for an engine that runs.
    virtual void prepare() {}
    // Replaces whatever was loaded; playback starts when play() is called (or at once if playing).
    virtual void load(const QUrl &url) = 0;
    virtual void play() = 0;
    virtual void pause() = 0;
    // Unloads the current file.
    virtual void stop() = 0;
    virtual void seek(double seconds) = 0;

    virtual double position() const = 0; // seconds into the loaded file
    virtual double duration() const = 0; // seconds, 0 while unknown
    virtual bool isPaused() const = 0;

Q_SIGNALS:
    // The file is loaded and its duration known.
    void loaded();
    // The loaded file played to its end.
    void endOfFile();
    // The file could not be loaded or decoded; message says why.
    void failed(const QString &message);
    // The engine started or stopped producing sound.
    void pausedChanged(bool paused);
};

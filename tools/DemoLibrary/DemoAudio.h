#pragma once
// Synthesised tunes and the encoders that turn them into real audio files: PCM WAV, FLAC
// (libFLAC), MP3 (LAME) and Ogg Vorbis (libvorbis). Everything is deterministic: the same tune
// seed and encoder settings give the same bytes on every run.

#include <QByteArray>
#include <QString>
#include <QVector>
#include <cstdint>

namespace DemoAudio {

// Interleaved 16-bit PCM.
struct Pcm {
    int sampleRate = 44100;
    int channels = 2;
    QVector<int16_t> samples;
    double seconds() const { return channels > 0 && sampleRate > 0 ? double(samples.size()) / channels / sampleRate : 0; }
};

// A short tune: a melody over a pentatonic scale with a bass line and a soft beat, its key,
// tempo and notes drawn from the seed.
Pcm synthesize(quint32 seed, double seconds, int sampleRate = 44100, int channels = 2);

// Each writes the file at path (replacing it) and returns false with a message on failure.
bool writeWav(const QString &path, const Pcm &pcm, QString *error = nullptr);
bool writeFlac(const QString &path, const Pcm &pcm, QString *error = nullptr);
bool writeMp3(const QString &path, const Pcm &pcm, QString *error = nullptr);
bool writeOggVorbis(const QString &path, const Pcm &pcm, QString *error = nullptr);

// Writes by the path's suffix: wav, flac, mp3 or ogg.
bool write(const QString &path, const Pcm &pcm, QString *error = nullptr);

} // namespace DemoAudio

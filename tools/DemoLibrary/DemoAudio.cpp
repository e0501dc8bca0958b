#include "DemoLibrary/DemoAudio.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QtEndian>

#include <FLAC/stream_encoder.h>
#include <lame/lame.h>
#include <vorbis/vorbisenc.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <random>

namespace DemoAudio {

namespace {

void fail(QString *error, const QString &message)
{
    if (error)
        *error = message;
}

double noteFrequency(int midiNote) { return 440.0 * std::pow(2.0, (midiNote - 69) / 12.0); }

// A soft, slightly bright voice: a sine with two quiet overtones.
double voice(double phase)
{
    return std::sin(phase) + 0.3 * std::sin(2 * phase) + 0.12 * std::sin(3 * phase);
}

bool writeAll(const QString &path, const QByteArray &bytes, QString *error)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit()) {
        fail(error, QStringLiteral("Cannot write %1: %2").arg(path, file.errorString()));
        return false;
    }
    return true;
}

} // namespace

Pcm synthesize(quint32 seed, double seconds, int sampleRate, int channels)
{
    static constexpr int pentatonic[] = {0, 2, 4, 7, 9};
    std::mt19937 random(seed);
    const int root = 52 + int(random() % 12);           // E3 .. D#4
    const double bpm = 84 + double(random() % 60);      // 84 .. 143
    const double beat = 60.0 / bpm;
    const int frames = int(seconds * sampleRate);

    // The melody: one note per half beat, stepping around the scale.
    const int steps = int(seconds / (beat / 2)) + 1;
    QVector<int> melody(steps);
    int degree = int(random() % 5);
    for (int i = 0; i < steps; ++i) {
        degree = std::clamp(degree + int(random() % 5) - 2, 0, 9);
        melody[i] = root + 12 + pentatonic[degree % 5] + 12 * (degree / 5);
    }
    const int bassPattern[4] = {0, 7, 9, 5};
    const double pan = 0.35 + 0.3 * double(random() % 100) / 100.0;

    Pcm pcm;
    pcm.sampleRate = sampleRate;
    pcm.channels = channels;
    pcm.samples.resize(qsizetype(frames) * channels);
    double melodyPhase = 0, bassPhase = 0;
    const double twoPi = 2 * std::numbers::pi;
    for (int n = 0; n < frames; ++n) {
        const double t = double(n) / sampleRate;
        const int step = std::min(int(t / (beat / 2)), steps - 1);
        const double inStep = t - step * (beat / 2);
        const double melodyEnvelope = std::exp(-3.5 * inStep / (beat / 2)) * std::min(1.0, inStep * 200);
        melodyPhase += twoPi * noteFrequency(melody[step]) / sampleRate;

        const int bar = int(t / (beat * 4));
        const double inBeat = std::fmod(t, beat);
        const double bassEnvelope = std::exp(-2.0 * inBeat / beat) * std::min(1.0, inBeat * 150);
        bassPhase += twoPi * noteFrequency(root - 12 + bassPattern[bar % 4]) / sampleRate;

        // A soft kick on each beat: a falling sine burst.
        const double kick = inBeat < 0.12 ? std::sin(twoPi * (60 + 90 * std::exp(-inBeat * 40)) * inBeat) * std::exp(-inBeat * 30) : 0;

        // Fade in and out so tracks start and end cleanly.
        const double fade = std::min({1.0, t / 0.05, (seconds - t) / 0.6});
        const double m = 0.28 * voice(melodyPhase) * melodyEnvelope;
        const double b = 0.30 * std::sin(bassPhase) * bassEnvelope;
        const double k = 0.35 * kick;
        const double left = (m * (1 - pan) * 2 * 0.5 + b + k) * fade;
        const double right = (m * pan * 2 * 0.5 + b + k) * fade;
        const auto clip = [](double v) { return int16_t(std::lround(std::clamp(v, -1.0, 1.0) * 30000)); };
        if (channels == 1) {
            pcm.samples[n] = clip((left + right) / 2);
        } else {
            pcm.samples[qsizetype(n) * channels] = clip(left);
            pcm.samples[qsizetype(n) * channels + 1] = clip(right);
            for (int c = 2; c < channels; ++c)
                pcm.samples[qsizetype(n) * channels + c] = clip((left + right) / 2);
        }
    }
    return pcm;
}

bool writeWav(const QString &path, const Pcm &pcm, QString *error)
{
    const quint32 dataBytes = quint32(pcm.samples.size() * 2);
    QByteArray bytes;
    bytes.reserve(44 + dataBytes);
    const auto u32 = [&bytes](quint32 v) { v = qToLittleEndian(v); bytes.append(reinterpret_cast<const char *>(&v), 4); };
    const auto u16 = [&bytes](quint16 v) { v = qToLittleEndian(v); bytes.append(reinterpret_cast<const char *>(&v), 2); };
    bytes.append("RIFF");
    u32(36 + dataBytes);
    bytes.append("WAVEfmt ");
    u32(16);
    u16(1); // PCM
    u16(quint16(pcm.channels));
    u32(quint32(pcm.sampleRate));
    u32(quint32(pcm.sampleRate * pcm.channels * 2));
    u16(quint16(pcm.channels * 2));
    u16(16);
    bytes.append("data");
    u32(dataBytes);
    for (const int16_t sample : pcm.samples)
        u16(quint16(sample));
    return writeAll(path, bytes, error);
}

bool writeFlac(const QString &path, const Pcm &pcm, QString *error)
{
    std::unique_ptr<FLAC__StreamEncoder, decltype(&FLAC__stream_encoder_delete)> encoder(FLAC__stream_encoder_new(),
                                                                                          &FLAC__stream_encoder_delete);
    if (!encoder) {
        fail(error, QStringLiteral("Cannot make a FLAC encoder"));
        return false;
    }
    FLAC__stream_encoder_set_channels(encoder.get(), unsigned(pcm.channels));
    FLAC__stream_encoder_set_bits_per_sample(encoder.get(), 16);
    FLAC__stream_encoder_set_sample_rate(encoder.get(), unsigned(pcm.sampleRate));
    FLAC__stream_encoder_set_compression_level(encoder.get(), 3);
    const qsizetype frames = pcm.samples.size() / pcm.channels;
    FLAC__stream_encoder_set_total_samples_estimate(encoder.get(), FLAC__uint64(frames));
    QFile::remove(path);
    const QByteArray encodedPath = QFile::encodeName(path);
    if (FLAC__stream_encoder_init_file(encoder.get(), encodedPath.constData(), nullptr, nullptr)
        != FLAC__STREAM_ENCODER_INIT_STATUS_OK) {
        fail(error, QStringLiteral("Cannot start FLAC encoding of %1").arg(path));
        return false;
    }
    std::vector<FLAC__int32> buffer;
    constexpr qsizetype chunk = 4096;
    for (qsizetype start = 0; start < frames; start += chunk) {
        const qsizetype count = std::min(chunk, frames - start);
        buffer.assign(pcm.samples.begin() + start * pcm.channels, pcm.samples.begin() + (start + count) * pcm.channels);
        if (!FLAC__stream_encoder_process_interleaved(encoder.get(), buffer.data(), unsigned(count))) {
            FLAC__stream_encoder_finish(encoder.get());
            fail(error, QStringLiteral("FLAC encoding of %1 failed").arg(path));
            return false;
        }
    }
    if (!FLAC__stream_encoder_finish(encoder.get())) {
        fail(error, QStringLiteral("Cannot finish FLAC file %1").arg(path));
        return false;
    }
    return true;
}

bool writeMp3(const QString &path, const Pcm &pcm, QString *error)
{
    std::unique_ptr<lame_global_flags, decltype(&lame_close)> lame(lame_init(), &lame_close);
    if (!lame || pcm.channels < 1 || pcm.channels > 2) {
        fail(error, QStringLiteral("Cannot make an MP3 encoder"));
        return false;
    }
    lame_set_num_channels(lame.get(), pcm.channels);
    lame_set_in_samplerate(lame.get(), pcm.sampleRate);
    lame_set_mode(lame.get(), pcm.channels == 1 ? MONO : JOINT_STEREO);
    lame_set_brate(lame.get(), 128);
    lame_set_quality(lame.get(), 7); // fast; the tunes are simple
    lame_set_bWriteVbrTag(lame.get(), 0);
    if (lame_init_params(lame.get()) < 0) {
        fail(error, QStringLiteral("Cannot set up the MP3 encoder"));
        return false;
    }
    const int frames = int(pcm.samples.size() / pcm.channels);
    QByteArray out(int(1.25 * frames + 7200) + 8192, Qt::Uninitialized);
    auto *buffer = reinterpret_cast<unsigned char *>(out.data());
    int written = 0;
    std::vector<short> samples(pcm.samples.begin(), pcm.samples.end());
    if (pcm.channels == 2)
        written = lame_encode_buffer_interleaved(lame.get(), samples.data(), frames, buffer, int(out.size()));
    else
        written = lame_encode_buffer(lame.get(), samples.data(), samples.data(), frames, buffer, int(out.size()));
    if (written < 0) {
        fail(error, QStringLiteral("MP3 encoding of %1 failed (%2)").arg(path).arg(written));
        return false;
    }
    const int tail = lame_encode_flush(lame.get(), buffer + written, int(out.size()) - written);
    if (tail < 0) {
        fail(error, QStringLiteral("MP3 encoding of %1 failed (%2)").arg(path).arg(tail));
        return false;
    }
    out.resize(written + tail);
    return writeAll(path, out, error);
}

bool writeOggVorbis(const QString &path, const Pcm &pcm, QString *error)
{
    vorbis_info info;
    vorbis_info_init(&info);
    if (vorbis_encode_init_vbr(&info, pcm.channels, pcm.sampleRate, 0.2f) != 0) {
        vorbis_info_clear(&info);
        fail(error, QStringLiteral("Cannot set up the Vorbis encoder"));
        return false;
    }
    vorbis_comment comment;
    vorbis_comment_init(&comment);
    vorbis_dsp_state dsp;
    vorbis_block block;
    vorbis_analysis_init(&dsp, &info);
    vorbis_block_init(&dsp, &block);
    ogg_stream_state stream;
    ogg_stream_init(&stream, 0x4c756d65); // a fixed serial keeps the output reproducible

    QByteArray out;
    ogg_page page;
    const auto appendPage = [&out, &page] {
        out.append(reinterpret_cast<const char *>(page.header), page.header_len);
        out.append(reinterpret_cast<const char *>(page.body), page.body_len);
    };
    ogg_packet header, headerComment, headerCode;
    vorbis_analysis_headerout(&dsp, &comment, &header, &headerComment, &headerCode);
    ogg_stream_packetin(&stream, &header);
    ogg_stream_packetin(&stream, &headerComment);
    ogg_stream_packetin(&stream, &headerCode);
    while (ogg_stream_flush(&stream, &page) != 0)
        appendPage();

    const int frames = int(pcm.samples.size() / pcm.channels);
    constexpr int chunk = 4096;
    ogg_packet packet;
    bool endOfStream = false;
    for (int start = 0; !endOfStream;) {
        const int count = std::min(chunk, frames - start);
        if (count > 0) {
            float **buffer = vorbis_analysis_buffer(&dsp, count);
            for (int i = 0; i < count; ++i)
                for (int c = 0; c < pcm.channels; ++c)
                    buffer[c][i] = pcm.samples[qsizetype(start + i) * pcm.channels + c] / 32768.0f;
            vorbis_analysis_wrote(&dsp, count);
            start += count;
        } else {
            vorbis_analysis_wrote(&dsp, 0); // end of input
        }
        while (vorbis_analysis_blockout(&dsp, &block) == 1) {
            vorbis_analysis(&block, nullptr);
            vorbis_bitrate_addblock(&block);
            while (vorbis_bitrate_flushpacket(&dsp, &packet)) {
                ogg_stream_packetin(&stream, &packet);
                while (!endOfStream && ogg_stream_pageout(&stream, &page) != 0) {
                    appendPage();
                    endOfStream = ogg_page_eos(&page) != 0;
                }
            }
        }
        if (count <= 0 && !endOfStream) {
            while (ogg_stream_flush(&stream, &page) != 0)
                appendPage();
            endOfStream = true;
        }
    }

    ogg_stream_clear(&stream);
    vorbis_block_clear(&block);
    vorbis_dsp_clear(&dsp);
    vorbis_comment_clear(&comment);
    vorbis_info_clear(&info);
    return writeAll(path, out, error);
}

bool write(const QString &path, const Pcm &pcm, QString *error)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == QLatin1String("wav"))
        return writeWav(path, pcm, error);
    if (suffix == QLatin1String("flac"))
        return writeFlac(path, pcm, error);
    if (suffix == QLatin1String("mp3"))
        return writeMp3(path, pcm, error);
    if (suffix == QLatin1String("ogg") || suffix == QLatin1String("oga"))
        return writeOggVorbis(path, pcm, error);
    fail(error, QStringLiteral("No encoder for %1").arg(path));
    return false;
}

} // namespace DemoAudio

// Music: the track streamed from disk through a short queue of OpenAL buffers, and the
// clock read from it. The clock is what is heard now (clock.h works it out from the device's
// clock, its latency and the source's offset), carried between the mixer's updates by the
// steady clock so that the picture moves smoothly, never backwards while playing, exactly on
// a seek's target and not at all while paused. Decoding happens on the main thread, once per
// frame, a second ahead of the output.
#define AL_ALEXT_PROTOTYPES
#include "music.h"

#include <AL/alext.h>
#include <fftw3.h>
#include <sndfile.h>
#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <vector>

#include "audio.h"
#include "clock.h"
#include "logger.h"

Stream* sound = nullptr;
ALuint channel = 0;

namespace {

// Eight buffers of an eighth of a second each. The queue is refilled once a frame, so it must
// outlast the longest frame, plus a buffer (one counts as played only once all of it is mixed),
// plus the mixer's lead (up to 80 ms on a sound server): about 460 ms for a frame of 250 ms,
// which a second covers twice over, and a seek decodes no more than that second anew.
const int BUFFERS = 8;
const int BUFFERS_PER_SECOND = 8;

// The longest analysis window, in samples: 8192 spectrum values need twice that
const int MAX_WAVE = 16384;
const int MAX_SPECTRUM = MAX_WAVE / 2;

// How long the device is watched when the track opens, so that the clock knows the output's
// timing from the first frame: long enough to see a few mixer periods come in
const double WATCH_MS = 80.0;

}  // namespace

// ---- Channels: what the output is given ---------------------------------------------------------

int outputChannels(int channels) { return channels == 1 ? 1 : 2; }

void foldDown(const float* in, int channels, int frames, float* out)
{
    for (int i = 0; i < frames; i++, in += channels) {
        if (channels <= 2) {
            for (int c = 0; c < channels; c++) *out++ = in[c];
            continue;
        }
        float left = 0.0f, right = 0.0f;
        for (int c = 0; c < channels; c++) (c % 2 ? right : left) += in[c];
        *out++ = left / ((channels + 1) / 2);
        *out++ = right / (channels / 2);
    }
}

// ---- The stream: decoding, the queue and the output ---------------------------------------------

struct Stream {
    SNDFILE* file;
    SF_INFO info;
    long long frames;       // track length in frames, counted when the file does not say
    int channels;           // 1 or 2: what the track is mixed down to for the output
    ALenum format;
    int bufferFrames;
    ALuint buffers[BUFFERS];
    ALuint spare[BUFFERS];  // buffers not in the source's queue
    int spareCount;
    int queued[BUFFERS];    // frames in each queued buffer, oldest first, from queueHead on
    int queueHead;
    int queueCount;
    long long queueBase;    // track frame at the head of the source's queue
    long long queueEnd;     // track frame after the last queued one: where decoding goes on
    bool decoderDry;        // the file gave out before its declared length: silence follows
    bool paused;            // the channel's pause flag
    std::vector<float> decoded;   // one buffer's worth of the file's own frames
    std::vector<float> mixed;     // the same mixed down to the output's channels
    std::vector<float> history;   // the first channel by track frame, modulo its size
    long long historyStart;       // first frame of the history decoded since the last seek
    Clock clock;
    int fftSize;
    float* fftIn;
    fftwf_complex* fftOut;
    fftwf_plan plan;

    // Opens the track and reads its format; any failure ends the program
    void open(const std::string& path);
    // Frees the decoder, the buffers and the analysis state
    void close();
    double frameToMs(double frame) const { return frame * 1000.0 / info.samplerate; }
    long long msToFrame(double ms) const { return static_cast<long long>(ms * info.samplerate / 1000.0); }
    // Decodes the next `count` frames into `mixed` (padding with silence past the file's end)
    int decode(int count);
    // Decodes into a spare buffer and queues it; false when nothing is spare or left
    bool queueNext(ALuint source);
    // Unqueues the oldest `count` buffers, which the source has played
    void unqueue(ALuint source, int count);
    // Empties the source's queue and leaves it stopped at its start
    void detach(ALuint source);
    // Moves the track to `ms`: the queue is rebuilt from there and the clock stands at `ms`
    void seek(ALuint source, double ms);
    // Replaces played buffers and restarts a source that ran dry
    void service(ALuint source);
    // Opens the output afresh, empty and running (it may have been paused); the clock learns its
    // timing anew
    void reopenOutput();
    // What the output says now about the device and `source` (none: 0), whose state goes to `state`
    Reading look(ALuint source, ALint& state);
    // Watches the device for a few mixer periods, so the clock knows its timing from the start
    void watchDevice();
    // The clock's value now, in ms
    double position(ALuint source);
    // Copies the `count` samples of the first channel that end at the heard position
    void window(float* samples, int count);
    // Reads the clock for a query that tolerates a missing channel (not started yet): false,
    // with the invalid handle stored, when there is none
    bool live();
};

void Stream::open(const std::string& path)
{
    file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) audio.check(sf_error(nullptr), Audio::DECODER, sf_strerror(nullptr));

    frames = info.frames;
    if (frames == SF_COUNT_MAX) {
        // A cut-off Ogg stream does not know its length; count it once, it is needed as the clock's end.
        std::vector<float> scratch(4096 * info.channels);
        sf_count_t got;
        frames = 0;
        while ((got = sf_readf_float(file, scratch.data(), 4096)) > 0) frames += got;
        if (sf_seek(file, 0, SEEK_SET) < 0) audio.check(sf_error(file), Audio::DECODER, sf_strerror(file));
    }

    channels = outputChannels(info.channels);
    format = channels == 1 ? AL_FORMAT_MONO_FLOAT32 : AL_FORMAT_STEREO_FLOAT32;
    bufferFrames = std::max(1, info.samplerate / BUFFERS_PER_SECOND);
    decoded.assign(static_cast<size_t>(bufferFrames) * info.channels, 0.0f);
    mixed.assign(static_cast<size_t>(bufferFrames) * channels, 0.0f);

    // The heard position trails the queue by up to a second of queue, the output's latency
    // and the longest window; the history keeps that much of the first channel.
    size_t size = 1;
    while (size < static_cast<size_t>(bufferFrames) * BUFFERS + info.samplerate / 2 + MAX_WAVE) size <<= 1;
    history.assign(size, 0.0f);

    alGenBuffers(BUFFERS, buffers);
    audio.check(alGetError(), Audio::CONTEXT);
    std::copy(buffers, buffers + BUFFERS, spare);
    spareCount = BUFFERS;
    queueHead = queueCount = 0;
    queueBase = queueEnd = historyStart = 0;
    decoderDry = false;
    paused = false;
    fftSize = 0;
    fftIn = nullptr;
    fftOut = nullptr;
    plan = nullptr;
}

void Stream::close()
{
    alDeleteBuffers(BUFFERS, buffers);
    audio.check(alGetError(), Audio::CONTEXT);
    if (plan) fftwf_destroy_plan(plan);
    fftwf_free(fftIn);
    fftwf_free(fftOut);
    audio.check(sf_close(file), Audio::DECODER);
}

int Stream::decode(int count)
{
    int want = static_cast<int>(std::min<long long>(count, frames - queueEnd));
    int got = 0;
    while (!decoderDry && got < want) {
        sf_count_t n = sf_readf_float(file, decoded.data() + static_cast<size_t>(got) * info.channels, want - got);
        // The decoder reports a damaged stream with the short read itself, and forgets it by the next.
        if (sf_error(file)) audio.check(sf_error(file), Audio::DECODER, sf_strerror(file));
        // A file cut short plays its declared length, the rest as silence, so the clock still
        // reaches the end the director waits for.
        if (n <= 0) decoderDry = true;
        got += static_cast<int>(std::max<sf_count_t>(n, 0));
    }
    std::fill(decoded.begin() + static_cast<size_t>(got) * info.channels,
              decoded.begin() + static_cast<size_t>(want) * info.channels, 0.0f);

    foldDown(decoded.data(), info.channels, want, mixed.data());
    for (int i = 0; i < want; i++) history[(queueEnd + i) & (history.size() - 1)] = mixed[i * channels];
    return want;
}

bool Stream::queueNext(ALuint source)
{
    if (spareCount == 0 || queueEnd >= frames) return false;
    int count = decode(bufferFrames);
    ALuint buffer = spare[--spareCount];
    alBufferData(buffer, format, mixed.data(), count * channels * static_cast<int>(sizeof(float)), info.samplerate);
    alSourceQueueBuffers(source, 1, &buffer);
    queued[(queueHead + queueCount) % BUFFERS] = count;
    queueCount++;
    queueEnd += count;
    return true;
}

void Stream::unqueue(ALuint source, int count)
{
    for (int i = 0; i < count && queueCount > 0; i++) {
        ALuint buffer = 0;
        alSourceUnqueueBuffers(source, 1, &buffer);
        spare[spareCount++] = buffer;
        queueBase += queued[queueHead];
        queueHead = (queueHead + 1) % BUFFERS;
        queueCount--;
    }
}

void Stream::detach(ALuint source)
{
    alSourceRewind(source);
    alSourcei(source, AL_BUFFER, 0);
    std::copy(buffers, buffers + BUFFERS, spare);
    spareCount = BUFFERS;
    queueHead = queueCount = 0;
}

void Stream::seek(ALuint source, double ms)
{
    detach(source);
    long long frame = std::min(msToFrame(ms), frames);
    // A part of the file that cannot be reached plays as silence, like a file cut short.
    decoderDry = sf_seek(file, frame, SEEK_SET) < 0;
    queueBase = queueEnd = historyStart = frame;
    while (queueNext(source)) {}
    if (!paused) alSourcePlay(source);
    clock.jump(ms, frameToMs(static_cast<double>(frame)));
}

void Stream::service(ALuint source)
{
    // Read before the queue changes: a source that ran dry caps the clock at the queue's end.
    position(source);

    ALint processed = 0;
    alGetSourcei(source, AL_BUFFERS_PROCESSED, &processed);
    unqueue(source, processed);
    int fresh = 0;
    while (queueNext(source)) fresh++;

    ALint state = AL_INITIAL;
    alGetSourcei(source, AL_SOURCE_STATE, &state);
    if (state != AL_STOPPED) return;
    // The output ran dry (a frame took longer than the whole queue): everything queued
    // before this call has played. Go on from where the sound stopped; the clock waited there.
    unqueue(source, queueCount - fresh);
    if (queueCount == 0) return;
    if (paused) {
        alSourceRewind(source);  // a stopped source counts its whole queue as played
        return;
    }
    clock.jump(clock.held, frameToMs(static_cast<double>(queueBase)));
    alSourcePlay(source);
}

// ---- The output and its readings: the clock -----------------------------------------------------

void Stream::reopenOutput()
{
    // A sound server keeps what it had mixed before a pause and would play it first; a fresh
    // stream does not. The sound goes on from the paused position: on ALSA, which played out
    // what it had been given (50 to 80 ms past the frozen picture), that part is heard again.
    // A sound server times a stream best about half a second after it opened, and the clock
    // holds what it learns then: the watch when the track loads opens one too, so that the
    // start does not hold the timing of a stream the device has had open for longer.
    alcResetDeviceSOFT(audio.system, nullptr);
    alcDeviceResumeSOFT(audio.system);
    alcGetError(audio.system);  // ignored, as pausing's are
    clock.reopened();
}

Reading Stream::look(ALuint source, ALint& state)
{
    // The device's clock and latency come from one query and the source's offset with the
    // device's clock from another; a mixer update in between shows as two clocks, and is retried.
    // The query waits for the mixer's lock (milliseconds on a sound server) and measures once it
    // has it, so the moment it describes is its end, not its start.
    Reading reading = {};
    ALCint64SOFT device[2] = { 0, 0 };
    ALint64SOFT offset[2] = { 0, 0 };
    for (int tries = 0; tries < 3; tries++) {
        alcGetInteger64vSOFT(audio.system, ALC_DEVICE_CLOCK_LATENCY_SOFT, 2, device);
        reading.wall = steadyMs();
        if (!source) break;
        alGetSourcei64vSOFT(source, AL_SAMPLE_OFFSET_CLOCK_SOFT, offset);
        if (offset[1] == device[0]) break;
    }
    reading.device = device[0] / 1e6;
    reading.latency = device[1] / 1e6;
    reading.source = frameToMs(static_cast<double>(queueBase) + offset[0] / 4294967296.0);
    state = AL_INITIAL;
    if (source) alGetSourcei(source, AL_SOURCE_STATE, &state);
    reading.playing = state == AL_PLAYING;
    return reading;
}

void Stream::watchDevice()
{
    reopenOutput();
    double start = steadyMs();
    ALint state;
    while (steadyMs() - start < WATCH_MS) {
        clock.read(look(0, state), clock.held);
        usleep(250);
    }
}

double Stream::position(ALuint source)
{
    if (clock.frozen) return clock.held;
    ALint state;
    Reading reading = look(source, state);
    // A source that stopped has played its whole queue: nothing beyond it can be heard. One
    // that plays on is followed even while the mixer lags behind (a null output catches up).
    double cap = state == AL_STOPPED ? frameToMs(static_cast<double>(queueEnd)) : INFINITY;
    return clock.read(reading, cap);
}

// ---- What the analysis reads: the samples heard last --------------------------------------------

void Stream::window(float* samples, int count)
{
    long long end = msToFrame(clock.held);
    long long first = std::max(historyStart, queueEnd - static_cast<long long>(history.size()));
    for (int i = 0; i < count; i++) {
        long long frame = end - count + i;
        samples[i] = frame >= first && frame < queueEnd ? history[frame & (history.size() - 1)] : 0.0f;
    }
}

bool Stream::live()
{
    int error = AL_INVALID_NAME;
    if (channel) {
        position(channel);
        error = alGetError();
    }
    audio.check(error, Audio::CONTEXT, nullptr, AL_INVALID_NAME);
    return error == AL_NO_ERROR;
}

// ---- Music: the track as the program sees it ----------------------------------------------------

// What Audio::update runs once per frame: played buffers replaced, a source that ran dry restarted
static void refill()
{
    if (sound && channel) sound->service(channel);
}

Music::Music(std::string name) : playing(false), length(0), volume(1.0f), holding(-1)
{
    logger << "Music: Loading: " << name << std::endl;
    sound = new Stream();
    sound->open(audioDirectory + name);
    sound->watchDevice();
    audio.pump(refill);
}

Music::~Music()
{
    logger << "Music: Closing..." << std::endl;
    audio.pump(nullptr);
    if (channel) {
        sound->detach(channel);
        alDeleteSources(1, &channel);
        channel = 0;
    }
    sound->close();
    delete sound;
    sound = nullptr;
}

void Music::start()
{
    logger << "Music: Start" << std::endl;
    // The new source exists before the old one goes, so the handle always changes.
    ALuint fresh = 0;
    alGenSources(1, &fresh);
    audio.check(alGetError(), Audio::CONTEXT);
    if (channel) {
        sound->detach(channel);
        alDeleteSources(1, &channel);
    }
    channel = fresh;
    alSourcei(channel, AL_SOURCE_RELATIVE, AL_TRUE);
    alSourcef(channel, AL_ROLLOFF_FACTOR, 0.0f);
    alSourcef(channel, AL_GAIN, std::max(volume, 0.0f));
    if (sound->paused) sound->reopenOutput();  // stopped, which paused the output with the source
    sound->paused = false;
    sound->clock.frozen = false;
    sound->seek(channel, 0.0);
    audio.check(alGetError(), Audio::CONTEXT);
    setPause(false);
    playing = true;
}

void Music::stop()
{
    logger << "Music: Stop" << std::endl;
    setPause(true);
}

void Music::setPause(bool pause)
{
    if (!sound->live() || pause == sound->paused) {
        alGetError();
        return;
    }
    sound->paused = pause;
    if (pause) {
        // The value just read is where the picture stops, and the output stops with it: a
        // paused source alone would leave what the device had already mixed (a sound server's
        // latency, 50 to 80 ms) playing on after the picture froze. A paused ALSA device plays
        // out what it was given; resetting it drops that, within 5 to 35 ms instead of 60.
        sound->clock.frozen = true;
        alcDevicePauseSOFT(audio.system);
        alcResetDeviceSOFT(audio.system, nullptr);
        alcGetError(audio.system);
        alSourcePause(channel);
    } else {
        // The sound goes on from the millisecond the picture shows, as after a seek there
        sound->reopenOutput();
        sound->clock.frozen = false;
        sound->seek(channel, std::floor(sound->clock.held));
    }
    alGetError();
}

int Music::getPosition()
{
    if (holding >= 0) return holding;
    if (!sound->live()) return 0;
    return static_cast<int>(std::floor(sound->clock.held));
}

void Music::setPosition(unsigned int ms)
{
    // As with any sound library, a position outside the track is refused and playback goes on.
    if (channel && ms < sound->frameToMs(static_cast<double>(sound->frames))) sound->seek(channel, ms);
    alGetError();
}

void Music::changePosition(int delta)
{
    int position = getPosition();
    int target = static_cast<int>(static_cast<unsigned int>(position) + static_cast<unsigned int>(delta));
    if (target < 0) target = 0;
    getLength();
    if (static_cast<int>(length) > target) setPosition(static_cast<unsigned int>(target));
}

int Music::getLength()
{
    length = static_cast<unsigned int>(sound->frames * 1000 / sound->info.samplerate);
    audio.check(AL_NO_ERROR, Audio::CONTEXT);
    return static_cast<int>(length);
}

float Music::getVolume()
{
    // Without a channel the volume waits for the next start, which hands it on.
    if (channel) {
        alGetSourcef(channel, AL_GAIN, &volume);
        audio.check(alGetError(), Audio::CONTEXT);
    }
    return volume;
}

void Music::setVolume(float value)
{
    volume = value;
    logger << "Music: Setting volume to: " << static_cast<double>(volume) << std::endl;
    if (!channel) return;
    // OpenAL refuses a negative gain where silence is meant.
    alSourcef(channel, AL_GAIN, std::max(volume, 0.0f));
    audio.check(alGetError(), Audio::CONTEXT);
}

// ---- The spectrum and the wave ------------------------------------------------------------------

void Music::getSpectrum(float* spectrum, int count)
{
    if (!spectrum || count < 1 || count > MAX_SPECTRUM) audio.check(AL_INVALID_VALUE, Audio::CONTEXT);
    if (!sound->live()) {
        std::fill(spectrum, spectrum + count, 0.0f);
        return;
    }
    int size = count * 2;
    if (sound->fftSize != size) {
        if (sound->plan) fftwf_destroy_plan(sound->plan);
        fftwf_free(sound->fftIn);
        fftwf_free(sound->fftOut);
        sound->fftIn = fftwf_alloc_real(size);
        sound->fftOut = fftwf_alloc_complex(count + 1);
        sound->plan = fftwf_plan_dft_r2c_1d(size, sound->fftIn, sound->fftOut, FFTW_ESTIMATE);
        sound->fftSize = size;
    }
    sound->window(sound->fftIn, size);
    fftwf_execute(sound->plan);
    // Scaled so that a full-scale sine reads 1 in its bin, whatever the window length.
    for (int i = 0; i < count; i++) {
        float re = sound->fftOut[i][0], im = sound->fftOut[i][1];
        spectrum[i] = std::sqrt(re * re + im * im) * (i == 0 ? 1.0f : 2.0f) / size;
    }
}

void Music::getWaveData(float* wave, int count)
{
    if (!wave || count < 1 || count > MAX_WAVE) audio.check(AL_INVALID_VALUE, Audio::CONTEXT);
    if (!sound->live()) {
        std::fill(wave, wave + count, 0.0f);
        return;
    }
    sound->window(wave, count);
}

bool Music::checkPlaying() { return playing; }

void Music::hold(int ms) { holding = std::max(ms, 0); }

void Music::follow() { holding = -1; }

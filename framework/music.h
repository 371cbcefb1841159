// Music: the one track and the master clock of the whole presentation. Its playing
// position in milliseconds is the demo time; start, pause and seek move the picture with it.
//
// Depends on: the audio system (its device, its error check, and the per-frame pump it is
// handed the refill for), OpenAL Soft 1.19 with AL_SOFT_source_latency (the source and the
// device's clock) and ALC_SOFT_pause_device (a pause stops the output), libsndfile
// (decoding), FFTW 3 (the spectrum), the clock (clock.h) and the log.
// Owns: the decoder, the source and its buffers, the clock, the analysis history.
#pragma once

#include <AL/al.h>
#include <string>

// The opened track: decoder, output queue, clock and analysis state, private to the music
struct Stream;

// The show ends this many ms before the track does (the director's end test): a capture's whole
// range stops there, and a seek asked from outside stays before it.
const int endMargin = 99;
// Where the track named by the settings lies; the capture's soundtrack reads it there too.
const char* const audioDirectory = "data/audio/";

// What the output plays of a track of `channels` channels: mono and stereo as they are, more
// folded into stereo. The capture's video takes its sound the same way.
int outputChannels(int channels);
// Folds `frames` interleaved frames of `channels` channels into `out`, outputChannels() a frame:
// beyond two, the even channels go left and the odd ones right, each side the mean of its own
void foldDown(const float* in, int channels, int frames, float* out);

class Music {
public:
    bool playing;         // set by start, never cleared: stop only pauses
    unsigned int length;  // ms, cached by getLength and changePosition
    float volume;         // 0 ... 1

    explicit Music(std::string name);
    ~Music();

    void start();
    void stop();
    void setPause(bool pause);
    int getPosition();
    void setPosition(unsigned int ms);
    void changePosition(int delta);
    int getLength();
    float getVolume();
    void setVolume(float value);
    void getSpectrum(float* spectrum, int count);
    void getWaveData(float* wave, int count);
    bool checkPlaying();

    // Holds the clock at `ms` without touching the sound output: getPosition() gives `ms` until
    // the next hold or follow(). How capture and the tests draw a chosen moment
    void hold(int ms);
    // The clock follows the sound again
    void follow();

private:
    int holding;  // ms the clock is held at, -1 while it follows the sound
};

extern Stream* sound;   // the opened track; null until the music is constructed
extern ALuint channel;  // the source playing it; 0 before the first start
extern Music music;

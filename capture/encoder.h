// Encoder: the video file, through FFmpeg's own libraries. H.264 in yuv420p and AAC stereo in
// MP4, with the index at the front so that the file plays while it downloads: what parties,
// players, browsers and video sites all take.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct AVCodec;
struct AVFormatContext;
struct AVCodecContext;
struct AVStream;
struct AVFrame;
struct AVPacket;
struct SwsContext;
struct SwrContext;
struct AVAudioFifo;

class Encoder {
public:
    // Opens `path` for a video of this size and rate, and a soundtrack of `audioMs` ms whose
    // samples come at `sampleRate` with `channels` interleaved
    Encoder(const std::string& path, int width, int height, int fps, int sampleRate, int channels, int audioMs);
    ~Encoder();

    // The next picture: 4 bytes per pixel (BGRA), bottom row first, as OpenGL reads it back
    void video(const uint8_t* bgra);
    // The next `frames` sample frames of the soundtrack
    void audio(const float* samples, int frames);
    // Drains both encoders and completes the file
    void finish();

private:
    AVFormatContext* format;
    AVCodecContext *videoCodec, *audioCodec;
    AVStream *videoStream, *audioStream;
    AVFrame *picture, *sound;
    AVPacket* packet;
    SwsContext* scaler;
    SwrContext* resampler;
    AVAudioFifo* fifo;
    int width, height;
    long long pictures;                   // frames handed to the video encoder
    long long samplesOut, samplesWanted;  // at the output rate
    std::vector<float> left, right;       // the resampler's output, reused from call to call

    void openVideo(int fps);
    void openAudio(int sampleRate, int channels);
    // Opens the encoder and gives it a stream in the file; `failure` is the message if it cannot
    AVStream* addStream(AVCodecContext* codec, const AVCodec* encoder, const std::string& failure);
    void encodeSound(int count);
    void send(AVCodecContext* codec, AVStream* stream, AVFrame* frame);
};

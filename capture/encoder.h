// Encoder: the output, through FFmpeg's own libraries. Three formats, chosen by the output's
// name: H.264 (High profile, yuv420p) and AAC in MP4 with the index at the front, what
// parties, players, browsers and video sites take; a lossless master in Matroska, FFV1 in RGB
// and FLAC at the track's own rate; and one PNG per frame with a WAV beside them, for tools
// that take image sequences. Depends on the output's names and the options; owns every
// encoder, converter and file of FFmpeg's it opens.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "capture/options.h"

struct AVCodec;
struct AVFormatContext;
struct AVCodecContext;
struct AVStream;
struct AVFrame;
struct AVPacket;
struct SwsContext;
struct SwrContext;
struct AVAudioFifo;
class Output;

class Encoder {
public:
    // Opens the output for pictures of the options' size, rate, format and quality, and a
    // soundtrack of `spanFrames` sample frames of the track, whose samples come at
    // `sampleRate` with `channels` interleaved
    Encoder(const Output& output, const Options& options, int sampleRate, int channels, long long spanFrames);
    ~Encoder();

    // The next picture: 4 bytes per pixel (BGRA), bottom row first, as OpenGL reads it back;
    // `key` makes it a picture that playback can start from
    void video(const uint8_t* bgra, bool key);
    // The next `frames` sample frames of the soundtrack
    void audio(const float* samples, int frames);
    // Drains both encoders and completes the output
    void finish();
    // Bytes of encoded pictures and sound so far, as the output grows; read from any thread
    long long written() const { return bytes; }

private:
    AVFormatContext *pictureFile, *soundFile;  // the same file, but for a picture sequence
    AVCodecContext *videoCodec, *audioCodec;
    AVStream *videoStream, *audioStream;
    AVFrame *picture, *sound;
    AVPacket* packet;
    SwsContext* scaler;
    SwrContext* resampler;
    AVAudioFifo* fifo;
    int width, height;
    int chunk;                                 // sample frames the sound is encoded in
    int trackChannels;
    bool folding;                              // more than two channels folded, as the showing plays them
    std::vector<float> folded;
    long long pictures;                        // frames handed to the video encoder
    long long samplesOut, samplesWanted;       // at the output rate
    std::vector<std::vector<uint8_t>> planes;  // the resampler's output, reused from call to call
    std::atomic<long long> bytes;

    AVFormatContext* openFile(const std::string& path, const char* muxer);
    void openVideo(const Options& options);
    void openAudio(Format format, int sampleRate, int channels);
    // Opens the encoder and gives it a stream in `file`; `failure` is the message if it cannot
    AVStream* addStream(AVFormatContext* file, AVCodecContext* codec, const AVCodec* encoder,
                        const std::string& failure);
    void start(AVFormatContext* file, Format format);
    void encodeSound(int count);
    void send(AVCodecContext* codec, AVStream* stream, AVFrame* frame);
    void complete(AVFormatContext* file);
    void close(AVFormatContext* file);
};

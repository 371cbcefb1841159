// Encoder: libavcodec encodes (libx264 for H.264, FFmpeg's native AAC encoder), libswscale
// turns OpenGL's BGRA rows into yuv420p, libswresample brings the track to 48 kHz stereo, and
// libavformat muxes MP4. Errors from any of them end the capture with the library's words.
#include "capture/encoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <algorithm>  // Required for: std::min()

#include "capture/failure.h"

// What video sites and players expect of the sound
static const int OUTPUT_RATE = 48000;
static const int AUDIO_BITRATE = 192000;
// The fastest of x264's presets: drawing under a software renderer is the slow part, and the
// encoder may add little to it (superfast costs half as much again as ultrafast at 1080p).
// Quality, not size, then decides the rate: 18 keeps the pictures' dithered gradients, with
// adaptive quantisation switched back on, which gives flat areas the bits against banding.
static const char* const VIDEO_PRESET = "ultrafast";
static const char* const VIDEO_CRF = "18";
static const char* const VIDEO_TUNING = "aq-mode=1";

// Ends the capture when an FFmpeg call failed
static void check(int result, const std::string& what)
{
    if (result >= 0) return;
    char text[AV_ERROR_MAX_STRING_SIZE] = {0};
    av_strerror(result, text, sizeof(text));
    fail(what + ": " + text);
}

template <typename T>
static T* need(T* made, const std::string& what)
{
    if (!made) fail(what + ": out of memory or not available");
    return made;
}

Encoder::Encoder(const std::string& path, int width, int height, int fps, int sampleRate, int channels,
                 int audioMs)
    : format(nullptr), videoCodec(nullptr), audioCodec(nullptr), videoStream(nullptr), audioStream(nullptr),
      picture(nullptr), sound(nullptr), packet(need(av_packet_alloc(), "packet")), scaler(nullptr),
      resampler(nullptr), fifo(nullptr), width(width), height(height), pictures(0), samplesOut(0),
      samplesWanted(static_cast<long long>(audioMs) * OUTPUT_RATE / 1000)
{
    av_log_set_level(AV_LOG_ERROR);  // the libraries' reports would bury the progress line
    check(avformat_alloc_output_context2(&format, nullptr, "mp4", path.c_str()), "cannot write MP4");
    openVideo(fps);
    openAudio(sampleRate, channels);
    check(avio_open(&format->pb, path.c_str(), AVIO_FLAG_WRITE), "cannot write " + path);
    AVDictionary* muxing = nullptr;
    av_dict_set(&muxing, "movflags", "+faststart", 0);  // the index before the data
    check(avformat_write_header(format, &muxing), "cannot write " + path);
    av_dict_free(&muxing);
}

Encoder::~Encoder()
{
    if (format) avio_closep(&format->pb);
    avformat_free_context(format);
    avcodec_free_context(&videoCodec);
    avcodec_free_context(&audioCodec);
    av_frame_free(&picture);
    av_frame_free(&sound);
    av_packet_free(&packet);
    sws_freeContext(scaler);
    swr_free(&resampler);
    if (fifo) av_audio_fifo_free(fifo);
}

void Encoder::openVideo(int fps)
{
    const AVCodec* h264 = avcodec_find_encoder_by_name("libx264");
    if (!h264) fail("this FFmpeg has no H.264 encoder (libx264)");
    videoCodec = need(avcodec_alloc_context3(h264), "H.264 encoder");
    videoCodec->width = width;
    videoCodec->height = height;
    videoCodec->pix_fmt = AV_PIX_FMT_YUV420P;
    videoCodec->time_base = AVRational{1, fps};
    videoCodec->framerate = AVRational{fps, 1};
    // High-definition colour, tagged so that every player converts back the same way
    videoCodec->colorspace = AVCOL_SPC_BT709;
    videoCodec->color_primaries = AVCOL_PRI_BT709;
    videoCodec->color_trc = AVCOL_TRC_BT709;
    videoCodec->color_range = AVCOL_RANGE_MPEG;
    av_opt_set(videoCodec->priv_data, "preset", VIDEO_PRESET, 0);
    av_opt_set(videoCodec->priv_data, "crf", VIDEO_CRF, 0);
    av_opt_set(videoCodec->priv_data, "x264-params", VIDEO_TUNING, 0);
    videoStream = addStream(videoCodec, h264,
                            "cannot encode " + std::to_string(width) + "x" + std::to_string(height) + " at " +
                                std::to_string(fps) + " fps");

    picture = need(av_frame_alloc(), "picture");
    picture->format = AV_PIX_FMT_YUV420P;
    picture->width = width;
    picture->height = height;
    check(av_frame_get_buffer(picture, 0), "picture");
    scaler = need(sws_getContext(width, height, AV_PIX_FMT_BGRA, width, height, AV_PIX_FMT_YUV420P,
                                 SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr),
                  "colour conversion");
    const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler, bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);
}

void Encoder::openAudio(int sampleRate, int channels)
{
    const AVCodec* aac = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!aac) fail("this FFmpeg has no AAC encoder");
    audioCodec = need(avcodec_alloc_context3(aac), "AAC encoder");
    audioCodec->sample_fmt = AV_SAMPLE_FMT_FLTP;
    audioCodec->sample_rate = OUTPUT_RATE;
    audioCodec->bit_rate = AUDIO_BITRATE;
    audioCodec->time_base = AVRational{1, OUTPUT_RATE};
    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    check(av_channel_layout_copy(&audioCodec->ch_layout, &stereo), "AAC encoder");
    audioStream = addStream(audioCodec, aac, "cannot encode AAC");

    AVChannelLayout input;
    av_channel_layout_default(&input, channels);
    check(swr_alloc_set_opts2(&resampler, &stereo, AV_SAMPLE_FMT_FLTP, OUTPUT_RATE, &input, AV_SAMPLE_FMT_FLT,
                              sampleRate, 0, nullptr),
          "cannot convert the track's " + std::to_string(channels) + " channels");
    check(swr_init(resampler), "cannot resample the track from " + std::to_string(sampleRate) + " Hz");
    fifo = need(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, 2, audioCodec->frame_size), "sound buffer");
    sound = need(av_frame_alloc(), "sound");
    sound->format = AV_SAMPLE_FMT_FLTP;
    sound->nb_samples = audioCodec->frame_size;
    sound->sample_rate = OUTPUT_RATE;
    check(av_channel_layout_copy(&sound->ch_layout, &stereo), "sound");
    check(av_frame_get_buffer(sound, 0), "sound");
}

AVStream* Encoder::addStream(AVCodecContext* codec, const AVCodec* encoder, const std::string& failure)
{
    if (format->oformat->flags & AVFMT_GLOBALHEADER) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(codec, encoder, nullptr), failure);
    AVStream* stream = need(avformat_new_stream(format, nullptr), "stream");
    stream->time_base = codec->time_base;
    check(avcodec_parameters_from_context(stream->codecpar, codec), failure);
    return stream;
}

void Encoder::video(const uint8_t* bgra)
{
    check(av_frame_make_writable(picture), "picture");
    // OpenGL hands the bottom row first: start at the last row and step backwards.
    int stride = width * 4;
    const uint8_t* top = bgra + static_cast<size_t>(stride) * (height - 1);
    const int strides[1] = {-stride};
    sws_scale(scaler, &top, strides, 0, height, picture->data, picture->linesize);
    picture->pts = pictures++;
    send(videoCodec, videoStream, picture);
}

void Encoder::audio(const float* samples, int frames)
{
    int room = swr_get_out_samples(resampler, frames);
    if (static_cast<int>(left.size()) < room) {
        left.resize(room);
        right.resize(room);
    }
    uint8_t* planes[2] = {reinterpret_cast<uint8_t*>(left.data()), reinterpret_cast<uint8_t*>(right.data())};
    const uint8_t* in = reinterpret_cast<const uint8_t*>(samples);
    int converted = swr_convert(resampler, planes, room, samples ? &in : nullptr, frames);
    check(converted, "cannot resample the track");
    check(av_audio_fifo_write(fifo, reinterpret_cast<void**>(planes), converted), "sound buffer");
    while (av_audio_fifo_size(fifo) >= audioCodec->frame_size) encodeSound(audioCodec->frame_size);
}

void Encoder::encodeSound(int count)
{
    // Never past the span: the resampler's tail may round a sample over.
    count = static_cast<int>(std::min<long long>(count, samplesWanted - samplesOut));
    if (count <= 0) {
        av_audio_fifo_drain(fifo, av_audio_fifo_size(fifo));
        return;
    }
    check(av_frame_make_writable(sound), "sound");
    sound->nb_samples = count;
    int got = av_audio_fifo_read(fifo, reinterpret_cast<void**>(sound->data), count);
    check(got, "sound buffer");
    for (int c = 0; c < 2; c++)
        std::fill(reinterpret_cast<float*>(sound->data[c]) + got, reinterpret_cast<float*>(sound->data[c]) + count,
                  0.0f);
    sound->pts = samplesOut;
    samplesOut += count;
    send(audioCodec, audioStream, sound);
}

void Encoder::finish()
{
    audio(nullptr, 0);  // the resampler's last samples
    while (samplesOut < samplesWanted)
        encodeSound(static_cast<int>(std::min<long long>(audioCodec->frame_size, samplesWanted - samplesOut)));
    send(videoCodec, videoStream, nullptr);
    send(audioCodec, audioStream, nullptr);
    check(av_write_trailer(format), "cannot complete the file");
    check(avio_closep(&format->pb), "cannot complete the file");
}

void Encoder::send(AVCodecContext* codec, AVStream* stream, AVFrame* frame)
{
    check(avcodec_send_frame(codec, frame), "cannot encode");
    int result;
    while ((result = avcodec_receive_packet(codec, packet)) >= 0) {
        // Every picture lasts one frame; the last one too, so the video lasts what was asked.
        if (codec == videoCodec && packet->duration == 0) packet->duration = 1;
        av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
        packet->stream_index = stream->index;
        check(av_interleaved_write_frame(format, packet), "cannot write the file");
    }
    if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) check(result, "cannot encode");
}

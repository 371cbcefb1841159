// Encoder: libavcodec encodes (libx264 for H.264, FFmpeg's own AAC, FFV1, FLAC, PNG and PCM),
// libswscale turns OpenGL's BGRA rows into what the picture encoder takes, libswresample
// brings the track to what the sound encoder takes, and libavformat writes the files. Errors
// from any of them end the capture with the library's words.
#include "capture/encoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

#include <algorithm>

#include "capture/failure.h"
#include "capture/output.h"
#include "framework/music.h"

// What each format is made of. The video's sound is what video sites and players expect; the
// lossless formats keep the track's own rate and channels, at 24 bits, which holds a 16-bit
// track exactly and a decoded one far below hearing.
struct Layout {
    const char *pictureMuxer, *soundMuxer;  // no sound muxer: the sound goes in the pictures' file
    const char* videoEncoder;
    int pixels;  // AVPixelFormat
    const char* audioEncoder;
    int samples;     // AVSampleFormat
    bool resampled;  // to 48 kHz stereo, or at the track's own rate and channels
};
static const Layout layouts[] = {
    {"mp4", nullptr, "libx264", AV_PIX_FMT_YUV420P, "aac", AV_SAMPLE_FMT_FLTP, true},   // Format::Mp4
    {"matroska", nullptr, "ffv1", AV_PIX_FMT_BGR0, "flac", AV_SAMPLE_FMT_S32, false},  // Format::Mkv
    {"image2", "wav", "png", AV_PIX_FMT_RGB24, "pcm_s24le", AV_SAMPLE_FMT_S32, false},  // Format::Png
};

static const int VIDEO_SOUND_RATE = 48000;
static const int VIDEO_SOUND_BITRATE = 192000;
// Sample frames per packet where the encoder takes any count (PCM)
static const int PCM_CHUNK = 4096;
// x264's preset and constant rate factor for each quality, fast to best, measured on four
// seconds of each scene at 1080p60 against the lossless master. Fast is the fastest preset,
// which adds least to drawing under a software renderer. Good matches its luma SSIM at 41% of
// its size; best is 3 to 5 dB of luma PSNR above it (54 to 62 dB) at 55%. Adaptive
// quantisation gives flat areas the bits against banding in the dithered gradients (the
// fastest preset switches it off), and the 8x8 transform makes even that preset High profile.
struct Tuning {
    const char *preset, *crf;
};
static const Tuning tunings[] = {{"ultrafast", "18"}, {"veryfast", "15"}, {"slow", "12"}};
static const char* const X264_PARAMETERS = "aq-mode=1:8x8dct=1";

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

static const AVCodec* encoderNamed(const char* name)
{
    const AVCodec* encoder = avcodec_find_encoder_by_name(name);
    if (!encoder) fail(std::string("this FFmpeg has no ") + name + " encoder");
    return encoder;
}

Encoder::Encoder(const Output& output, const Options& options, int sampleRate, int channels, long long spanFrames)
    : pictureFile(nullptr), soundFile(nullptr), videoCodec(nullptr), audioCodec(nullptr), videoStream(nullptr),
      audioStream(nullptr), picture(nullptr), sound(nullptr), packet(need(av_packet_alloc(), "packet")),
      scaler(nullptr), resampler(nullptr), fifo(nullptr), width(options.width), height(options.height), chunk(0),
      trackChannels(channels), folding(false), pictures(0), samplesOut(0), samplesWanted(spanFrames), bytes(0)
{
    av_log_set_level(AV_LOG_ERROR);  // the libraries' reports would bury the progress line
    const Layout& layout = layouts[static_cast<int>(options.format)];
    pictureFile = openFile(output.video, layout.pictureMuxer);
    soundFile = layout.soundMuxer ? openFile(output.sound, layout.soundMuxer) : pictureFile;
    // Milliseconds are whole numbers of 48 kHz samples: the video's sound lasts what the pictures do.
    if (layout.resampled) samplesWanted = static_cast<long long>(options.to - options.from) * VIDEO_SOUND_RATE / 1000;
    openVideo(options);
    openAudio(options.format, sampleRate, channels);
    start(pictureFile, options.format);
    if (soundFile != pictureFile) start(soundFile, options.format);
}

Encoder::~Encoder()
{
    close(pictureFile);
    if (soundFile != pictureFile) close(soundFile);
    avcodec_free_context(&videoCodec);
    avcodec_free_context(&audioCodec);
    av_frame_free(&picture);
    av_frame_free(&sound);
    av_packet_free(&packet);
    sws_freeContext(scaler);
    swr_free(&resampler);
    if (fifo) av_audio_fifo_free(fifo);
}

AVFormatContext* Encoder::openFile(const std::string& path, const char* muxer)
{
    AVFormatContext* file = nullptr;
    check(avformat_alloc_output_context2(&file, nullptr, muxer, path.c_str()), "cannot write " + path);
    return file;
}

void Encoder::close(AVFormatContext* file)
{
    if (!file) return;
    if (!(file->oformat->flags & AVFMT_NOFILE)) avio_closep(&file->pb);
    avformat_free_context(file);
}

// The encoder's own settings for each format
static void tune(AVCodecContext* codec, const Options& options)
{
    switch (options.format) {
    case Format::Mp4: {
        const Tuning& tuning = tunings[static_cast<int>(options.quality)];
        av_opt_set(codec->priv_data, "preset", tuning.preset, 0);
        av_opt_set(codec->priv_data, "crf", tuning.crf, 0);
        av_opt_set(codec->priv_data, "profile", "high", 0);
        av_opt_set(codec->priv_data, "x264-params", X264_PARAMETERS, 0);
        codec->gop_size = 2 * options.fps;  // a place to seek to every two seconds, and at every cut
        // High-definition colour, tagged so that every player converts back the same way
        codec->colorspace = AVCOL_SPC_BT709;
        codec->color_range = AVCOL_RANGE_MPEG;
        break;
    }
    case Format::Mkv:
        // Version 3 with checksummed slices, coded in parallel: what archives keep
        av_opt_set_int(codec->priv_data, "slicecrc", 1, 0);
        codec->level = 3;
        codec->slices = 4;
        codec->thread_count = 0;
        codec->gop_size = 1;
        codec->colorspace = AVCOL_SPC_RGB;
        codec->color_range = AVCOL_RANGE_JPEG;
        break;
    case Format::Png:
        // zlib's level 3: 42 ms a 1080p picture and 17% over its default, which takes 100 ms
        codec->compression_level = 3;
        codec->thread_count = 0;
        break;
    }
    codec->color_primaries = AVCOL_PRI_BT709;
    codec->color_trc = options.format == Format::Mp4 ? AVCOL_TRC_BT709 : AVCOL_TRC_IEC61966_2_1;
}

void Encoder::openVideo(const Options& options)
{
    const Layout& layout = layouts[static_cast<int>(options.format)];
    const AVCodec* encoder = encoderNamed(layout.videoEncoder);
    videoCodec = need(avcodec_alloc_context3(encoder), "picture encoder");
    videoCodec->width = width;
    videoCodec->height = height;
    videoCodec->pix_fmt = static_cast<AVPixelFormat>(layout.pixels);
    videoCodec->time_base = AVRational{1, options.fps};
    videoCodec->framerate = AVRational{options.fps, 1};
    tune(videoCodec, options);
    videoStream = addStream(pictureFile, videoCodec, encoder,
                            "cannot encode " + std::to_string(width) + "x" + std::to_string(height) + " at " +
                                std::to_string(options.fps) + " fps");

    picture = need(av_frame_alloc(), "picture");
    picture->format = videoCodec->pix_fmt;
    picture->width = width;
    picture->height = height;
    check(av_frame_get_buffer(picture, 0), "picture");
    scaler = need(sws_getContext(width, height, AV_PIX_FMT_BGRA, width, height, videoCodec->pix_fmt,
                                 SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr),
                  "colour conversion");
    if (options.format != Format::Mp4) return;
    const int* bt709 = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler, bt709, 1, bt709, 0, 0, 1 << 16, 1 << 16);
}

void Encoder::openAudio(Format format, int sampleRate, int channels)
{
    const Layout& layout = layouts[static_cast<int>(format)];
    const AVCodec* encoder = encoderNamed(layout.audioEncoder);
    audioCodec = need(avcodec_alloc_context3(encoder), "sound encoder");
    AVChannelLayout input, output;
    // The video's stereo is what the showing plays: the track's own fold, then only a resampling.
    folding = layout.resampled && channels > 2;
    av_channel_layout_default(&input, folding ? outputChannels(channels) : channels);
    av_channel_layout_default(&output, layout.resampled ? 2 : channels);
    audioCodec->sample_fmt = static_cast<AVSampleFormat>(layout.samples);
    audioCodec->sample_rate = layout.resampled ? VIDEO_SOUND_RATE : sampleRate;
    if (layout.resampled)
        audioCodec->bit_rate = VIDEO_SOUND_BITRATE;
    else
        audioCodec->bits_per_raw_sample = 24;  // of the 32-bit samples the lossless encoders take
    audioCodec->time_base = AVRational{1, audioCodec->sample_rate};
    check(av_channel_layout_copy(&audioCodec->ch_layout, &output), "sound encoder");
    audioStream = addStream(soundFile, audioCodec, encoder, std::string("cannot encode ") + layout.audioEncoder);

    check(swr_alloc_set_opts2(&resampler, &output, audioCodec->sample_fmt, audioCodec->sample_rate, &input,
                              AV_SAMPLE_FMT_FLT, sampleRate, 0, nullptr),
          "cannot convert the track's " + std::to_string(channels) + " channels");
    check(swr_init(resampler), "cannot resample the track from " + std::to_string(sampleRate) + " Hz");
    chunk = audioCodec->frame_size > 0 ? audioCodec->frame_size : PCM_CHUNK;
    fifo = need(av_audio_fifo_alloc(audioCodec->sample_fmt, output.nb_channels, chunk), "sound buffer");
    planes.resize(av_sample_fmt_is_planar(audioCodec->sample_fmt) ? output.nb_channels : 1);
    sound = need(av_frame_alloc(), "sound");
    sound->format = audioCodec->sample_fmt;
    sound->nb_samples = chunk;
    sound->sample_rate = audioCodec->sample_rate;
    check(av_channel_layout_copy(&sound->ch_layout, &output), "sound");
    check(av_frame_get_buffer(sound, 0), "sound");
}

AVStream* Encoder::addStream(AVFormatContext* file, AVCodecContext* codec, const AVCodec* encoder,
                             const std::string& failure)
{
    if (file->oformat->flags & AVFMT_GLOBALHEADER) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(codec, encoder, nullptr), failure);
    AVStream* stream = need(avformat_new_stream(file, nullptr), "stream");
    stream->time_base = codec->time_base;
    check(avcodec_parameters_from_context(stream->codecpar, codec), failure);
    return stream;
}

void Encoder::start(AVFormatContext* file, Format format)
{
    std::string path = file->url;
    if (!(file->oformat->flags & AVFMT_NOFILE))
        check(avio_open(&file->pb, path.c_str(), AVIO_FLAG_WRITE), "cannot write " + path);
    AVDictionary* muxing = nullptr;
    if (format == Format::Mp4) av_dict_set(&muxing, "movflags", "+faststart", 0);  // the index before the data
    if (format == Format::Png) av_dict_set(&muxing, "start_number", "0", 0);      // file k holds frame k
    check(avformat_write_header(file, &muxing), "cannot write " + path);
    av_dict_free(&muxing);
}

void Encoder::video(const uint8_t* bgra, bool key)
{
    check(av_frame_make_writable(picture), "picture");
    // OpenGL hands the bottom row first: start at the last row and step backwards.
    int stride = width * 4;
    const uint8_t* top = bgra + static_cast<size_t>(stride) * (height - 1);
    const int strides[1] = {-stride};
    sws_scale(scaler, &top, strides, 0, height, picture->data, picture->linesize);
    picture->pts = pictures++;
    picture->pict_type = key ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    send(videoCodec, videoStream, picture);
}

void Encoder::audio(const float* samples, int frames)
{
    if (folding && samples) {
        folded.resize(static_cast<size_t>(frames) * 2);
        foldDown(samples, trackChannels, frames, folded.data());
        samples = folded.data();
    }
    int room = swr_get_out_samples(resampler, frames);
    int bytesPerPlane = room * av_get_bytes_per_sample(audioCodec->sample_fmt) *
                        (planes.size() == 1 ? audioCodec->ch_layout.nb_channels : 1);
    uint8_t* out[AV_NUM_DATA_POINTERS];
    for (size_t c = 0; c < planes.size(); c++) {
        if (static_cast<int>(planes[c].size()) < bytesPerPlane) planes[c].resize(bytesPerPlane);
        out[c] = planes[c].data();
    }
    const uint8_t* in = reinterpret_cast<const uint8_t*>(samples);
    int converted = swr_convert(resampler, out, room, samples ? &in : nullptr, frames);
    check(converted, "cannot resample the track");
    check(av_audio_fifo_write(fifo, reinterpret_cast<void**>(out), converted), "sound buffer");
    while (av_audio_fifo_size(fifo) >= chunk) encodeSound(chunk);
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
    // A track that ends before the span does ends in silence rather than short.
    av_samples_set_silence(sound->data, got, count - got, sound->ch_layout.nb_channels,
                           static_cast<AVSampleFormat>(sound->format));
    sound->pts = samplesOut;
    samplesOut += count;
    send(audioCodec, audioStream, sound);
}

void Encoder::finish()
{
    audio(nullptr, 0);  // the resampler's last samples
    while (samplesOut < samplesWanted)
        encodeSound(static_cast<int>(std::min<long long>(chunk, samplesWanted - samplesOut)));
    send(videoCodec, videoStream, nullptr);
    send(audioCodec, audioStream, nullptr);
    complete(pictureFile);
    if (soundFile != pictureFile) complete(soundFile);
}

// Writes the file's index and closes it: what the disk refuses now still fails the capture
void Encoder::complete(AVFormatContext* file)
{
    check(av_write_trailer(file), "cannot complete the file");
    if (!(file->oformat->flags & AVFMT_NOFILE)) check(avio_closep(&file->pb), "cannot complete the file");
}

void Encoder::send(AVCodecContext* codec, AVStream* stream, AVFrame* frame)
{
    AVFormatContext* file = codec == videoCodec ? pictureFile : soundFile;
    check(avcodec_send_frame(codec, frame), "cannot encode");
    int result;
    while ((result = avcodec_receive_packet(codec, packet)) >= 0) {
        // Every picture lasts one frame; the last one too, so the video lasts what was asked.
        if (codec == videoCodec && packet->duration == 0) packet->duration = 1;
        av_packet_rescale_ts(packet, codec->time_base, stream->time_base);
        packet->stream_index = stream->index;
        bytes += packet->size;
        check(av_interleaved_write_frame(file, packet), "cannot write the file");
    }
    if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) check(result, "cannot encode");
}

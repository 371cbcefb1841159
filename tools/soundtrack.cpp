// Mixing and mastering of the soundtrack, and its Vorbis encoding.
// Depends on: libvorbisenc and libogg, driven directly so that the Ogg stream's serial number
// is fixed (a random serial would change the file's bytes on every run).
#include "soundtrack.h"

#include "fail.h"
#include "master.h"
#include "score.h"

#include <vorbis/vorbisenc.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

const int oggSerial = 0x52485231;       // "RHR1"
const double vorbisQuality = 0.6;       // about 165 kbit/s for this material
const double releaseLoudness = -14.0;   // LUFS integrated, where streamed productions sit
const double peakCeilingDb = -2.5;      // dBTP before encoding; decoded, the track overshoots it by ~0.9 dB

struct Buses {
    Stereo dry, reverbSend, echoSend;
    explicit Buses(size_t frames) : dry(frames), reverbSend(frames), echoSend(frames) {}
};

// Adds `sound` at `note.time`, panned with equal power, to `bus` scaled by `level`.
void addPanned(Stereo& bus, const std::vector<float>& sound, const Note& note, double level)
{
    const size_t start = size_t(note.time * sampleRate + 0.5);
    const double angle = (note.pan + 1.0) * M_PI / 4.0;
    const double left = std::cos(angle) * level, right = std::sin(angle) * level;
    for (size_t i = 0; i < sound.size() && start + i < bus.frames(); ++i) {
        bus.left[start + i] += float(sound[i] * left);
        bus.right[start + i] += float(sound[i] * right);
    }
}

Buses renderNotes(const std::vector<Note>& notes, size_t frames)
{
    Buses buses(frames);
    for (size_t n = 0; n < notes.size(); ++n) {
        const Note& note = notes[n];
        const std::vector<float> sound = renderNote(note, 0x5EED0000ull + n);
        const double level = note.gain * mixLevel(note.voice);
        addPanned(buses.dry, sound, note, level);
        addPanned(buses.reverbSend, sound, note, level * reverbSend(note.voice));
        addPanned(buses.echoSend, sound, note, level * echoSend(note.voice));
    }
    return buses;
}

// Gain of the final fade at time t: a half cosine from fadeStart to fadeEnd, silence after.
double fadeGain(double t)
{
    if (t <= fadeStart) return 1.0;
    if (t >= fadeEnd) return 0.0;
    return 0.5 + 0.5 * std::cos(M_PI * (t - fadeStart) / (fadeEnd - fadeStart));
}

Stereo master(const Buses& buses)
{
    const Stereo wet = reverb(buses.reverbSend);
    const Stereo echoes = echo(buses.echoSend, 0.375);
    Stereo out(buses.dry.frames());
    for (size_t i = 0; i < out.frames(); ++i) {
        out.left[i] = buses.dry.left[i] + wet.left[i] + echoes.left[i];
        out.right[i] = buses.dry.right[i] + wet.right[i] + echoes.right[i];
    }
    removeRumble(out);
    for (size_t i = 0; i < out.frames(); ++i) {
        const float fade = float(fadeGain(double(i) / sampleRate));
        out.left[i] *= fade;
        out.right[i] *= fade;
    }
    masterTo(out, releaseLoudness, peakCeilingDb);
    return out;
}

void writePage(FILE* file, const ogg_page& page)
{
    std::fwrite(page.header, 1, page.header_len, file);
    std::fwrite(page.body, 1, page.body_len, file);
}

void encodeVorbis(const std::string& path, const Stereo& audio)
{
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) fail("cannot write " + path);

    vorbis_info info;
    vorbis_info_init(&info);
    if (vorbis_encode_init_vbr(&info, 2, sampleRate, vorbisQuality) != 0) fail("vorbis encoder refused its settings");
    vorbis_comment comment;
    vorbis_comment_init(&comment);
    vorbis_comment_add_tag(&comment, "TITLE", "Rocking Horse Revolution");
    vorbis_comment_add_tag(&comment, "ARTIST", "Marrowtone");

    vorbis_dsp_state dsp;
    vorbis_block block;
    vorbis_analysis_init(&dsp, &info);
    vorbis_block_init(&dsp, &block);
    ogg_stream_state stream;
    ogg_stream_init(&stream, oggSerial);

    ogg_packet identification, comments, codebooks;
    vorbis_analysis_headerout(&dsp, &comment, &identification, &comments, &codebooks);
    ogg_stream_packetin(&stream, &identification);
    ogg_stream_packetin(&stream, &comments);
    ogg_stream_packetin(&stream, &codebooks);
    ogg_page page;
    while (ogg_stream_flush(&stream, &page)) writePage(file, page);

    const size_t chunk = 4096;
    bool finished = false;
    for (size_t at = 0; !finished;) {
        const size_t count = std::min(chunk, audio.frames() - at);
        if (count == 0) {
            vorbis_analysis_wrote(&dsp, 0);
        } else {
            float** buffer = vorbis_analysis_buffer(&dsp, int(count));
            std::copy_n(audio.left.begin() + at, count, buffer[0]);
            std::copy_n(audio.right.begin() + at, count, buffer[1]);
            vorbis_analysis_wrote(&dsp, int(count));
            at += count;
        }
        while (vorbis_analysis_blockout(&dsp, &block) == 1) {
            vorbis_analysis(&block, nullptr);
            vorbis_bitrate_addblock(&block);
            ogg_packet packet;
            while (vorbis_bitrate_flushpacket(&dsp, &packet)) {
                ogg_stream_packetin(&stream, &packet);
                while (ogg_stream_pageout(&stream, &page)) {
                    writePage(file, page);
                    finished = ogg_page_eos(&page);
                }
            }
        }
    }

    ogg_stream_clear(&stream);
    vorbis_block_clear(&block);
    vorbis_dsp_clear(&dsp);
    vorbis_comment_clear(&comment);
    vorbis_info_clear(&info);
    if (std::fclose(file) != 0) fail("cannot finish " + path);
}

}  // namespace

void writeSoundtrack(const std::string& path)
{
    const size_t frames = size_t(trackSeconds * sampleRate);
    encodeVorbis(path, master(renderNotes(composeSoundtrack(), frames)));
}

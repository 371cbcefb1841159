// The generated content read back as the demo reads it, and the measures the checks share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace content {

struct Picture {
    int width = 0, height = 0;
    std::vector<uint8_t> rgba;  // top row first; empty unless data/textures/<file> is an 8-bit RGBA PNG
};
Picture readPicture(const std::string& file);

inline double luma(const uint8_t* rgb) { return 0.2126 * rgb[0] + 0.7152 * rgb[1] + 0.0722 * rgb[2]; }  // BT.709

struct Track {
    int rate = 0, channels = 0;
    std::vector<float> samples;  // interleaved
    size_t frames() const { return channels ? samples.size() / channels : 0; }
};
const Track& soundtrack();  // data/audio/soundtrack.ogg, decoded once; rate 0 when unreadable
double level(double from, double to);  // mean square of [from, to) seconds, in dB

std::string builtProgram(const std::string& relative);  // <build>/relative; the tests live in <build>/tests

}  // namespace content

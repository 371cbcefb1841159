// Reading the generated content back as the demo would see it: PNG pictures through libpng
// and the soundtrack decoded through libsndfile; plus the measurements the checks share.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace content {

// Every picture the scenes bind, by file name.
const std::vector<std::string>& pictureFiles();

struct Picture {
    int width = 0, height = 0, colorType = -1, bitDepth = 0;
    std::vector<uint8_t> rgba;  // filled only for 8-bit RGBA files, top row first

    const uint8_t* pixel(int x, int y) const { return &rgba[(size_t(y) * width + x) * 4]; }
};

// Reads `path`; colorType stays -1 when the file is missing or not a PNG.
Picture readPicture(const std::string& path);

// How far the rightmost column is from continuing into the leftmost one, as a multiple of a
// typical step between neighbouring columns inside the picture (about 1 for a seamless tile).
double seamMismatch(const Picture& picture);

struct Track {
    int rate = 0, channels = 0;
    std::vector<float> samples;  // interleaved
    size_t frames() const { return channels ? samples.size() / channels : 0; }
    double seconds() const { return rate ? double(frames()) / rate : 0.0; }
};

// Decodes the whole of `path`; rate stays 0 when it cannot be opened.
Track readTrack(const std::string& path);

// Running sum of the squared samples over all channels, for fast window energies.
class Energy {
public:
    explicit Energy(const Track& track);
    // Mean square per sample in [from, to) seconds, 0 outside the track.
    double meanSquare(double from, double to) const;

private:
    int rate;
    std::vector<double> prefix;
};

struct Onset {
    double time;  // seconds
    double rise;  // dB: the 10 ms after it against the 50 ms before it
};

// The sharpest energy rise within `window` seconds either side of `expected`.
Onset strongestOnset(const Energy& energy, double expected, double window);

double decibels(double meanSquare);

// Runs a shell command and returns its exit status.
int run(const std::string& command);

// Where the build put the generator: the tests binary lives in <build>/tests, the generator
// in <build>/tools.
std::string generatorPath();

}  // namespace content

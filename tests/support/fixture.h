// Test fixtures: data files the tests make themselves (PNG pictures of any colour type,
// tracks in any format), and temporary directories holding a complete data/ tree.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace fixture {

struct Rgba {
    uint8_t r, g, b, a;
};

// Writes an 8-bit RGBA PNG whose pixel (x, y), y = 0 the top row, is colour(x, y)
void writeRgbaPng(const std::string& path, int width, int height, const std::function<Rgba(int, int)>& colour);
void writeSolidPng(const std::string& path, int width, int height, Rgba colour);

// A PNG of any colour type and bit depth, from packed rows (top row first)
struct PngPicture {
    int width = 1, height = 1, colorType = 6, bitDepth = 8;
    bool interlaced = false;        // Adam7
    std::vector<uint8_t> palette;   // RGB triples for colour type 3
    std::vector<uint8_t> trns;      // palette alphas, or the grey or RGB sample that is transparent
    std::vector<std::vector<uint8_t>> rows;
};
void writePng(const std::string& path, const PngPicture& picture);

// The tone of the tracks the tests write by default, at this amplitude: a sine on a bin centre of
// every spectrum of 256 values or more that the music gives of a track at 22050 Hz (bin 20 of 1024)
const double TONE_HZ = 22050.0 / 2048 * 20;
const double TONE_AMPLITUDE = 0.3;
// `seconds` of sound, `sample(i)` the value of sample frame i on every channel, by default the
// tone; `format` is a full SF_FORMAT_* value
void writeTrack(const std::string& path, double seconds, int rate, int channels, int format,
                std::function<float(long)> sample = nullptr);
void writeSamples(const std::string& path, const std::vector<float>& samples, int rate, int channels, int format);

std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& text);

// data/config.lua of the settings tests start from (a windowed 800 x 600 rehearsal on the null
// sound output) with these changes: values are Lua literals ("true", "800", "\"auto\""), and an
// empty one drops the key
std::string configText(const std::map<std::string, std::string>& changes);

// A temporary directory, removed with the object, with a copy of the base fixture's data/
class Directory {
public:
    Directory();
    ~Directory();
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;

    const std::string& path() const { return root; }
    std::string file(const std::string& relative) const { return root + "/" + relative; }
    void write(const std::string& relative, const std::string& text) const;
    std::string read(const std::string& relative) const;
    void remove(const std::string& relative) const;
    void config(const std::map<std::string, std::string>& changes) const;  // data/config.lua, as configText()
    void schedule(const std::string& lua) const;                           // data/demo.lua
    // data/ replaced by a copy of `data`, these lines added to its settings ("DEBUG = true\n")
    void copyData(const std::string& data, const std::string& settings) const;

private:
    std::string root;
};

// Every picture the scenes bind, as scenes/show.h lists them
std::vector<std::string> pictureFiles();

// Writes the base fixture's data/ under `root` (the build puts it in FIXTURE_DIR): a texture for
// every picture the scenes bind, one shader pair, a short and a 150 s track, every scene
// scheduled, and the settings above with these changes
void writeBase(const std::string& root, const std::map<std::string, std::string>& changes = {});

}  // namespace fixture

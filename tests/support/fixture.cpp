// Test fixtures: PNG and track writers on libpng and libsndfile, temporary data/ trees.
#include "tests/support/fixture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <png.h>
#include <sndfile.h>
#include <sstream>
#include <stdexcept>

#include "scenes/show.h"

namespace fs = std::filesystem;

namespace fixture {

void writePng(const std::string& path, const PngPicture& picture)
{
    fs::create_directories(fs::path(path).parent_path());
    FILE* file = fopen(path.c_str(), "wb");
    if (!file) throw std::runtime_error("cannot write " + path);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        fclose(file);
        throw std::runtime_error("libpng failed writing " + path);
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, picture.width, picture.height, picture.bitDepth, picture.colorType,
                 picture.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (!picture.palette.empty()) {
        std::vector<png_color> colours;
        for (size_t i = 0; i + 2 < picture.palette.size(); i += 3)
            colours.push_back({picture.palette[i], picture.palette[i + 1], picture.palette[i + 2]});
        png_set_PLTE(png, info, colours.data(), static_cast<int>(colours.size()));
    }
    if (!picture.trns.empty() && picture.colorType == PNG_COLOR_TYPE_PALETTE) {
        png_set_tRNS(png, info, picture.trns.data(), static_cast<int>(picture.trns.size()), nullptr);
    } else if (!picture.trns.empty()) {
        png_color_16 key = {};
        key.gray = key.red = picture.trns[0];
        if (picture.trns.size() == 3) key.green = picture.trns[1], key.blue = picture.trns[2];
        png_set_tRNS(png, info, nullptr, 0, &key);
    }
    png_write_info(png, info);
    std::vector<png_bytep> rows;
    for (const std::vector<uint8_t>& row : picture.rows) rows.push_back(const_cast<png_bytep>(row.data()));
    png_write_image(png, rows.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    fclose(file);
}

void writeRgbaPng(const std::string& path, int width, int height, const std::function<Rgba(int, int)>& colour)
{
    PngPicture picture;
    picture.width = width;
    picture.height = height;
    for (int y = 0; y < height; y++) {
        std::vector<uint8_t> row;
        for (int x = 0; x < width; x++) {
            Rgba c = colour(x, y);
            row.insert(row.end(), {c.r, c.g, c.b, c.a});
        }
        picture.rows.push_back(row);
    }
    writePng(path, picture);
}

void writeSolidPng(const std::string& path, int width, int height, Rgba colour)
{
    writeRgbaPng(path, width, height, [colour](int, int) { return colour; });
}

void writeSamples(const std::string& path, const std::vector<float>& samples, int rate, int channels, int format)
{
    SF_INFO info = {};
    info.samplerate = rate;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (!file) throw std::runtime_error("cannot write " + path + ": " + sf_strerror(nullptr));
    sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size() / channels));
    sf_close(file);
}

void writeTrack(const std::string& path, double seconds, int rate, int channels, int format,
                std::function<float(long)> sample)
{
    if (!sample)
        sample = [rate](long i) {
            const double pi = 3.14159265358979323846;
            return static_cast<float>(TONE_AMPLITUDE * sin(2 * pi * TONE_HZ * static_cast<double>(i) / rate));
        };
    long frames = static_cast<long>(seconds * rate);
    std::vector<float> samples(static_cast<size_t>(frames) * channels);
    for (long i = 0; i < frames; i++) std::fill_n(samples.begin() + i * channels, channels, sample(i));
    writeSamples(path, samples, rate, channels, format);
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void writeFile(const std::string& path, const std::string& text)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

std::string configText(const std::map<std::string, std::string>& changes)
{
    std::map<std::string, std::string> settings = {
        {"DEBUG", "true"},       {"LOGFILE", "\"demo.log\""}, {"TITLE", "\"Fixture Demo\""},
        {"VERSION", "\"1.0\""},  {"WIDTH", "800"},            {"HEIGHT", "600"},
        {"BPP", "0"},            {"FSAA", "0"},               {"ASPECTRATIO", "\"4:3\""},
        {"FULLSCREEN", "false"}, {"VSYNC", "false"},          {"AUDIO", "\"nosound\""},
        {"MUSIC", "\"long.wav\""}};
    for (const auto& [key, value] : changes) settings[key] = value;
    std::string text;
    for (const auto& [key, value] : settings)
        if (!value.empty()) text += key + " = " + value + "\n";
    return text;
}

// Distinct solid colours, so a pixel tells which picture was drawn where; a picture not named
// here is clear. intro_fluer.png is half transparent, so the intro's layers show how they blend;
// the credits are white above navy, so their scroll shows; the guillotine's blade fills the top
// right quarter and the head the bottom left, so each one's drop shows.
static const std::map<std::string, Rgba> baseColours = {
    {"logo_vek.png", {255, 0, 0, 255}},    {"logo_ka.png", {0, 255, 0, 255}},       {"title_brun.png", {0, 0, 255, 255}},
    {"intro_bg.png", {200, 100, 0, 255}},  {"intro_fluer.png", {0, 0, 255, 128}},   {"intro_arm1.png", {255, 255, 0, 255}},
    {"intro_arm2.png", {0, 255, 255, 255}}, {"bg.png", {60, 30, 0, 255}},           {"ri_hest_ri0.png", {255, 0, 255, 255}},
    {"ri_hest_ri1.png", {128, 0, 255, 255}}, {"guillotine.png", {100, 100, 100, 255}}, {"font1.png", {0, 128, 0, 255}},
    {"greets.png", {128, 128, 0, 255}},    {"bakgrunn2.png", {128, 64, 64, 255}}};

static const char* const vertexShader =
    "void main()\n{\n    gl_TexCoord[0] = gl_MultiTexCoord0;\n    gl_Position = ftransform();\n}\n";
static const char* const fragmentShader =
    "uniform sampler2D picture;\nvoid main()\n{\n    gl_FragColor = texture2D(picture, gl_TexCoord[0].st);\n}\n";

static const char* const baseSchedule =
    "addSceneToTimeline(\"intro\", 0, 44000)\n"
    "addSceneToTimeline(\"riderideranke\", 44000, 60000)\n"
    "addSceneToTimeline(\"guillotine\", 60000, 74000)\n"
    "addSceneToTimeline(\"solardistrict\", 74000, 122000)\n"
    "addSceneToTimeline(\"greets\", 100000, 122000)\n"
    "addSceneToTimeline(\"credits\", 122000, 150000)\n";

std::vector<std::string> pictureFiles()
{
    std::vector<std::string> files;
    for (const ScenePictures& scene : scenePictures) {
        files.insert(files.end(), scene.init.begin(), scene.init.end());
        files.insert(files.end(), scene.drawn.begin(), scene.drawn.end());
    }
    return files;
}

void writeBase(const std::string& root, const std::map<std::string, std::string>& changes)
{
    std::string data = root + "/data/";
    fs::create_directories(data + "textures");
    fs::create_directories(data + "audio");
    fs::create_directories(data + "shaders");
    for (const std::string& name : pictureFiles())
        writeSolidPng(data + "textures/" + name, 16, 16, baseColours.count(name) ? baseColours.at(name) : Rgba{});
    // Tall enough that the linear filter blurs their edges by less than a pixel on screen
    writeRgbaPng(data + "textures/guillotine_blad.png", 64, 1024,
                 [](int x, int y) { return x >= 32 && y < 512 ? Rgba{200, 200, 255, 255} : Rgba{0, 0, 0, 0}; });
    writeRgbaPng(data + "textures/guillotine_head.png", 64, 1024,
                 [](int x, int y) { return x < 32 && y >= 512 ? Rgba{255, 200, 150, 255} : Rgba{0, 0, 0, 0}; });
    writeRgbaPng(data + "textures/credits.png", 64, 2048,
                 [](int, int y) { return y < 1024 ? Rgba{255, 255, 255, 255} : Rgba{0, 0, 128, 255}; });
    writeFile(data + "shaders/plain.vert", vertexShader);
    writeFile(data + "shaders/plain.frag", fragmentShader);
    // A fifth of a second of music after the end margin: a bad input that plays ends by itself
    writeTrack(data + "audio/short.wav", 0.3, 22050, 2, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    writeTrack(data + "audio/long.wav", 150.0, 22050, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_16);
    writeFile(data + "config.lua", configText(changes));
    writeFile(data + "demo.lua", baseSchedule);
}

Directory::Directory()
{
    char pattern[] = "/tmp/demotest-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("mkdtemp failed");
    root = pattern;
    fs::copy(FIXTURE_DIR "/data", root + "/data", fs::copy_options::recursive);
}

Directory::~Directory()
{
    std::error_code ignored;
    fs::remove_all(root, ignored);
}

void Directory::write(const std::string& relative, const std::string& text) const { writeFile(file(relative), text); }

std::string Directory::read(const std::string& relative) const { return readFile(file(relative)); }

void Directory::remove(const std::string& relative) const { fs::remove_all(file(relative)); }

void Directory::config(const std::map<std::string, std::string>& changes) const
{
    write("data/config.lua", configText(changes));
}

void Directory::schedule(const std::string& lua) const { write("data/demo.lua", lua); }

void Directory::copyData(const std::string& data, const std::string& settings) const
{
    remove("data");
    fs::copy(data, file("data"), fs::copy_options::recursive);
    write("data/config.lua", read("data/config.lua") + "\n" + settings);
}

}  // namespace fixture

// Helpers of the content checks: decoding pictures and the track, seam and onset measures.
#include "content_support.h"

#include <png.h>
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace content {

const std::vector<std::string>& pictureFiles()
{
    static const std::vector<std::string> files = {
        "logo_vek.png", "logo_ka.png", "title_brun.png", "intro_bg.png", "intro_fluer.png",
        "intro_hale.png", "intro_mann.png", "intro_arm1.png", "intro_arm2.png", "intro_hest.png",
        "bg.png", "scroll1.png", "scroll2.png", "scroll3.png", "ri_hest_ri0.png", "ri_hest_ri1.png",
        "guillotine.png", "guillotine_blad.png", "guillotine_head.png", "credits.png",
        "font1.png", "greets.png", "bakgrunn2.png"};
    return files;
}

// Decodes an open PNG file; an 8-bit RGBA one with its pixels.
static Picture decodePicture(FILE* file)
{
    Picture picture;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return Picture();
    }
    png_init_io(png, file);
    png_read_info(png, info);
    picture.width = int(png_get_image_width(png, info));
    picture.height = int(png_get_image_height(png, info));
    picture.colorType = png_get_color_type(png, info);
    picture.bitDepth = png_get_bit_depth(png, info);
    if (picture.colorType == PNG_COLOR_TYPE_RGB_ALPHA && picture.bitDepth == 8) {
        picture.rgba.resize(size_t(picture.width) * picture.height * 4);
        std::vector<png_bytep> rows(picture.height);
        for (int y = 0; y < picture.height; ++y) rows[y] = &picture.rgba[size_t(y) * picture.width * 4];
        png_read_image(png, rows.data());
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return picture;
}

Picture readPicture(const std::string& path)
{
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) return Picture();
    const Picture picture = decodePicture(file);
    std::fclose(file);
    return picture;
}

// Mean difference of premultiplied colour between two columns: transparent pixels count as
// equal whatever colour they carry.
static double columnDifference(const Picture& picture, int a, int b)
{
    double sum = 0;
    for (int y = 0; y < picture.height; ++y) {
        const uint8_t* p = picture.pixel(a, y);
        const uint8_t* q = picture.pixel(b, y);
        for (int c = 0; c < 3; ++c) sum += std::fabs(p[c] * p[3] - q[c] * q[3]) / 255.0;
        sum += std::fabs(double(p[3]) - q[3]);
    }
    return sum / picture.height;
}

double seamMismatch(const Picture& picture)
{
    std::vector<double> steps;
    for (int x = 0; x + 1 < picture.width; ++x) steps.push_back(columnDifference(picture, x, x + 1));
    std::sort(steps.begin(), steps.end());
    // A high percentile, so a few hard vertical edges inside the picture set the scale.
    const double typical = std::max(steps[steps.size() * 95 / 100], 1.0);
    return columnDifference(picture, picture.width - 1, 0) / typical;
}

Track readTrack(const std::string& path)
{
    Track track;
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) return track;
    track.rate = info.samplerate;
    track.channels = info.channels;
    track.samples.resize(size_t(info.frames) * info.channels);
    const sf_count_t read = sf_readf_float(file, track.samples.data(), info.frames);
    track.samples.resize(size_t(read) * info.channels);
    sf_close(file);
    return track;
}

Energy::Energy(const Track& track) : rate(track.rate), prefix(track.frames() + 1)
{
    for (size_t i = 0; i < track.frames(); ++i) {
        double sum = 0;
        for (int c = 0; c < track.channels; ++c) {
            const double s = track.samples[i * track.channels + c];
            sum += s * s / track.channels;
        }
        prefix[i + 1] = prefix[i] + sum;
    }
}

double Energy::meanSquare(double from, double to) const
{
    const auto index = [&](double t) {
        return std::min(prefix.size() - 1, size_t(std::max(0.0, std::round(t * rate))));
    };
    const size_t a = index(from), b = index(to);
    return b > a ? (prefix[b] - prefix[a]) / double(b - a) : 0.0;
}

double decibels(double meanSquare) { return 10.0 * std::log10(meanSquare + 1e-12); }

Onset strongestOnset(const Energy& energy, double expected, double window)
{
    Onset best{expected, -1e9};
    for (double t = expected - window; t <= expected + window; t += 0.0005) {
        const double rise = decibels(energy.meanSquare(t, t + 0.010)) - decibels(energy.meanSquare(t - 0.050, t));
        if (rise > best.rise) best = {t, rise};
    }
    return best;
}

int run(const std::string& command)
{
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string generatorPath()
{
    char self[4096];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
    if (length <= 0) return "";
    std::string path(self, size_t(length));
    for (int up = 0; up < 2; ++up) path = path.substr(0, path.rfind('/'));
    return path + "/tools/contentgen";
}

}  // namespace content

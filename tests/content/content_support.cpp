#include "content_support.h"

#include <png.h>
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>

namespace content {

Picture readPicture(const std::string& file)
{
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    Picture picture;
    if (!png_image_begin_read_from_file(&image, ("data/textures/" + file).c_str())) return picture;
    const bool eightBitRgba = image.format == PNG_FORMAT_RGBA;
    image.format = PNG_FORMAT_RGBA;
    picture = {int(image.width), int(image.height), std::vector<uint8_t>(PNG_IMAGE_SIZE(image))};
    if (!png_image_finish_read(&image, nullptr, picture.rgba.data(), 0, nullptr) || !eightBitRgba) picture.rgba.clear();
    return picture;
}

const Track& soundtrack()
{
    static const Track track = [] {
        SF_INFO info{};
        SNDFILE* file = sf_open("data/audio/soundtrack.ogg", SFM_READ, &info);
        Track decoded{file ? info.samplerate : 0, file ? info.channels : 0, std::vector<float>(size_t(info.frames) * info.channels)};
        if (file) decoded.samples.resize(size_t(sf_readf_float(file, decoded.samples.data(), info.frames)) * info.channels), sf_close(file);
        return decoded;
    }();
    return track;
}

double level(double from, double to)
{
    static const std::vector<double> sums = [] {  // running sum of squares: a window is one subtraction
        std::vector<double> prefix(1, 0.0);
        for (const float sample : soundtrack().samples) prefix.push_back(prefix.back() + double(sample) * sample);
        return prefix;
    }();
    const auto index = [](double t) { return std::min(sums.size() - 1, size_t(std::max(0.0, t * soundtrack().rate)) * soundtrack().channels); };
    const size_t a = index(from), b = index(to);
    return 10.0 * std::log10((b > a ? (sums[b] - sums[a]) / double(b - a) : 0.0) + 1e-12);
}

std::string builtProgram(const std::string& relative)
{
    char self[4096];
    const std::string path(self, size_t(std::max<ssize_t>(readlink("/proc/self/exe", self, sizeof self), 0)));
    return path.substr(0, path.substr(0, path.rfind('/')).rfind('/')) + "/" + relative;
}

}  // namespace content

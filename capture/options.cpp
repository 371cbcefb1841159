// Options: parsing and checking of the command line. Every check happens here, before the
// first frame, so that a long capture never fails half-way on a value it was given.
#include "capture/options.h"

#include <getopt.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>

extern "C" {
#include <libavformat/avformat.h>
}

#include "capture/failure.h"
#include "framework/music.h"

// Music positions are whole milliseconds: past 1000 frames a second, frames would repeat.
static const int MAX_FPS = 1000;
// H.264 in yuv420p halves both sizes for colour; and neither the encoder's level tables nor a
// software renderer's framebuffer go past 8K.
static const int MIN_SIZE = 16, MAX_SIZE = 8192;

// A whole decimal number, the whole text of it, or the end of the program
static int number(const char* option, const char* text)
{
    char* end = nullptr;
    errno = 0;
    long value = strtol(text, &end, 10);
    if (end == text || *end != '\0' || errno == ERANGE || value > INT_MAX || value < -INT_MAX)
        fail(std::string(option) + " " + text + " is not a whole number");
    return static_cast<int>(value);
}

static void readSize(const char* text, Options& options)
{
    std::string size = text;
    size_t x = size.find('x');
    if (x == std::string::npos) fail(std::string("--size ") + text + " is not WIDTHxHEIGHT");
    options.width = number("--size", size.substr(0, x).c_str());
    options.height = number("--size", size.substr(x + 1).c_str());
}

static Quality readQuality(const std::string& text)
{
    if (text == "fast") return Quality::Fast;
    if (text == "good") return Quality::Good;
    if (text == "best") return Quality::Best;
    fail("--quality " + text + " is not fast, good or best");
}

// The format the output's extension names, in any case
static Format formatOf(const std::string& output)
{
    std::string extension = std::filesystem::path(output).extension();
    std::transform(extension.begin(), extension.end(), extension.begin(), ::tolower);
    if (extension == ".mp4") return Format::Mp4;
    if (extension == ".mkv") return Format::Mkv;
    if (extension != ".png")
        fail("cannot tell the format of " + output +
             ": give a .mp4, a .mkv or a numbered .png name such as frames/%05d.png");
    char name[PATH_MAX];
    if (av_get_frame_filename(name, sizeof(name), output.c_str(), 0) < 0)
        fail(output + " names a single picture: give a numbered name such as frames/%05d.png");
    return Format::Png;
}

// Given or configured, the size has to suit the encoder
static void checkSize(const Options& options)
{
    bool even = options.width % 2 == 0 && options.height % 2 == 0;
    bool inRange = options.width >= MIN_SIZE && options.width <= MAX_SIZE && options.height >= MIN_SIZE &&
                   options.height <= MAX_SIZE;
    if (even && inRange) return;
    fail("size " + std::to_string(options.width) + "x" + std::to_string(options.height) +
         " cannot be encoded: width and height must be even, " + std::to_string(MIN_SIZE) + " to " +
         std::to_string(MAX_SIZE));
}

static void checkRange(const Options& options, int trackLength)
{
    std::string from = "--from " + std::to_string(options.from), to = "--to " + std::to_string(options.to);
    std::string track = " (0 to " + std::to_string(trackLength) + " ms)";
    if (options.from < 0 || options.from >= trackLength) fail(from + " is outside the track" + track);
    if (options.to <= 0 || options.to > trackLength) fail(to + " is outside the track" + track);
    if (options.from >= options.to) fail(from + " is not before " + to);
}

Options readOptions(int argc, char** argv, int configuredWidth, int configuredHeight, int trackLength)
{
    int end = trackLength - endMargin;  // where the demo ends
    Options options{"demo.mp4", Format::Mp4, Quality::Good, 60, configuredWidth, configuredHeight, 0, end};
    static const option longOptions[] = {{"output", required_argument, nullptr, 'o'},
                                         {"quality", required_argument, nullptr, 'q'},
                                         {"fps", required_argument, nullptr, 'r'},
                                         {"size", required_argument, nullptr, 's'},
                                         {"from", required_argument, nullptr, 'f'},
                                         {"to", required_argument, nullptr, 't'},
                                         {nullptr, 0, nullptr, 0}};
    opterr = 0;  // the messages below name the option; getopt's own would not say what to do
    int code;
    while ((code = getopt_long(argc, argv, ":", longOptions, nullptr)) != -1) {
        switch (code) {
        case 'o': options.output = optarg; break;
        case 'q': options.quality = readQuality(optarg); break;
        case 'r': options.fps = number("--fps", optarg); break;
        case 's': readSize(optarg, options); break;
        case 'f': options.from = number("--from", optarg); break;
        case 't': options.to = number("--to", optarg); break;
        case ':': fail(std::string(argv[optind - 1]) + " needs a value"); break;
        default: fail(std::string("unknown option: ") + argv[optind - 1]); break;
        }
    }
    if (optind < argc) fail(std::string("unknown option: ") + argv[optind]);
    if (options.fps < 1 || options.fps > MAX_FPS)
        fail("--fps " + std::to_string(options.fps) + " cannot be encoded: give 1 to " + std::to_string(MAX_FPS));
    checkSize(options);
    if (options.output.empty()) fail("--output needs a file name");
    options.format = formatOf(options.output);
    checkRange(options, trackLength);
    return options;
}

// Options: the capture program's command line,
//   capture [--output FILE] [--quality fast|good|best] [--fps N] [--size WIDTHxHEIGHT] [--from MS] [--to MS]
// read and checked before anything is rendered. The output's name decides its format.
#pragma once

#include <string>

// What the output's name asks for: ".mp4" H.264 and AAC to watch and upload, ".mkv" a lossless
// master, a numbered ".png" name (frames/%05d.png) one picture per frame and a WAV beside them
enum class Format { Mp4, Mkv, Png };
// How hard the H.264 encoder works for its size; the lossless formats have no use for it
enum class Quality { Fast, Good, Best };

struct Options {
    std::string output;  // "demo.mp4"
    Format format;       // from the output's extension
    Quality quality;     // good
    int fps;             // 60
    int width, height;   // the configured size
    int from, to;        // ms of music: 0 and the track's end less endMargin (99 ms), where the demo ends

    // The frames of the capture: every frame whose moment falls in from..to
    long long frames() const { return (static_cast<long long>(to - from) * fps + 999) / 1000; }
};

// Reads the command line over the defaults; a value that cannot be captured ends the program
// with a message naming it and status 1
Options readOptions(int argc, char** argv, int configuredWidth, int configuredHeight, int trackLength);

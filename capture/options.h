// Options: the capture program's command line,
//   capture [--output FILE] [--fps N] [--size WIDTHxHEIGHT] [--from MS] [--to MS]
// read and checked before anything is rendered.
#pragma once

#include <string>

struct Options {
    std::string output;  // "demo.mp4"
    int fps;             // 60
    int width, height;   // the configured size
    int from, to;        // ms of music: 0 and the track's end less 99 ms, where the demo ends
};

// Reads the command line over the defaults; a value that cannot be captured ends the program
// with a message naming it and status 1
Options readOptions(int argc, char** argv, int configuredWidth, int configuredHeight, int trackLength);

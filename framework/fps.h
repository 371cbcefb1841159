// FPS: frame rate against music time, debug mode only; one "Plot" line per second of music.
// Owns: the frame count and the rate of the last second.
// Depends on: Music for the time; Demo for the status line; Logger for the Plot lines.
#pragma once

#include <string>

class FPS {
public:
    int frames;
    int lastPosition;
    int elapsed;
    float fps;
    float average;
    int total;
    int samples;

    FPS();
    ~FPS();

    void update();
    float get();
};

extern FPS fps;

// The first two characters of the rate's default text (59.94 gives "59", 7.5 gives "7.",
// 120.2 gives "12"): the title keeps its width, so it does not jump as the rate changes
std::string rateText(float rate);

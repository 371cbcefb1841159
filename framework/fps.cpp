// FPS: frames counted against music time, so a paused or stalled track shows as a high rate.
#include "fps.h"

#include <cstdlib>
#include <sstream>

#include "demo.h"
#include "logger.h"
#include "music.h"
#include "timer.h"

FPS::FPS() : frames(0), lastPosition(0), elapsed(0), fps(0.0f), average(0.0f), total(0), samples(0)
{
    logger << "FPS: Initializing..." << std::endl;
}

FPS::~FPS() {}

std::string rateText(float rate)
{
    std::ostringstream text;
    text << static_cast<double>(rate);
    return text.str().substr(0, 2);
}

void FPS::update()
{
    int position = music.getPosition();
    frames++;
    // A backward seek counts as elapsed time too.
    elapsed += abs(position - lastPosition);
    lastPosition = position;
    if (elapsed <= 1000) return;

    fps = static_cast<float>(static_cast<long double>(frames) / elapsed * 1000);
    frames = 0;
    elapsed = 0;

    samples++;
    total += static_cast<int>(fps);
    average = static_cast<float>(total) / samples;

    logger << "Plot " << timer.getPosition() << " " << rateText(fps) << " " << static_cast<double>(average) << std::endl;
    demo.info();
}

float FPS::get() { return fps; }

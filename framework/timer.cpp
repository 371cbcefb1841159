// Timer: forwards to the music and splits its position into minutes, seconds and hundredths.
#include "timer.h"

#include <ctime>
#include <iostream>

#include "config.h"
#include "fps.h"
#include "logger.h"
#include "music.h"

Timer::Timer() : processorHeld(-1.0) { logger << "Timer: Initializing..." << std::endl; }

Timer::~Timer() { logger << "Timer: Quitting..." << std::endl; }

void Timer::start()
{
    logger << "Timer: Started!" << std::endl;
    music.start();
}

void Timer::stop()
{
    logger << "Timer: Stopped!" << std::endl;
    music.stop();
}

void Timer::pause(bool pause)
{
    logger << (pause ? "Timer: Paused!" : "Timer: Unpaused!") << std::endl;
    music.setPause(pause);
}

void Timer::update()
{
    if (Config::getDebug()) fps.update();
}

void Timer::changePosition(int ms) { music.changePosition(ms); }

int Timer::getPosition() { return music.getPosition(); }

// Integer divisions truncate, so 1009 ms is second 1 and hundredth 0, never rounded up.
double Timer::getPositionMinute() { return music.getPosition() / 60000; }

double Timer::getPositionSecond() { return (music.getPosition() / 1000) % 60; }

double Timer::getPositionMS() { return (music.getPosition() / 10) % 100; }

void Timer::print()
{
    logger << "Time: " << getPositionMinute() << ":" << getPositionSecond() << ":" << getPositionMS() << std::endl;
    std::cout << "Time: " << getPositionMinute() << ":" << getPositionSecond() << ":" << getPositionMS() << std::endl;
}

double Timer::getProcessorSeconds() { return processorHeld >= 0.0 ? processorHeld : clock() / 1e6; }

void Timer::holdProcessor(double seconds) { processorHeld = seconds; }

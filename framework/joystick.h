// Joystick: a PlayStation-style pad in debug mode. Logs every button and stick by name;
// L2/R2 and the left stick's horizontal axis seek by one second.
// Owns: the open pad.
// Depends on: SDL 1.2 (joystick subsystem); Events for the event; Timer for the seeks; Logger.
#pragma once

#include <SDL/SDL.h>

class Joystick {
public:
    SDL_Joystick* handle;  // joystick 0, or null

    Joystick();
    ~Joystick();

    void init();
    // Interprets the event being dispatched by the pump; runs for every polled event
    void update();
    void release();
};

extern Joystick joystick;

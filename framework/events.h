// Events: the one place SDL events are read. Drains the queue once per frame and routes
// keys, mouse, resize, expose, close and minimise/restore.
#pragma once

#include <SDL/SDL.h>  // Required for: SDL_Event

class Events {
public:
    SDL_Event event;  // the event being dispatched; the mouse and joystick handlers read it

    Events();
    ~Events();

    void update();
};

extern Events events;

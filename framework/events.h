// Events: the one place SDL events are read. Drains the queue once per frame and routes
// keys, mouse, resize, expose, close and minimise/restore.
// Owns: the event being handled, read by Input and Joystick.
// Depends on: SDL 1.2 (the event queue); Input, Joystick, Window, OpenGL and Demo, where events
//  lead.
#pragma once

#include <SDL/SDL.h>

class Events {
public:
    SDL_Event event;  // the event being dispatched; the mouse and joystick handlers read it

    Events();
    ~Events();

    void update();
};

extern Events events;

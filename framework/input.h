// Input: the rehearsal controls. Some keys act once when pressed; seeking and the free
// camera set held flags that update() turns into motion once per polled event.
// Owns: the held-key flags.
// Depends on: SDL 1.2 key symbols; Demo, Timer, Music, Camera, Cam, OpenGL, Window and Effects,
//  which the keys steer.
#pragma once

#include <SDL/SDL.h>

class Input {
public:
    bool seekBackward;
    bool seekForward;
    bool shift;
    int seekStep;
    bool moveLeft, moveRight, moveFront, moveBack, moveUp, moveDown;
    bool pitchUp, pitchDown, yawLeft, yawRight, rollRight;
    float mouseX, mouseY;

    Input();
    ~Input();

    void keyboardDown(SDL_KeyboardEvent* key);
    void keyboardUp(SDL_KeyboardEvent* key);
    void mouse();
    void update();
};

extern Input input;

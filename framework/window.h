// Window: the SDL 1.2 video surface that carries the OpenGL context; start-up, resize,
// fullscreen toggle, cursor, caption, and the end of every frame (10 ms pause and swap).
// Owns: the video surface and its flags.
// Depends on: SDL 1.2 (video, caption, cursor, delay); OpenGL for the context's state; Config;
//  Joystick at start-up.
#pragma once

#include <SDL/SDL.h>
#include <string>

class Window {
public:
    SDL_Surface* screen;
    Uint32 flags;          // chosen once at start-up, reused by every resize
    char driverName[256];
    int frameDelay;

    Window();
    ~Window();

    // Sleeps 10 ms, then swaps: caps the frame rate below 100 and yields the processor
    void update();
    void setTitle(std::string title);
    void resize(int width, int height);
    void toggleFullscreen();
    void toggleCursor(bool show);
};

extern Window window;

// Set in the programs that draw offscreen (the capture): SDL's offscreen driver gives the GL
// context through EGL, and no window opens, with a display or without. Defined with the
// globals (main.cpp), as a constant, so it holds before any of them is built.
extern const bool offscreenVideo;

// Input: keys by symbol only (never the modifier state); most presses log one line.
#include "input.h"

#include <iostream>

#include "cam.h"
#include "camera.h"
#include "config.h"
#include "demo.h"
#include "effects.h"
#include "events.h"
#include "logger.h"
#include "music.h"
#include "opengl.h"
#include "timer.h"
#include "window.h"

static const float cameraStep = 5.5f;

Input::Input()
    : seekBackward(false), seekForward(false), shift(false), seekStep(0), moveLeft(false), moveRight(false),
      moveFront(false), moveBack(false), moveUp(false), moveDown(false), pitchUp(false), pitchDown(false),
      yawLeft(false), yawRight(false), rollRight(false), mouseX(0.0f), mouseY(0.0f)
{
}

Input::~Input() {}

static void pressed(const char* name) { logger << "Input: Key pressed: " << name << std::endl; }

// The camera keys are silent; they only hold a flag until released.
static bool* cameraFlag(Input& in, SDLKey key)
{
    switch (key) {
    case SDLK_h: return &in.moveLeft;
    case SDLK_k: return &in.moveRight;
    case SDLK_u: return &in.moveFront;
    case SDLK_j: return &in.moveBack;
    case SDLK_y: return &in.moveUp;
    case SDLK_i: return &in.moveDown;
    case SDLK_1: return &in.pitchUp;
    case SDLK_2: return &in.pitchDown;
    case SDLK_3: return &in.yawLeft;
    case SDLK_4: return &in.yawRight;
    case SDLK_5: return &in.rollRight;
    default: return nullptr;
    }
}

// The volume is read back from the channel each time and not clamped here.
static void changeVolume(double step) { music.setVolume(static_cast<float>(music.getVolume() + step)); }

void Input::keyboardDown(SDL_KeyboardEvent* key)
{
    SDLKey sym = key->keysym.sym;
    if (bool* flag = cameraFlag(*this, sym)) {
        *flag = true;
        return;
    }

    switch (sym) {
    case SDLK_ESCAPE: pressed("Escape"); demo.running = false; break;
    case SDLK_SPACE: pressed("Space"); demo.setPause(!demo.paused); break;
    case SDLK_RETURN: pressed("Enter"); timer.print(); break;
    case SDLK_BACKSPACE:
        pressed("Backspace");
        if (shift)
            demo.reload();
        else
            demo.restart();
        break;
    case SDLK_TAB: std::cout << "Input: Key pressed: tab" << std::endl; break;
    case SDLK_UP: pressed("Up"); demo.nextScene(); break;
    case SDLK_DOWN: pressed("Down"); demo.previousScene(); break;
    case SDLK_LEFT: pressed("Left"); seekBackward = true; break;
    case SDLK_RIGHT: logger << "Key pressed: Right" << std::endl; seekForward = true; break;
    case SDLK_LSHIFT: pressed("Left Shift"); shift = true; break;
    case SDLK_RSHIFT: pressed("Right Shift"); shift = true; break;
    case SDLK_F1: pressed("F1"); window.toggleFullscreen(); break;
    case SDLK_s: pressed("s"); opengl.screenshot(); break;
    case SDLK_p:
        pressed("p");
        opengl.resizeToggle = !opengl.resizeToggle;
        opengl.resize(Config::width, Config::height);
        break;
    case SDLK_a: pressed("a"); opengl.antialiasing(!opengl.antialias); break;
    case SDLK_d: pressed("d"); camera.toogleDepth(); break;
    case SDLK_b: pressed("b"); effects.blendingMode(); break;
    case SDLK_z: pressed("z"); camera.zoomIn(); break;
    case SDLK_x: pressed("x"); camera.zoomOut(); break;
    case SDLK_n: pressed("n"); changeVolume(-0.1); break;
    case SDLK_m: pressed("m"); changeVolume(0.1); break;
    case SDLK_w: pressed("w"); break;
    default: break;
    }
}

void Input::keyboardUp(SDL_KeyboardEvent* key)
{
    SDLKey sym = key->keysym.sym;
    if (bool* flag = cameraFlag(*this, sym)) {
        *flag = false;
        return;
    }

    switch (sym) {
    case SDLK_LEFT: logger << "Input: Key released: Left" << std::endl; seekBackward = false; break;
    case SDLK_RIGHT: logger << "Input: Key released: Right" << std::endl; seekForward = false; break;
    // The shift releases log the press texts (the log's words are fixed); either one clears the
    // shared flag.
    case SDLK_LSHIFT: pressed("Left Shift"); shift = false; break;
    case SDLK_RSHIFT: pressed("Right Shift"); shift = false; break;
    default: break;
    }
}

// Maps the current click to -1 ... +1 over the configured size (not the window's), y upward.
static void mapClick(Input& in)
{
    long double x = events.event.button.x;
    long double y = events.event.button.y;
    in.mouseX = static_cast<float>(x / Config::width * 2 - 1);
    in.mouseY = static_cast<float>((Config::height - y) / Config::height * 2 - 1);
}

void Input::mouse()
{
    if (!Config::getDebug()) return;

    bool click = events.event.type == SDL_MOUSEBUTTONDOWN;
    if ((SDL_GetMouseState(nullptr, nullptr) & SDL_BUTTON(SDL_BUTTON_LEFT)) && click) {
        mapClick(*this);
        logger << "Input: Mouse left button clicked - x: " << mouseX << " y: " << mouseY << std::endl;
    }
    if ((SDL_GetMouseState(nullptr, nullptr) & SDL_BUTTON(SDL_BUTTON_RIGHT)) && click) {
        mapClick(*this);
        logger << "Input: Mouse right button click - x: " << mouseX << " y: " << mouseY << std::endl;
    }
}

void Input::update()
{
    seekStep = shift ? 10000 : 5000;
    if (seekBackward) timer.changePosition(-seekStep);
    if (seekForward) timer.changePosition(seekStep);

    if (moveLeft) cam.moveLeft(cameraStep);
    if (moveRight) cam.moveRight(cameraStep);
    if (moveFront) cam.moveFront(cameraStep);
    if (moveBack) cam.moveBack(cameraStep);
    if (moveUp) cam.moveUp(cameraStep);
    if (moveDown) cam.moveDown(cameraStep);
    if (pitchUp) cam.pitch(cameraStep);
    if (pitchDown) cam.pitch(-cameraStep);
    if (yawLeft) cam.yaw(-cameraStep);
    if (yawRight) cam.yaw(cameraStep);
    if (rollRight) cam.roll(cameraStep);
}

// The event pump in process, fed with SDL events pushed into the real queue: held keys acting
// once per polled event, the window's own events, and the game pad. No pad can be plugged in
// here, so its button and stick events are synthesised, and SDL 2's virtual pad stands in for
// the opening, naming and one run through SDL's own event path.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <GL/gl.h>
#include <SDL/SDL.h>

#include <algorithm>
#include <chrono>
#include <dlfcn.h>

#include "framework/config.h"
#include "framework/demo.h"
#include "framework/events.h"
#include "framework/input.h"
#include "framework/joystick.h"
#include "framework/logger.h"
#include "framework/music.h"
#include "framework/window.h"
#include "tests/support/inprocess.h"

namespace {

using Lines = std::vector<std::string>;

class Pump : public testing::Test {
protected:
    void SetUp() override
    {
        Config::debug = true;
        // Other test programs come and go on the same X server; what that makes the server send
        // this window would give held keys extra turns. The tests that need a type turn it on.
        for (Uint8 type : {SDL_ACTIVEEVENT, SDL_MOUSEMOTION, SDL_MOUSEBUTTONDOWN, SDL_MOUSEBUTTONUP, SDL_VIDEOEXPOSE,
                           SDL_VIDEORESIZE, SDL_SYSWMEVENT})
            SDL_EventState(type, SDL_IGNORE);
        for (SDL_Event stale; SDL_PollEvent(&stale);) {}
        music.start();
        music.setPause(true);
        music.setPosition(60000);
    }

    static void push(SDL_Event event) { ASSERT_EQ(SDL_PushEvent(&event), 0); }

    static void key(Uint8 type, SDLKey sym)
    {
        SDL_Event event{};
        event.key.type = type;
        event.key.state = type == SDL_KEYDOWN ? SDL_PRESSED : SDL_RELEASED;
        event.key.keysym.sym = sym;
        push(event);
    }
    static void down(SDLKey sym) { key(SDL_KEYDOWN, sym); }
    static void up(SDLKey sym) { key(SDL_KEYUP, sym); }

    // An event nobody handles: it only gives the held keys their turn.
    static void other()
    {
        SDL_Event event{};
        event.type = SDL_USEREVENT;
        push(event);
    }

    static void active(Uint8 state, Uint8 gain)
    {
        SDL_Event event{};
        event.active.type = SDL_ACTIVEEVENT;
        event.active.state = state;
        event.active.gain = gain;
        push(event);
    }

    static void button(Uint8 number, bool pressed)
    {
        SDL_Event event{};
        event.jbutton.type = pressed ? SDL_JOYBUTTONDOWN : SDL_JOYBUTTONUP;
        event.jbutton.button = number;
        event.jbutton.state = pressed ? SDL_PRESSED : SDL_RELEASED;
        push(event);
    }

    static void axis(Uint8 number, Sint16 value)
    {
        SDL_Event event{};
        event.jaxis.type = SDL_JOYAXISMOTION;
        event.jaxis.axis = number;
        event.jaxis.value = value;
        push(event);
    }

    // Runs one pump and reports where the music stands afterwards.
    static int pumped()
    {
        events.update();
        return music.getPosition();
    }

    // The logged lines that begin with `prefix`, without their date.
    Lines logged(const std::string& prefix)
    {
        Lines found;
        for (const std::string& line : capture.lines())
            if (line.rfind(prefix, 0) == 0) found.push_back(line);
        return found;
    }

    // Pumps until `done` holds or a second has passed, for events that SDL makes itself.
    template <typename Predicate>
    static bool pumpUntil(Predicate done)
    {
        for (int round = 0; round < 100; round++) {
            events.update();
            if (done()) return true;
            SDL_Delay(10);
        }
        return false;
    }

    // The first `count` lines one pump logs. Pushed events are queued ahead of whatever the X
    // server sends meanwhile, so their lines come first.
    Lines pumpLogs(size_t count)
    {
        capture.reset();
        events.update();
        Lines lines = capture.lines();
        if (lines.size() > count) lines.resize(count);
        return lines;
    }

    fixture::LogCapture capture;
};

TEST_F(Pump, HeldArrowSeeksOncePerLaterEventAndALoneTapExactlyOnce)
{
    EXPECT_EQ(pumped(), 60000) << "no event, no held-key turn";

    down(SDLK_RIGHT);
    EXPECT_EQ(pumped(), 60000) << "the key-down's own turn comes before the flag is set";
    EXPECT_EQ(pumped(), 60000) << "an empty queue moves nothing even while held";
    other();
    other();
    EXPECT_EQ(pumped(), 70000);
    up(SDLK_RIGHT);
    EXPECT_EQ(pumped(), 75000) << "the turn before the key-up still sees the flag";
    other();
    EXPECT_EQ(pumped(), 75000);

    down(SDLK_LEFT);
    up(SDLK_LEFT);
    EXPECT_EQ(pumped(), 70000) << "a lone tap seeks once";

    down(SDLK_LEFT);
    down(SDLK_RIGHT);
    other();
    EXPECT_EQ(pumped(), 65000) << "the right key-down's turn saw the left alone, the next one both, cancelling";
    up(SDLK_LEFT);
    up(SDLK_RIGHT);
    EXPECT_EQ(pumped(), 70000) << "the left key-up's turn saw both, the right's only the right";
}

TEST_F(Pump, ShiftDoublesTheStepUntilEitherShiftIsReleased)
{
    down(SDLK_LSHIFT);
    down(SDLK_LEFT);
    other();
    EXPECT_EQ(pumped(), 50000);
    other();
    EXPECT_EQ(pumped(), 40000);

    down(SDLK_RSHIFT);
    up(SDLK_RSHIFT);  // its turn still has shift; it clears the shared flag though the left is held
    other();
    EXPECT_EQ(pumped(), 15000);
    up(SDLK_LEFT);
    EXPECT_EQ(pumped(), 10000);
    up(SDLK_LSHIFT);
    EXPECT_EQ(pumped(), 10000);

    EXPECT_EQ(logged("Input: "), (Lines{"Input: Key pressed: Left Shift", "Input: Key pressed: Left",
                                        "Input: Key pressed: Right Shift", "Input: Key pressed: Right Shift",
                                        "Input: Key released: Left", "Input: Key pressed: Left Shift"}));
}

TEST_F(Pump, CameraKeysAreSilentAndMoveTheFreeCameraOncePerEventInTheirOrder)
{
    const SDLKey keys[] = {SDLK_5, SDLK_4, SDLK_3, SDLK_2, SDLK_1, SDLK_i, SDLK_y, SDLK_j, SDLK_u, SDLK_k, SDLK_h};
    for (SDLKey sym : keys) down(sym);
    events.update();

    testing::internal::CaptureStdout();
    other();
    events.update();
    std::string once = testing::internal::GetCapturedStdout();

    testing::internal::CaptureStdout();
    for (SDLKey sym : keys) up(sym);
    other();
    events.update();
    std::string releasing = testing::internal::GetCapturedStdout();

    EXPECT_EQ(once,
              "Cam: Moving left 5.5 steps.\nCam: Moving right 5.5 steps.\nCam: Moving forward 5.5 steps.\n"
              "Cam: Moving back 5.5 steps.\nCam: Moving up 5.5 steps.\nCam: Moving down 5.5 steps.\n"
              "Cam: Pitching 5.5\nCam: Pitching -5.5\nCam: Yawing -5.5\nCam: Yawing 5.5\nCam: Rolling 5.5\n");
    // The first key-up's turn sees all eleven held, each later one a key fewer, the last event none.
    EXPECT_EQ(std::count(releasing.begin(), releasing.end(), '\n'), 11 + 10 + 9 + 8 + 7 + 6 + 5 + 4 + 3 + 2 + 1);
    EXPECT_TRUE(logged("Input: ").empty());
}

TEST_F(Pump, MinimisePausesAndRestoreResumesEvenAfterAPauseByHand)
{
    SDL_EventState(SDL_ACTIVEEVENT, SDL_ENABLE);
    active(SDL_APPACTIVE, 0);
    EXPECT_EQ(pumpLogs(2), (Lines{"Events: Window minimized!", "Demo: Paused!"}));
    EXPECT_TRUE(demo.paused);

    down(SDLK_SPACE);
    events.update();
    EXPECT_FALSE(demo.paused);
    down(SDLK_SPACE);
    events.update();
    EXPECT_TRUE(demo.paused);

    active(SDL_APPACTIVE | SDL_APPINPUTFOCUS, 1);
    EXPECT_EQ(pumpLogs(2), (Lines{"Events: Window restored!", "Demo: Running!"}));
    EXPECT_FALSE(demo.paused) << "restoring resumes a pause made by hand";

    active(SDL_APPINPUTFOCUS | SDL_APPMOUSEFOCUS, 0);
    active(SDL_APPINPUTFOCUS, 1);
    active(SDL_APPMOUSEFOCUS, 0);
    active(SDL_APPMOUSEFOCUS, 1);
    EXPECT_EQ(pumpLogs(4), (Lines{"Events: Keyboard focus lost!", "Events: Keyboard focus gained...",
                                  "Events: Mouse focus lost!", "Events: Mouse focus gained."}));
    EXPECT_FALSE(demo.paused) << "focus changes never pause";
}

TEST_F(Pump, CloseEndsTheLoopButEventsBehindItAreStillHandled)
{
    demo.running = true;
    SDL_Event quit{};
    quit.type = SDL_QUIT;
    push(quit);
    down(SDLK_w);
    EXPECT_EQ(pumpLogs(2), (Lines{"Events: Window closed", "Input: Key pressed: w"}));
    EXPECT_FALSE(demo.running);
}

TEST_F(Pump, ResizeRecreatesTheSurfaceAndViewportButKeepsTheConfiguredSize)
{
    SDL_EventState(SDL_VIDEORESIZE, SDL_ENABLE);
    SDL_Event resize{};
    resize.resize.type = SDL_VIDEORESIZE;
    resize.resize.w = 640;
    resize.resize.h = 480;
    push(resize);
    EXPECT_EQ(pumpLogs(4), (Lines{"Events: Window resize: 640x480", "Window: Resize: 640x480",
                                  "OpenGL: resize: 640x480", "Camera: resetting viewport 640x480 (4:3)"}));

    EXPECT_EQ(window.screen->w, 640);
    EXPECT_EQ(window.screen->h, 480);
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(std::vector<GLint>(viewport, viewport + 4), (std::vector<GLint>{0, 0, 640, 480}));
    EXPECT_EQ(Config::width, 800);
    EXPECT_EQ(Config::height, 600);
}

TEST_F(Pump, ExposeRedrawsAfterTenMillisecondsOfSleep)
{
    SDL_EventState(SDL_VIDEOEXPOSE, SDL_ENABLE);
    SDL_Event expose{};
    expose.type = SDL_VIDEOEXPOSE;
    push(expose);
    auto before = std::chrono::steady_clock::now();
    events.update();
    auto took = std::chrono::steady_clock::now() - before;
    EXPECT_GE(took, std::chrono::milliseconds(10));
    EXPECT_EQ(window.frameDelay, 10);
}

TEST_F(Pump, PadButtonsLogTheirNamesAndL2R2SeekOneSecondOnPressOnly)
{
    const char* names[] = {"Select", "L3",  "R3", "Start",    "Up",     "Right", "Down",   "Left", "L2",
                           "R2",     "L1",  "R1", "Triangle", "Circle", "X",     "Square", "PS"};
    button(8, true);
    EXPECT_EQ(pumped(), 59000);
    button(8, false);
    EXPECT_EQ(pumped(), 59000);
    button(9, true);
    button(9, true);
    EXPECT_EQ(pumped(), 61000);
    button(9, false);
    for (Uint8 number = 0; number <= 16; number++) {
        if (number == 8 || number == 9) continue;
        button(number, true);
        button(number, false);
    }
    for (Uint8 number : {17, 18, 100, 255}) {
        button(number, true);
        button(number, false);
    }
    EXPECT_EQ(pumped(), 61000) << "only L2 and R2 seek";

    music.setPosition(500);
    button(8, true);
    EXPECT_EQ(pumped(), 0) << "L2 near the start stops at 0";

    Lines wanted = {"Joystick: L2 was pressed", "Joystick: L2 was released", "Joystick: R2 was pressed",
                    "Joystick: R2 was pressed", "Joystick: R2 was released"};
    for (int number = 0; number <= 16; number++) {
        if (number == 8 || number == 9) continue;
        wanted.push_back(std::string("Joystick: ") + names[number] + " was pressed");
        wanted.push_back(std::string("Joystick: ") + names[number] + " was released");
    }
    wanted.push_back("Joystick: L2 was pressed");
    EXPECT_EQ(logged("Joystick: "), wanted);
}

TEST_F(Pump, StickDeadZoneEndsAtThirtyTwoHundredAndOnlyTheLeftHorizontalSeeks)
{
    for (Sint16 value : {3200, -3200, 0, 1, -1}) axis(0, value);
    EXPECT_EQ(pumped(), 60000) << "inside the dead zone, bounds included";
    axis(0, 3201);
    EXPECT_EQ(pumped(), 61000);
    other();
    EXPECT_EQ(pumped(), 61000) << "a later event does not replay the stick";
    axis(0, -3201);
    axis(0, -32768);
    EXPECT_EQ(pumped(), 59000);
    axis(0, 32767);
    EXPECT_EQ(pumped(), 60000);

    for (Uint8 number : {1, 2, 3}) {
        axis(number, -3201);
        axis(number, 3201);
        axis(number, 3200);
    }
    axis(4, 30000);
    axis(5, -30000);
    EXPECT_EQ(pumped(), 60000) << "only axis 0 seeks";

    EXPECT_EQ(logged("Joystick: "),
              (Lines{"Joystick: L-Analog going right", "Joystick: L-Analog going left", "Joystick: L-Analog going left",
                     "Joystick: L-Analog going right", "Joystick: L-Analog going up", "Joystick: L-Analog going down",
                     "Joystick: R-Analog going left", "Joystick: R-Analog going right", "Joystick: R-Analog going up",
                     "Joystick: R-Analog going down"}));
}

TEST_F(Pump, WithDebugOffThePadIsNeitherStartedNorHeard)
{
    Config::debug = false;
    button(9, true);
    axis(0, 30000);
    EXPECT_EQ(pumped(), 60000);
    EXPECT_TRUE(logged("Joystick: ").empty());
    EXPECT_EQ(SDL_WasInit(SDL_INIT_JOYSTICK), 0u) << "the window starts the pad only in debug mode";
}

// SDL 2, which carries the SDL 1.2 calls here, can attach a virtual pad: the way to open a pad
// and move it through SDL's own event path on a machine without one.
TEST_F(Pump, VirtualPadIsOpenedByNameAndItsButtonsAndStickSeek)
{
    void* sdl2 = dlopen("libSDL2-2.0.so.0", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(sdl2, nullptr) << "the SDL 1.2 calls are not carried by SDL 2 here";
    auto initSubSystem = reinterpret_cast<int (*)(Uint32)>(dlsym(sdl2, "SDL_InitSubSystem"));
    auto attachVirtual = reinterpret_cast<int (*)(int, int, int, int)>(dlsym(sdl2, "SDL_JoystickAttachVirtual"));
    auto open = reinterpret_cast<void* (*)(int)>(dlsym(sdl2, "SDL_JoystickOpen"));
    auto setButton = reinterpret_cast<int (*)(void*, int, Uint8)>(dlsym(sdl2, "SDL_JoystickSetVirtualButton"));
    auto setAxis = reinterpret_cast<int (*)(void*, int, Sint16)>(dlsym(sdl2, "SDL_JoystickSetVirtualAxis"));
    auto setHint = reinterpret_cast<int (*)(const char*, const char*)>(dlsym(sdl2, "SDL_SetHint"));
    ASSERT_TRUE(initSubSystem && attachVirtual && open && setButton && setAxis && setHint);

    // SDL drops pad events while the window lacks the keyboard focus, which other test programs
    // on the same X server may hold.
    setHint("SDL_JOYSTICK_ALLOW_BACKGROUND_EVENTS", "1");
    const int gamepad = 1;  // SDL_JOYSTICK_TYPE_GAMECONTROLLER
    ASSERT_EQ(initSubSystem(SDL_INIT_JOYSTICK), 0);
    ASSERT_EQ(attachVirtual(gamepad, 4, 17, 0), 0);
    joystick.init();
    void* pad = open(0);
    ASSERT_NE(pad, nullptr);

    setButton(pad, 8, SDL_PRESSED);
    EXPECT_TRUE(pumpUntil([] { return music.getPosition() == 59000; })) << "L2 seeks back";
    setButton(pad, 8, SDL_RELEASED);
    setAxis(pad, 0, 3200);
    setButton(pad, 9, SDL_PRESSED);
    EXPECT_TRUE(pumpUntil([] { return music.getPosition() == 60000; })) << "R2 seeks forward, the stick not yet";
    setAxis(pad, 0, 3201);
    EXPECT_TRUE(pumpUntil([] { return music.getPosition() == 61000; })) << "just outside the dead zone";
    setAxis(pad, 3, 20000);
    EXPECT_TRUE(pumpUntil([this] {
        Lines lines = logged("Joystick: ");
        return !lines.empty() && lines.back() == "Joystick: R-Analog going down";
    }));
    joystick.release();

    EXPECT_EQ(logged("Joystick: "),
              (Lines{"Joystick: Initializing the SDL subsystem...", "Joystick: 1 joystick(s) found.",
                     "Joystick: 0 - Virtual Controller", "Joystick: Opening joystick 0...",
                     "Joystick: Name: Virtual Controller", "Joystick: Number of Axes: 4",
                     "Joystick: Number of Buttons: 17", "Joystick: Number of Balls: 0", "Joystick: L2 was pressed",
                     "Joystick: L2 was released", "Joystick: R2 was pressed", "Joystick: L-Analog going right",
                     "Joystick: R-Analog going down", "Joystick: Closing...",
                     "Joystick: Shutting down the SDL subsystem..."}));
    EXPECT_EQ(music.getPosition(), 61000);
}

}  // namespace

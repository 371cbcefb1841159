// Joystick: only the first pad is ever opened; it is not reopened if unplugged.
#include "joystick.h"

#include "events.h"
#include "logger.h"
#include "timer.h"

static const char* const buttonNames[] = {"Select", "L3", "R3", "Start", "Up", "Right", "Down", "Left", "L2",
                                          "R2", "L1", "R1", "Triangle", "Circle", "X", "Square", "PS"};
static const int buttonCount = sizeof(buttonNames) / sizeof(buttonNames[0]);
static const int buttonL2 = 8;
static const int buttonR2 = 9;
static const int deadZone = 3200;

Joystick::Joystick() {}

Joystick::~Joystick() {}

// SDL may not know a pad's name; a null would silence the log stream for good.
static const char* padName(int index)
{
    const char* name = SDL_JoystickName(index);
    return name ? name : "";
}

void Joystick::init()
{
    logger << "Joystick: Initializing the SDL subsystem..." << std::endl;
    SDL_InitSubSystem(SDL_INIT_JOYSTICK);
    int count = SDL_NumJoysticks();
    if (count <= 0) return;

    logger << "Joystick: " << count << " joystick(s) found." << std::endl;
    for (int i = 0; i < count; i++) logger << "Joystick: " << i << " - " << padName(i) << std::endl;

    logger << "Joystick: Opening joystick 0..." << std::endl;
    handle = SDL_JoystickOpen(0);
    if (!handle) {
        logger << "Joystick: Couldn't open Joystick 0" << std::endl;
        return;
    }
    logger << "Joystick: Name: " << padName(0) << std::endl;
    logger << "Joystick: Number of Axes: " << SDL_JoystickNumAxes(handle) << std::endl;
    logger << "Joystick: Number of Buttons: " << SDL_JoystickNumButtons(handle) << std::endl;
    logger << "Joystick: Number of Balls: " << SDL_JoystickNumBalls(handle) << std::endl;
}

static void button(const SDL_JoyButtonEvent& event, bool down)
{
    if (event.button >= buttonCount) return;
    logger << "Joystick: " << buttonNames[event.button] << (down ? " was pressed" : " was released") << std::endl;
    if (!down) return;
    if (event.button == buttonL2) timer.changePosition(-1000);
    if (event.button == buttonR2) timer.changePosition(1000);
}

static void axis(const SDL_JoyAxisEvent& event)
{
    static const char* const sticks[] = {"L-Analog going ", "L-Analog going ", "R-Analog going ", "R-Analog going "};
    static const char* const negative[] = {"left", "up", "left", "up"};
    static const char* const positive[] = {"right", "down", "right", "down"};

    int value = event.value;
    if (event.axis > 3 || (value >= -deadZone && value <= deadZone)) return;

    bool forward = value > deadZone;
    logger << "Joystick: " << sticks[event.axis] << (forward ? positive[event.axis] : negative[event.axis]) << std::endl;
    // Only the left stick's horizontal axis seeks, once per motion event outside the dead zone.
    if (event.axis == 0) timer.changePosition(forward ? 1000 : -1000);
}

void Joystick::update()
{
    const SDL_Event& event = events.event;
    switch (event.type) {
    case SDL_JOYBUTTONDOWN: button(event.jbutton, true); break;
    case SDL_JOYBUTTONUP: button(event.jbutton, false); break;
    case SDL_JOYAXISMOTION: axis(event.jaxis); break;
    default: break;
    }
}

void Joystick::release()
{
    if (SDL_JoystickOpened(0)) {
        logger << "Joystick: Closing..." << std::endl;
        SDL_JoystickClose(handle);
    }
    logger << "Joystick: Shutting down the SDL subsystem..." << std::endl;
    SDL_QuitSubSystem(SDL_INIT_JOYSTICK);
}

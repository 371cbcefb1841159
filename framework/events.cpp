// Events: held keys act once per polled event, before that event is dispatched.
#include "events.h"

#include "config.h"
#include "demo.h"
#include "input.h"
#include "joystick.h"
#include "logger.h"
#include "opengl.h"
#include "window.h"

Events::Events() {}

Events::~Events() {}

// Only the first matching bit of the mask counts: minimise beats focus changes.
static void activeEvent(const SDL_ActiveEvent& active)
{
    if (active.state & SDL_APPACTIVE) {
        if (active.gain == 0) {
            logger << "Events: Window minimized!" << std::endl;
            demo.setPause(true);
        } else {
            logger << "Events: Window restored!" << std::endl;
            demo.setPause(false);
        }
    } else if (active.state & SDL_APPINPUTFOCUS) {
        logger << (active.gain == 0 ? "Events: Keyboard focus lost!" : "Events: Keyboard focus gained...") << std::endl;
    } else if (active.state & SDL_APPMOUSEFOCUS) {
        logger << (active.gain == 0 ? "Events: Mouse focus lost!" : "Events: Mouse focus gained.") << std::endl;
    }
}

void Events::update()
{
    while (SDL_PollEvent(&event)) {
        input.update();
        if (Config::debug) joystick.update();

        switch (event.type) {
        case SDL_KEYDOWN: input.keyboardDown(&event.key); break;
        case SDL_KEYUP: input.keyboardUp(&event.key); break;
        case SDL_MOUSEBUTTONDOWN: input.mouse(); break;
        case SDL_QUIT:
            logger << "Events: Window closed" << std::endl;
            demo.running = false;
            break;
        case SDL_VIDEORESIZE:
            logger << "Events: Window resize: " << event.resize.w << "x" << event.resize.h << std::endl;
            window.resize(event.resize.w, event.resize.h);
            opengl.resize(event.resize.w, event.resize.h);
            break;
        case SDL_VIDEOEXPOSE: window.update(); break;
        case SDL_ACTIVEEVENT: activeEvent(event.active); break;
        default: break;
        }
    }
}

// Window: SDL video start-up and the video surface. Debug mode always gets a centred,
// resizable 800 x 600 window, whatever the configuration says.
#include "window.h"

#include <cstdlib>

#include "config.h"
#include "joystick.h"
#include "logger.h"
#include "opengl.h"

// SDL 1.2's OpenGL blit mode (which includes SDL_OPENGL), hardware palette and double buffer.
static const Uint32 baseFlags = 0x6000000A;

// The depth SDL_SetVideoMode is asked for. SDL 1.2 took any depth and chose the nearest it had;
// its compat layer refuses all but 0, 8, 16, 24 and 32. So 15 (5/5/5 bits, which the GL
// attributes ask for) goes to SDL as 16, and any other depth as the current one, 0.
static int sdlDepth(int bpp)
{
    switch (bpp) {
    case 0:
    case 8:
    case 16:
    case 24:
    case 32: return bpp;
    case 15: return 16;
    default: return 0;
    }
}

// Both the log and standard error get the reason; the log line carries the module prefix.
[[noreturn]] static void sdlFatal(const std::string& logLine, const std::string& message)
{
    fatal("Window: " + logLine + SDL_GetError(), message + SDL_GetError(), 1);
}

// Xlib's header names a type Window, as this class is named: the two calls are declared here
// as Xlib declares them.
extern "C" {
struct _XDisplay;
int (*XSetIOErrorHandler(int (*handler)(_XDisplay*)))(_XDisplay*);
char* XDisplayString(_XDisplay* display);
}

// The X server went away under the program (the session ended, the server was killed). Xlib's
// own handler calls exit, and the clean-up that runs then waits on the gone server for ever,
// at full processor use: the program ends here instead, saying why.
static int displayGone(_XDisplay* display)
{
    std::string name = XDisplayString(display);
    fatal("Window: Lost the X server " + name, "Lost the connection to the X server " + name, 1);
}

Window::Window()
{
    XSetIOErrorHandler(displayGone);
    const SDL_version* linked = SDL_Linked_Version();
    logger << "Window: Initializing SDL (" << static_cast<int>(linked->major) << "." << static_cast<int>(linked->minor)
           << "." << static_cast<int>(linked->patch) << ")" << std::endl;
    // Overwritten: the SDL 1.2 layer names its own default (x11) there when it is loaded.
    if (offscreenVideo) setenv("SDL_VIDEODRIVER", "offscreen", 1);
    if (SDL_Init(SDL_INIT_VIDEO) < 0) sdlFatal("Couldn't init SDL", "Couldn't init SDL: ");

    if (SDL_VideoDriverName(driverName, sizeof(driverName)))
        logger << "Window: Video driver: " << driverName << std::endl;
    else
        logger << "Window: Failed to obtain the video driver name." << std::endl;

    logger << "Window: Creating (" << Config::width << "x" << Config::height << ":" << Config::bpp << ")" << std::endl;
    flags = baseFlags;

    const SDL_VideoInfo* info = SDL_GetVideoInfo();
    if (!info) sdlFatal("Couldn't get video information: ", "Couldn't get video information: ");
    if (info->hw_available) {
        logger << "Window: Creating video surface in hw..." << std::endl;
        flags |= SDL_HWSURFACE;
    } else {
        logger << "Window: Creating video surface in sw..." << std::endl;
    }
    if (info->blit_hw) {
        logger << "Window: Turning on hw acceleration" << std::endl;
        flags |= SDL_HWACCEL;
    }

    if (Config::fullscreen && !Config::debug) {
        logger << "Window: Going fullscreen!" << std::endl;
        flags |= SDL_FULLSCREEN;
    } else {
        static char centred[] = "SDL_VIDEO_CENTERED=center";
        putenv(centred);
        flags |= SDL_RESIZABLE;
    }

    if (Config::getDebug()) {
        Config::width = 800;
        Config::height = 600;
        Config::bpp = 0;
    }

    // An invalid depth is only mapped here, not reported: OpenGL::init reports it and clears
    // Config::bpp right after, so the "Invalid BPP" line keeps its place after "OpenGL: Initializing...".
    screen = SDL_SetVideoMode(Config::width, Config::height, sdlDepth(Config::bpp), flags);
    if (!screen) sdlFatal("Couldn't set video mode: ", "Couldn't set video mode: ");

    opengl.init();
    opengl.resize(Config::width, Config::height);
    toggleCursor(false);
    SDL_WM_SetCaption(Config::title.c_str(), Config::title.c_str());
    if (Config::debug) joystick.init();
}

Window::~Window()
{
    if (Config::debug) joystick.release();
    logger << "Window: Closing SDL..." << std::endl;
    SDL_Quit();
}

void Window::update()
{
    frameDelay = 10;
    SDL_Delay(frameDelay);
    opengl.update();
}

void Window::setTitle(std::string title) { SDL_WM_SetCaption(title.c_str(), title.c_str()); }

void Window::resize(int width, int height)
{
    logger << "Window: Resize: " << width << "x" << height << std::endl;
    // The start-up flags, except that the window stays as F1 left it: SDL sends resize events
    // after a toggle, and the start-up fullscreen bit would undo a toggle to windowed (and the
    // missing one a toggle to fullscreen). -b may have set a depth OpenGL::init never saw.
    SDL_Surface* current = SDL_GetVideoSurface();
    Uint32 mode = current ? (flags & ~SDL_FULLSCREEN) | (current->flags & SDL_FULLSCREEN) : flags;
    screen = SDL_SetVideoMode(width, height, sdlDepth(checkedBpp()), mode);
    if (!screen) sdlFatal("Could not get a surface after resize: ", "Could not get a surface after resize: ");
}

void Window::toggleFullscreen()
{
    SDL_Surface* surface = SDL_GetVideoSurface();
    // The flag flips before the attempt and stays flipped if the driver refuses.
    if (Config::fullscreen) {
        logger << "Window: Toogling windowed..." << std::endl;
        Config::fullscreen = false;
    } else {
        logger << "Window: Toogling fullscreen..." << std::endl;
        Config::fullscreen = true;
    }
    if (surface && SDL_WM_ToggleFullScreen(surface) == 1) return;
    logger << "Window: SDL Error: " << SDL_GetError() << std::endl;
}

void Window::toggleCursor(bool show)
{
    logger << (show ? "Window: Showing cursor" : "Window: Hiding cursor") << std::endl;
    SDL_ShowCursor(show ? 1 : 0);
}

// OpenGL: context set-up on SDL 1.2 and GLEW.
#include "opengl.h"

#include <GL/glew.h>
#include <SDL/SDL.h>
#include <cstring>
#include <iostream>
#include <sstream>
#include <vector>

#include "camera.h"
#include "config.h"
#include "logger.h"
#include "music.h"

OpenGL::OpenGL() : antialias(false), resizeToggle(false) {}

OpenGL::~OpenGL() {}

struct ColourSizes {
    int red, green, blue;
};

int checkedBpp()
{
    switch (Config::bpp) {
    case 0:
    case 8:
    case 15:
    case 16:
    case 24:
    case 32: return Config::bpp;
    default:
        logger << "Invalid BPP, must be 8, 15, 16, 24 or 32. Trying current bpp." << std::endl;
        Config::bpp = 0;
        return 0;
    }
}

// 16 bits get five bits of green too, on purpose; an unknown depth falls back to the desktop's.
static ColourSizes colourSizes()
{
    switch (checkedBpp()) {
    case 8: return {3, 3, 2};
    case 15:
    case 16: return {5, 5, 5};
    default: return {8, 8, 8};
    }
}

void OpenGL::init()
{
    logger << "OpenGL: Initializing..." << std::endl;
    // Before GLEW on purpose: the shader-version line needs GLEW's flags, so it stays out here.
    if (Config::debug) info();

    ColourSizes sizes = colourSizes();
    logger << "OpenGL: RGB size: " << sizes.red << ", " << sizes.green << ", " << sizes.blue << std::endl;

    // The video mode exists already, so SDL applies these only at the next mode change.
    SDL_GL_SetAttribute(SDL_GL_RED_SIZE, sizes.red);
    SDL_GL_SetAttribute(SDL_GL_GREEN_SIZE, sizes.green);
    SDL_GL_SetAttribute(SDL_GL_BLUE_SIZE, sizes.blue);
    SDL_GL_SetAttribute(SDL_GL_ALPHA_SIZE, 8);
    SDL_GL_SetAttribute(SDL_GL_DOUBLEBUFFER, 1);
    SDL_GL_SetAttribute(SDL_GL_DEPTH_SIZE, Config::bpp == 32 ? 24 : Config::bpp);
    SDL_GL_SetAttribute(SDL_GL_STENCIL_SIZE, 0);
    SDL_GL_SetAttribute(SDL_GL_ACCUM_RED_SIZE, 0);
    SDL_GL_SetAttribute(SDL_GL_ACCUM_GREEN_SIZE, 0);
    SDL_GL_SetAttribute(SDL_GL_ACCUM_BLUE_SIZE, 0);
    SDL_GL_SetAttribute(SDL_GL_ACCUM_ALPHA_SIZE, 0);

    initGlew();
    antialiasing(true);
    initMultisample();
    initDepth();
    if (Config::vsync) vsync(true);
}

void OpenGL::initGlew()
{
    logger << "OpenGL: Initializing GLEW (" << glewGetString(GLEW_VERSION) << ")..." << std::endl;
    GLenum code = glewInit();
    // A context without X (SDL's offscreen driver through EGL, as the capture program runs)
    // has every GL entry point loaded by then; GLEW fails only at its list of GLX extensions,
    // which nothing here uses. Under X this code never comes back.
    if (code == GLEW_ERROR_NO_GLX_DISPLAY) code = GLEW_OK;
    if (code != GLEW_OK) {
        std::string text = reinterpret_cast<const char*>(glewGetErrorString(code));
        fatal("OpenGL: GLEW error: " + text, "GLEW error: " + text, 1);
    }

    if (glewIsSupported("GL_VERSION_2_0")) {
        logger << "OpenGL 2.0 is supported!" << std::endl;
    } else if (glewIsSupported("GL_VERSION_1_4")) {
        logger << "OpenGL 1.4 is supported!" << std::endl;
    } else {
        logger << "OpenGL 1.4 is not supported!" << std::endl;
        std::cerr << "OpenGL 1.4 is not supported!" << std::endl;
    }
}

static const char* glText(GLenum name)
{
    const GLubyte* text = glGetString(name);
    return text ? reinterpret_cast<const char*>(text) : "";
}

void OpenGL::info()
{
    logger << "OpenGL: Vendor: " << glText(GL_VENDOR) << std::endl;
    logger << "OpenGL: Renderer: " << glText(GL_RENDERER) << std::endl;
    logger << "OpenGL: Version: " << glText(GL_VERSION) << std::endl;
    if (glewIsSupported("GL_VERSION_2_0"))
        logger << "OpenGL: Shader version: " << glText(GL_SHADING_LANGUAGE_VERSION) << std::endl;
}

void OpenGL::antialiasing(bool on)
{
    if (on) {
        logger << "OpenGL: turning on antialiasing..." << std::endl;
        antialias = true;
        // The only place the start-up blend function is set.
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
        glEnable(GL_BLEND);
        glEnable(GL_LINE_SMOOTH);
        glHint(GL_LINE_SMOOTH_HINT, GL_NICEST);
        glEnable(GL_POINT_SMOOTH);
        glHint(GL_POINT_SMOOTH_HINT, GL_NICEST);
        glEnable(GL_POLYGON_SMOOTH);
        glHint(GL_POLYGON_SMOOTH_HINT, GL_NICEST);
    } else {
        // Also leaves blending off for everything drawn afterwards.
        logger << "OpenGL: turning off antialiasing..." << std::endl;
        antialias = false;
        glDisable(GL_BLEND);
        glDisable(GL_LINE_SMOOTH);
        glDisable(GL_POINT_SMOOTH);
        glDisable(GL_POLYGON_SMOOTH);
    }
}

void OpenGL::initMultisample()
{
    if (Config::fsaa == 0) return;
    logger << "OpenGL: Enabling " << Config::fsaa << "x FSAA..." << std::endl;
    SDL_GL_SetAttribute(SDL_GL_MULTISAMPLEBUFFERS, 1);
    SDL_GL_SetAttribute(SDL_GL_MULTISAMPLESAMPLES, Config::fsaa);
    glEnable(GL_MULTISAMPLE);
}

void OpenGL::initDepth()
{
    logger << "OpenGL: Turing on depth..." << std::endl;
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    glClearDepth(1.0);
}

void OpenGL::vsync(bool on)
{
    if (!on) return;  // swap control is never switched off
    int result = SDL_GL_SetAttribute(SDL_GL_SWAP_CONTROL, 1);
    if (result == 0)
        logger << "OpenGL: Vsync enabled..." << std::endl;
    else if (result == -1)
        logger << "OpenGL: Vsync Error! " << SDL_GetError() << std::endl;
    else
        logger << "OpenGL: Vsync Error! Unknown return value: " << result << std::endl;
}

void OpenGL::resize(int width, int height)
{
    logger << "OpenGL: resize: " << width << "x" << height << std::endl;
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    camera.resetViewport(width, height);
}

void OpenGL::screenshot()
{
    std::ostringstream name;
    name << music.getPosition() << ".bmp";
    logger << "OpenGL: Saving screenshot: " << name.str() << std::endl;

    int width = Config::width;
    int height = Config::height;
    int row = width * 3;
    // GL pads every row it hands back to its pack alignment, which stays as it is.
    GLint alignment = 4;
    glGetIntegerv(GL_PACK_ALIGNMENT, &alignment);
    int stride = (row + alignment - 1) / alignment * alignment;
    std::vector<unsigned char> pixels(static_cast<size_t>(stride) * height);
    glReadPixels(0, 0, width, height, GL_RGB, GL_UNSIGNED_BYTE, pixels.data());

    SDL_Surface* surface = SDL_CreateRGBSurface(SDL_SWSURFACE, width, height, 24, 0x0000FF, 0x00FF00, 0xFF0000, 0);
    if (!surface) return;
    // GL reads bottom row first; the file wants the top row first.
    for (int y = 0; y < height; y++)
        memcpy(static_cast<unsigned char*>(surface->pixels) + y * surface->pitch, &pixels[(height - 1 - y) * stride],
               row);
    SDL_SaveBMP_RW(surface, SDL_RWFromFile(name.str().c_str(), "wb"), 1);
    SDL_FreeSurface(surface);
}

void OpenGL::update() { SDL_GL_SwapBuffers(); }

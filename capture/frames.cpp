// Frames: offscreen rendering at virtual time. The framebuffer object takes the place of the
// window, and Config::width and height take the capture size, so the letterboxed viewport and
// every projection follow it exactly as they would follow a window of that size.
#include "capture/frames.h"

#include <GL/glew.h>

#include "capture/failure.h"
#include "framework/config.h"
#include "framework/demo.h"
#include "framework/music.h"
#include "framework/opengl.h"
#include "framework/timeline.h"
#include "framework/timer.h"
#include "scenes/show.h"

// Processor seconds per second of music for the swaying 3D scene. In a showing its clock()
// runs at the share of a core the process burns: the demo drawing this scene at 1280 x 720
// under Mesa's llvmpipe burns 0.57 (15 ms of processor time per 26 ms frame, renderer threads
// included), a GPU far less. Half a second per second makes the camera swing through its
// 286 degrees in about six seconds, as it does in a showing here.
static const double PROCESSOR_RATE = 0.5;

Frames::Frames(int width, int height, int fps, int from)
    : width(width), height(height), fps(fps), from(from), framebuffer(0), colour(0), depth(0),
      pixels(static_cast<size_t>(width) * height * 4)
{
    if (!GLEW_EXT_framebuffer_object) fail("this OpenGL cannot render offscreen (no framebuffer objects)");
    glGenFramebuffersEXT(1, &framebuffer);
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, framebuffer);
    glGenRenderbuffersEXT(1, &colour);
    glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, colour);
    glRenderbufferStorageEXT(GL_RENDERBUFFER_EXT, GL_RGBA8, width, height);
    glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_COLOR_ATTACHMENT0_EXT, GL_RENDERBUFFER_EXT, colour);
    glGenRenderbuffersEXT(1, &depth);
    glBindRenderbufferEXT(GL_RENDERBUFFER_EXT, depth);
    glRenderbufferStorageEXT(GL_RENDERBUFFER_EXT, GL_DEPTH_COMPONENT24, width, height);
    glFramebufferRenderbufferEXT(GL_FRAMEBUFFER_EXT, GL_DEPTH_ATTACHMENT_EXT, GL_RENDERBUFFER_EXT, depth);
    if (glCheckFramebufferStatusEXT(GL_FRAMEBUFFER_EXT) != GL_FRAMEBUFFER_COMPLETE_EXT)
        fail("cannot render " + std::to_string(width) + "x" + std::to_string(height) + " offscreen");
    // The letterbox bands are never drawn: black, as on a fresh screen.
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);

    Config::width = width;
    Config::height = height;
    opengl.resize(width, height);

    loadShow();
    for (const Timeline* entry : timeLine.entries) changes.insert(changes.end(), {entry->start, entry->end});
}

Frames::~Frames()
{
    glBindFramebufferEXT(GL_FRAMEBUFFER_EXT, 0);
    glDeleteRenderbuffersEXT(1, &colour);
    glDeleteRenderbuffersEXT(1, &depth);
    glDeleteFramebuffersEXT(1, &framebuffer);
}

int Frames::time(long long k) const { return from + static_cast<int>(k * 1000 / fps); }

bool Frames::cut(long long k) const
{
    if (k == 0) return false;
    int before = time(k - 1), now = time(k);
    for (int change : changes)
        if (before < change && change <= now) return true;
    return false;
}

long long Frames::catchUp(const volatile sig_atomic_t& stop)
{
    // An empty scissor box: every frame's state advances, and the rasteriser draws nothing.
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, 0, 0, 0);
    long long j = 0;
    for (; j * 1000 / fps < from && !stop; j++) drawAt(static_cast<int>(j * 1000 / fps));
    glDisable(GL_SCISSOR_TEST);
    return j;
}

void Frames::draw(long long k) { drawAt(time(k)); }

const uint8_t* Frames::read()
{
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, width, height, GL_BGRA, GL_UNSIGNED_BYTE, pixels.data());
    return pixels.data();
}

// The music is never started: its clock is held at each frame's moment, and nothing is decoded.
void Frames::drawAt(int ms)
{
    music.hold(ms);
    timer.holdProcessor(ms / 1000.0 * PROCESSOR_RATE);
    demo.draw();
}
